# SPDX-License-Identifier: Apache-2.0
"""Becomes the program of a unit of systemd, within those parts of its sandbox that need no systemd.

    sandboxed.py SETTINGS

Runs as root in a mount namespace of its own. SETTINGS is a JSON object: `root`, where the unit's
paths begin; `command`; `environment`; `uid` and `gid`; `writable`, paths; `unit`, the lists of the
settings of its section [Service].
"""
import ctypes
import json
import mmap
import os
import socket
import subprocess
import sys

import seccomp

_PR_SET_NO_NEW_PRIVS, _PR_CAPBSET_DROP, _PR_SET_PDEATHSIG = 38, 24, 1
_FAMILIES = 46  # one beyond the last that there is
_libc = ctypes.CDLL(None, use_errno=True)


def mount(*words):
    subprocess.run(["mount", *map(str, words)], check=True)


def bind(path, options):
    """The path is mounted upon itself, with what is mounted below it, and has these options."""
    mount("--rbind", path, path)
    mount("-o", f"remount,bind,{options}", path)


def mount_sandbox(settings):
    root, unit = settings["root"], settings["unit"]
    if unit.get("ProtectSystem") == ["strict"]:
        noexec = ",noexec" if "NoExecPaths" in unit else ""
        bind(root, f"ro{noexec}")
        bind(root + "/run", f"ro{noexec}")
        for path in settings["writable"]:
            bind(root + path, f"rw{noexec}")
        for path in " ".join(unit.get("ExecPaths", [])).split() if noexec else []:
            if not path.startswith("-"):  # where it is: below one of the others
                bind(root + path, "ro,exec")
    if unit.get("PrivateTmp") == ["yes"]:
        for path in ("/tmp", "/var/tmp"):
            mount("-t", "tmpfs", "-o", "mode=1777,noexec", "tmpfs", root + path)
    if unit.get("ProtectHome") == ["yes"]:
        for path in ("/home", "/root"):
            mount("-t", "tmpfs", "-o", "mode=000,ro", "tmpfs", root + path)
    if unit.get("ProcSubset") == ["pid"]:
        mount("-t", "proc", "-o", "subset=pid,hidepid=invisible", "proc", root + "/proc")


def calls_of(name):
    """The system calls of a set as the machine's systemd has it, or the one of this name."""
    if not name.startswith("@"):
        return {name}
    listed = subprocess.run(["systemd-analyze", "syscall-filter", name], check=True,
                            capture_output=True, text=True).stdout
    words = [line.strip() for line in listed.splitlines()[1:]]
    return set().union(*(calls_of(word) for word in words if word and not word.startswith("#")))


def allowed_calls(unit):
    """What the unit's lists leave, and what its start takes."""
    allowed = set()
    for names in unit["SystemCallFilter"]:
        calls = set().union(*(calls_of(name) for name in names.lstrip("~").split()))
        allowed = allowed - calls if names.startswith("~") else allowed | calls
    return allowed | {"execve", "exit_group", "rt_sigreturn"}


def load_filters(unit, allowed):
    """Refuses what the unit does not allow, as it says: by an error, not by the end."""
    refused = seccomp.ERRNO(1)  # EPERM
    calls = seccomp.SyscallFilter(refused)
    for call in allowed:
        try:
            calls.add_rule(seccomp.ALLOW, call)
        except RuntimeError:
            pass  # one that this machine does not have
    more = seccomp.SyscallFilter(seccomp.ALLOW)
    families = {getattr(socket, name) for name in unit["RestrictAddressFamilies"][0].split()}
    for family in set(range(_FAMILIES)) - families:
        more.add_rule(seccomp.ERRNO(97), "socket", seccomp.Arg(0, seccomp.EQ, family))
    if unit.get("MemoryDenyWriteExecute") == ["yes"]:
        both = mmap.PROT_WRITE | mmap.PROT_EXEC
        more.add_rule(refused, "mmap", seccomp.Arg(2, seccomp.MASKED_EQ, both, both))
        more.add_rule(refused, "mprotect",
                      seccomp.Arg(2, seccomp.MASKED_EQ, mmap.PROT_EXEC, mmap.PROT_EXEC))
    more.load()
    calls.load()


def become(uid, gid):
    """The user, for good: without rights of root's, and with no way to get any."""
    for capability in range(64):
        _libc.prctl(_PR_CAPBSET_DROP, capability, 0, 0, 0)  # fails beyond the last one
    os.setgroups([])
    os.setresgid(gid, gid, gid)
    os.setresuid(uid, uid, uid)
    if _libc.prctl(_PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) or _libc.prctl(_PR_SET_PDEATHSIG, 9, 0, 0, 0):
        raise OSError(ctypes.get_errno(), "prctl")


def main(settings):
    unit = settings["unit"]
    allowed = allowed_calls(unit)
    mount_sandbox(settings)
    os.chroot(settings["root"])
    os.chdir("/")
    os.umask(int(unit.get("UMask", ["0022"])[-1], 8))
    become(settings["uid"], settings["gid"])
    load_filters(unit, allowed)
    os.execve(settings["command"][0], settings["command"], settings["environment"])


if __name__ == "__main__":
    main(json.loads(sys.argv[1]))
