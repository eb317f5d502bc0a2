"""Records as objects and as columns, beside the independent reader and writer."""

import ctypes
import dataclasses
import math
import os
import random
import struct
import unittest

import krcommon
from krcommon import Color, Filter, Instance, Record, Records, State, records
from krcommon.errors import ArgumentError, DamagedRecordError
from support import in_threads, oracle

try:
    import numpy
except ImportError:
    numpy = None

ORACLE = oracle()
COUNT = int(os.environ.get("KR_TEST_RECORDS", 10000))
LAST = 2**63 - 1


def setUpModule():
    krcommon.log.set_level(0)  # lists that are cut by their limit would be told of line by line


def microseconds(time):
    return max(-LAST - 1, min(LAST, time[0] * 1000000 + time[1]))


def bits(number):
    """Of a float; one for all that are no number, since a way through Python's own may quiet them."""
    return 0x7FC00000 if math.isnan(number) else struct.unpack("<I", struct.pack("<f", number))[0]


def quiet(number_bits):
    return bits(ORACLE.float_of(number_bits))


def scalar_bits(values):
    return tuple(map(bits, values))


# What a record has, as tuples that compare.


def instance_tuple(instance):
    floats = (
        instance.person_value, instance.vehicle_value, instance.object_value,
        instance.unknown_value, instance.min_x, instance.min_y, instance.max_x, instance.max_y,
        instance.float1, instance.float2, *instance.group, instance.point_x, instance.point_y,
    )  # fmt: skip
    colors = [(c.red, c.green, c.blue, bits(c.area), c.code) for c in instance.colors]
    return instance.time, scalar_bits(floats), instance.number, instance.flag, colors


def record_tuple(record):
    return (
        record.object_id, record.detector_type, record.first_seen_time, record.second_time,
        record.sensor_word1, record.sensor_word2, record.word1, record.word2,
        record.statistics_word1, record.statistics_word2, record.duration,
        scalar_bits(record.class_scores), record.statistics_word7, record.statistics_word8,
        [instance_tuple(instance) for instance in record.instances], record.auxiliary,
    )  # fmt: skip


def oracle_instance_tuple(instance):
    floats = (
        *instance.classes, *instance.box, *instance.floats, *instance.group, *instance.point,
    )  # fmt: skip
    colors = [(c.red, c.green, c.blue, quiet(c.area), c.code) for c in instance.colors]
    time = microseconds((instance.seconds, instance.microseconds))
    return time, tuple(map(quiet, floats)), instance.number, instance.flag, colors


def oracle_tuple(obj):
    words = obj.statistics
    return (
        obj.id, obj.detector, microseconds(obj.first_seen), microseconds(obj.second_time),
        *obj.sensor, *obj.words, *words[:3], tuple(map(quiet, words[3:6])), *words[6:],
        [oracle_instance_tuple(instance) for instance in obj.instances], obj.auxiliary,
    )  # fmt: skip


def oracle_records(seed, count):
    return [ORACLE.encode(obj) for obj in ORACLE.random_objects(seed, count)]


def object_of(obj):
    """The oracle's object as one of the package's."""
    words = obj.statistics
    instances = [
        Instance(
            microseconds((i.seconds, i.microseconds)),
            *map(ORACLE.float_of, i.classes + i.box + i.floats),
            tuple(map(ORACLE.float_of, i.group)),
            *map(ORACLE.float_of, i.point),
            i.number,
            i.flag,
            [Color(c.red, c.green, c.blue, ORACLE.float_of(c.area), c.code) for c in i.colors],
        )
        for i in obj.instances
    ]
    scores = tuple(map(ORACLE.float_of, words[3:6]))
    return Record(
        obj.id, obj.detector, microseconds(obj.first_seen), microseconds(obj.second_time),
        *obj.sensor, *obj.words, *words[:3], scores, *words[6:], instances, obj.auxiliary,
    )  # fmt: skip


def normal_time(time):
    # The smallest and the largest number stand for all times beyond.
    return list(ORACLE.normal_time(0, max(-LAST, min(LAST - 1, microseconds(time)))))


def normal(obj):
    """What of an object microseconds can say, and what Python's floats leave of numbers."""
    obj.first_seen = normal_time(obj.first_seen)
    obj.second_time = normal_time(obj.second_time)
    obj.statistics[3:6] = map(quiet, obj.statistics[3:6])
    for i in obj.instances:
        i.seconds, i.microseconds = normal_time((i.seconds, i.microseconds))
        i.box, i.floats = [*map(quiet, i.box)], [*map(quiet, i.floats)]
        i.group, i.point = [*map(quiet, i.group)], [*map(quiet, i.point)]
        i.colors = i.colors[:127]
    return obj


def quieted(record):
    """The same in a record's object: all that is no number is one that Python keeps."""
    nan = ORACLE.float_of(0x7FC00000)

    def number(value):
        return nan if math.isnan(value) else value

    record.class_scores = tuple(map(number, record.class_scores))
    for i in record.instances:
        for field in dataclasses.fields(i):
            value = getattr(i, field.name)
            if isinstance(value, float):
                setattr(i, field.name, number(value))
        i.group = tuple(map(number, i.group))
    return record


class Objects(unittest.TestCase):
    def test_decoded_as_the_oracle_reads_them(self):
        for data in oracle_records(1, COUNT):
            obj = ORACLE.decode(data)[0]
            # Some have more colours than a reader reads.
            is_whole = ORACLE.check_record(data)[0] in (ORACLE.WHOLE, ORACLE.NO_INSTANCES)
            found = Record.decode(data, is_lenient=not is_whole)
            self.assertEqual(record_tuple(found), oracle_tuple(obj))

    def test_encoded_as_the_oracle_writes_them(self):
        for obj in map(normal, ORACLE.random_objects(2, COUNT)):
            limit = ORACLE.NO_LIMIT if obj.limit == ORACLE.NO_LIMIT else max(4, obj.limit)
            obj.limit = limit
            self.assertEqual(quieted(object_of(obj)).encode(limit), ORACLE.encode(obj))

    def test_damaged_bytes_are_found_to_be_what_the_oracle_finds(self):
        rnd = random.Random(3)
        for data in oracle_records(3, COUNT // 4):
            given = ORACLE.damaged(rnd, data)
            obj, consumed = ORACLE.decode(given)
            status = records.check(given)
            self.assertEqual(
                (*status,), (*ORACLE.check_record(given), consumed, len(obj.instances))
            )
            found = record_tuple(Record.decode(given, is_lenient=True))
            self.assertEqual(found, oracle_tuple(obj))

    def test_a_record_comes_back_as_it_was(self):
        record = Record(
            object_id=2**64 - 1, first_seen_time=-1, second_time=1_700_000_000_123_456,
            duration=2**32 - 1, class_scores=(0.5, 0.25, -1.0), auxiliary=bytes(range(256)),
            instances=[
                Instance(time=5, min_x=1, max_x=2, number=-128, flag=255, group=(1, 2, 3, 4),
                         colors=[Color(1, 2, 3, 127, -128), Color(255, 254, 253)]),
                Instance(),
            ],
        )  # fmt: skip
        self.assertEqual(Record.decode(record.encode()), record)

    def test_an_empty_record_is_140_bytes_and_no_worse(self):
        data = Record().encode()
        self.assertEqual(len(data), 140)
        self.assertEqual(records.check(data).state, State.NO_INSTANCES)
        self.assertEqual(Record.decode(data), Record())

    def test_damage_is_refused_and_told(self):
        data = Record(instances=[Instance()]).encode()
        with self.assertRaisesRegex(DamagedRecordError, "cut in auxiliary data, at 204"):
            Record.decode(data[:-1])
        with self.assertRaisesRegex(DamagedRecordError, "cut in fixed block, at 0"):
            Record.decode(b"")
        with self.assertRaisesRegex(ValueError, "trailing bytes, at 208"):
            Record.decode(data + b"x")
        self.assertEqual(len(Record.decode(data[:-1], is_lenient=True).instances), 1)

    def test_wrong_arguments(self):
        with self.assertRaises(TypeError):
            Record.decode("text")
        with self.assertRaises(TypeError):
            records.check(None)
        with self.assertRaisesRegex(ValueError, "class_scores has 3 numbers, not 2"):
            Record(class_scores=(1, 2)).encode()
        with self.assertRaisesRegex(ValueError, "group has 4 numbers, not 5"):
            Record(instances=[Instance(group=(1, 2, 3, 4, 5))]).encode()
        with self.assertRaisesRegex(ArgumentError, "an argument is out of range"):
            Record(instances=[Instance(colors=[Color()] * 128)]).encode()
        with self.assertRaises(ArgumentError):
            Record().encode(limit=3)
        for wrong in (
            Record(instances=[Instance(colors=[Color(red=256)])]), Record(object_id=2**64),
            Record(object_id=-1), Record(duration=2**32), Record(first_seen_time=2**63),
            Record(instances=[Instance(time=2**63)]), Record(word1=-(2**31) - 1),
        ):  # fmt: skip
            with self.assertRaises(OverflowError):
                wrong.encode()
        with self.assertRaises(ctypes.ArgumentError):
            Record().encode(limit=2**32 + 4)
        with self.assertRaises(OverflowError):
            records.matches(b"", Filter(from_time=-(2**63) - 1))

    def test_127_colours_are_not_too_many(self):
        record = Record(instances=[Instance(colors=[Color(n, n, n) for n in range(127)])])
        self.assertEqual(Record.decode(record.encode()), record)

    def test_auxiliary_data_and_shares_and_matches_of_bytes(self):
        red = Color(200, 20, 20, 60)
        data = Record(
            first_seen_time=100, duration=9, auxiliary=b"jpeg", instances=[Instance(colors=[red])]
        ).encode()
        self.assertEqual(records.auxiliary(data), b"jpeg")
        self.assertEqual(records.auxiliary(b""), b"")
        shares = records.color_shares(data)
        self.assertEqual(len(shares), 14)
        self.assertEqual(shares[krcommon.Preset.RED], max(shares))
        self.assertGreater(shares[krcommon.Preset.RED], 50)
        self.assertTrue(records.matches(data, Filter()))
        self.assertTrue(records.matches(data, Filter(preset=krcommon.Preset.RED, min_percent=50)))
        for wanted in (
            Filter(detector_type=6), Filter(from_time=101), Filter(to_time=99),
            Filter(object_class=1, min_score=0.5), Filter(min_duration=9.5),
            Filter(preset=krcommon.Preset.LIGHT_BLUE, min_percent=1),
        ):  # fmt: skip
            self.assertFalse(records.matches(data, wanted), wanted)
        with self.assertRaises(ArgumentError):
            records.matches(data, Filter(preset=14))

    def test_a_filter_is_at_first_what_the_library_makes(self):
        from krcommon import _declarations, _native

        native = _native.sized(_declarations.kr_c_filter)
        _native.check(_native.library.kr_c_filter_init(native))
        self.assertEqual(bytes(Filter().native()), bytes(native))


def as_list(column):
    return column.tolist()


class Columns(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.pieces = oracle_records(4, COUNT)
        cls.objects = [ORACLE.decode(piece)[0] for piece in cls.pieces]
        cls.records = Records.join(cls.pieces)

    def test_records_are_those_of_the_oracle(self):
        table = self.records.records()
        self.assertEqual(set(table), set(krcommon.columns.RECORD_COLUMNS))
        self.assertEqual(table.rows, COUNT)
        expected = [oracle_tuple(obj)[:11] for obj in self.objects]
        names = [
            "object_id", "detector_type", "first_seen_time", "second_time", "sensor_word1",
            "sensor_word2", "word1", "word2", "statistics_word1", "statistics_word2", "duration",
        ]  # fmt: skip
        self.assertEqual(list(zip(*(as_list(table[name]) for name in names))), expected)
        statuses = [(*ORACLE.check_record(piece)[:1],) for piece in self.pieces]
        self.assertEqual([(state,) for state in as_list(table["state"])], statuses)
        self.assertEqual(as_list(table["length"]), [len(piece) for piece in self.pieces])
        words = [score for obj in self.objects for score in obj.statistics[3:6]]
        self.assertEqual(self.float_bits(table["class_scores"]), words)

    @staticmethod
    def float_bits(column):
        data = column.tobytes()
        return list(struct.unpack(f"<{len(data) // 4}I", data))

    def test_instances_are_those_of_the_oracle_bit_by_bit(self):
        table = self.records.instances()
        self.assertEqual(set(table), set(krcommon.columns.INSTANCE_COLUMNS))
        instances = [i for obj in self.objects for i in obj.instances]
        self.assertEqual(table.rows, len(instances))
        self.assertEqual(
            as_list(table["time"]), [microseconds((i.seconds, i.microseconds)) for i in instances]
        )
        for name, values in {
            "person_value": [i.classes[0] for i in instances],
            "vehicle_value": [i.classes[1] for i in instances],
            "object_value": [i.classes[2] for i in instances],
            "unknown_value": [i.classes[3] for i in instances],
            "min_x": [i.box[0] for i in instances],
            "min_y": [i.box[1] for i in instances],
            "max_x": [i.box[2] for i in instances],
            "max_y": [i.box[3] for i in instances],
            "float1": [i.floats[0] for i in instances],
            "float2": [i.floats[1] for i in instances],
            "group": [number for i in instances for number in i.group],
            "point_x": [i.point[0] for i in instances],
            "point_y": [i.point[1] for i in instances],
        }.items():
            self.assertEqual(self.float_bits(table[name]), values, name)
        self.assertEqual(as_list(table["number"]), [i.number for i in instances])
        self.assertEqual(as_list(table["flag"]), [i.flag for i in instances])
        self.assertEqual(as_list(table["color_count"]), [len(i.colors) for i in instances])
        indexes = [n for obj in self.objects for n in range(len(obj.instances))]
        self.assertEqual(as_list(table["instance"]), indexes)

    def test_colours_are_those_of_the_oracle(self):
        table = self.records.colors()
        colors = [c for obj in self.objects for i in obj.instances for c in i.colors]
        self.assertEqual(table.rows, len(colors))
        for name in ("red", "green", "blue", "code"):
            self.assertEqual(as_list(table[name]), [getattr(c, name) for c in colors], name)
        self.assertEqual(self.float_bits(table["area"]), [c.area for c in colors])

    def test_columns_equal_objects(self):
        pieces = self.pieces[:2000]
        given = [Record.decode(piece, is_lenient=True) for piece in pieces]
        table = Records.join(pieces).instances(["time", "number", "flag"])
        expected = [(i.time, i.number, i.flag) for r in given for i in r.instances]
        self.assertEqual(list(zip(*map(as_list, table.values()))), expected)

    def test_without_ends_the_same_is_found(self):
        good = (State.WHOLE, State.NO_INSTANCES)
        pieces = [piece for piece in self.pieces if records.check(piece).state in good]
        self.assertGreater(len(pieces), COUNT * 0.9)
        listed, whole = Records.join(pieces), Records(b"".join(pieces))
        for scan in ("records", "instances", "colors"):
            table, other = getattr(listed, scan)(), getattr(whole, scan)()
            self.assertEqual(other.end, (State.WHOLE, sum(map(len, pieces)), len(pieces), 0))
            for name in table:
                self.assertEqual(table[name].tobytes(), other[name].tobytes(), name)

    def test_a_scan_without_ends_stops_before_damage_and_tells_where(self):
        piece = Record(instances=[Instance()]).encode()
        table = Records(piece + piece[:150]).records(["position"])
        self.assertEqual(as_list(table["position"]), [0])
        self.assertEqual(table.end, (State.CUT_IN_INSTANCES, len(piece), 1, len(piece) + 136))

    def test_a_filter_leaves_out(self):
        pieces = [
            Record(object_id=n, first_seen_time=n, instances=[Instance(number=n)] * 2).encode()
            for n in range(100)
        ]
        found = Records.join(pieces)
        wanted = Filter(from_time=10, to_time=12)
        self.assertEqual(as_list(found.records(["object_id"], wanted)["object_id"]), [10, 11, 12])
        self.assertEqual(
            as_list(found.instances(["number"], wanted)["number"]), [10, 10, 11, 11, 12, 12]
        )
        self.assertEqual(found.records([], Filter(detector_type=1)).rows, 0)

    def test_no_bytes_and_no_records(self):
        for empty in (Records(b""), Records(b"", []), Records.join([]), Records(bytearray())):
            self.assertEqual(empty.records().rows, 0)
            self.assertEqual(empty.instances().rows, 0)
            self.assertEqual(empty.colors().rows, 0)
            self.assertEqual(list(empty), [])
        self.assertEqual(Records(Record().encode(), []).records().rows, 0)

    def test_records_that_are_as_small_as_they_can_be_have_room(self):
        self.assertEqual(Records(Record().encode() * 1000).records().rows, 1000)
        bare = Record(instances=[Instance()] * 1000).encode()
        self.assertEqual(Records(bare).instances().rows, 1000)
        full = Record(instances=[Instance(colors=[Color()] * 127)] * 100).encode()
        self.assertEqual(Records(full).colors().rows, 12700)

    def test_a_record_of_no_bytes_has_a_row(self):
        table = Records.join([b"", Record(object_id=3).encode(), b""]).records()
        self.assertEqual(as_list(table["object_id"]), [0, 3, 0])
        self.assertEqual(table["state"][0], State.CUT_IN_FIXED_BLOCK)

    def test_wrong_ends_are_refused_even_behind_good_ones(self):
        data = Record().encode()
        for ends in ([141], [140, 139], [140, 2**63]):
            with self.assertRaises(ArgumentError):
                Records(data, ends).records()
        with self.assertRaises(OverflowError):
            Records(data, [-1])

    def test_wrong_columns_are_told(self):
        with self.assertRaisesRegex(ValueError, "no column 'colour'; there are position, length"):
            self.records.records(["colour"])
        with self.assertRaises(TypeError):
            self.records.records("object_id")
        with self.assertRaises(TypeError):
            Records(17).records()

    def test_bytes_are_taken_from_whatever_has_them(self):
        import array
        import mmap
        import tempfile

        data = Record(object_id=9).encode()
        with tempfile.TemporaryFile() as file:
            file.write(data)
            file.flush()
            with mmap.mmap(file.fileno(), 0, access=mmap.ACCESS_READ) as mapped:
                self.assertEqual(Records(mapped).records()["object_id"][0], 9)
        for given in (bytearray(data), memoryview(data), array.array("B", data)):
            self.assertEqual(Records(given).records()["object_id"][0], 9)
        with self.assertRaises(BufferError):
            Records(memoryview(data * 2)[::2]).records()

    def test_iterating_gives_the_records_where_they_lie(self):
        self.assertEqual([bytes(piece) for piece in self.records], self.pieces)

    def test_threads_scan_the_same_bytes_at_once(self):
        expected = self.records.instances()["time"].tobytes()

        def work(_):
            for _ in range(3):
                self.assertEqual(self.records.instances(["time"])["time"].tobytes(), expected)

        in_threads(4, work)

    def test_columns_are_numpy_s_own_memory_of_exactly_their_size(self):
        if numpy is None:
            self.skipTest("NumPy is missing")
        table = self.records.records()
        for name, column in table.items():
            self.assertTrue(column.flags.owndata, name)
            self.assertEqual(len(column), COUNT)
        self.assertEqual(table["class_scores"].shape, (COUNT, 3))
        self.assertEqual(self.records.instances(["group"])["group"].shape[1], 4)
        ends = numpy.array([140, 280])
        self.assertEqual(Records(Record().encode() * 2, ends).records().rows, 2)


class Threads(unittest.TestCase):
    def test_threads_encode_and_decode_at_once(self):
        def work(index):
            record = Record(object_id=index, instances=[Instance(number=index)] * (index + 1))
            for _ in range(200):
                self.assertEqual(Record.decode(record.encode()), record)

        in_threads(4, work)


if __name__ == "__main__":
    unittest.main()
