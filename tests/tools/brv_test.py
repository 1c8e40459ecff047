#!/usr/bin/env python3
"""End-to-end tests of the program brv, forecast and describe: brv_test.py BRV PROJECT_DIR [unittest arguments]."""
import csv
import datetime
import io
import json
import math
import os
import pty
import select
import signal
import subprocess
import tempfile
import time
import xml.etree.ElementTree as ElementTree
from pathlib import Path

from brv_support import BRV, DATA, SVG, BrvTest, brv, paths, run_tests, texts

AIRLINE = str(DATA / "airline_passengers.csv")


def season(i, length):
    return 100 + 0.5 * i + 10 * math.sin(2 * math.pi * i / length) + (i * 7919 % 13) / 10


def series(labels, value=lambda i: season(i, 4)):
    """A file of two columns."""
    return "time,value\n" + "".join(f"{label},{value(i):.4f}\n" for i, label in enumerate(labels))


def days(count, step=1, start=datetime.datetime(2024, 1, 1)):
    return [(start + datetime.timedelta(days=step * i)) for i in range(count)]


class ForecastTest(BrvTest):
    def forecast_json(self, text, *args, code=0):
        done = brv("forecast", "-", "--output", "json", *args, stdin=text)
        self.assertEqual(done.returncode, code, done.err)
        return json.loads(done.out)


class Levels(ForecastTest):
    def test_level_is_found_and_the_forecast_continues_it(self):
        hour = [(datetime.datetime(2024, 2, 28, 20) + datetime.timedelta(hours=i)).isoformat() for i in range(30)]
        minute = [(datetime.datetime(2024, 1, 1, 23, 50) + datetime.timedelta(minutes=i)).isoformat(" ") for i in range(20)]
        second = [(datetime.datetime(2023, 12, 31, 23, 59, 45) + datetime.timedelta(seconds=i)).isoformat() + "Z" for i in range(20)]
        ends = [d for d in days(400) if (d + datetime.timedelta(days=1)).day == 1]
        rows = [
            ([str(y) for y in range(1990, 2010)], "year", "2010"),
            ([f"{2000 + i // 4}-Q{i % 4 + 1}" for i in range(18)], "quarter", "2004-Q3"),
            ([f"{2000 + i // 4}-{i % 4 * 3 + 1:02}-01" for i in range(18)], "quarter", "2004-Q3"),
            ([f"{2000 + i // 12}-{i % 12 + 1:02}" for i in range(30)], "month", "2002-07"),
            ([f"{2000 + i // 12}{i % 12 + 1:02}15" for i in range(30)], "month", "2002-07"),
            ([f"{d:%Y-%m-%d}" for d in ends], "month", "2025-02"),
            ([f"{d:%Y-%m-%d}" for d in days(20, 7, datetime.datetime(2024, 1, 7))], "week", "2024-05-26"),
            ([f"2024-W{w:02}" for w in range(1, 21)], "week", "2024-05-20"),
            ([f"{d:%Y-%m-%d}" for d in days(40)], "day", "2024-02-10"),
            ([f"{d:%Y-%m-%dT12:00}" for d in days(40)], "day", "2024-02-10"),
            (hour, "hour", "2024-03-01 02:00"),
            (minute, "minute", "2024-01-02 00:10"),
            (second, "second", "2024-01-01 00:00:05"),
            ([str(i) for i in range(-3, 27)], "none", "27"),
        ]
        for labels, level, following in rows:
            with self.subTest(level=level, first=labels[0]):
                result = self.forecast_json(series(labels), "--periods", "2")
                self.assertEqual(result["level"], level)
                partition = result["partitions"][0]
                self.assertEqual(partition["forecast"][0]["period"], following)
                self.assertEqual(partition["series"]["periods"], len(labels))
                self.assertEqual(partition["series"]["missing"], 0)

    def test_rows_in_order_without_a_time_column(self):
        text = "v\n" + "".join(f"{season(i, 4)}\n" for i in range(12))
        result = self.forecast_json(text, "--level", "none", "--periods", "1")
        self.assertIsNone(result["time"])
        self.assertEqual(result["partitions"][0]["forecast"][0]["period"], "13")

    def test_months_that_sum_up(self):
        # Two rows of 5 in every month: a constant series of 10, 5 or 2.
        text = "d,v\n" + "".join(f"2020-{m:02}-{d:02},5\n" for m in range(1, 13) for d in (3, 17))
        for how, expected in [("sum", 10), ("avg", 5), ("count", 2)]:
            with self.subTest(how=how):
                result = self.forecast_json(text, "--level", "month", "--aggregate", how, "--periods", "2", "--season", "none")
                self.assertEqual([f["forecast"] for f in result["partitions"][0]["forecast"]], [expected, expected])


class Gaps(ForecastTest):
    def test_missing_periods_become_missing_values(self):
        labels = [f"2020-{m:02}" for m in range(1, 13)] + [f"2021-{m:02}" for m in range(1, 13)]
        lines = series(labels).splitlines()
        del lines[8]                        # a month without a row
        lines[4] = lines[4].split(",")[0] + ","   # and one without a value
        lines[5] = lines[5].split(",")[0] + ",NA"
        result = self.forecast_json("\n".join(lines), "--season", "none")
        self.assertEqual(result["partitions"][0]["series"]["periods"], 24)
        self.assertEqual(result["partitions"][0]["series"]["missing"], 3)

    def test_rows_in_any_order(self):
        lines = series([f"20{y}-{m:02}" for y in (20, 21, 22) for m in range(1, 13)]).splitlines()
        shuffled = [lines[0]] + [lines[1 + i * 5 % 36] for i in range(36)]
        self.assertEqual(self.forecast_json("\n".join(lines)), self.forecast_json("\n".join(shuffled)))

    def test_ignore_last(self):
        months = [f"{2000 + i // 12}-{i % 12 + 1:02}" for i in range(40)]
        short = self.forecast_json(series(months[:37]), "--periods", "3")["partitions"][0]
        # The ignored values are wild: they must not touch anything.
        cut = self.forecast_json(series(months, lambda i: season(i, 4) if i < 37 else 1e6), "--periods", "3",
                                 "--ignore-last", "3")["partitions"][0]
        self.assertEqual(cut["forecast"], short["forecast"])
        self.assertEqual(cut["series"], {"first": "2000-01", "last": "2003-01", "periods": 37, "missing": 0, "ignored": 3})


class Csv(ForecastTest):
    def test_quotes_line_ends_and_mark(self):
        plain = "month,\"sales, \"\"net\"\"\"\n" + "".join(f"20{20 + i // 12}-{i % 12 + 1:02},{season(i, 4)}\n" for i in range(24))
        expected = self.forecast_json(plain)
        self.assertEqual(expected["value"], 'sales, "net"')
        variants = {
            "CRLF": plain.replace("\n", "\r\n"), "CR": plain.replace("\n", "\r"), "BOM": "\ufeff" + plain,
            "no end": plain.rstrip("\n"), "blank lines": plain.replace("\n", "\n\n  \n"),
            "quoted": "\n".join(",".join(f'"{c}"' for c in line.split(",")) if i else line for i, line in enumerate(plain.splitlines())),
        }
        for name, text in variants.items():
            with self.subTest(name=name):
                self.assertEqual(self.forecast_json(text), expected)

    def test_line_numbers_count_lines_not_rows(self):
        text = "note,month,v\r\n\"two\nlines\",2020-01,1\r\n\r\nx,2020-02,1\r\nx,2020-03,oops\r\n"
        self.expect_failure(["forecast", "-", "--value", "v"], text, 3, "<stdin>:6: 'oops' in column 'v' is not a number")

    def test_output_reads_back(self):
        text = 'd,who,v\n' + "".join(f'20{20 + i // 12}-{i % 12 + 1:02},"A ""x"", é",{season(i, 4)}\n' for i in range(24))
        done = brv("forecast", "-", "--by", "who", "--output", "csv", "--periods", "3", stdin=text)
        rows = list(csv.DictReader(io.StringIO(done.out)))
        self.assertEqual([(r["who"], r["period"]) for r in rows], [('A "x", é', f"2022-{m:02}") for m in (1, 2, 3)])
        reference = json.loads(brv("forecast", "-", "--by", "who", "--output", "json", "--periods", "3", stdin=text).out)
        for row, wanted in zip(rows, reference["partitions"][0]["forecast"]):
            for key in ("forecast", "lower", "upper"):
                self.assertEqual(float(row[key]), wanted[key])


MONTHS = "".join(f"2020-{m:02},{m + 10}\n" for m in range(1, 13))


class BadInput(BrvTest):
    def test_data(self):
        rows = [
            ("month,v\n" + MONTHS + "2021-13,5\n", [], "14: '2021-13' in column 'month' is not a date"),
            ("month,v\n" + MONTHS + "2021-02-30,5\n", [], "14: '2021-02-30' in column 'month' is not a date"),
            ("month,v\n" + MONTHS + ",5\n", [], "14: '' in column 'month' is not a date"),
            ("month,v\n" + MONTHS + "2021-01,1 234\n", [], "14: '1 234' in column 'v' is not a number"),
            ("month,v\n" + MONTHS + "2021-01,inf\n", [], "14: 'inf' in column 'v' is not a number"),
            ("month,v\n" + MONTHS + "2021-01,\x1b[31m\n", [], "14: '\\x1B[31m' in column 'v' is not a number"),
            ("month,v\n" + MONTHS + "2020-03,5\n", [], "14: the period 2020-03 stands in line 4 and in line 14; "
             "--aggregate sum, avg or count combines such rows"),
            ("month,v\n" + MONTHS, ["--time", "day"], "1: there is no column 'day'; the columns are 'month', 'v'"),
            ("month,v\n" + MONTHS, ["--by", "day"], "1: there is no column 'day'; the columns are 'month', 'v'"),
            ("month,v,v\n2020-01,1,1\n", ["--value", "v"], "1: the column 'v' stands twice in the header"),
            ("", [], " the file is empty; a line with the names of the columns is expected"),
            ("month,v\n", [], "1: there are no rows below the header"),
            ("month,v\n2020-01,1\n", [], "2: the series has only one value; a forecast needs at least two"),
            ("month,v\n2020-01,\n2020-02,\n", ["--value", "v"], "2: the series has no value; a forecast needs at least two"),
            ("v,w\n1.5,2\n", [], "1: no column holds dates; name one with --time, or take the rows in their order with --level none"),
            ("date,id,v\n01/31/2023,5,1\n02/28/2023,6,2\n", [], "2: '01/31/2023' in column 'date' is not a date; name the "
             "dates with --time, or take the rows in their order with --level none"),
            ("t,v\n3,10\n1,20\n2,30\n4,40\n", [], "1: no column holds dates; name one with --time, or take the rows in "
             "their order with --level none"),
            ("t,v\nx,1\n", ["--time", "t"], "2: 'x' in column 't' is neither a date nor a whole number that can be a position"),
            ("t,v\n-9223372036854775808,1\n1,2\n", ["--time", "t"],
             "2: '-9223372036854775808' in column 't' is neither a date nor a whole number that can be a position"),
            ("month,v\n" + MONTHS + "2021-01,1e308\n2021-01,1e308\n", ["--aggregate", "sum"],
             "14: the values of this row's period add up to more than a number can hold"),
            ("month,v\n" + MONTHS, ["--range", "9000", "year"], "2: the periods to forecast after 2020-12 pass the year 9999"),
            ("month,b\n2020-01,y\n", [], "1: no column holds numbers to forecast; name one with --value"),
            ("month,v\n2020-01,1\n2020-02\n", [], "3: the row has 1 cells, the header 2"),
            ("month,v\n2020-01,\"1\n2020-02,2\n", [], "2: a quotation mark is not closed, or stands inside a cell without quotes"),
            ("month,v\n" + MONTHS, ["--ignore-last", "12"], "2: --ignore-last 12 leaves nothing of 12 periods"),
            ("month,v\n" + MONTHS, ["--fixed-season", "7"], "2: a series of 12 periods is too short for seasons of 7"),
            ("time,v\n1,1\n2.5,2\n3,3\n", ["--time", "time", "--level", "none"],
             "3: '2.5' in column 'time' is not a whole number that can be a position"),
            ("t,v\n1999-01-01T00:00:00,1\n2024-01-01T00:00:01,2\n", ["--level", "second"],
             "2: from 1999-01-01 00:00:00 to 2024-01-01 00:00:01 there are more than 1000000 periods at the level second; "
             "a coarser one can be given with --level"),
        ]
        for text, args, message in rows:
            with self.subTest(message=message):
                self.expect_failure(["forecast", "-", *args], text, 3, "<stdin>:" + message)
        self.expect_failure(["forecast", "-"], "month,v\n".encode("utf-16"), 3,
                            "<stdin>:1: the text is UTF-16; UTF-8 is expected")
        self.expect_failure(["forecast", "/no/such.csv"], None, 3, "/no/such.csv: cannot be opened: No such file or directory")
        self.expect_failure(["describe", "/no/such.csv"], None, 3, "/no/such.csv: cannot be opened: No such file or directory")
        self.expect_failure(["describe", "-"], "a\nx\n", 3, "<stdin>:1: no column holds numbers")

    def test_usage(self):
        rows = [[], ["forecast"], ["fore", AIRLINE], ["forecast", AIRLINE, "--level", "fortnight"],
                ["forecast", AIRLINE, "--periods", "0"], ["forecast", AIRLINE, "--periods", "x"],
                ["forecast", AIRLINE, "--confidence", "95"],
                ["forecast", AIRLINE, "--confidence", "0.9999999999999999"], ["forecast", AIRLINE, "--confidence", "1"],
                ["forecast", AIRLINE, "--trend", "linear"], ["forecast", AIRLINE, "--fixed-season", "1"],
                ["forecast", AIRLINE, "--ignore-last", "-1"], ["forecast", AIRLINE, "--range", "2"],
                ["forecast", AIRLINE, "--range", "2", "moons"], ["forecast", AIRLINE, "--output", "xml"],
                ["forecast", AIRLINE, "--periods", "2", "--range", "2", "year"], ["forecast", AIRLINE, "--nonsense"],
                ["forecast", AIRLINE, "--aggregate", "median"]]
        for args in rows:
            with self.subTest(args=args):
                done = brv(*args)
                self.assertEqual((done.returncode, done.out), (2, ""), done.err)
                self.assertRegex(done.err, r"\Abrv: .+\n\Z")
        done = brv("forecast", "-", "--level", "none", "--range", "2", "year", stdin="v\n1\n2\n3\n")
        self.assertEqual(done.returncode, 2, done.err)

    def test_machine(self):
        done = brv("forecast", AIRLINE, "--chart", "/no/such/directory/chart.svg")
        self.assertEqual(done.returncode, 1)
        self.assertIn("brv: /no/such/directory/chart.svg: cannot be written", done.err)
        with open("/dev/full", "wb") as full:
            code = subprocess.run([BRV, "describe", AIRLINE], stdout=full, stderr=subprocess.PIPE).returncode
        self.assertEqual(code, 1)

    def test_help(self):
        for args in (["--help"], ["forecast", "--help"], ["describe", "--help"], ["cluster", "--help"], ["anova", "--help"],
                     ["solve", "--help"], ["--version"]):
            done = brv(*args)
            self.assertEqual((done.returncode, done.err), (0, ""))
            self.assertIn("brv", done.out)


class Forecasts(ForecastTest):
    def test_simple_smoothing_by_hand(self):
        values = [12.0, 15.0, 11.0, 18.0, 14.0, None, 19.0, 13.0, 17.0, 20.0, 16.0, 21.0]
        text = "t,v\n" + "".join(f"{i},{'' if v is None else v}\n" for i, v in enumerate(values, 1))
        partition = self.forecast_json(text, "--trend", "none", "--season", "none", "--periods", "3")["partitions"][0]
        alpha = partition["model"]["alpha"]
        level, squares = 14.0, []   # it starts at the mean of the first four
        for v in values:
            if v is not None:
                squares.append((v - level) ** 2)
                level += alpha * (v - level)
        rmse = math.sqrt(sum(squares) / 11)
        self.assertAlmostEqual(partition["errors"]["rmse"], rmse, places=9)
        for h, row in enumerate(partition["forecast"]):
            half = 1.959963984540054 * rmse * math.sqrt(1 + h * alpha ** 2)
            self.assertAlmostEqual(row["forecast"], level, places=9)
            self.assertAlmostEqual(row["upper"], level + half, places=9)
            self.assertAlmostEqual(row["lower"], level - half, places=9)

    def test_season_needs_enough_data(self):
        months = [f"{2000 + i // 12}-{i % 12 + 1:02}" for i in range(40)]
        cycle = lambda i: 100 + 30 * math.sin(2 * math.pi * i / 12) + (i * 7919 % 13) / 10
        for count, expected in [(23, "none"), (24, "some")]:
            model = self.forecast_json(series(months[:count], cycle))["partitions"][0]["model"]
            self.assertEqual(model["season"] == "none", expected == "none", count)

    def test_ranges(self):
        months = [f"{2000 + i // 12}-{i % 12 + 1:02}" for i in range(33)]   # to 2002-09
        for count, unit, expected in [("2", "year", 24), ("1", "years", 12), ("2", "quarter", 6), ("3", "month", 3), ("40", "day", 2)]:
            with self.subTest(range=(count, unit)):
                rows = self.forecast_json(series(months), "--range", count, unit)["partitions"][0]["forecast"]
                self.assertEqual(len(rows), expected)

    def test_components_and_confidence(self):
        result = {p: json.loads(brv("forecast", AIRLINE, "--output", "json", "--confidence", p, "--trend", "additive",
                                    "--season", "additive").out) for p in ("0.5", "0.95")}
        for result_of in result.values():
            self.assertIn(result_of["partitions"][0]["model"]["season"], ("none", "additive"))
        # Half-widths are quantiles of the standard normal times the same spread: 0.6744897501960817, 1.959963984540054.
        for low, high in zip(*(r["partitions"][0]["forecast"] for r in (result["0.5"], result["0.95"]))):
            self.assertEqual(low["forecast"], high["forecast"])
            self.assertAlmostEqual((high["upper"] - high["forecast"]) / (low["upper"] - low["forecast"]),
                                   1.959963984540054 / 0.6744897501960817, places=9)

    def test_fixed_season(self):
        text = series([str(i) for i in range(1, 41)], lambda i: season(i, 5))
        model = self.forecast_json(text, "--fixed-season", "5", "--trend", "none", "--season", "additive")["partitions"][0]["model"]
        self.assertEqual((model["trend"], model["season"], model["season_length"]), ("none", "additive", 5))

    def test_airline(self):
        done = brv("forecast", AIRLINE)
        self.assertEqual((done.returncode, done.err), (0, ""))
        for word in ("additive trend", "multiplicative season of 12 months", "alpha", "beta", "gamma", "RMSE", "MAE", "MAPE",
                     "MASE", "AIC", "Quality", "Season high", "1961-07", "1962-12"):
            self.assertIn(word, done.out)
        table = [line for line in done.out.splitlines() if line[:2] == "19" and "-" in line[:7]]
        self.assertEqual(len(table), 24)
        self.assertEqual(len({len(line) for line in table}), 1, "columns are aligned")

    def test_residuals_too_wide_are_told(self):
        # Values of very different size around zero under a multiplicative model that is not searched but demanded.
        values = [1, -50, 3000, -2, 0.01, 500, -4000, 7, 0.5, -900, 20, 1e5, -3, 8, -60000, 2, 0.1, 5, -70, 9]
        text = series([str(i) for i in range(20)], lambda i: values[i])
        done = brv("forecast", "-", "--output", "json", "--fixed-season", "4", "--trend", "none", "--season", "multiplicative", stdin=text)
        self.assertEqual(done.returncode, 3)
        self.assertIn("outcome 24", done.err)
        partition = json.loads(done.out)["partitions"][0]
        self.assertEqual(partition["status"], "residuals_too_wide")
        self.assertIsNone(partition["summary"])
        self.assertIsNone(partition["forecast"][0]["lower"])
        self.assertIsNotNone(partition["forecast"][0]["forecast"])


def many_partitions(count, length=24):
    lines = ["month,who,v"]
    for i in range(length):
        lines += [f"{2000 + i // 12}-{i % 12 + 1:02},p{k},{season(i, 4) + k}" for k in range(count)]
    return "\n".join(lines) + "\n"


class Partitions(ForecastTest):
    def test_input_order_and_failures(self):
        text = many_partitions(9).replace("p4,", "zoe,").replace("p2,", "p2,x") + "2000-01,alone,5\n"
        for output in ("json", "csv", "table"):
            with self.subTest(output=output):
                done = brv("forecast", "-", "--by", "who", "--output", output, "--periods", "2", stdin=text)
                self.assertEqual(done.returncode, 3)
                names = ["p0", "p1", "p3", "zoe", "p5", "p6", "p7", "p8"]
                errors = done.err.splitlines()
                self.assertEqual(errors[0], "brv: 2 of 10 partitions failed:")
                self.assertRegex(errors[1], r"^brv: <stdin>:4: who = p2: 'x\S+' in column 'v' is not a number$")
                self.assertEqual(errors[2], "brv: <stdin>:218: who = alone: the series has only one value; a forecast needs at least two")
                if output == "json":
                    result = json.loads(done.out)
                    self.assertEqual([p["partition"]["who"] for p in result["partitions"]], names)
                    self.assertEqual(len(result["failures"]), 2)
                elif output == "csv":
                    rows = list(csv.DictReader(io.StringIO(done.out)))
                    self.assertEqual([r["who"] for r in rows], [n for n in names for _ in range(2)])
                else:
                    positions = [done.out.index(f"who = {n}\n") for n in names]
                    self.assertEqual(positions, sorted(positions))

    def test_names_move_no_cursor(self):
        done = brv("forecast", "-", "--by", "who", stdin=many_partitions(1).replace("p0,", '"p\x1b[2J\n0",'))
        self.assertEqual(done.returncode, 0, done.err)
        self.assertIn("who = p\\x1B[2J\\x0A0\n", done.out)

    def test_same_as_alone(self):
        together = self.forecast_json(many_partitions(3), "--by", "who")["partitions"]
        for k, partition in enumerate(together):
            rows = [line for line in many_partitions(3).splitlines() if ",who," in line or f",p{k}," in line]
            alone = self.forecast_json("\n".join(rows))["partitions"][0]
            self.assertEqual(partition["forecast"], alone["forecast"])

    def test_two_columns_do_not_mix(self):
        text = "d,a,b,v\n" + "".join(f"20{20 + i // 12}-{i % 12 + 1:02},{a},{b},{i + len(a)}\n"
                                     for i in range(12) for a, b in (("x", "yz"), ("xy", "z")))
        partitions = self.forecast_json(text, "--by", "a", "b")["partitions"]
        self.assertEqual([p["partition"] for p in partitions], [{"a": "x", "b": "yz"}, {"a": "xy", "b": "z"}])

    def test_no_bar_without_a_terminal(self):
        self.assertEqual(brv("forecast", "-", "--by", "who", stdin=many_partitions(4)).err, "")

    def test_bar_on_a_terminal(self):
        leader, follower = pty.openpty()
        with tempfile.NamedTemporaryFile("w", suffix=".csv") as file:
            file.write(many_partitions(4))
            file.flush()
            process = subprocess.Popen([BRV, "forecast", file.name, "--by", "who"], stdout=subprocess.DEVNULL, stderr=follower)
            os.close(follower)
            shown = b""
            while True:
                try:
                    piece = os.read(leader, 4096)
                except OSError:   # the other end is closed
                    break
                if not piece:
                    break
                shown += piece
            os.close(leader)
            self.assertEqual(process.wait(), 0)
        self.assertIn(b"of 4 partitions", shown)
        self.assertTrue(shown.endswith(b"\r\x1b[K"), "the bar is gone at the end")


class Interrupts(BrvTest):
    def test_whole_documents_after_an_interrupt(self):
        with tempfile.NamedTemporaryFile("w", suffix=".csv") as file:
            file.write(many_partitions(400, 60))
            file.flush()
            process = subprocess.Popen([BRV, "forecast", file.name, "--by", "who", "--output", "json", "--season", "multiplicative",
                                        "--trend", "multiplicative"], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            begun = b""
            while begun.count(b'"partition"') < 2:   # results have begun to come
                piece = os.read(process.stdout.fileno(), 65536)
                self.assertTrue(piece, "ended too early")
                begun += piece
            process.send_signal(signal.SIGINT)
            rest, err = process.communicate(timeout=60)
        self.assertEqual(process.returncode, 130, err)
        result = json.loads(begun + rest)
        self.assertTrue(result["interrupted"])
        self.assertLess(len(result["partitions"]), 400)
        self.assertGreaterEqual(len(result["partitions"]), 2)

    def test_one_long_fit(self):
        text = "t,v\n" + "".join(f"{i},{season(i, 7)}\n" for i in range(300_000))
        with tempfile.NamedTemporaryFile("w", suffix=".csv") as file:
            file.write(text)
            file.flush()
            process = subprocess.Popen([BRV, "forecast", file.name, "--level", "none", "--time", "t"],
                                       stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            time.sleep(1)
            process.send_signal(signal.SIGINT)
            out, err = process.communicate(timeout=60)
        self.assertEqual((process.returncode, out, err), (130, b"", b""))

    def test_while_it_waits_for_input(self):
        process = subprocess.Popen([BRV, "forecast", "-"], stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        process.stdin.write(b"month,v\n")
        process.stdin.flush()
        self.assertFalse(select.select([process.stdout], [], [], 0.5)[0])
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(timeout=60), 130)
        for stream in (process.stdin, process.stdout, process.stderr):
            stream.close()


class Charts(BrvTest):
    def chart(self, text, *args):
        with tempfile.TemporaryDirectory() as directory:
            path = Path(directory) / "chart.svg"
            done = brv("forecast", "-", "--chart", str(path), *args, stdin=text)
            self.assertIn(done.returncode, (0, 3), done.err)
            return ElementTree.parse(path).getroot()

    def test_airline(self):
        root = self.chart(Path(AIRLINE).read_text())
        words = texts(root)
        self.assertEqual([t for t in words if t.startswith("19")], [str(y) for y in range(1949, 1963)])
        for word in ("Forecast of passengers", "history", "fit", "forecast", "95 % interval"):
            self.assertIn(word, words)
        self.assertIn("prefers-color-scheme: dark", root.find(SVG + "style").text)
        history, forecast, band = (paths(root, c)[0] for c in ("history", "forecast", "band"))
        self.assertEqual(history.count("L"), 143)
        self.assertEqual(forecast.count("L"), 24)   # from the last value on
        self.assertEqual(band.count("L"), 47)

    def test_extreme_values_and_dates(self):
        """Values a rounding apart, the first year of the calendar, and nothing but zeros."""
        years = [f"{2000 + i},{9007199254740992 + 2 * (i % 2)}" for i in range(20)]
        first = [f"{i + 1:04}-01-01,{10 + i % 3}" for i in range(12)]
        zeros = [f"{2020 + i // 12}-{i % 12 + 1:02},0" for i in range(36)]
        for rows in (years, first, zeros):
            with self.subTest(first=rows[0]), tempfile.TemporaryDirectory() as folder:
                chart = Path(folder) / "chart.svg"
                done = brv("forecast", "-", "--chart", str(chart), stdin="t,v\n" + "\n".join(rows) + "\n", timeout=20)
                self.assertEqual((done.returncode, done.err), (0, ""))
                ElementTree.parse(chart)
                self.assertNotRegex(chart.read_text(), r"[ \",](nan|inf)[ \",]")

    def test_value_column_without_a_time_column(self):
        done = brv("forecast", "-", "--level", "none", stdin="t,v\n1,10\n2,12\n3,11\n4,13\n")
        self.assertEqual(done.out.splitlines()[0], "v")

    def test_gaps_break_the_line(self):
        text = "m,v\n" + "".join(f"20{20 + i // 12}-{i % 12 + 1:02},{i}\n" for i in range(24) if i not in (5, 7))
        history = paths(self.chart(text), "history")[0]
        self.assertEqual(history.count("M"), 3)
        self.assertEqual(history.count("h0.1"), 1)   # the value between the two gaps

    def test_names_are_text(self):
        text = "m,who,a<b&c\n" + "".join(f"20{20 + i // 12}-{i % 12 + 1:02},{w},{i}\n" for i in range(24) for w in ("<é>", "x\x01"))
        root = self.chart(text.encode(), "--by", "who")
        titles = [t for t in texts(root) if t.startswith("Forecast")]
        self.assertEqual(titles, ["Forecast of a<b&c, who = <é>", "Forecast of a<b&c, who = x "])


class Describe(BrvTest):
    # scipy 1.10.1 and numpy 1.24.2 on the file: mean, std(ddof=1), scipy.stats.skew, kurtosis, percentile (linear),
    # and t.ppf(0.975, 143) * std / sqrt(144).
    AIRLINE = {"count": 144, "missing": 0, "mean": 280.2986111111111, "standard_deviation": 119.9663169429432, "skewness": 0.577068234901525,
               "kurtosis": -0.39377217091281036, "minimum": 104, "percentile_5": 121.6, "percentile_25": 180.0, "median": 265.5,
               "percentile_75": 360.5, "percentile_95": 488.14999999999986, "maximum": 622, "mean_precision_95": 19.761373559500832}
    # The bootstrap's spread of the median, by another generator (numpy, 200000 replicates), times the same t.
    AIRLINE_MEDIAN_PRECISION = 35.54

    def test_airline(self):
        done = brv("describe", AIRLINE, "--output", "json")
        self.assertEqual((done.returncode, done.err), (0, ""))
        (column,) = json.loads(done.out)["columns"]
        for name, expected in self.AIRLINE.items():
            self.assertAlmostEqual(column[name], expected, delta=1e-10 * max(1, abs(expected)), msg=name)
        # 1000 replicates know a spread to 1 / sqrt(2000); four of these.
        self.assertAlmostEqual(column["median_precision_95"] / self.AIRLINE_MEDIAN_PRECISION, 1, delta=0.09)

    def test_missing_text_and_bad_cells(self):
        done = brv("describe", "-", "--output", "csv", stdin="name,a,b\nx,1,1\ny,NA,2\nz,3,three\nw,,4\n")
        self.assertEqual(done.returncode, 3)
        self.assertEqual(done.err, "brv: <stdin>:4: 'three' in column 'b' is not a number; the column is left out\n")
        (row,) = csv.DictReader(io.StringIO(done.out))
        self.assertEqual((row["column"], row["count"], row["missing"], row["mean"], row["median"]), ("a", "2", "2", "2", "2"))
        self.assertEqual(row["median_precision_95"], "")   # two values are too few

    def test_table_is_aligned(self):
        done = brv("describe", "-", stdin="größe,b\n1,1000000\n2,3\n4,5\n")
        lines = done.out.splitlines()
        self.assertEqual(len({len(line) for line in lines}), 1, done.out)
        self.assertIn("größe", lines[0])


if __name__ == "__main__":
    run_tests()
