#!/usr/bin/env python3
"""End-to-end tests of the program brv, fetch and rules: brv_network_test.py BRV PROJECT_DIR [unittest arguments].

Against the server of the library's own network tests (LoopbackServer.h lists what its paths answer), which runs under the
Python of this script: it needs aiohttp and cryptography.
"""
import csv
import io
import json
import os
import pty
import re
import signal
import stat
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from brv_support import BRV, PROJECT, BrvTest, run_tests

HELP = " (brv --help lists the options)"
values = {}   # ports and files of the server


def setUpModule():
    command = [sys.executable, "-I", "-B", str(PROJECT / "tests/support/loopback_server.py")]
    server = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
    values.update(entry.split("=", 1) for entry in server.stdout.readline().decode().rstrip("\n").split("\t"))

    def stop():
        server.stdin.close()
        server.stdout.close()
        server.wait()
    unittest.addModuleCleanup(stop)


def brv(*args):
    """As in brv_support, for replies that are no text."""
    done = subprocess.run([BRV, *args], stdin=subprocess.DEVNULL, capture_output=True, timeout=60)
    done.out, done.err = (stream.decode("utf-8", "replace") for stream in (done.stdout, done.stderr))
    return done


def url(path, port="http"):
    scheme = "https" if port.startswith("https") else "http"
    return f"{scheme}://127.0.0.1:{values[port]}{path}"


def pattern(size, start=0):
    return bytes(i % 251 for i in range(start, start + size))


def count(key):
    return brv("fetch", url("/counter?of=" + key)).out


class NetworkTest(BrvTest):
    def setUp(self):
        holder = tempfile.TemporaryDirectory()
        self.addCleanup(holder.cleanup)
        self.folder = Path(holder.name)

    def names(self):
        return sorted(path.name for path in self.folder.iterdir())

    def fetch_json(self, *args):
        done = brv("fetch", *args)
        self.assertEqual((done.returncode, done.err), (0, ""))
        return json.loads(done.out)


class Request(NetworkTest):
    def test_method_headers_and_fields(self):
        rows = [([], "GET", [], ""), (["--data", "k=v w", "--data", "a==&"], "POST", [], "a=%3D%26&k=v%20w"),
                (["--data", "k=v w", "--method", "GET"], "GET", [["k", "v w"]], ""),
                (["--data", "k=é", "--method", "PUT"], "PUT", [], "k=%C3%A9"), (["--method", "DELETE"], "DELETE", [], "")]
        for args, method, query, body in rows:
            with self.subTest(args=args):
                echo = self.fetch_json(url("/echo"), "--header", "X-One: a: b", "--header", "X-None:", *args)
                self.assertEqual((echo["method"], echo["query"], echo["body"]), (method, query, body))
                self.assertIn(["x-one", "a: b"], echo["headers"])
                self.assertIn(["x-none", ""], echo["headers"])

    def test_files(self):
        path = self.folder / "up.bin"
        path.write_bytes(pattern(3000))
        form = self.fetch_json(url("/echo-form"), "--file", f"upload={path}", "--data", "k=v")
        self.assertEqual([(p["name"], p["filename"], p["size"]) for p in form["parts"]], [("k", None, 1), ("upload", "up.bin", 3000)])

    def test_bad_command_lines(self):
        rows = [(["ftp://127.0.0.1/"], 2, "URL is not an http or https address of a host" + HELP),
                (["http://user:secret@/"], 2, "URL is not an http or https address of a host" + HELP),
                (["http://x/\n"], 2, "URL has control characters" + HELP),
                (["http://x/", "--header", "a b: c"], 2, "--header: 'a b' is no name of a header" + HELP),
                (["http://x/", "--header", "a: b\r\nc: d"], 2, "--header: the value of a has control characters" + HELP),
                (["http://x/", "--header", "secret"], 2, "--header: its form is NAME:VALUE" + HELP),
                (["http://x/", "--header", "content-length: 5"], 2, "--header: content-length is set by the program" + HELP),
                (["http://x/", "--timeout", "nan"], 2, "--timeout: 'nan' is no number of seconds" + HELP),
                (["http://x/", "--data", "k=1", "--data", "k=2"], 2, "--data: 'k' stands there twice" + HELP),
                (["http://x/", "--method", "A B"], 2, "--method: 'A B' is no name of a method" + HELP),
                (["http://x/", "--method", "GET", "--file", "f=/dev/null"], 2, "--file goes with POST and PUT only" + HELP),
                (["http://x/", "--rules-allow", ""], 2, "--rules-allow must not be empty" + HELP),
                (["http://x/", "--file", "f=/no/such"], 3, "/no/such: cannot be opened: No such file or directory"),
                (["http://x/", "--file", "f=/dev/null"], 3, "/dev/null: is not a file")]
        for args, code, message in rows:
            with self.subTest(args=args):
                self.expect_failure(["fetch", *args], None, code, message)
        self.assertEqual(brv("fetch", "http://x/", "-o", "a", "--parts", "b").returncode, 2)


class Reply(NetworkTest):
    def test_standard_output(self):
        for path in ("/bytes?n=1000000", "/bytes?n=1000000&chunked=1", "/bytes?n=0", "/gzip?n=70000", "/redirect?n=3&to=/bytes?n%3D5"):
            size = int(re.search(r"n(?:=|%3D)(\d+)$|n=(\d+)&chunked", path).expand(r"\1\2"))
            with self.subTest(path=path):
                done = brv("fetch", url(path), "--compressed")
                self.assertEqual((done.returncode, done.stderr, done.stdout), (0, b"", pattern(size)))

    def test_file(self):
        target, link = self.folder / "file", self.folder / "link"
        link.symlink_to("file")
        target.touch()
        target.chmod(0o750)
        for path, name in (("/bytes?n=70000", "file"), ("/bytes?n=10", "link"), ("/bytes?n=0", "file")):
            done = brv("fetch", url(path), "-o", str(self.folder / name))
            self.assertEqual((done.returncode, done.out, done.err), (0, "", ""))
            self.assertEqual((target.read_bytes(), stat.S_IMODE(target.stat().st_mode)), (pattern(int(path[9:])), 0o750))
        self.assertTrue(link.is_symlink())
        self.assertEqual(self.names(), ["file", "link"])
        self.assertEqual(brv("fetch", url("/bytes?n=10"), "-o", "/dev/stdout").stdout, pattern(10))   # a pipe
        self.assertEqual(brv("fetch", url("/bytes?n=10"), "-o", "/dev/null").returncode, 0)
        self.assertTrue(stat.S_ISCHR(os.stat("/dev/null").st_mode))
        self.assertEqual(brv("fetch", url("/bytes?n=10"), "-o", str(self.folder / "no/file")).returncode, 1)

    def test_failures(self):
        target = self.folder / "file"
        target.write_text("as it was")
        rows = [(url("/status/404"), [], 4, r"HTTP status 404\.\)\nbrv: status 404\n\Z"),
                (url("/bytes?n=100&status=500"), [], 4, "HTTP status 500"), (url("/auth/basic"), [], 4, "HTTP status 401"),
                (url("/", "refused"), [], 5, "Communications error 7 "), ("http://no-such-host.invalid/", [], 5, "no-such-host.invalid"),
                (url("/truncate", "fault"), [], 5, "Communications error 18 "), (url("/reset-mid-body", "fault"), [], 5, "Communications error "),
                (url("/no-answer", "fault"), ["--timeout", "0.2"], 5, "Communications error 28 "),
                (url("/redirect-loop"), [], 5, "Communications error 47 "), (url("/echo", "https"), [], 5, "Communications error 60 "),
                (url("/echo", "https_wrong_host"), ["--ca", values["ca_file"]], 5, "Communications error 60 ")]
        for address, args, code, message in rows:
            with self.subTest(address=address):
                done = brv("fetch", address.replace("//", "//user:secret@"), *args, "-o", str(target))
                self.assertEqual((done.returncode, done.out), (code, ""), done.err)
                self.assertRegex(done.err, r"\Abrv: .*" + message)
                self.assertNotIn("secret", done.err)
                self.assertEqual((self.names(), target.read_text()), (["file"], "as it was"))
                self.assertEqual(brv("fetch", address, *args).returncode, code)

    def test_certificates(self):
        self.assertEqual(self.fetch_json(url("/echo", "https"), "--ca", values["ca_file"])["method"], "GET")
        self.assertEqual(self.fetch_json(url("/echo", "https_self_signed"), "--insecure")["method"], "GET")

    def test_error_body(self):
        done = brv("fetch", url("/status/400?body=" + "%1B[2Ja%0Db%0D%0A%FF" + "x" * 5000))
        self.assertEqual((done.returncode, done.out), (4, ""))
        lines = done.err.splitlines()[1:]
        self.assertEqual(lines[0], "brv: \\x1B[2Ja\\x0Db")
        self.assertRegex(lines[1], r"\Abrv: \ufffd+x{4000,4096}\Z")
        self.assertRegex(lines[2], r"\Abrv: \.\.\. and \d+ bytes more\Z")

    def test_retry(self):
        path = "/status/503?times=1&then=200&body=done&key="
        self.assertEqual((brv("fetch", url(path + "brv_once")).returncode, count("brv_once")), (4, "1"))
        done = brv("fetch", url(path + "brv_twice"), "--retry")
        self.assertEqual((done.returncode, done.out, done.err, count("brv_twice")), (0, "done", "", "2"))
        self.assertEqual((brv("fetch", url("/status/404?key=brv_404"), "--retry").returncode, count("brv_404")), (4, "1"))


class Parts(NetworkTest):
    def test_parts(self):
        folder = self.folder / "parts"
        done = brv("fetch", url("/multipart?size=70000&piece=999"), "--parts", str(folder))
        self.assertEqual((done.returncode, done.err), (0, ""))
        self.assertEqual([line.split() for line in done.out.splitlines()[2:]],
                         [[f"part-00{k}.bin", "70000", "application/octet-stream"] for k in (1, 2, 3)])
        for k in range(3):
            self.assertEqual((folder / f"part-00{k + 1}.bin").read_bytes(), pattern(70000, k))
        result = self.fetch_json(url("/multipart?parts=1&size=14"), "--parts", str(folder), "--output", "json")   # ends with CR
        self.assertEqual((result["parts"][0]["bytes"], result["parts"][0]["headers"]["x-part"]), (14, "0"))
        self.assertEqual((folder / "part-001.bin").read_bytes(), pattern(14))
        listed = brv("fetch", url("/multipart?parts=1&size=0"), "--parts", str(folder), "--output", "csv").out
        self.assertEqual(listed, "part,bytes,type\npart-001.bin,0,application/octet-stream\n")
        self.assertEqual(len(list(folder.iterdir())), 3)

    def test_failures(self):
        rows = [(url("/multipart?cut=22"), 5), (url("/bytes?n=1000"), 5), (url("/multipart?status=500"), 4), (url("/", "refused"), 5)]
        for address, code in rows:
            with self.subTest(address=address):
                done = brv("fetch", address, "--parts", str(self.folder / "new"))
                self.assertEqual((done.returncode, done.out, self.names()), (code, "", []), done.err)
                self.assertTrue(done.err.startswith("brv: "))


class Rules(NetworkTest):
    def test_verdicts(self):
        rows = [("10.0.0.1", [], True, "no rules", None), ("10.0.0.1", ["--deny", "10.0.0.2"], True, "not in the deny list", None),
                ("10.0.0.7", ["--deny", "1.1.1.1, 10.0.0.5 - 10.0.0.9"], False, "in the deny list", "DENY [10.0.0.5 - 10.0.0.9]"),
                ("10.0.0.7", ["--deny", "10.0.0.7", "--allow", "10.0.0.7"], False, "in the deny list", "DENY [10.0.0.7 - 10.0.0.7]"),
                ("10.0.0.7", ["--deny", "10.0.0.7", "--bypass", "10.0.0.7"], True, "in the bypass list", "ALLOW [10.0.0.7 - 10.0.0.7]"),
                ("10.0.0.7", ["--allow", "::1", "--allow", "10.0.0.7"], True, "in the allow list", "ALLOW [10.0.0.7 - 10.0.0.7]"),
                ("::2", ["--allow", "::1"], False, "not in the allow list", None),
                ("::ffff:10.0.0.7", ["--deny", "10.0.0.7"], False, "in the deny list", "DENY [10.0.0.7 - 10.0.0.7]"),
                ("10.0.0.7", ["--deny", "::ffff:10.0.0.7"], False, "in the deny list", "DENY [10.0.0.7 - 10.0.0.7]"),
                ("::ffff:10.0.0.7", ["--deny", "::ffff:a00:5-::ffff:10.0.0.9"], False, "in the deny list", "DENY [10.0.0.5 - 10.0.0.9]"),
                ("10.0.0.7", ["--deny", "http://[::ffff:10.0.0.7]/"], False, "in the deny list", "DENY [10.0.0.7 - 10.0.0.7]"),
                ("10.0.0.0/24", [], False, "no address, and no host with one", None),
                ("http://127.0.0.1:80/x", ["--deny", "https://127.0.0.1/"], False, "in the deny list", "DENY [127.0.0.1 - 127.0.0.1]")]
        for address, lists, passes, reason, rule in rows:
            with self.subTest(address=address, lists=lists):
                done = brv("rules", address, *lists, "--output", "json")
                self.assertEqual((done.returncode, done.err), (0 if passes else 6, ""))
                verdict, = json.loads(done.out)["addresses"]
                self.assertEqual((verdict["argument"], verdict["passes"], verdict["reason"], verdict["rule"]), (address, passes, reason, rule))

    def test_forms(self):
        args = ["rules", "1.2.3.4", "::1", "--deny", "::1"]
        done = brv(*args)
        self.assertEqual(done.returncode, 6, "one of two is refused")
        self.assertEqual([line.split()[:3] for line in done.out.splitlines()[2:]], [["1.2.3.4", "1.2.3.4", "passes"], ["::1", "::1", "refused"]])
        self.assertEqual(list(csv.reader(io.StringIO(brv(*args, "--output", "csv").out))),
                         [["argument", "address", "passes", "reason", "rule"], ["1.2.3.4", "1.2.3.4", "true", "not in the deny list", ""],
                          ["::1", "::1", "false", "in the deny list", "DENY [::1 - ::1]"]])

    def test_bad_lists(self):
        """A list that lost an entry could let everything pass."""
        for entry in ("10.0.0.0/24", "10.0.0.256", "10.0.0.1-10.0.0.2-10.0.0.3", "no-such-host.invalid", "10.0.0.9-10.0.0.1",
                      "::ffff:10.0.0.9-::ffff:10.0.0.1", "10.0.0.1-::1", "10.0.0.1-fe80::1", "http://10.0.0.0/8", "[2001:db8::]/32"):
            with self.subTest(entry=entry):
                self.expect_failure(["rules", "1.1.1.1", "--allow", "10.0.0.1," + entry], None, 2, f"--allow: '{entry}' is no address, "
                                    "no range such as 10.0.0.1-10.0.0.9, and no known host" + HELP)

    def test_fetch(self):
        rows = [(["--rules-deny", "127.0.0.1"], 6), (["--rules-allow", "10.0.0.1"], 6), (["--rules-allow", "127.0.0.1"], 0),
                (["--rules-deny", "127.0.0.1", "--rules-allow", "127.0.0.1"], 6), (["--rules-deny", "127.0.0.0/8"], 2)]
        for k, (args, code) in enumerate(rows):
            with self.subTest(args=args):
                self.assertEqual(brv("fetch", url(f"/echo?key=brv_rules{k}"), *args).returncode, code)
                self.assertEqual(count(f"brv_rules{k}"), "1" if code == 0 else "0")
        mapped = url("/echo").replace("127.0.0.1", "[::ffff:127.0.0.1]")
        self.expect_failure(["fetch", mapped, "--rules-deny", "127.0.0.1"], None, 6,
                            "the rules refuse 127.0.0.1, in the deny list: DENY [127.0.0.1 - 127.0.0.1]")
        self.expect_failure(["fetch", "http://no-such-host.invalid", "--rules-deny", "127.0.0.1"], None, 6,
                            "the host of the URL has no address that rules could judge")


class Running(NetworkTest):
    def start(self, *args):
        """With a terminal for the standard error, up to a text that it shows."""
        leader, follower = pty.openpty()
        process = subprocess.Popen([BRV, "fetch", *args], stdout=subprocess.PIPE, stderr=follower, cwd=self.folder)
        os.close(follower)
        self.addCleanup(os.close, leader)
        self.addCleanup(process.stdout.close)
        return process, leader

    def show(self, leader, text):
        shown = b""
        while not re.search(text, shown):
            shown += os.read(leader, 4096)   # an error when the program ends before
        return shown

    def rest(self, leader):
        """What a program that has ended had still to show."""
        shown = b""
        try:
            while piece := os.read(leader, 4096):
                shown += piece
        except OSError:   # so does a terminal that nobody holds any more say that this was all
            pass
        return shown

    def test_progress_and_interruption(self):
        half = "/bytes?n=1000000&hang_after=500000"
        bar = rb"\[#+\.+\] \d"
        rows = [([url(half), "-o", "file"], bar), ([url(half)], bar), ([url(half + "&chunked=1"), "-o", "file"], rb"\r?\d[\d., ]* ?kB"),
                ([url("/no-answer", "fault"), "-o", "file"], rb"waiting for the server, \d+ s"), ([url("/", "black_hole")], b"waiting"),
                ([url("/status/503"), "--retry"], b"waiting"),
                ([url("/multipart?size=200000&piece=100000&pause=3000"), "--parts", "parts"], rb"\[#")]
        for args, text in rows:
            with self.subTest(args=args):
                process, leader = self.start(*args)
                self.show(leader, text)
                process.send_signal(signal.SIGINT)
                process.communicate(timeout=5)
                self.assertEqual((process.returncode, self.names()), (130, []))
                self.assertRegex(self.rest(leader), rb"\r\x1b\[K\Z")

    def test_memory_is_bounded(self):
        process = subprocess.Popen([BRV, "fetch", url("/bytes?n=400000000")], stdout=subprocess.PIPE)
        self.addCleanup(process.stdout.close)
        size = 0
        while size < 200_000_000:
            size += len(os.read(process.stdout.fileno(), 1 << 16))
        peak = int(re.search(r"VmHWM:\s+(\d+) kB", Path(f"/proc/{process.pid}/status").read_text(encoding="utf-8"))[1])
        process.send_signal(signal.SIGINT)
        process.communicate(timeout=5)
        self.assertEqual(process.returncode, 130)
        isSanitized = b"__asan_init" in Path(BRV).read_bytes()   # keeps what was freed for a while
        self.assertLess(peak, (512 if isSanitized else 64) * 1024)


if __name__ == "__main__":
    run_tests()
