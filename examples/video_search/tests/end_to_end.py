#!/usr/bin/env python3
"""Runs kr_analyse and kr_search as their users do, on the short recording of Clip.cpp, whose truth is
known, and on everything that may be wrong with their input.

    end_to_end.py --search COMMAND [--analyse PROGRAM --make-clip PROGRAM]
                  [--store FILE] [--records FOLDER] [TestClass[.test_name]]...

COMMAND may begin with an emulator. Without --analyse the searches run on the store FILE, which was
made of the same recording elsewhere. FOLDER holds record.py, an independent reader of records.
"""

import argparse
import base64
import contextlib
import csv
import html.parser
import json
import os
import pathlib
import pty
import re
import shlex
import shutil
import signal
import socketserver
import sqlite3
import struct
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import wave

START = "2014/03/05 12:00:00"
START_SECONDS = 1394020800
FPS = 10
FRAMES = 130
COLORS = ("white", "black", "gray", "light_blue", "dark_blue", "brown", "light_green",
          "dark_green", "yellow", "orange", "red", "pink", "purple")
CLASSES = ("unknown", "person", "vehicle", "object")

# What the recording shows: colour, class, first and last frame (Clip.cpp; make_clip prints the same).
TRUTH = (("red", "object", 12, 52), ("light_green", "object", 22, 60),
         ("dark_blue", "object", 32, 75), ("yellow", "object", 62, 100),
         ("orange", "object", 84, 118), ("white", "vehicle", 94, 124))

STOP_TIMES = 15  # so often the recording is repeated where its analysis is stopped
STREAM_TIMES = 8  # and in the stream of a camera

programs = argparse.Namespace()


class Folder(unittest.TestCase):
    """A test with a folder of its own, in which the programs run."""

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="kr test "))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)

    def run_program(self, command, arguments, prefix=()):
        done = subprocess.run([*prefix, *command, *arguments], cwd=self.folder, timeout=100,
                              stdin=subprocess.DEVNULL, capture_output=True, text=True)
        return done.returncode, done.stdout, done.stderr

    def analyse(self, *arguments, **settings):
        return self.run_program(programs.analyse, arguments, **settings)

    def search(self, *arguments, **settings):
        return self.run_program(programs.search, arguments, **settings)

    def names(self):
        return sorted(str(path.relative_to(self.folder)) for path in self.folder.rglob("*"))

    def assert_fails(self, result, code, sentence):
        """One line on stderr, nothing that looks like a result."""
        self.assertEqual((code, "", sentence + "\n"), (result[0], result[1], result[2]))


def rows_of(table):
    """The rows of a printed table, as dictionaries, and its last lines."""
    lines = table.splitlines()
    if not lines or not lines[0].startswith("id "):
        return [], lines
    columns = re.split(r" {2,}", lines[0].strip())
    rows = [line for line in lines[1:] if re.match(r" *\d+ +\d+\.\d+ ", line)]
    read = []
    for line in rows:
        cells = re.split(r" {2,}", line.strip())
        read.append(dict(zip(columns, cells)))
    return read, lines[1 + len(rows):]


def seconds_of(text):
    """Of "2014/03/05 12:00:01.200"."""
    day, clock = text.split()
    assert day == "2014/03/05"
    hours, minutes, seconds = clock.split(":")
    return int(hours) * 3600 + int(minutes) * 60 + float(seconds) - 12 * 3600


def float_of(bits):
    return struct.unpack("<f", struct.pack("<I", bits))[0]


class Searches(Folder):
    """The whole way: recording, records, queries."""

    @classmethod
    def setUpClass(cls):
        cls.shared = pathlib.Path(tempfile.mkdtemp(prefix="kr test "))
        cls.addClassCleanup(shutil.rmtree, cls.shared, ignore_errors=True)
        if not programs.analyse:
            shutil.copy(programs.store, cls.shared / "clip.store")
            return
        subprocess.run([*programs.make_clip, cls.shared / "clip.avi"], check=True,
                       stdout=subprocess.DEVNULL)
        subprocess.run([*programs.analyse, "clip.avi", "--store", "clip.store", "--logs", "logs",
                        "--sensor", "3", "--start", START], cwd=cls.shared, check=True,
                       capture_output=True, timeout=100)

    def setUp(self):
        super().setUp()
        shutil.copy(self.shared / "clip.store", self.folder / "clip.store")

    def find(self, *arguments):
        """The colours of the hits, told by when they were first seen, in the order of the table."""
        code, out, err = self.search("--store", "clip.store", *arguments)
        self.assertEqual((0, ""), (code, err))
        rows, rest = rows_of(out)
        return [self.actor_of(row)[0] for row in rows]

    def actor_of(self, row):
        seen = seconds_of(row["first seen (UTC)"])
        near = [actor for actor in TRUTH if abs(seen - actor[2] / FPS) <= 0.4]
        self.assertEqual(1, len(near), f"no box appears at {seen} s")
        return near[0]

    @unittest.skipUnless(pathlib.Path("/proc/self").exists(), "needs Linux")
    def test_truth_is_that_of_the_recording(self):
        if not programs.make_clip:
            self.skipTest("the recording is made where kr_analyse is built")
        out = self.run_program(programs.make_clip, ["clip.avi"])[1]
        said = [tuple(map(int, line.split())) for line in out.splitlines()]
        self.assertEqual([(COLORS.index(color) + 1, CLASSES.index(name), first, last)
                          for color, name, first, last in TRUTH], said)

    def test_every_box_is_one_object_with_its_class_colour_and_times(self):
        code, out, err = self.search("--store", "clip.store")
        self.assertEqual((0, ""), (code, err))
        rows, rest = rows_of(out)
        self.assertEqual(["6 of 6 objects match"], rest)
        self.assertEqual([actor[0] for actor in TRUTH], [self.actor_of(row)[0] for row in rows])
        for row in rows:
            color, name, first, last = self.actor_of(row)
            self.assertEqual((color, name, "3.1"),
                             (row["main colours"].split()[0], row["class"], row["sensor"]))
            self.assertLessEqual(abs(int(row["duration"].split()[0]) - (last - first) / FPS), 1)
            self.assertLessEqual(abs(int(row["instances"]) - (last - first + 1)), 6)

    def test_each_colour_finds_its_box_alone(self):
        for color in COLORS:
            there = [actor[0] for actor in TRUTH if actor[0] == color]
            self.assertEqual(there, self.find("--color", color), color)

    def test_each_class_finds_its_boxes_alone(self):
        for name in ("person", "vehicle", "object"):
            there = [actor[0] for actor in TRUTH if actor[1] == name]
            self.assertEqual(there, self.find("--class", name), name)

    def test_times_are_inclusive_to_the_microsecond(self):
        database = sqlite3.connect(self.folder / "clip.store")
        times = [row[0] for row in
                 database.execute("SELECT first_seen_us FROM object ORDER BY first_seen_us")]
        database.close()
        texts = [time.strftime("%Y/%m/%d %H:%M:%S", time.gmtime(us // 10**6)) +
                 f".{us % 10**6:06}" for us in (times[2] - 1, times[2], times[2] + 1)]
        all_of = [actor[0] for actor in TRUTH]
        self.assertEqual(all_of[2:], self.find("--from", texts[1]))
        self.assertEqual(all_of[3:], self.find("--from", texts[2]))
        self.assertEqual(all_of[:3], self.find("--to", texts[1]))
        self.assertEqual(all_of[:2], self.find("--to", texts[0]))
        self.assertEqual(all_of[2:3], self.find("--from", texts[1], "--to", texts[1]))

    def test_filters_join(self):
        self.assertEqual(["yellow"], self.find("--class", "object", "--from", "2014/03/05 12:00:05",
                                               "--to", "2014/03/05 12:00:08"))
        self.assertEqual([], self.find("--class", "vehicle", "--color", "red"))
        self.assertEqual([], self.find("--min-duration", "60"))
        self.assertEqual(6, len(self.find("--min-duration", "2")))

    def test_the_longest_come_first_and_the_limit_cuts(self):
        self.assertEqual(["red", "dark_blue"], self.find("--sort", "duration", "--limit", "2"))
        out = self.search("--store", "clip.store", "--sort", "duration", "--limit", "2")[1]
        self.assertEqual(["more than 2 of 6 objects match, 2 shown"], rows_of(out)[1])
        out = self.search("--store", "clip.store", "--limit", "2", "--count")[1]
        self.assertEqual(["6 of 6 objects match, 2 shown"], rows_of(out)[1])
        self.assertEqual(["white", "orange"], self.find("--sort", "latest", "--limit", "2"))

    def test_several_colours_and_those_that_have_two_presets(self):
        self.assertEqual(["red", "yellow"], self.find("--color", "red,yellow"))
        self.assertEqual([], self.find("--color", "red,yellow", "--colors", "all"))
        self.assertEqual(["dark_blue"], self.find("--color", "blue"))
        self.assertEqual(["light_green"], self.find("--color", "green"))

    def test_sensors_and_hours(self):
        self.assertEqual(6, len(self.find("--sensor", "3")))
        self.assertEqual(6, len(self.find("--sensor", "2,3.1")))
        self.assertEqual([], self.find("--sensor", "2"))
        self.assertEqual(6, len(self.find("--hours", "12-13")))
        self.assertEqual([], self.find("--hours", "13-12"))

    def test_area_finds_who_stood_in_it_and_who_crossed_it(self):
        """As the boxes of the records tell, read by another reader."""
        if not programs.records:
            self.skipTest("no --records")
        feet = self.feet()
        left, right = 120, 200
        inside = {key: [left <= x <= right for x, _ in way] for key, way in feet.items()}
        stood = {key for key, way in inside.items() if any(way)}
        crossed = {key for key in stood if not inside[key][0] and not inside[key][-1]}
        self.assertTrue(crossed, "the recording shows some")
        area = f"{left},0 {right},240"
        self.assertEqual(stood, self.ids("--stood-in", area))
        self.assertEqual(crossed, self.ids("--crossed", area))
        self.assertEqual(set(), self.ids("--stood-in", "-100,0 -50,240"))

    def feet(self):
        sys.path.insert(0, programs.records)
        sys.dont_write_bytecode = True
        import record  # pylint: disable=import-outside-toplevel
        with contextlib.closing(sqlite3.connect(self.folder / "clip.store")) as database:
            rows = list(database.execute("SELECT object_id, record FROM object"))
        boxes = {key: [[float_of(bits) for bits in one.box] for one in record.decode(blob)[0].instances]
                 for key, blob in rows}
        return {key: [((box[0] + box[2]) / 2, box[3]) for box in way] for key, way in boxes.items()}

    def ids(self, *arguments):
        code, out, err = self.search("--store", "clip.store", *arguments)
        self.assertEqual((0, ""), (code, err))
        return {int(row["id"]) for row in rows_of(out)[0]}

    def test_csv_and_json_say_what_the_table_says(self):
        code, out, err = self.search("--store", "clip.store", "--csv", "hits.csv", "--json",
                                     "hits.json")
        self.assertEqual((0, ""), (code, err))
        table, rest = rows_of(out)
        self.assertEqual(["6 of 6 objects match", "CSV: hits.csv", "JSON: hits.json"], rest)
        text = (self.folder / "hits.csv").read_bytes().decode()
        self.assertEqual(7, text.count("\r\n"))
        lines = list(csv.DictReader(text.splitlines()))
        hits = json.loads((self.folder / "hits.json").read_bytes())
        for row, line, hit in zip(table, lines, hits, strict=True):
            self.assertEqual((row["id"], row["sensor"], row["class"], row["instances"]),
                             (line["id"], line["sensor"], line["class"], line["instances"]))
            self.assertEqual((int(row["id"]), row["sensor"], row["class"], int(row["instances"])),
                             (hit["id"], hit["sensor"], hit["class"], hit["instances"]))
            self.assertEqual(row["main colours"].split()[0], hit["colors"][0]["name"])
            self.assertTrue(line["first_seen"].startswith(row["first seen (UTC)"]))
            self.assertEqual(line["first_seen"], hit["first_seen"])
            self.assertEqual(hit["instances"], len(hit["path"]))

    def test_page_holds_everything_itself(self):
        code, out, err = self.search("--store", "clip.store", "--color", "red", "--html",
                                     "red boxes.html", "--title", "<b>red & alone</b>")
        self.assertEqual((0, ""), (code, err))
        self.assertIn("page: red boxes.html", out)
        page = Page((self.folder / "red boxes.html").read_text(encoding="utf-8"))
        self.assertEqual([], [link for link in page.links if not link.startswith(("data:", "#"))])
        self.assertIn("<b>red & alone</b>", page.text, "the title is text, not markup")
        pictures = [link for link in page.links if link.startswith("data:image/jpeg;base64,")]
        self.assertGreaterEqual(len(pictures), 3)
        for picture in pictures:
            bytes_of = base64.b64decode(picture.partition(",")[2], validate=True)
            self.assertEqual((b"\xff\xd8", b"\xff\xd9"), (bytes_of[:2], bytes_of[-2:]))
        self.assertEqual(1, page.cards)

    def test_page_of_nothing_is_a_page(self):
        code, out, _ = self.search("--store", "clip.store", "--color", "pink", "--html", "page.html")
        self.assertEqual(0, code)
        self.assertEqual("0 of 6 objects match", out.splitlines()[0])
        page = Page((self.folder / "page.html").read_text(encoding="utf-8"))
        self.assertEqual(0, page.cards)

    def test_each_record_is_what_an_independent_reader_and_writer_make_of_it(self):
        if not programs.records:
            self.skipTest("no --records")
        sys.path.insert(0, programs.records)
        sys.dont_write_bytecode = True
        import record  # pylint: disable=import-outside-toplevel
        database = sqlite3.connect(self.folder / "clip.store")
        rows = list(database.execute("SELECT object_id, first_seen_us, record FROM object"))
        database.close()
        self.assertEqual(6, len(rows))
        for object_id, first_seen, blob in rows:
            obj, consumed = record.decode(blob)
            self.assertEqual(len(blob), consumed)
            self.assertEqual(blob, bytes(record.encode(obj)))
            self.assertEqual((object_id, (3, 1)), (obj.id, tuple(obj.sensor)))
            self.assertEqual(first_seen, obj.first_seen[0] * 10**6 + obj.first_seen[1])

    def test_leaves_log_and_profile_beside_the_store(self):
        self.search("--store", "clip.store")
        names = self.names()
        self.assertEqual(3, len(names), names)
        log = (self.folder / names[2]).read_text(encoding="utf-8")
        self.assertRegex(log, r" INF kr_search: started, run [0-9a-f-]{36}, "
                         r"kr_search(\.exe)? 1\.0\.0(\.0)?( \(build [0-9a-f]{12}\))? on "
                         r"(lib)?KRCommon\.(so|dll)[.0-9]* 1\.0\.0(\.0)?( \(build [0-9a-f]{12}\))?, instructions ")
        profile = (self.folder / names[1]).read_text(encoding="utf-8").splitlines()
        self.assertEqual("tag,timeStamp,totalMs,count,averageMs,highMs", profile[0])
        self.assertIn("query", [line.split(",")[0] for line in profile])
        self.assertRegex(log, r" INF search: all objects: 6 hits; 6 of 6 objects match\n")


class Page(html.parser.HTMLParser):
    """What a page refers to, and its text."""

    def __init__(self, text):
        super().__init__()
        self.links, self.text, self.cards = [], "", 0
        self.feed(text)
        self.links += re.findall(r"url\(['\"]?([^'\")]+)", text)

    def handle_starttag(self, tag, attrs):
        self.links += [value for name, value in attrs
                       if name in ("src", "href", "xlink:href", "srcset", "action")]
        self.cards += tag == "article"

    def handle_data(self, data):
        self.text += data


class Search_Input(Folder):
    """What may be wrong with the input of kr_search."""

    def assert_refused(self, code, sentence, *arguments):
        before = self.names()
        self.assert_fails(self.search(*arguments), code, "kr_search: " + sentence)
        self.assertEqual(before, [n for n in self.names() if not re.search(r"\.(log|csv)$", n)])

    def copy_store(self):
        shutil.copy(programs.store, self.folder / "clip.store")

    def test_no_store(self):
        self.assert_refused(1, "there is no store 'no.store'", "--store", "no.store")

    def test_store_that_is_text(self):
        (self.folder / "a.store").write_text("This is a letter, and a long one, about nothing.\n" * 9)
        self.assert_refused(1, "a.store is no video search store", "--store", "a.store")

    def test_store_of_another_program(self):
        database = sqlite3.connect(self.folder / "a.store")
        database.execute("CREATE TABLE object(name TEXT)")
        database.commit()
        database.close()
        before = (self.folder / "a.store").read_bytes()
        self.assert_refused(1, "a.store is no video search store but another SQLite database",
                            "--store", "a.store")
        self.assertEqual(before, (self.folder / "a.store").read_bytes())

    def test_store_that_is_cut_short(self):
        whole = pathlib.Path(programs.store).read_bytes()
        for length in (1, 50, 100, 5000, len(whole) // 2, len(whole) - 1):
            (self.folder / "a.store").write_bytes(whole[:length])
            code, out, err = self.search("--store", "a.store", "--html", "page.html")
            self.assertEqual((1, ""), (code, out), f"{length} bytes")
            self.assertRegex(err, r"^kr_search: a\.store is (no video search store|damaged)[^\n]*\n$")
            self.assertNotIn("page.html", self.names())

    def test_unknown_colour(self):
        self.copy_store()
        self.assert_refused(2, "--color: 'violet' is no colour; the colours are " +
                            ", ".join((*COLORS, "blue", "green")),
                            "--store", "clip.store", "--color", "violet")

    def test_times_that_are_no_times(self):
        self.copy_store()
        for text in ("yesterday", "", "2014/03/05", "2014/13/05 12:00:00", "2014/02/30 12:00:00",
                     "2014/03/05 25:00:00", "2014/03/05 12:00:00.5", "2014/03/05 12:00:00 PM",
                     "2014-03-05 12:00:00", "1969/12/31 23:59:59"):
            self.assert_refused(2, f"--from: '{text}' is no time; write YYYY/MM/DD hh:mm:ss or "
                                "YYYY/MM/DD hh:mm:ss.uuuuuu (UTC, years 1970 to 3000), like "
                                "2024/03/05 07:08:09",
                                "--store", "clip.store", "--from", text)

    def test_times_in_the_wrong_order(self):
        self.copy_store()
        self.assert_refused(2, "--from: 2014/03/05 12:00:01 is after --to 2014/03/05 12:00:00",
                            "--store", "clip.store", "--from", "2014/03/05 12:00:01",
                            "--to", "2014/03/05 12:00:00")

    def test_numbers_out_of_range(self):
        self.copy_store()
        for option, text in (("--min-score", "1.5"), ("--min-score", "nan"), ("--limit", "0"),
                             ("--min-duration", "-1"), ("--window", "-2"), ("--window", "many"),
                             ("--min-area", "10"), ("--class", "dog"), ("--sort", "size")):
            code, out, err = self.search("--store", "clip.store", option, text)
            self.assertEqual((2, ""), (code, out), option)
            self.assertRegex(err, rf"^kr_search: [^\n]*{option}[^\n]*\n$")

    def test_page_that_cannot_be_written(self):
        self.copy_store()
        code, out, err = self.search("--store", "clip.store", "--html", "no folder/page.html")
        self.assertEqual((1, ""), (code, out))
        self.assertRegex(err, r"^kr_search: cannot write the page 'no folder/page\.html': [^\n]+\n$")

    def test_full_disk_leaves_the_older_page(self):
        self.copy_store()
        disk = small_disk(self, 80)
        script = 'echo older > disk/page.html; "$@"; code=$?; ls disk >&2; cat disk/page.html; exit $code'
        code, out, err = self.search("--store", "clip.store", "--html", "disk/page.html",
                                     prefix=disk(script))
        self.assertEqual((1, "older\n"), (code, out))
        self.assertRegex(err, r"^kr_search: cannot write the page 'disk/page\.html': [^\n]+\n"
                              r"page\.html\n$")


class Search_Stop(Folder):
    def test_ctrl_c_ends_the_search_and_leaves_the_older_page(self):
        if len(programs.search) > 1:
            self.skipTest("the signal would go to the emulator")
        shutil.copy(programs.store, self.folder / "a.store")
        with contextlib.closing(sqlite3.connect(self.folder / "a.store")) as database:
            database.execute(
                "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 4000) "
                "INSERT INTO object SELECT sensor1, sensor2, object_id + 100 * i, run, "
                "first_seen_us, record FROM object, n")
            database.commit()
        (self.folder / "page.html").write_text("older\n")
        process = subprocess.Popen([*programs.search, "--store", "a.store", "--logs", "l",
                                    "--html", "page.html"], cwd=self.folder,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.addCleanup(process.kill)
        end = time.monotonic() + 30
        while not self.names_like(r"l/.*\.log") and time.monotonic() < end:
            time.sleep(0.005)
        process.send_signal(signal.SIGINT)
        self.assertEqual(("", "kr_search: interrupted\n"), process.communicate(timeout=60))
        self.assertEqual(130, process.returncode)
        self.assertEqual("older\n", (self.folder / "page.html").read_text())
        self.assertEqual([], self.names_like(r".*\.part"))
        log = (self.folder / self.names_like(r"l/.*\.log")[0]).read_text(encoding="utf-8")
        self.assertRegex(log, r" INF kr_search: interrupted, run [0-9a-f-]{36}\n$")

    def names_like(self, pattern):
        return [name for name in self.names() if re.fullmatch(pattern, name)]


class Search_Upgrade(Folder):
    """A store of the version before this one, of many objects."""

    COUNT = 24_006

    def setUp(self):
        super().setUp()
        shutil.copy(programs.store, self.folder / "a.store")
        with contextlib.closing(sqlite3.connect(self.folder / "a.store")) as database:
            self.assertEqual(1, database.execute("PRAGMA user_version").fetchone()[0])
            database.execute(
                "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 4000) "
                "INSERT INTO object SELECT sensor1, sensor2, object_id + 100 * i, run, "
                "first_seen_us, record FROM object, n")
            database.commit()

    def start(self):
        process = subprocess.Popen([*programs.search, "--store", "a.store", "--color", "red",
                                    "--limit", "3", "--count", "--logs", "l"], cwd=self.folder,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.addCleanup(process.communicate)
        self.addCleanup(process.kill)
        return process

    def traits(self):
        """How many objects have theirs; none before there is a table."""
        with contextlib.suppress(sqlite3.OperationalError), contextlib.closing(
                sqlite3.connect(f"file:{self.folder / 'a.store'}?mode=ro", uri=True,
                                timeout=10)) as database:
            return database.execute("SELECT count(*) FROM trait").fetchone()[0]
        return 0

    def assert_found(self, process):
        out, err = process.communicate(timeout=100)
        self.assertEqual(0, process.returncode, err)
        self.assertEqual([f"4001 of {self.COUNT} objects match, 3 shown"], rows_of(out)[1])

    def assert_whole(self):
        self.assertEqual(self.COUNT, self.traits())
        with contextlib.closing(sqlite3.connect(self.folder / "a.store")) as database:
            self.assertEqual((2,), database.execute("PRAGMA user_version").fetchone())
            self.assertEqual((1,), database.execute("SELECT is_whole FROM trait_state").fetchone())
            self.assertEqual(("ok",), database.execute("PRAGMA integrity_check").fetchone())

    def test_two_at_once_find_the_same(self):
        both = self.start(), self.start()
        for process in both:
            self.assert_found(process)
        self.assert_whole()

    def test_killed_upgrade_goes_on_where_it_was(self):
        if len(programs.search) > 1:
            self.skipTest("the emulator would be killed")
        process = self.start()
        end = time.monotonic() + 60
        while self.traits() == 0 and time.monotonic() < end:
            time.sleep(0.01)
        process.kill()
        process.communicate()
        done = self.traits()
        self.assertTrue(0 < done <= self.COUNT, done)
        self.assert_found(self.start())
        self.assert_whole()


def seen_by(frame):
    """How many boxes have appeared until a frame of the repeated recording."""
    rounds, rest = divmod(frame, FRAMES)
    return rounds * len(TRUTH) + sum(actor[2] <= rest for actor in TRUTH)


def small_disk(test, kilobytes):
    """Gives the command prefix that runs a script with a full disk at "disk"."""
    (test.folder / "disk").mkdir()
    mount = f"mount -t tmpfs -o size={kilobytes}k small disk"
    if not shutil.which("unshare") or subprocess.run(
            ["unshare", "-rm", "sh", "-c", mount], cwd=test.folder, capture_output=True,
            check=False).returncode != 0:
        test.skipTest("no file system can be mounted here")
    return lambda script: ("unshare", "-rm", "sh", "-c", f"{mount} && {script}", "sh")


class Analyse_Folder(Folder):
    def setUp(self):
        if not programs.analyse:
            self.skipTest("kr_analyse is not built for this system")
        super().setUp()

    def make_clip(self, times=1):
        subprocess.run([*programs.make_clip, self.folder / "clip.avi", str(times)], check=True,
                       stdout=subprocess.DEVNULL)

    def query(self, sql, *values):
        with contextlib.closing(sqlite3.connect(self.folder / "a.store", timeout=10)) as database:
            return list(database.execute(sql, values))

    def stored_objects(self):
        with contextlib.suppress(sqlite3.OperationalError):  # before the store is there
            if (self.folder / "a.store").exists():
                return self.query("SELECT count(*) FROM object")[0][0]
        return 0

    def assert_every_record_is_whole(self):
        """kr_search decodes each; it would count a damaged one."""
        count = self.stored_objects()
        code, out, err = self.search("--store", "a.store", "--logs", "logs")
        self.assertEqual((0, ""), (code, err))
        self.assertEqual([f"{count} of {count} objects match"], rows_of(out)[1])
        self.assertEqual([("ok",)], self.query("PRAGMA integrity_check"))


class Analyse_Input(Analyse_Folder):
    """What may be wrong with the input of kr_analyse."""

    def assert_refused(self, code, sentence, *arguments):
        result = self.analyse(*arguments)
        self.assert_fails(result, code, "kr_analyse: " + sentence)
        self.assertFalse((self.folder / "a.store").exists(), "no store is left behind")

    def test_no_such_video(self):
        self.assert_refused(1, "no such file: no.avi", "no.avi", "--store", "a.store", "--logs", "l")

    def test_videos_that_are_none(self):
        (self.folder / "empty.avi").write_bytes(b"")
        (self.folder / "text.avi").write_text("This is a letter.\n" * 500)
        (self.folder / "folder.avi").mkdir()
        (self.folder / "noise.mp4").write_bytes(os.urandom(100_000))
        for name in ("empty.avi", "text.avi", "folder.avi", "noise.mp4"):
            self.assert_refused(1, f"{name} is no video that can be read", name, "--store",
                                "a.store", "--logs", "l")

    def test_sound_without_a_picture(self):
        with contextlib.closing(wave.open(str(self.folder / "sound.wav"), "wb")) as sound:
            sound.setnchannels(1)
            sound.setsampwidth(1)
            sound.setframerate(8000)
            sound.writeframes(b"\x40" * 8000)
        self.assert_refused(1, "sound.wav holds no video stream", "sound.wav", "--store", "a.store",
                            "--logs", "l")

    def test_too_few_frames_a_second(self):
        self.make_clip()
        self.assert_refused(1, "clip.avi: each 20. of its 10.00 frames/s is too few to follow "
                            "anybody; at least 1 frame/s is to be analysed", "clip.avi", "--store",
                            "a.store", "--logs", "l", "--every", "20")

    def test_addresses_that_are_none(self):
        self.assert_refused(1, "nonsense://a/b is no address that can be read: 'nonsense' is not "
                            "known", "nonsense://a/b", "--store", "a.store", "--logs", "l")
        self.assert_refused(2, "--start: the pictures of the camera rtsp://a/b begin when they come",
                            "rtsp://a/b", "--store", "a.store", "--logs", "l", "--start", START)

    def test_one_bad_video_of_two(self):
        self.make_clip()
        self.assert_refused(1, "no such file: no.avi", "clip.avi", "no.avi", "--store", "a.store",
                            "--logs", "l")

    def test_truncated_video_keeps_what_was_found_and_says_so(self):
        self.make_clip()
        whole = (self.folder / "clip.avi").read_bytes()
        (self.folder / "cut.avi").write_bytes(whole[:len(whole) * 3 // 4])
        code, out, err = self.analyse("cut.avi", "--store", "a.store", "--logs", "l")
        self.assertEqual(1, code)
        self.assertIn("cut.avi: truncated\n", out)
        self.assertRegex(err, r"\nkr_analyse: cut\.avi is truncated: \d\d of 130 frames\n$")
        self.assertEqual([("truncated",)], self.query("SELECT state FROM recording"))
        self.assertGreaterEqual(self.stored_objects(), 3)
        self.assert_every_record_is_whole()

    def test_stores_that_cannot_be_written(self):
        self.make_clip()
        (self.folder / "folder.store").mkdir()
        for name, sentence in (("no folder/a.store", "no folder/a.store: there is no folder 'no folder'"),
                               ("folder.store", "folder.store is a folder")):
            self.assert_refused(1, sentence, "clip.avi", "--store", name, "--logs", "l")

    def test_stores_of_another_program_stay_as_they_are(self):
        self.make_clip()
        (self.folder / "text.store").write_text("This is a letter.\n" * 500)
        with contextlib.closing(sqlite3.connect(self.folder / "other.store")) as database:
            database.execute("CREATE TABLE object(name TEXT)")
            database.commit()
        for name, sentence in (("text.store", "text.store is no video search store"),
                               ("other.store", "other.store is no video search store but another "
                                               "SQLite database")):
            before = (self.folder / name).read_bytes()
            self.assert_refused(1, sentence, "clip.avi", "--store", name, "--logs", "l")
            self.assertEqual(before, (self.folder / name).read_bytes())

    def test_log_folder_that_is_a_file(self):
        self.make_clip()
        (self.folder / "l").write_text("")
        code, out, err = self.analyse("clip.avi", "--store", "a.store", "--logs", "l")
        self.assertEqual((1, ""), (code, out))
        self.assertRegex(err, r"^kr_analyse: cannot make the log folder 'l': [^\n]+\n$")
        self.assertEqual(["clip.avi", "l"], self.names())

    def test_start_that_is_no_time(self):
        self.assert_refused(2, "--start: 'noon' is no time; write YYYY/MM/DD hh:mm:ss or YYYY/MM/DD "
                            "hh:mm:ss.uuuuuu (UTC, years 1970 to 2037), like 2024/03/05 07:08:09",
                            "x.avi", "--store", "a.store", "--logs", "l", "--start", "noon")

    def test_options_that_are_missing_or_out_of_range(self):
        for arguments in ((), ("x.avi",), ("x.avi", "--store", "a.store"),
                          ("x.avi", "--store", "a.store", "--logs", "l", "--sensor", "-1"),
                          ("x.avi", "--store", "a.store", "--logs", "l", "--every", "0"),
                          ("x.avi", "--store", "a.store", "--logs", "l", "--budget", "3")):
            code, out, err = self.analyse(*arguments)
            self.assertEqual((2, ""), (code, out), arguments)
            self.assertRegex(err, r"^kr_analyse: [^\n]+\n$")
            self.assertEqual([], self.names())

    def test_full_disk_before_the_store_is_made(self):
        self.make_clip()
        disk = small_disk(self, 4)
        code, out, err = self.analyse("clip.avi", "--store", "disk/a.store", "--logs", "l",
                                      prefix=disk('"$@"; code=$?; ls disk; exit $code'))
        self.assertEqual((1, ""), (code, out), "no half-made store is left")
        self.assertRegex(err, r"kr_analyse: disk/a\.store: the disk is full\n$")

    def test_full_disk_keeps_what_was_stored(self):
        self.make_clip(3)
        disk = small_disk(self, 240)
        script = '"$@"; code=$?; cp disk/a.store .; exit $code'
        code, _, err = self.analyse("clip.avi", "--store", "disk/a.store", "--logs", "l",
                                    prefix=disk(script))
        self.assertEqual(1, code)
        self.assertRegex(err, r"kr_analyse: disk/a\.store: the disk is full\n$")
        self.assertGreaterEqual(self.stored_objects(), 1)
        self.assert_every_record_is_whole()


class Analyse_Stop(Analyse_Folder):
    """The end of an analysis before the end of the recording."""

    def start_and_wait_for_objects(self, times=STOP_TIMES, count=2):
        self.make_clip(times)
        process = subprocess.Popen([*programs.analyse, "clip.avi", "--store", "a.store", "--logs",
                                    "l"], cwd=self.folder, stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, text=True)
        self.addCleanup(process.communicate)
        self.addCleanup(process.kill)  # cleaned up in reverse order
        end = time.monotonic() + 60
        while self.stored_objects() < count and time.monotonic() < end:
            self.assertIsNone(process.poll(), "it ended by itself")
            time.sleep(0.05)
        return process

    def test_ctrl_c_stores_what_was_seen_and_ends(self):
        for number in (signal.SIGINT, signal.SIGTERM):
            with self.subTest(number):
                process = self.start_and_wait_for_objects()
                process.send_signal(number)
                out, _ = process.communicate(timeout=60)
                self.assertEqual(130, process.returncode)
                self.assertIn("clip.avi: stopped\n", out)
                self.assertEqual([("stopped",)], self.query("SELECT state FROM recording"))
                frames = self.query("SELECT frames FROM recording")[0][0]
                self.assertTrue(0 < frames < STOP_TIMES * FRAMES, frames)
                self.assertGreaterEqual(self.stored_objects(), seen_by(frames - FPS),
                                        "whoever was there for a second is stored")
                self.assertLessEqual(self.stored_objects(), seen_by(frames))
                said = sum(map(int, re.search(r"objects: (\d+) persons, (\d+) vehicles, (\d+)",
                                              out).groups()))
                self.assertEqual(said, self.stored_objects(), "nothing that was counted is lost")
                self.assert_every_record_is_whole()
                (self.folder / "a.store").unlink()

    def test_killed_analysis_leaves_a_store_of_whole_objects(self):
        process = self.start_and_wait_for_objects()
        process.kill()
        process.communicate()
        self.assertEqual([("running",)], self.query("SELECT state FROM recording"))
        self.assert_every_record_is_whole()

    def test_search_beside_a_running_analysis(self):
        process = self.start_and_wait_for_objects()
        code, out, err = self.search("--store", "a.store", "--logs", "l2")
        self.assertIsNone(process.poll(), "the analysis goes on")
        self.assertEqual((0, ""), (code, err))
        self.assertGreaterEqual(len(rows_of(out)[0]), 2)


class Analyse_Display(Analyse_Folder):
    def test_lines_where_there_is_no_terminal(self):
        self.make_clip()
        code, out, err = self.analyse("clip.avi", "--store", "a.store", "--logs", "l")
        self.assertEqual(0, code)
        self.assertIn("objects: 0 persons, 1 vehicles, 5 others\n", out)
        self.assertNotIn("\r", err)
        self.assertRegex(err, r"(^|\n)100 % +130 of 130 frames, [0-9.]+ frames/s, 0 s left, "
                              r"6 objects\n$")

    def test_bar_on_a_terminal(self):
        self.make_clip(4)
        ours, theirs = pty.openpty()
        process = subprocess.Popen([*programs.analyse, "clip.avi", "--store", "a.store", "--logs",
                                    "l"], cwd=self.folder, stdout=subprocess.DEVNULL,
                                   stderr=theirs)
        os.close(theirs)
        shown = b""
        with contextlib.suppress(OSError):  # the end, as a terminal tells it
            while piece := os.read(ours, 65536):
                shown += piece
        os.close(ours)
        self.assertEqual(0, process.wait(timeout=60))
        self.assertIn(b"\r", shown)
        self.assertRegex(shown, rb"\d+ ?%")
        self.assertNotIn(b"\n", shown, "one line, cleared at the end")

    def test_second_analysis_joins_the_store_with_new_ids(self):
        self.make_clip()
        for sensor in ("1", "1", "2"):
            self.assertEqual(0, self.analyse("clip.avi", "--store", "a.store", "--logs", "l",
                                             "--sensor", sensor, "--start", START)[0])
        ids = self.query("SELECT sensor1, object_id FROM object ORDER BY sensor1, object_id")
        self.assertEqual([(1, n) for n in range(1, 13)] + [(2, n) for n in range(1, 7)], ids)
        self.assertEqual(3, len({row[0] for row in self.query("SELECT run FROM recording")}))


    def test_several_at_once(self):
        self.make_clip()
        shutil.copy(self.folder / "clip.avi", self.folder / "other.avi")
        code, out, err = self.analyse("clip.avi", "other.avi", "--store", "a.store", "--logs", "l",
                                      "--sensor", "3,9", "--start", START)
        self.assertEqual(0, code, err)
        self.assertEqual(2, out.count("objects: 0 persons, 1 vehicles, 5 others\n"))
        self.assertRegex(err, r"(^|\n)100 % +260 of 260 frames, [^\n]*, 12 objects\n$")
        self.assertEqual([("clip.avi", 3), ("other.avi", 9)],
                         self.query("SELECT video, sensor1 FROM recording ORDER BY sensor1"))
        self.assertEqual([(3, 6), (9, 6)],
                         self.query("SELECT sensor1, count(*) FROM object GROUP BY sensor1"))
        self.assert_every_record_is_whole()

    def test_start_is_the_time_of_the_file_less_its_duration(self):
        self.make_clip()
        os.utime(self.folder / "clip.avi", (START_SECONDS + 13, START_SECONDS + 13))
        self.assertEqual(0, self.analyse("clip.avi", "--store", "a.store", "--logs", "l")[0])
        self.assertEqual([(START_SECONDS * 10**6, (START_SECONDS + 13) * 10**6)],
                         self.query("SELECT start_us, end_us FROM recording"))


class Camera_Server(socketserver.ThreadingTCPServer):
    """Sends a stream as fast as a camera would."""

    daemon_threads = True
    allow_reuse_address = True

    def __init__(self, handler, stream, port=0):
        super().__init__(("127.0.0.1", port), handler)
        self.stream, self.connections = stream, 0
        self.is_over = threading.Event()
        threading.Thread(target=self.serve_forever, daemon=True).start()

    def stop(self):
        self.is_over.set()
        self.shutdown()
        self.server_close()


class Camera_Handler(socketserver.BaseRequestHandler):
    packet_size = 7 * 188
    last_second = None  # then it falls silent

    def handle(self):
        self.server.connections += 1
        with contextlib.suppress(OSError):
            if self.answer():
                self.send_stream()

    def send_stream(self):
        stream, begin, sent = self.server.stream, time.monotonic(), 0
        while not self.server.is_over.wait(0.02) and sent < len(stream):
            seconds = time.monotonic() - begin
            if self.last_second:
                seconds = min(seconds, self.last_second)
            due = int(seconds * len(stream) * FPS / FRAMES / STREAM_TIMES)
            while sent + self.packet_size <= due or due > len(stream) > sent:
                self.send(stream[sent:sent + self.packet_size])
                sent += self.packet_size


class Http_Camera(Camera_Handler):
    """The first connection falls silent."""

    def answer(self):
        self.last_second = 20 if self.server.connections == 1 else None
        self.request.recv(4096)
        self.request.sendall(b"HTTP/1.0 200 OK\r\nContent-Type: video/mp2t\r\n\r\n")
        return True

    def send(self, packet):
        self.request.sendall(packet)


class Rtsp_Camera(Camera_Handler):
    """RTSP (RFC 2326) with the stream's RTP in the same connection, as MPEG-2 TS (RFC 2250)."""

    description = (b"v=0\r\no=- 1 1 IN IP4 127.0.0.1\r\ns=camera\r\nt=0 0\r\n"
                   b"m=video 0 RTP/AVP 33\r\na=control:video\r\n")

    def answer(self):
        self.packets = 0
        requests = self.request.makefile("rb")
        for line in requests:
            method, headers = line.split()[0], {}
            while (header := requests.readline()).strip():
                name, _, value = header.partition(b":")
                headers[name.lower()] = value.strip()
            body, more = b"", b""
            if method == b"OPTIONS":
                more = b"Public: OPTIONS, DESCRIBE, SETUP, PLAY, TEARDOWN\r\n"
            elif method == b"DESCRIBE":
                body = self.description
                more = b"Content-Type: application/sdp\r\n"
            elif method == b"SETUP":
                more = b"Transport: RTP/AVP/TCP;unicast;interleaved=0-1\r\n"
            self.request.sendall(b"RTSP/1.0 200 OK\r\nCSeq: %b\r\nSession: 1\r\n%b"
                                 b"Content-Length: %d\r\n\r\n%b"
                                 % (headers[b"cseq"], more, len(body), body))
            if method == b"PLAY":
                return True
        return False

    def send(self, packet):
        clock = int(time.monotonic() * 90000) & 0xFFFFFFFF
        rtp = struct.pack(">BBHII", 0x80, 33, self.packets & 0xFFFF, clock, 1) + packet
        self.request.sendall(struct.pack(">cBH", b"$", 0, len(rtp)) + rtp)
        self.packets += 1


class Analyse_Camera(Analyse_Folder):
    def setUp(self):
        super().setUp()
        subprocess.run([*programs.make_clip, self.folder / "clip.ts", str(STREAM_TIMES)],
                       check=True, stdout=subprocess.DEVNULL)

    def serve(self, handler, port=0):
        server = Camera_Server(handler, (self.folder / "clip.ts").read_bytes(), port)
        self.addCleanup(server.stop)
        return server

    def start(self, address):
        process = subprocess.Popen([*programs.analyse, address, "--store", "a.store", "--logs", "l",
                                    "--stall", "3"],
                                   cwd=self.folder, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                   text=True)
        self.addCleanup(process.communicate)
        self.addCleanup(process.kill)
        return process

    def wait_until(self, process, is_so, what):
        end = time.monotonic() + 150
        while not is_so():
            self.assertIsNone(process.poll(), "it ended by itself")
            self.assertLess(time.monotonic(), end, what)
            time.sleep(0.1)

    def stop(self, process, address):
        process.send_signal(signal.SIGTERM)
        out, _ = process.communicate(timeout=60)
        self.assertEqual(130, process.returncode)
        self.assertTrue(out.startswith(address + ": stopped\n"), out)
        self.assertEqual([("stopped",)], self.query("SELECT state FROM recording"))
        self.assert_every_record_is_whole()
        return "".join(path.read_text(encoding="utf-8")
                       for path in (self.folder / "l").glob("*.log"))

    def test_camera_that_stalls_and_comes_back(self):
        server = self.serve(Http_Camera)
        address = f"http://127.0.0.1:{server.server_address[1]}/camera"
        process = self.start(address)
        self.wait_until(process, lambda: server.connections > 1, "it connects anew")
        before = self.stored_objects()
        self.wait_until(process, lambda: self.stored_objects() >= before + 2, "it goes on")
        log = self.stop(process, address)
        self.assertRegex(log, r"\*ERR camera: http://\S+ is lost: it stalled\n")

    def test_rtsp_camera_that_goes_away_and_comes_back(self):
        server = self.serve(Rtsp_Camera)
        port = server.server_address[1]
        address = f"rtsp://127.0.0.1:{port}/stream"
        process = self.start(address)
        self.wait_until(process, lambda: self.stored_objects() > 0, "it finds objects")
        server.stop()
        time.sleep(1)  # connections are refused meanwhile
        before = self.stored_objects()
        server = self.serve(Rtsp_Camera, port)
        self.wait_until(process, lambda: self.stored_objects() >= before + 3, "it goes on")
        self.assertEqual(1, server.connections)
        log = self.stop(process, address)
        self.assertRegex(log, r"\*ERR camera: rtsp://\S+ is lost: ")
        self.assertEqual(2, len(re.findall(r" INF camera: rtsp://\S+ is connected\n", log)), log)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--search", type=shlex.split, required=True)
    parser.add_argument("--analyse", type=shlex.split)
    parser.add_argument("--make-clip", type=shlex.split)
    parser.add_argument("--store", required=True)
    parser.add_argument("--records")
    parser.add_argument("tests", nargs="*")
    parser.parse_args(namespace=programs)
    unittest.main(argv=[sys.argv[0], "-v", *programs.tests])


if __name__ == "__main__":
    main()
