"""The store of the video search."""

import pathlib
import sqlite3
import tempfile
import unittest

from krcommon import Instance, Record, Store
from krcommon.store import StoreError
from support import ROOT, make_store

CLIP = ROOT / "examples" / "video_search" / "tests" / "data" / "clip.store"


class Stores(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = pathlib.Path(folder.name) / "a?#%.store"
        self.given = [
            Record(object_id=n, first_seen_time=100 - n, instances=[Instance(number=n)] * n)
            for n in range(1, 21)
        ]

    def make(self, version=2):
        rows = [(r.object_id, r.first_seen_time, r.encode()) for r in self.given]
        make_store(self.path, rows, version)

    def damage(self, change):
        data = bytearray(self.path.read_bytes())
        change(data)
        self.path.write_bytes(data)

    def refused(self, text):
        with self.assertRaisesRegex(StoreError, text):
            Store(self.path)

    def test_both_versions_give_objects_in_time_order(self):
        for version in (1, 2):
            self.path.unlink(missing_ok=True)
            self.make(version)
            with Store(self.path) as store:
                self.assertEqual(store.version, version)
                self.assertEqual(store.count(), 20)
                found = [Record.decode(stored.record) for stored in store.objects()]
                self.assertEqual(found, self.given[::-1])
                self.assertEqual(store.count(90, 92), 3)
                self.assertEqual([s.first_seen_time for s in store.objects(90, 92)], [90, 91, 92])

    def test_columns_are_those_of_the_records(self):
        self.make()
        with Store(self.path) as store:
            table = store.records().records(["object_id", "instances"])
            self.assertEqual(table["object_id"].tolist(), list(range(20, 0, -1)))
            self.assertEqual(table["instances"].tolist(), list(range(20, 0, -1)))
            numbers = store.records(98).instances(["number"])["number"]
            self.assertEqual(numbers.tolist(), [2, 2, 1])
            self.assertEqual(store.records(1000).records().rows, 0)

    def test_a_damaged_or_missing_record_does_not_matter_to_the_others(self):
        self.make()
        database = sqlite3.connect(self.path)
        database.execute("UPDATE object SET record = NULL WHERE object_id = 3")
        database.execute("UPDATE object SET record = substr(record, 1, 150) WHERE object_id = 4")
        database.commit()
        database.close()
        with Store(self.path) as store:
            table = store.records().records(["object_id", "length"])
            self.assertEqual(table.rows, 20)
            self.assertEqual(table["length"].tolist()[-4:-2], [150, 0])
            self.assertEqual(table["object_id"].tolist()[-2:], [2, 1])

    def test_recordings_and_pictures(self):
        self.make()
        with Store(self.path) as store:
            (recording,) = store.recordings()
            self.assertEqual(recording[:7], ("run", "a.avi", (3, 1), 10, 20, 640, 480))
            self.assertEqual(recording[7:], (5, "complete", b""))
            self.assertEqual(store.pictures("run"), [(12, b""), (15, b"\xff\xd8")])
            self.assertEqual(store.pictures("other"), [])

    def test_one_that_a_program_has_written(self):
        before = CLIP.read_bytes()
        with Store(CLIP) as store:
            self.assertEqual((store.version, store.count()), (1, 6))
            (recording,) = store.recordings()
            self.assertEqual((recording.video, recording.background[:2]), ("clip.avi", b"\xff\xd8"))
            for stored in store.objects():
                record = Record.decode(stored.record)
                self.assertEqual(record.object_id, stored.object_id)
                self.assertEqual(record.first_seen_time, stored.first_seen_time)
                self.assertEqual((record.sensor_word1, record.sensor_word2), stored.sensor)
        self.assertEqual(CLIP.read_bytes(), before)

    def test_nothing_can_be_written(self):
        self.make()
        with Store(self.path) as store, self.assertRaisesRegex(StoreError, "readonly"):
            list(store._rows("DELETE FROM object"))

    def test_what_is_no_store_is_told(self):
        self.refused("no such file")
        self.path.write_bytes(b"")
        self.refused("an empty file")
        self.path.write_bytes(b"no database " * 100)
        self.refused("file is not a database")
        self.path.unlink()
        sqlite3.connect(self.path).execute("CREATE TABLE a (b)").connection.close()
        self.refused("another SQLite database")
        with self.assertRaises(OSError):
            Store(self.path.parent)

    def test_other_versions_and_cut_files_are_told(self):
        self.make()
        self.damage(lambda data: data.__setitem__(slice(60, 64), b"\0\0\0\3"))
        self.refused("later version .store version 3.")
        self.damage(lambda data: data.__setitem__(slice(60, 64), b"\0\0\0\0"))
        self.refused("damaged: store version 0")
        self.damage(lambda data: data.__setitem__(slice(60, 64), b"\0\0\0\2"))
        self.damage(lambda data: data.__delitem__(slice(-10, None)))
        self.refused("is damaged|malformed")

    def test_a_closed_one_is_refused(self):
        self.make()
        store = Store(self.path)
        store.close()
        store.close()
        with self.assertRaises(StoreError):
            store.count()


if __name__ == "__main__":
    unittest.main()
