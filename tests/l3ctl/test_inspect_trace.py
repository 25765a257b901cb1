"""l3ctl inspect under a tracer: how much it reads, and what it opens."""
import os
import re
import subprocess
import unittest
from pathlib import Path

from gateway import BYTE_ORDER, CONFIGURATION, L3CTL, Gateway, configuration

SAMPLE = (Path(__file__).parent.parent / f"data/golden-sample-{BYTE_ORDER}-endian.dat").read_bytes()
FILE = Path("/tmp/inspected")


class Traced(Gateway):
    def test_a_large_file_is_read_in_part(self):
        with FILE.open("wb") as file:
            file.write(SAMPLE)
            file.truncate(1 << 40)
        trace = "/tmp/trace"
        outcome = subprocess.run(["strace", "-e", "trace=read", "-P", str(FILE), "-o", trace, L3CTL, "inspect",
                                  str(FILE)], capture_output=True, check=False, env=self.traced_environment())
        FILE.unlink()
        self.assertEqual(outcome.returncode, 3)
        self.assertEqual(outcome.stderr, b"l3ctl: note: only the first 65536 bytes were read\n")
        read = [int(line.rsplit("= ", 1)[1]) for line in Path(trace).read_text().splitlines() if "read(" in line]
        self.assertEqual(sum(read), 65536)

    def test_the_stored_file_is_only_opened_for_reading(self):
        self.store()
        before = CONFIGURATION.stat()
        trace = "/tmp/trace"
        subprocess.run(["strace", "-f", "-e", "trace=%file", "-o", trace, L3CTL, "inspect"], capture_output=True, check=True,
                       env=self.traced_environment())
        lines = [line for line in Path(trace).read_text().splitlines() if "/ztcfg" in line or "/run/" in line]
        calls = [line.split(" ", 1)[1].strip().split(" = ")[0] for line in lines]
        # To be looked at is no harm.
        self.assertEqual([call for call in calls if not re.match("(newf)?stat(at)?\\(", call)],
                         ['openat(AT_FDCWD, "/ztcfg/l3_advance.dat", O_RDONLY|O_NONBLOCK|O_CLOEXEC)'])
        self.assertEqual(CONFIGURATION.stat().st_mtime_ns, before.st_mtime_ns)
        self.assertEqual(CONFIGURATION.read_bytes(), configuration())
        self.assertEqual(os.listdir("/run"), [])


if __name__ == "__main__":
    unittest.main()
