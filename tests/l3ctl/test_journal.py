"""What l3ctl tells the system's log: fields for journald, a line for syslog, and an explanation for every kind."""
import re
import socket
import subprocess
import time
from pathlib import Path

from live import FRESH4, Rules

JOURNALD = Path("/run/systemd/journal/socket")
SYSLOG = Path("/dev/log")
ROOT = Path(__file__).resolve().parents[2]
CATALOG = ROOT / "fleet/monitoring/l3ctl.catalog"
IDS = re.findall(r'"([0-9a-f]{32})"', (ROOT / "management/system/journal.cpp").read_text(encoding="utf-8"))
# The fields that a text of the catalog puts in, and those that the journal adds itself.
EXPLAINED = {part[:32]: part[32:] for part in CATALOG.read_text(encoding="utf-8").split("-- ")[1:]}


class Journal(Rules):
    def listen(self, path):
        """A socket that stands for the log's; read it with messages()."""
        path.parent.mkdir(parents=True, exist_ok=True)
        path.unlink(missing_ok=True)
        listening = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.addCleanup(path.unlink, missing_ok=True)
        self.addCleanup(listening.close)
        listening.bind(str(path))
        listening.setblocking(False)
        return listening

    def messages(self, listening):
        """The datagrams since the last call; each as its fields."""
        found = []
        while True:
            try:
                datagram = listening.recv(1 << 16)
            except BlockingIOError:
                return found
            text = datagram.decode()
            self.assertTrue(text.endswith("\n"))
            fields = [line.split("=", 1) for line in text[:-1].split("\n")]
            self.assertTrue(all(re.fullmatch("[A-Z][A-Z0-9_]*", name) for name, _ in fields), text)
            self.assertEqual(len(fields), len(dict(fields)), text)
            found.append(dict(fields))

    def assert_explained(self, message):
        """journalctl -x finds a text for it, whose fields it has."""
        for name in re.findall("@([A-Z0-9_]+)@", EXPLAINED[message["MESSAGE_ID"]]):
            self.assertIn(name, message)


class Kinds(Journal):
    def test_each_kind_has_an_id_and_a_text(self):
        self.assertEqual(len(IDS), len(set(IDS)))
        self.assertEqual(set(IDS), set(EXPLAINED))
        for text in EXPLAINED.values():
            self.assertRegex(text, r"^\nSubject: [^\n]{10,70}\nDefined-By: l3_advance\nDocumentation: man:l3ctl\(8\)\n\n\S")

    def test_journalctl_takes_the_catalog(self):
        place = Path("/tmp/root/usr/lib/systemd/catalog")
        place.mkdir(parents=True)
        (place / CATALOG.name).write_bytes(CATALOG.read_bytes())
        Path("/tmp/root/var/lib/systemd/catalog").mkdir(parents=True)
        for words in (["--update-catalog"], ["--dump-catalog", *IDS]):
            done = subprocess.run(["journalctl", "--root", "/tmp/root", *words], capture_output=True, text=True, check=False)
            self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertEqual(re.findall(r"^-- ([0-9a-f]{32})$", done.stdout, re.MULTILINE), IDS)

    def test_drift(self):
        self.settings()
        self.live(FRESH4.replace("forward_ext_url -i br0", "forward_ext_url -i br1"))
        listening = self.listen(JOURNALD)
        self.assertEqual(self.l3ctl("check").status, 3)
        message, = self.messages(listening)
        self.assertEqual((message["SYSLOG_IDENTIFIER"], message["PRIORITY"]), ("l3ctl", "4"))
        self.assertEqual(message["L3_DRIFT"], "2")
        self.assertTrue(message["MESSAGE"].startswith("rules are not as set: IPv4 forward_ext_url"))
        self.assert_explained(message)

    def test_nothing_is_told_where_all_is_well(self):
        self.settings()
        listening = self.listen(JOURNALD)
        self.assertEqual(self.l3ctl("check").status, 0)
        self.assertEqual(self.messages(listening), [])


class Confirmations(Journal):
    def change(self, seconds):
        """Returns the journal's socket, with a change pending."""
        listening = self.listen(JOURNALD)
        self.assertEqual(self.apply('{"vpn_pass_through": true}', "--confirm", seconds).status, 0)
        return listening

    def told(self, listening):
        """The one message that comes."""
        end = time.monotonic() + 60
        while not (found := self.messages(listening)):
            self.assertLess(time.monotonic(), end, "nothing is told")
            time.sleep(0.05)
        message, = found
        self.assert_explained(message)
        return message

    def test_a_confirmation(self):
        listening = self.change("60")
        self.assertEqual(self.l3ctl("confirm").status, 0)
        self.assertEqual(self.told(listening)["MESSAGE"], "a change was confirmed and stays")

    def test_a_rollback_that_is_asked_for(self):
        listening = self.change("60")
        self.assertEqual(self.l3ctl("confirm", "--revert").status, 0)
        message = self.told(listening)
        self.assertEqual((message["L3_REASON"], message["PRIORITY"]), ("confirm --revert asked for it", "4"))

    def test_a_rollback_by_the_timer(self):
        self.assertEqual(self.told(self.change("1"))["L3_REASON"], "it was not confirmed within 1 s")


class Ways(Journal):
    def drift(self):
        self.settings()
        self.live(FRESH4.replace("forward_ext_url -i br0", "forward_ext_url -i br1"))

    def test_without_journald_syslog_gets_a_line(self):
        self.drift()
        listening = self.listen(SYSLOG)
        self.assertEqual(self.l3ctl("check").status, 3)
        line = listening.recv(1 << 16).decode()
        # Facility daemon, severity warning.
        self.assertRegex(line, r"^<28>.* l3ctl\[\d+\]: rules are not as set: IPv4 forward_ext_url.* L3_DRIFT=2$")

    def test_with_journald_syslog_gets_none(self):
        self.drift()
        journald, syslog = self.listen(JOURNALD), self.listen(SYSLOG)
        self.l3ctl("check")
        self.assertEqual(len(self.messages(journald)), 1)
        self.assertRaises(BlockingIOError, syslog.recv, 1)

    def test_nobody_listens(self):
        self.drift()
        self.assertEqual((self.l3ctl("check").status, JOURNALD.exists()), (3, False))

    def test_a_journald_that_reads_nothing_keeps_nothing_waiting(self):
        self.drift()
        listening = self.listen(JOURNALD)
        sender = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        sender.setblocking(False)
        with self.assertRaises(BlockingIOError):
            while True:
                sender.sendto(b"MESSAGE=full\n", str(JOURNALD))
        sender.close()
        self.assertEqual(self.l3ctl("check").status, 3)
        listening.close()

    def test_hostile_text_makes_no_field(self):
        self.settings()
        self.live(FRESH4.replace("COMMIT", '[0:0] -A forward_ext_url -m comment --comment "a\\033[31m b" -j DROP\nCOMMIT'))
        listening = self.listen(JOURNALD)
        self.l3ctl("check")
        told = self.messages(listening)
        self.assertEqual(len(told), 1)
        for message in told:
            self.assertEqual([name for name in message if not name.startswith("L3_")],
                             ["MESSAGE", "MESSAGE_ID", "PRIORITY", "SYSLOG_IDENTIFIER"])  # fmt: skip
            self.assertNotRegex(message["MESSAGE"], r"[\x00-\x1f\x7f]")
