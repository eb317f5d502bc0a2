#!/usr/bin/env python3
"""Runs "krtool record" as its users do: with pipes, with what has no rights, with a store.

    record_end_to_end.py --krtool COMMAND --records FOLDER --store FILE [TestClass[.test_name]]...

COMMAND may begin with an emulator. FOLDER holds golden records.
"""

import argparse
import json
import os
import pathlib
import shlex
import shutil
import sqlite3
import subprocess
import sys
import tempfile
import unittest

programs = argparse.Namespace()


class Record(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="kr test "))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)
        self.example = (programs.records / "golden" / "example.bin").read_bytes()

    def run_tool(self, *arguments, data=b""):
        done = subprocess.run([*programs.krtool, "record", *arguments], cwd=self.folder, input=data,
                              timeout=100, capture_output=True)
        return done.returncode, done.stdout, done.stderr.decode(errors="replace")

    def check_refused(self, errors, end):
        self.assertTrue(errors.startswith("krtool: "), errors)
        self.assertEqual(1, errors.count("\n"), errors)
        self.assertIn(end, errors)

    def test_reads_the_standard_input(self):
        code, out, errors = self.run_tool("stats", "--json", "-", data=self.example * 1000)
        self.assertEqual((0, ""), (code, errors))
        self.assertEqual(1000, json.loads(out)["records"])

    def test_bytes_come_back_through_two_pipes(self):
        data = self.example * 100 + b"\r\n\x1a" + self.example[:200] + self.example
        code, lines, errors = self.run_tool("json", "-", data=data)
        self.assertEqual((1, ""), (code, errors))
        code, back, errors = self.run_tool("json", "--to-bytes", "-", data=lines)
        self.assertEqual((0, ""), (code, errors))
        self.assertEqual(data, back)

    def test_a_reader_that_has_gone_is_no_error_to_tell(self):
        (self.folder / "many").write_bytes(self.example * 20000)
        with subprocess.Popen([*programs.krtool, "record", "annotate", "many"], cwd=self.folder,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE) as process:
            process.stdout.read(1000)
            process.stdout.close()
            errors = process.stderr.read().decode(errors="replace")
            code = process.wait(timeout=60)
        self.assertNotEqual(0, code)
        self.assertLessEqual(errors.count("\n"), 1, errors)

    def test_a_store_does_not_come_through_a_pipe(self):
        code, _, errors = self.run_tool("show", "-", data=programs.store.read_bytes())
        self.assertEqual(2, code)
        self.check_refused(errors, "a store cannot be read from the standard input")

    def test_a_store_tells_its_damaged_records(self):
        store = self.folder / "damaged.store"
        shutil.copy(programs.store, store)
        database = sqlite3.connect(store)
        database.execute("UPDATE object SET record = substr(record, 1, 150) WHERE object_id = 1")
        database.execute("UPDATE object SET object_id = 77 WHERE object_id = 2")
        database.execute("UPDATE object SET record = NULL WHERE object_id = 3")
        database.commit()
        database.close()
        code, out, errors = self.run_tool("verify", "--json", "damaged.store")
        self.assertEqual((1, ""), (code, errors))
        lines = [json.loads(line) for line in out.splitlines()]
        self.assertEqual({"cut_in_instances", "wrong_key", "cut_in_fixed_block"},
                         {line["code"] for line in lines if line.get("level") == "error"})
        self.assertEqual(6, lines[-1]["records"])
        self.assertEqual(3, lines[-1]["whole"])
        for command in ("show", "annotate", "json", "stats"):
            code, out, errors = self.run_tool(command, "damaged.store")
            self.assertEqual((1, ""), (code, errors), command)

    def test_a_store_of_a_later_version_is_refused(self):
        store = self.folder / "later.store"
        shutil.copy(programs.store, store)
        for version, expected in ((2, 0), (3, 2)):
            database = sqlite3.connect(store)
            database.execute(f"PRAGMA user_version = {version}")
            database.close()
            code, _, errors = self.run_tool("verify", "later.store")
            self.assertEqual(expected, code, errors)
        self.check_refused(errors, "was written by a later version of the video search")

    def test_another_database_is_refused(self):
        database = sqlite3.connect(self.folder / "other.sqlite")
        database.execute("CREATE TABLE object (record BLOB)")
        database.commit()
        database.close()
        code, _, errors = self.run_tool("show", "other.sqlite")
        self.assertEqual(2, code)
        self.check_refused(errors, "is no store of the video search but another SQLite database")

    def test_a_store_that_is_cut_short_is_refused_or_told(self):
        data = programs.store.read_bytes()
        for size in (16, 99, 100, 4096, 5000, len(data) // 2):
            (self.folder / "cut.store").write_bytes(data[:size])
            code, _, errors = self.run_tool("verify", "cut.store")
            self.assertIn(code, (1, 2), size)
            self.assertLessEqual(errors.count("\n"), 1, size)

    @unittest.skipIf(os.name != "posix" or os.geteuid() == 0, "the superuser may read anything")
    def test_a_file_without_rights_is_one_sentence(self):
        path = self.folder / "secret"
        path.write_bytes(self.example)
        path.chmod(0)
        code, _, errors = self.run_tool("show", "secret")
        self.assertEqual(2, code)
        self.check_refused(errors, "cannot open 'secret'")

    def test_a_place_that_cannot_be_written_is_one_sentence(self):
        code, _, errors = self.run_tool("json", "--to-bytes", "-", "--out", "no folder/out",
                                        data=b"{}")
        self.assertEqual(2, code)
        self.check_refused(errors, "cannot write 'no folder/out'")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--krtool", type=shlex.split, required=True)
    parser.add_argument("--records", type=pathlib.Path, required=True)
    parser.add_argument("--store", type=pathlib.Path, required=True)
    _, others = parser.parse_known_args(namespace=programs)
    unittest.main(argv=[sys.argv[0], "-v", *others])


if __name__ == "__main__":
    main()
