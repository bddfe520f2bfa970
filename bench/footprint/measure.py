# SPDX-License-Identifier: Apache-2.0
"""What a program costs: to start, to stay, and over simulated days."""

import concurrent.futures
import statistics
import time

import proc
from harness.process import clock

# The window in which a program is left alone, between two pushes.
IDLE_SECONDS = 60
# How long what a push began may go on.
SETTLES_SECONDS = 4
SPEED = 5000
DAY_SECONDS = 86400 / SPEED
START = "2026-03-05 12:00:00"


def _any(_name):
    return True


def first_request_ms(program, hard=True):
    """From exec to the arrival of the first request."""
    mark, began = program.sink.mark(), time.monotonic()
    program.start()
    try:
        first = program.sink.wait(mark, _any, 1, 300, program.alive)
    finally:
        program.stop(hard)
    return (first.moment - began) * 1000


def first_requests(programs, rounds):
    """Milliseconds to the first request by program, measured in turn so that what else the machine
    does meets all of them."""
    found = {program: [] for program in programs}
    for number in range(rounds):
        order = programs if number % 2 == 0 else programs[::-1]
        for program in order:
            found[program].append(first_request_ms(program))
    return found


def median_ratio(numbers, base):
    return statistics.median(n / b for n, b in zip(numbers, base))


def idle(program):
    """A program between its first two pushes: threads, wake-ups, processor time; what the second
    push takes, and memory after it."""
    sink, began, mark = program.sink, time.monotonic(), program.sink.mark()
    program.start()
    try:
        first = sink.wait(mark, _any, 1, 400, program.alive)
        sink.wait(mark, program.push, 1, 400, program.alive)
        time.sleep(SETTLES_SECONDS)
        mark = sink.mark()
        found = {"first_ms": (first.moment - began) * 1000, "threads": proc.threads(program.pid)}
        wake_ups, cpu = proc.wake_ups(program.pid), proc.cpu_ms(program.pid)
        since = time.monotonic()
        time.sleep(IDLE_SECONDS)
        passed = time.monotonic() - since
        found["wake_ups"] = (proc.wake_ups(program.pid) - wake_ups) / passed
        idle_cpu, since = proc.cpu_ms(program.pid), time.monotonic()
        found["cpu_minute"] = (idle_cpu - cpu) / passed * 60
        if sink.after(mark, _any):
            raise SystemExit(f"footprint: {program.name} pushed while it was measured idle")
        sink.wait(mark, program.push, 1, 400, program.alive)
        time.sleep(SETTLES_SECONDS)
        waited = time.monotonic() - since
        found["cpu_push"] = (proc.cpu_ms(program.pid) - idle_cpu
                             - found["cpu_minute"] / 60 * waited)
        found.update(proc.memory_kib(program.pid))
        return found
    finally:
        program.stop()


def idle_together(programs):
    """`idle` of all programs at the same time: each has a server of its own."""
    with concurrent.futures.ThreadPoolExecutor(len(programs)) as threads:
        return list(threads.map(idle, programs))


def days(program, count, work=lambda hour: None):
    """Memory at the end of each of `count` simulated days, in each hour of which `work` is done;
    and how many pushes there were."""
    sink, mark = program.sink, program.sink.mark()
    program.start(clock(SPEED, START))
    try:
        sink.wait(mark, program.push, 1, 60, program.alive)
        found, began = [], time.monotonic()
        for hour in range(count * 24):
            time.sleep(max(0, began + (hour + 1) * DAY_SECONDS / 24 - time.monotonic()))
            program.alive()
            work(hour)
            if hour % 24 == 23:
                found.append(proc.memory_kib(program.pid))
        return found, len(sink.after(mark, program.push))
    finally:
        program.stop()
