"""The usual ways through the pages, each once."""
import gzip
import time
import unittest

from accessibility import faults_of_page
from l3lab.prober import Prober
from page_case import FULL, HOME, PAGE_BUILD, PASSWORD, Client, PageTest, l3ctl
from selenium.webdriver.common.keys import Keys

PAGES = ("overview", "devices", "filters/traffic", "filters/names", "filters/devices", "filters/addresses", "filters/access",
         "filters/portal", "schedule", "why?device=tablet", "rules", "history", "health", "account")  # fmt: skip
LARGEST = 60000
FORMS = [(language, theme, width) for width in (1280, 320) for theme in ("light", "dark") for language in ("en", "de")]


def choose(browser, language, theme):
    """By the two choices at the top of every page."""
    for place, value in enumerate((language, theme)):
        browser.execute_script("const f = document.querySelectorAll('.choices select')[arguments[0]]; f.value = arguments[1];"
                               "f.dispatchEvent(new Event('change', {bubbles: true}))", place, value)  # fmt: skip
    browser.until(lambda: browser.execute_script("return document.documentElement.lang") == language)


class Pages(PageTest):
    def assert_fits(self, what):
        widths = self.browser.execute_script("return [document.documentElement.scrollWidth, innerWidth]")
        self.assertLessEqual(widths[0], widths[1], f"{what} scrolls sideways")

    def look_at(self, language, theme, width, pages):
        browser = self.browser
        browser.resize(width)
        choose(browser, language, theme)
        for page in pages:
            browser.show(page)
            browser.until(lambda: not browser.execute_script("return /Loading|Wird geladen/.test(document.body.innerText)"))
            # What a page asks for by and by has come.
            browser.until(lambda: browser.execute_script("return performance.getEntriesByType('resource').every((e) => e.responseEnd < performance.now() - 100)"))
            what = f"{page} {language} {theme} {width}"
            with self.subTest(what):
                self.assertEqual(faults_of_page(browser), [])
                self.assert_fits(what)

    def test_every_page_is_accessible_quiet_and_asks_nobody_else(self):
        browser = self.browser
        self.addCleanup(choose, self.browser, "en", "light")
        browser.requests()
        if FULL:
            for form in FORMS:
                self.look_at(*form, PAGES)
        else:
            # Each page in one form, and each form on some pages.
            for number, form in enumerate(FORMS):
                self.look_at(*form, PAGES[number :: len(FORMS)])
        self.assertEqual(browser.faults(), [])
        self.assertEqual({url for url in browser.requests() if not url.startswith((self.server.address, "data:"))}, set())

    def test_a_fault_that_is_put_in_is_found(self):
        browser = self.browser
        browser.execute_script("document.querySelector('main').append(document.createElement('img'))")
        self.assertEqual([fault[0] for fault in faults_of_page(browser)], ["image-alt"])
        browser.execute_script("const wide = document.createElement('div'); wide.style.width = '2000px'; wide.textContent = 'wide';"
                               "document.querySelector('main').append(wide)")  # fmt: skip
        with self.assertRaises(AssertionError):
            self.assert_fits("a page")
        browser.execute_script("fetch('https://192.0.2.1/').catch(() => 0)")
        browser.until(lambda: browser.faults())

    def test_what_is_opened_and_what_hangs_below_is_accessible_too(self):
        """A draft, an open form with a fault, the review, and a change that waits."""
        browser = self.browser
        self.addCleanup(choose, browser, "en", "light")
        browser.show("filters/access")
        browser.press("Edit web home network any")
        browser.fill("Addresses", "1.2.3", "tr.edited")
        browser.press("Put into the draft")
        browser.wait_for("is not allowed")
        self.look_at_all("fault")
        browser.show("devices")
        browser.press("Block now: tablet")
        browser.wait_for("1 change not applied")
        browser.press("Bedtime for laptop")
        self.look_at_all("bedtime")
        browser.show("review")
        browser.one(".applying")
        self.look_at_all("review")
        browser.one(".applying input[type=checkbox]").click()
        browser.press("Apply")
        browser.wait_for("A change waits to be kept")
        self.look_at_all("pending")
        browser.press("Undo now")
        browser.wait_for("Undone")

    def look_at_all(self, what):
        for language, theme, width in FORMS if FULL else FORMS[-1:]:
            self.browser.resize(width)
            choose(self.browser, language, theme)
            with self.subTest(f"{what} {language} {theme} {width}"):
                self.assertEqual(faults_of_page(self.browser), [])
                self.assert_fits(what)
        self.browser.resize(1280)
        choose(self.browser, "en", "light")

    def test_all_files_together_are_small(self):
        files = list((PAGE_BUILD / "files").glob("*.gz"))
        self.assertEqual(len(files), 2)
        index = gzip.compress((PAGE_BUILD / "files/index.html").read_bytes())
        self.assertLessEqual(sum(file.stat().st_size for file in files) + len(index), LARGEST)

    def test_bedtime_by_name_why_and_undo(self):
        browser = self.browser
        prober = Prober()
        self.addCleanup(prober.close)
        self.assertTrue(prober.tcp("tablet", "wan", 8080).passed)
        browser.show("devices")
        browser.press("Bedtime for tablet")
        form = "form[aria-label='Bedtime for tablet']"
        # A span around now, whatever the time is.
        browser.fill("When", "all day", form)
        browser.press("Add", within=form)
        browser.press("Review 1 change", "link")
        browser.wait_for("tablet")
        browser.one(".differences")
        # Nothing of a device's way leads to the gateway itself, so nothing is preselected.
        self.assertFalse(browser.one(".applying input[type=checkbox]").is_selected())
        browser.one(".applying input[type=checkbox]").click()
        browser.fill("within s", "60", ".applying")
        browser.press("Apply")
        browser.wait_for("A change waits to be kept")
        self.assertFalse(prober.tcp("tablet", "wan", 8080, timeout=0.1).passed)
        browser.show("why?device=tablet&to=203.0.113.2:443")
        browser.wait_for("Decided by Devices: tablet, all day")
        browser.press("Undo now")
        browser.wait_for("Undone: the settings are those from before.")
        self.assertTrue(prober.tcp("tablet", "wan", 8080).passed)
        self.assertEqual(len(self.settings()["mac_filter"]["devices"]), 2)

    def test_a_wrong_value_is_marked_at_its_field_and_kept(self):
        browser = self.browser
        browser.show("filters/traffic")
        form = "form[aria-label='Add an entry']"
        browser.fill("Destination ports", "70000", form)
        browser.press("Add", within=form)
        browser.wait_for("it must be a port from 1 to 65535")
        field = browser.one(f"{form} [aria-invalid]")
        self.assertEqual(field.accessible_name, "Destination ports")
        self.assertEqual(field.get_attribute("value"), "70000")
        self.assertEqual(browser.switch_to.active_element, field)
        self.assertNotIn("not applied", browser.text())
        field.send_keys(Keys.CONTROL, "a")
        field.send_keys("7000", Keys.ENTER)
        browser.wait_for("1 change not applied")

    def test_settings_that_change_meanwhile_are_no_dead_end(self):
        browser = self.browser
        browser.show("filters/names")
        browser.fill("Name", "mine.example.org")
        browser.press("Add")
        browser.wait_for("1 change not applied")
        l3ctl("url-filter", "add", "theirs.example.org")
        browser.wait_for("The gateway's settings have changed since you began")
        browser.press("Put mine on top")
        browser.press("Review 1 change", "link")
        browser.press("Apply")
        browser.wait_for("Applied.")
        hosts = [entry["host"] for entry in self.settings()["url_filter"]["entries"]]
        self.assertEqual(hosts, ["games.example.com", "videos.example.net", "theirs.example.org", "mine.example.org"])

    def test_a_session_that_ends_while_one_edits_loses_nothing(self):
        browser = self.browser
        browser.show("filters/names")
        browser.fill("Name", "in-the-draft.example.org")
        browser.press("Add")
        browser.wait_for("1 change not applied")
        browser.fill("Name", "half-typed.exam")
        self.server.stop()
        browser.wait_for("No answer for")
        self.server.start()
        browser.wait_for("Your session has ended.")
        browser.log_in(PASSWORD)
        browser.wait_for("1 change not applied")
        self.assertEqual(browser.named("box", "Name")[0].get_attribute("value"), "half-typed.exam")

    def test_two_sessions_see_one_countdown(self):
        other = Client(self.server).log_in()
        changed = {**HOME, "vpn_pass_through": True}
        _, settings = other.send("GET", "settings")
        answer, _ = other.send("POST", "apply?confirm=60", changed, If_Match="*")
        self.assertEqual(answer.status, 202)
        browser = self.browser
        browser.wait_for("A change waits to be kept")
        browser.wait_for("Another session has applied it")
        self.assertFalse(browser.named("button", "Keep it"))
        self.assertEqual(other.send("POST", "confirm")[0].status, 200)
        browser.until(lambda: "A change waits" not in browser.text())
        self.assertTrue(settings is not None and self.settings()["vpn_pass_through"])

    def test_back_and_forward(self):
        browser = self.browser
        browser.press("Devices", "link")
        browser.press("Health", "link")
        browser.back()
        browser.until(lambda: browser.one("h1").text == "Devices")
        browser.forward()
        browser.until(lambda: browser.one("h1").text == "Health")
        self.assertEqual(browser.switch_to.active_element, browser.one("h1"))


class FirstView(PageTest):
    def test_first_view_takes_three_requests(self):
        from browser import Browser

        browser = Browser()
        self.addCleanup(browser.quit)
        browser.open(self.server.address)
        browser.until(lambda: browser.named("box", "Password"))
        time.sleep(0.3)
        found = [url for url in browser.requests() if url.startswith("https:")]
        self.assertEqual(sorted(found), [self.server.address + name for name in ("", "app.css", "app.js")])
        self.assertEqual(browser.faults(), [])


if __name__ == "__main__":
    unittest.main()
