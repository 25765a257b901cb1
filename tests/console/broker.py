"""The broker, spoken to as the server does: over its socket, by a process of another user."""
import os
import socket
import struct
import subprocess
from pathlib import Path

BROKER = os.environ["L3_CONSOLE_BROKER"]
PROGRAM = Path("/tmp/l3ctl")

CALL = struct.Struct("=IHHHHII")
ANSWER = struct.Struct("=IHHII")
OUTCOMES = ("ended", "refused", "not_started", "too_slow", "too_long", "crashed", "gone")
OPERATIONS = ("settings", "status", "rules", "health", "plan", "apply", "apply-with-confirmation", "confirm", "revert",
              "explain", "backup", "restore", "metrics", "devices", "blocked", "explain-device",
              "explain-way", "history", "extend", "revert-change", "undo", "undo-with-confirmation")  # fmt: skip


def frame(operation, argument=b"", who=b"", sent=b"", number=1, stored=b""):
    if isinstance(operation, str):
        operation = OPERATIONS.index(operation) + 1
    return CALL.pack(number, operation, len(argument), len(who), 0, len(sent), len(stored)) + argument + who + sent + stored


class Answer:
    def __init__(self, number, outcome, status, output, errors):
        self.number, self.outcome, self.status = number, OUTCOMES[outcome], status
        self.output, self.errors = output, errors


class Broker:
    """A running broker and our end of its socket."""

    def __init__(self, *options, l3ctl=PROGRAM, environment=None):
        ours, theirs = socket.socketpair()
        self.socket = ours
        self.socket.settimeout(60)
        self.process = subprocess.Popen([BROKER, str(l3ctl), *options], stdin=theirs, env=environment)
        theirs.close()

    def __enter__(self):
        return self

    def __exit__(self, *unused):
        self.socket.close()
        self.process.wait(timeout=60)

    def exactly(self, count):
        data = b""
        while len(data) < count:
            more = self.socket.recv(count - len(data))
            if not more:
                raise EOFError
            data += more
        return data

    def answer(self):
        number, outcome, status, output, errors = ANSWER.unpack(self.exactly(ANSWER.size))
        return Answer(number, outcome, status, self.exactly(output), self.exactly(errors))

    def call(self, *words, **options):
        self.socket.sendall(frame(*words, **options))
        return self.answer()


def write_program(text, path=PROGRAM):
    """Puts a program in l3ctl's place."""
    path.write_text("#!/usr/bin/python3\nimport sys, os, time\n" + text)
    path.chmod(0o755)
