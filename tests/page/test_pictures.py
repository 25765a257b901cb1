"""The pictures of README and docs/console.md. With L3_SANDBOX_WRITABLE, the folder of the pictures, they are written anew; without
it the test shows that each can be taken."""
import os
import unittest
from pathlib import Path

from l3lab.prober import Prober
from page_case import HOME, REPO, PageTest, l3ctl
from test_short import choose

FOLDER = os.environ.get("L3_SANDBOX_WRITABLE")
PICTURES = {
    "console-overview": ("overview", "light", 1100),
    "console-schedule": ("schedule", "dark", 1100),
    "console-why": ("why?device=tablet&to=203.0.113.2:443", "light", 1100),
    "console-review": ("review", "light", 1100),
    "console-phone": ("devices", "dark", 360),
}


class Pictures(PageTest):
    def test_each_picture(self):
        browser = self.browser
        self.addCleanup(choose, browser, "en", "light")
        prober = Prober()
        self.addCleanup(prober.close)
        night = {"mac": "02:00:00:00:01:20", "active": "all day"}
        blocked = {"enabled": True, "mode": "black-list", "devices": [night, {"mac": "02:00:00:00:01:21", "active": "22:00-24:00"}]}
        l3ctl("apply", "-", settings={**HOME, "mac_filter": blocked, "mac6_filter": blocked})
        for number in range(40):
            prober.tcp("tablet" if number % 3 else "lan", "wan", 8080 if number % 3 else 25, timeout=0.01)
        browser.execute_script("localStorage.removeItem('l3.draft')")
        browser.refresh()
        browser.show("filters/names")
        browser.fill("Name", "chat.example.org")
        browser.press("Add")
        browser.wait_for("1 change not applied")
        browser.show("devices")
        browser.press("Allow tablet")
        browser.wait_for("2 changes not applied")
        for name, (page, theme, width) in PICTURES.items():
            browser.resize(width)
            choose(browser, "en", theme)
            browser.show(page)
            browser.until(lambda: "Loading" not in browser.text() and browser.all("section, .differences"))
            if page == "overview":
                browser.until(lambda: browser.all(".hits li"))
            if page == "devices":
                browser.until(lambda: len(browser.all(".periods li")) > 3)
            height = browser.execute_script("return document.querySelector('.app').scrollHeight")
            browser.resize(width, min(height, 1400))
            picture = browser.get_screenshot_as_png()
            self.assertGreater(len(picture), 10000)
            if FOLDER:
                (Path(FOLDER) / f"{name}.png").write_bytes(picture)
            self.assertIn(f"{name}.png", (REPO / "docs/console.md").read_text() + (REPO / "README.md").read_text())


if __name__ == "__main__":
    unittest.main()
