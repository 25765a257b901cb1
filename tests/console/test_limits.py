"""Bounds of size, time and number: beyond them a client is told so, and the others notice nothing."""
import json
import ssl
import time
import unittest

from console import HOST, Client, ConsoleTest, raw_connection, until

START = f"POST /api/v1/plan HTTP/1.1\r\nHost: {HOST}\r\nContent-Type: application/json\r\n"


def status_of(connection):
    """The status of what comes, and 0 where the connection ends without one."""
    data = b""
    try:
        while b"\r\n" not in data:
            more = connection.recv(4096)
            if not more:
                return 0
            data += more
    except (ConnectionError, ssl.SSLError):
        return 0
    return int(data.split(b" ")[1])


class Limits(ConsoleTest):
    def raw(self, text):
        with raw_connection() as connection:
            connection.sendall(text.encode())
            return status_of(connection)

    def test_sizes(self):
        self.assert_problem(self.client.post("plan", b"x" * (256 * 1024 + 1)), 413, "too_large")
        self.assert_problem(self.client.post("plan", b" " * (256 * 1024)), 422, "settings_invalid")
        self.assertEqual(self.client.get("status", X_Long="x" * 9000).status, 431)
        self.assertEqual(self.client.get("status", X_Long="x" * 7000).status, 200)
        self.assertIn(self.raw(START + "Content-Length: 999999999999999999999\r\n\r\n"), (400, 413))
        self.assertIn(self.raw(START + "X: " + "x" * 100000 + "\r\n\r\n"), (431, 413, 0))
        self.assertIn(self.raw("GET /" + "x" * 100000 + " HTTP/1.1\r\n\r\n"), (414, 431, 0))

    def test_bodies_of_unknown_length(self):
        self.assertEqual(self.raw(START + "Transfer-Encoding: chunked\r\n\r\n2\r\n{}\r\n0\r\n\r\n"), 411)
        self.assertEqual(self.raw(START + "Transfer-Encoding: chunked\r\nContent-Length: 2\r\n\r\n{}"), 411)
        self.assertIn(self.raw(START + "Content-Length: 2\r\nContent-Length: 3\r\n\r\n{}"), (400, 401, 403))
        self.assertEqual(self.raw(START + "Content-Length: -1\r\n\r\n"), 400)

    def test_what_is_no_http(self):
        for text in ("\0" * 100, "GET\r\n\r\n", "GET / HTTP/9.9\r\n\r\n", "\r\n" * 50, "GET / HTTP/1.1\r\nHost\r\n\r\n"):
            with raw_connection() as connection:
                connection.sendall(text.encode())
                connection.settimeout(1)
                try:
                    self.assertIn(status_of(connection), (0, 400, 421, 505))
                except TimeoutError:
                    pass  # it waits for the rest, until its time is over
        self.assertEqual(self.client.get("status").status, 200)

    def test_connections_of_one_client(self):
        held = [raw_connection("127.0.0.3") for _ in range(6)]
        answer = Client(source="127.0.0.3").get("/")
        self.assert_problem(answer, 503, "too_many_connections")
        self.assertEqual(answer.headers["Retry-After"], "5")
        self.assertEqual(self.client.get("status").status, 200)
        for connection in held:
            connection.close()
        self.assertTrue(until(lambda: Client(source="127.0.0.3").get("/").status == 200))

    def test_connections_of_all_clients(self):
        held = [raw_connection(f"127.0.1.{number // 6 + 1}") for number in range(32)]
        self.assert_problem(Client().get("/"), 503, "too_many_connections")
        for connection in held:
            connection.close()
        self.assertTrue(until(lambda: Client().get("/").status == 200))

    def test_slow_ones_are_ended_and_hold_up_no_one(self):
        """Slow in the first line, in the headers, in the body, and in reading."""
        slow = {"silent": "", "line": "GET /api", "headers": START, "body": START + "Content-Length: 100\r\n\r\n{"}
        connections = {name: raw_connection("127.0.0.4") for name in slow}
        begun = time.monotonic()
        for name, text in slow.items():
            connections[name].sendall(text.encode())
        ended = {}
        slowest = 0
        for connection in connections.values():
            connection.settimeout(0.01)
        while len(ended) < len(slow) and time.monotonic() - begun < 30:
            asked = time.monotonic()
            self.assertEqual(self.client.get("status").status, 200)
            slowest = max(slowest, time.monotonic() - asked)
            for name, connection in connections.items():
                if name in ended:
                    continue
                try:
                    if name in ("headers", "body"):
                        connection.sendall(b"x" if name == "body" else b"X: y\r\n")
                    ended[name] = status_of(connection)
                except TimeoutError:
                    pass
                except (ConnectionError, ssl.SSLError):
                    ended[name] = 0
            time.sleep(0.5)
        for connection in connections.values():
            connection.close()
        self.assertEqual(set(ended), set(slow))
        self.assertEqual((ended["silent"], ended["body"]), (0, 408))
        self.assertGreater(time.monotonic() - begun, 8)
        self.assertLess(slowest, 3)

    def test_a_client_that_goes_in_the_middle_of_its_upload(self):
        before = self.client.get("settings").data
        for _ in range(20):
            with raw_connection() as connection:
                head = "".join(f"{name}: {value}\r\n" for name, value in self.client.headers("POST").items())
                connection.sendall((f"POST /api/v1/apply HTTP/1.1\r\n{head}If-Match: *\r\nContent-Length: 1000\r\n\r\n" +
                                    json.dumps({"vpn_pass_through": True})).encode())
        self.assertEqual(self.client.get("settings").data, before)


if __name__ == "__main__":
    unittest.main()
