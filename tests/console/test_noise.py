"""Requests that are broken in random ways, over the real socket: whatever comes, the answer is HTTP, nothing is changed, and
the next client is served."""
import json
import os
import random
import re
import ssl
import time
import unittest

from console import ConsoleTest, raw_connection, until

COUNT = 5000 if os.environ.get("L3_TEST_FULL") else 250
SETTINGS = json.dumps({"mac_filter": {"enabled": True, "mode": "black-list", "devices": [{"mac": "02:00:00:00:00:0a"}]}})
# What the borders of a request are made of.
PIECES = (b"\r\n", b"\r\n\r\n", b"\n", b"\0", b" ", b":", b"%00", b"%2e%2e/", b"?", b"HTTP/1.1", b"Content-Length: 5\r\n", b"\xff\xfe",
          b"Content-Length: 99999999999999999999\r\n", b"Transfer-Encoding: chunked\r\n", b"Expect: 100-continue\r\n", b"Connection: close\r\n",
          b"Host: x\r\n", b"X" * 5000, b"GET / HTTP/1.1\r\n", b"Upgrade: websocket\r\n", b"Range: bytes=0-\r\n", b"{", b"[" * 500, b"\t", b"-1")  # fmt: skip


class Noise(ConsoleTest):
    def sound(self, draw):
        """A request that is right but for the ETag: none of them, broken or not, may set anything."""
        method, path, body = draw.choice((("GET", "status", ""), ("GET", "settings", ""), ("GET", "session", ""), ("POST", "plan", SETTINGS),
                                          ("POST", "apply?confirm=5", SETTINGS), ("POST", "explain", '{"device": "02:00:00:00:00:0a"}'),
                                          ("POST", "confirm", "{}"), ("DELETE", "tokens/0", ""), ("PUT", "password", '{"current": "x", "new": "y"}'),
                                          ("POST", "tokens", '{"name": "", "scope": "read"}'), ("HEAD", "devices", ""), ("GET", "events", "")))  # fmt: skip
        headers = {**self.client.headers(method), "If-Match": '"0"', "Content-Length": str(len(body))}
        lines = [f"{method} /api/v1/{path} HTTP/1.1", *(f"{name}: {value}" for name, value in headers.items()), "", body]
        return "\r\n".join(lines).encode()

    def broken(self, draw):
        data = bytearray(self.sound(draw) * draw.choice((1, 1, 1, 2)))
        for _ in range(draw.randrange(4)):
            at = draw.randrange(len(data))
            change = draw.randrange(4)
            if change == 0:
                data[at] = draw.randrange(256)
            elif change == 1:
                data[at:at] = draw.choice(PIECES)
            elif change == 2:
                del data[at:at + draw.randrange(1, 30)]
            else:
                data[at:] = data[:draw.randrange(len(data))]
        return bytes(data)

    def answers_to(self, requests):
        """What comes at once; the rest of a request may be waited for by the server."""
        connections = [raw_connection(f"127.0.3.{number + 1}") for number in range(len(requests))]
        for connection, data in zip(connections, requests):
            connection.settimeout(0.1)
            try:
                connection.sendall(data)
            except (TimeoutError, ConnectionError, ssl.SSLError):
                pass  # refused before it was read
        answers = []
        for connection in connections:
            try:
                answers.append(connection.recv(4096))
            except (TimeoutError, ConnectionError, ssl.SSLError):
                answers.append(b"")
            connection.close()
        return answers

    def test_requests_broken_at_random(self):
        seed = int(time.time())
        draw = random.Random(seed)
        before = self.client.get("settings").data
        answered = 0
        for _ in range(COUNT // 25):
            requests = [self.broken(draw) for _ in range(25)]
            for data, got in zip(requests, self.answers_to(requests)):
                answered += bool(got)
                self.assertTrue(not got or re.match(rb"HTTP/1\.[01] (100|[2-5][0-9]{2}) ", got), (seed, data, got))
            self.assertTrue(until(self.is_served), seed)
        self.assertGreater(answered, COUNT // 4)
        self.assertEqual(self.client.get("settings").data, before, seed)
        self.assertEqual(self.client.get("tokens").json, {"tokens": []})
        self.assertIsNone(self.server.process.poll())

    def is_served(self):
        try:
            return self.client.get("session").status == 200
        except OSError:
            return False


if __name__ == "__main__":
    unittest.main()
