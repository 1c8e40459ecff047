#!/usr/bin/env python3
"""End-to-end tests of the program brv, pack, unpack, sweep and log: brv_runtime_test.py BRV PROJECT_DIR [unittest arguments].

Containers are checked against Python's zlib in both directions; sizes, times and lines are by hand.
"""
import os
import pty
import random
import re
import resource
import signal
import stat
import struct
import subprocess
import tempfile
import time
import zlib
from pathlib import Path

from brv_support import BRV, BrvTest, brv, run_tests

HELP = " (brv --help lists the options)"
MOST_SECONDS = 5   # in which everything stops


def container(data, level=1, size=None):
    return struct.pack("<BI3x", 1, len(data) if size is None else size) + zlib.compress(data, level)


def piped(command, data):
    return subprocess.run([BRV, command, "-"], input=data, capture_output=True, timeout=60, check=True).stdout


class FolderTest(BrvTest):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.folder.chmod(0o755)

    def names(self):
        return sorted(path.name for path in self.folder.iterdir())

    def brv_within(self, limit, most, *args, stdin=b""):
        """With a limit of the process; a file that outgrows its limit is an error and no signal, as a full disk is."""
        def prepare():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(limit, (most, most))
        return subprocess.run([BRV, *args], input=stdin, capture_output=True, preexec_fn=prepare, timeout=60)


class Pack(FolderTest):
    def test_containers_of_zlib_in_both_directions(self):
        rng = random.Random(1)
        for name, data in [("empty", b""), ("byte", b"\0"), ("text", b"a,b\n1,2\n" * 50_000), ("noise", rng.randbytes(300_000))]:
            with self.subTest(name=name):
                plain, packed = self.folder / name, self.folder / (name + ".brvz")
                plain.write_bytes(data)
                done = brv("pack", str(plain))
                self.assertEqual((done.returncode, done.out, done.err), (0, "", ""))
                written = packed.read_bytes()
                self.assertEqual((written[:8], zlib.decompress(written[8:])), (container(data)[:8], data))
                self.assertEqual(piped("pack", data), written)
                plain.unlink()
                self.assertEqual(brv("unpack", str(packed)).returncode, 0)
                self.assertEqual(plain.read_bytes(), data)
                for level in (0, 9):
                    self.assertEqual(piped("unpack", container(data, level)), data)
        self.assertEqual(len(self.names()), 8, "nothing else is left")

    def test_malformed_containers_tell_the_reason_and_write_nothing(self):
        good = container(b"hello")
        rows = [(b"", "malformed input (too small)"), (good[:7], "malformed input (too small)"),
                (b"\2" + good[1:], "malformed input (unexpected compression method)"),
                (container(b"hello", size=6), "unexpected size after uncompress (size-actual 5, size-expected 6, zlib-error-code 0)"),
                (container(b"hello", size=4), "non-zero errorcode from uncompress() (zlib-error-code -5)"),   # Z_BUF_ERROR
                (good[:-1] + b"x", "non-zero errorcode from uncompress() (zlib-error-code -3)"),              # Z_DATA_ERROR
                (struct.pack("<BI3x", 1, 2**32 - 1) + b"x", "unexpected size after uncompress (size-expected 4294967295, "
                                                            "more than a stream of 1 byte can hold)")]
        path, kept = self.folder / "x.brvz", self.folder / "kept"
        kept.write_bytes(b"before")
        for data, reason in rows:
            with self.subTest(reason=reason):
                path.write_bytes(data)
                self.expect_failure(["unpack", str(path)], None, 3, f"{path}: {reason}")
                self.expect_failure(["unpack", str(path), "-o", str(kept)], None, 3, f"{path}: {reason}")
                self.assertEqual((self.names(), kept.read_bytes()), (["kept", "x.brvz"], b"before"))
        if self.brv_within(resource.RLIMIT_AS, 2**30, "--version").returncode == 0:   # sanitized code cannot start there
            done = self.brv_within(resource.RLIMIT_AS, 2**30, "unpack", str(path))   # the last one: 4 GiB are never asked for
            self.assertEqual(done.returncode, 3, done.stderr)

    def test_output(self):
        plain, packed = self.folder / "a", self.folder / "a.brvz"
        plain.write_bytes(b"new")
        packed.write_bytes(b"old")
        self.expect_failure(["pack", str(plain)], None, 2, f"{packed} exists already; -o {packed} replaces it" + HELP)
        self.expect_failure(["pack", str(plain), "-o", str(plain)], None, 2, f"-o names the input {plain}" + HELP)
        self.expect_failure(["unpack", str(plain)], None, 2, f"{plain} does not end in .brvz; -o names the output" + HELP)
        self.expect_failure(["pack", str(self.folder / "none")], None, 3, f"{self.folder}/none: cannot be opened: No such file or directory")
        self.expect_failure(["pack", str(plain), "-o", "/no/such"], None, 1, "/no/such: cannot be written: No such file or directory")
        packed.chmod(0o640)
        (self.folder / "link").symlink_to("a.brvz")
        self.assertEqual(brv("pack", str(plain), "-o", str(self.folder / "link")).returncode, 0)
        self.assertEqual((packed.read_bytes()[8:], stat.S_IMODE(packed.stat().st_mode)), (container(b"new")[8:], 0o640))
        self.assertEqual((brv("pack", str(plain), "-o", "/dev/null").returncode, stat.S_ISCHR(os.stat("/dev/null").st_mode)), (0, True))
        self.assertEqual(self.names(), ["a", "a.brvz", "link"])

    def test_no_room(self):
        packed = self.folder / "zeros.brvz"
        packed.write_bytes(container(bytes(10_000)))
        done = self.brv_within(resource.RLIMIT_FSIZE, 5_000, "unpack", str(packed))
        self.assertEqual((done.returncode, done.stderr.decode()), (1, f"brv: {packed.with_suffix('')}: cannot be written: File too large\n"))
        self.assertEqual(self.names(), ["zeros.brvz"])

    def test_too_large(self):
        path = self.folder / "sparse"
        with path.open("wb") as file:
            file.truncate(3_700_000_001)
        self.expect_failure(["pack", str(path)], None, 3, f"{path}: has more than 3700000000 bytes")

    def test_interrupt(self):
        path = self.folder / "noise"
        path.write_bytes(random.Random(2).randbytes(1 << 20) * 400)   # seconds of work
        leader, follower = pty.openpty()
        process = subprocess.Popen([BRV, "pack", str(path)], stdout=subprocess.PIPE, stderr=follower)
        os.close(follower)
        shown = b""
        while not re.search(rb"packing .*, \d+ s", shown):
            shown += os.read(leader, 4096)   # an error when the program ends before
        process.send_signal(signal.SIGINT)
        out, _ = process.communicate(timeout=MOST_SECONDS)
        os.close(leader)
        self.assertEqual((process.returncode, out, self.names()), (130, b"", ["noise"]))


class Sweep(FolderTest):
    def setUp(self):
        super().setUp()
        self.cache = self.folder / "cache"
        (self.cache / "tree" / "deep").mkdir(parents=True)
        outside = self.folder / "outside"
        outside.write_bytes(bytes(5_000))
        for name, size, day in [("old", 2_000, 1), ("tree/deep/x", 3_000, 2), ("tree/y", 1, 4), ("new", 500, 5)]:
            path = self.cache / name
            path.write_bytes(bytes(size))
            os.utime(path, (86_400 * day, 86_400 * day))   # of January 1970
        (self.cache / "link").symlink_to(outside)
        os.utime(self.cache / "link", (86_400 * 3, 86_400 * 3), follow_symlinks=False)

    def sweep(self, *args, **more):
        return subprocess.run([BRV, "sweep", str(self.cache), *args], capture_output=True, timeout=60, text=True, check=False, **more)

    def left(self):
        return sorted(path.name for path in self.cache.iterdir())

    def test_orders(self):
        """5501 bytes in four entries, of which the link weighs nothing."""
        old, tree, new = ("2000", 2, "old"), ("3001", 5, "tree"), (" 500", 6, "new")
        link = ("   0", 4, "link")
        rows = [("oldest", ["--max-bytes", "4k", "--max-entries", "9"], [old], "3 entries, 3501 bytes", "9 entries, 4096 bytes"),
                ("oldest", ["--max-bytes", "1M", "--max-entries", "3", "--reserve", "1"], [old, link], "2 entries, 3501 bytes",
                 "2 entries, 1048575 bytes"),
                ("largest", ["--max-bytes", "2600", "--max-entries", "064999", "--reserve", "2k"], [tree, old],
                 "2 entries, 500 bytes", "64998 entries, 552 bytes"),
                ("largest", ["--max-bytes", "1", "--max-entries", "9", "--reserve", "1G"], [tree, old, new], "1 entry, 0 bytes",
                 "8 entries, 0 bytes")]
        for order, limits, gone, left, allowed in rows:
            with self.subTest(limits=limits):
                table = " bytes  newest write (UTC)   entry\n".removeprefix(" ") + "".join(
                    f" {size}  1970-01-0{day} 00:00:00  {self.cache}/{name}\n" for size, day, name in gone)
                size = sum(int(row[0]) for row in gone)
                count = f"{len(gone)} {'entry' if len(gone) == 1 else 'entries'}, {size} bytes"
                before = self.left()
                done = self.sweep("--order", order, *limits, "--dry-run")
                self.assertEqual((done.returncode, done.stderr, self.left()), (0, "", before))
                self.assertEqual(done.stdout, f"{table}\nWould remove    {count}\nWould leave     {left}\nAllowed         {allowed}\n")
                done = self.sweep("--order", order, *limits)
                self.assertEqual((done.returncode, done.stderr), (0, ""))
                self.assertEqual(done.stdout, f"{table}\nRemoved         {count}\nLeft            {left}\nAllowed         {allowed}\n")
                self.assertEqual(self.left(), sorted(set(before) - {name for _, _, name in gone}))
            self.doCleanups()
            self.setUp()
        self.assertEqual((self.folder / "outside").stat().st_size, 5_000)

    def test_within_limits(self):
        done = self.sweep("--max-bytes", "5501", "--max-entries", "4", "--order", "oldest")
        self.assertEqual((done.returncode, done.stdout), (0, "Removed         0 entries, 0 bytes\nLeft            4 entries, 5501 bytes\n"
                                                             "Allowed         4 entries, 5501 bytes\n"))

    def test_limits_that_cannot_be_met(self):
        """What is in the tree belongs to somebody else, or to a folder that is not to be written."""
        self.cache.chmod(0o777)
        (self.cache / "tree").chmod(0o555)
        self.addCleanup((self.cache / "tree").chmod, 0o755)
        user = {"user": 65534} if os.geteuid() == 0 else {}
        try:
            done = self.sweep("--max-bytes", "1k", "--max-entries", "9", "--order", "oldest", **user)
        except PermissionError:
            self.skipTest("another user cannot run the program where it is")
        self.assertEqual(done.returncode, 7, done.stderr)
        self.assertEqual(done.stderr, f"brv: {self.cache}/tree: could not be removed, or not whole\n"
                                      f"brv: {self.cache}: the limits cannot be met\n")
        self.assertIn("tree", self.left())

    def start_held_up(self):
        """Of 3004 entries it removes some and then waits: nobody reads its list."""
        for i in range(3_000):
            (self.cache / f"{i:04}{'x' * 60}").write_bytes(b"x")
        process = subprocess.Popen([BRV, "sweep", str(self.cache), "--max-bytes", "1", "--max-entries", "1", "--order", "largest"],
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        before, left = None, len(self.left())
        while before != left or left > 3_000:
            time.sleep(0.3)
            before, left = left, len(self.left())
        return process

    def test_entries_that_others_remove(self):
        process = self.start_held_up()
        others = self.left()
        for name in others:
            (self.cache / name).unlink()
        out, err = process.communicate(timeout=MOST_SECONDS)
        gone = 3_004 - len(others)
        self.assertEqual((process.returncode, err), (0, b""))
        table, summary = out.decode().split("\n\n")
        self.assertEqual(table.count("\n"), gone)
        self.assertEqual(summary.splitlines()[:2], [f"Removed         {gone} entries, {5_501 + gone - 3} bytes", "Left            0 entries, 0 bytes"])

    def test_interrupt(self):
        """What is not listed by then stays."""
        process = self.start_held_up()
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(MOST_SECONDS), 130)
        out, err = process.communicate()
        gone = 3_004 - len(self.left())
        self.assertEqual(err, b"")
        self.assertIn(gone - out.count(b"\n"), (-1, 0))   # the header; the entry whose line found no reader
        self.assertLess(gone, 3_000)

    def test_bad_command_lines(self):
        limits = ["--max-bytes", "1", "--max-entries", "1", "--order", "oldest"]
        for path, reason in [("/no/such", "No such file or directory"), ("/dev/null", "Not a directory")]:
            self.expect_failure(["sweep", path, *limits], None, 3, f"{path}: cannot be swept: {reason}")
        for i, text in [(1, "0"), (1, ""), (1, "k"), (1, "1.5k"), (1, "-1"), (1, "1T"), (1, "16777216000000G"), (3, "0"), (3, "65000"), (3, "0x10"), (5, "newest")]:
            with self.subTest(i=i, text=text):
                self.assertEqual(self.sweep(*limits[:i], text, *limits[i + 1:]).returncode, 2)
        for i in (0, 2, 4):
            self.assertEqual(self.sweep(*limits[:i], *limits[i + 2:]).returncode, 2)
        self.assertEqual(len(self.left()), 4)


class Log(FolderTest):
    def setUp(self):
        super().setUp()
        self.log = self.folder / "app.log"

    def lines(self):
        """Of all files, the oldest first; without those that the channel adds."""
        closed = [name for name in self.names() if name != "app.log"]
        bytes_ = b"".join((self.folder / name).read_bytes() for name in [*closed, "app.log"])
        return [line for line in bytes_.split(b"\n") if b" delete-log " not in line]

    def test_rotation_and_retention(self):
        lines = [b"line %05d" % i for i in range(3_000)] + [b"", b"\xff\0\r", b"x" * 200_000, b"no end"]
        for keep, files in [("0", 33), ("3", 3)]:
            with self.subTest(keep=keep):
                done = brv("log", str(self.log), "--rotate-size", "1k", "--keep", keep, stdin=b"\n".join(lines))
                self.assertEqual((done.returncode, done.out, done.err, len(self.names())), (0, "", "", files))
                kept = self.lines()
                self.assertEqual(kept[-1], b"")
                self.assertEqual(kept[:-1], lines[-len(kept) + 1:])
                self.assertEqual(len(kept) == len(lines) + 1, keep == "0")
            for name in self.names():
                (self.folder / name).unlink()

    def test_interrupt_keeps_what_a_pipe_brings(self):
        """Ctrl-C comes to the program that writes, too, and that may have last words."""
        process = subprocess.Popen([BRV, "log", str(self.log), "--rotate-size", "1M", "--keep", "2"], stdin=subprocess.PIPE, stderr=subprocess.PIPE)
        process.stdin.write(b"one\ntwo\nbeg")
        process.stdin.flush()
        until = time.monotonic() + MOST_SECONDS
        while time.monotonic() < until and (not self.log.exists() or self.log.read_bytes() != b"one\ntwo\n"):
            time.sleep(0.02)
        process.send_signal(signal.SIGINT)
        time.sleep(0.3)
        _, err = process.communicate(b"un\n" + b"last\n" * 30_000 + b"no end", timeout=MOST_SECONDS)
        self.assertEqual((process.returncode, err), (130, b""))
        self.assertEqual(self.log.read_bytes(), b"one\ntwo\nbegun\n" + b"last\n" * 30_000 + b"no end\n")

    def test_interrupt_ends_a_terminal(self):
        leader, follower = pty.openpty()
        process = subprocess.Popen([BRV, "log", str(self.log), "--rotate-size", "1M", "--keep", "2"], stdin=follower)
        os.write(leader, b"one\n")
        until = time.monotonic() + MOST_SECONDS
        while time.monotonic() < until and (not self.log.exists() or self.log.read_bytes() != b"one\n"):
            time.sleep(0.02)
        process.send_signal(signal.SIGINT)
        self.assertEqual((process.wait(MOST_SECONDS), self.log.read_bytes()), (130, b"one\n"))
        os.close(leader)
        os.close(follower)

    def test_no_room(self):
        done = self.brv_within(resource.RLIMIT_FSIZE, 10, "log", str(self.log), "--rotate-size", "0", "--keep", "0",
                               stdin=b"1234\n1234\n1234\n1234\n")
        self.assertEqual((done.returncode, done.stderr.decode()),
                         (1, f"brv: {self.log}: cannot be written for now: File too large\n"
                             f"brv: {self.log}: 2 lines could not be written: File too large\n"))
        self.assertEqual(self.log.read_bytes(), b"1234\n1234\n")

    def test_bad_command_lines(self):
        rest = ["--rotate-size", "1k", "--keep", "3"]
        rows = [("/no/such/app.log", 1, "/no/such/app.log: cannot be opened: No such file or directory"),
                (str(self.folder / "app"), 2, f"'{self.folder}/app' needs a name and an extension, such as app.log" + HELP),
                (str(self.folder / "A.LOG"), 2, f"'{self.folder}/A.LOG': --keep finds files by an extension in lower case, such as .log" + HELP)]
        for path, code, message in rows:
            self.expect_failure(["log", path, *rest], "x\n", code, message)
        self.assertEqual(brv("log", str(self.log), "--keep", "3").returncode, 2)
        for keep in ("-1", "0x10", "5 ", "18446744073709551616"):
            self.assertEqual(brv("log", str(self.log), *rest[:3], keep).returncode, 2)
        self.assertEqual(self.names(), [])


if __name__ == "__main__":
    run_tests()
