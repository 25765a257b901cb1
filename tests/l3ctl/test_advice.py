"""The remedies that l3ctl inspect prints for a damaged file are carried out, and repair it."""
import json
import re
import subprocess
import unittest
from pathlib import Path

from gateway import BYTE_ORDER, CONFIGURATION, END, FW, FW6, L3CTL, OTHER_ORDER, QOS, TOOLS, Gateway, word

DATA = Path(__file__).parent.parent / "data"
SAMPLE = (DATA / f"golden-sample-{BYTE_ORDER}-endian.dat").read_bytes()
SAMPLE_OTHER = (DATA / f"golden-sample-{OTHER_ORDER}-endian.dat").read_bytes()
FRESH = (DATA / f"golden-fresh-{BYTE_ORDER}-endian.dat").read_bytes()
FILE, BACKUP = Path("/tmp/section.json"), Path("/tmp/backup.dat")


def with_bytes(at, data, file=SAMPLE):
    return file[:at] + data + file[at + len(data):]


def with_word(at, value, file=SAMPLE):
    return with_bytes(at, word(value), file)


URL, MAC, DHCP, PORTAL = FW + 2416, FW + 4636, FW + 4848, FW + 5384
LEVEL, LEVEL6 = FW + 6164, END - 8

# By what is wrong: the file.
DAMAGE = {
    "short": SAMPLE[:9000],
    "empty": b"",
    "shifted": FRESH[:5] + FRESH[17:],
    "bytes behind the end": SAMPLE + b"x",
    "the line of VPN pass-through": with_bytes(17, b"\0\0"),
    "the line of the master switch": with_bytes(19, b"fire?"),
    "both lines": with_bytes(0, bytes(31)),
    "a line of a short file": with_bytes(17, b"\0\0", SAMPLE[:9000]),
    "a count that is too large": with_word(FW, 51),
    "a negative count": with_word(FW6, 0xffffffff),
    "a mode": with_word(URL + 2204, 7),
    "a switch of a list": with_word(URL + 2208, 7),
    "port-scan protection": with_word(FW + 4628, 7),
    "IPsec pass-through": with_word(FW + 4632, 7),
    "the level": with_word(LEVEL, 7),
    "the level of IPv6": with_word(LEVEL6, 7),
    "two levels": with_word(LEVEL6, 1, with_word(LEVEL, 2)),
    "the switch of route QoS": with_word(QOS, 7),
    "port-scan protection of IPv6": with_word(FW6 + 7028, 7),
    "a spare list of IPv6": with_word(FW6 + 4816, 51),
    "the spare word": with_word(END - 4, 1),
    "entries behind the count": with_word(URL, 0),
    "an entry that was not written": with_word(MAC, 9),
    "a DHCP device that was not written": with_word(DHCP, 9),
    "a value of an entry": with_word(FW + 12, 42),
    "a switch of an entry": with_word(URL + 4, 5),
    "a text without an end": with_bytes(URL + 12, b"a" * 32),
    "a destination": with_bytes(PORTAL + 8 + 4, b"x"),
    "a destination for the shell": with_bytes(PORTAL + 8 + 4, b"$(id)"),
    "the other byte order": SAMPLE_OTHER,
    "the other byte order, and short": SAMPLE_OTHER[:9000],
    "two sections": with_word(FW + 12, 42, with_word(URL, 0)),
}  # fmt: skip


def ways_of(advice):
    """Each way that the advice leaves: what stands between ", or "."""
    return advice.split(", or ")


class Advice(Gateway):
    def setUp(self):
        super().setUp()
        tool = TOOLS / "l3ctl"
        tool.write_text(f'#!/bin/sh\nexec {L3CTL} "$@"\n')
        tool.chmod(0o755)
        BACKUP.write_bytes(SAMPLE)

    def wrong(self):
        """What is torn or implausible of the stored file."""
        outcome = self.l3ctl("inspect", "--all", "--json")
        found = [one for one in json.loads(outcome.out)["findings"] if one["kind"] != "note"]
        self.assertEqual(outcome.status, 3 if found else 0)
        return found

    def named(self, advice):
        """The entries that findings of this advice name; what lies behind the count is in no section's file."""
        entries = set()
        for one in self.wrong():
            entry = re.search(r"\[(\d+)\]", one["where"])
            if entry and one["advice"] == advice and "behind the count" not in one["what"]:
                entries.add(int(entry.group(1)))
        return entries

    def mend(self, advice):
        """Takes the named entries out of the section's file."""
        named = self.named(advice)
        section = json.loads(FILE.read_text(encoding="utf-8"))
        entries = next(value for value in next(iter(section.values())).values() if isinstance(value, list))
        entries[:] = [entry for number, entry in enumerate(entries) if number not in named]
        FILE.write_text(json.dumps(section), encoding="utf-8")

    def follow(self, way, advice):
        commands = re.findall(r'"(l3ctl [^"]*)"', way)
        if "remove the file" in way:
            CONFIGURATION.unlink()
            self.forget_rules()
            commands.append("l3ctl init")  # the next start
        self.assertNotEqual(commands, [], way)
        for command in commands:
            shell = command.replace("FILE", str(FILE)).replace("BACKUP", str(BACKUP))
            done = subprocess.run(["sh", "-c", shell], env=self.environment(), capture_output=True, check=False)
            if " export " in command:  # It reports the damage.
                self.mend(advice)
            else:
                self.assertEqual(done.returncode, 0, f"{command}: {done.stderr.decode()}")

    def left_after(self, damage, way_number):
        """What is wrong after each finding's advice was followed, one after the other, by its way of that number or its last."""
        CONFIGURATION.write_bytes(damage)
        found = self.wrong()
        for _ in range(len(found)):
            if found:
                ways = ways_of(found[0]["advice"])
                self.follow(ways[min(way_number, len(ways) - 1)], found[0]["advice"])
                found = self.wrong()
        return found

    def test_every_way_out_leads_out(self):
        for name, damage in DAMAGE.items():
            CONFIGURATION.write_bytes(damage)
            ways = max((len(ways_of(one["advice"])) for one in self.wrong()), default=0)
            self.assertGreater(ways, 0, name)
            for way_number in range(ways):
                with self.subTest(name, way=way_number):
                    self.assertEqual(self.left_after(damage, way_number), [])


if __name__ == "__main__":
    unittest.main()
