"""Time, GUID, Base64, SHA-1, string encryption, the library itself, and errors."""

import ctypes
import datetime
import hashlib
import pathlib
import tempfile
import unittest
import uuid

import krcommon
from krcommon import base64, encryption, errors, guids, library, times
from krcommon.errors import ArgumentError, InUseError, StateError, TextError
from krcommon.sha1 import Sha1
from krcommon.times import Date, Fraction
from support import in_threads

TIME = 1_709_622_489_000_123  # 2024-03-05 07:08:09.000123


class Library(unittest.TestCase):
    def test_tells_what_it_is(self):
        self.assertRegex(library.version(), r"^\d+\.\d+\.\d+$")
        self.assertEqual(library.version(), krcommon.__version__)
        self.assertGreaterEqual(library.abi(), 1)
        self.assertEqual(library.capabilities(), library.Capability(511))
        self.assertTrue(library.instructions())
        self.assertIn("KRCommon", library.path())

    def test_errors_have_the_library_s_texts_and_python_s_classes(self):
        self.assertEqual(library.error_text(8), "the system's code page lacks a character of the text")
        self.assertEqual(library.error_text(-5), "unknown error")
        for code, kind in {
            1: ValueError, 2: ValueError, 3: ValueError, 4: RuntimeError, 6: MemoryError, 7: ValueError,
            9: LookupError, 10: RuntimeError, 11: RuntimeError, 12: OSError, 13: RuntimeError,
            101: ValueError, 107: ValueError, 999: ValueError,
        }.items():  # fmt: skip
            error = errors.error_of(code, "text")
            self.assertIsInstance(error, kind, code)
            self.assertIsInstance(error, krcommon.KRCommonError)
            self.assertEqual(error.code, code)
        self.assertEqual(str(errors.error_of(101, "cut", 5)), "cut, at 5")


class Times(unittest.TestCase):
    def test_texts_both_ways(self):
        self.assertEqual(times.text(TIME), "2024/03/05 07:08:09.000123")
        self.assertEqual(times.text(TIME, Fraction.NONE), "2024/03/05 07:08:09")
        self.assertEqual(times.text(TIME, Fraction.MILLISECONDS), "2024/03/05 07:08:09.000")
        self.assertEqual(times.from_text("2024/03/05 07:08:09.000123", Fraction.MICROSECONDS), TIME)
        self.assertEqual(times.from_text("2024/03/05 7:08"), TIME - 9_000_123)
        self.assertEqual(times.iso8601(TIME, Fraction.NONE, 60), "2024-03-05T08:08:09+01:00")
        self.assertEqual(times.from_iso8601("2024-03-05T08:08:09.000123+01:00"), (TIME, 60))
        self.assertEqual(times.duration_text(3_720_000_000), "1 h 02 min")
        self.assertEqual(times.duration_from_text("1 h 02 min"), 3_720_000_000)

    def test_dates_both_ways(self):
        date = Date(2024, 3, 5, 7, 8, 9, 123, 2)
        self.assertEqual(times.date_of(TIME), date)
        self.assertEqual(times.from_date(date), TIME)
        self.assertEqual(times.from_date(Date(2024, 1, 65)), times.from_date(Date(2024, 3, 5)))
        value = datetime.datetime(2024, 3, 5, 7, 8, 9, 123, datetime.timezone.utc)
        self.assertEqual(times.datetime_of(TIME), value)
        self.assertEqual(times.from_datetime(value), TIME)
        self.assertEqual(times.from_datetime(value.replace(tzinfo=None)), TIME)
        self.assertEqual(times.from_datetime(times.datetime_of(-1)), -1)
        with self.assertRaises(OverflowError):
            times.datetime_of(2**63 - 1)

    def test_a_wrong_text_is_told_with_its_place(self):
        with self.assertRaises(TextError) as caught:
            times.from_text("2024/13/05 07:08:09")
        self.assertEqual((caught.exception.code, caught.exception.position), (103, 5))
        for text in ("", "2024", "x", "2024/03/05 07:08:09.000123x", "\0"):
            with self.assertRaises(TextError):
                times.from_text(text)
            with self.assertRaises(TextError):
                times.from_iso8601(text)
            with self.assertRaises(TextError):
                times.duration_from_text(text)
        with self.assertRaises(ArgumentError):
            times.from_text("\ud800")
        with self.assertRaises(ArgumentError):
            times.text(2**63 - 1)
        with self.assertRaises(ArgumentError):
            times.text(0, 4)
        with self.assertRaises(ArgumentError):
            times.iso8601(0, Fraction.NONE, 24 * 60)
        with self.assertRaises(ArgumentError):
            times.from_date(Date(1969, 1, 1))
        for call in (
            lambda: times.text(2**64), lambda: times.duration_text(-(2**63) - 1),
            lambda: times.date_of(2**63), lambda: times.from_date(Date(2**32 + 2024, 1, 1)),
        ):  # fmt: skip
            with self.assertRaises((ctypes.ArgumentError, OverflowError)):
                call()


class Guids(unittest.TestCase):
    def test_new_ones_are_of_their_version_and_differ(self):
        for version in (4, 7):
            made = guids.create_many(1000, version)
            self.assertEqual(len(set(made)), 1000)
            self.assertEqual({value.version for value in made}, {version})
            self.assertEqual({value.variant for value in made}, {uuid.RFC_4122})
        self.assertEqual(made, sorted(made))
        self.assertEqual(guids.create_many(0), [])
        self.assertEqual(guids.create().version, 4)
        with self.assertRaises(ArgumentError):
            guids.create(5)
        with self.assertRaises(ValueError):
            guids.create_many(-1)

    def test_texts_are_those_of_uuid(self):
        for value in guids.create_many(100):
            self.assertEqual(guids.text(value), str(value))
            self.assertEqual(guids.from_text("{" + str(value).upper() + "}"), value)
        with self.assertRaises(TextError) as caught:
            guids.from_text("00112233-4455-6677-8899-aabbccddeefg")
        self.assertEqual(caught.exception.position, 35)

    def test_threads_make_different_ones(self):
        made = [[] for _ in range(4)]
        in_threads(4, lambda index: made[index].extend(guids.create_many(2000, 7)))
        self.assertEqual(len({value for part in made for value in part}), 8000)


class Base64(unittest.TestCase):
    def test_both_ways(self):
        self.assertEqual(base64.encode(b""), "")
        self.assertEqual(base64.encode(b"ab"), "YWI=")
        self.assertEqual(base64.decode("YWI="), b"ab")
        data = bytes(range(256)) * 40
        self.assertEqual(base64.decode(base64.encode(data)), data)
        lines = base64.encode(data, has_line_breaks=True)
        self.assertEqual(max(map(len, lines.splitlines())), 76)
        self.assertEqual(base64.decode(lines, is_lenient=True), data)
        self.assertEqual(base64.encode(bytearray(b"abc")), "YWJj")

    def test_a_wrong_text_is_told_with_its_place(self):
        with self.assertRaises(TextError) as caught:
            base64.decode("YW*j")
        self.assertEqual((caught.exception.code, caught.exception.position), (102, 2))
        with self.assertRaises(TextError):
            base64.decode("YWI")
        with self.assertRaises(TypeError):
            base64.encode("text")


class Sha(unittest.TestCase):
    def test_pieces_and_files(self):
        with Sha1(b"a") as sha1:
            sha1.feed(b"bc")
            self.assertEqual(sha1.digest(), hashlib.sha1(b"abc").digest())
            self.assertEqual(sha1.text(), "A9993E364706816ABA3E25717850C26C9CD0D89D")
            self.assertEqual(sha1.text(True)[:8], "363E99A9")
            with self.assertRaises(StateError):
                sha1.feed(b"d")
            sha1.reset()
            self.assertEqual(sha1.digest(), hashlib.sha1(b"").digest())
            sha1.reset()
            path = pathlib.Path(__file__)
            sha1.feed_file(path)
            self.assertEqual(sha1.digest(), hashlib.sha1(path.read_bytes()).digest())

    def test_a_closed_one_is_refused(self):
        sha1 = Sha1()
        sha1.close()
        sha1.close()
        with self.assertRaisesRegex(ArgumentError, "a pointer or handle is null"):
            sha1.feed(b"")

    def test_a_missing_file_is_the_system_s_error(self):
        with Sha1() as sha1, self.assertRaises((OSError, LookupError)):
            sha1.feed_file("/nowhere/file")
        with Sha1() as sha1, self.assertRaises(ArgumentError):
            sha1.feed_file("a\0b")

    def test_two_threads_are_refused_never_mixed(self):
        piece = b"x" * 200_000
        sha1, fed = Sha1(), [0] * 4

        def work(index):
            for _ in range(50):
                try:
                    sha1.feed(piece)
                    fed[index] += 1
                except InUseError:
                    pass

        in_threads(4, work)
        self.assertGreater(sum(fed), 0)
        self.assertEqual(sha1.digest(), hashlib.sha1(piece * sum(fed)).digest())

    def test_of_threads_that_close_it_one_does(self):
        for _ in range(200):
            sha1 = Sha1()
            in_threads(3, lambda _: sha1.close())

    def test_closing_under_another_thread_s_hand_harms_nobody(self):
        for _ in range(50):
            sha1 = Sha1()

            def work(index):
                try:
                    sha1.close() if index == 0 else sha1.feed(b"x" * 10_000)
                except (ArgumentError, InUseError):
                    pass

            in_threads(3, work)


class Encryption(unittest.TestCase):
    def test_both_ways(self):
        self.assertEqual(encryption.encrypt_string(""), "")
        hexadecimal = encryption.encrypt_string("Pass-1")
        self.assertRegex(hexadecimal, "^[0-9A-F]{32}$")
        self.assertEqual(encryption.decrypt_string(hexadecimal), "Pass-1")
        self.assertEqual(encryption.decrypt_string(hexadecimal.lower()), "Pass-1")
        long = "abc-" * 1000 + "e"
        self.assertEqual(encryption.decrypt_string(encryption.encrypt_string(long)), long)

    def test_a_text_that_fills_its_blocks_loses_its_last_character(self):
        self.assertEqual(encryption.decrypt_string(encryption.encrypt_string("12345678")), "1234567")


if __name__ == "__main__":
    unittest.main()
