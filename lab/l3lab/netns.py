"""Sockets that live in another network namespace than the process that holds them."""

import contextlib
import ctypes
import os
import socket

_CLONE_NEWNET = 0x40000000
_libc = ctypes.CDLL(None, use_errno=True)


def _enter(descriptor: int) -> None:
    if _libc.setns(descriptor, _CLONE_NEWNET) != 0:
        error = ctypes.get_errno()
        raise OSError(error, f"cannot enter the network namespace: {os.strerror(error)}")


class Namespaces:
    """The lab's namespaces by name. Only the one thread that opens sockets moves between them."""

    def __init__(self, names):
        self._home = os.open("/proc/self/ns/net", os.O_RDONLY | os.O_CLOEXEC)
        self._descriptors = {
            name: os.open(f"/run/netns/{name}", os.O_RDONLY | os.O_CLOEXEC) for name in names
        }

    @contextlib.contextmanager
    def inside(self, name: str):
        _enter(self._descriptors[name])
        try:
            yield
        finally:
            _enter(self._home)

    def socket(self, name: str, family: int, kind: int, protocol: int = 0) -> socket.socket:
        """A non-blocking socket of that namespace; it stays there wherever the process goes."""
        with self.inside(name):
            opened = socket.socket(family, kind, protocol)
        opened.setblocking(False)
        return opened

    def set_kernel(self, name: str, setting: str, value: str) -> None:
        with self.inside(name), open(f"/proc/sys/{setting}", "w", encoding="ascii") as file:
            file.write(value)

    def close(self) -> None:
        for descriptor in (self._home, *self._descriptors.values()):
            os.close(descriptor)
