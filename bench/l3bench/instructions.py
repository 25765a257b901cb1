"""Instruction counts of the library's calls, by callgrind: exact, and the same on every run.

Two counts a case: what the library's own code executes; and what the calling process executes for the call,
libc included and commands left out. Each with the log off, and with one that formats every message.
"""

import os
import pathlib
import re
import subprocess
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = ROOT / "build/release"
LIBRARY = "libl3_advance.so"
LOG_ON = ", log on"
# libc picks its string routines by processor; without these the counts are those of any x86-64.
ANY_PROCESSOR = "glibc.cpu.hwcaps=-AVX2,-AVX512F,-AVX512VL,-AVX512BW,-BMI2,-ERMS,-FSRM"


def callgrind(folder, program, *options, variables=(f"GLIBC_TUNABLES={ANY_PROCESSOR}",)):
    """Runs a program of the build with these environment variables and no others, for starting reads them all.
    The profiles are in the folder; what the program said on standard error comes back."""
    command = ["env", "-i", *variables, "valgrind", "--tool=callgrind", "--vgdb=no", "--compress-strings=no",
               "--compress-pos=no", f"--callgrind-out-file={folder}/profile", *options, BUILD / program]  # fmt: skip
    done = subprocess.run([ROOT / "tests/sandbox", *command], capture_output=True, text=True,
                          env={**os.environ, "L3_SANDBOX_WRITABLE": folder})  # fmt: skip
    if done.returncode != 0:
        raise RuntimeError(f"{program} under callgrind: {done.stderr[-2000:]}")
    return done.stderr


def costs(profile):
    """(object, function, instructions) of every line of a profile. What a called function costs is left out where
    it is called, for it has lines of its own."""
    place, function, skip = "", "", False
    for line in profile.splitlines():
        if line.startswith("ob="):
            place = line[3:]
        elif line.startswith("fn="):
            function = line[3:]
        elif line.startswith("calls="):
            skip = True
        elif line[:1].isdigit():
            if not skip:
                yield place, function, int(line.split()[1])
            skip = False


def _read_profile(text):
    """The case's name, all instructions, and those of the library itself."""
    title = re.search(r"^desc: Trigger: Client Request: (.*)$", text, re.M)
    total = int(re.search(r"^(?:summary|totals): (\d+)", text, re.M).group(1))
    own = sum(count for place, _, count in costs(text) if place.endswith("/" + LIBRARY))
    return title.group(1) if title else "", total, own


def of_the_calls():
    """{case: {"library", "process", both again with ", log on", "commands", "file calls"}}"""
    with tempfile.TemporaryDirectory() as folder:
        said = callgrind(folder, "instructions", "--collect-atstart=no")
        profiles = [_read_profile(path.read_text(errors="replace"))
                    for path in pathlib.Path(folder).glob("profile.*")]  # fmt: skip
    counts = {name: (total, own) for name, total, own in profiles if name}
    cases = {}
    for name, commands, files in re.findall(r"^(.*)\t(\d+) commands\t(\d+) file calls$", said, re.M):
        if name.endswith(LOG_ON):
            continue
        cases[name] = {
            "library": counts[name][1],
            "library, log on": counts[name + LOG_ON][1],
            "process": counts[name][0],
            "process, log on": counts[name + LOG_ON][0],
            "commands": int(commands),
            "file calls": int(files),
        }
    return cases


def per_rule(cases):
    """{filter: instructions of the calling process for one command more}, from empty to full."""
    costs = {}
    for name, case in cases.items():
        kind, _, entries = name.rpartition(" ")
        empty = cases.get(kind + " 0")
        if entries.isdigit() and empty is not None and case["commands"] >= empty["commands"] + 10:
            costs[kind] = (case["process"] - empty["process"]) // (case["commands"] - empty["commands"])
    return costs
