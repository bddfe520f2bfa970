# SPDX-License-Identifier: Apache-2.0
"""What the kernel tells of a program: all processes that came of one start."""

import array
import mmap
import os
import pathlib
import re
import time

_SCHEDULED = 2
_PRESENT = 1 << 63
_FRAME = (1 << 55) - 1


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


def _frames(pid):
    """The physical pages that a process has in memory; one that it has twice is there twice."""
    found = []
    with open(f"/proc/{pid}/pagemap", "rb", buffering=0) as pagemap:
        for line in pathlib.Path(f"/proc/{pid}/maps").read_text().splitlines():
            if line.endswith("[vsyscall]"):
                continue
            begin, end = (int(part, 16) // mmap.PAGESIZE for part in line.split()[0].split("-"))
            pagemap.seek(begin * 8)
            pages = array.array("Q", pagemap.read((end - begin) * 8))
            found += [page & _FRAME for page in pages if page & _PRESENT]
    if found and not any(found):
        raise SystemExit("footprint: the proportional size can be read by root only")
    return found


def proportional_kib(pid):
    """The proportional size on a machine that has only this program and its server: this process.

    Each page counts in parts, one for each process that has it. The kernel's own figure counts all
    processes of the machine, and says another thing each time.
    """
    processes = [_frames(one) for one in family(pid)]
    owners = {}
    for frames in [*processes, _frames(os.getpid())]:
        for frame in set(frames):
            owners[frame] = owners.get(frame, 0) + 1
    pages = sum(1 / owners[frame] for frames in processes for frame in frames)
    return pages * mmap.PAGESIZE / 1024


def memory_kib(pid):
    """Resident, anonymous and proportional size, summed over the processes."""
    total = {"Rss": 0, "Anonymous": 0, "Pss": proportional_kib(pid)}
    for one in family(pid):
        text = pathlib.Path(f"/proc/{one}/smaps_rollup").read_text()
        for name in ("Rss", "Anonymous"):
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
    """Time on a processor so far, that of ended threads too: each process's own clock."""
    return sum(time.clock_gettime((~one << 3) | _SCHEDULED) for one in family(pid)) * 1000
