#!/usr/bin/env python3
"""How many test cases a preset's tests ran: prints PASSED FAILED from the report that ctest wrote.

    tests/artifact/results.py build/mips/tests.xml

A program that ran many cases says so in its last line, "N cases passed, N failed"; any other test is one case.
"""
import re
import sys
import xml.etree.ElementTree


def cases(report):
    passed = failed = 0
    for test in xml.etree.ElementTree.parse(report).getroot().iter("testcase"):
        told = re.findall(r"^(\d+) cases passed, (\d+) failed$", test.findtext("system-out") or "", re.M)
        good, bad = map(int, told[-1]) if told else (0, 0)
        if test.get("status") == "run":
            passed += good if told else 1
        else:
            # A test that was left out is a failure too: none is meant to be.
            passed += good
            failed += max(bad, 1)
    return passed, failed


if __name__ == "__main__":
    print(*cases(sys.argv[1]))
