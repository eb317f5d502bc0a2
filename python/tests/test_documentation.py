"""The programs of docs/python.md, as they stand."""

import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

from support import ROOT


class Documentation(unittest.TestCase):
    def test_its_programs_run_one_after_the_other(self):
        page = (ROOT / "docs" / "python.md").read_text(encoding="utf-8")
        pieces = re.findall(r"^```python\n(.*?)^```", page, re.M | re.S)
        self.assertEqual(len(pieces), 4)
        store = ROOT / "examples" / "video_search" / "tests" / "data" / "clip.store"
        with tempfile.TemporaryDirectory() as folder:
            done = subprocess.run(
                [sys.executable, "-B", "-c", "\n".join(pieces)],
                cwd=folder, env={**os.environ, "STORE": str(store)}, capture_output=True, text=True,
            )  # fmt: skip
            (file,) = pathlib.Path(folder).glob("logs/server_*_part_*.log")
            self.assertTrue(file.read_text().endswith(" INF camera-7: connected\n"))
        self.assertEqual(done.returncode, 0, done.stderr)
        lines = done.stdout.splitlines()
        self.assertEqual(lines[0], "7 40.0 2024/03/05 07:08:09.000000")
        self.assertRegex(lines[1], r"^1000 .*12.*12.*12.* WHOLE$")
        self.assertEqual(lines[2:4], ["1000 1000", "clip.avi 130"])
        self.assertEqual(lines[4], "<Columns: 6 rows of object_id, first_seen_time>")


if __name__ == "__main__":
    unittest.main()
