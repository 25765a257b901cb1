"""The lock-out drill: somebody in the home network closes the web access of the home network, from a page of the gateway.

The access list knows the usual web port, so the console listens there."""
import time
import unittest

from page_case import FULL, HOME, PageTest, l3ctl

SECONDS = 6


class Drill(PageTest):
    host = "192.168.1.1:80"

    def drill(self):
        browser = self.browser
        browser.show("filters/access")
        browser.press("Remove web home network any")
        browser.press("Review 1 change", "link")
        browser.wait_for("This change can cut this page off.")
        self.assertTrue(browser.one(".applying input[type=checkbox]").is_selected())
        browser.fill("within s", str(SECONDS), ".applying")
        browser.press("Apply")
        begun = time.monotonic()
        browser.wait_for("No answer for", 15)
        self.assertIn("undo", browser.text())
        browser.wait_for("The gateway has undone the change, because it was not kept in time.", SECONDS + 30)
        took = time.monotonic() - begun
        self.assertNotIn("No answer for", browser.text())
        self.assertEqual(self.settings()["acl"], HOME["acl"])
        # What was typed is a draft again, and nothing else waits.
        browser.wait_for("1 change not applied")
        self.assertNotIn("A change waits", browser.text())
        return took

    def test_the_page_comes_back_and_says_how(self):
        for number in range(20 if FULL else 1):
            with self.subTest(number):
                if number:
                    self.setUp()
                self.assertLess(self.drill(), SECONDS + 25)

    def test_a_change_that_keeps_the_page_is_kept(self):
        browser = self.browser
        browser.show("filters/access")
        browser.press("Remove telnet home network 192.168.1.2-192.168.1.15")
        browser.press("Review 1 change", "link")
        browser.press("Apply")
        browser.press("Keep it")
        browser.wait_for("Kept: the change stays.")
        self.assertNotIn("telnet", [entry["service"] for entry in self.settings()["acl"]["entries"]])
        self.assertEqual(l3ctl("confirm", check=False).returncode, 1)


if __name__ == "__main__":
    unittest.main()
