"""Waiting for packets on several sockets at once."""

import select
import socket
import time
from typing import Callable

_SMALL_MESSAGE = 4096


class Watch:
    """Waits on one socket until `seen` accepts something that was read from it."""

    def __init__(self, watched: socket.socket, seen: Callable, events: int = select.POLLIN):
        self.socket, self._seen, self.events = watched, seen, events
        self.done = False
        if events == select.POLLIN:
            empty(watched)

    def serve(self) -> None:
        if self.events == select.POLLOUT:
            self.done = self._seen()
            return
        while not self.done:
            try:
                self.done = self._seen(*self.socket.recvfrom(_SMALL_MESSAGE))
            except BlockingIOError:
                return
            except ConnectionError:
                # An ICMP refusal that an earlier packet earned: no message, so read on.
                continue


def wait(watches: list[Watch], timeout: float) -> None:
    """Serves the watches until all have seen theirs, or the timeout expires."""
    end = time.monotonic() + timeout
    while True:
        waiting = {watch.socket.fileno(): watch for watch in watches if not watch.done}
        left = end - time.monotonic()
        if not waiting or left <= 0:
            return
        poll = select.poll()
        for number, watch in waiting.items():
            poll.register(number, watch.events)
        for number, _ in poll.poll(left * 1000):
            waiting[number].serve()


def empty(stale: socket.socket) -> None:
    """Throws away what earlier packets left to be read."""
    while True:
        try:
            stale.recv(_SMALL_MESSAGE)
        except BlockingIOError:
            return
        except ConnectionError:
            continue
