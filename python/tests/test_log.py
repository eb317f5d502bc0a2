"""The log, in processes of its own: there is one for each."""

import os
import pathlib
import subprocess
import sys
import tempfile
import textwrap
import unittest


class Log(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def run_host(self, code):
        """Runs a host in the folder and gives the lines of its log, without their times."""
        host = "import ctypes, threading, time\nfrom krcommon import errors, log\n" + textwrap.dedent(code)
        done = subprocess.run(
            [sys.executable, "-B", "-c", host],
            cwd=self.folder, capture_output=True, text=True, errors="backslashreplace", timeout=60,
        )  # fmt: skip
        self.assertEqual(done.returncode, 0, done.stderr)
        files = sorted(self.folder.glob("logs/host_*_part_*.log"))
        return [line for file in files for line in file.read_text("utf-8", "backslashreplace").splitlines()]

    def test_lines_of_each_priority_go_into_the_file(self):
        lines = self.run_host(
            """
            assert log.file() == "" and log.status().level == -1
            with log.open("logs", "host") as opened:
                log.set_level(4)
                log.debug("a debug line")
                log.info("25 €")
                log.error(b"bytes \\xff")
                log.emergency("two\\nlines \\udc80")
                status = log.status()
                assert status.is_good and status.lines == 4 and status.lines_lost == 0, status
                assert log.file().endswith(".log"), log.file()
                assert log.reopen()
            log.info("behind the end")
            """
        )
        self.assertEqual(len(lines), 5)
        self.assertRegex(lines[0], r"^\d\d:\d\d:\d\d\.\d{6} T\d+ DBG a debug line$")
        self.assertRegex(lines[1], " INF 25 €$")
        self.assertRegex(lines[2], r"\*ERR bytes ")
        self.assertRegex(lines[3], r"\*EMR two.*lines \\udc80$")
        self.assertRegex(lines[4], "behind the end$")

    def test_the_level_holds_lines_back(self):
        lines = self.run_host(
            """
            with log.open("logs", "host"):
                log.set_level(1)
                log.info("not wanted")
                log.error("wanted")
            """
        )
        self.assertEqual([line[-6:] for line in lines], ["wanted"])

    def test_python_s_logging_goes_into_it(self):
        lines = self.run_host(
            """
            import logging
            with log.open("logs", "host"):
                log.set_level(4)
                root = logging.getLogger()
                root.setLevel(logging.DEBUG)
                root.addHandler(log.Handler())
                logging.debug("d")
                logging.info("i %d", 5)
                logging.warning("w")
                logging.critical("c")
                try:
                    raise ValueError("v")
                except ValueError:
                    logging.exception("e")
            """
        )
        self.assertEqual([line.split(" ", 2)[2] for line in lines[:1]], ["DBG d"])
        for line, text in zip(lines, ("DBG d", "INF i 5", "*ERR w", "*EMR c", "*ERR e")):
            self.assertIn(text, line)
        self.assertIn("ValueError: v", lines[4])
        self.assertEqual(len(lines), 5)

    def test_threads_lose_no_line(self):
        lines = self.run_host(
            """
            def work(number):
                for line in range(500):
                    log.info(f"{number} {line}")
            with log.open("logs", "host"):
                log.set_level(4)
                threads = [threading.Thread(target=work, args=(n,)) for n in range(4)]
                [thread.start() for thread in threads]
                [thread.join() for thread in threads]
            """
        )
        found = {tuple(line.split()[-2:]) for line in lines}
        self.assertEqual(found, {(str(n), str(m)) for n in range(4) for m in range(500)})

    def test_there_is_one_at_a_time_and_a_host_may_have_a_thread_of_its_own(self):
        self.run_host(
            """
            opened = log.open("logs", "host", has_thread=False)
            try:
                log.open("logs", "host")
                raise SystemExit("a second one")
            except errors.InUseError as error:
                assert str(error) == "in use", error
            opened.run(0)
            opened.run(0.05)
            threading.Timer(0.2, opened.stop).start()
            opened.run()
            runner = threading.Thread(target=opened.run)
            runner.start()
            time.sleep(0.2)
            opened.close()
            runner.join()
            opened.close()
            log.open("logs", "host").close()
            try:
                opened.run(0)
                raise SystemExit("a closed one")
            except errors.ArgumentError:
                pass
            """
        )

    def test_a_log_that_is_left_open_does_not_hold_the_process(self):
        self.assertEqual(len(self.run_host('log.set_level(4); log.open("logs", "host"); log.info("x")')), 1)

    def test_sizes_and_options(self):
        self.run_host(
            """
            log.set_sizes(1000, 5000)
            assert log.sizes() == (1000, 5000)
            wanted = log.Options(log.Flag.RETRIES | log.Flag.FAST_LINES, 100, 20)
            log.set_options(wanted)
            assert log.options() == wanted, log.options()
            for call in (lambda: log.set_options(log.Options(1 << 20)), lambda: log.set_level(5),
                         lambda: log.line(9, "x"), lambda: log.open("logs", "a_part_b"),
                         lambda: log.open("a\\0b", "host")):
                try:
                    call()
                except errors.ArgumentError:
                    continue
                raise SystemExit("not refused")
            for call in (lambda: log.set_sizes(2**32, 5), lambda: log.set_level(-1),
                         lambda: log.set_options(log.Options(ring_lines=2**32))):
                try:
                    call()
                except (ctypes.ArgumentError, OverflowError):
                    continue
                raise SystemExit("cut to its bits")
            assert log.last_error() == ""
            """
        )

    def test_a_folder_that_cannot_be_is_told_by_the_status(self):
        (self.folder / "file").write_text("")
        self.run_host(
            """
            with log.open("file/logs", "host"):
                status = log.status()
                assert not status.is_good and status.last_error != 0, status
                assert log.last_error()
            """
        )


if __name__ == "__main__":
    unittest.main()
