# SPDX-License-Identifier: Apache-2.0
"""Fresh roots of Debian: one that is made and kept, and copies of it that tests write into."""

import contextlib
import fcntl
import hashlib
import os
import pathlib
import re
import subprocess
import tempfile

SUITE = "bookworm"
CACHE = pathlib.Path(os.environ.get("XDG_CACHE_HOME", pathlib.Path.home() / ".cache"))

# Mounts the copy, which is gone with this process; says when it is there, and waits.
_KEEPER = """
set -e
base=$1 work=$2
mount -t tmpfs -o size=2G tmpfs "$work"
mkdir "$work/changes" "$work/work" "$work/root"
root=$work/root
mount -t overlay -o "lowerdir=$base,upperdir=$work/changes,workdir=$work/work" overlay "$root"
mount -t proc proc "$root/proc"
mount -t tmpfs -o mode=755 tmpfs "$root/run"
mount -t tmpfs -o mode=755 tmpfs "$root/dev"
for device in full null random tty urandom zero; do
  touch "$root/dev/$device"
  mount --bind "/dev/$device" "$root/dev/$device"
done
mkdir -m 1777 "$root/dev/shm"
ln -s /proc/self/fd "$root/dev/fd"
ip link set lo up
echo there
exec sleep infinity
"""


def _of_suite(suites):
    return re.fullmatch(rf"{SUITE}(-\S+)?", suites) is not None


def _stanzas(text):
    """The sources of a file in the form of fields, as lines of the other form."""
    for stanza in re.split(r"\n\s*\n", text):
        fields = dict(re.findall(r"(?m)^([A-Za-z-]+): *(.*)$", stanza))
        signed = f"[signed-by={fields['Signed-By']}] " if "Signed-By" in fields else ""
        for suite in fields.get("Suites", "").split():
            if "deb" in fields["Types"].split() and fields.get("Enabled") != "no":
                yield suite, f"deb {signed}{fields['URIs']} {suite} {fields['Components']}"


def _lines(text):
    for line in text.splitlines():
        words = re.fullmatch(r"deb (\[[^]]*\] )?(\S+) (\S+) .*", line.strip())
        if words:
            yield words.group(3), line.strip()


def sources():
    """The machine's own sources of Debian's packages."""
    found = []
    etc = pathlib.Path("/etc/apt")
    for path in [etc / "sources.list", *sorted((etc / "sources.list.d").glob("*"))]:
        if path.is_file() and path.suffix in (".list", ".sources"):
            read = _stanzas if path.suffix == ".sources" else _lines
            found += [line for suite, line in read(path.read_text()) if _of_suite(suite)]
    return "\n".join(found) + "\n"


def base(packages):
    """The folder of a root that has these packages; made when it is missing, and never written
    into."""
    wanted = sources()
    key = hashlib.sha256(f"{wanted} {sorted(packages)}".encode()).hexdigest()[:16]
    path = CACHE / "cloudclient" / "roots" / key
    path.parent.mkdir(parents=True, exist_ok=True)
    with open(path.with_suffix(".lock"), "w", encoding="ascii") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        if not path.exists():
            new = path.with_suffix(".new")
            subprocess.run(["rm", "-rf", new], check=True)
            subprocess.run(
                ["mmdebstrap", "--quiet", "--variant=apt", "--dpkgopt=force-unsafe-io",
                 f"--include={','.join(sorted(packages))}", SUITE, new, "-"],
                check=True, input=wanted, text=True)
            new.rename(path)
    return path


class Root:
    """A copy of a base, with a network of its own in which there is nothing else."""

    def __init__(self, keeper, work):
        self._keeper = keeper
        # As it is seen in the keeper's world, and from here.
        self.inside = work / "root"
        self.path = pathlib.Path(f"/proc/{keeper.pid}/root{self.inside}")

    def enter(self):
        """The words before a command that is to see this root's mounts and network."""
        return ["nsenter", f"--target={self._keeper.pid}", "--mount", "--net", "--"]

    def command(self, *words, user=None):
        as_user = []
        if user:
            as_user = ["setpriv", f"--reuid={user}", f"--regid={user}", "--clear-groups"]
        return [*self.enter(), "chroot", self.inside, *as_user, *words]

    def run(self, *words, user=None, stdin="", status=0):
        """What a command writes, which is to end with this status."""
        ended = subprocess.run(
            self.command(*words, user=user), input=stdin, capture_output=True, text=True,
            check=False, env={"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL": "C.UTF-8",
                              "HOME": "/root", "DEBIAN_FRONTEND": "noninteractive"})
        assert ended.returncode == status, (
            f"{' '.join(map(str, words))} ended with {ended.returncode}, not {status}:\n"
            f"{ended.stdout}{ended.stderr}")
        return ended.stdout + (ended.stderr if status else "")

    def install(self, *packages):
        """Installs package files by apt, which finds nothing else to install: what they depend on
        has to be there."""
        folder = self.path / "srv"
        names = []
        for package in packages:
            (folder / package.name).write_bytes(package.read_bytes())
            names.append(f"/srv/{package.name}")
        try:
            return self.run(
                "apt-get", "install", "--yes", "--no-install-recommends", "--allow-downgrades",
                "--reinstall", "--option=Dpkg::Options::=--force-confold",
                "--option=Dpkg::Use-Pty=0", *names)
        finally:
            for package in packages:
                (folder / package.name).unlink()

    def state_of(self, path):
        """Owner, group and mode of a file, as "root root 644"."""
        return self.run("stat", "--format=%U %G %a", path).strip()

    def files(self):
        """Every path with what stat says of it, but for what any installation leaves behind."""
        passed = " -o ".join(f"-path {path}" for path in (
            "/var/cache", "/var/log", "/var/lib/apt", "/var/lib/dpkg", "/tmp", "/proc"))
        listed = self.run("find", "/", "-xdev", "(", *passed.split(), ")", "-prune", "-o",
                          "-printf", "%p %U %G %m\n")
        left = re.compile(r"/etc/((passwd|group|shadow|gshadow)-?|\.pwd\.lock|ld\.so\.cache) ")
        return {line for line in listed.splitlines() if not left.match(line)}


@contextlib.contextmanager
def fresh_root(of):
    """A copy of the base `of`, which is gone afterwards."""
    with tempfile.TemporaryDirectory(prefix="cc-root-") as name:
        work = pathlib.Path(name)
        keeper = subprocess.Popen(
            ["unshare", "--mount", "--net", "sh", "-c", _KEEPER, "keeper", of, work],
            stdout=subprocess.PIPE, text=True)
        try:
            assert keeper.stdout.readline() == "there\n", "the root can't be mounted"
            yield Root(keeper, work)
        finally:
            keeper.kill()
            keeper.wait()
            keeper.stdout.close()
