"""Daily spans around and beside the present minute, in UTC as the packet filter counts.

They keep a distance of some minutes, so that a run that takes a while stays on its side. Near
midnight a span may wrap, which the packet filter understands.
"""

import time


def _span(first: int, last: int) -> str:
    now = time.gmtime()
    present = now.tm_hour * 60 + now.tm_min

    def clock(minute: int) -> str:
        return "{:02}:{:02}".format(*divmod((present + minute) % 1440, 60))

    return f"{clock(first)}-{clock(last)}"


def around_now() -> str:
    return _span(-5, 30)


def before_now() -> str:
    return _span(-30, -2)


def after_now() -> str:
    return _span(30, 60)
