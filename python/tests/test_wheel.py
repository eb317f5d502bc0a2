"""The wheel in KR_WHEEL: what is in it, and that it works where nothing else is.

On Windows' one the second cannot be tried here: it is looked at, and the library's size is.
"""

import base64
import csv
import hashlib
import io
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest
import zipfile

WHEEL = pathlib.Path(os.environ["KR_WHEEL"])
IS_WINDOWS = WHEEL.stem.endswith("win32")

SMOKE = """
import sys
sys.path.insert(0, sys.argv[1])
try:
    import numpy
    sys.exit("NumPy is there: the environment is not empty")
except ImportError:
    pass
import krcommon
from krcommon import Color, Instance, Record, Records, base64, colors, configuration, log, sha1
assert krcommon.library.path().startswith(sys.argv[1]), krcommon.library.path()
assert configuration.status().is_read, configuration.status()
record = Record(object_id=7, instances=[Instance(number=n, colors=[Color(200, 20, 20, 60)]) for n in (1, 2)])
data = record.encode()
assert Record.decode(data) == record
table = Records(data * 3).instances(["number", "group"])
assert table["number"].tolist() == [1, 2] * 3 and len(table["group"]) == 4 * 6, table
assert Records(data * 3).colors()["red"].tolist() == [200] * 6
assert colors.presets(colors.rgb_to_hsv((200, 20, 20))) == {krcommon.Preset.RED}
assert base64.encode(b"abc") == "YWJj"
with log.open(sys.argv[1] + "/logs", "host"):
    log.set_level(4)
    log.info("a line")
    assert open(log.file()).read().endswith(" INF a line\\n")
print("all is well")
"""


class Wheel(unittest.TestCase):
    def setUp(self):
        self.archive = zipfile.ZipFile(WHEEL)
        self.addCleanup(self.archive.close)
        self.names = self.archive.namelist()

    def information(self, name):
        (path,) = (n for n in self.names if n.endswith(f".dist-info/{name}"))
        return path, self.archive.read(path).decode()

    def test_the_record_lists_every_file_with_its_hash(self):
        path, text = self.information("RECORD")
        rows = {row[0]: row[1:] for row in csv.reader(io.StringIO(text))}
        self.assertEqual(set(rows), set(self.names))
        self.assertEqual(rows.pop(path), ["", ""])
        for name, (given, size) in rows.items():
            data = self.archive.read(name)
            digest = base64.urlsafe_b64encode(hashlib.sha256(data).digest()).decode().rstrip("=")
            self.assertEqual((given, int(size)), (f"sha256={digest}", len(data)), name)

    def test_it_has_what_it_needs_and_says_for_what_it_is(self):
        libraries = ["KRCommon.dll", "libACE.dll"] if IS_WINDOWS else ["libKRCommon.so.1"]
        for name in ("__init__.py", "_declarations.py", "py.typed", "KRCommon.xml", *libraries):
            self.assertIn(f"krcommon/{name}", self.names)
        for name in ("KRCommon", "colour_survey", *(["ACE", "GPL-3"] if IS_WINDOWS else [])):
            self.information(f"licenses/{name}.txt")
        tag = "win32" if IS_WINDOWS else "linux_x86_64"
        self.assertIn(f"Tag: py3-none-{tag}\n", self.information("WHEEL")[1])
        self.assertIn("\nName: krcommon\n", self.information("METADATA")[1])
        self.assertTrue(WHEEL.name.endswith(f"-py3-none-{tag}.whl"))
        self.assertFalse([name for name in self.names if "__pycache__" in name])
        self.assertEqual({entry.date_time[0] for entry in self.archive.infolist()}, {1980})

    def test_it_works_in_an_empty_environment(self):
        if IS_WINDOWS:
            self.skipTest("there is no Python for Windows here")
        environment = {name: os.environ[name] for name in ("LD_PRELOAD", "ASAN_OPTIONS") if name in os.environ}
        with tempfile.TemporaryDirectory() as folder:
            self.archive.extractall(folder)
            done = subprocess.run(
                [sys.executable, "-I", "-S", "-B", "-c", SMOKE, folder],
                env=environment, capture_output=True, text=True, timeout=120,
            )  # fmt: skip
        self.assertEqual((done.stdout, done.returncode), ("all is well\n", 0), done.stderr)

    def test_a_64_bit_python_would_be_told_that_the_dll_is_of_32(self):
        if not IS_WINDOWS:
            self.skipTest("this wheel is not for Windows")
        # Without the package around it, which would load a library for this system.
        text = self.archive.read("krcommon/_loading.py").decode()
        text = text.replace("from . import _declarations\n", "")
        module = {"__name__": "loading"}
        exec(compile(text, "_loading.py", "exec"), module)
        with tempfile.TemporaryDirectory() as folder:
            path = self.archive.extract("krcommon/KRCommon.dll", folder)
            machine = module["machine_of"](path)
        self.assertEqual(machine, ("Windows", "x86", 4))
        self.assertIn("run this with a 32-bit Python", module["refusal"](machine, 8, "Windows", "p"))


if __name__ == "__main__":
    unittest.main()
