"""What the largest process of each competitor has in memory."""

import pathlib
import re
import subprocess

from l3bench import timing
from l3bench.instructions import BUILD

FOUND = pathlib.Path("/tmp/peak")


def of_program(*words):
    """KiB of the largest process of a program and of all that it starts."""
    subprocess.run([BUILD / "peak", FOUND, *map(str, words)], check=True, stdout=subprocess.DEVNULL)
    return int(FOUND.read_text())


def of_competitor(folder, steps):
    """The same of all steps of a competitor, from the state that the folder keeps."""
    timing.stopwatch("restore", folder)
    most = 0
    for way, *words in steps:
        if way == "first":
            subprocess.run(words, check=True)
        else:
            most = max(most, of_program(*(words if way == "run" else ("--lines", folder / "lines"))))
    return most


def of_competitors(folder, made):
    """{competitor: KiB}; the library's own process is whatever program calls it, and what it starts is the baseline's."""
    return {name: of_competitor(folder, steps) for name, steps in made.items() if steps[0][0] != "call"}


def of_loading():
    return {"libc alone": of_program(BUILD / "load_without"), "libc and the library": of_program(BUILD / "load_library")}


def of_running(process):
    """The most that a process that still runs has had."""
    status = pathlib.Path(f"/proc/{process.pid}/status").read_text()
    return int(re.search(r"VmHWM:\s+(\d+) kB", status).group(1))
