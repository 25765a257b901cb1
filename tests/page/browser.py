"""A browser in the home network: Chromium in the namespace "lan", steered through a pipe from the gateway's."""
import json
import shutil
import tempfile
import time
from pathlib import Path

from selenium import webdriver
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

CHROMIUM = "/usr/lib/chromium/chromium"
DRIVER = "/usr/bin/chromedriver"
ARGUMENTS = ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-dev-shm-usage",
             "--disable-background-networking", "--disable-component-update", "--disable-sync", "--remote-debugging-pipe",
             "--hide-scrollbars", "--force-color-profile=srgb")  # fmt: skip
# What a browser says about an answer of the API that the page itself shows.
EXPECTED = ("Failed to load resource",)


class Browser(webdriver.Chrome):
    """Ends with its folder, its processes and everything else."""

    def __init__(self, host="lan", language="en", width=1280, height=900):
        self.folder = Path(tempfile.mkdtemp())
        start = self.folder / "start"
        start.write_text(f'#!/bin/sh\nexec nsenter --net=/run/netns/{host} {CHROMIUM} "$@"\n')
        start.chmod(0o755)
        options = Options()
        options.binary_location = str(start)
        options.accept_insecure_certs = True
        options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
        for argument in (*ARGUMENTS, f"--user-data-dir={self.folder}/data", f"--window-size={width},{height}", f"--lang={language}"):
            options.add_argument(argument)
        options.add_experimental_option("prefs", {"intl.accept_languages": language})
        super().__init__(options=options, service=Service(DRIVER))
        self.address = None
        self.set_script_timeout(60)

    def quit(self):
        super().quit()
        shutil.rmtree(self.folder, ignore_errors=True)

    # --- finding and waiting ---

    def all(self, selector):
        return self.find_elements(By.CSS_SELECTOR, selector)

    def one(self, selector, seconds=20):
        self.until(lambda: self.all(selector), seconds, f"nothing is {selector}")
        return self.all(selector)[0]

    def until(self, condition, seconds=20, what="it did not come"):
        deadline = time.monotonic() + seconds
        while True:
            try:
                found = condition()
                if found:
                    return found
            except Exception as fault:  # an element that was drawn anew, or is not there yet
                what = f"{what}: {fault}"[:500] if str(fault)[:60] not in what else what
            if time.monotonic() > deadline:
                raise AssertionError(f"{what}\n{self.text()}\n{self.faults()}")
            time.sleep(0.03)

    def text(self):
        return self.execute_script("return document.body.innerText")

    def wait_for(self, text, seconds=20):
        self.until(lambda: text in self.text(), seconds, f"no {text!r}")

    def named(self, role, name, within="body"):
        """Visible elements by their role and accessible name, exactly, as a reader hears them."""
        tags = {"button": "button, summary", "link": "a", "box": "input, select, textarea", "heading": "h1, h2, h3", "form": "form"}
        # Asked of the few that have the words somewhere: each answer takes its time.
        found = self.execute_script(
            "const [tags, within, name] = arguments; const one = (text) => text.replace(/\\s+/g, ' ').trim();"
            "return [...document.querySelectorAll(tags.split(', ').map((tag) => `${within} ${tag}`).join())].filter((e) =>"
            "[e.getAttribute('aria-label') ?? '', e.textContent, ...[...(e.labels ?? [])].map((l) => l.textContent)]"
            ".some((text) => one(text).includes(name)))", tags[role], within, name)  # fmt: skip
        return [one for one in found if one.accessible_name == name and (one.is_displayed() or one.get_attribute("type") == "checkbox")]

    def press(self, name, role="button", within="body"):
        def click():
            found = self.named(role, name, within)
            if not found:
                return False
            self.execute_script("arguments[0].scrollIntoView({block: 'center'})", found[0])
            found[0].click()
            return True

        self.until(click, what=f"no {role} {name!r} to press")

    def fill(self, name, text, within="body"):
        field = self.until(lambda: self.named("box", name, within), what=f"no field {name!r}")[0]
        if field.tag_name == "select":
            self.execute_script("const [f, t] = arguments; f.value = [...f.options].find((o) => o.textContent === t || o.value === t).value;"
                                "f.dispatchEvent(new Event('change', {bubbles: true}))", field, text)  # fmt: skip
        elif field.get_attribute("type") == "time":
            self.execute_script("const [f, t] = arguments; f.value = t; f.dispatchEvent(new Event('input', {bubbles: true}))", field, text)
        else:
            field.send_keys(Keys.CONTROL, "a")
            field.send_keys(Keys.DELETE, text)
        return field

    # --- the console ---

    def open(self, address):
        self.address = address
        self.get(address)

    def show(self, page):
        """Goes to a page by its address, as a link does."""
        self.execute_script("location.hash = arguments[0]", f"#/{page}")
        self.until(lambda: self.execute_script("return location.hash") == f"#/{page}" and self.all("h1"))

    def log_in(self, password):
        self.fill("Password", password)
        self.press("Log in")
        self.one("nav")

    # --- what a test asks at its end ---

    def faults(self):
        """What the console of the browser has complained about."""
        return [entry["message"] for entry in self.get_log("browser") if entry["level"] in ("SEVERE", "WARNING")]

    def requests(self):
        """The addresses of all requests since the last call."""
        found = []
        for entry in self.get_log("performance"):
            message = json.loads(entry["message"])["message"]
            if message["method"] == "Network.requestWillBeSent":
                found.append(message["params"]["request"]["url"])
        return found

    def resize(self, width, height=900):
        self.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})
