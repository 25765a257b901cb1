#!/usr/bin/env python3
"""How many test cases a preset's tests ran: prints PASSED FAILED from the report that ctest wrote.

    tests/artifact/results.py build/mips/tests.xml

A program of many cases ends with "N cases passed, N failed", or as Python's unittest does with "Ran N tests in …" and,
where some did not pass, "FAILED (failures=N, errors=N)"; any other test is one case.
"""

import re
import sys
import xml.etree.ElementTree


def cases_of(output, succeeded):
    if found := re.findall(r"^(\d+) cases passed, (\d+) failed$", output, re.M):
        passed, failed = map(int, found[-1])
    elif found := re.findall(r"^Ran (\d+) tests? in", output, re.M):
        failed = sum(map(int, re.findall(r"\d+", " ".join(re.findall(r"^FAILED \((.*)\)$", output, re.M)))))
        passed = max(int(found[-1]) - failed, 0)
    else:
        passed, failed = int(succeeded), 0
    # A test that ran no case is a failure, and so is one that was left out: none is meant to be.
    return passed, failed if succeeded and passed else max(failed, 1)


def cases(report):
    found = [cases_of(test.findtext("system-out") or "", test.get("status") == "run")
             for test in xml.etree.ElementTree.parse(report).getroot().iter("testcase")]  # fmt: skip
    return sum(passed for passed, _ in found), sum(failed for _, failed in found)


if __name__ == "__main__":
    print(*cases(sys.argv[1]))
