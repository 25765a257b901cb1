"""Route QoS and the record files of other programs."""
import json
import subprocess
import unittest
from pathlib import Path

from gateway import CONFIGURATION, L3CTL, Gateway, configuration, word


class Qos(Gateway):
    BLOCK = b"".join(word(n) for n in (2, 1, 0xAB, 0, 17, 0xC0A80114, 0, 0, 0xCB007102)) + bytes(range(208))

    def test_a_block_from_a_file(self):
        self.store()
        self.assert_outcome(self.l3ctl("qos", "set", "-", stdin=self.BLOCK), 0, "qos: rules set\n")
        self.assertEqual(CONFIGURATION.read_bytes()[6199:6447], word(0) + self.BLOCK)
        self.assert_outcome(self.l3ctl("qos", "on"), 0, "qos: on\n")
        self.assertEqual(CONFIGURATION.read_bytes()[6199:6447], word(1) + self.BLOCK)
        self.assertEqual(Path("/run/l3_advance/route_qos").read_bytes(), word(1) + self.BLOCK)
        self.assert_outcome(self.l3ctl("qos", "show"), 0,
                            "enabled       true\nrules_num     2\ncontrol       1\nqos_type      171\n"
                            "protocol      17\nsource        192.168.1.20\ndestination   203.0.113.2\n"
                            f"block         {self.BLOCK.hex()}\n")
        self.assertEqual(json.loads(self.l3ctl("qos", "show", "--json").out), {
            "enabled": True, "rules_num": 2, "control": 1, "qos_type": 171, "protocol": 17,
            "source": "192.168.1.20", "destination": "203.0.113.2", "block": self.BLOCK.hex()})
        self.assert_outcome(self.l3ctl("qos", "off"), 0, "qos: off\n")
        self.assert_outcome(self.l3ctl("qos", "clear"), 0, "qos: cleared\n")
        self.assertEqual(CONFIGURATION.read_bytes(), configuration())

    def test_another_length_is_refused(self):
        self.store()
        for block, error in ((self.BLOCK[:-1], "a block of rules is 244 bytes"), (b"", "a block of rules is 244 bytes"),
                             (self.BLOCK + b"x", "more than 244 bytes")):
            self.assert_outcome(self.l3ctl("qos", "set", "-", stdin=block), 2, "",
                                f"l3ctl: standard input: {error}; nothing was changed\n")
        self.assertEqual(CONFIGURATION.read_bytes(), configuration())


class Records(Gateway):
    def test_wan_service(self):
        record = bytes(i * 7 % 256 for i in range(1872))
        Path("/tmp/record").write_bytes(record)
        self.assert_outcome(self.l3ctl("record", "write", "wan-service", "/ztcfg/wan.dat", "/tmp/record"), 0,
                            "record: written to /ztcfg/wan.dat\n")
        self.assertEqual(Path("/ztcfg/wan.dat").read_bytes(), record)
        done = subprocess.run([L3CTL, "record", "read", "wan-service", "/ztcfg/wan.dat"], capture_output=True,
                              env=self.environment(), check=True)
        self.assertEqual((done.stdout, done.stderr), (record, b""))
        self.assertEqual(json.loads(self.l3ctl("record", "read", "wan-service", "/ztcfg/wan.dat", "--json").out),
                         {"record": record.hex()})

    def test_a_missing_wan_record_is_created(self):
        self.assertEqual(self.l3ctl("record", "read", "wan-service", "/ztcfg/wan.dat").out, "\0" * 1872)
        self.assertEqual(Path("/ztcfg/wan.dat").read_bytes(), bytes(1872))

    def test_another_length_is_refused(self):
        self.assert_outcome(
            self.l3ctl("record", "write", "wan-service", "/ztcfg/wan.dat", "-", stdin=b"short"), 2, "",
            "l3ctl: standard input: a WAN service record is 1872 bytes; nothing was changed\n")
        self.assertFalse(Path("/ztcfg/wan.dat").exists())

    def test_a_record_that_cannot_be_written(self):
        outcome = self.l3ctl("record", "write", "wan-service", "/ztcfg/none/wan.dat", "-", stdin=bytes(1872))
        self.assertEqual((outcome.status, outcome.out), (1, ""))
        self.assertIn("set_std_wan_service_info_to_cfgfile::init_std_wan_cfgfile err!\n", outcome.err)

    def test_ct_timeout(self):
        self.assert_outcome(self.l3ctl("record", "read", "ct-timeout"), 0, "300\n")
        self.assert_outcome(self.l3ctl("record", "write", "ct-timeout", "60"), 0,
                            "record: time-out of idle connections is 60 s\n")
        self.assertEqual(Path("/ztcfg/ct_activity_timeout.conf").read_bytes(), b"60\0\0")
        self.assert_outcome(self.l3ctl("record", "read", "ct-timeout", "--json"), 0, '{\n  "ct_timeout": 60\n}\n')
        for bad in ("0", "-1", "86401", "x", "60s"):
            self.assertEqual(self.l3ctl("record", "write", "ct-timeout", bad).status, 2)
        Path("/ztcfg/ct_activity_timeout.conf").write_bytes(b"\x1b[2J")
        self.assert_outcome(self.l3ctl("record", "read", "ct-timeout"), 1, "",
                            "l3ctl: /ztcfg/ct_activity_timeout.conf holds no number\n")


if __name__ == "__main__":
    unittest.main()
