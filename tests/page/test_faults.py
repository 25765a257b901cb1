"""What fails while the pages are used: nothing typed is lost, and the page says what is true on the gateway."""
import unittest
from pathlib import Path

from l3lab.prober import Prober
from page_case import HOME, PASSWORD, PageTest, l3ctl, until

# An l3ctl that crashes while one file is there, and takes its time for an apply while another one is.
WRAPPER = """#!/bin/sh
if [ -e /tmp/crashes ]; then kill -SEGV $$; fi
if [ -e /tmp/slow ] && [ "$1" = apply ]; then sleep 2; fi
exec l3ctl "$@"
"""


class Faults(PageTest):
    options = ("--l3ctl", "/tmp/l3ctl")

    @classmethod
    def setUpClass(cls):
        Path("/tmp/l3ctl").write_text(WRAPPER)
        Path("/tmp/l3ctl").chmod(0o755)
        super().setUpClass()

    def tearDown(self):
        for name in ("crashes", "slow"):
            Path(f"/tmp/{name}").unlink(missing_ok=True)

    def add_name(self, host):
        self.browser.show("filters/names")
        self.browser.fill("Name", host)
        self.browser.press("Add")

    def test_an_l3ctl_that_crashes(self):
        browser = self.browser
        Path("/tmp/crashes").touch()
        self.add_name("kept.example.org")
        browser.wait_for("l3ctl was ended by a signal")
        self.assertEqual(browser.named("box", "Name")[0].get_attribute("value"), "kept.example.org")
        Path("/tmp/crashes").unlink()
        browser.press("Add")
        browser.wait_for("1 change not applied")

    def test_a_server_that_ends_during_an_apply(self):
        browser = self.browser
        self.add_name("slow.example.org")
        browser.press("Review 1 change", "link")
        browser.one(".applying")
        Path("/tmp/slow").touch()
        browser.press("Apply")
        self.assertTrue(until(lambda: b"sleep" in b"".join(path.read_bytes() for path in processes())))
        self.server.process.kill()
        self.server.process.wait()
        browser.wait_for("No answer for")
        self.assertTrue(until(lambda: "slow.example.org" in str(self.settings())))
        self.server.start()
        browser.wait_for("Your session has ended.")
        browser.log_in(PASSWORD)
        browser.wait_for("The link was lost, but the change is set.")
        self.assertNotIn("not applied", browser.text())

    def test_two_tabs_have_one_draft(self):
        browser = self.browser
        first = browser.current_window_handle
        browser.switch_to.new_window("tab")
        self.addCleanup(browser.switch_to.window, first)
        self.addCleanup(browser.close)
        browser.open(f"{self.server.address}#/overview")
        second = browser.current_window_handle
        browser.wait_for("Gateway's time")
        browser.switch_to.window(first)
        self.add_name("tab.example.org")
        browser.wait_for("1 change not applied")
        browser.switch_to.window(second)
        browser.wait_for("1 change not applied")
        browser.press("Discard")
        browser.press("Yes, discard")
        browser.switch_to.window(first)
        browser.until(lambda: "not applied" not in browser.text())
        browser.switch_to.window(second)

    def test_a_draft_that_the_gateway_would_refuse_by_now(self):
        """Entered while it was right: the review says what is wrong, and nothing of it is lost."""
        browser = self.browser
        self.add_name("late.example.org")
        browser.wait_for("1 change not applied")
        full = {"enabled": True, "mode": "black-list", "entries": [{"host": f"n{number}.example.org"} for number in range(50)]}
        l3ctl("apply", "-", settings={**HOME, "url_filter": full})
        browser.press("Put mine on top")
        browser.press("Review 1 change", "link")
        browser.wait_for("url_filter.entries")
        self.assertFalse(browser.named("button", "Apply"))
        browser.wait_for("Review 1 change")

    def test_undo_of_a_change_of_the_history_and_more_time(self):
        browser = self.browser
        prober = Prober()
        self.addCleanup(prober.close)
        l3ctl("mac-filter", "add", "tablet")
        self.assertFalse(prober.tcp("tablet", "wan", 8080, timeout=0.1).passed)
        browser.show("history")
        browser.wait_for("tablet, all day")
        browser.until(lambda: [one for one in browser.all(".change_of button") if one.is_displayed()])[0].click()
        browser.press("Yes, undo")
        browser.wait_for("A change waits to be kept")
        self.assertTrue(prober.tcp("tablet", "wan", 8080).passed)
        browser.press("More time")
        browser.until(lambda: any(f"1:{number} left" in browser.text() for number in range(30, 60)))
        browser.press("Keep it")
        browser.wait_for("Kept: the change stays.")
        self.assertEqual(self.settings()["mac_filter"]["devices"], HOME["mac_filter"]["devices"])


def processes():
    return [path for path in Path("/proc").glob("[0-9]*/cmdline") if path.exists()]


if __name__ == "__main__":
    unittest.main()
