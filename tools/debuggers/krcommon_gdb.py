"""gdb's printers of KRCommon's types: records and their instances, boxes, GUIDs, colours and times.

The package libkrcommon-dev lets gdb load them with the library. By hand: source .../krcommon_gdb.py
A record's members are known where the library's debug symbols are.
"""

import struct

import gdb
import gdb.printing


def members(value, *names):
    return [(name, value[name]) for name in names]


class Time:
    """ACE_Time_Value: seconds with six decimals."""

    def __init__(self, value):
        self.value = value

    def to_string(self):
        seconds, microseconds = self.parts()
        return f"{seconds}.{microseconds:06d} s"

    def parts(self):
        try:
            time = self.value["tv_"]
            return int(time["tv_sec"]), int(time["tv_usec"])
        except gdb.error:
            # Without ACE's own debug symbols its members are not known. On both systems the seconds have 64
            # bits and stand behind the pointer to the table of functions.
            memory = gdb.selected_inferior().read_memory(int(self.value.address) + 8, 12)
            return struct.unpack("<qi", bytes(memory))


class Box:
    """The minima and the maxima, or that the box holds no value."""

    def __init__(self, value):
        self.value = value

    def to_string(self):
        text = "({MinX}, {MinY}) to ({MaxX}, {MaxY})".format(
            **{name: self.value[name] for name in ("MinX", "MinY", "MaxX", "MaxY")})
        return text if int(self.value["IsSet"]) else f"not set, {text}"


class Guid:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        node = [int(self.value["Data4"][i]) for i in range(8)]
        return "{{{:08X}-{:04X}-{:04X}-{:02X}{:02X}-{}}}".format(
            int(self.value["Data1"]), int(self.value["Data2"]), int(self.value["Data3"]), node[0],
            node[1], "".join(f"{byte:02X}" for byte in node[2:]))


class Rgb:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        return "#" + "".join(f"{int(self.value[part]):02X}" for part in ("red", "green", "blue"))


class Rgb_Area:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        return f"{Rgb(self.value['color']).to_string()} area {self.value['area']}"


class Hsv:
    """Degrees and two parts of 1; -1 degrees are no hue."""

    def __init__(self, value):
        self.value = value

    def to_string(self):
        hue = int(self.value["hue"])
        return f"hsv({'none' if hue < 0 else hue}, {self.value['saturation']}, {self.value['value']})"


class Sensor:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        return f"{int(self.value['word1'])}.{int(self.value['word2'])}"


class Instance:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        return f"at {Time(self.value['Time']).to_string()} {Box(self.value['Box']).to_string()}"

    def children(self):
        return members(self.value, "PersonValue", "VehicleValue", "ObjectValue", "UnknownValue",
                       "PointX", "PointY", "Colors")


class Record:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        return "object {} of sensor {}, first seen {}, {} s".format(
            int(self.value["ObjectId"]), Sensor(self.value["SensorId"]).to_string(),
            Time(self.value["FirstSeenTime"]).to_string(), int(self.value["Duration"]))

    def children(self):
        return members(self.value, "DetectorType", "ClassScores", "Instances", "Metadata",
                       "AuxiliaryData")


def printers():
    collection = gdb.printing.RegexpCollectionPrettyPrinter("KRCommon")
    for name, pattern, printer in (
            ("time", "^ACE_Time_Value$", Time), ("box", "^Geom_Box2D<.*>$", Box),
            ("guid", "^KR_GUID$", Guid), ("rgb", "^ns__RgbColor$", Rgb),
            ("rgb_area", "^ns__RgbColorArea$", Rgb_Area), ("hsv", "^ns__HsvColor$", Hsv),
            ("sensor", "^ns__SensorId$", Sensor), ("instance", "^KR_ObjectBase::Instance$", Instance),
            ("record", "^KR_ObjectBase$", Record)):
        collection.add_printer(name, pattern, printer)
    return collection


gdb.printing.register_pretty_printer(gdb.current_objfile(), printers(), replace=True)
