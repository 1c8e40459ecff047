#!/usr/bin/env python3
"""End-to-end tests of the program brv, format and split: brv_format_split_test.py BRV PROJECT_DIR [unittest arguments].

The expected texts, fields and counts are by hand.
"""
import csv
import io
import json
import os
import pty
import random
import re
import signal
import subprocess
import tempfile
import time
import uuid
from pathlib import Path

from brv_support import BRV, BrvTest, brv, run_tests

HELP = " (brv --help lists the options)"


class Format(BrvTest):
    def test_values(self):
        rows = [(["#,##0.00", "1234.5", "-5"], "de-DE", ["1.234,50", "-5,00"]),
                (["#,##0.00", "1234.5"], "1031", ["1.234,50"]),
                (['#,##0;(#,##0);"none"', "1234", "-1234", "0", "-0.2"], "en-US", ["1,234", "(1,234)", "none", "none"]),
                (["0.0%", "0.125"], "en-US", ["12.5%"]),
                (["0.0[scale]", "12345"], "en-US", ["12.3k"]),
                (["0", "9007199254740993"], "en-US", ["9007199254740993"]),   # no double
                (["0.00", "2.5"], "fr-FR", ["2,50"]),
                (["yes/no", "true", "FALSE"], "en-US", ["Yes", "No"]),
                (["yyyy-mm-dd", "2024-02-29"], "en-US", ["2024-02-29"]),
                (["hh:nn:ss", "2024-02-29T07:05:09"], "en-US", ["07:05:09"]),
                (["mmmm", "2024-02-29"], "de-DE", ["Februar"]),
                ([" ", "5"], "en-US", [" "]),
                (["0.0", "-.5", "-5", "-1e3", "2"], "en-US", ["-0.5", "-5.0", "-1000.0", "2.0"]),
                (["0", "-inf", "-Infinity", "inf", "-7"], "en-US", ["-inf", "-inf", "inf", "-7"]),
                (["-1", "5"], "en-US", ["-1"]),   # a format, of literals
                (["--", "-0", "-7.5"], "en-US", ["--8"])]   # half up; the sign, and the minus of the format
        for args, locale, expected in rows:
            with self.subTest(args=args, locale=locale):
                done = brv("format", "--locale", locale, *args)
                self.assertEqual((done.returncode, done.err), (0, ""))
                self.assertEqual(done.out.splitlines(), expected)

    def test_a_format_without_a_kind_takes_that_of_the_first_value(self):
        for values, kind, texts in [(["5", "0.25"], "number", ["5", "0.25"]), (["true", "false"], "boolean", ["True", "False"])]:
            with self.subTest(kind=kind):
                result = json.loads(brv("format", "", *values, "--locale", "en-US", "--output", "json").out)
                self.assertEqual(result, {"format": "", "locale": "en-US", "kind": kind,
                                          "values": [{"value": v, "text": t} for v, t in zip(values, texts)]})
        result = json.loads(brv("format", "", "2024-01-31", "--locale", "en-US", "--output", "json").out)
        self.assertEqual(result["kind"], "date")
        self.expect_failure(["format", "", "true", "5"], None, 2, "'5' is neither true nor false" + HELP)

    COLUMN = 'id,amount,amount_text\na,1234.5,x\n"b,c",,y\nd,-2,z\n'
    LEFT = "brv: <stdin>: 1 row has a missing cell and is left empty: line 3\n"

    def test_column(self):
        args = ["format", "#,##0.00", "-", "--column", "amount", "--locale", "en-US"]
        done = brv(*args, stdin=self.COLUMN)
        self.assertEqual((done.returncode, done.out, done.err), (0, "1,234.50\n\n-2.00\n", self.LEFT))
        done = brv(*args, "--output", "csv", stdin=self.COLUMN)
        self.assertEqual((done.returncode, done.err), (0, self.LEFT))
        self.assertEqual(list(csv.reader(io.StringIO(done.out))),
                         [["id", "amount", "amount_text", "amount_text_2"], ["a", "1234.5", "x", "1,234.50"],
                          ["b,c", "", "y", ""], ["d", "-2", "z", "-2.00"]])
        result = json.loads(brv(*args, "--output", "json", stdin=self.COLUMN).out)
        self.assertEqual((result["column"], result["missing_lines"]), ("amount", [3]))
        self.assertEqual(result["rows"], [{"line": 2, "value": "1234.5", "text": "1,234.50"},
                                          {"line": 4, "value": "-2", "text": "-2.00"}])

    def test_csv_of_values(self):
        done = brv("format", "#,##0", "1234", "--locale", "en-US", "--output", "csv")
        self.assertEqual(done.out, 'value,text\n1234,"1,234"\n')

    def test_bad_values_and_formats(self):
        rows = [(["0", "1", "abc"], "'abc' is not a number"), (["0", ""], "'' is not a number"),
                (["yes/no", "1"], "'1' is neither true nor false"), (["yyyy", "2023-02-29"], "'2023-02-29' is not a date"),
                (["0" * 300, "5"], f"the format '{'0' * 60}...' is too long or has too many parts"),
                (["0", "5", "--locale", "xx-nowhere"], "--locale: 'xx-nowhere' is neither a locale such as de-DE nor its number"),
                (["0", "5", "--locale", "-1"], "--locale: '-1' is neither a locale such as de-DE nor its number"),
                (["0", "5", "--locale", "999999"], "--locale: '999999' is neither a locale such as de-DE nor its number"),
                (["0", "a.csv", "b.csv", "--column", "c"], "--column takes one file, not 2"),
                (["0", "5", "--column", ""], "--column must not be empty"),
                (["0", "a\x1b[2Jb"], "'a\\x1B[2Jb' is not a number")]
        for args, message in rows:
            with self.subTest(args=args):
                self.expect_failure(["format", *args], None, 2, message + HELP)
        for args in (["format"], ["format", "0"]):
            self.assertEqual(brv(*args).returncode, 2)

    def test_bad_columns(self):
        rows = [("0", "c\n1\ntwo\n", "3: 'two' in column 'c' is not a number"), ("0", "d\n1\n", "1: there is no column 'c'; the columns are 'd'"),
                ("0", "c\n", "1: there are no rows below the header"), ("0", "c\nNA\n", "1: column 'c' has no values"),
                ("yyyy", "c\n2024-01-01\n1/2/3\n", "3: '1/2/3' in column 'c' is not a date")]
        for form, text, message in rows:
            with self.subTest(message=message):
                self.expect_failure(["format", form, "-", "--column", "c"], text, 3, "<stdin>:" + message)
        self.expect_failure(["format", "0", "/no/such.csv", "--column", "c"], None, 3,
                            "/no/such.csv: cannot be opened: No such file or directory")
        self.expect_failure(["format", "0", "/no/\x1b\nsuch", "--column", "-.5"], None, 3,
                            "/no/\\x1B\\x0Asuch: cannot be opened: No such file or directory")

    def test_missing_cells_of_a_single_column_stay_rows(self):
        done = brv("format", "", "-", "--column", "v", "--locale", "en-US", "--output", "csv", stdin='v\n1\n""\n\n2\n')
        self.assertEqual(list(csv.reader(io.StringIO(done.out))), [["v", "v_text"], ["1", "1"], ["", ""], ["2", "2"]])
        done = brv("split", "-", "--column", "v", "--output", "csv", stdin='v\nab\n""\n')
        self.assertEqual(done.out, 'v\nab\n""\n')


class Split(BrvTest):
    CODES = "code,v\nAB-12,1\nCD-7,2\nNA,3\nXX-345,4\nAB-12,5\nYY-9a,6\n"
    NOTE = "brv: <stdin>: 1 row has a missing cell and is not split: line 4\n"

    def split_json(self, text, *args, err=""):
        done = brv("split", "--output", "json", *args, stdin=text)
        self.assertEqual((done.returncode, done.err), (0, err))
        return json.loads(done.out)

    def test_columns_as_people_would_cut_them(self):
        rng = random.Random(7)
        rows = [([f"{i % 10}.{i * 7 % 20}.{i * 31 % 300}" for i in range(60)],
                 [(".", "integer"), (".", "integer"), ("", "integer")],
                 ['INT( SPLIT( [value], ".", 1 ) )', 'INT( SPLIT( [value], ".", 2 ) )', 'INT( SPLIT( [value], ".", 3 ) )'],
                 lambda text: [int(part) for part in text.split(".")]),
                ([f"{rng.choice(['ann', 'bob', 'eve'])}{i}@{rng.choice(['x.org', 'mail.com', 'abc.net'])}" for i in range(60)],
                 [("@", "string"), (".", "string"), ("", "string")],
                 ['TRIM( SPLIT( [value], "@", 1 ) )', 'TRIM( SPLIT( SPLIT( [value], "@", 2 ), ".", 1 ) )',
                  'TRIM( SPLIT( SPLIT( [value], "@", 2 ), ".", 2 ) )'],
                 lambda text: [text.split("@")[0], *text.split("@")[1].split(".")]),
                ([f"{rng.choice(['EUR', 'USD'])} {i}.{i % 90 + 10}" for i in range(1, 60)],
                 [(" ", "string"), ("", "real")],
                 ['TRIM( SPLIT( [value], " ", 1 ) )', 'FLOAT( SPLIT( [value], " ", 2 ) )'],
                 lambda text: [text.split(" ")[0], float(text.split(" ")[1])])]
        for texts, fields, calculations, cut in rows:
            with self.subTest(first=texts[0]):
                result = self.split_json("\n".join(texts))
                self.assertEqual([(f["separator"], f["type"]) for f in result["fields"]], fields)
                self.assertEqual(result["calculations"], calculations)
                self.assertEqual([r["fields"] for r in result["rows"]], [cut(text) for text in texts])
                self.assertEqual(result["fitting_rows"], len(texts))

    def test_table(self):
        done = brv("split", "--column", "code", stdin=self.CODES)
        self.assertEqual((done.returncode, done.err), (0, self.NOTE))
        self.assertEqual(done.out, """\
Column          code of <stdin>
Rows            6: 5 with a value, 1 missing
Distinct        4

field  type     ends with  calculation
--------------------------------------
1      string   '-'        1
2      integer  the text   2

Calculation 1   TRIM( SPLIT( [code], "-", 1 ) )
Calculation 2   INT( SPLIT( [code], "-", 2 ) )

code    1     2
---------------
AB-12   AB   12
CD-7    CD    7
XX-345  XX  345
AB-12   AB   12
YY-9a   YY

Fit             4 of 5 rows: every calculation yields a value
""")

    def test_date_times(self):
        """White space gives way to other separators, so day and hour are one field, which is no number."""
        texts = [f"{2001 + i % 23}-{i % 12 + 1:02}-{i % 28 + 1:02} {i % 24:02}:{i * 7 % 60:02}" for i in range(60)]
        note = ("brv: <stdin>: calculation 3 yields nothing for 60 of 60 rows: beside other separators white space is not "
                "split at, so that what it takes is no number\n")
        result = self.split_json("\n".join(texts), err=note)
        self.assertEqual([(f["separator"], f["used"], f["calculation"]) for f in result["fields"]],
                         [("-", True, 1), ("-", True, 2), (" ", False, None), (":", True, 3), ("", True, 4)])
        self.assertEqual((len(result["calculations"]), result["fitting_rows"]), (4, 0))
        done = brv("split", stdin="\n".join(texts))
        self.assertEqual(done.err, note)
        self.assertRegex(done.out, r"(?m)^3      integer  ' '        white space, not used\n4      integer  ':'        3$")

    def test_csv_is_the_input_with_the_fields(self):
        done = brv("split", "-", "--column", "code", "--output", "csv", stdin=self.CODES.replace(",v", ",code_1", 1))
        self.assertEqual((done.returncode, done.err), (0, self.NOTE))
        self.assertEqual(done.out, "code,code_1,code_1_2,code_2\nAB-12,1,AB,12\nCD-7,2,CD,7\nNA,3,,\n"
                                   "XX-345,4,XX,345\nAB-12,5,AB,12\nYY-9a,6,YY,\n")

    def test_json_tells_missing_rows_and_values(self):
        result = self.split_json(self.CODES, "--column", "code", err=self.NOTE)
        self.assertEqual((result["column"], result["missing_lines"], result["distinct"], result["fitting_rows"]), ("code", [4], 4, 4))
        self.assertEqual(result["rows"][-1], {"line": 7, "value": "YY-9a", "fields": ["YY", None]})

    def test_lines_of_the_standard_input(self):
        """A mark, both line ends, a blank line and no end: as a column without a header."""
        result = self.split_json("\ufeffAB-12\r\nCD-7\n\nEF-8", err="brv: <stdin>: 1 row has a missing cell and is not split: line 3\n")
        self.assertEqual([(r["line"], r["value"], r["fields"]) for r in result["rows"]],
                         [(1, "AB-12", ["AB", 12]), (2, "CD-7", ["CD", 7]), (4, "EF-8", ["EF", 8])])

    def test_custom(self):
        text = 'the ]"x"\n"a, b,c"\n"d,e"\n'
        result = self.split_json(text.replace('"x"', "x"), "--column", "the ]x", "--custom", ",", "--count", "3", "--from-end")
        self.assertEqual(result["calculations"], [f'TRIM( SPLIT( [the ]]x], ",", {-i} ) )' for i in (1, 2, 3)])
        self.assertEqual([r["fields"] for r in result["rows"]], [["c", "b", "a"], ["e", "d", ""]])
        self.assertEqual((result["separator"], result["from_end"], result["fitting_rows"]), (",", True, 1))
        self.assertNotIn("fields", result)
        quote = self.split_json('x"y"z\n', "--custom", '"', "--count", "2")
        self.assertEqual((quote["calculations"][1], quote["rows"][0]["fields"]), ('TRIM( SPLIT( [value], """", 2 ) )', ["x", "y"]))
        most = self.split_json("-".join("abcdefghijkl"), "--custom", "-", "--count", "10")
        self.assertEqual(most["rows"][0]["fields"], list("abcdefghij"))
        table = brv("split", "--custom", " - ", "--count", "2", "--from-end", stdin="a - b - c\n")
        self.assertRegex(table.out, r"(?m)^Separator +' - ', from the end$")
        self.assertRegex(table.out, r"(?m)^a - b - c +c +b$")

    def test_match(self):
        text = "v\n12\n12\n12\n7\n12a\nNA\nabc\nabc\n"   # 12 three times, 7 once: two of four values, four of seven rows
        note = "brv: <stdin>: 1 row has a missing cell and is not counted: line 7\n"
        args = ["split", "--column", "v", "--match", "[0-9]+"]
        done = brv(*args, stdin=text)
        self.assertEqual((done.returncode, done.err), (0, note))
        self.assertRegex(done.out, r"(?m)^Matching +2 of 4 distinct values, 4 of 7 rows$")
        self.assertEqual(brv(*args, "--output", "csv", stdin=text).out,
                         "column,pattern,distinct,matching_distinct,rows,matching_rows\nv,[0-9]+,4,2,7,4\n")
        result = json.loads(brv(*args, "--output", "json", stdin=text).out)
        self.assertEqual([result[key] for key in ("distinct", "matching_distinct", "rows", "matching_rows")], [4, 2, 7, 4])
        done = brv("split", "--match", "[", stdin="a\n")
        self.assertEqual((done.returncode, done.out), (2, ""))
        self.assertRegex(done.err, r"\Abrv: --match '\[': .*U_REGEX_MISSING_CLOSE_BRACKET.*\n\Z")
        done = brv("split", "--match", "(a|b)*c", stdin="ab" * 1_000_000)   # remembers every letter
        self.assertEqual((done.returncode, done.out), (2, ""))
        self.assertRegex(done.err, "needs too much memory for a value: U_REGEX_STACK_OVERFLOW")

    def test_nothing_to_split_at(self):
        done = brv("split", stdin="abc\ndef\n")
        self.assertEqual((done.returncode, done.err), (0, ""))
        self.assertRegex(done.out, r"(?m)^Fields +none: no common structure was found$")
        self.assertRegex(brv("split", stdin="abc\nabc\n").out, "found; one distinct value shows none\n")
        self.assertEqual(brv("split", "--output", "csv", stdin="abc\n").out, "value\nabc\n")
        self.assertEqual(self.split_json("abc\n")["calculations"], [])

    def test_unusual_bytes(self):
        """Bytes that are not UTF-8 and control characters neither stop it nor reach the terminal."""
        done = subprocess.run([BRV, "split", "--custom", ";", "--count", "2"], input=b"\x1b[2J\xff;b\n\xf0\x9f\x98\x80;\xe6\x97\xa5\n",
                              capture_output=True, timeout=60)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        self.assertNotIn(b"\x1b", done.stdout)
        self.assertIn("😀".encode(), done.stdout)
        with tempfile.TemporaryDirectory() as directory:
            path = Path(directory) / "a\x1b[31m.csv"
            path.write_text("c\x1b[1m\na\x07b\nNA\n", encoding="utf-8")
            for how in (["--custom", "\x07", "--count", "2"], []):
                done = subprocess.run([BRV, "split", str(path), "--column", "c\x1b[1m", *how], capture_output=True, timeout=60)
                self.assertEqual(done.returncode, 0)
                self.assertNotRegex(done.stdout + done.stderr, rb"[\x00-\x09\x0B-\x1F]")
        done = subprocess.run([BRV, "split", "--custom", ";", "--count", "1", "--output", "csv"], input=b"\xff;b\n", capture_output=True, timeout=60)
        self.assertEqual(done.stdout, b"value,value_1\n\xff;b,\xff\n", "bytes are kept in files")

    def test_bad_input(self):
        rows = [([], "", 3, "<stdin>: there are no values"), ([], "\nNA\n", 3, "<stdin>: there are no values"),
                (["--column", "v"], "v\nNA\n", 3, "<stdin>:1: column 'v' has no values"),
                (["--column", "w"], "v\n1\n", 3, "<stdin>:1: there is no column 'w'; the columns are 'v'"),
                (["/no/such.csv", "--column", "v"], "", 3, "/no/such.csv: cannot be opened: No such file or directory"),
                (["x.csv"], "", 2, "--column names the column of x.csv to split; only the standard input can be one value per line" + HELP),
                (["--custom", "", "--count", "2"], "a\n", 2, "--custom must not be empty" + HELP),
                (["--match", ""], "a\n", 2, "--match must not be empty" + HELP)]
        for args, text, code, message in rows:
            with self.subTest(message=message):
                self.expect_failure(["split", *args], text, code, message)
        for args in (["--count", "2"], ["--custom", ","], ["--from-end"], ["--custom", ",", "--count", "0"], ["--custom", ",", "--count", "11"],
                     ["--custom", ",", "--count", "2", "--match", "x"]):
            with self.subTest(args=args):
                self.assertEqual(brv("split", *args, stdin="a,b\n").returncode, 2)


class Interrupts(BrvTest):
    """Seconds of work on one core, and waiting that has no end."""

    MOST_SECONDS = 5   # in which everything stops; the work takes longer

    def stop(self, process):
        process.send_signal(signal.SIGINT)
        out, _ = process.communicate(timeout=self.MOST_SECONDS)
        return process.returncode, out

    def interrupted(self, lines, label, *args):
        """Waits until a terminal shows that it works, and stops it."""
        with tempfile.TemporaryDirectory() as directory:
            path = Path(directory) / "long.csv"
            path.write_text("v\n" + "".join(lines), encoding="utf-8")
            leader, follower = pty.openpty()
            core = {min(os.sched_getaffinity(0))}
            process = subprocess.Popen([BRV, "split", str(path), "--column", "v", *args], stdout=subprocess.PIPE, stderr=follower,
                                       preexec_fn=lambda: os.sched_setaffinity(0, core))
            os.close(follower)
            shown = b""
            while not re.search(label.encode() + rb", \d+ s", shown):
                shown += os.read(leader, 4096)   # an error when the program ends before
            stopped = self.stop(process)
            shown += os.read(leader, 4096)
            os.close(leader)
        self.assertEqual(stopped, (130, b""))
        self.assertTrue(shown.endswith(b"\r\x1b[K"), shown)

    def test_inference(self):
        rng = random.Random(1)
        lines = [f"{uuid.UUID(int=rng.getrandbits(128))}\n" for _ in range(250_000)]
        self.interrupted(lines, "splitting 250000 distinct values")

    def test_expression_that_does_not_notice(self):
        lines = ["x" * 16 + f"{i}\n" for i in range(50_000)]
        self.interrupted(lines, "matching 50000 distinct values", "--match", "(x+x+)+y")

    def test_pipe_that_nobody_writes(self):
        with tempfile.TemporaryDirectory() as directory:
            path = Path(directory) / "pipe"
            os.mkfifo(path)
            process = subprocess.Popen([BRV, "format", "0", str(path), "--column", "v"], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            asleep = 0
            while asleep < 10 and process.poll() is None:   # it stays asleep once it waits
                state = Path(f"/proc/{process.pid}/stat").read_text(encoding="utf-8").rpartition(")")[2].split()[0]
                asleep = asleep + 1 if state == "S" else 0
                time.sleep(0.02)
            self.assertEqual(self.stop(process), (130, b""))

    def test_output_that_nobody_reads(self):
        text = "v\n" + "1234567\n" * 50_000   # more than a pipe holds
        read, write = os.pipe()
        process = subprocess.Popen([BRV, "format", "#,##0", "-", "--column", "v", "--locale", "en-US"], stdin=subprocess.PIPE,
                                   stdout=write, stderr=subprocess.PIPE)
        os.close(write)
        process.stdin.write(text.encode())
        process.stdin.close()
        process.stdin = None
        shown = os.read(read, 1)   # it writes
        time.sleep(0.3)            # and now it waits
        code, _ = self.stop(process)
        os.close(read)
        self.assertEqual((shown, code), (b"1", 130))


if __name__ == "__main__":
    run_tests()
