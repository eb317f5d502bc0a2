"""What the tests share."""

import importlib.util
import pathlib
import re
import sqlite3
import threading

ROOT = pathlib.Path(__file__).resolve().parents[2]


def oracle():
    """The reader and writer of records that has no code in common with the library."""
    path = ROOT / "tests" / "record" / "record.py"
    spec = importlib.util.spec_from_file_location("record_oracle", path)
    module = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(module)
    return module


def in_threads(count, work):
    """Runs work(index) in so many threads at once; raises what one of them has raised."""
    failures = []
    begin = threading.Barrier(count)

    def run(index):
        try:
            begin.wait()
            work(index)
        except BaseException as error:  # told by the caller's thread
            failures.append(error)

    threads = [threading.Thread(target=run, args=(index,)) for index in range(count)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    if failures:
        raise failures[0]


def store_schema(version):
    """As the video search has it in its sources."""
    source = ROOT / "examples" / "video_search" / "store" / "Store_File.cpp"
    texts = re.findall(r'(\w*schema) = R"\((.*?)\)"', source.read_text(), re.S)
    found = dict(texts)
    return found["schema"] + (found["traits_schema"] if version > 1 else "")


def make_store(path, records, version=2):
    """A store of encoded records of one recording: (object id, time, bytes) each."""
    database = sqlite3.connect(path)
    database.executescript(store_schema(version))
    database.execute(
        "INSERT INTO recording VALUES ('run', 'a.avi', 3, 1, 10, 20, 640, 480, 5, 'complete', NULL)"
    )
    database.execute("INSERT INTO picture VALUES ('run', 15, x'FFD8'), ('run', 12, NULL)")
    database.executemany(
        "INSERT INTO object VALUES (3, 1, ?, 'run', ?, ?)",
        [(object_id, time, data) for object_id, time, data in records],
    )
    database.execute(f"PRAGMA application_id = {0x4B525653}")
    database.execute(f"PRAGMA user_version = {version}")
    database.commit()
    database.close()
