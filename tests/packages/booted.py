# SPDX-License-Identifier: Apache-2.0
"""A root of Debian in which systemd runs, as it does in a container."""

import contextlib
import pathlib
import re
import subprocess

from harness.waiting import wait_until

# Makes of a root what systemd expects of a container, and becomes it there.
_BOOT = """
set -e
root=$1 group=$2
mount -t tmpfs tmpfs "$root/sys"
mkdir -p "$root/sys/fs/cgroup" "$root/sys/kernel" "$root/dev/pts" "$root/old"
mount -t cgroup2 cgroup2 "$root/sys/fs/cgroup"
mkdir "$root/sys/fs/cgroup/$group"
mount --bind "$root/sys/fs/cgroup/$group" "$root/sys/fs/cgroup"
echo $$ >"$root/sys/fs/cgroup/cgroup.procs"
mount -t devpts devpts "$root/dev/pts"
ln -s pts/ptmx "$root/dev/ptmx"
mount -t proc proc "$root/proc"
: >"$root/etc/machine-id"
cd "$root"
pivot_root . old
exec unshare --cgroup env -i container=other PATH=/usr/sbin:/usr/bin:/sbin:/bin sh -c \
  'umount -l /old && exec /lib/systemd/systemd --system --show-status=0'
"""


# The groups of processes outlive these.
_FORGET = """
mount -t cgroup2 cgroup2 /mnt
find "/mnt/$1" -depth -type d -exec rmdir {} +
"""


class Booted:
    def __init__(self, init):
        self._init = init

    def run(self, *words, status=0):
        """What a command writes, which is to end with this status."""
        ended = subprocess.run(
            ["nsenter", f"--target={self._init}", "--all", "--root", "--wd", "--", *words],
            capture_output=True, text=True, check=False,
            env={"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL": "C.UTF-8", "HOME": "/root"})
        assert ended.returncode == status, f"{words}: {ended.stdout}{ended.stderr}"
        return ended.stdout

    def seen_by(self, unit):
        """The root folder as the main process of a unit sees it."""
        inside = self.run("systemctl", "show", "--property=MainPID", "--value", unit).strip()
        for status in pathlib.Path("/proc").glob("[0-9]*/status"):
            with contextlib.suppress(OSError):  # one that has ended meanwhile
                found = re.search(r"(?m)^NSpid:.*\s(\d+)$", status.read_text())
                name = status.with_name("comm").read_text().strip()
                if found and found.group(1) == inside and unit.startswith(name):
                    return status.parent / "root"
        raise AssertionError(f"{unit} does not run")

    def is_up(self):
        """Whether systemd has started all that is to be started; some of it may have failed."""
        asked = subprocess.run(
            ["nsenter", f"--target={self._init}", "--all", "--root", "--wd", "--", "systemctl",
             "is-system-running"], capture_output=True, text=True, check=False)
        return asked.stdout.strip() in ("running", "degraded")


@contextlib.contextmanager
def booted(root):
    """Starts systemd in the root."""
    group = root.inside.parent.name
    started = subprocess.Popen(
        [*root.enter(), "unshare", "--pid", "--fork", "--kill-child", "--mount", "--uts", "--ipc",
         "sh", "-c", _BOOT, "boot", root.inside, group], stdin=subprocess.DEVNULL)
    children = pathlib.Path(f"/proc/{started.pid}/task/{started.pid}/children")

    def alive():
        assert started.poll() is None, "systemd does not start here"
    try:
        (init,) = wait_until(lambda: children.read_text().split(), "systemd", alive=alive)
        system = Booted(init)
        wait_until(system.is_up, "systemd to have started all", alive=alive)
        yield system
    finally:
        started.kill()
        started.wait()
        forget = ["unshare", "--mount", "sh", "-c", _FORGET, "forget", group]
        wait_until(lambda: subprocess.run(forget, check=False, capture_output=True).returncode == 0,
                   "the end of all processes of the root")
