# SPDX-License-Identifier: Apache-2.0
"""Chromium without a window, and what a reader sees and does in it."""

import json
import os

from selenium import webdriver
from selenium.common.exceptions import StaleElementReferenceException
from selenium.webdriver.chrome.service import Service as Driver
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

from .fleet import OPERATOR, PASSWORD
from .waiting import wait_until

DESK, PHONE = (1280, 900), (360, 740)
ZONE = "Asia/Kolkata"  # nobody else's here: five and a half hours before UTC
FLAGS = (
    "--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--hide-scrollbars",
    "--lang=en-GB", "--force-prefers-reduced-motion",
    # It speaks to nobody but the service.
    "--disable-background-networking", "--disable-component-update", "--disable-sync",
    "--no-first-run", "--no-proxy-server", "--host-resolver-rules=MAP * ~NOTFOUND, EXCLUDE 127.0.0.1",
)
# A clock that stands still until the case moves it, with the timers that wait for it, and what is
# asked for by scripts.
HELD_CLOCK = """
  const [timeout, clear, ask] = [window.setTimeout, window.clearTimeout, window.fetch];
  const real = Date.now;
  let now = real();
  let last = 1e9;  // none of the browser's own
  const timers = new Map();
  Date.now = () => now;
  window.setTimeout = (call, wait = 0, ...rest) => {
    if (wait <= 0) return timeout(call, 0, ...rest);
    timers.set(++last, {due: now + wait, call: () => call(...rest)});
    return last;
  };
  window.clearTimeout = (timer) => timers.delete(timer) || clear(timer);
  window.held = {
    asked: [],
    open: 0,  // that were not read to their end
    waits: () => [...timers.values()].map(({due}) => (due - now) / 1000),
    pass: (seconds) => {
      now += seconds * 1000;
      for (const [timer, {due, call}] of [...timers]) {
        if (due <= now && timers.delete(timer)) call();
      }
    },
  };
  held.release = () => {
    const ahead = now - real();
    timers.clear();
    Date.now = () => real() + ahead;
    window.setTimeout = timeout;
  };
  window.fetch = (address, ...rest) => {
    held.asked.push(String(address));
    ++held.open;
    return ask(address, ...rest).then((answer) => {
      const read = () => Response.prototype.json.call(answer);
      if (!answer.headers.get('Content-Type')?.includes('json')) --held.open;
      else answer.json = () => read().finally(() => --held.open);
      return answer;
    });
  };
"""


class Chromium:
    """A running Chromium, whose readers come one after the other: each has cookies, stores and
    windows of its own, and leaves nothing."""

    def __init__(self, folder, flags=()):
        options = webdriver.ChromeOptions()
        options.binary_location = "/usr/bin/chromium"
        for flag in (*FLAGS, *flags, f"--user-data-dir={folder / 'chromium'}"):
            options.add_argument(flag)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
        driver = Driver("/usr/bin/chromedriver", log_path=str(folder / "chromedriver.log"),
                        env={"PATH": "/usr/bin:/bin", "HOME": str(folder), "LC_ALL": "C.UTF-8",
                             "TMPDIR": str(folder)})
        self.driver = webdriver.Chrome(service=driver, options=options)
        self._first = self.driver.current_window_handle

    def admits(self):
        """Begins a reader's stay, in a window of its own."""
        self.driver.switch_to.new_window("window")
        for log in ("browser", "performance"):
            self.driver.get_log(log)

    def dismisses(self, url):
        """Ends it; `url` is where the reader was."""
        for command, parameters in (
                ("Network.clearBrowserCookies", {}), ("Network.clearBrowserCache", {}),
                ("Storage.clearDataForOrigin", {"origin": url, "storageTypes": "all"})):
            self.driver.execute_cdp_cmd(command, parameters)
        for window in self.driver.window_handles:
            if window != self._first:
                self.driver.switch_to.window(window)
                self.driver.close()
        self.driver.switch_to.window(self._first)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.driver.quit()


class Browser:
    def __init__(self, chromium, dark=False, size=DESK, ratio=1):
        chromium.admits()
        self._chromium = chromium
        self._driver = chromium.driver
        self._url = ""
        self._ratio = ratio  # of pixels
        self.resize(*size)
        self.prefers(dark)
        self._tell("Emulation.setTimezoneOverride", timezoneId=ZONE)
        self._tell("Emulation.setLocaleOverride", locale="en-GB")

    def _tell(self, command, **parameters):
        return self._driver.execute_cdp_cmd(command, parameters)

    def close(self):
        self._chromium.dismisses(self._url)

    def resize(self, width, height):
        self._tell("Emulation.setDeviceMetricsOverride", width=width, height=height,
                   deviceScaleFactor=self._ratio, mobile=width < 600)

    def prefers(self, dark):
        """As the reader's system says."""
        self._tell("Emulation.setEmulatedMedia", features=[
            {"name": "prefers-color-scheme", "value": "dark" if dark else "light"}])

    def holds_clock(self):
        """From the next page on that it goes to."""
        self._tell("Page.addScriptToEvaluateOnNewDocument", source="{" + HELD_CLOCK + "}")

    def lacks(self, name):
        """From the next page on that it goes to in this tab, scripts find no such thing."""
        self._tell("Page.addScriptToEvaluateOnNewDocument", source=f"delete {name}")

    def passes(self, seconds):
        self.run("held.pass(arguments[0])", seconds)

    def settles(self):
        """All that waits a second at most is done."""
        self.until(lambda: self.run(
            "if (held.open > 0) return false;"
            "if (!held.waits().some(one => one <= 1)) return true;"
            "held.pass(1)"), "nothing to load")

    def releases_clock(self):
        """It goes on by itself, and what still waits is forgotten."""
        self.run("held.release()")

    def waits(self):
        """The seconds that each timer still waits."""
        return self.run("return held.waits()")

    def asked(self):
        """Addresses of what scripts have asked for since the page was opened."""
        return self.run("return held.asked")

    # Going somewhere

    def visits(self, url, path="/"):
        self._url = url
        self._driver.get(url + path)

    def goes(self, path):
        self._driver.get(self._url + path)

    def goes_back(self):
        self._driver.back()

    @property
    def address(self):
        return self._driver.current_url.removeprefix(self._url)

    @property
    def title(self):
        return self._driver.title

    def signs_in(self, url, path="/", name=OPERATOR, password=PASSWORD):
        self.visits(url, path)
        self.fills_in(name, password)
        self.sees(".top", "the page behind the door")

    def fills_in(self, name=OPERATOR, password=PASSWORD):
        self.types("input[name=name]", name)
        self.types("input[name=password]", password)
        self.clicks(".sign-in button")

    # Tabs of one reader

    @property
    def tab(self):
        """The one that is looked at."""
        return self._driver.current_window_handle

    def opens_tab(self, path="/"):
        self._driver.switch_to.new_window("tab")
        self.goes(path)
        return self.tab

    def looks_at(self, tab):
        self._driver.switch_to.window(tab)

    def freezes_tab(self):
        """As the browser does with one in the background; another must be looked at then."""
        self._tell("Page.setWebLifecycleState", state="frozen")

    def thaws_tab(self):
        self._tell("Page.setWebLifecycleState", state="active")

    def closes_tab(self):
        """Another must be looked at before anything else."""
        self._driver.close()

    # Looking

    def find(self, css):
        return self._driver.find_elements(By.CSS_SELECTOR, css)

    def run(self, script, *arguments):
        return self._driver.execute_script(script, *arguments)

    def waits_for(self, script):
        """What the script gives to its argument, a function."""
        return self._driver.execute_async_script(script)

    def until(self, predicate, what):
        """Waits; what is drawn anew meanwhile is looked at again."""
        def seen():
            try:
                return predicate()
            except StaleElementReferenceException:
                return None
        return wait_until(seen, f"page: {what}")

    def sees(self, css, what=""):
        return self.until(lambda: next((one for one in self.find(css) if one.is_displayed()), None),
                          what or css)

    def sees_text(self, text, css="body"):
        self.until(lambda: text in self.text(css), f"{text!r} in {css}")

    def misses(self, css):
        self.until(lambda: not self.find(css), f"the end of {css}")

    def text(self, css):
        """What a reader reads there, spaces of any width as one."""
        found = self.sees(css)
        return " ".join(found.text.split())

    def texts(self, css):
        """The text of each, at one moment."""
        return self.run("return [...document.querySelectorAll(arguments[0])]"
                        ".map(one => one.innerText.replace(/\\s+/g, ' ').trim())", css)

    def values(self, css, name):
        return self.run("return [...document.querySelectorAll(arguments[0])]"
                        ".map(one => one.getAttribute(arguments[1]))", css, name)

    # Doing

    def clicks(self, css):
        self.until(lambda: self._clicked(css), f"{css} to click")

    def _clicked(self, css):
        self.sees(css).click()
        return True

    def types(self, css, text):
        field = self.sees(css)
        field.send_keys(Keys.CONTROL, "a")
        field.send_keys(text)

    def points_at(self, css):
        """Moves the pointer to the middle of it."""
        x, y = self.run("const one = document.querySelector(arguments[0]);"
                        "one.scrollIntoView({block: 'center'});"
                        "const place = one.getBoundingClientRect();"
                        "return [place.x + place.width / 2, place.y + place.height / 2]", css)
        for step in (1, 0):
            self._tell("Input.dispatchMouseEvent", type="mouseMoved", x=x - step, y=y)

    def chooses(self, css, value):
        """In a list of choices."""
        self.clicks(f"{css} option[value='{value}']")

    def presses(self, *keys):
        for key in keys:
            self._driver.switch_to.active_element.send_keys(key)

    def focus(self):
        """The element with the focus: its tag and its text or label."""
        return self.run("const one = document.activeElement;"
                        "return [one.tagName, (one.getAttribute('aria-label') || one.innerText ||"
                        " one.name || '').replace(/\\s+/g, ' ').trim()]")

    # Judging

    def complaints(self):
        """What went wrong in the scripts or against the policies since the last time."""
        # Refused requests are the cases' business, and reading pictures is slow, as they know.
        return [entry["message"] for entry in self._driver.get_log("browser")
                if entry["source"] not in ("network", "rendering") and entry["level"] in ("SEVERE", "WARNING")]

    def requested(self):
        """Addresses of all requests since the last time."""
        events = [json.loads(entry["message"])["message"]
                  for entry in self._driver.get_log("performance")]
        return [event["params"]["request"]["url"] for event in events
                if event["method"] == "Network.requestWillBeSent"]

    def screenshot(self, path, whole=True):
        os.makedirs(os.path.dirname(path), exist_ok=True)
        # The pointer points at nothing.
        self._tell("Input.dispatchMouseEvent", type="mouseMoved", x=1, y=1)
        if whole:
            width = self.run("return innerWidth")
            self.resize(width, max(self.run("return document.documentElement.scrollHeight"), 500))
        self._driver.save_screenshot(str(path))
