"""How the library is found, and what is said where it cannot be loaded."""

import ctypes
import os
import pathlib
import struct
import subprocess
import sys
import tempfile
import unittest

import krcommon
from krcommon import _declarations, _loading, _native
from krcommon._loading import Machine, candidates, find, machine_of, refusal
from support import ROOT

PACKAGE = pathlib.Path(krcommon.__file__).parent


def pe_file(machine, header=0x80):
    data = bytearray(header + 24)
    data[:2] = b"MZ"
    struct.pack_into("<I", data, 0x3C, header)
    data[header : header + 4] = b"PE\0\0"
    struct.pack_into("<H", data, header + 4, machine)
    return bytes(data)


class InFolder(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def write(self, name, data):
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(data)
        return path


class Machines(InFolder):
    def test_a_dll_is_known_by_its_pe_header(self):
        for number, expected in {
            0x014C: Machine("Windows", "x86", 4),
            0x8664: Machine("Windows", "x86-64", 8),
            0xAA64: Machine("Windows", "ARM64", 8),
            0x1234: Machine("Windows", "machine 0x1234", 0),
        }.items():
            self.assertEqual(machine_of(self.write("a.dll", pe_file(number))), expected)

    def test_a_shared_object_is_known_by_its_elf_header(self):
        elf = b"\x7fELF\x02\x01\x01" + bytes(9) + struct.pack("<HH", 3, 62)
        self.assertEqual(machine_of(self.write("a.so", elf)), Machine("Linux", "x86-64", 8))
        elf = b"\x7fELF\x01\x02\x01" + bytes(9) + struct.pack(">HH", 3, 40)
        self.assertEqual(machine_of(self.write("a.so", elf)), Machine("Linux", "ARM", 4))
        own = machine_of(_native.library._name)
        self.assertEqual(own.pointer_size, ctypes.sizeof(ctypes.c_void_p))

    def test_other_files_are_neither(self):
        whole = pe_file(0x014C)
        for data in (b"", b"MZ", b"text", whole[:100], b"\x7fELF", b"\x7fELF" + bytes(30)):
            self.assertIsNone(machine_of(self.write("a.dll", data)), data)
        for length in range(len(whole) - 18):
            self.assertIsNone(machine_of(self.write("a.dll", whole[:length])), length)
        far = bytearray(whole)
        struct.pack_into("<I", far, 0x3C, 0xFFFFFFFF)
        self.assertIsNone(machine_of(self.write("a.dll", bytes(far))))
        with self.assertRaises(OSError):
            machine_of(self.folder / "none")

    def test_a_64_bit_interpreter_is_told_why(self):
        dll = Machine("Windows", "x86", 4)
        self.assertEqual(
            refusal(dll, 8, "Windows", r"C:\Python\python.exe"),
            "it is a 32-bit library (x86), and this Python is a 64-bit program "
            r"(C:\Python\python.exe). A process loads libraries of its own size alone: "
            "run this with a 32-bit Python",
        )
        self.assertIsNone(refusal(dll, 4, "Windows", "python"))
        self.assertIn("run this with a 64-bit", refusal(Machine("Linux", "", 8), 4, "Linux", "p"))
        self.assertIn("made for Windows", refusal(dll, 4, "Linux", "python"))
        self.assertIn("neither", refusal(None, 8, "Linux", "python"))
        self.assertIsNone(refusal(Machine("Windows", "machine 0x1", 0), 8, "Windows", "python"))


class Places(InFolder):
    def test_the_environment_comes_first_even_when_nothing_is_there(self):
        self.write("krcommon/" + _loading.NAME, b"")
        self.assertEqual(find("/nowhere/a.so", self.folder / "krcommon"), pathlib.Path("/nowhere/a.so"))

    def test_then_the_package_then_beside_it_then_bin(self):
        package = self.folder / "python" / "krcommon"
        places = [self.folder / "bin", self.folder / "python", package]
        self.assertIsNone(find(None, package))
        self.assertIsNone(find("", package))
        for place in places:
            path = self.write(str((place / _loading.NAME).relative_to(self.folder)), b"")
            self.assertEqual(find(None, package), path)
        self.assertEqual(len(list(candidates(package))), 3)


class Imports(InFolder):
    def import_with(self, library):
        environment = {**os.environ, "KRCOMMON_LIBRARY": str(library), "PYTHONPATH": str(PACKAGE.parent)}
        done = subprocess.run(
            [sys.executable, "-B", "-c", "import krcommon"],
            env=environment, capture_output=True, text=True, cwd=self.folder,
        )  # fmt: skip
        return done.returncode, done.stderr.strip().splitlines()[-1:]

    def expect(self, library, *texts):
        code, (line,) = self.import_with(library)
        self.assertEqual(code, 1)
        self.assertTrue(line.startswith("ImportError: "), line)
        for text in texts:
            self.assertIn(text, line)

    def test_reasons_are_told_in_one_sentence(self):
        self.expect("/nowhere/a.so", "/nowhere/a.so cannot be loaded: No such file")
        self.expect(self.write("a.so", b"no library"), "neither a DLL nor a shared object")
        self.expect(self.write("KRCommon.dll", pe_file(0x014C)), "it is made for Windows")

    def test_another_library_lacks_the_functions(self):
        own = machine_of(_native.library._name)
        others = [p for p in pathlib.Path("/").glob("lib/*/libm.so.6") if machine_of(p) == own]
        if not others:
            self.skipTest("there is no libm.so.6 to try it with")
        self.expect(others[0], "lacks a function of the C interface", "kr_c_abi")

    def test_a_lower_number_of_the_interface_is_refused(self):
        with self.assertRaisesRegex(ImportError, "has the number 0; this package needs 1"):
            _loading.check_abi(0)
        _loading.check_abi(_declarations.KR_C_ABI + 1)


class Declarations(unittest.TestCase):
    """What ctypes was told is what the header says."""

    def test_they_are_what_the_header_gives(self):
        subprocess.run(
            [sys.executable, "-B", ROOT / "python" / "tools" / "declarations.py",
             ROOT / "KRCommon" / "capi" / "krcommon_c.h", PACKAGE / "_declarations.py", "check"],
            check=True,
        )  # fmt: skip

    def test_sizes_offsets_numbers_and_functions_are_those_that_a_compiler_found(self):
        if sys.platform != "linux" or ctypes.sizeof(ctypes.c_void_p) != 8:
            self.skipTest("the recorded layout is that of 64-bit Linux")
        text = (ROOT / "tests" / "c_abi" / "linux.txt").read_text()
        struct_type, seen = None, {"struct": 0, "member": 0, "number": 0, "function": 0}
        declared = {name for name, _, _ in _declarations.FUNCTIONS}
        for line in text.splitlines():
            words = line.split()
            if words[0] == "struct":
                struct_type = getattr(_declarations, words[1])
                self.assertEqual(ctypes.sizeof(struct_type), int(words[2]), line)
                seen["struct"] += 1
            elif line.startswith("    "):
                name = words[-1].split("[")[0]
                self.assertEqual(getattr(struct_type, name).offset, int(words[0]), line)
                seen["member"] += 1
            elif words[0].startswith("KR_C_"):
                if hasattr(_declarations, words[0]):
                    self.assertEqual(getattr(_declarations, words[0]), int(words[-1]), line)
                    seen["number"] += 1
            elif "(" in line:
                self.assertIn(line.split("(")[0].split()[-1].lstrip("*"), declared)
                seen["function"] += 1
        self.assertGreaterEqual(seen["struct"], 15)
        self.assertGreaterEqual(seen["member"], 100)
        self.assertGreaterEqual(seen["number"], 50)
        self.assertEqual(seen["function"], len(declared))


if __name__ == "__main__":
    unittest.main()
