"""What fails around the server: l3ctl, the broker, the server itself, the disk, and its surroundings at the start."""
import json
import os
import shutil
import signal
import socket
import ssl
import subprocess
import time
import unittest
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from broker import write_program
from clock_case import FAKE_CLOCK
from console import CONSOLE, HOST, PASSWORD, PORT, STATE, Client, ConsoleTest, context, make_first_password, until
from gateway import L3CTL

PROGRAM = Path("/tmp/l3ctl")


def hand_on():
    """l3ctl's place is taken by l3ctl."""
    PROGRAM.write_text(f'#!/bin/sh\nexec {L3CTL} "$@"\n')
    PROGRAM.chmod(0o755)


class Faults(ConsoleTest):
    l3ctl_program = PROGRAM
    L3CTL_SECONDS = 4
    options = ("--l3ctl-seconds", str(L3CTL_SECONDS))

    @classmethod
    def setUpClass(cls):
        hand_on()
        super().setUpClass()

    def setUp(self):
        if self.server.process.poll() is not None:
            type(self).server = self.start()
        hand_on()
        super().setUp()

    def test_a_change_between_the_comparison_and_the_apply(self):
        PROGRAM.write_text(f'#!/bin/sh\ncase "$*" in apply*) echo \'{{"vpn_pass_through": true}}\' | {L3CTL} apply - ;; esac >&2\nexec {L3CTL} "$@"\n')
        settings = {"mac_filter": {"enabled": True, "mode": "black-list", "devices": [{"mac": "02:00:00:00:00:0a"}]}}
        self.assert_problem(self.client.apply(settings), 412, "settings_changed")
        stored = self.client.get("settings").json
        self.assertEqual((stored["vpn_pass_through"], stored["mac_filter"]["devices"]), (True, []))
        self.assertEqual(self.client.apply(settings, etag="*").status, 200)

    def test_l3ctl_is_missing(self):
        PROGRAM.unlink()
        self.assert_problem(self.client.get("status"), 504, "l3ctl_missing")
        hand_on()
        self.assertEqual(self.client.get("status").status, 200)

    def test_l3ctl_hangs(self):
        write_program("time.sleep(1000)")
        with ThreadPoolExecutor() as pool:
            begun = time.monotonic()
            answers = [pool.submit(self.client.get, path) for path in ("status", "health", "status")]
            self.assertEqual(self.client.get("session").status, 200)
            for answer in answers:
                self.assert_problem(answer.result(), 504, "l3ctl_timeout")
        self.assertGreater(time.monotonic() - begun, self.L3CTL_SECONDS - 0.5)
        hand_on()
        self.assertEqual(self.client.get("status").status, 200)

    def test_l3ctl_crashes_or_answers_without_end_or_nonsense(self):
        write_program("os.kill(os.getpid(), 11)")
        self.assert_problem(self.client.get("status"), 502, "l3ctl_crashed")
        write_program("print('x' * (3 << 20))")
        self.assert_problem(self.client.get("status"), 502, "answer_too_long")
        write_program("print('no JSON'); sys.exit(1)")
        self.assert_problem(self.client.get("status"), 500, "l3ctl_failed")

    def test_equal_reads_share_one_l3ctl(self):
        write_program("open('/tmp/count', 'a').write('x'); time.sleep(1); print('l3_up 1')")
        Path("/tmp/count").write_text("")
        with ThreadPoolExecutor(5) as pool:
            answers = list(pool.map(lambda _: self.client.get("metrics").status, range(5)))
        self.assertEqual(answers, [200] * 5)
        self.assertEqual(Path("/tmp/count").read_text(), "x")

    def test_the_broker_is_killed(self):
        write_program("sys.stdin.read(); open('/tmp/begun', 'w').close(); time.sleep(2); print('l3_up 1')")
        Path("/tmp/begun").unlink(missing_ok=True)
        with ThreadPoolExecutor() as pool:
            answer = pool.submit(self.client.get, "status")
            self.assertTrue(until(Path("/tmp/begun").exists))
            os.kill(self.server.broker(), signal.SIGKILL)
            self.assert_problem(answer.result(), 503, "broker_gone")
        # What starts it again starts both.
        self.assertEqual(self.server.process.wait(timeout=20), 1)
        self.assertIn("broker is gone", self.server.log.read_text())

    def test_the_server_is_killed_in_an_apply(self):
        """The change is made as a whole, and its confirmation still has to come."""
        for _ in range(2):
            if self.server.process.poll() is not None:
                self.setUp()
            broker = self.server.broker()
            etag = self.client.get("settings").headers["ETag"]
            settings = {"mac_filter": {"enabled": True, "mode": "black-list", "devices": [{"mac": "02:00:00:00:00:0a"}]}}
            PROGRAM.write_text(f'#!/bin/sh\ncase "$*" in apply*) touch /tmp/applying; sleep 0.3 ;; esac\nexec {L3CTL} "$@"\n')
            Path("/tmp/applying").unlink(missing_ok=True)
            with ThreadPoolExecutor() as pool:
                pool.submit(self.client.apply, settings, "apply?confirm=3", etag)
                self.assertTrue(until(Path("/tmp/applying").exists))
                self.server.process.kill()
                self.server.process.wait()
            self.assertTrue(until(lambda gone=broker: not Path(f"/proc/{gone}/exe").exists() or
                                  "Z" in Path(f"/proc/{gone}/stat").read_text()))
            self.assertTrue(json.loads(self.l3ctl("export").out)["mac_filter"]["devices"])
            self.assertIsNotNone(json.loads(self.l3ctl("status", "--json").out)["confirmation"])
            self.assertTrue(until(lambda: not json.loads(self.l3ctl("export").out)["mac_filter"]["devices"]))

    def test_ten_thousand_connections(self):
        """From many addresses, most of which hang; whoever is logged in goes on where there is a place."""
        count = 0
        held = []
        for number in range(10000):
            plain = socket.socket()
            plain.setblocking(False)
            plain.bind((f"127.1.{number // 250 + 1}.{number % 250 + 1}", 0))
            plain.connect_ex(("127.0.0.1", PORT))
            held.append(plain)
            count += 1
            if len(held) > 400:
                held.pop(0).close()
        for plain in held:
            plain.close()
        self.assertEqual(count, 10000)
        self.assertTrue(until(lambda: self.answers(), 60))
        self.assertIsNone(self.server.process.poll())

    def answers(self):
        try:
            return self.client.get("session").status == 200
        except OSError:
            return False

    def test_noise_instead_of_tls(self):
        for noise in (b"GET / HTTP/1.1\r\n\r\n", os.urandom(5000), b"\x16\x03\x01\xff\xff" + b"\0" * 500, b""):
            for _ in range(10):
                with socket.create_connection(("127.0.0.1", PORT)) as plain:
                    plain.sendall(noise)
        self.assertTrue(until(self.answers))


class State(ConsoleTest):
    def restart(self, *options):
        self.assertEqual(self.server.stop(), 0)
        type(self).options = options
        type(self).server = self.start()

    def test_what_is_kept_over_a_restart(self):
        token = self.client.post("tokens", {"name": "x", "scope": "read"}).json["token"]
        certificate = ssl.get_server_certificate(("127.0.0.1", PORT))
        self.restart()
        self.assertEqual(ssl.get_server_certificate(("127.0.0.1", PORT)), certificate)
        self.assertEqual(self.client.get("session").status, 401)
        self.assertEqual(Client().log_in().status, 201)
        program = Client()
        program.token = token
        self.assertEqual(program.get("status").status, 200)

    def test_a_torn_state_is_the_one_before(self):
        path = STATE / "state"
        before = path.read_bytes()
        half = len(before) // 2
        self.client.post("tokens", {"name": "y", "scope": "read"})
        after = path.read_bytes()
        at = half if before[half:] != after[half:] else 0
        with path.open("r+b") as file:
            file.seek(at + 150)
            file.write(b"\0" * 20)
        self.assertNotIn("y", [token["name"] for token in self.client.get("tokens").json["tokens"]])
        self.assertEqual(Client().log_in().status, 201)

    def test_a_new_first_password_ends_tokens(self):
        program = Client()
        program.token = self.client.post("tokens", {"name": "x", "scope": "read"}).json["token"]
        first = make_first_password()
        self.assertRegex(first, "^([2-9a-km-z]{4}-){4}[2-9a-km-z]{4}$")
        self.assertEqual((program.get("status").status, Client().log_in().status), (401, 403))
        client = Client()
        self.assertEqual(client.log_in(first).status, 201)
        self.assertEqual(client.send("PUT", "password", {"current": first, "new": PASSWORD}).status, 204)

    def test_a_certificate_of_the_owner_is_used_and_kept(self):
        key, certificate = STATE / "key.pem", STATE / "certificate.pem"
        ours = certificate.read_bytes()
        subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-days", "1",
                        "-subj", "/CN=owner", "-keyout", key, "-out", certificate], check=True, capture_output=True)  # fmt: skip
        owners = certificate.read_bytes()
        self.restart()
        self.assertEqual(certificate.read_bytes(), owners)
        certificate.write_text("nonsense")
        self.assertEqual(self.server.stop(), 0)
        with self.assertRaises(RuntimeError):
            self.start()
        self.assertIn("certificate.pem", self.server.log.read_text())
        certificate.unlink()
        type(self).server = self.start()
        self.assertNotEqual(certificate.read_bytes(), ours)

    def test_a_clock_that_was_never_set(self):
        """Log-in, sessions and changes need no date, and the certificate is good once there is one."""
        certificate = STATE / "certificate.pem"
        self.assertEqual(self.server.stop(), 0)
        certificate.unlink()
        type(self).server = self.start(LD_PRELOAD=str(FAKE_CLOCK), FAKE_TIME="60")
        dates = subprocess.run(["openssl", "x509", "-noout", "-dates", "-in", certificate], capture_output=True, text=True, check=True).stdout
        self.assertEqual(dates, "notBefore=Dec 31 00:00:00 2025 GMT\nnotAfter=Feb  1 00:00:00 2027 GMT\n")
        self.assertEqual((self.client.log_in().status, self.client.get("status").status), (201, 200))
        self.assertEqual(self.client.apply({"vpn_pass_through": True}, "apply?confirm=60").status, 202)
        self.assertEqual(self.client.post("confirm").status, 200)
        kept = certificate.read_bytes()
        self.restart()
        self.assertEqual(certificate.read_bytes(), kept)

    def test_what_is_made_for_tls(self):
        text = subprocess.run(["openssl", "x509", "-noout", "-text", "-in", STATE / "certificate.pem"], capture_output=True, text=True, check=True).stdout
        for part in ("prime256v1", "IP Address:127.0.0.1", "DNS:localhost", "CA:FALSE", "TLS Web Server Authentication"):
            self.assertIn(part, text)
        self.assertEqual((STATE / "key.pem").stat().st_mode & 0o777, 0o600)
        with self.assertRaises(OSError):
            old = context()
            old.set_ciphers("DEFAULT:@SECLEVEL=0")
            old.maximum_version = ssl.TLSVersion.TLSv1_1
            with socket.create_connection(("127.0.0.1", PORT)) as plain:
                old.wrap_socket(plain)

    def test_what_the_server_is_left_with(self):
        status = dict(line.split(":\t", 1) for line in Path(f"/proc/{self.server.process.pid}/status").read_text().splitlines() if ":\t" in line)
        for name in ("CapInh", "CapPrm", "CapEff", "CapBnd", "CapAmb"):
            self.assertEqual(int(status[name], 16), 0, name)
        self.assertEqual((status["Uid"].split(), status["NoNewPrivs"], status["Seccomp"], status["Threads"]), (["65534"] * 4, "1", "2", "1"))
        self.assertEqual(list(Path(f"/proc/{self.server.process.pid}/root").iterdir()), [])
        limits = Path(f"/proc/{self.server.process.pid}/limits").read_text()
        self.assertRegex(limits, r"Max processes +0 +0")
        self.assertRegex(limits, r"Max open files +64 +64")


class Start(unittest.TestCase):
    def setUp(self):
        shutil.rmtree("/tmp/state", ignore_errors=True)

    def fails(self, *options, program=CONSOLE, **run):
        done = subprocess.run([program, *options], capture_output=True, text=True, timeout=30, check=False, **run)
        self.assertEqual(done.stdout, "")
        self.assertNotEqual(done.returncode, 0)
        return done.stderr

    def test_wrong_options(self):
        good = {"--state": "/tmp/state", "--user": "nobody", "--root": "/tmp/empty", "--listen": HOST}
        Path("/tmp/full/x").mkdir(parents=True, exist_ok=True)
        for name, value, word in (("--listen", "nowhere:1", "nowhere"), ("--listen", "127.0.0.1", "127.0.0.1"), ("--listen", "127.0.0.1:0", "127.0.0.1:0"),
                                  ("--listen", "192.0.2.1:8443", "192.0.2.1"), ("--user", "root", "root"), ("--user", "no-such", "no-such"),
                                  ("--root", "/tmp/full", "/tmp/full"), ("--root", "/proc/x/y", "/proc/x/y"), ("--state", "/proc/x", "/proc/x"),
                                  ("--broker", "/nowhere", "/nowhere")):  # fmt: skip
            options = [part for pair in {**good, name: value}.items() for part in pair]
            self.assertIn(word, self.fails(*options), (name, value))
        for seconds in ("0", "61", "-1", "x", "", "1.5"):
            for option in ("--request-seconds", "--l3ctl-seconds"):
                self.assertIn(option, self.fails(option, seconds))
        self.assertIn("--help", self.fails("--wrong"))
        self.assertIn("word", self.fails("word"))
        # The checkout may be closed to other users.
        for program in (CONSOLE, CONSOLE + "-broker"):
            shutil.copy(program, "/tmp")
        nobody = {"program": "/tmp/l3-console", "user": 65534, "group": 65534, "extra_groups": []}
        Path("/tmp/own").mkdir(exist_ok=True)
        os.chown("/tmp/own", 65534, 65534)
        self.assertIn("root", self.fails(*[part for pair in {**good, "--state": "/tmp/own"}.items() for part in pair], **nobody))

    def test_a_disk_that_is_full(self):
        Path("/tmp/disk").mkdir(exist_ok=True)
        subprocess.run(["mount", "-t", "tmpfs", "-o", "size=8k", "none", "/tmp/disk"], check=True)
        try:
            self.assertIn("No space left", self.fails("--first-password", "--state", "/tmp/disk/state"))
        finally:
            subprocess.run(["umount", "/tmp/disk"], check=True)

    def test_help_and_version(self):
        for option, word in (("--help", "--first-password"), ("--version", "l3-console 1")):
            self.assertIn(word, subprocess.run([CONSOLE, option], capture_output=True, text=True, check=True).stdout)


if __name__ == "__main__":
    unittest.main()
