"""Local time spans at a change of the zone's offset, with packets: a POSIX TZ string puts the change a few seconds ahead."""

import time

from l3lab import device, hosts
from l3lab.rules import Rule
from lab_case import LabCase

_PACKET = "tcp from tablet to wan port 80"
_RULE = Rule("forward_ext_mac", f"MAC {hosts.TABLET.mac}")


def _clock(minute: int) -> str:
    return "{:02}:{:02}".format(*divmod(minute % 1440, 60))


def _day_and_time(moment: float) -> str:
    """As a TZ string has it, in days without the 29th of February."""
    then = time.gmtime(moment)
    is_leap = then.tm_year % 4 == 0
    day = then.tm_yday - (1 if is_leap and then.tm_yday > 59 else 0)
    return f"J{day}/{then.tm_hour}:{then.tm_min:02}:{then.tm_sec:02}"


def _zone(change: float, is_summer_first: bool) -> str:
    """A zone at UTC whose summer time, one hour ahead, begins or ends at the change; it changes again in half a year. The
    clock before the change tells its time."""
    other = change + (182 if time.gmtime(change).tm_yday < 182 else -182) * 86400
    if is_summer_first:
        return f"AAA0BBB-1,{_day_and_time(other)},{_day_and_time(change + 3600)}"
    return f"AAA0BBB-1,{_day_and_time(change)},{_day_and_time(other)}"


class Clock(LabCase):
    def _begin(self, span_at: int, is_summer_first: bool, is_blocked: bool) -> float:
        """Blocks the tablet in a span of an hour around this minute of the local clock before the change, and proves with a
        packet what that comes to before the change. Returns when that is. A slow machine gets more time."""
        for ahead in (8, 20, 60):
            change = float(int(time.time()) + ahead)
            local = time.gmtime(change + (3600 if is_summer_first else 0))
            middle = local.tm_hour * 60 + local.tm_min + span_at
            device.apply(
                {
                    "time_zone": _zone(change, is_summer_first),
                    "mac_filter": {
                        "enabled": True,
                        "devices": [{"mac": hosts.TABLET.mac, "active": f"{_clock(middle - 25)}-{_clock(middle + 25)}"}],
                    },
                }
            )
            device.l3ctl("clock")
            self._prove(is_blocked)
            if time.time() < change:
                return change
        self.fail("the change of the offset came before the packets were sent")

    def _prove(self, is_blocked: bool) -> None:
        if is_blocked:
            self.assert_stopped(_PACKET, _RULE)
        else:
            self.assert_all_pass("outside the span", [_PACKET])

    def _shift(self, change: float) -> None:
        while time.time() <= change:
            time.sleep(0.1)
        device.l3ctl("clock")

    def test_a_span_begins_with_summer_time(self):
        change = self._begin(60, False, is_blocked=False)
        self._shift(change)
        self._prove(True)

    def test_a_span_ends_with_summer_time_that_begins(self):
        change = self._begin(0, False, is_blocked=True)
        self._shift(change)
        self._prove(False)

    def test_a_span_comes_back_when_summer_time_ends(self):
        change = self._begin(-60, True, is_blocked=False)
        self._shift(change)
        self._prove(True)
