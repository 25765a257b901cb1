"""Settings move between gateways of either byte order: one text stands for the file of each."""
import unittest
from pathlib import Path

from gateway import BYTE_ORDER, CONFIGURATION, FW, FW6, Gateway

DATA = Path(__file__).parent.parent / "data"
TEXT = (DATA / "sample.json").read_text()
FILE = (DATA / f"golden-sample-{BYTE_ORDER}-endian.dat").read_bytes()
# The security level, which each record holds and settings leave alone.
LEVELS = (FW + 6164, FW6 + 8564)


class ByteOrders(Gateway):
    def test_export_writes_the_same_text_on_each(self):
        CONFIGURATION.write_bytes(FILE)
        self.assert_outcome(self.l3ctl("export"), 0, TEXT)

    def test_apply_writes_the_file_of_this_one(self):
        self.assertEqual(self.apply(TEXT).status, 0)
        wanted = bytearray(FILE)
        for level in LEVELS:
            wanted[level:level + 4] = bytes(4)
        self.assertNotEqual(wanted, FILE)
        self.assertEqual(CONFIGURATION.read_bytes(), wanted)


if __name__ == "__main__":
    unittest.main()
