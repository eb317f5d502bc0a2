"""Scans of 1,000,000 records into NumPy columns, and the same in C++: processor time, medians.

    KRCOMMON_LIBRARY=... PYTHONPATH=python scan.py SCAN_PEER.so [RECORDS]

    find      the positions of those that match, of records one behind the other; C++: kr_scan_records()
    columns   object id, time, duration and scores of all; C++: kr_list_records() and views, into vectors
"""

import ctypes
import statistics
import sys
import time

import numpy as np

from krcommon import Color, Filter, Instance, Record, Records

REPETITIONS = 7
DAY = 86_400
MIDNIGHT = 1_700_006_400
COLUMNS = ["object_id", "first_seen_time", "duration", "class_scores"]


def make_records(count):
    """As long as records of six instances of four or three colours are; what differs lies in the fixed block."""
    instances = [
        Instance(number=n, colors=[Color(n, n, n, 10)] * (4 if n < 4 else 3)) for n in range(6)
    ]
    record = Record(instances=instances, auxiliary=bytes(200)).encode()
    all_ = np.tile(np.frombuffer(record, np.uint8), (count, 1))
    rng = np.random.default_rng(1)

    def put(offset, values):
        part = values[:, None].view(np.uint8)
        all_[:, offset : offset + part.shape[1]] = part

    put(20, np.arange(count, dtype="<u8"))
    put(28, rng.integers(1, 3, count).astype("<i4"))
    put(44, MIDNIGHT + rng.integers(0, DAY, count).astype("<i8"))
    put(100, rng.integers(0, 60, count).astype("<u4"))
    return all_.reshape(-1)


def measured(call):
    begin = time.process_time()
    result = call()
    return time.process_time() - begin, result


def main(peer_path, count=1_000_000):
    peer = ctypes.CDLL(peer_path)
    find_peer = peer.scan_peer_find
    find_peer.restype = peer.scan_peer_columns.restype = ctypes.c_size_t
    find_peer.argtypes = [
        ctypes.c_void_p, ctypes.c_size_t, ctypes.c_int64, ctypes.c_int64, ctypes.c_int32, ctypes.c_float
    ]  # fmt: skip
    peer.scan_peer_columns.argtypes = [ctypes.c_void_p, ctypes.c_size_t]
    data = make_records(count)
    records = Records(data)
    place = data.ctypes.data, data.size
    begin, end = MIDNIGHT + DAY // 3, MIDNIGHT + DAY * 7 // 12
    wanted = Filter(detector_type=1, from_time=begin * 1_000_000, to_time=end * 1_000_000, min_duration=30)
    rows = {
        "find": (
            lambda: records.records(["position"], wanted).rows,
            lambda: find_peer(*place, begin, end, 1, 30.0),
        ),
        "columns": (
            lambda: records.records(COLUMNS).rows,
            lambda: peer.scan_peer_columns(*place),
        ),
    }
    print(f"{count} records, {data.size / 1e6:.0f} MB; {REPETITIONS} repetitions, processor time")
    for name, calls in rows.items():
        times = [[], []]
        for _ in range(REPETITIONS):
            found = []
            for spent, call in zip(times, calls):
                seconds, result = measured(call)
                spent.append(seconds)
                found.append(result)
            if found[0] != found[1] or found[0] == 0:
                sys.exit(f"{name}: {found[0]} rows in Python, {found[1]} in C++")
        python, cpp = map(statistics.median, times)
        print(f"{name:8} Python {python * 1e3:7.1f} ms, C++ {cpp * 1e3:7.1f} ms: {python / cpp:.2f} x")


if __name__ == "__main__":
    main(sys.argv[1], *map(int, sys.argv[2:]))
