"""Bounds of size, time and number: beyond them a client is told so, and the others notice nothing."""
import http.client
import json
import socket
import ssl
import time
import unittest

from console import HOST, PORT, Client, ConsoleTest, raw_connection, until

START = f"POST /api/v1/plan HTTP/1.1\r\nHost: {HOST}\r\nContent-Type: application/json\r\n"
# How a connection ends that the other side has given up.
ENDED = (ConnectionError, ssl.SSLError)


class Asker:
    """A connection that sends whatever it is told to, and waits for the first line of an answer."""

    def __init__(self, text, timeout=60, source="127.0.0.1"):
        self.connection = raw_connection(source)
        self.connection.settimeout(timeout)
        self.data = b""
        self.send(text.encode())

    def __enter__(self):
        return self

    def __exit__(self, *unused):
        self.connection.close()

    def send(self, data):
        """The server may have answered and gone before it has read everything."""
        try:
            self.connection.sendall(data)
        except (*ENDED, TimeoutError):
            pass

    def status(self):
        """Of the answer; 0 where the connection ends without one. TimeoutError where nothing has come yet."""
        while b"\r\n" not in self.data:
            try:
                more = self.connection.recv(4096)
            except ENDED:
                return 0
            if not more:
                return 0
            self.data += more
        return int(self.data.split(b" ")[1])


def status_of(text):
    with Asker(text) as asker:
        return asker.status()


def is_served(client):
    try:
        return client.get("/").status == 200
    except (OSError, http.client.HTTPException):
        return False


def hold(addresses):
    """Connections that send nothing; the server counts them before whoever comes later."""
    return [socket.create_connection(("127.0.0.1", PORT), timeout=60, source_address=(address, 0)) for address in addresses]


class Limits(ConsoleTest):
    # No time that passes here is to end anything, however slow the machine is.
    options = ("--request-seconds", "60")

    def test_sizes(self):
        self.assert_problem(self.client.post("plan", b"x" * (256 * 1024 + 1)), 413, "too_large")
        self.assert_problem(self.client.post("plan", b" " * (256 * 1024)), 422, "settings_invalid")
        self.assertEqual(self.client.get("status", X_Long="x" * 9000).status, 431)
        self.assertEqual(self.client.get("status", X_Long="x" * 7000).status, 200)
        self.assertIn(status_of(START + "Content-Length: 999999999999999999999\r\n\r\n"), (400, 413))
        self.assertIn(status_of(START + "X: " + "x" * 100000 + "\r\n\r\n"), (431, 413, 0))
        self.assertIn(status_of("GET /" + "x" * 100000 + " HTTP/1.1\r\n\r\n"), (414, 431, 0))

    def test_bodies_of_unknown_length(self):
        self.assertEqual(status_of(START + "Transfer-Encoding: chunked\r\n\r\n2\r\n{}\r\n0\r\n\r\n"), 411)
        self.assertEqual(status_of(START + "Transfer-Encoding: chunked\r\nContent-Length: 2\r\n\r\n{}"), 411)
        self.assertIn(status_of(START + "Content-Length: 2\r\nContent-Length: 3\r\n\r\n{}"), (400, 401, 403))
        self.assertEqual(status_of(START + "Content-Length: -1\r\n\r\n"), 400)

    def test_what_is_no_http(self):
        for text in ("\0" * 100, "GET\r\n\r\n", "GET / HTTP/9.9\r\n\r\n", "\r\n" * 50, "GET / HTTP/1.1\r\nHost\r\n\r\n"):
            with Asker(text, timeout=1) as asker:
                try:
                    self.assertIn(asker.status(), (0, 400, 421, 505))
                except TimeoutError:
                    pass  # it waits for the rest, until its time is over
        self.assertEqual(self.client.get("status").status, 200)

    def test_connections_of_one_client(self):
        held = hold(["127.0.0.3"] * 6)
        answer = Client(source="127.0.0.3").get("/")
        self.assert_problem(answer, 503, "too_many_connections")
        self.assertEqual(answer.headers["Retry-After"], "5")
        self.assertEqual(self.client.get("status").status, 200)
        for connection in held:
            connection.close()
        self.assertTrue(until(lambda: is_served(Client(source="127.0.0.3"))))

    def test_connections_of_all_clients(self):
        held = hold(f"127.0.1.{number // 6 + 1}" for number in range(32))
        self.assert_problem(Client().get("/"), 503, "too_many_connections")
        for connection in held:
            connection.close()
        self.assertTrue(until(lambda: is_served(Client())))

    def test_a_client_that_goes_in_the_middle_of_its_upload(self):
        before = self.client.get("settings").data
        head = "".join(f"{name}: {value}\r\n" for name, value in self.client.headers("POST").items())
        begun = (f"POST /api/v1/apply HTTP/1.1\r\n{head}If-Match: *\r\nContent-Length: 1000\r\n\r\n" +
                 json.dumps({"vpn_pass_through": True}))  # fmt: skip
        for number in range(20):
            with Asker(begun, source=f"127.0.2.{number + 1}"):
                pass
        self.assertEqual(self.client.get("settings").data, before)


class SlowClients(ConsoleTest):
    SECONDS = 4
    options = ("--request-seconds", str(SECONDS))

    def test_slow_ones_are_ended_and_hold_up_no_one(self):
        """Slow in the TLS handshake, the first line, the headers, the body, and in reading."""
        source = {"source": "127.0.0.4", "timeout": 0.01}
        slow = {"body": Asker(START + "Content-Length: 100\r\n\r\n{", **source), "headers": Asker(START, **source),
                "line": Asker("GET /api", **source), "silent": Asker("", **source)}  # fmt: skip
        drops = {"body": b"x", "headers": b"X: y\r\n"}
        [in_handshake] = hold(["127.0.0.5"])
        # Answers that are not read fill every buffer on the way, until the server reads no more either.
        reader = Asker("", source="127.0.0.6", timeout=0.5)
        with self.assertRaises(TimeoutError):
            for _ in range(500):
                reader.connection.sendall(f"GET / HTTP/1.1\r\nHost: {HOST}\r\n\r\n".encode() * 2000)
        begun = time.monotonic()
        ended = {}
        slowest = 0
        while len(ended) < len(slow) and time.monotonic() - begun < 60:
            asked = time.monotonic()
            self.assertEqual(self.client.get("status").status, 200)
            slowest = max(slowest, time.monotonic() - asked)
            for name in slow.keys() - ended.keys():
                try:
                    slow[name].send(drops.get(name, b""))
                    ended[name] = slow[name].status()
                except TimeoutError:
                    pass
            time.sleep(0.2)
        for asker in (*slow.values(), reader):
            asker.connection.close()
        self.assertEqual(set(ended), set(slow))
        self.assertEqual((ended["silent"], ended["body"]), (0, 408))
        self.assertGreater(time.monotonic() - begun, self.SECONDS - 2)
        # Whoever waited for a slow one would wait until its end.
        self.assertLess(slowest, self.SECONDS - 1)
        self.assertEqual(in_handshake.recv(1), b"")
        in_handshake.close()


if __name__ == "__main__":
    unittest.main()
