#!/usr/bin/env python3
"""End-to-end tests of the program brv, cluster, anova and solve: brv_analysis_test.py BRV PROJECT_DIR [unittest arguments].

Numbers of R are from R 4.2.2 on the files in examples/data.
"""
import csv
import io
import json
import math
import os
import pty
import random
import select
import signal
import statistics
import subprocess
import tempfile
import time
import xml.etree.ElementTree as ElementTree
from pathlib import Path

from brv_support import BRV, DATA, SVG, BrvTest, brv, paths, run_tests, texts

IRIS = str(DATA / "iris.csv")
FAITHFUL = str(DATA / "old_faithful.csv")
MEASURES = ["sepal_length", "sepal_width", "petal_length", "petal_width"]
NO_SPECIES = f"brv: {IRIS}: not clustered by 'species': no column of numbers\n"


class Cluster(BrvTest):
    def cluster_json(self, text, *args, err=""):
        done = brv("cluster", "-", "--output", "json", *args, stdin=text)
        self.assertEqual((done.returncode, done.err), (0, err))
        return json.loads(done.out)

    def test_iris_beside_r(self):
        """kmeans(minmax, 3, nstart = 50, algorithm = "Lloyd"), aggregate(..., sd), and the index by its formula."""
        sizes = [50, 39, 61]
        centres = [[5.006, 3.428, 1.462, 0.246], [6.84615384615, 3.08205128205, 5.70256410256, 2.07948717949],
                   [5.88852459016, 2.73770491803, 4.39672131148, 1.41803278689]]
        deviations = [[0.352489687213, 0.379064369096, 0.173663996480, 0.105385589380],
                      [0.502544134666, 0.279917088168, 0.519355460611, 0.281143798362],
                      [0.448738364995, 0.293350719803, 0.526930486597, 0.272340593572]]
        # Mean square between the clusters over that about the overall mean with 147 degrees of freedom.
        f = [53.5243277958, 34.0806355309, 69.0065213811, 66.7095408567]
        done = brv("cluster", IRIS, "--output", "json")
        self.assertEqual((done.returncode, done.err), (0, NO_SPECIES))
        result = json.loads(done.out)
        self.assertEqual(result["columns"], MEASURES)
        self.assertEqual([c["rows"] for c in result["clusters"]], sizes)
        for cluster, centre, deviation in zip(result["clusters"], centres, deviations):
            for i in range(4):
                self.assertAlmostEqual(cluster["centre"][i], centre[i], places=10)
                self.assertAlmostEqual(cluster["standard_deviation"][i], deviation[i], places=10)
        for variable, expected in zip(result["variables"], f):
            self.assertAlmostEqual(variable["ranking_f"], expected, places=9)
        for tried, (count, index) in zip(result["tried"], [(2, 354.365555911), (3, 359.845074208)]):
            self.assertEqual(tried["clusters"], count)
            self.assertAlmostEqual(tried["calinski_harabasz"], index, places=8)
        self.assertEqual(len(result["tried"]), 3, "the index that fell is there, and no more")
        self.assertEqual(result["chosen"], 3)

    def test_units_of_the_input_whatever_the_scale(self):
        """Centres and spreads by Python from the rows that the assignment names; the outlier is no part of them."""
        rows = list(csv.DictReader(Path(FAITHFUL).read_text(encoding="utf-8").splitlines()))
        for scale in ("minmax", "zscore", "none"):
            with self.subTest(scale=scale):
                result = json.loads(brv("cluster", FAITHFUL, "--scale", scale, "--k", "3", "--output", "json").out)
                self.assertEqual((result["tried"], result["chosen"]), ([], None))
                for cluster in result["clusters"]:
                    members = [row for row, place in zip(rows, result["rows"])
                               if place["cluster"] == cluster["cluster"] and not place["outlier"]]
                    self.assertEqual(len(members), cluster["rows"])
                    for i, name in enumerate(result["columns"]):
                        values = [float(row[name]) for row in members]
                        self.assertAlmostEqual(cluster["centre"][i], statistics.mean(values), places=9)
                        self.assertAlmostEqual(cluster["standard_deviation"][i], statistics.stdev(values), places=9)

    # Two groups and one row far from both, which is nearer to the second.
    PLANTED = "a,b\n" + "".join(f"{i % 4},{i % 3}\n" for i in range(12)) + "".join(f"{100 + i % 4},{i % 3}\n" for i in range(12)) + "75,1\n"

    def test_outliers_keep_their_cluster(self):
        result = self.cluster_json(self.PLANTED, "--k", "2", "--scale", "none")
        self.assertEqual(result["rows"][24]["cluster"], 2)
        self.assertTrue(result["rows"][24]["outlier"])
        self.assertEqual((result["outliers"], [c["outliers"] for c in result["clusters"]]), (1, [0, 1]))
        self.assertEqual([c["centre"] for c in result["clusters"]], [[1.5, 1.0], [101.5, 1.0]])
        none = self.cluster_json(self.PLANTED, "--k", "2", "--scale", "none", "--outlier-alpha", "0")
        self.assertEqual(none["outliers"], 0)
        done = brv("cluster", "-", "--k", "2", "--scale", "none", stdin=self.PLANTED)
        for word in ("25: 24 in 2 clusters, 1 outlier, 0 not clustered", "lines 2-13", "lines 14-25", "outliers      line 26"):
            self.assertIn(word, done.out)

    def test_rows_that_are_not_clustered(self):
        text = "name,x,y,w\np,1,1,1\nq,,1,1\nr,2,1,0\ns,9,9,2\nt,8,9,NA\nu,9,8,-1\nv,2,2,1\n"
        notes = ("brv: <stdin>: not clustered by 'name': no column of numbers\n"
                 "brv: <stdin>: 2 rows have a missing cell and are not clustered: lines 3, 6\n"
                 "brv: <stdin>: 2 rows have a weight that is not above 0 and are not clustered: lines 4, 7\n")
        result = self.cluster_json(text, "--weights", "w", "--k", "2", err=notes)
        self.assertEqual(result["columns"], ["x", "y"], "weights are no variable")
        self.assertEqual((result["missing_lines"], result["weightless_lines"]), ([3, 6], [4, 7]))
        self.assertEqual([(r["line"], r["cluster"]) for r in result["rows"]],
                         [(2, 1), (3, None), (4, None), (5, 2), (6, None), (7, None), (8, 1)])
        self.assertEqual([c["centre"] for c in result["clusters"]], [[1.5, 1.5], [9.0, 9.0]])
        self.assertIsNone(result["rows"][1]["squared_distance"])
        table = brv("cluster", "-", "--weights", "w", "--k", "2", stdin=text)
        self.assertIn("7: 3 in 2 clusters, 0 outliers, 4 not clustered", table.out)
        self.assertEqual(table.err, notes)

    def test_weights_pull_the_centre(self):
        result = self.cluster_json("x,w\n1,1\n2,3\n", "--weights", "w", "--k", "1", "--scale", "none")
        self.assertEqual(result["clusters"][0]["centre"], [1.75])

    def test_csv_is_the_input_with_clusters(self):
        text = 'cluster,"a,b",b\n"say ""x""",1,\ny,1,2\nz,8,9\n'
        done = brv("cluster", "-", "--columns", '"a,b",b', "--k", "2", "--output", "csv", stdin=text)
        self.assertEqual(done.returncode, 0, done.err)
        rows = list(csv.reader(io.StringIO(done.out)))
        self.assertEqual(rows[0], ["line", "cluster", "a,b", "b", "cluster_2", "outlier", "squared_distance"])
        self.assertEqual(rows[1:], [["2", 'say "x"', "1", "", "", "", ""], ["3", "y", "1", "2", "1", "no", "0"],
                                    ["4", "z", "8", "9", "2", "no", "0"]])

    def test_degenerate_tables(self):
        rows = [("a,b\n3,1\n3,1\n3,1\n", ["--k", "2"], [3], [3, 1], "brv: <stdin>: only 1 of 2 clusters have rows\n"),
                ("a,b\n3,1\n", [], [1], [3, 1], ""),
                ("a,b\n5,1\n5,1\n5,9\n5,9\n", ["--scale", "zscore", "--k", "2"], [2, 2], [5, 1], "")]
        for text, args, sizes, centre, err in rows:
            with self.subTest(text=text):
                result = self.cluster_json(text, *args, err=err)
                self.assertEqual([c["rows"] for c in result["clusters"]], sizes)
                self.assertEqual(result["clusters"][0]["centre"], centre)

    def test_the_number_that_was_taken(self):
        rows = [("two pairs of equal rows", "a,b\n1,1\n1,1\n9,9\n9,9\n", [], "2", "as many as get rows: the further ones tried stay empty"),
                ("equal rows", "a\n1\n1\n1\n", [], None, "as many as get rows: the further ones tried stay empty"),
                ("as many rows as clusters", "a,b\n1,1\n2,5\n9,9\n", [], "3", "the highest number tried: there are no more distinct rows to part"),
                ("a limit", Path(IRIS).read_text(encoding="utf-8"), ["--max-k", "2"], "2", "the highest number tried: the index below has not fallen yet"),
                ("a fall", Path(IRIS).read_text(encoding="utf-8"), [], "3", "the last number before the index below falls")]
        for why, text, args, taken, choice in rows:
            with self.subTest(why=why):
                done = brv("cluster", "-", *args, stdin=text)
                self.assertEqual(done.returncode, 0, done.err)
                self.assertEqual([line.split()[0] for line in done.out.splitlines() if line.endswith(" taken")], [taken] if taken else [])
                self.assertRegex(done.out, rf"(?m)^Choice +{choice}$")
                self.assertIn(f" in {taken or 1} cluster", done.out)

    def test_small_and_large_numbers_and_control_characters(self):
        done = brv("cluster", "-", "--k", "1", stdin="small,large,\"x\x1b[2J\ny\u0085\"\n1e-12,1e300,1\n3e-12,1e300,3\n")
        self.assertRegex(done.out, r"(?m)^small +2e-12 \+- 1\.414e-12 ")
        self.assertRegex(done.out, r"(?m)^large +1e\+300 \+- 0 ")
        self.assertRegex(done.out, r"(?m)^x\\x1B\[2J\\x0Ay\\xC2\\x85 +2\.000 \+- 1\.414 ")
        self.assertIn("F ranks the columns and is no test", done.out)

    def test_bad_input(self):
        rows = [("a\nx\n", [], "1: no column holds numbers to cluster by"),
                ("a\n", [], "1: there are no rows below the header"),
                ("a,b\n1,1\n2,1\n3,oops\n4,1\n", [], "4: 'oops' in column 'b' is not a number"),
                ("a,b\nx,1\n", ["--columns", "a"], "2: 'x' in column 'a' is not a number"),
                ("a,b\n1,1\n", ["--columns", "a,c"], "1: there is no column 'c'; the columns are 'a', 'b'"),
                ("a,w\n1,one\n", ["--weights", "w"], "2: 'one' in column 'w' is not a number"),
                ("a,b\n1,\n,1\n", [], "2: no row can be clustered: each has a missing cell"),
                ("a,w\n1,0\n2,-1\n", ["--weights", "w"],
                 "2: no row can be clustered: each has a missing cell or a weight that is not above 0"),
                ("a\n1e308\n-1e308\n", [], "1: the numbers in column 'a' are too far apart to be scaled"),
                ("a\n1e308\n-1e308\n", ["--scale", "zscore"], "1: the numbers in column 'a' are too far apart to be scaled"),
                ("a\n1e200\n-1e200\n", ["--scale", "none"],
                 "1: the numbers are too large for squared distances; --scale minmax helps"),
                ("a,b\n1,1\n", ["--columns", "a", "--axes", "a,b", "--chart", "/dev/null"],
                 "1: the column 'b' of --axes is none of those clustered by")]
        for text, args, message in rows:
            with self.subTest(message=message):
                self.expect_failure(["cluster", "-", *args], text, 3, "<stdin>:" + message)

    def test_usage(self):
        for args in (["--k", "0"], ["--k", "many"], ["--k", "3", "--max-k", "5"], ["--max-k", "0"], ["--scale", "log"],
                     ["--outlier-alpha", "2"], ["--axes", "a,b"], ["--axes", "a", "--chart", "/dev/null"],
                     ["--outlier-alpha", "nan"], ["--columns", '"a'], ["--columns", "waiting\neruptions"],
                     ["--columns", "waiting,waiting"], ["--axes", "waiting,waiting", "--chart", "/dev/null"],
                     ["--chart", ""], []):
            with self.subTest(args=args):
                done = brv("cluster", *([FAITHFUL, *args] if args else []))
                self.assertEqual((done.returncode, done.out), (2, ""), done.err)
                self.assertRegex(done.err, r"\Abrv: .+\n\Z")


class Scatter(BrvTest):
    def chart(self, text, *args):
        with tempfile.TemporaryDirectory() as directory:
            path = Path(directory) / "chart.svg"
            done = brv("cluster", "-", "--chart", str(path), *args, stdin=text)
            self.assertEqual(done.returncode, 0, done.err)
            self.assertNotRegex(path.read_text(encoding="utf-8"), r"[ \",](nan|inf)[ \",]")
            return ElementTree.parse(path).getroot()

    def test_the_two_columns_that_separate_most(self):
        root = self.chart(Path(IRIS).read_text(encoding="utf-8"))
        words = texts(root)
        for word in ("3 clusters in <stdin>", "k-means of 150 rows by 4 columns", "petal_length", "petal_width",
                     "cluster 1 (50)", "cluster 2 (39)", "cluster 3 (61)", "centres", "1", "2", "3"):
            self.assertIn(word, words)
        self.assertNotIn("sepal_length", words)
        self.assertEqual([d.count("M") for d in paths(root, "dot")], [50, 39, 61, 1, 1, 1])   # rows, then the legend
        self.assertIn("prefers-color-scheme: dark", root.find(SVG + "style").text)

    def test_chosen_axes(self):
        words = texts(self.chart(Path(IRIS).read_text(encoding="utf-8"), "--axes", "sepal_width,sepal_length"))
        self.assertLess(words.index("sepal_length"), words.index("sepal_width"), "the vertical axis is named first")

    def test_a_file_that_cannot_be_written_is_found_first(self):
        with tempfile.TemporaryDirectory() as directory:
            for name, reason in [("none/chart.svg", "No such file or directory"), ("", "Is a directory")]:
                path = f"{directory}/{name}"
                self.expect_failure(["cluster", "/no/such.csv", "--chart", path], None, 1, f"{path}: cannot be written: {reason}")
            kept = Path(directory) / "chart.svg"
            kept.write_text("before", encoding="utf-8")
            self.assertEqual(brv("cluster", "-", "--chart", str(kept), stdin="a\nx\n").returncode, 3)
            self.assertEqual(brv("cluster", "-", "--chart", directory + "/new.svg", stdin="a\nx\n").returncode, 3)
            self.assertEqual((kept.read_text(encoding="utf-8"), os.listdir(directory)), ("before", ["chart.svg"]))

    def test_labels_of_any_length(self):
        root = self.chart("a,b\n" + "".join(f"{i}e-12,{-1.5e8 * i}\n" for i in range(1, 6)), "--k", "2", "--axes", "a,b")
        words = texts(root)
        self.assertIn("2e-12", words)
        self.assertIn("-600000000", words)
        for node in root.iter(SVG + "text"):
            if node.get("text-anchor") == "end":
                self.assertGreater(float(node.get("x")) - 7.3 * len(node.text), 0, node.text)
        root = self.chart("\uffff" + "n" * 90 + ",b\n1,1\n2,3\n", "--k", "1")
        self.assertIn("\ufffd" + "n" * 59 + "...", texts(root))

    def test_outliers_and_rows_left_out(self):
        root = self.chart(Cluster.PLANTED + ",1\n", "--k", "2", "--scale", "none")
        self.assertIn("outliers (1)", texts(root))
        self.assertIn("k-means of 25 rows by 2 columns; 1 more not clustered", texts(root))
        self.assertEqual(len(paths(root, "outlier")), 2)   # the row and the legend
        self.assertEqual([d.count("M") for d in paths(root, "dot")], [12, 12, 1, 1])

    def test_unusual_tables(self):
        words = texts(self.chart("a<b\n1\n2\n9\n"))   # one column: against the lines
        self.assertIn("line", words)
        self.assertFalse([word for word in words if word.endswith(".5")], "lines are whole")
        self.chart("a,b\n3,1\n3,1\n")                                # no spread
        many = self.chart("a,b\n" + "".join(f"{i},{i * i}\n" for i in range(40)), "--k", "40")
        self.assertIn("and 24 more", texts(many))
        self.assertTrue(paths(many, "dot square"))


class Anova(BrvTest):
    def test_iris_beside_r(self):
        """summary(aov(sepal_width ~ species)), aggregate(..., mean and sd)."""
        done = brv("anova", IRIS, "--value", "sepal_width", "--group", "species", "--output", "json")
        self.assertEqual((done.returncode, done.err), (0, ""))
        result = json.loads(done.out)
        expected = [("setosa", 3.428, 0.379064369096289), ("versicolor", 2.77, 0.313798323378411),
                    ("virginica", 2.974, 0.322496638172637)]
        for group, (name, mean, deviation) in zip(result["groups"], expected, strict=True):
            self.assertEqual((group["group"], group["count"]), (name, 50))
            self.assertAlmostEqual(group["mean"], mean, places=12)
            self.assertAlmostEqual(group["standard_deviation"], deviation, places=12)
        self.assertEqual((result["between"]["df"], result["within"]["df"]), (2, 147))
        self.assertAlmostEqual(result["between"]["sum_of_squares"], 11.3449333333333, places=11)
        self.assertAlmostEqual(result["within"]["sum_of_squares"], 16.962, places=11)
        self.assertAlmostEqual(result["f"], 49.1600400896121, places=9)
        self.assertEqual(result["p"], 0)   # 4.5e-17, less than a lower tail can differ from 1

    def test_by_hand_with_missing_cells_and_an_offset(self):
        """Groups 1, 2 and 3, 4: F = (4 / 1) / (1 / 2) = 8, whatever is added to all values."""
        for offset in (0, 10 ** 9):
            text = "g,v\n" + "".join(f"{g},{v if v is None else v + offset}\n".replace("None", "")
                                     for g, v in [("b", 1), ("b", 2), ("a", 3), ("", 9), ("a", None), ("a", 4)])
            done = brv("anova", "-", "--value", "v", "--group", "g", "--output", "csv", stdin=text)
            self.assertEqual(done.err, "brv: <stdin>: 2 rows have a missing cell and are left out: lines 5-6\n")
            rows = list(csv.DictReader(io.StringIO(done.out)))
            self.assertEqual([(r["group"], r["count"], float(r["mean"]) - offset) for r in rows], [("b", "2", 1.5), ("a", "2", 3.5)])
            self.assertAlmostEqual(float(rows[0]["f"]), 8, places=9)
            self.assertAlmostEqual(float(rows[1]["p"]), 1 - (8 / 10) ** 0.5, places=9)   # P(F(1, 2) > f) in closed form

    def test_groups_of_one(self):
        """By hand: F = (1 / 6) / (9 / 2) = 1 / 27, whose tail of an F(1, 1) is in closed form; summary(aov()) of iris."""
        done = brv("anova", "-", "--value", "v", "--group", "g", "--output", "json", stdin="v,g\n1,a\n4,a\n2,b\n")
        self.assertEqual((done.returncode, done.err), (0, ""))
        result = json.loads(done.out)
        self.assertAlmostEqual(result["f"], 1 / 27, places=14)
        self.assertAlmostEqual(result["p"], 1 - 2 / math.pi * math.atan((1 / 27) ** 0.5), places=12)
        self.assertIsNone(result["groups"][1]["standard_deviation"])
        done = brv("anova", IRIS, "--value", "sepal_length", "--group", "petal_width", "--output", "json")
        self.assertEqual(done.err, "")
        self.assertAlmostEqual(json.loads(done.out)["f"], 15.3660138947107, places=11)

    def test_table(self):
        done = brv("anova", IRIS, "--value", "sepal_width", "--group", "species")
        self.assertEqual((done.returncode, done.err), (0, ""))
        self.assertRegex(done.out, r"between groups +2 +11\.3449 +5\.67247 +49\.1600 +< 0\.0001\n")
        self.assertRegex(done.out, r"within groups +147 +16\.962 +0\.115388\n")
        self.assertRegex(done.out, r"versicolor +50 +2\.77000 +0\.31380 +2\.00000 +3\.40000\n")

    def test_no_variation_within_the_groups(self):
        done = brv("anova", "-", "--value", "v", "--group", "g", "--output", "json", stdin="v,g\n1,a\n1,a\n2,b\n2,b\n")
        self.assertEqual(done.err, "brv: <stdin>: the values do not vary within the groups, so there is no F\n")
        self.assertEqual([json.loads(done.out)[key] for key in ("f", "p")], [None, None])

    def test_bad_input(self):
        hundred = "".join(f"{i},g{i % 100}\n" for i in range(200))
        self.assertEqual(brv("anova", "-", "--value", "v", "--group", "g", stdin="v,g\n" + hundred).returncode, 0)
        rows = [("v,g\n" + hundred + "1,more\n", "202: 'more' in column 'g' is one group more than the 100 that can be compared"),
                ("v,g\n1,a\n2,a\n", "1: 'a' is the only group in column 'g'; a comparison needs two"),
                ("v,g\n1,a\n2,b\n", "1: each group has a single value; a comparison needs a group with two"),
                ("v,g\n1,a\n2,a\n,b\n", "1: 'a' is the only group in column 'g'; a comparison needs two "
                                          "(1 row has a missing cell and is left out: line 4)"),
                ("v,g\n,a\n2,\n", "1: no row has both a value and a group"),
                ("v,g\n1,a\ntwo,b\n", "3: 'two' in column 'v' is not a number"),
                ("v,g\n1e308,a\n-1e308,a\n1,b\n", "1: the numbers are too large for sums of their squares"),
                ("v,h\n1,a\n", "1: there is no column 'g'; the columns are 'v', 'h'")]
        for text, message in rows:
            with self.subTest(message=message):
                self.expect_failure(["anova", "-", "--value", "v", "--group", "g"], text, 3, "<stdin>:" + message)
        self.assertEqual(brv("anova", IRIS, "--value", "sepal_width").returncode, 2)


class Solve(BrvTest):
    def solve(self, a, b, *args):
        with tempfile.TemporaryDirectory() as directory:
            files = [Path(directory) / "a.csv", Path(directory) / "b.csv"]
            for path, text in zip(files, (a, b)):
                path.write_text(text, encoding="utf-8")
            done = subprocess.run([BRV, "solve", "a.csv", "b.csv", *args], capture_output=True, cwd=directory, timeout=60, text=True)
        return done.returncode, done.stdout, done.stderr

    def solve_json(self, a, b, *args, err=""):
        code, out, complaints = self.solve(a, b, *args, "--output", "json")
        self.assertEqual((code, complaints), (0, err))
        return json.loads(out)

    def test_iris_beside_r(self):
        """lm.fit(cbind(1, sepal_length, petal_width), cbind(petal_length, sepal_width))."""
        rows = list(csv.DictReader(Path(IRIS).read_text(encoding="utf-8").splitlines()))
        a = "one,sepal_length,petal_width\n" + "".join(f"1,{r['sepal_length']},{r['petal_width']}\n" for r in rows)
        b = "petal_length,sepal_width\n" + "".join(f"{r['petal_length']},{r['sepal_width']}\n" for r in rows)
        result = self.solve_json(a, b)
        self.assertEqual((result["equations"], result["rank"]), (150, 3))
        expected = [("petal_length", [-1.507138376845929, 0.542255621843838, 1.748102857035938], 4.88894505950483),
                    ("sepal_width", [1.926320775390348, 0.289286728301178, -0.466414306084128], 4.65645569364245)]
        for solution, (name, values, norm) in zip(result["solutions"], expected, strict=True):
            self.assertEqual(solution["right_hand_side"], name)
            for value, wanted in zip(solution["values"], values, strict=True):
                self.assertAlmostEqual(value, wanted, places=11)
            self.assertAlmostEqual(solution["residual_norm"], norm, places=11)

    def test_dependent_columns(self):
        """The third column is the sum of the others. By hand: the line through (0, 1), (1, 2), (2, 4) and the residuals."""
        err = "brv: a.csv: the rank is 2 of 3; less than 1e-7 of this column remains beside the others, and it gets 0: 'c'\n"
        result = self.solve_json("a,b,c\n1,0,1\n1,1,2\n1,2,3\n", "y\n1\n2\n4\n", err=err)
        self.assertEqual([u["dependent"] for u in result["unknowns"]], [False, False, True])
        for value, wanted in zip(result["solutions"][0]["values"], [5 / 6, 1.5, 0.0]):
            self.assertAlmostEqual(value, wanted, places=12)
        self.assertAlmostEqual(result["solutions"][0]["residual_norm"], (1 / 6) ** 0.5, places=12)
        wide = "brv: a.csv: the rank is 1 of 3; less than 1e-7 of these columns remains beside the others, and they get 0: 'x2', 'x3'\n"
        self.assertEqual(self.solve_json("2,3,4\n", "8\n", err=wide)["solutions"][0]["values"], [4, 0, 0])

    def test_units_do_not_matter(self):
        """a / u + 2 b / v = y at (a, b) = (1, 0), (2, 0), (4, 1), whatever the units u and v."""
        for u, v in [(1e-8, 1.0), (1e-300, 1e290), (1e200, 1e-200), (2.0 ** -1060, 1.0)]:
            with self.subTest(u=u, v=v):
                a = "a,b\n" + "".join(f"{i * u!r},{j * v!r}\n" for i, j in [(1, 0), (2, 0), (4, 1)])
                result = self.solve_json(a, "y\n1\n2\n6\n") if u > 2.0 ** -1000 else None
                if result is None:   # 1 / u is above the largest number
                    self.assertEqual(self.solve(a, "y\n1\n2\n6\n")[2], "brv: a.csv: the numbers are too large to solve for\n")
                    continue
                self.assertEqual(result["rank"], 2)
                x, y = result["solutions"][0]["values"]
                self.assertAlmostEqual(x * u, 1, places=12)
                self.assertAlmostEqual(y * v, 2, places=12)

    def test_headers(self):
        rows = [("1,0\n0,1\n", "3\n4\n", [], 2, "x1", "b1", "numbers from the first line on"),
                ("p,q\n1,0\n0,1\n", "3\n4\n", [], 2, "p", "b1", "each file by itself"),
                ("2001,2002\n1,0\n0,1\n", "2003\n3\n4\n", ["--header", "yes"], 2, "2001", "2003", "names that are numbers")]
        for a, b, args, equations, unknown, side, why in rows:
            with self.subTest(why=why):
                result = self.solve_json(a, b, *args)
                self.assertEqual((result["equations"], result["unknowns"][0]["unknown"]), (equations, unknown))
                self.assertEqual(result["solutions"][0]["right_hand_side"], side)
                self.assertEqual([round(v, 12) for v in result["solutions"][0]["values"]], [3, 4])

    def test_table_csv_and_missing_cells(self):
        a, b = "a,b\n1,0\n,5\n0,1\n1,1\n", "y\n2\n1\n3\nNA\n"
        code, out, err = self.solve(a, b)
        self.assertEqual((code, err), (0, "brv: a.csv: 2 rows have a missing cell and are left out of both files: lines 3, 5\n"))
        for line in (r"Equations +2", r"Unknowns +2", r"Rank +2", r"a +2", r"b +3", r"right-hand side +residual norm", r"y +\S+"):
            self.assertRegex(out, rf"(?m)^{line}$")
        self.assertEqual(self.solve("a,b\n1,0\n0,1\n", "y\n2\n3\n", "--output", "csv")[1],
                         "right_hand_side,unknown,dependent,value,rank,residual_norm\ny,a,no,2,2,0\ny,b,no,3,2,0\n")

    def test_bad_input(self):
        rows = [("a\n1\n2\n", "y\n1\n", "a.csv: 2 rows, but b.csv has 1; a right-hand side needs a row for each"),
                ("a\n1\nx\n", "y\n1\n2\n", "a.csv:3: 'x' in column 'a' is not a number"),
                ("a\n1\n2\n", "y\n1\n2,3\n", "b.csv:3: the row has 2 cells, the header 1"),
                ("a\n1\n", "", "b.csv: the file is empty; a line with the names of the columns is expected"),
                ("a\n1\n", "y\n", "b.csv:1: there are no rows below the header"),
                ("a\nNA\n2\n", "y\n1\nNA\n", "a.csv: each row has a missing cell here or in b.csv"),
                ("p\n1\n", "q\n1\n", "a.csv:1: 'p' in column 'x1' is not a number")]
        for a, b, message in rows:
            with self.subTest(message=message):
                args = ["--header", "no"] if a.startswith("p") else []
                self.assertEqual(self.solve(a, b, *args), (3, "", "brv: " + message + "\n"))
        self.expect_failure(["solve", IRIS, "/no/such.csv"], None, 3, "/no/such.csv: cannot be opened: No such file or directory")
        self.assertEqual(brv("solve", "-", "-").returncode, 2)
        self.assertEqual(brv("solve", IRIS).returncode, 2)


class LongWork(BrvTest):
    """Rows without clusters, split ever further: seconds of work."""

    @classmethod
    def setUpClass(cls):
        rng = random.Random(1)
        with tempfile.NamedTemporaryFile("w", suffix=".csv", delete=False) as file:
            file.write("a,b,c\n")
            file.writelines(f"{rng.random():.6f},{rng.random():.6f},{rng.random():.6f}\n" for _ in range(60_000))
        cls.path = file.name
        cls.command = [BRV, "cluster", file.name, "--k", "3000"]

    @classmethod
    def tearDownClass(cls):
        os.unlink(cls.path)

    def test_interrupt(self):
        process = subprocess.Popen(self.command, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        time.sleep(1)
        process.send_signal(signal.SIGINT)
        out, err = process.communicate(timeout=60)
        self.assertEqual((process.returncode, out, err), (130, b"", b""))

    def test_interrupt_while_nobody_reads(self):
        process = subprocess.Popen([BRV, "cluster", self.path, "--k", "2", "--output", "csv"], stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.assertTrue(select.select([process.stdout], [], [], 60)[0])   # far more comes than a pipe holds
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(timeout=60), 130)
        out, err = process.communicate()
        self.assertEqual(err, b"")
        self.assertLess(out.count(b"\n"), 60_000)

    def test_the_terminal_shows_that_it_works(self):
        leader, follower = pty.openpty()
        process = subprocess.Popen(self.command, stdout=subprocess.DEVNULL, stderr=follower)
        os.close(follower)
        shown = b""
        while b"clustering 60000 rows, 1 s" not in shown:
            shown += os.read(leader, 4096)   # an error when the program ends before
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(timeout=60), 130)
        shown += os.read(leader, 4096)
        os.close(leader)
        self.assertTrue(shown.endswith(b"\r\x1b[K"), shown)


if __name__ == "__main__":
    run_tests()
