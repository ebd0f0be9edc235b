"""What a process takes of the machine, as the kernel tells it."""
import collections
import os
import pathlib

ProcessUse = collections.namedtuple("ProcessUse", "resident_kib anonymous_kib descriptors threads cpu_seconds")


def read_use(pid):
    folder = pathlib.Path("/proc", str(pid))
    rollup = fields_of(folder / "smaps_rollup")
    status = fields_of(folder / "status")
    times = (folder / "stat").read_text().rpartition(")")[2].split()
    ticks = int(times[11]) + int(times[12])
    return ProcessUse(
        resident_kib=int(rollup["Rss"].split()[0]),
        anonymous_kib=int(rollup["Anonymous"].split()[0]),
        descriptors=len(os.listdir(folder / "fd")),
        threads=int(status["Threads"]),
        cpu_seconds=ticks / os.sysconf("SC_CLK_TCK"))


def fields_of(path):
    """The lines "Name: text" of a file."""
    lines = (line.partition(":") for line in path.read_text().splitlines())
    return {name: text.strip() for name, colon, text in lines if colon}
