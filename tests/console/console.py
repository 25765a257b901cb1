"""A running console for tests: the real server and broker in a gateway whose packet-filter tools only take notes."""
import http.client
import json
import os
import re
import shutil
import signal
import socket
import ssl
import subprocess
import time
from pathlib import Path

from api import faults_of_response
from gateway import L3CTL, TOOLS, Gateway

CONSOLE = os.environ["L3_CONSOLE"]
STATE = Path("/tmp/state")
PORT = 8443
HOST = f"127.0.0.1:{PORT}"
PASSWORD = "seven wet otters sing"
USER = "nobody"


def until(condition, seconds=20):
    """Waits for a condition; false where it does not come."""
    deadline = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > deadline:
            return False
        time.sleep(0.02)
    return True


class Response:
    def __init__(self, status, headers, data):
        self.status, self.headers, self.data = status, headers, data

    @property
    def json(self):
        return json.loads(self.data)

    @property
    def code(self):
        return self.json["code"]

    def __repr__(self):
        return f"{self.status} {self.data[:300]!r}"


def context():
    """Of a client that takes every certificate."""
    made = ssl.create_default_context()
    made.check_hostname = False
    made.verify_mode = ssl.CERT_NONE
    return made


class Client:
    """A browser or a program: keeps its cookie and its token."""

    context = context()

    def __init__(self, source="127.0.0.1", port=PORT):
        self.source, self.port = source, port
        self.cookie = self.csrf = self.token = None

    def connect(self):
        return http.client.HTTPSConnection("127.0.0.1", self.port, timeout=60, context=self.context,
                                           source_address=(self.source, 0))  # fmt: skip

    def headers(self, method):
        headers = {"Host": f"127.0.0.1:{self.port}"}
        if self.token:
            headers["Authorization"] = f"Bearer {self.token}"
        elif self.cookie:
            headers["Cookie"] = self.cookie
        if method != "GET":
            headers["Content-Type"] = "application/json"
            if not self.token:
                headers["Sec-Fetch-Site"] = "same-origin"
                headers["X-L3-Token"] = self.csrf or ""
        return headers

    def send(self, method, path, body=None, **changed):
        """Sends headers with changes: a name with underscores, and its value, or None to leave it out."""
        headers = self.headers(method)
        for name, value in changed.items():
            headers = {own: text for own, text in headers.items() if own.lower() != name.replace("_", "-").lower()}
            if value is not None:
                headers[name.replace("_", "-")] = value
        data = body if isinstance(body, (bytes, str, type(None))) else json.dumps(body)
        target = path if path.startswith("/") else "/api/v1/" + path
        connection = self.connect()
        try:
            connection.connect()
            try:
                connection.request(method, target, data, headers)
            except (ConnectionError, ssl.SSLError):
                pass  # a server that refuses a request may answer and go before it has read all of it
            answer = connection.getresponse()
            response = Response(answer.status, answer.headers, answer.read() if method != "HEAD" else b"")
        finally:
            connection.close()
        # Whatever a test asks: the answer is one that the description knows.
        wrong = [] if method == "HEAD" else faults_of_response(method, target, response)
        assert not wrong, f"{method} {path}: {response} {wrong}"
        return response

    def get(self, path, **changed):
        return self.send("GET", path, **changed)

    def post(self, path, body=None, **changed):
        return self.send("POST", path, {} if body is None else body, **changed)

    def log_in(self, password=PASSWORD):
        answer = self.post("session", {"password": password})
        if answer.status == 201:
            self.cookie = answer.headers["Set-Cookie"].split(";")[0]
            self.csrf = answer.json["csrf_token"]
        return answer

    def apply(self, settings, path="apply", etag=None, **changed):
        etag = etag or self.get("settings").headers["ETag"]
        return self.post(path, settings, If_Match=etag, **changed)


class Server:
    """l3-console as a process."""

    def __init__(self, *options, l3ctl=L3CTL, environment=None):
        self.log = Path("/tmp/console.log")
        with self.log.open("wb") as log:
            self.process = subprocess.Popen(
                [CONSOLE, "--listen", HOST, "--user", USER, "--state", str(STATE), "--root", "/tmp/empty",
                 "--l3ctl", str(l3ctl), *options], env=environment, stderr=log, cwd="/")  # fmt: skip
        until(lambda: "listens at" in self.log.read_text() or self.process.poll() is not None)
        if "listens at" not in self.log.read_text():
            raise RuntimeError("the console does not start")

    def broker(self):
        """The process id of its broker."""
        for path in Path("/proc").glob("[0-9]*/status"):
            try:
                text = path.read_text()
            except OSError:
                continue
            if re.search(rf"^PPid:\t{self.process.pid}$", text, re.M):
                return int(path.parent.name)
        raise RuntimeError("no broker")

    def stop(self):
        self.process.send_signal(signal.SIGTERM)
        return self.process.wait(timeout=60)


def make_first_password():
    done = subprocess.run([CONSOLE, "--first-password", "--state", str(STATE)], capture_output=True, text=True, check=True)
    return done.stdout.split(": ")[1].strip()


class ConsoleTest(Gateway):
    """One console for all tests of a class, whose first password has been changed; each test has a fresh gateway and a
    client that is logged in."""

    options = ()
    l3ctl_program = L3CTL

    @classmethod
    def setUpClass(cls):
        shutil.rmtree(STATE, ignore_errors=True)
        first = make_first_password()
        cls.server = cls.start()
        client = Client()
        assert client.log_in(first).status == 201
        assert client.send("PUT", "password", {"current": first, "new": PASSWORD}).status == 204

    @classmethod
    def start(cls, **variables):
        environment = {"PATH": f"{TOOLS}:/usr/sbin:/usr/bin", "LC_ALL": "C.UTF-8", **variables}
        return Server(*cls.options, l3ctl=cls.l3ctl_program, environment=environment)

    @classmethod
    def tearDownClass(cls):
        assert cls.server.process.poll() is not None or cls.server.stop() == 0, cls.server.log.read_text()

    def setUp(self):
        super().setUp()
        self.assertEqual(self.l3ctl("init").status, 0)
        self.commands()
        self.client = Client()
        self.assertEqual(self.client.log_in().status, 201)

    def assert_problem(self, answer, status, code):
        self.assertEqual((answer.status, answer.headers["Content-Type"]), (status, "application/problem+json"), answer)
        self.assertEqual((answer.json["status"], answer.json["code"]), (status, code), answer)
        self.assertEqual(answer.json["type"], f"urn:l3-advance:problem:{code}")
        return answer


def raw_connection(source="127.0.0.1"):
    """A TLS connection for bytes of any kind."""
    plain = socket.create_connection(("127.0.0.1", PORT), timeout=60, source_address=(source, 0))
    return Client.context.wrap_socket(plain)
