#!/usr/bin/env python3
"""Object records without the library: reads and writes them by docs/record_format.md, with no code
in common, so that the library can be held against a second opinion.

    record.py describe [--raw] FILE           the canonical text of a file of records
    record.py encode [--raw] TEXT FILE        canonical text to a file of records
    record.py generate SEED COUNT NAME        random objects: NAME.txt, and their records NAME.bin
    record.py check PROGRAM [EMULATOR...]     compares with PROGRAM, which is record_tool.cpp

A file of records has each record behind its length, a uint32. With --raw a file is one record.

Canonical text, a line per field; floats are their bits as eight hexadecimal digits:

    object [LIMIT]                            budget of the instance list; none: no limit
    sensor WORD1 WORD2
    id ID
    detector TYPE
    first_seen SECONDS MICROSECONDS
    words WORD1 WORD2
    second_time SECONDS MICROSECONDS
    statistics WORD1 WORD2 DURATION SCORE1 SCORE2 SCORE3 WORD7 WORD8
    instance SECONDS MICROSECONDS PERSON VEHICLE OBJECT UNKNOWN MINX MINY MAXX MAXY
             FLOAT1 FLOAT2 FLAG GROUP1 GROUP2 GROUP3 GROUP4 NUMBER POINTX POINTY    (one line)
    color RED GREEN BLUE AREA CODE            of the instance above
    auxiliary HEXADECIMAL                     "-" for none
    end [CONSUMED [STATE POSITION]]           bytes that a reader consumed, and the number of what it
                                              found and where; not part of the object
"""

import math
import pathlib
import random
import re
import struct
import subprocess
import sys
import tempfile

NO_LIMIT = 2**32 - 1
FIXED_BLOCK_SIZE = 132
INSTANCE_SIZE = 68
COLOR_SIZE = 5


class Color:
    def __init__(self, red=0, green=0, blue=0, area=0, code=0):
        self.red, self.green, self.blue, self.area, self.code = red, green, blue, area, code


class Instance:
    def __init__(self):
        self.seconds, self.microseconds = 0, 0
        self.classes = [0] * 4  # person, vehicle, object, unknown; floats are bits throughout
        self.box = [0] * 4
        self.floats = [0] * 2
        self.flag = 0
        self.group = [0] * 4
        self.number = 0
        self.point = [0] * 2
        self.colors = []


class Object:
    def __init__(self):
        self.limit = NO_LIMIT
        self.sensor = [0, 1]
        self.id = 0
        self.detector = 7
        self.first_seen = [0, 0]
        self.words = [0, 0]
        self.second_time = [0, 0]
        self.statistics = [0] * 8
        self.instances = []
        self.auxiliary = b""


# Numbers.


def signed(number, bits):
    number &= 2**bits - 1
    return number - 2**bits if number >= 2 ** (bits - 1) else number


def float_of(bits):
    return struct.unpack("<f", struct.pack("<I", bits))[0]


def bits_of(number):
    return struct.unpack("<I", struct.pack("<f", number))[0]


def truncated_low_byte(bits):
    number = float_of(bits)
    return math.trunc(number) & 0xFF if math.isfinite(number) else 0


# Writing.


def encode_instance(instance):
    return (
        struct.pack(
            "<II4B4I2IB3x4IBB2x2I",
            instance.seconds & 0xFFFFFFFF,
            instance.microseconds & 0xFFFFFFFF,
            *map(truncated_low_byte, instance.classes),
            *instance.box,
            *instance.floats,
            instance.flag,
            *instance.group,
            instance.number & 0xFF,
            len(instance.colors) & 0xFF,
            *instance.point,
        )
        + b"".join(
            bytes((c.red, c.green, c.blue, truncated_low_byte(c.area), c.code & 0xFF))
            for c in instance.colors
        )
    )


def encode_instances(instances, limit):
    written = []
    size = 4
    for entry in map(encode_instance, instances):
        if size + len(entry) > limit:
            break
        written.append(entry)
        size += len(entry)
    return struct.pack("<I", len(written)) + b"".join(written)


def encode(obj):
    fixed_block = struct.pack(
        "<8x2i4xQi4x8xqi4x2i8xqi4x2iI3I2i8x",
        *obj.sensor,
        obj.id,
        obj.detector,
        *obj.first_seen,
        *obj.words,
        *obj.second_time,
        *obj.statistics,
    )
    assert len(fixed_block) == FIXED_BLOCK_SIZE
    instances = encode_instances(obj.instances, obj.limit)
    return fixed_block + instances + struct.pack("<I", len(obj.auxiliary)) + obj.auxiliary


# Reading.


def normal_time(seconds, microseconds):
    """Microseconds within one second, both numbers of one sign."""
    total = seconds * 1000000 + microseconds
    sign = -1 if total < 0 else 1
    return sign * (abs(total) // 1000000), sign * (abs(total) % 1000000)


def ordered(first, second):
    """The smaller first; a pair with a NaN stays as it is."""
    return (second, first) if float_of(second) < float_of(first) else (first, second)


def decode_color(data):
    red, green, blue, area, code = struct.unpack("<3B2b", data)
    return Color(red, green, blue, bits_of(area), code)


def decode_instance(data):
    """The instance that the data begin with and its size, or nothing when it is cut short."""
    if len(data) < INSTANCE_SIZE:
        return None, 0
    color_count = max(struct.unpack_from("<b", data, 57)[0], 0)
    size = INSTANCE_SIZE + COLOR_SIZE * color_count
    if len(data) < size:
        return None, 0
    instance = Instance()
    instance.seconds, instance.microseconds = normal_time(*struct.unpack_from("<ii", data, 0))
    instance.classes = [bits_of(value) for value in struct.unpack_from("<4b", data, 8)]
    x1, y1, x2, y2 = struct.unpack_from("<4I", data, 12)
    (min_x, max_x), (min_y, max_y) = ordered(x1, x2), ordered(y1, y2)
    instance.box = [min_x, min_y, max_x, max_y]
    instance.floats = list(struct.unpack_from("<2I", data, 28))
    instance.flag = data[36]
    instance.group = list(struct.unpack_from("<4I", data, 40))
    instance.number = struct.unpack_from("<b", data, 56)[0]
    instance.point = list(struct.unpack_from("<2I", data, 60))
    for start in range(INSTANCE_SIZE, size, COLOR_SIZE):
        instance.colors.append(decode_color(data[start : start + COLOR_SIZE]))
    return instance, size


def decode_instances(data):
    """The instances that are whole, the bytes consumed, and whether these are all instances."""
    if len(data) < 4:
        return [], 0, False
    count = struct.unpack_from("<I", data, 0)[0]
    instances = []
    position = 4
    while len(instances) < count:
        instance, size = decode_instance(data[position:])
        if instance is None:
            break
        instances.append(instance)
        position += size
    return instances, position, len(instances) == count


def decode_auxiliary(data):
    if len(data) < 4:
        return b"", 0
    length = struct.unpack_from("<I", data, 0)[0]
    if length > len(data) - 4:
        return b"", 0
    return data[4 : 4 + length], 4 + length


def decode(data):
    """The object and the bytes consumed. Reserved bytes are not looked at."""
    obj = Object()
    if len(data) < FIXED_BLOCK_SIZE:
        return obj, 0
    obj.sensor = list(struct.unpack_from("<2i", data, 8))
    obj.id, obj.detector = struct.unpack_from("<Qi", data, 20)
    obj.first_seen = list(struct.unpack_from("<qi", data, 44))
    obj.words = list(struct.unpack_from("<2i", data, 60))
    obj.second_time = list(struct.unpack_from("<qi", data, 76))
    obj.statistics = list(struct.unpack_from("<2iI3I2i", data, 92))
    position = FIXED_BLOCK_SIZE
    obj.instances, size, are_all = decode_instances(data[position:])
    position += size
    if are_all:
        obj.auxiliary, size = decode_auxiliary(data[position:])
        position += size
    return obj, position


WHOLE, CUT_IN_FIXED_BLOCK, BAD_COLOR_COUNT, CUT_IN_INSTANCES = range(4)
CUT_IN_AUXILIARY_DATA, NO_INSTANCES, TRAILING_BYTES = range(4, 7)


def check_record(data):
    """What the bytes are found to be, and where: the first of these that holds."""
    if len(data) < FIXED_BLOCK_SIZE:
        return CUT_IN_FIXED_BLOCK, 0
    rest = data[FIXED_BLOCK_SIZE:]
    instances, size, are_all = decode_instances(rest)
    position = FIXED_BLOCK_SIZE + 4
    for instance in instances:
        if data[position + 57] > 127:
            return BAD_COLOR_COUNT, position
        position += INSTANCE_SIZE + COLOR_SIZE * len(instance.colors)
    if not are_all:
        return CUT_IN_INSTANCES, FIXED_BLOCK_SIZE + size
    auxiliary_size = decode_auxiliary(rest[size:])[1]
    if auxiliary_size == 0:
        return CUT_IN_AUXILIARY_DATA, position
    if not instances:
        return NO_INSTANCES, FIXED_BLOCK_SIZE
    position += auxiliary_size
    return (TRAILING_BYTES if position < len(data) else WHOLE), position


# Text.


def hexadecimal(floats):
    return " ".join(f"{bits:08X}" for bits in floats)


def decimal(numbers):
    return " ".join(map(str, numbers))


def instance_lines(instance):
    yield (
        f"instance {instance.seconds} {instance.microseconds} {hexadecimal(instance.classes)} "
        f"{hexadecimal(instance.box)} {hexadecimal(instance.floats)} {instance.flag} "
        f"{hexadecimal(instance.group)} {instance.number} {hexadecimal(instance.point)}"
    )
    for c in instance.colors:
        yield f"color {c.red} {c.green} {c.blue} {c.area:08X} {c.code}"


def describe(obj, consumed=None):
    words = obj.statistics
    lines = [
        "object" if obj.limit == NO_LIMIT else f"object {obj.limit}",
        f"sensor {decimal(obj.sensor)}",
        f"id {obj.id}",
        f"detector {obj.detector}",
        f"first_seen {decimal(obj.first_seen)}",
        f"words {decimal(obj.words)}",
        f"second_time {decimal(obj.second_time)}",
        f"statistics {decimal(words[:3])} {hexadecimal(words[3:6])} {decimal(words[6:])}",
    ]
    for instance in obj.instances:
        lines.extend(instance_lines(instance))
    lines.append(f"auxiliary {obj.auxiliary.hex().upper() or '-'}")
    lines.append("end" if consumed is None else f"end {consumed}")
    return "\n".join(lines) + "\n"


def parse_floats(words):
    return [int(word, 16) for word in words]


def parse_numbers(words):
    return [int(word) for word in words]


def parse_instance(words):
    instance = Instance()
    instance.seconds, instance.microseconds = parse_numbers(words[0:2])
    instance.classes = parse_floats(words[2:6])
    instance.box = parse_floats(words[6:10])
    instance.floats = parse_floats(words[10:12])
    instance.flag = int(words[12])
    instance.group = parse_floats(words[13:17])
    instance.number = int(words[17])
    instance.point = parse_floats(words[18:20])
    return instance


def parse_color(words):
    return Color(*parse_numbers(words[0:3]), int(words[3], 16), int(words[4]))


def parse_field(obj, name, words):
    if name == "sensor":
        obj.sensor = parse_numbers(words)
    elif name == "id":
        obj.id = int(words[0])
    elif name == "detector":
        obj.detector = int(words[0])
    elif name == "first_seen":
        obj.first_seen = parse_numbers(words)
    elif name == "words":
        obj.words = parse_numbers(words)
    elif name == "second_time":
        obj.second_time = parse_numbers(words)
    elif name == "statistics":
        obj.statistics = (
            parse_numbers(words[0:3]) + parse_floats(words[3:6]) + parse_numbers(words[6:8])
        )
    elif name == "instance":
        obj.instances.append(parse_instance(words))
    elif name == "color":
        obj.instances[-1].colors.append(parse_color(words))
    elif name == "auxiliary":
        obj.auxiliary = b"" if words[0] == "-" else bytes.fromhex(words[0])
    else:
        raise ValueError(f"unknown field '{name}'")


def parse(text):
    """The objects of a canonical text."""
    objects = []
    for line in text.splitlines():
        name, *words = line.split()
        if name == "object":
            objects.append(Object())
            if words:
                objects[-1].limit = int(words[0])
        elif name != "end":
            parse_field(objects[-1], name, words)
    return objects


# Files of records.


def joined(records):
    return b"".join(struct.pack("<I", len(record)) + record for record in records)


def split(data):
    records = []
    position = 0
    while position < len(data):
        length = struct.unpack_from("<I", data, position)[0]
        position += 4
        if length > len(data) - position:
            raise ValueError("the last record is cut short")
        records.append(data[position : position + length])
        position += length
    return records


# Random objects.

NOTABLE_FLOATS = [
    0x00000000, 0x80000000, 0x00000001, 0x80000001, 0x007FFFFF, 0x3F7FFFFF, 0x3F800000, 0xBF800000,
    0x42FE0000, 0x42FFCCCD, 0x43000000, 0xC3000000, 0xC3010000, 0x43480000, 0x437FCCCD, 0x43800000,
    0x4EFFFFFF, 0x4F000000, 0xCF000000, 0xCF000001, 0x7F7FFFFF, 0xFF7FFFFF, 0x7F800000, 0xFF800000,
    0x7FC00000, 0xFFC00000, 0x7F800001, 0xFFBFFFFF, 0x7FFFFFFF,
]  # fmt: skip


def random_float(rnd):
    kind = rnd.randrange(4)
    if kind == 0:
        return rnd.choice(NOTABLE_FLOATS)
    if kind == 1:
        return rnd.getrandbits(32)
    return bits_of(rnd.uniform(-300, 300))


def random_floats(rnd, count):
    return [random_float(rnd) for _ in range(count)]


def random_int(rnd, bits):
    kind = rnd.randrange(4)
    if kind == 0:
        return rnd.choice([0, 1, -1, 2 ** (bits - 1) - 1, -(2 ** (bits - 1))])
    if kind == 1:
        return signed(rnd.getrandbits(bits), bits)
    return rnd.randint(-300, 300)


NOTABLE_MICROSECONDS = [0, 1, -1, 999999, -999999, 1000000, -1000000, 1000001, -1000001]


def random_time(rnd):
    kind = rnd.randrange(4)
    if kind == 0:
        return [random_int(rnd, 64), random_int(rnd, 32)]
    if kind == 1:
        return [rnd.randint(-2, 2), rnd.choice(NOTABLE_MICROSECONDS)]
    if kind == 2:
        return [rnd.randint(-(2**33), 2**33), rnd.randint(-2000000, 2000000)]
    return [rnd.randint(0, 2**31 - 1), rnd.randint(0, 999999)]


def random_color(rnd):
    rgb = rnd.getrandbits(24)
    return Color(rgb >> 16, rgb >> 8 & 0xFF, rgb & 0xFF, random_float(rnd), random_int(rnd, 32))


def random_instance(rnd):
    instance = Instance()
    instance.seconds, instance.microseconds = random_time(rnd)
    instance.classes = random_floats(rnd, 4)
    instance.box = random_floats(rnd, 4)
    instance.floats = random_floats(rnd, 2)
    instance.flag = rnd.getrandbits(8)
    instance.group = random_floats(rnd, 4)
    instance.number = random_int(rnd, 32)
    instance.point = random_floats(rnd, 2)
    colors = rnd.randint(0, 260) if rnd.randrange(200) == 0 else rnd.randrange(5)
    instance.colors = [random_color(rnd) for _ in range(colors)]
    return instance


def random_object(rnd):
    obj = Object()
    obj.sensor = [random_int(rnd, 32), random_int(rnd, 32)]
    obj.id = random_int(rnd, 64) & 2**64 - 1
    obj.detector = random_int(rnd, 32)
    obj.first_seen = random_time(rnd)
    obj.words = [random_int(rnd, 32), random_int(rnd, 32)]
    obj.second_time = random_time(rnd)
    obj.statistics = [random_int(rnd, 32), random_int(rnd, 32), random_int(rnd, 32) & 2**32 - 1]
    obj.statistics += random_floats(rnd, 3) + [random_int(rnd, 32), random_int(rnd, 32)]
    obj.instances = [random_instance(rnd) for _ in range(rnd.randrange(6))]
    obj.auxiliary = rnd.randbytes(rnd.choice([0, 0, 1, 7, 100]))
    if rnd.randrange(4) == 0:
        obj.limit = rnd.randrange(500)
    return obj


def random_objects(seed, count):
    rnd = random.Random(seed)
    return [random_object(rnd) for _ in range(count)]


def damaged(rnd, record):
    """A record that was cut short, or some of whose bytes are others."""
    if rnd.randrange(2) == 0:
        return record[: rnd.randint(0, len(record))]
    changed = bytearray(record)
    for _ in range(rnd.randint(1, 8)):
        changed[rnd.randrange(len(changed))] = rnd.getrandbits(8)
    return bytes(changed)


def readable(records):
    """Those with an instance: of a record without one the library's reader ends the process."""
    return [record for record in records if decode(record)[0].instances]


# The commands.


class Mismatch(Exception):
    pass


class Program:
    """record_tool, run in a folder of its own."""

    def __init__(self, folder, command):
        self.folder = folder
        self.command = command

    def run(self, *arguments):
        return subprocess.run(
            [*self.command, *arguments], cwd=self.folder, capture_output=True, timeout=100
        )

    def run_well(self, *arguments):
        done = self.run(*arguments)
        if done.returncode != 0:
            raise Mismatch(f"{arguments}: {done.returncode}, {done.stderr.decode()[-500:]}")

    def encode(self, text):
        (self.folder / "in.txt").write_bytes(text.encode())
        self.run_well("encode", "in.txt", "out.bin")
        return split((self.folder / "out.bin").read_bytes())

    def describe(self, records):
        (self.folder / "in.bin").write_bytes(joined(records))
        self.run_well("describe", "in.bin", "out.txt")
        return split_text((self.folder / "out.txt").read_bytes().decode())

    def check(self, records):
        (self.folder / "in.bin").write_bytes(joined(records))
        self.run_well("check", "in.bin", "out.txt")
        return split_text((self.folder / "out.txt").read_bytes().decode())

    def random(self, seed, count):
        self.run_well("random", str(seed), str(count), "random.txt", "random.bin")
        text = (self.folder / "random.txt").read_bytes().decode()
        return text, split((self.folder / "random.bin").read_bytes())


def split_text(text):
    """A text for each object."""
    return [f"object{part.rstrip(chr(10))}\n" for part in ("\n" + text).split("\nobject")[1:]]


def shown(value):
    return value.hex(" ") if isinstance(value, bytes) else value


def compare(what, expected, actual):
    """Lists that must be the same; says of the first that are not."""
    if len(expected) != len(actual):
        raise Mismatch(f"{what}: {len(expected)} expected, {len(actual)} found")
    for index, (left, right) in enumerate(zip(expected, actual)):
        if left != right:
            raise Mismatch(f"{what} {index}\nexpected\n{shown(left)}\nfound\n{shown(right)}")
    if len(expected) > 1:
        print(f"{what}: {len(expected)} alike")


def descriptions(records):
    return [describe(*decode(record)) for record in records]


def checked_descriptions(records):
    found = []
    for record in records:
        obj, consumed = decode(record)
        found.append(describe(obj, f"{consumed} {decimal(check_record(record))}"))
    return found


def compare_checked(what, records, program):
    """By the checked reader, which reads what ends the process of the other one as well."""
    compare(what, checked_descriptions(records), program.check(records))


def check_ours(program, seed, count):
    objects = random_objects(seed, count)
    records = [encode(obj) for obj in objects]
    text = "".join(map(describe, objects))
    compare("our objects, parsed again", split_text(text), [describe(o) for o in parse(text)])
    compare("our objects, encoded", records, program.encode(text))
    rnd = random.Random(seed)
    for what, given in (
        ("our records", records),
        ("damaged records", [damaged(rnd, r) for r in records]),
    ):
        alive = readable(given)
        compare(f"{what}, described", descriptions(alive), program.describe(alive))
        compare_checked(f"{what}, checked", given, program)


def check_theirs(program, seed, count):
    text, records = program.random(seed, count)
    objects = parse(text)
    if len(objects) != count:
        raise Mismatch(f"{len(objects)} random objects instead of {count}")
    compare("their objects, described again", split_text(text), [describe(o) for o in objects])
    compare("their objects, encoded", [encode(obj) for obj in objects], records)
    given = readable(records)
    compare("their records, described", descriptions(given), program.describe(given))


def prefixes(record):
    return [record[:length] for length in range(len(record))]


def check_golden(program, folder):
    """NAME.bin reads as NAME.txt. It is what NAME.source.txt gives, where there is one, else
    NAME.txt; those whose name begins with read_ are only read."""
    files = sorted(folder.glob("*.bin"))
    if len(files) < 8:
        raise Mismatch(f"only {len(files)} golden records in {folder}")
    for file in files:
        record = file.read_bytes()
        text = file.with_suffix(".txt").read_bytes().decode()
        compare(f"{file.name}, described by us", [text], descriptions([record]))
        if readable([record]):
            compare(f"{file.name}, described", [text], program.describe([record]))
        else:
            check_assertion(program, record)
        compare_checked(f"{file.name}, checked", [record], program)
        compare_checked(f"{file.name}, cut anywhere", prefixes(record), program)
        if not file.name.startswith("read_"):
            source = file.with_suffix(".source.txt")
            text = source.read_bytes().decode() if source.exists() else text
            compare(f"{file.name}, encoded by us", [record], [encode(o) for o in parse(text)])
            compare(f"{file.name}, encoded", [record], program.encode(text))
    print(f"{len(files)} golden records")


def check_example(root):
    """The bytes of the worked example in the documentation."""
    page = (root / "docs" / "record_format.md").read_text()
    rows = re.findall(r"^    ([0-9A-F]{4})  ((?:[0-9A-F]{2} ?)+)", page, re.MULTILINE)
    example = (root / "tests" / "record" / "golden" / "example.bin").read_bytes()
    compare("worked example", [example], [bytes.fromhex("".join(row[1] for row in rows))])
    offsets = [int(row[0], 16) for row in rows]
    sizes = [len(bytes.fromhex(row[1])) for row in rows]
    compare("rows of the worked example", [sum(sizes[:i]) for i in range(len(sizes))], offsets)


def without_indentation(text):
    return re.sub(r"^ +", "", text, flags=re.MULTILINE)


def check_loops(root):
    """The C++ of the documentation is what is compiled and tested."""
    page = (root / "docs" / "record_format.md").read_text()
    tests = (root / "KRCommon" / "objects").glob("*_test.cpp")
    tested = "".join(without_indentation(file.read_text()) for file in tests)
    pieces = re.findall(r"^```cpp\n(.*?)^```", page, re.MULTILINE | re.DOTALL)
    compare("pieces of code in the documentation that are tested", [True] * 4,
            [without_indentation(piece) in tested for piece in pieces])


def check_assertion(program, record):
    (program.folder / "in.bin").write_bytes(joined([record]))
    done = program.run("describe", "in.bin", "out.txt")
    message = b"*EMR Assertion failed for 'obj->Instances.size() > 0' in Objects.cpp:"
    if done.returncode != 1 or message not in done.stderr:
        raise Mismatch(f"no instances: {done.returncode}, {done.stderr.decode()}")


def check(program, *emulator):
    command = [*emulator, str(pathlib.Path(program).resolve())]
    root = pathlib.Path(__file__).resolve().parents[2]
    check_example(root)
    check_loops(root)
    with tempfile.TemporaryDirectory() as name:
        tool = Program(pathlib.Path(name), command)
        check_golden(tool, root / "tests" / "record" / "golden")
        check_ours(tool, 1, 10000)
        check_theirs(tool, 1, 10000)


def read_records(arguments):
    data = pathlib.Path(arguments[-1]).read_bytes()
    return [data] if "--raw" in arguments else split(data)


def write_records(records, arguments):
    data = b"".join(records) if "--raw" in arguments else joined(records)
    pathlib.Path(arguments[-1]).write_bytes(data)


def main(command="", *arguments):
    if command == "describe" and arguments:
        sys.stdout.write("".join(descriptions(read_records(arguments))))
    elif command == "encode" and len(arguments) >= 2:
        text = pathlib.Path(arguments[-2]).read_text()
        write_records([encode(obj) for obj in parse(text)], arguments)
    elif command == "generate" and len(arguments) == 3:
        objects = random_objects(int(arguments[0]), int(arguments[1]))
        pathlib.Path(arguments[2] + ".txt").write_text("".join(map(describe, objects)))
        pathlib.Path(arguments[2] + ".bin").write_bytes(joined(map(encode, objects)))
    elif command == "check" and arguments:
        check(*arguments)
    else:
        sys.stderr.write(__doc__)
        return 2
    return 0


if __name__ == "__main__":
    try:
        sys.exit(main(*sys.argv[1:]))
    except Mismatch as mismatch:
        sys.exit(str(mismatch))
