"""Every page with the keyboard alone: all that can be used is reached, in the order in which it is seen, and is visible then."""
import unittest

from page_case import FULL, PageTest, until
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.keys import Keys
from test_short import PAGES

# What has to be reachable: everything that is shown, can be used, and is no part of a widget of its own.
WANTED = """return [...document.querySelectorAll("a[href], button, input, select, [tabindex='0']")].filter((e) =>
  !e.disabled && e.checkVisibility({visibilityProperty: true}) && !(e.type === "radio" && !e.checked) && e.tabIndex >= 0)"""
PLACE = """const e = document.activeElement; const r = e.getBoundingClientRect(); const at = document.elementFromPoint(r.x + r.width / 2, r.y + r.height / 2);
  return [e, e === document.body, r.bottom > 0 && r.top < innerHeight && (e === at || e.contains(at) || at?.contains(e) || e.className === 'skip'
    || e.parentElement.contains(at))]"""


class Keyboard(PageTest):
    def press(self, *keys):
        ActionChains(self.browser).send_keys(*keys).perform()

    def walk(self, page):
        browser = self.browser
        browser.show(page)
        browser.until(lambda: "Loading" not in browser.text())
        wanted = browser.execute_script(WANTED)
        browser.execute_script("document.activeElement.blur(); document.body.tabIndex = -1; document.body.focus(); document.body.removeAttribute('tabindex')")
        reached = []
        for _ in range(4 * len(wanted) + 20):
            self.press(Keys.TAB)
            element, is_body, is_seen = browser.execute_script(PLACE)
            if is_body or (reached and element == reached[0]):
                break
            self.assertTrue(is_seen, f"{page}: focus is hidden at {element.get_attribute('outerHTML')[:200]}")
            reached.append(element)
        missing = [one.get_attribute("outerHTML")[:160] for one in wanted if one not in reached]
        self.assertEqual(missing, [], page)

    def test_every_control_is_reached_and_seen(self):
        for page in PAGES if FULL else ("overview", "schedule"):
            with self.subTest(page):
                self.walk(page)

    def test_a_span_is_drawn_in_the_grid_and_shown_in_the_form(self):
        browser = self.browser
        browser.show("schedule")
        browser.one("[aria-label='Hours of tablet'] [tabindex='0']").send_keys(Keys.HOME, Keys.ARROW_RIGHT, Keys.ARROW_RIGHT, Keys.SPACE)
        self.press(Keys.ARROW_RIGHT, Keys.SPACE)
        form = "form[aria-label='Add a time for tablet']"
        times = [one.get_attribute("value") for one in browser.all(f"{form} input[type=time]") or [browser.one(form)]]
        self.assertEqual(times, ["02:00", "04:00"])
        browser.press("Add", within=form)
        browser.wait_for("1 change not applied")
        browser.wait_for("02:00–04:00")

    def test_a_change_is_made_applied_and_undone_without_a_pointer(self):
        browser = self.browser
        browser.show("filters/names")
        browser.named("box", "Name")[0].send_keys("keys.example.org", Keys.ENTER)
        browser.wait_for("1 change not applied")
        browser.named("link", "Review 1 change")[0].send_keys(Keys.ENTER)
        browser.one(".applying input[type=checkbox]").send_keys(Keys.SPACE)
        browser.until(lambda: browser.named("button", "Apply"))[0].send_keys(Keys.ENTER)
        browser.wait_for("A change waits to be kept")
        self.assertTrue(until(lambda: browser.switch_to.active_element.get_attribute("id") == "keep"))
        browser.named("button", "Undo now")[0].send_keys(Keys.ENTER)
        browser.wait_for("Undone")
        self.assertNotIn("keys.example.org", str(self.settings()))


if __name__ == "__main__":
    unittest.main()
