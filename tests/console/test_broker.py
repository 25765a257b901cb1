"""The broker does what its table allows, for a server that has no rights, and nothing else."""
import json
import os
import random
import re
import time
import unittest
from pathlib import Path

from broker import OPERATIONS, PROGRAM, Broker, frame, write_program

RUNS = Path("/tmp/runs")
# Notes how it was run, and answers with its input.
NOTING = """
import json
sent = sys.stdin.read()
note = {"words": sys.argv[1:], "uid": os.getuid(), "environment": sorted(os.environ), "sent": len(sent),
        "descriptors": len(os.listdir("/proc/self/fd"))}
with open("/tmp/runs", "a") as runs: runs.write(json.dumps(note) + "\\n")
print(sent, end="")
"""
NO_JSON = ("backup", "metrics")
CHANGES = ("apply", "apply-with-confirmation", "confirm", "extend", "revert", "revert-change", "restore", "undo", "undo-with-confirmation")
# Operation -> the only command lines that it may run, with the argument that they need.
ALLOWED = {
    "settings": (["export"], b"", False),
    "status": (["status"], b"", False),
    "rules": (["rules", "--counters"], b"", False),
    "health": (["doctor"], b"", False),
    "plan": (["plan", "-"], b"", True),
    "apply": (["apply", "-"], b"", True),
    "apply-with-confirmation": (["apply", "-", "--confirm", "60"], b"60", True),
    "confirm": (["confirm", "0123456789abcdef"], b"0123456789abcdef", False),
    "revert": (["confirm", "--revert"], b"", False),
    "explain": (["explain", "--batch", "-"], b"", True),
    "backup": (["backup", "-"], b"", False),
    "restore": (["restore", "-"], b"", True),
    "metrics": (["metrics"], b"", False),
    "devices": (["devices"], b"", False),
    "history": (["history"], b"", False),
    "extend": (["confirm", "0123456789abcdef", "--extend", "60"], b"0123456789abcdef 60", False),
    "revert-change": (["confirm", "0123456789abcdef", "--revert"], b"0123456789abcdef", False),
    "undo": (["undo", "0123456789abcdef"], b"0123456789abcdef", False),
    "undo-with-confirmation": (["undo", "0123456789abcdef", "--confirm", "60"], b"0123456789abcdef 60", False),
    "blocked": (["blocked"], b"", False),
    "explain-device": (["explain", "02:00:00:00:00:0a", "--settings", "-"], b"02:00:00:00:00:0a", True),
    "explain-way": (["explain", "tv_2", "[2001:db8::1]:443", "--settings", "-"], b"tv_2 [2001:db8::1]:443", True),
}


def line_of(name, who=""):
    """The whole command line of an operation."""
    words, _, _ = ALLOWED[name]
    return [*words, *(["--origin=console"] if name in CHANGES else []), *([f"--who={who}"] if who else []),
            *([] if name in NO_JSON else ["--json"])]  # fmt: skip


def is_of_table(words):
    """Whether a run's words are those of a row, with a number or a name where the row has an argument."""
    def fits(word, wanted, argument):
        if wanted not in argument.decode().split():
            return word == wanted
        return re.fullmatch("[0-9]+" if wanted.isdigit() else r"[][\w.:][][\w.:-]*", word, re.ASCII) is not None

    rows = [(line_of(name), argument) for name, (_, argument, _) in ALLOWED.items()]
    return any(len(row) == len(words) and all(fits(word, wanted, argument) for word, wanted in zip(words, row))
               for row, argument in rows)  # fmt: skip


class BrokerTest(unittest.TestCase):
    def setUp(self):
        if Path("/proc/1/comm").read_text().strip() != "bwrap":
            raise RuntimeError("run this inside tests/sandbox")
        RUNS.unlink(missing_ok=True)
        write_program(NOTING)

    def runs(self):
        return [json.loads(line) for line in RUNS.read_text().splitlines()] if RUNS.exists() else []

    def as_server(self, action):
        """Runs action(broker) as the user that the server has; True is its only good result."""
        with Broker() as broker:
            pid = os.fork()
            if pid == 0:
                good = False
                try:
                    os.setgroups([])
                    os.setresgid(65534, 65534, 65534)
                    os.setresuid(65534, 65534, 65534)
                    good = action(broker)
                finally:
                    os._exit(0 if good is True else 1)
            self.assertEqual(os.waitpid(pid, 0)[1], 0)

    def test_every_operation_is_one_command_line_as_root(self):
        self.assertEqual(set(ALLOWED), set(OPERATIONS))
        for name, (_, argument, takes_input) in ALLOWED.items():
            sent = b"{}" if takes_input else b""
            self.as_server(lambda broker: broker.call(name, argument, b"", sent).output == sent)
            run = self.runs()[-1]
            self.assertEqual(run["words"], line_of(name))
            self.assertEqual((run["uid"], run["environment"]), (0, ["LC_ALL", "PATH"]))
            if name in CHANGES:
                self.as_server(lambda broker: broker.call(name, argument, b"session from 192.168.1.10", sent).outcome == "ended")
                self.assertEqual(self.runs()[-1]["words"], line_of(name, "session from 192.168.1.10"))
            # The three of every program, and the folder that it looks at.
            self.assertEqual(run["descriptors"], 4)

    def test_what_was_stored_is_a_file_of_the_run(self):
        write_program("print(sys.argv[1:], sys.stdin.read(), open('/proc/self/fd/3').read(), len(os.listdir('/proc/self/fd')))")
        stored = "x" * 262144
        with Broker() as broker:
            for operation, argument, words in (("apply", b"", []), ("apply-with-confirmation", b"60", ["--confirm", "60"])):
                answer = broker.call(operation, argument, sent=b"{}", stored=stored.encode())
                self.assertEqual(answer.output.decode(), f"{['apply', '-', *words, '--if-stored', '/proc/self/fd/3', '--origin=console', '--json']} {{}} {stored} 5\n")
            for operation in ("plan", "restore", "status", "confirm"):
                self.assertEqual(broker.call(operation, stored=b"x").outcome, "refused")

    def test_calls_outside_the_table(self):
        refused = [(number, b"", b"", b"") for number in (0, len(OPERATIONS) + 1, 99, 65535)]
        refused += [(name, b"60", b"", b"") for name, (_, argument, _) in ALLOWED.items() if not argument]
        refused += [(name, argument, b"", b"x") for name, (_, argument, sent) in ALLOWED.items() if not sent]
        for text in (b"", b"0", b"3601", b"99999", b"-1", b"1 2", b"1;reboot", b"$(id)", b"--force", b"\0", b"1\n", b"\xff"):
            refused.append(("apply-with-confirmation", text, b"", b"{}"))
        for text in (b"", b"-", b"--help", b"-b", b" tv", b"tv ", b"tv  x", b"tv x", b"t/v", b"t=v", b"t;v", b"t\nv", b"\xc3\xa4", b"x" * 65):
            refused.append(("explain-device", text, b"", b"{}"))
        for text in (b"tv", b"tv ", b"tv  x", b" tv x", b"tv x y", b"-x x", b"tv --batch", b"tv -", b"tv x/y", b"x" * 65 + b" x", b"x " + b"x" * 271):
            refused.append(("explain-way", text, b"", b"{}"))
        for text in (b"", b"60", b"0123456789abcde", b"0123456789abcdef0", b"0123456789ABCDEF", b"0123456789abcde-", b"--revert",
                     b"0123456789abcdef 60 60", b"0123456789abcdef --revert"):
            refused += [(name, text, b"", b"") for name in ("confirm", "extend", "revert-change", "undo", "undo-with-confirmation")]
        refused += [(name, b"0123456789abcdef", b"", b"") for name in ("extend", "undo-with-confirmation")]
        for who in (b"a;b", b"$x", b"`id`", b"a\nb", b"\x1b[0m", b"a'b", b'a"b', b"\xc3\xa4", b"/etc/passwd", b"a=b", b"\0"):
            refused.append(("apply", b"", who, b"{}"))
        refused += [("status", b"", b"me", b""), ("explain", b"", b"", b"x" * 4097), ("restore", b"", b"", b"x" * 65537)]

        def attempt(broker):
            return all(broker.call(*one).outcome == "refused" for one in refused)

        self.as_server(attempt)
        self.assertGreater(len(refused), 30)
        self.assertEqual(self.runs(), [])

    def test_sizes_out_of_bounds_end_the_connection(self):
        for bytes_ in (frame("apply", b"1" * 337), frame("apply", b"", b"a" * 337), frame("plan", sent=b"x" * 262145), frame("apply", stored=b"x" * 262145),
                       frame("status")[:10] + b"\1\0" + frame("status")[12:]):
            def attempt(broker, bytes_=bytes_):
                try:
                    broker.socket.sendall(bytes_)
                    broker.answer()
                except (EOFError, ConnectionError):
                    return True
                return False

            self.as_server(attempt)
        self.assertEqual(self.runs(), [])

    def test_random_bytes_run_nothing_but_the_table(self):
        seed = int(time.time())
        draw = random.Random(seed)
        for _ in range(40):
            data = bytearray(b"".join(frame(draw.randrange(len(OPERATIONS) + 3), draw.randbytes(draw.randrange(3)), b"", draw.randbytes(draw.randrange(20)))
                                      for _ in range(draw.randrange(1, 6))))
            for _ in range(draw.randrange(3)):
                data[draw.randrange(len(data))] = draw.randrange(256)

            def attempt(broker, data=bytes(data)):
                try:
                    broker.socket.sendall(data)
                    broker.socket.shutdown(1)
                    while broker.socket.recv(65536):
                        pass
                except ConnectionError:
                    pass
                return True

            self.as_server(attempt)
        for run in self.runs():
            self.assertTrue(is_of_table(run["words"]), (seed, run["words"]))
        self.assertFalse(is_of_table(["status"]) or is_of_table(["explain", "--batch", "--settings", "-", "--json"]))

    def test_large_input_and_output(self):
        sent = b"x" * 262144
        with Broker() as broker:
            self.assertEqual(broker.call("apply", b"", b"", sent).output, sent)
            write_program("print('y' * (2 << 20))")
            self.assertEqual(broker.call("status").outcome, "too_long")
            write_program("print('y' * ((2 << 20) - 1))")
            self.assertEqual(len(broker.call("status").output), 2 << 20)

    def test_exit_status_and_errors(self):
        write_program("print('no', file=sys.stderr); sys.exit(3)")
        with Broker() as broker:
            answer = broker.call("status", number=7)
            self.assertEqual((answer.number, answer.outcome, answer.status, answer.errors), (7, "ended", 3, b"no\n"))
            write_program("os.kill(os.getpid(), 11)")
            self.assertEqual(broker.call("status").outcome, "crashed")
            PROGRAM.unlink()
            self.assertEqual(broker.call("status").outcome, "not_started")

    def test_a_program_that_hangs_is_ended_with_its_children(self):
        write_program("""
import subprocess
open("/tmp/pids", "w").write(str(subprocess.Popen(["sleep", "1000"]).pid))
time.sleep(1000)""")
        with Broker("2") as broker:
            begun = time.monotonic()
            answer = broker.call("status")
            self.assertEqual((answer.outcome, answer.output), ("too_slow", b""))
            self.assertGreater(time.monotonic() - begun, 1.5)
            child = Path("/proc") / Path("/tmp/pids").read_text()
            deadline = time.monotonic() + 10
            while child.exists() and "Z" not in (child / "stat").read_text().split()[2] and time.monotonic() < deadline:
                time.sleep(0.05)
            self.assertLess(time.monotonic(), deadline)

    def test_slow_ones_do_not_hold_up_others(self):
        write_program("time.sleep(1 if 'doctor' in sys.argv else 0); print(sys.argv[1])")
        with Broker() as broker:
            broker.socket.sendall(frame("health", number=1) + frame("status", number=2))
            self.assertEqual([broker.answer().number, broker.answer().number], [2, 1])

    def test_a_change_is_finished_when_the_server_is_gone(self):
        write_program("sys.stdin.read(); time.sleep(0.5); open('/tmp/finished', 'w').close(); print('x' * 100000)")
        Path("/tmp/finished").unlink(missing_ok=True)
        with Broker() as broker:
            broker.socket.sendall(frame("apply", sent=b"{}"))
            time.sleep(0.1)
            broker.socket.close()
            self.assertEqual(broker.process.wait(timeout=30), 0)
            self.assertTrue(Path("/tmp/finished").exists())


if __name__ == "__main__":
    unittest.main()
