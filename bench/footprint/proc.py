"""What the kernel tells of a program: all processes that came of one start."""

import pathlib
import re

MEMORY = ("Rss", "Pss", "Anonymous")
# Most of what the programs share with others that push.
LIBRARIES = ("libcurl", "libgnutls")


def _parent(pid):
    # The name before it is in brackets and may hold anything.
    return int(pathlib.Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()[1])


def family(pid):
    """The process and its descendants."""
    children = {}
    for path in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            children.setdefault(_parent(path.name), []).append(int(path.name))
        except (FileNotFoundError, ProcessLookupError):
            continue  # ended meanwhile
    found = [pid]
    for one in found:
        found += children.get(one, [])
    return found


def _libraries(pid):
    maps = pathlib.Path(f"/proc/{pid}/maps").read_text()
    return {line.split(maxsplit=5)[5] for line in maps.splitlines()
            if any(f"/{name}" in line for name in LIBRARIES)}


def shares(pid):
    """Whether a process that did not come of this start has the same libraries open: the
    proportional size is then another one than on a machine of its own."""
    own = set(family(pid))
    files = {file for one in own for file in _libraries(one)}
    for path in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            if int(path.name) not in own and not files.isdisjoint(_libraries(path.name)):
                return True
        except (FileNotFoundError, ProcessLookupError):
            continue  # ended meanwhile
    return False


def memory_kib(pid):
    """Resident, proportional and anonymous size, summed over the processes."""
    total = dict.fromkeys(MEMORY, 0)
    for one in family(pid):
        text = pathlib.Path(f"/proc/{one}/smaps_rollup").read_text()
        for name in MEMORY:
            total[name] += int(re.search(rf"(?m)^{name}: +(\d+) kB", text).group(1))
    return total


def _tasks(pid):
    return [task for one in family(pid) for task in pathlib.Path(f"/proc/{one}/task").iterdir()]


def threads(pid):
    return len(_tasks(pid))


def wake_ups(pid):
    """How often threads have gone to sleep so far: each time something has to wake them."""
    return sum(int(re.search(r"(?m)^voluntary_ctxt_switches:\s+(\d+)",
                             (task / "status").read_text()).group(1)) for task in _tasks(pid))


def cpu_ms(pid):
    """Time on a processor so far, as the scheduler counts it."""
    return sum(int((task / "schedstat").read_text().split()[0]) for task in _tasks(pid)) / 1e6
