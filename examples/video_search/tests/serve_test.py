#!/usr/bin/env python3
"""Runs kr_serve as its clients do, on the store FILE: scripts by JSON, programs by SOAP, and those who
stall or mean harm.

    serve_test.py --serve COMMAND --search COMMAND --store FILE [TestClass[.test_name]]...

Either COMMAND may begin with an emulator.
"""

import argparse
import contextlib
import http.client
import json
import os
import pathlib
import shlex
import shutil
import signal
import re
import socket
import sqlite3
import struct
import subprocess
import sys
import tempfile
import time
import unittest
import urllib.parse

try:
    import zeep
except ImportError:
    zeep = None

programs = argparse.Namespace()
TOKEN = "a token of our tests".replace(" ", "-")


class Service:
    """kr_serve with a copy of the store, in a folder of its own."""

    def __init__(self, *arguments):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="kr serve "))
        self.store = self.folder / "clip.store"
        shutil.copy(programs.store, self.store)
        (self.folder / "token").write_text(TOKEN + "\n")
        self.process = subprocess.Popen(
            [*programs.serve, "--store", self.store.name, "--logs", "logs", "--port", "0", *arguments],
            cwd=self.folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
            text=True)
        line = self.process.stdout.readline()
        if not line.startswith("kr_serve: http://"):
            raise AssertionError(line + self.process.communicate(timeout=60)[1])
        self.port = int(line.strip().rstrip("/").rsplit(":", 1)[1])

    def stop(self):
        """Its exit code and what it said on stderr."""
        if self.process.poll() is None:
            os.kill(self.program(), signal.SIGINT)
        _, errors = self.process.communicate(timeout=60)
        shutil.rmtree(self.folder, ignore_errors=True)
        return self.process.returncode, errors

    def program(self):
        """Its process: of an emulator the child, which takes the signal as Ctrl-C."""
        own = self.process.pid
        if len(programs.serve) == 1:
            return own
        return int(pathlib.Path(f"/proc/{own}/task/{own}/children").read_text().split()[0])

    def get(self, path, headers=None, method="GET", body=None):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=60)
        try:
            connection.request(method, path, body=body, headers=headers or {})
            response = connection.getresponse()
            return response.status, response.read(), response
        finally:
            connection.close()

    def json(self, path, **settings):
        status, body, _ = self.get(path, **settings)
        return status, json.loads(body)

    def get_when_free(self, path):
        """The answer, when the service has a place for its client: all may be at work still, on a slow
        machine. Whoever is refused learns that by 503 or, having sent meanwhile, by a reset."""
        end = time.monotonic() + 30
        while True:
            try:
                status, body, _ = self.get(path)
            except ConnectionError:
                status, body = 503, b"{}"
            if status != 503 or time.monotonic() > end:
                return status, body
            time.sleep(0.1)

    def await_quiet(self):
        """Until the clients of the test before are gone."""
        end = time.monotonic() + 30
        others = True
        while others and time.monotonic() < end:
            metrics = self.get_when_free("/metrics")[1].decode()
            others = not re.search(r"(?m)^kr_serve_connections 1$", metrics)

    def connect(self):
        return socket.create_connection(("127.0.0.1", self.port), timeout=30)

    def raw(self, data):
        """What comes back for these bytes until the other side closes."""
        with self.connect() as connection:
            try:
                connection.sendall(data)
            except OSError:
                pass
            return read_all(connection)


def read_all(connection):
    data = b""
    try:
        while part := connection.recv(65536):
            data += part
    except ConnectionResetError:
        pass
    return data


class Served(unittest.TestCase):
    arguments = ()

    @classmethod
    def setUpClass(cls):
        cls.service = Service(*cls.arguments)

    @classmethod
    def tearDownClass(cls):
        code, errors = cls.service.stop()
        assert (code, errors) == (0, ""), (code, errors)

    def assert_serves(self):
        status, body = self.service.get_when_free("/health")
        self.assertEqual((200, {"schema_version": 1, "status": "ok"}), (status, json.loads(body)))


# The same search in the words of kr_search, of the JSON interface and of SOAP.
SEARCHES = (
    {}, {"color": "red"}, {"color": "blue"}, {"color": "red,yellow"}, {"color": "white", "min-area": "50"},
    {"color": "red,blue", "colors": "all"}, {"class": "object"}, {"class": "vehicle"},
    {"class": "person", "min-score": "0"}, {"class": "object", "min-score": "0.9"},
    {"min-duration": "4"}, {"max-duration": "3"}, {"min-duration": "3.5", "max-duration": "4.5"},
    {"sort": "latest"}, {"sort": "duration"}, {"sort": "score"}, {"sort": "score", "class": "vehicle"},
    {"limit": "2"}, {"limit": "3", "sort": "latest"}, {"sensor": "3"}, {"sensor": "3.1"},
    {"sensor": "4"}, {"hours": "12-13"}, {"hours": "13-12"},
    {"stood-in": "0,0 160,240"}, {"crossed": "100,0 200,240"},
    {"stood-in": "0,0 320,0 0,240"}, {"from": "2014/03/05 12:00:03"},
    {"to": "2014/03/05 12:00:03.2"}, {"from": "2014/03/05 12:00:03", "to": "2014/03/05 12:00:08.4"},
)
assert len(SEARCHES) == 30


def iso(text):
    """Of "2014/03/05 12:00:01.2"."""
    day, clock = text.split()
    seconds, _, fraction = clock.partition(".")
    return f"{day.replace('/', '-')}T{seconds}.{fraction:0<6}Z"


class Searched(Served):
    """Compares with what kr_search finds."""

    hits = {}  # of the searches that were made

    def searched(self, criteria):
        """The hits of kr_search, which is asked once."""
        key = tuple(criteria.items())
        if key not in self.hits:
            self.hits[key] = self.search(criteria)
        return self.hits[key]

    def search(self, criteria):
        options = [part for name, value in criteria.items()
                   for part in ("--" + name, iso_back(value) if name in ("from", "to") else value)]
        found = self.service.folder / "found.json"
        done = subprocess.run([*programs.search, "--store", "clip.store", "--json", found.name, *options],
                              cwd=self.service.folder, timeout=100, stdin=subprocess.DEVNULL,
                              capture_output=True, text=True)
        self.assertEqual((0, ""), (done.returncode, done.stderr), options)
        return json.loads(found.read_text())


class Results(Searched):
    """What kr_search finds, by other ways."""

    def test_by_json_are_those_of_kr_search_field_by_field(self):
        found = 0
        for criteria in SEARCHES:
            query = urllib.parse.urlencode({name.replace("-", "_"):
                                            iso(value) if name in ("from", "to") else value
                                            for name, value in criteria.items()})
            status, page = self.service.json("/api/search?" + query)
            self.assertEqual(200, status, page)
            expected = self.searched(criteria)
            found += len(expected)
            self.assertEqual(expected, [self.as_hit(each) for each in page["objects"]], query)
        self.assertGreater(found, 60)

    def as_hit(self, found):
        """An object of the JSON interface in the words of kr_search."""
        return {"id": int(found["id"]), "sensor": found["sensor"], "run": found["run"],
                "first_seen": found["from"].replace("-", "/").replace("T", " ").rstrip("Z"),
                "last_seen": found["to"].replace("-", "/").replace("T", " ").rstrip("Z"),
                "duration": found["duration"], "class": found["class"], "score": found["score"],
                "scores": found["scores"],
                "colors": [{"name": each["preset"], "percent": each["percent"], "rgb": each["rgb"]}
                           for each in found["colors"]],
                "instances": found["instance_count"], "path": found["path"]}

    @unittest.skipIf(zeep is None, "zeep is not installed")
    def test_by_soap_are_those_of_kr_search_field_by_field(self):
        client = zeep.Client(f"http://127.0.0.1:{self.service.port}/soap?wsdl")
        for criteria in SEARCHES:
            page = client.service.Search(**{camel_case(name): soap_value(name, value)
                                            for name, value in criteria.items()})
            self.assertEqual(self.searched(criteria), [soap_hit(each) for each in page.object], criteria)

    @unittest.skipIf(zeep is None, "zeep is not installed")
    def test_by_soap_go_on_behind_a_cursor(self):
        service = zeep.Client(f"http://127.0.0.1:{self.service.port}/?wsdl").service
        ids, cursor = [], None
        while True:
            page = service.Search(limit=2, sort="latest", cursor=cursor)
            ids += [each.id for each in page.object]
            cursor = page.next
            self.assertEqual(cursor is None, page.complete)
            if cursor is None:
                break
        self.assertEqual([6, 5, 4, 3, 2, 1], ids)

    @unittest.skipIf(zeep is None, "zeep is not installed")
    def test_by_soap_are_the_library_s_types(self):
        service = zeep.Client(f"http://127.0.0.1:{self.service.port}/soap?wsdl").service
        result = service.Search(color="red", window=2).object[0].result
        self.assertEqual((1, 1394020801, 200, 1394020805, 200, 2, 4),
                         (result.objectId, result.startTimeSeconds, result.startTimeMilliseconds,
                          result.endTimeSeconds, result.endTimeMilliseconds, result.instanceCount,
                          result.duration))
        self.assertEqual(2, len(result.instances))
        whole = service.GetObject(sensor="3.1", id=1)
        self.assertEqual((41, 41), (whole.observations, len(whole.result.instances)))
        jpeg = service.GetThumbnail(sensor="3.1", id=1)
        self.assertEqual(self.service.get("/api/objects/3.1/1/thumbnail.jpg")[1], jpeg)
        presets = service.GetPresets()
        self.assertEqual(["white", 13, "blue", ["light_blue", "dark_blue"]],
                         [presets.preset[0].name, len(presets.preset), presets.group[0].name,
                          presets.group[0].preset])
        self.assertEqual([("clip.avi", 320, 6)],
                         [(each.name, each.width, each.objects) for each in service.GetRecordings()])

    @unittest.skipIf(zeep is None, "zeep is not installed")
    def test_by_soap_of_bad_input_are_faults(self):
        service = zeep.Client(f"http://127.0.0.1:{self.service.port}/soap?wsdl").service
        for call, message in (
                (lambda: service.Search(minArea=3), "needs a color"),
                (lambda: service.Search(limit=501), "'501' is no whole number from 1 to 500"),
                (lambda: service.Search(cursor="7"), "the cursor is none that this service gave"),
                (lambda: service.GetObject(sensor="3.1", id=99), "there is no such object"),
                (lambda: service.GetThumbnail(sensor="x", id=1),
                 "there is no sensor 'x'; write 3.1")):
            with self.assertRaises(zeep.exceptions.Fault) as raised:
                call()
            self.assertEqual(("s:Client", message), (raised.exception.code, raised.exception.message))


def floats(value):
    """The value with the floats that are nearest to its numbers."""
    if isinstance(value, dict):
        return {name: floats(each) for name, each in value.items()}
    if isinstance(value, list):
        return [floats(each) for each in value]
    return struct.unpack("f", struct.pack("f", value))[0] if isinstance(value, float) else value


def iso_back(text):
    """A time as kr_search takes it: with six digits or none."""
    seconds, dot, fraction = text.partition(".")
    return seconds + (f".{fraction:0<6}" if dot else "")


def camel_case(name):
    first, *rest = name.split("-")
    return first + "".join(part.capitalize() for part in rest)


def soap_value(name, value):
    if name in ("from", "to"):
        return iso(value)
    if name in ("color", "sensor"):
        return value.split(",")
    return value


def soap_hit(found):
    def digits(number):
        return json.loads(f"{number:.9g}") if number != int(number) else int(number)

    def time_text(value):
        return value.strftime("%Y/%m/%d %H:%M:%S.%f")
    return {"id": found.id, "sensor": found.sensor, "run": found.run,
            "first_seen": time_text(found["from"]), "last_seen": time_text(found.to),
            "duration": found.duration, "class": found["class"], "score": digits(found.score),
            "scores": {"person": digits(found.personScore), "vehicle": digits(found.vehicleScore),
                       "object": digits(found.objectScore)},
            "colors": [{"name": each.preset, "percent": digits(each.percent), "rgb": each.rgb}
                       for each in found.color],
            "instances": found.observations,
            "path": [[digits(point.x), digits(point.y)] for point in found.path]}


class Generated(Searched):
    """A C++ client that gSOAP generates from the WSDL."""

    @unittest.skipUnless(all(map(shutil.which, ("wsdl2h", "soapcpp2", "g++"))) and
                         os.path.exists("/usr/include/stdsoap2.h"),
                         "gSOAP (gsoap, libgsoap-dev) or g++ is not installed")
    def test_finds_what_kr_search_finds_field_by_field(self):
        folder = self.service.folder / "client"
        folder.mkdir()

        def run(*command, **settings):
            done = subprocess.run(command, cwd=folder, capture_output=True, text=True, timeout=170,
                                  **settings)
            self.assertEqual(0, done.returncode, done.stderr)
            return done.stdout
        (folder / "krsearch.wsdl").write_bytes(self.service.get("/soap?wsdl")[1])
        (folder / "types.dat").write_text("xsd__dateTime = | std::string\n")  # time_t has no fractions
        run("wsdl2h", "-t", "types.dat", "-o", "krsearch.h", "krsearch.wsdl")
        run("soapcpp2", "-j", "-C", "-x", "-I/usr/share/gsoap/import", "krsearch.h")
        source = pathlib.Path(__file__).resolve().parent / "soap_client.cpp"
        run("g++", "-std=c++17", "-O0", "-I.", str(source), "soapC.cpp", "soapKRSearchProxy.cpp",
            "-lgsoap++", "-o", "client")
        lines = [" ".join(self.word(name, value) for name, value in criteria.items())
                 for criteria in SEARCHES] + ["minArea=3"]
        answers = run("./client", f"http://127.0.0.1:{self.service.port}/soap",
                      input="".join(line + "\n" for line in lines)).splitlines()
        self.assertEqual("fault: needs a color", answers.pop())
        self.assertEqual(len(SEARCHES), len(answers))
        for criteria, answer in zip(SEARCHES, answers):
            found = json.loads(answer)
            for each in found:
                for name in ("first_seen", "last_seen"):
                    each[name] = each[name].replace("-", "/").replace("T", " ").rstrip("Z")
            self.assertEqual(floats(self.searched(criteria)), floats(found), criteria)

    def word(self, name, value):
        if name in ("from", "to"):
            value = iso(value)
        return camel_case(name) + "=" + value.replace(" ", ";")


class Clients(Served):
    """Curl, browsers, and several requests on one connection."""

    @unittest.skipIf(shutil.which("curl") is None, "curl is not installed")
    def test_curl_gets_json(self):
        done = subprocess.run(["curl", "-sS", "--fail", "--get", "--data-urlencode",
                               "from=2014/03/05 12:00:03", "--data", "limit=1",
                               f"http://localhost:{self.service.port}/api/search"],
                              capture_output=True, text=True, timeout=60)
        self.assertEqual((0, ""), (done.returncode, done.stderr))
        self.assertEqual(["3"], [each["id"] for each in json.loads(done.stdout)["objects"]])

    def test_a_connection_serves_many_requests(self):
        connection = http.client.HTTPConnection("127.0.0.1", self.service.port, timeout=30)
        for _ in range(20):
            connection.request("GET", "/api/presets")
            self.assertEqual(200, connection.getresponse().read().count(b"white") and 200)
        connection.close()

    def test_requests_may_come_before_the_answers(self):
        answer = self.service.raw(b"GET /health HTTP/1.1\r\nHost: localhost\r\n\r\n" * 3 +
                                  b"GET /health HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n")
        self.assertEqual(4, answer.count(b"HTTP/1.1 200 OK"))

    def test_head_has_no_body(self):
        status, body, response = self.service.get("/api/presets", method="HEAD")
        self.assertEqual((200, b""), (status, body))
        self.assertEqual(self.service.get("/api/presets")[2].headers["Content-Length"],
                         response.headers["Content-Length"])

    def test_the_page_is_there_and_is_not_sent_twice(self):
        status, body, response = self.service.get("/")
        self.assertEqual((200, "text/html; charset=utf-8"), (status, response.headers["Content-Type"]))
        self.assertIn(b"<!doctype html>", body.lower())
        again = self.service.get("/", headers={"If-None-Match": response.headers["ETag"]})
        self.assertEqual((304, b""), again[:2])

    def test_events_tell_objects_as_they_are_stored(self):
        with self.service.connect() as connection:
            connection.sendall(b"GET /api/events HTTP/1.1\r\nHost: localhost\r\n\r\n")
            self.until(connection, b"retry: 2000\nid: 6\n\n")  # a break from now on loses nothing
            with sqlite3.connect(self.service.store) as store:
                # one more like the first; the triggers of the store see to its index
                store.execute("INSERT INTO object (sensor1, sensor2, object_id, run, first_seen_us, record) "
                              "SELECT sensor1, sensor2, 1000, run, first_seen_us, record FROM object "
                              "WHERE object_id = 1")
            store.close()
            event = self.until(connection, b"}\n\n")
        self.assertIn(b"event: object\nid: 7\ndata: {\"sensor\": \"3.1\"", event)
        with self.service.connect() as connection:  # from behind one that was seen
            connection.sendall(b"GET /api/events HTTP/1.1\r\nHost: localhost\r\nLast-Event-ID: 5\r\n\r\n")
            self.assertIn(b"\nid: 6\n", self.until(connection, b"\nid: 7\n"))
        self.assertEqual(400, self.service.json("/api/events", headers={"Last-Event-ID": "x"})[0])

    def assert_followers(self, count):
        """Their number, in a moment."""
        end = time.monotonic() + 20
        while f"\nkr_serve_event_clients {count}\n" not in (metrics := self.service.get("/metrics")[1].decode()):
            self.assertLess(time.monotonic(), end, metrics)
            time.sleep(0.05)

    def test_who_follows_no_more_is_let_go(self):
        followers = [self.service.connect() for _ in range(3)]
        for follower in followers:
            follower.sendall(b"GET /api/events HTTP/1.1\r\nHost: localhost\r\n\r\n")
            self.until(follower, b"retry: 2000\n")
        self.assert_followers(3)
        followers[0].shutdown(socket.SHUT_WR)  # it would take all that is written
        self.assert_followers(2)
        for follower in followers:
            follower.close()
        self.assert_followers(0)

    def until(self, connection, end):
        data = b""
        last = time.monotonic() + 60  # lines that tell that the connection lives come for ever
        while end not in data:
            self.assertLess(time.monotonic(), last, data)
            part = connection.recv(65536)
            self.assertNotEqual(b"", part, data)
            data += part
        return data


class Hostile(Served):
    """Requests that mean harm get a clear error, and the service goes on."""
    arguments = ("--clients", "8")

    def setUp(self):
        self.service.await_quiet()

    def error(self, path, **settings):
        status, answer = self.service.json(path, **settings)
        self.assertEqual(1, answer["schema_version"])
        return status, answer["error"]["code"]

    def test_paths_lead_nowhere_else(self):
        for path in ("/../etc/passwd", "/assets/../../etc/passwd", "/assets/%2e%2e/app.css", "//etc/passwd",
                     "/assets/..%2fapp.css", "/api/recordings/..%2f..%2fx/still.jpg", "/assets/",
                     "/index.html", "/clip.store", "/%00", "/soap/", "/\\..\\x"):
            self.assertEqual((404, "not_found"), self.error(path), path)

    def test_other_hosts_and_pages_are_refused(self):
        self.assertEqual((421, "wrong_host"), self.error("/api/presets", headers={"Host": "evil.example"}))
        self.assertEqual((403, "foreign_page"),
                         self.error("/api/presets", headers={"Origin": "http://evil.example"}))

    def test_methods_and_bodies_are_refused(self):
        self.assertEqual((405, "wrong_method"), self.error("/api/search", method="POST", body="a=b"))
        self.assertEqual((405, "wrong_method"), self.error("/api/search", method="DELETE"))
        xml = {"Content-Type": "text/xml"}
        for headers in ({}, {"Content-Type": "application/json"},
                        {"Content-Type": "multipart/form-data; boundary=x"},
                        {"Content-Encoding": "gzip", **xml}):
            self.assertEqual((415, "not_xml"),
                             self.error("/soap", method="POST", body="<a/>", headers=headers))

    def soap(self, text, **headers):
        status, body, _ = self.service.get("/soap", method="POST", body=text,
                                           headers={"Content-Type": "text/xml", **headers})
        return status, body.decode()

    def test_xml_bombs_are_refused(self):
        entities = "".join(f"<!ENTITY e{k + 1} '{'&e%d;' % k * 10}'>" for k in range(9))
        for text, message in (
                (f"<!DOCTYPE a [<!ENTITY e0 'xxxxxxxxxx'>{entities}]><a>&e9;</a>", "must have no DOCTYPE"),
                ("<!DOCTYPE a SYSTEM 'file:///etc/passwd'><a/>", "must have no DOCTYPE"),
                ("<a>" * 100 + "</a>" * 100, "too many elements"),
                ("<a>" + "<b/>" * 2000 + "</a>", "too many elements"),
                ("<a" + "".join(f" b{k}='c'" for k in range(9000)) + "/>", "there is no SOAP envelope"),
                ("<a>", "no element found"), ("\xff\xff", "not well-formed")):
            begin = time.monotonic()
            status, answer = self.soap(text)
            self.assertEqual(500, status)
            self.assertIn("s:Client", answer)
            self.assertIn(message, answer)
            self.assertLess(time.monotonic() - begin, 30)

    def test_sizes_are_bounded(self):
        long = "a" * 20000
        self.assertEqual(413, self.soap("<a>" + "x" * 300_000 + "</a>")[0])
        for request in (b"GET /" + long.encode() + b" HTTP/1.1\r\nHost: localhost\r\n\r\n",
                        b"GET / HTTP/1.1\r\nHost: localhost\r\nX: " + long.encode() + b"\r\n\r\n",
                        b"GET / HTTP/1.1\r\nHost: localhost\r\n" + b"A: b\r\n" * 5000 + b"\r\n",
                        b"x" * 200_000):
            self.assertRegex(self.service.raw(request)[:13], rb"^(HTTP/1.1 4\d\d)?")
        chunks = b"10000\r\n" + b"x" * 0x10000 + b"\r\n"
        answer = self.service.raw(b"POST /soap HTTP/1.1\r\nHost: localhost\r\nContent-Type: text/xml\r\n"
                                  b"Transfer-Encoding: chunked\r\n\r\n" + chunks * 20 + b"0\r\n\r\n")
        self.assertNotIn(b"200 OK", answer)
        self.assert_serves()

    def test_ambiguous_requests_are_refused(self):
        for headers in (b"Content-Length: 4\r\nContent-Length: 5\r\n",
                        b"Content-Length: 4\r\nTransfer-Encoding: chunked\r\n",
                        b"Transfer-Encoding: gzip\r\n", b""):
            answer = self.service.raw(b"POST /soap HTTP/1.1\r\nHost: localhost\r\nContent-Type: text/xml\r\n" +
                                      headers + b"\r\n<a/>\r\nGET /health HTTP/1.1\r\nHost: localhost\r\n\r\n")
            self.assertEqual(1, answer.count(b"HTTP/1.1 "), answer)
            self.assertRegex(answer[:13], rb"^HTTP/1.1 4\d\d|^HTTP/1.1 500")

    def test_a_body_that_is_not_taken_is_no_request(self):
        inner = b"GET /health HTTP/1.1\r\nHost: localhost\r\n\r\n"
        answer = self.service.raw(b"GET /api/presets HTTP/1.1\r\nHost: localhost\r\nContent-Length: %d\r\n\r\n" %
                                  len(inner) + inner)
        self.assertEqual(1, answer.count(b"HTTP/1.1 "))
        self.assertNotIn(b"status", answer)

    def test_requests_that_a_proxy_may_read_otherwise_are_refused(self):
        inner = b"GET /health HTTP/1.1\r\nHost: localhost\r\n\r\n"
        length = b"%d" % len(inner)
        get = b"GET /api/presets HTTP/1.1\r\nHost: localhost\r\n"
        post = b"POST /soap HTTP/1.1\r\nHost: localhost\r\nContent-Type: text/xml\r\n"
        for head in (get + b"Content-Length: 0\r\nContent-Length: " + length + b"\r\n",
                     get + b"Content-Length : " + length + b"\r\n",
                     get + b"Transfer-Encoding : chunked\r\n",
                     get + b"Content-Length: " + length + b"\n",
                     get + b"X: y\r\n Content-Length: " + length + b"\r\n",
                     get + b"Content-Length: +0\r\n",
                     post + b"Content-Length: 0x20\r\n", post + b"Content-Length: 1,1\r\n",
                     post + b"Content-Length: -0\r\n", post + b"Content-Length: x\r\n"):
            answer = self.service.raw(head + b"\r\n" + inner)
            self.assertEqual(1, answer.count(b"HTTP/1.1 "), (head, answer))
            self.assertTrue(answer.startswith(b"HTTP/1.1 400 "), (head, answer))
            self.assertIn(b'"bad_request"', answer)

    def test_who_follows_leaves_room_for_others(self):
        followers = [self.service.connect() for _ in range(6)]
        answers = []
        for follower in followers:  # 8 clients: a quarter of them
            follower.sendall(b"GET /api/events HTTP/1.1\r\nHost: localhost\r\n\r\n")
            answers.append(follower.recv(65536)[:12])
        self.assertEqual([b"HTTP/1.1 200"] * 2 + [b"HTTP/1.1 503"] * 4, answers)
        self.assert_serves()
        for follower in followers:
            follower.close()

    def test_faults_name_the_element(self):
        answer = self.soap('<s:Envelope xmlns:s="http://schemas.xmlsoap.org/soap/envelope/"><s:Body>'
                           '<Search xmlns="urn:krsearch"><minArea>3</minArea></Search></s:Body></s:Envelope>')[1]
        self.assertIn("<parameter>minArea</parameter>", answer)

    def test_ranges_and_compression_are_passed_over(self):
        status, body, response = self.service.get(
            "/api/presets", headers={"Range": "bytes=" + ",".join(["0-"] * 500),
                                     "Accept-Encoding": "br, gzip"})
        self.assertEqual((200, None), (status, response.headers["Content-Encoding"]))
        self.assertEqual(13, len(json.loads(body)["presets"]))

    def metrics_after_stalls(self):
        stalled = [self.service.connect() for _ in range(40)]
        for number, connection in enumerate(stalled):
            try:
                connection.sendall((b"", b"GET / HT", b"GET /health HTTP/1.1\r\nHost: localhost\r\nX: ",
                                    b"POST /soap HTTP/1.1\r\nHost: localhost\r\nContent-Type: text/xml\r\n"
                                    b"Content-Length: 100\r\n\r\n<a")[number % 4])
            except OSError:
                pass  # refused or ended meanwhile
        time.sleep(1.2)  # a client has a second before its place may be taken
        begin = time.monotonic()
        for _ in range(20):
            self.assert_serves()
        self.assertLess(time.monotonic() - begin, 30)
        for connection in stalled:
            connection.close()
        return self.service.get_when_free("/metrics")[1].decode()

    def test_clients_that_stall_do_not_stop_others(self):
        ended = r"(?m)^kr_serve_connections_ended_total [1-9]"
        for _ in range(5):  # where the places were taken otherwise, none of these got one
            metrics = self.metrics_after_stalls()
            if re.search(ended, metrics):
                break
        self.assertRegex(metrics, ended)

    def test_a_client_that_does_not_read_does_not_stop_others(self):
        slow = [self.service.connect() for _ in range(8)]
        for connection in slow:
            connection.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1024)
            connection.sendall(b"GET /api/search HTTP/1.1\r\nHost: localhost\r\n\r\n" * 100)
        time.sleep(1.5)  # so that the answers fill what they wait in
        for _ in range(3):
            self.assert_serves()
        for connection in slow:
            connection.close()


class Token(Served):
    """A service beyond loopback."""
    arguments = ("--bind", "0.0.0.0", "--token-file", "token")

    def test_is_needed_for_all_but_health(self):
        self.assert_serves()
        for path in ("/", "/api/presets", "/metrics", "/soap?wsdl", "/assets/app.css", "/nope"):
            self.assertEqual(401, self.service.get(path)[0], path)
        self.assertEqual(200, self.service.get("/api/presets",
                                               headers={"Authorization": "Bearer " + TOKEN})[0])
        self.assertEqual(401, self.service.get("/api/presets",
                                               headers={"Authorization": "Bearer " + TOKEN[:-1]})[0])

    def test_in_the_address_becomes_a_cookie(self):
        status, _, response = self.service.get("/?token=" + TOKEN)
        self.assertEqual((303, "/"), (status, response.headers["Location"]))
        cookie = response.headers["Set-Cookie"].split(";")[0]
        self.assertEqual(200, self.service.get("/api/presets", headers={"Cookie": cookie})[0])

    def test_lets_any_name_of_the_machine_be_used(self):
        self.assertEqual(200, self.service.get("/api/presets",
                                               headers={"Host": "any.example",
                                                        "Authorization": "Bearer " + TOKEN})[0])


class Running(unittest.TestCase):
    """Start and end."""

    def run_serve(self, *arguments):
        with tempfile.TemporaryDirectory() as folder:
            shutil.copy(programs.store, pathlib.Path(folder, "clip.store"))
            done = subprocess.run([*programs.serve, *arguments], cwd=folder, capture_output=True, text=True,
                                  timeout=60, stdin=subprocess.DEVNULL)
            return done.returncode, done.stdout, done.stderr

    def test_needs_a_token_beyond_loopback(self):
        self.assertEqual(
            (2, "", "kr_serve: --bind: 0.0.0.0 can be reached from other machines; give a --token-file "
                    "too\n"),
            self.run_serve("--store", "clip.store", "--logs", "logs", "--bind", "0.0.0.0"))

    def test_a_store_that_is_replaced_or_removed_is_seen(self):
        if len(programs.serve) > 1:
            self.skipTest("on Windows a file that is open is not replaced")
        service = Service()
        kept = service.folder / "kept.store"
        shutil.copy(programs.store, kept)
        with contextlib.closing(sqlite3.connect(kept)) as store, store:
            store.execute("DELETE FROM object WHERE object_id > 2")
        ids = lambda: [each["id"] for each in service.json("/api/search")[1]["objects"]]
        with service.connect() as follower:
            follower.sendall(b"GET /api/events HTTP/1.1\r\nHost: localhost\r\n\r\n")
            events = follower.makefile("rb")
            self.until(events, b"id: 6\n")
            self.assertEqual(6, len(ids()))
            os.replace(kept, service.store)
            self.assertEqual(["1", "2"], ids())
            self.assertEqual([2], [each["objects"] for each in service.json("/api/recordings")[1]["recordings"]])
            self.until(events, b"id: 2\n")  # of the other store
            os.replace(service.store, kept)
            self.assertEqual([500, 500], [service.get(path)[0] for path in ("/health", "/api/search")])
            self.assertIn("500", service.json("/api/openapi.json")[1]["paths"]["/health"]["get"]["responses"])
            os.replace(kept, service.store)
            self.assertEqual((200, ["1", "2"]), (service.get("/health")[0], ids()))
        self.assertEqual((0, ""), service.stop())

    def until(self, lines, end):
        last = time.monotonic() + 60
        while (line := lines.readline()) != end:
            self.assertNotEqual(b"", line)
            self.assertLess(time.monotonic(), last)

    def test_tells_what_is_missing(self):
        self.assertEqual((1, "", "kr_serve: there is no store 'x'\n"),
                         self.run_serve("--store", "x", "--logs", "logs"))
        with socket.socket() as taken:
            taken.bind(("127.0.0.1", 0))
            taken.listen()
            port = str(taken.getsockname()[1])
            self.assertEqual((1, "", f"kr_serve: cannot listen on 127.0.0.1, port {port}\n"),
                             self.run_serve("--store", "clip.store", "--logs", "logs", "--port", port))

    def test_begins_a_new_log_file_on_a_hangup(self):
        if len(programs.serve) > 1:
            self.skipTest("Windows has no such signal")
        service = Service()
        log, = (service.folder / "logs").glob("*.log")
        moved = log.with_suffix(".moved")
        log.rename(moved)
        os.kill(service.program(), signal.SIGHUP)
        end = time.monotonic() + 30
        text = ""
        while "KR_LOG_MANAGER: Log of host" not in text and time.monotonic() < end:
            time.sleep(0.1)
            text = log.read_text() if log.exists() else ""
        self.assertIn("KR_LOG_MANAGER: Log of host", text)
        service.json("/health")
        self.assertEqual((0, ""), service.stop())

    def test_ends_at_once_whoever_is_connected(self):
        service = Service()
        clients = [service.connect() for _ in range(5)]
        clients[0].sendall(b"GET /api/events HTTP/1.1\r\nHost: localhost\r\n\r\n")
        clients[1].sendall(b"GET /")
        time.sleep(0.3)
        begin = time.monotonic()
        self.assertEqual((0, ""), service.stop())
        self.assertLess(time.monotonic() - begin, 20)
        for client in clients:
            client.close()


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--serve", required=True, type=shlex.split)
    parser.add_argument("--search", required=True, type=shlex.split)
    parser.add_argument("--store", required=True, type=pathlib.Path)
    _, rest = parser.parse_known_args(namespace=programs)
    programs.store = programs.store.resolve()
    unittest.main(argv=[sys.argv[0], *rest], verbosity=2)


if __name__ == "__main__":
    main()
