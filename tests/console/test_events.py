"""Server-sent events: counters, changes of the settings, and a pending confirmation."""
import json
import time
import unittest

from console import Client, ConsoleTest, until


class Stream:
    """An event stream that is being read."""

    def __init__(self, client, **headers):
        self.connection = client.connect()
        sent = {**client.headers("GET"), **{name.replace("_", "-"): value for name, value in headers.items()}}
        self.connection.request("GET", "/api/v1/events", None, sent)
        self.response = self.connection.getresponse()
        self.last = None

    def line(self):
        return self.response.readline().decode().rstrip("\n")

    def event(self):
        """The next event, past comments; None where the stream has ended."""
        event = {}
        while True:
            line = self.response.readline().decode()
            if not line:
                return None
            line = line.rstrip("\n")
            if not line and event:
                self.last = event["id"]
                return event["event"], json.loads(event["data"])
            if ": " in line:
                name, value = line.split(": ", 1)
                event[name] = value

    def until(self, name):
        while True:
            event = self.event()
            if event is None or event[0] == name:
                return event

    def close(self):
        self.connection.close()


class Events(ConsoleTest):
    def stream(self, client=None, **headers):
        stream = Stream(client or self.client, **headers)
        self.addCleanup(stream.close)
        return stream

    def test_a_new_listener_is_told_everything(self):
        stream = self.stream()
        self.assertEqual((stream.response.status, stream.response.headers["Content-Type"]), (200, "text/event-stream"))
        self.assertEqual(stream.line(), ":")
        self.assertEqual(stream.until("pending"), ("pending", {"confirmation": None}))
        # The first may still be what a listener before has heard.
        etag = self.client.get("settings").headers["ETag"]
        self.assertTrue(until(lambda: stream.until("changed")[1]["etag"] == etag))

    def test_changes_and_confirmations_arrive(self):
        stream = self.stream()
        stream.until("changed")
        answer = self.client.apply({"vpn_pass_through": True}, "apply?confirm=60")
        self.assertEqual(answer.status, 202)
        events = {}
        while not {"pending", "changed"} <= events.keys():
            events.update([stream.event()])
        confirmation = events["pending"]["confirmation"]
        self.assertEqual((confirmation["state"], confirmation["id"]), ("waiting", answer.json["id"]))
        self.assertEqual(events["changed"]["etag"], self.client.get("settings").headers["ETag"])
        newest = events["changed"]["newest"]
        self.assertEqual((newest["id"], newest["who"], newest["origin"], newest["rolled_back"]),
                         (answer.json["id"], "session from 127.0.0.1", "console", None))
        self.assertEqual(self.client.post("confirm").status, 200)
        self.assertEqual(stream.until("pending")[1], {"confirmation": None})

    def test_a_listener_that_comes_back_misses_nothing(self):
        stream = self.stream()
        stream.until("changed")
        other = self.stream()
        other.until("changed")
        stream.close()
        self.client.apply({"vpn_pass_through": True})
        changed = other.until("changed")
        again = self.stream(Last_Event_ID=stream.last)
        self.assertEqual(again.until("changed"), changed)
        # One of an earlier server gets everything.
        self.assertEqual(self.stream(Last_Event_ID="3").until("pending"), ("pending", {"confirmation": None}))

    def test_at_most_four(self):
        streams = [self.stream() for _ in range(4)]
        for stream in streams:
            self.assertEqual(stream.line(), ":")
        answer = self.client.get("events")
        self.assert_problem(answer, 503, "too_many_streams")
        self.assertIn("Retry-After", answer.headers)
        for stream in streams:
            stream.close()

        def has_place():
            stream = Stream(self.client)
            try:
                return stream.response.status == 200
            finally:
                stream.close()

        self.assertTrue(until(has_place, 5))

    def test_a_stream_ends_with_its_session_and_with_its_token(self):
        other = Client()
        other.log_in()
        stream = self.stream(other)
        self.assertEqual(stream.line(), ":")
        program = Client()
        made = self.client.post("tokens", {"name": "watch", "scope": "read"}).json
        program.token = made["token"]
        watching = self.stream(program)
        self.assertEqual(watching.line(), ":")
        self.assertEqual(other.send("DELETE", "session").status, 204)
        self.client.send("DELETE", "tokens/" + made["id"])
        begun = time.monotonic()
        self.assertIsNone(stream.until("never"))
        self.assertIsNone(watching.until("never"))
        self.assertLess(time.monotonic() - begun, 15)

    def test_a_listener_that_does_not_read_holds_up_no_one(self):
        idle = self.stream()
        self.assertEqual(idle.line(), ":")
        for number in range(10):
            self.assertEqual(self.client.apply({"vpn_pass_through": number % 2 == 0}).status, 200)
        self.assertEqual(self.client.get("status").status, 200)


if __name__ == "__main__":
    unittest.main()
