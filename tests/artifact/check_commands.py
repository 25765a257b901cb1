#!/usr/bin/env python3
"""Every program, script and test that a document names exists.

    check_commands.py [BUILD]     BUILD is build/release unless said

Those of l3ctl are run (tests/lab/examples_test.py, tests/artifact/check_readme); the fault sweeps, power cuts
and fuzz replays that docs/reliability.md names take their time as tests of their own."""

import fnmatch
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = ROOT / (sys.argv[1] if len(sys.argv) > 1 else "build/release")
DOCUMENTS = sorted([*ROOT.glob("*.md"), *ROOT.glob("docs/*.md")])
CODE = re.compile(r"^```\w*\n(.*?)^```|`([^`\n]+)`", re.MULTILINE | re.DOTALL)
SCRIPT = re.compile(r"(?:^|\s)((?:tests|fuzz|bench|lab|packaging|build/release)/[\w./-]+|\./(?:run|test))(?=\s|$)")
SELECTED = re.compile(r"ctest --preset release -R ('[^']+'|\S+)")
FILTERED = re.compile(r"--gtest_filter='([^']+)'")


def output_of(*command):
    return subprocess.run(command, cwd=ROOT, capture_output=True, text=True, check=True).stdout


def faults_of(code, tests):
    """What the commands of one piece of text name that is not there."""
    for script in SCRIPT.findall(code):
        place = BUILD / script.removeprefix("build/release/") if script.startswith("build/") else ROOT / script
        # A fuzz target goes by the name of its program; a word in capitals stands for any.
        if not place.exists() and not place.with_suffix(".cpp").exists() and not place.name.isupper():
            yield f"there is no {script}"
    for pattern in SELECTED.findall(code):
        # In a table the bar is escaped.
        wanted = re.compile(pattern.strip("'").replace("\\|", "|"))
        if not any(wanted.search(test) for test in tests):
            yield f"no test is selected by {pattern}"
    for wanted in FILTERED.findall(code):
        if not any(fnmatch.fnmatch(test, "*" + wanted) for test in tests):
            yield f"no test is {wanted}"


tests = re.findall(r"Test +#\d+: (\S+)", output_of("ctest", "--test-dir", BUILD, "-N"))
count = 0
found = []
for document in DOCUMENTS:
    for block, word in CODE.findall(document.read_text(encoding="utf-8")):
        count += len(SCRIPT.findall(block + word)) + len(SELECTED.findall(block + word))
        found += [f"{document.relative_to(ROOT)}: {fault}" for fault in faults_of(block + word, tests)]
print(*found, f"{count} commands in {len(DOCUMENTS)} documents, {len(tests)} tests", sep="\n")
sys.exit(1 if found or not count or not tests else 0)
