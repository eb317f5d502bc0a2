#!/usr/bin/python3
"""The page of kr_serve in a browser: headless Chromium, driven as a person would, on the recording of
Clip.cpp, whose truth is known.

    web_page.py --serve=PROGRAM --analyse=PROGRAM --make-clip=PROGRAM [--shots=FOLDER] [TEST]...

Ends with 77 and says why where Chromium or its driver is missing. --shots keeps a picture of each
step that ended a test.
"""

import argparse
import contextlib
import datetime
import json
import math
import os
import pathlib
import shlex
import signal
import sqlite3
import struct
import subprocess
import sys
import tempfile
import time
import unittest
import urllib.error
import urllib.parse
import urllib.request

SKIPPED = 77
CHROMIUM = "/usr/bin/chromium"
DRIVER = "/usr/bin/chromedriver"
WAIT = 10  # seconds, for what takes a moment
CLIP = 'a<b>&"c.avi'  # a name that must be shown as it is
START = "2024/03/05 12:00:00"
RED = (220, 20, 20)
PAGE = 48  # cards that are loaded at once

programs = None

try:
    from selenium import webdriver
    from selenium.common.exceptions import (NoSuchElementException, StaleElementReferenceException,
                                            WebDriverException)
    from selenium.webdriver.chrome.service import Service
    from selenium.webdriver.common.action_chains import ActionChains
    from selenium.webdriver.common.by import By
    from selenium.webdriver.common.keys import Keys
except ImportError:
    webdriver = None


def missing():
    """Why there is no browser to drive; nothing when there is."""
    if webdriver is None:
        return "python3-selenium is not installed"
    for path in (CHROMIUM, DRIVER):
        if not os.access(path, os.X_OK):
            return f"{path} is missing (packages chromium and chromium-driver)"
    return None


class Service_Process:
    """kr_serve over the analysed clip."""

    def __init__(self, folder):
        self.folder = pathlib.Path(folder)
        self.store = self.folder / "clip.store"
        self.clip = self.folder / CLIP
        self.run(programs.make_clip, str(self.clip))
        self.analyse("1")
        self.process = subprocess.Popen(
            [*programs.serve, "--store", str(self.store), "--logs", str(self.folder / "logs"),
             "--port", "0"], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True)
        line = self.process.stdout.readline()
        assert line.startswith("kr_serve: http://"), line
        self.address = line.split(": ", 1)[1].strip().rstrip("/")

    def run(self, *command):
        program, *arguments = command
        subprocess.run([*program, *arguments], check=True, timeout=100, stdin=subprocess.DEVNULL,
                       stdout=subprocess.DEVNULL)

    def analyse(self, sensor, start=START):
        self.run(programs.analyse, str(self.clip), "--store", str(self.store), "--logs",
                 str(self.folder / "logs"), "--start", start, "--sensor", sensor)

    def get(self, path):
        with urllib.request.urlopen(self.address + path, timeout=WAIT) as answer:
            return answer.read()

    def json(self, path):
        return json.loads(self.get(path))

    def keys(self, query):
        """Of the objects that a search finds, in their order."""
        return [f"{each['sensor']}/{each['id']}" for each in self.json(f"/api/search?{query}")["objects"]]

    def stop(self):
        self.process.send_signal(signal.SIGINT)
        code = self.process.wait(timeout=WAIT)
        self.process.stdout.close()
        return code


def make_driver(folder):
    options = webdriver.ChromeOptions()
    options.binary_location = CHROMIUM
    flags = ["--headless=new", "--disable-gpu", "--disable-dev-shm-usage", "--no-first-run",
             "--disable-background-networking", "--disable-component-update", "--disable-sync",
             "--no-proxy-server", "--window-size=1440,960", f"--user-data-dir={folder}/profile"]
    if os.geteuid() == 0:
        flags.append("--no-sandbox")  # which it refuses to set up for root
    for flag in flags:
        options.add_argument(flag)
    options.add_experimental_option("prefs", {"download.default_directory": f"{folder}/downloads"})
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    return webdriver.Chrome(service=Service(DRIVER), options=options)


class Page(unittest.TestCase):
    service = None
    driver = None

    @classmethod
    def setUpClass(cls):
        # pylint: disable=consider-using-with
        cls.temporary = tempfile.TemporaryDirectory(prefix="web_page_", ignore_cleanup_errors=True)
        cls.addClassCleanup(cls.temporary.cleanup)
        cls.service = Service_Process(cls.temporary.name)
        cls.addClassCleanup(cls.end_service)
        cls.driver = make_driver(cls.temporary.name)
        cls.addClassCleanup(cls.driver.quit)
        cls.driver.set_page_load_timeout(3 * WAIT)
        cls.driver.execute_cdp_cmd("Browser.setDownloadBehavior", {
            "behavior": "allow", "downloadPath": f"{cls.temporary.name}/downloads"})

    @classmethod
    def end_service(cls):
        code = cls.service.stop()
        if code != 0:
            raise AssertionError(f"kr_serve ended with {code}")

    def setUp(self):
        self.expected = []  # what the console may say
        self.size(1440, 960)
        self.media()
        self.driver.get_log("browser")

    def tearDown(self):
        if programs.shots:
            pathlib.Path(programs.shots).mkdir(parents=True, exist_ok=True)
            self.driver.save_screenshot(f"{programs.shots}/{self._testMethodName}.png")
        lines = [line["message"] for line in self.driver.get_log("browser") if line["level"] != "DEBUG"]
        wrong = [line for line in lines if not any(each in line for each in self.expected)]
        self.assertEqual([], wrong, "the console is silent")

    # What a person does and sees

    def size(self, width, height, is_phone=False):
        self.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": width, "height": height, "deviceScaleFactor": 1, "mobile": is_phone})

    def media(self, **features):
        names = {"prefers-color-scheme": features.get("scheme", "light"),
                 "prefers-reduced-motion": features.get("motion", "no-preference")}
        self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {
            "features": [{"name": name, "value": value} for name, value in names.items()]})

    def open(self, path="/"):
        self.driver.get("about:blank")
        self.driver.get(self.service.address + path)
        self.wait(lambda: self.script("return document.documentElement.dataset.ready === 'true'"))
        self.wait_for_list()

    def script(self, text, *arguments):
        return self.driver.execute_script(text, *arguments)

    def wait(self, condition, message="it never came to be"):
        end = time.monotonic() + WAIT
        while time.monotonic() < end:
            try:
                value = condition()
                if value:
                    return value
            except (NoSuchElementException, StaleElementReferenceException):
                pass
            time.sleep(0.05)
        self.fail(f"{message}; address {self.driver.current_url}")
        return None

    def wait_for_list(self):
        self.wait(lambda: not self.script(
            "return document.getElementById('cards').hasAttribute('aria-busy')"))

    def find(self, selector):
        return self.driver.find_element(By.CSS_SELECTOR, selector)

    def click(self, selector):
        element = self.find(selector)
        self.script("arguments[0].scrollIntoView({block: 'center'})", element)
        element.click()

    def press(self, *keys):
        ActionChains(self.driver).send_keys(*keys).perform()

    def shown(self):
        """The keys of the cards."""
        return self.script("return [...document.querySelectorAll('a.card')].map(card => card.dataset.key)")

    def query(self):
        return urllib.parse.urlsplit(self.driver.current_url).query

    def parameters(self):
        return {key: values[0] for key, values in urllib.parse.parse_qs(self.query()).items()}

    def fragment(self):
        return urllib.parse.parse_qs(urllib.parse.urlsplit(self.driver.current_url).fragment)

    def assert_shows(self, query):
        """The list is what the service finds for this query."""
        keys = self.service.keys(query)
        self.wait(lambda: self.shown() == keys, f"not the list of {query}: {keys}")
        self.wait(lambda: self.find("#count").text.split()[0] == str(len(keys)))
        return keys

    def wait_for_frame(self):
        """Of the object that is open; returns which observation is shown."""
        self.wait(lambda: self.find("#viewer").get_attribute("aria-busy") is None)
        self.wait(lambda: self.script("return !document.querySelector('#scene.waiting') && "
                                      "document.querySelector('#overlay rect') !== null"))
        return int(self.find("#moment-number").text.split()[0]) - 1

    def red_key(self):
        keys = self.service.keys("color=red")
        self.assertEqual(1, len(keys))
        return keys[0]

    # Searching

    def test_all_objects_are_shown_and_texts_are_texts(self):
        self.open()
        keys = self.assert_shows("")
        self.assertEqual(6, len(keys))
        self.assertIn(CLIP, self.find("#store-facts").text)
        self.assertEqual("Video search", self.driver.title)

    def test_colour_and_class(self):
        self.open()
        self.click(".chip[data-name=color][data-value=red]")
        self.assertEqual(1, len(self.assert_shows("color=red")))
        self.assertEqual({"color": "red"}, self.parameters())
        self.click(".chip[data-name=color][data-value=blue]")
        self.assertEqual(2, len(self.assert_shows("color=red,blue")))
        self.click("#colors-all")
        self.wait(lambda: self.find("#state h3").text == "No object matches")
        self.assertEqual({"color": "red,blue", "colors": "all"}, self.parameters())
        self.click("#active .tag")
        self.assert_shows("")
        self.click(".chip[data-name=class][data-value=vehicle]")
        self.assertEqual(1, len(self.assert_shows("class=vehicle")))
        self.assertEqual({"class": "vehicle"}, self.parameters())

    def test_duration_hours_and_order(self):
        self.open()
        everything = self.service.keys("")
        self.find("#min-duration").send_keys("4")
        self.wait(lambda: self.parameters().get("min_duration") == "4")
        self.assert_shows("min_duration=4")
        self.find("#min-duration").send_keys(Keys.BACKSPACE)
        self.wait(lambda: "min_duration" not in self.parameters())
        self.script("const s = document.getElementById('hour-to'); s.value = '12';"
                    "s.dispatchEvent(new Event('change'))")
        self.wait(lambda: self.parameters() == {"hours": "0-12"})
        self.wait(lambda: self.find("#state h3").text == "No object matches")
        self.click("#active .tag")
        self.script("const s = document.getElementById('sort'); s.value = 'latest';"
                    "s.dispatchEvent(new Event('change'))")
        self.assertEqual(everything[::-1], self.assert_shows("sort=latest"))

    def test_a_window_is_dragged_on_the_time_line_and_moved_by_keys(self):
        self.open()
        track = self.find("#track")
        width = track.size["width"]
        ActionChains(self.driver).move_to_element_with_offset(track, int(-0.2 * width), 0) \
            .click_and_hold().move_by_offset(int(0.2 * width), 5).move_by_offset(int(0.1 * width), 0) \
            .release().perform()
        self.wait(lambda: "from" in self.parameters())
        chosen = self.parameters()
        found = self.assert_shows(self.query())
        self.assertTrue(0 < len(found) < 6, found)
        begin, end = (self.seconds(chosen[name]) for name in ("from", "to"))
        span = 13.0  # of the recording
        self.assertAlmostEqual(0.3 * span, begin, delta=0.3)
        self.assertAlmostEqual(0.6 * span, end, delta=0.3)

        self.find("#handle-to").send_keys(Keys.END)
        self.wait(lambda: self.seconds(self.parameters()["to"]) > 12.5)
        self.assert_shows(self.query())
        self.find("#handle-from").send_keys(Keys.HOME)
        self.wait(lambda: self.seconds(self.parameters()["from"]) == 0)
        self.assertEqual(6, len(self.assert_shows(self.query())))
        self.click("#window-clear")
        self.wait(lambda: self.query() == "")

    def test_the_time_line_zooms(self):
        self.open()
        labels = lambda: self.script("return [...document.querySelectorAll('#axis span')].map(s => s.textContent)")
        before = labels()
        self.click("#zoom-in")
        self.wait(lambda: labels() != before)
        self.click("#zoom-in")
        self.click("#zoom-fit")
        self.wait(lambda: labels() == before)
        self.assertFalse(self.find("#zoom-out").is_enabled())

    def view(self):
        """What the time line shows: the time for which it asked last, in seconds of the recording."""
        asked = [urllib.parse.parse_qs(urllib.parse.urlsplit(address).query) for address in self.script(
            "return performance.getEntriesByType('resource').map(e => e.name)"
            ".filter(name => name.includes('/api/density?'))")]
        last = [each for each in asked if each["buckets"] != ["1"]][-1]  # that one counts the list
        return tuple(self.seconds(last[name][0]) for name in ("from", "to"))

    def wheel(self, share, x=0, y=0, is_control=False):
        """Turned over the time line, at a part of its width."""
        left, top, width = self.script("const r = document.getElementById('track').getBoundingClientRect();"
                                       "return [r.left, r.top, r.width]")
        self.driver.execute_cdp_cmd("Input.dispatchMouseEvent", {
            "type": "mouseWheel", "x": left + share * width, "y": top + 20, "deltaX": x, "deltaY": y,
            "modifiers": 2 if is_control else 0})

    def assert_view(self, begin, end):
        near = lambda view: abs(view[0] - begin) < 0.05 and abs(view[1] - end) < 0.05
        self.wait(lambda: near(self.view()), f"not {begin} to {end}")

    def test_the_wheel_zooms_the_time_line_and_moves_along_it(self):
        self.size(1440, 500)  # so that there is something to scroll
        self.open()
        span = 13.0  # of the recording
        self.assert_view(0, span)
        self.wheel(0.25, y=-60, is_control=True)
        length = span * math.exp(-0.6)
        self.assert_view(0.25 * (span - length), 0.25 * (span - length) + length)  # around the pointer

        width = self.find("#track").size["width"]
        begin, end = self.view()
        self.wheel(0.5, x=width / 10)
        self.assert_view(begin + length / 10, end + length / 10)
        self.wheel(0.5, x=-width)  # not beyond the recordings
        self.assert_view(0, length)
        self.wheel(0.5, x=3 * width)
        self.assert_view(span - length, span)

        before = self.view()
        self.wheel(0.5, y=100)  # the page's own
        self.wait(lambda: self.script("return scrollY") > 0)
        self.assertEqual(before, self.view())
        for _ in range(2):
            self.wheel(0.5, y=60, is_control=True)
        self.assert_view(0, span)
        self.assertFalse(self.find("#zoom-out").is_enabled())

    def seconds(self, text):
        """Since the begin of the recording."""
        begin = datetime.datetime.strptime(START, "%Y/%m/%d %H:%M:%S")
        return (datetime.datetime.strptime(text, "%Y-%m-%dT%H:%M:%S.%fZ") - begin).total_seconds()

    def test_an_area_is_drawn_on_the_still(self):
        self.open()
        self.click("#area-open")
        drawing = self.find("#area-drawing")
        self.wait(lambda: self.script("return document.getElementById('area-still').complete"))
        width, height = drawing.size["width"], drawing.size["height"]
        ActionChains(self.driver).move_to_element_with_offset(drawing, int(-0.48 * width), int(-0.48 * height)) \
            .click_and_hold().move_by_offset(int(0.5 * width), int(0.2 * height)) \
            .move_by_offset(int(0.45 * width), int(0.3 * height)).release().perform()
        self.wait(lambda: self.find("#area-status").text == "A rectangle.")
        self.click("#area-done")
        self.wait(lambda: "stood_in" in self.parameters())
        self.assertEqual(2, len(self.parameters()["stood_in"].split()))
        found = self.assert_shows(self.query())
        self.assertTrue(0 < len(found) < 6, found)
        self.click("#area-crossed")
        self.wait(lambda: "crossed" in self.parameters() and "stood_in" not in self.parameters())

    def test_an_area_is_drawn_by_keys(self):
        self.open()
        self.press("d")
        self.wait(lambda: self.find("#area").is_displayed())
        corner = Keys.SPACE
        self.press(*[Keys.ARROW_LEFT] * 2, corner, *[Keys.ARROW_RIGHT] * 3, corner, Keys.ARROW_DOWN, corner)
        self.wait(lambda: self.find("#area-status").text == "A polygon with 3 corners.")
        self.press(Keys.BACKSPACE, Keys.ENTER)
        self.wait(lambda: self.parameters().get("stood_in") == "144,120 168,120")
        self.press("d")
        self.press(Keys.ESCAPE)
        self.wait(lambda: not self.find("#area").is_displayed())

    # One object

    def test_an_object_plays_in_its_scene(self):
        self.expected = ["willReadFrequently"]  # it is this test that reads the canvas
        key = self.red_key()
        truth = self.service.json(f"/api/objects/{key}")
        self.open("/?color=red")
        self.find(f"a.card[data-key='{key}']").click()
        self.wait_for_frame()
        self.assertEqual([key], self.fragment()["object"])
        self.press(Keys.HOME)
        self.wait(lambda: self.find("#moment-number").text.startswith("1 of"))
        self.script("document.getElementById('speed').value = '4';"
                    "window.seen = []; new MutationObserver(() => {"
                    "  const rect = document.querySelector('#overlay rect:not(.under)') ?? "
                    "    document.querySelector('#overlay rect');"
                    "  const box = ['x', 'y', 'width', 'height'].map(name => +rect.getAttribute(name));"
                    "  const [x, y] = [box[0] + box[2] / 2, box[1] + box[3] / 2];"
                    "  const pixel = document.getElementById('frame').getContext('2d', {willReadFrequently: true}).getImageData(x, y, 1, 1).data;"
                    "  window.seen.push([box, [...pixel]]);"
                    "}).observe(document.getElementById('overlay'), {childList: true})")
        self.press(Keys.SPACE)
        last = len(truth["instances"])
        self.wait(lambda: self.find("#moment-number").text == f"{last} of {last}")
        self.wait(lambda: self.find("#play").get_attribute("aria-label") == "Play")
        seen = self.script("return window.seen")
        self.assertGreater(len(seen), last / 4)
        boxes = [each["box"] for each in truth["instances"]]
        for box, pixel in seen:
            self.assertIn(box, boxes)
            for value, wanted in zip(pixel, RED):
                self.assertAlmostEqual(wanted, value, delta=30, msg=f"what is in {box} is red, not {pixel}")
        self.wait(lambda: self.fragment().get("t") == [truth["instances"][-1]["time"]])

    def test_the_address_holds_the_moment(self):
        key = self.red_key()
        instance = self.service.json(f"/api/objects/{key}")["instances"][7]
        self.open(f"/?color=red#object={key}&t={instance['time']}")
        self.assertEqual(7, self.wait_for_frame())
        self.press(Keys.ARROW_RIGHT)
        self.wait(lambda: self.find("#moment-number").text.startswith("9 of"))
        self.press(Keys.ESCAPE)
        self.wait(lambda: not self.find("#viewer").is_displayed())
        self.assertEqual("color=red", self.query())
        self.assertEqual({}, self.fragment())

    def test_back_and_forward(self):
        self.open()
        self.click(".chip[data-name=color][data-value=yellow]")
        self.assert_shows("color=yellow")
        self.find("a.card").click()
        self.wait_for_frame()
        key = self.fragment()["object"]
        self.driver.back()
        self.wait(lambda: not self.find("#viewer").is_displayed())
        self.assert_shows("color=yellow")
        self.driver.back()
        self.assert_shows("")
        self.wait(lambda: self.find(".chip[data-value=yellow]").get_attribute("aria-pressed") == "false")
        self.driver.forward()
        self.assert_shows("color=yellow")
        self.driver.forward()
        self.wait_for_frame()
        self.assertEqual(key, self.fragment()["object"])

    def test_keys_go_through_the_objects(self):
        self.open()
        keys = self.assert_shows("")
        self.press("n", "n")
        self.press(Keys.ENTER)
        self.wait_for_frame()
        self.assertEqual([keys[1]], self.fragment()["object"])
        self.press("n")
        self.wait(lambda: self.fragment()["object"] == [keys[2]])
        self.press("p")
        self.wait(lambda: self.fragment()["object"] == [keys[1]])
        self.wait_for_frame()
        self.press("?")
        self.wait(lambda: self.find("#keys").is_displayed())
        self.press(Keys.ESCAPE)
        self.wait(lambda: not self.find("#keys").is_displayed())
        self.assertTrue(self.find("#viewer").is_displayed())
        self.press(Keys.ESCAPE)
        self.wait(lambda: not self.find("#viewer").is_displayed())
        self.assertEqual(keys[1], self.script("return document.activeElement.dataset.key"))

    def test_a_hit_and_the_list_are_exported(self):
        key = self.red_key()
        self.open(f"/?color=red#object={key}")
        self.wait_for_frame()
        link = lambda selector: self.find(selector).get_attribute("href")[len(self.service.address):]
        self.assertEqual(b"\xff\xd8\xff", self.service.get(link("#export-frame"))[:3])
        self.assertEqual(key.split("/")[1], self.service.json(link("#export-json"))["id"])
        self.click("#export-picture")
        downloads = pathlib.Path(self.temporary.name) / "downloads"
        done = self.wait(lambda: list(downloads.glob("object_*_box.jpg")))
        self.assertEqual(b"\xff\xd8\xff", done[0].read_bytes()[:3])
        self.press(Keys.ESCAPE)
        self.wait(lambda: not self.find("#viewer").is_displayed())
        rows = self.service.get(link("#csv")).decode().split("\r\n")
        self.assertTrue(rows[0].startswith("id,sensor,"))
        self.assertEqual(key.split("/")[1], rows[1].split(",")[0])
        self.assertEqual(3, len(rows))

    def test_errors_are_told(self):
        self.expected = ["400 (Bad Request)", "404 (Not Found)"]
        self.open("/?min_area=999&color=red")
        self.wait(lambda: self.find("#state h3").text == "The search failed")
        self.assertEqual("the area must be from 0 to 100 percent", self.find("#state p").text)
        self.open("/#object=1.1/999999")
        self.wait(lambda: self.find("#viewer-state h3").text == "There is no such object")
        self.press(Keys.ESCAPE)
        self.wait(lambda: not self.find("#viewer").is_displayed())

    def test_an_address_with_a_broken_time_is_told(self):
        self.expected = ["400 (Bad Request)"]
        for query, shown in (("from=yesterday", "yesterday – …"), ("to=2024-03-05", "… – 2024-03-05"),
                             ("from=x&to=2024-03-05T12:00:09Z", "2024-03-05 x – 12:00:09")):
            self.open("/?" + query)
            self.wait(lambda: self.find("#state h3").text == "The search failed")
            self.assertEqual(shown, self.find("#active .tag").text)
        self.click("#active .tag")
        self.assert_shows("")

    def test_a_time_with_an_offset_is_the_same_moment(self):
        self.open("/?from=2024-03-05T14:00:03.500%2B02:00")
        self.assertEqual("2024-03-05 12:00:03 – …", self.find("#active .tag").text)
        self.assert_shows("from=2024-03-05T12:00:03.5Z")
        self.assertTrue(self.find("#window").is_displayed())

    def test_a_window_of_one_moment(self):
        moment = self.service.json("/api/search?color=red")["objects"][0]["from"]
        self.open(f"/?from={moment}&to={moment}")
        self.assertEqual(1, len(self.assert_shows(f"from={moment}&to={moment}")))
        self.assertEqual("1 object", self.find("#count").text)

    def test_events_that_are_refused_are_tried_again(self):
        added = self.driver.execute_cdp_cmd("Page.addScriptToEvaluateOnNewDocument", {"source": (
            "window.tried = []; window.EventSource = class extends EventSource {"
            "  constructor(address) { super(tried.length ? address : '/api/nope'); tried.push(this); }};")})
        self.expected = ["404 (Not Found)"]
        try:
            self.open()
            self.wait(lambda: self.script("return tried.length === 2 && tried[1].readyState === EventSource.OPEN"))
        finally:
            self.driver.execute_cdp_cmd("Page.removeScriptToEvaluateOnNewDocument", added)

    def test_times_are_shown_in_utc_and_in_the_zone_of_the_viewer(self):
        self.driver.execute_cdp_cmd("Emulation.setTimezoneOverride", {"timezoneId": "Asia/Kolkata"})
        try:
            self.open()
            first = lambda: self.find("a.card time").text
            self.assertTrue(first().startswith("12:00:0"), first())
            self.click("#zone-local")
            self.wait(lambda: first().startswith("17:30:0"))
            self.click("#zone-utc")
        finally:
            self.driver.execute_cdp_cmd("Emulation.setTimezoneOverride", {"timezoneId": ""})

    def test_z_objects_that_are_stored_meanwhile_are_announced(self):
        """Last, since it changes the store."""
        self.open("/?color=red")
        self.assertEqual(1, len(self.assert_shows("color=red")))
        self.service.analyse("2", "2024/03/05 12:00:20")
        self.wait(lambda: self.find("#new-pill").is_displayed() and self.find("#new-pill").text == "1 new")
        self.click("#new-pill")
        self.assertEqual(2, len(self.assert_shows("color=red")))
        self.assertFalse(self.find("#new-pill").is_displayed())
        # and so is their recording
        scenes = "return document.querySelectorAll('a.card .card-scene').length"
        self.assertEqual(2, self.script(scenes))
        self.assertEqual(["1.1", "2.1"], [each.text for each in self.driver.find_elements(
            By.CSS_SELECTOR, "#cameras .chip")])
        self.click("#cameras .chip[data-value='2.1']")
        self.assertEqual(1, len(self.assert_shows("color=red&sensor=2.1")))

    def store_copies(self, count):
        """So many more of each object, all at the same time."""
        with contextlib.closing(sqlite3.connect(self.service.store, timeout=WAIT)) as store, store:
            for *sensor, number, run, first, record in store.execute(
                    "SELECT sensor1, sensor2, object_id, run, first_seen_us, record FROM object").fetchall():
                for new in (number + 1000 * copy for copy in range(1, count + 1)):
                    store.execute("INSERT INTO object (sensor1, sensor2, object_id, run, first_seen_us, record) "
                                  "VALUES (?, ?, ?, ?, ?, ?)",
                                  (*sensor, new, run, first, record[:20] + struct.pack("<q", new) + record[28:]))

    def test_zz_a_long_list_is_loaded_as_one_scrolls(self):
        """Behind the last."""
        self.store_copies(24)
        keys = self.service.keys("limit=500")
        self.assertGreater(len(keys), 3 * PAGE)
        self.open()
        first = self.shown()
        self.assertEqual(keys[:PAGE], first)
        self.assertEqual(f"{PAGE} or more objects shown", self.find("#status").get_attribute("textContent"))
        count = len(first)
        while count < len(keys):
            self.script("document.getElementById('sentinel').scrollIntoView()")
            self.wait(lambda before=count: len(self.shown()) > before, "no more is loaded")
            count = len(self.shown())
        self.assertEqual(keys, self.shown())
        self.assertEqual(f"{len(keys)} objects shown", self.find("#status").get_attribute("textContent"))

        self.open("/?sort=latest")  # by keys
        self.press(*"n" * PAGE)
        self.wait(lambda: len(self.shown()) > PAGE, "no more is loaded")
        self.press(*"n" * 2)
        self.wait(lambda: self.script("return document.activeElement.dataset.key") == keys[::-1][PAGE + 1])

    def test_zzz_an_object_without_its_recording_is_shown(self):
        """Behind all, since it takes the recordings away."""
        self.expected = ["404 (Not Found)"]
        key = self.service.keys("color=red")[0]
        with contextlib.closing(sqlite3.connect(self.service.store, timeout=WAIT)) as store, store:
            store.execute("DELETE FROM recording")
        self.open(f"/#object={key}")
        self.wait_for_frame()
        self.assertFalse(self.find("#viewer-state").is_displayed())
        self.assertIn("The recording cannot be read", self.find("#scene-note").text)
        width, height, right, bottom = self.script(
            "const all = document.getElementById('overlay').viewBox.baseVal;"
            "const box = document.querySelector('#overlay rect.box').getBBox();"
            "return [all.width, all.height, box.x + box.width, box.y + box.height]")
        self.assertLessEqual(right, width)
        self.assertLessEqual(bottom, height)

    # For everybody

    def places(self):
        """The page, an object and the drawing of an area, each opened."""
        key = self.red_key()
        self.open("/?color=red&min_duration=1")
        yield "list"
        self.open(f"/#object={key}")
        self.wait_for_frame()
        yield "object"
        self.open("/?stood_in=50,50+200,50+200,200")
        self.click("#area-open")
        yield "area"
        self.press(Keys.ESCAPE)
        self.press("?")
        yield "keys"

    def test_texts_have_contrast_in_both_schemes(self):
        for scheme in ("light", "dark"):
            self.media(scheme=scheme)
            for place in self.places():
                self.assertEqual(scheme, self.script("return document.documentElement.dataset.theme"))
                weak, count = self.script(CONTRAST)
                self.assertGreater(count, 3)
                self.assertEqual([], weak, f"{place}, {scheme}")

    def test_the_scheme_can_be_turned(self):
        self.open()
        self.click("#theme")
        self.assertEqual("dark", self.script("return document.documentElement.dataset.theme"))
        self.open()
        self.assertEqual("dark", self.script("return document.documentElement.dataset.theme"))
        self.script("localStorage.clear()")

    def test_controls_have_names_and_the_page_has_landmarks(self):
        roles = {"button", "link", "slider", "combobox", "spinbutton", "textbox", "checkbox", "radio",
                 "dialog", "img", "image", "application", "group", "form", "region"}
        for place in self.places():
            nodes = self.driver.execute_cdp_cmd("Accessibility.getFullAXTree", {})["nodes"]
            seen = [(node["role"]["value"], node.get("name", {}).get("value", "").strip())
                    for node in nodes if not node.get("ignored")]
            unnamed = [role for role, name in seen if role in roles - {"group", "img", "image"} and not name]
            self.assertEqual([], unnamed, place)
            self.assertTrue(any(role == "button" for role, _ in seen), place)
            self.assertEqual([], self.script(STRUCTURE), place)
        self.open()
        nodes = self.driver.execute_cdp_cmd("Accessibility.getFullAXTree", {})["nodes"]
        found = {node["role"]["value"] for node in nodes if not node.get("ignored")}
        self.assertLessEqual({"banner", "main", "form", "heading", "list", "slider"}, found)

    def test_focus_goes_in_order_and_is_seen(self):
        self.open("/?color=red")
        self.script("document.activeElement.blur(); scrollTo(0, 0)")
        before = None
        names = []
        for _ in range(60):
            self.press(Keys.TAB)
            element = self.driver.switch_to.active_element
            state = self.script(FOCUS, element, before)
            if state["tag"] == "BODY" or (names and element == before):
                break
            self.assertTrue(state["is_outlined"], state)
            self.assertTrue(state["is_after"], state)
            self.assertTrue(state["is_on_screen"], state)
            names.append(state["name"])
            before = element
        for wanted in ("zone-utc", "theme", "track", "handle-from", "share", "area-open", "sort", "csv"):
            self.assertIn(wanted, names)

    def test_nothing_moves_for_those_who_do_not_want_it(self):
        self.media(motion="reduce")
        self.open()
        moving = self.script("return [...document.querySelectorAll('*')].filter(e => {"
                             "  const s = getComputedStyle(e);"
                             "  return s.animationName !== 'none' || parseFloat(s.transitionDuration) > 0;"
                             "}).length")
        self.assertEqual(0, moving)

    def test_a_telephone_shows_it_without_scrolling_sideways(self):
        for width in (320, 390):
            self.size(width, 780, is_phone=True)
            for place in self.places_on_telephone():
                wide = self.script(WIDTH)
                self.assertEqual([], wide, f"{place}, {width} pixels")
                small = self.script(TARGETS)
                self.assertEqual([], small, f"{place}, {width} pixels")

    def places_on_telephone(self):
        self.open("/?color=red&class=object&min_duration=1")
        yield "list"
        self.click("#filters-open")
        yield "filters"
        self.press(Keys.ESCAPE)
        self.wait(lambda: not self.find("#filters").is_displayed())
        self.open(f"/#object={self.red_key()}")
        self.wait_for_frame()
        yield "object"


# Texts whose contrast with what is behind them is below 4.5, and how many were looked at. Colours are
# resolved by a canvas, whatever their notation; what is disabled need not be read.
CONTRAST = """
const context = Object.assign(document.createElement('canvas'), {width: 1, height: 1}).getContext('2d', {willReadFrequently: true});
const rgba = (color) => {
  context.clearRect(0, 0, 1, 1); context.fillStyle = color; context.fillRect(0, 0, 1, 1);
  const [r, g, b, a] = context.getImageData(0, 0, 1, 1).data;
  return [r, g, b, a / 255];
};
const over = (top, below) => below.map((value, i) => i === 3 ? 1 : top[i] * top[3] + value * (1 - top[3]));
const luminance = (c) => { const [r, g, b] = c.map((v) => (v /= 255) <= .04045 ? v / 12.92 : ((v + .055) / 1.055) ** 2.4);
  return .2126 * r + .7152 * g + .0722 * b; };
const background = (element) => {
  const layers = [];
  for (let e = element; e; e = e.parentElement) {
    layers.push(rgba(getComputedStyle(e).backgroundColor));
    if (layers[layers.length - 1][3] === 1 || e.tagName === 'DIALOG') break;
  }
  return layers.reverse().reduce((below, top) => over(top, below), [255, 255, 255, 1]);
};
const root = document.querySelector('dialog:modal') ?? document.body;
const walker = document.createTreeWalker(root, NodeFilter.SHOW_TEXT);
const weak = []; let count = 0;
for (let node = walker.nextNode(); node; node = walker.nextNode()) {
  const element = node.parentElement;
  if (!node.textContent.trim() || !element.checkVisibility({checkOpacity: true, checkVisibilityCSS: true})) continue;
  if (element.closest(':disabled, .hidden-label, noscript, option, fieldset:disabled')) continue;
  const style = getComputedStyle(element);
  let opacity = 1;
  for (let e = element; e; e = e.parentElement) opacity *= getComputedStyle(e).opacity;
  const back = background(element), ink = rgba(style.color);
  ink[3] *= opacity;
  const [a, b] = [luminance(over(ink, back)), luminance(back)].sort((x, y) => y - x);
  const ratio = (a + .05) / (b + .05);
  count += 1;
  if (ratio < 4.5) weak.push(`${node.textContent.trim()}: ${ratio.toFixed(2)}`);
}
return [weak, count];
"""

STRUCTURE = """
const wrong = [];
const all = [...document.querySelectorAll('[id]')].map((e) => e.id);
for (const id of all) if (all.filter((other) => other === id).length > 1) wrong.push(`id twice: ${id}`);
if (document.documentElement.lang !== 'en') wrong.push('no language');
if (document.querySelectorAll('main').length !== 1) wrong.push('main');
if (document.querySelectorAll('h1').length !== 1) wrong.push('h1');
for (const image of document.querySelectorAll('img')) if (!image.hasAttribute('alt')) wrong.push('no alt');
for (const svg of document.querySelectorAll('svg')) if (!svg.hasAttribute('aria-hidden') && !svg.hasAttribute('role')) wrong.push('svg');
for (const label of document.querySelectorAll('label[for]')) if (!document.getElementById(label.htmlFor)) wrong.push(label.htmlFor);
for (const name of ['aria-labelledby', 'aria-describedby', 'aria-controls'])
  for (const e of document.querySelectorAll(`[${name}]`))
    for (const id of e.getAttribute(name).split(' ')) if (!document.getElementById(id)) wrong.push(`${name} ${id}`);
let level = 0;
for (const heading of (document.querySelector('dialog:modal') ?? document.querySelector('body')).querySelectorAll('h1, h2, h3')) {
  if (!heading.checkVisibility()) continue;
  const next = Number(heading.tagName[1]);
  if (level && next > level + 1) wrong.push(`${heading.textContent} is below its place`);
  level = next;
}
if (document.querySelector('[tabindex]:not([tabindex="0"]):not([tabindex="-1"])')) wrong.push('tabindex');
return wrong;
"""

FOCUS = """
const [element, before] = arguments;
const style = getComputedStyle(element), box = element.getBoundingClientRect();
return {tag: element.tagName, name: element.id || element.dataset.value || element.className,
  is_outlined: element.matches(':focus-visible') && style.outlineStyle !== 'none' && parseFloat(style.outlineWidth) >= 2,
  is_after: !before || Boolean(before.compareDocumentPosition(element) & Node.DOCUMENT_POSITION_FOLLOWING),
  is_on_screen: box.bottom > 0 && box.top < innerHeight && box.right > 0 && box.left < innerWidth && box.width > 0};
"""

# What reaches beyond the screen's right edge, or makes the page wider than it is.
WIDTH = """
const wide = [];
const width = document.documentElement.clientWidth;
if (document.documentElement.scrollWidth > width) wide.push(`page ${document.documentElement.scrollWidth}`);
const root = document.querySelector('dialog:modal') ?? document.body;
if (root.scrollWidth > root.clientWidth + 1) wide.push(`${root.tagName} ${root.scrollWidth}`);
for (const e of root.querySelectorAll('button, a, input, select, p, h1, h2, canvas, dd')) {
  if (!e.checkVisibility() || e.closest('.hidden-label, .track, svg, .skip')) continue;
  const box = e.getBoundingClientRect();
  if (box.width && (box.right > width + 1 || box.left < -1)) wide.push(`${e.id || e.className || e.tagName} ${box.left} ${box.right}`);
}
return wide;
"""

# What is too small for a finger: 24 pixels at least, as WCAG 2.2 asks for.
TARGETS = """
const root = document.querySelector('dialog:modal') ?? document.querySelector('.filters.open') ?? document.body;
return [...root.querySelectorAll('button, a, select, input')].filter((e) => {
  if (!e.checkVisibility({checkOpacity: true, checkVisibilityCSS: true}) || e.closest('.skip, .track')) return false;
  const box = e.getBoundingClientRect();
  return box.width < 24 || box.height < 24;
}).map((e) => e.id || e.className);
"""


def main():
    global programs  # pylint: disable=global-statement
    parser = argparse.ArgumentParser(description=__doc__)
    for name in ("serve", "analyse", "make-clip"):
        parser.add_argument(f"--{name}", required=True, type=shlex.split)
    parser.add_argument("--shots")
    programs, rest = parser.parse_known_args()
    reason = missing()
    if reason:
        print(f"skipped: {reason}")
        return SKIPPED
    try:
        result = unittest.main(argv=[sys.argv[0], *rest], verbosity=2, exit=False).result
    except WebDriverException as error:
        print(f"the browser failed: {error}", file=sys.stderr)
        return 1
    return 0 if result.wasSuccessful() and result.testsRun else 1


if __name__ == "__main__":
    sys.exit(main())
