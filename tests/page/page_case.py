"""A gateway with settings, its console, and a browser in the home network."""
import http.client
import json
import os
import signal
import socket
import ssl
import subprocess
import time
import unittest
from pathlib import Path

from browser import Browser
from l3lab.netns import Namespaces

REPO = Path(__file__).resolve().parents[2]
CONSOLE = os.environ["L3_CONSOLE"]
PAGE_BUILD = Path(os.environ["L3_PAGE_BUILD"])
PASSWORD = "seven wet otters sing"
FULL = os.environ.get("L3_TEST_FULL") == "yes"
HOME = json.loads((REPO / "examples/home.json").read_text()) | {"time_zone": "Europe/Berlin"}


def l3ctl(*words, settings=None, check=True):
    text = None if settings is None else json.dumps(settings)
    return subprocess.run(["l3ctl", "--quiet", *words], input=text, text=True, capture_output=True, check=check)


def until(condition, seconds=20):
    deadline = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > deadline:
            return False
        time.sleep(0.02)
    return True


def meet_gateway(host):
    """Has the gateway know a host's address, as it does once the host has sent anything."""
    namespaces = Namespaces([host])
    with namespaces.socket(host, socket.AF_INET, socket.SOCK_DGRAM) as sender:
        sender.sendto(b"", ("192.168.1.1", 9))
    namespaces.close()


class Server:
    """l3-console in the gateway."""

    def __init__(self, *options, host="192.168.1.1:443"):
        self.address = f"https://{host.removesuffix(':443')}/"
        self.host = host
        self.state = Path("/tmp/console-state")
        first = subprocess.run([CONSOLE, "--first-password", "--state", self.state], capture_output=True, text=True, check=True)
        self.first = first.stdout.split(": ")[1].strip()
        self.log = Path("/tmp/console.log")
        self.options = options
        self.start()

    def start(self):
        with self.log.open("wb") as log:
            self.process = subprocess.Popen([CONSOLE, "--listen", self.host, "--user", "nobody", "--state", self.state, "--root",
                                             "/tmp/console-root", *self.options], stderr=log, cwd="/")  # fmt: skip
        if not until(lambda: "listens at" in self.log.read_text() or self.process.poll() is not None) or self.process.poll() is not None:
            raise RuntimeError(self.log.read_text())

    def stop(self):
        self.process.send_signal(signal.SIGTERM)
        return self.process.wait(timeout=60)


class Client:
    """A program beside the browser: another session."""

    def __init__(self, server):
        self.server = server
        self.context = ssl.create_default_context()
        self.context.check_hostname, self.context.verify_mode = False, ssl.CERT_NONE
        self.cookie = self.token = ""

    def send(self, method, path, body=None, **headers):
        host, port = self.server.host.split(":")
        connection = http.client.HTTPSConnection(host, int(port), timeout=60, context=self.context)
        sent = {"Host": self.server.host.removesuffix(":443"), "Content-Type": "application/json", "Sec-Fetch-Site": "same-origin",
                "Cookie": self.cookie, "X-L3-Token": self.token, **{name.replace("_", "-"): value for name, value in headers.items()}}  # fmt: skip
        connection.request(method, "/api/v1/" + path, None if method == "GET" else json.dumps(body or {}), sent)
        answer = connection.getresponse()
        text = answer.read()
        connection.close()
        return answer, json.loads(text) if text else None

    def log_in(self, password=PASSWORD):
        answer, body = self.send("POST", "session", {"password": password})
        assert answer.status == 201, body
        self.cookie, self.token = answer.headers["Set-Cookie"].split(";")[0], body["csrf_token"]
        return self


class PageTest(unittest.TestCase):
    """One gateway, console and browser for a class. Every test begins with the settings of examples/home.json, logged in."""

    maxDiff = None
    host = "192.168.1.1:443"
    language = "en"
    options = ()

    @classmethod
    def setUpClass(cls):
        if not Path("/ztcfg/l3_advance.dat").exists():
            l3ctl("init")
            l3ctl("wan", "update", "wan3")
        Path("/etc/ethers").write_text("02:00:00:00:01:10 laptop\n02:00:00:00:01:20 tablet\n02:00:00:00:01:21 tv\n")
        cls.server = Server(*cls.options, host=cls.host)
        client = Client(cls.server).log_in(cls.server.first)
        assert client.send("PUT", "password", {"current": cls.server.first, "new": PASSWORD})[0].status == 204
        for host in ("lan", "tablet"):
            meet_gateway(host)
        cls.browser = Browser(language=cls.language)

    @classmethod
    def tearDownClass(cls):
        cls.browser.quit()
        assert cls.server.stop() == 0, cls.server.log.read_text()

    def setUp(self):
        l3ctl("confirm", "--revert", check=False)
        l3ctl("apply", "-", settings=HOME)
        self.begin(self.browser)

    def begin(self, browser):
        """A browser that is logged in and has no draft."""
        if browser.address is None:
            browser.open(self.server.address)
            browser.log_in(PASSWORD)
        browser.execute_script("localStorage.removeItem('l3.draft'); localStorage.removeItem('l3.applying');")
        browser.resize(1280)
        browser.open(f"{self.server.address}#/overview")
        browser.refresh()
        browser.wait_for("Gateway's time")
        browser.get_log("browser")

    def settings(self):
        return json.loads(l3ctl("export", "--json").stdout)
