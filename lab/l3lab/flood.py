"""A stream of packets that never pauses, to see what gets through while rules change."""

import contextlib
import socket
import threading

from l3lab import hosts
from l3lab.netns import Namespaces

CLOSED = 50001  # a port that no probe uses: the prober listens on its ports


class Flood:
    """Packets from the Internet to a port of the LAN, without a pause, and those that arrive."""

    def __init__(self, namespaces: Namespaces):
        self._sender = namespaces.socket("wan", socket.AF_INET, socket.SOCK_DGRAM)
        self._ear = namespaces.socket("lan", socket.AF_INET, socket.SOCK_DGRAM)
        self._ear.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 20)
        self._ear.bind((hosts.LAN.v4, CLOSED))
        self._goes_on = True
        self._heard = 0
        # Both threads listen: packets that are not read soon would be lost.
        self._listening = threading.Lock()
        self.sent = 0
        self._thread = threading.Thread(target=self._send)
        self._thread.start()

    def _send(self) -> None:
        while self._goes_on:
            with contextlib.suppress(BlockingIOError, ConnectionError):
                self._sender.sendto(b"flood", (hosts.LAN.v4, CLOSED))
                self.sent += 1
            self._listen()

    def _listen(self) -> None:
        with self._listening, contextlib.suppress(BlockingIOError):
            while self._ear.recv(16):
                self._heard += 1

    def arrived(self) -> int:
        """How many since the last call."""
        self._listen()
        with self._listening:
            heard, self._heard = self._heard, 0
        return heard

    def close(self) -> None:
        self._goes_on = False
        self._thread.join()
        self._sender.close()
        self._ear.close()
