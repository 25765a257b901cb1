#!/usr/bin/env python3
"""Sends packets by name, in the gateway that lab/gateway opens.

    lab/gateway lab/prober.py 'tcp from lan to wan port 80' 'ping from lan to wan'

Without arguments it reads one probe a line and answers each at once. Exit status 0 when every
packet got through, 1 otherwise.
"""

import sys

from l3lab import probe_grammar
from l3lab.prober import Prober


def main(arguments: list[str]) -> int:
    if arguments[:1] in (["-h"], ["--help"]):
        print(__doc__ + probe_grammar.__doc__)
        return 0
    passed = True
    with Prober() as prober:
        for line in arguments or map(str.strip, sys.stdin):
            try:
                outcome = probe_grammar.send(prober, line, timeout=0.2)
            except ValueError as error:
                print(error, file=sys.stderr)
                return 2
            passed = passed and outcome.passed
            what = "delivered" if outcome.passed else "not delivered"
            if outcome.arrived and not outcome.passed:
                what = "delivered, but the answer was not"
            print(f"{line}: {what}", flush=True)
    return 0 if passed else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
