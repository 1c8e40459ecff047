#!/usr/bin/env python3
"""Times the same jobs here, in NumPy/SciPy and in R, and prints the ratios.

Usage: bench/compare_peers.py PATH/TO/brvcore_bench [FILTER]

A peer that is not installed is left out. FILTER is a part of a benchmark's name. To add a job, append a row to JOBS; the
data must be those of the benchmark. Every peer runs in one thread.
"""

import json
import os
import shutil
import subprocess
import sys
import time

PYTHON_SETUP = """
import numpy as np
from scipy import linalg, stats
def waves(n):
    i = np.arange(n)
    return 100 + 10 * np.sin(0.7 * i) + np.sin(12.9898 * i)
def monthly(n):
    t = np.arange(n)
    return 100 + 0.5 * t + 20 * np.sin(2 * np.pi * t / 12) + 3 * np.sin(7.3 * t * t)
def moments(x):
    return x.mean(), x.var(ddof=1), stats.skew(x), stats.kurtosis(x)
def bootstrap(x, samples):
    draws = np.random.Generator(np.random.MT19937(13579)).integers(0, len(x), (samples, len(x)))
    return np.median(x[draws], axis=1).std()
def seasons(y):
    n = len(y)
    t = np.arange(n)
    u = t / n
    scores = []
    for p in range(2, min(60, n // 2) + 1):
        a = 2 * np.pi * (t - 1) / p
        s, c = np.sin(a), np.cos(a)
        x = np.column_stack((np.ones(n), u, s, c, u * u, u * s, u * c))
        beta = np.linalg.lstsq(x, y, rcond=None)[0]
        scores.append(((y - x @ beta) ** 2).sum())
    return np.argsort(scores)
def grouped(n, groups):
    i = np.arange(n)
    return waves(n), i * i % 104729 % groups
def anova(x):
    y, g = x
    n, s, q = np.bincount(g), np.bincount(g, y), np.bincount(g, y * y)
    between, within = (n * (s / n - y.mean()) ** 2).sum(), (q - s * s / n).sum()
    df1, df2 = len(n) - 1, len(y) - len(n)
    return stats.f.sf(between / df1 / (within / df2), df1, df2)
def noise(rows, cols):
    i = np.arange(rows * cols)
    return np.sin(12.9898 * i * i).reshape(rows, cols)
def symmetric_noise(n):
    x = noise(n, n)
    return np.tril(x) + np.tril(x, -1).T
def mixed(n):
    i, j = np.ogrid[0:n, 0:n]
    return np.sin(1.0 * i * i + 3 * j * j + i * j) + 2 * np.eye(n)
def dominant(n):
    i, j = np.ogrid[0:n, 0:n]
    return np.sin(1.0 * i * j + i + j) + n * np.eye(n)
def sines(n):
    return np.sin(np.arange(n)[:, None] * np.arange(1.0, 11.0))
def spd_solve(x):
    return linalg.cho_solve(linalg.cho_factor(x), np.ones(len(x)))
def unit(i, v):
    x = np.sin(i * 12.9898 + v * 78.233) * 43758.5453
    return x - np.floor(x)
def clouds(rows, columns, n):
    i, v = np.arange(rows)[:, None], np.arange(columns)[None, :]
    return 10 * unit(-1 - i % n, v) - 6 + sum(unit(i, v + 100 * part) for part in range(12))
def kmeans(x, k):
    from sklearn.cluster import KMeans
    return KMeans(k, n_init=10, random_state=1).fit(x)
def table(rows, cols):
    return waves(rows * cols).reshape(cols, rows).T
def csv_file(digits):
    import tempfile
    file = tempfile.NamedTemporaryFile("w", suffix=".csv")
    np.savetxt(file, table(100000, 20), "%%.%dg" % digits, ",")
    file.flush()
    return file
def read_csv(file):
    try:
        import pandas
        return pandas.read_csv(file.name, header=None).to_numpy()
    except ImportError:
        return np.loadtxt(file.name, delimiter=",")
"""

R_SETUP = """
waves <- function(n) { i <- seq_len(n) - 1; 100 + 10 * sin(0.7 * i) + sin(12.9898 * i) }
monthly <- function(n) { t <- seq_len(n) - 1; 100 + 0.5 * t + 20 * sin(2 * pi * t / 12) + 3 * sin(7.3 * t * t) }
moments <- function(x) { n <- length(x); d <- x - mean(x); s2 <- sum(d^2)
  c(mean(x), s2 / (n - 1), sum(d^3) * sqrt(n) / s2^1.5, n * sum(d^4) / s2^2 - 3) }
bootstrap <- function(x, samples) { n <- length(x); set.seed(1)
  sd(apply(matrix(sample(x, n * samples, replace = TRUE), n), 2, median)) }
seasons <- function(y) { n <- length(y); t <- seq_len(n) - 1; u <- t / n
  order(sapply(2:min(60, n %/% 2), function(p) { a <- 2 * pi * (t - 1) / p; s <- sin(a); c <- cos(a)
    sum(lm.fit(cbind(1, u, s, c, u * u, u * s, u * c), y)$residuals^2) })) }
grouped <- function(n, groups) { i <- seq_len(n) - 1; list(waves(n), factor((i * i) %% 104729 %% groups)) }
anova_f <- function(x) oneway.test(x[[1]] ~ x[[2]], var.equal = TRUE)
noise <- function(rows, cols) { i <- seq_len(rows * cols) - 1
  matrix(sin(12.9898 * i * i), rows, cols, byrow = TRUE) }
symmetric_noise <- function(n) { x <- noise(n, n); x[upper.tri(x)] <- t(x)[upper.tri(x)]; x }
mixed <- function(n) { i <- seq_len(n) - 1; outer(i, i, function(i, j) sin(i * i + 3 * j * j + i * j)) + 2 * diag(n) }
dominant <- function(n) { i <- seq_len(n) - 1; outer(i, i, function(i, j) sin(i * j + i + j)) + n * diag(n) }
sines <- function(n) sin(outer(seq_len(n) - 1, 1:10))
spd_solve <- function(x) { u <- chol(x); backsolve(u, backsolve(u, rep(1, nrow(x)), transpose = TRUE)) }
unit <- function(i, v) { x <- sin(outer(i * 12.9898, v * 78.233, "+")) * 43758.5453; x - floor(x) }
clouds <- function(rows, columns, n) { i <- seq_len(rows) - 1; v <- seq_len(columns) - 1
  x <- 10 * unit(-1 - i %% n, v) - 6; for (part in 0:11) x <- x + unit(i, v + 100 * part); x }
table <- function(rows, cols) matrix(waves(rows * cols), rows)
csv_file <- function(digits) { path <- tempfile()
  write.table(signif(table(100000, 20), digits), path, sep = ",", row.names = FALSE, col.names = FALSE); path }
read_csv <- function(path) as.matrix(read.csv(path, header = FALSE, colClasses = "numeric"))
"""

# benchmark, Python call or None, R call, data in both languages (x)
JOBS = [
    ("BM_ForecastAirline/trendLimit:2", None, "forecast::ets(AirPassengers)", "0"),   # both search all components
    ("BM_Moments/1000000", "moments(x)", "moments(x)", "waves(1000000)"),
    ("BM_MedianPrecision/10", "bootstrap(x, 400000)", "bootstrap(x, 400000)", "waves(10)"),
    ("BM_MedianPrecision/1000", "bootstrap(x, 1000)", "bootstrap(x, 1000)", "waves(1000)"),
    ("BM_SeasonSearch/120", "seasons(x)", "seasons(x)", "monthly(120)"),
    ("BM_FTail", "stats.f.sf(3.7, 4, 120)", "pf(3.7, 4, 120, lower.tail = FALSE)", "0"),
    ("BM_EigenGeneral/200", "np.linalg.eig(x)", "eigen(x, symmetric = FALSE)", "noise(200, 200)"),
    ("BM_EigenSymmetric/200", "np.linalg.eigh(x)", "eigen(x, symmetric = TRUE)", "symmetric_noise(200)"),
    ("BM_SingularValues/200", "np.linalg.svd(x)", "svd(x)", "noise(200, 200)"),
    ("BM_GeneralizedInverse/200", "np.linalg.pinv(x)", "MASS::ginv(x)", "noise(400, 200)"),
    ("BM_AnovaScattered/50", "anova(x)", "anova_f(x)", "grouped(1000000, 50)"),
    ("BM_SummaryStats", "(x.mean(), x.var(ddof=1), x.min(), x.max())", "c(mean(x), var(x), range(x))", "waves(1000000)"),
    ("BM_QR/500", "linalg.qr(x, mode='raw')", "qr(x)", "mixed(500)"),
    ("BM_LeastSquares/100000", "linalg.lstsq(x, np.ones(len(x)))", "lm.fit(x, rep(1, nrow(x)))", "sines(100000)"),
    ("BM_CholeskySolve/500", "spd_solve(x)", "spd_solve(x)", "dominant(500)"),
    ("BM_MatrixProduct/100", "x @ x", "x %*% x", "table(100, 100)"),
    ("BM_MatrixProduct/1000", "x @ x", "x %*% x", "table(1000, 1000)"),
    ("BM_ColMeanStddevs/100000/100", "(x.mean(axis=0), x.std(axis=0, ddof=1))", "list(colMeans(x), apply(x, 2, sd))",
     "table(100000, 100)"),
    ("BM_MatrixReadCsv/8", "read_csv(x)", "read_csv(x)", "csv_file(8)"),
    ("BM_MatrixReadCsv/17", "read_csv(x)", "read_csv(x)", "csv_file(17)"),
    # ours draws no starts; ten are what the peers need to find the same clusters
    ("BM_KMeans/rows:100000/k:8", "kmeans(x, 8)", "kmeans(x, 8, iter.max = 100, nstart = 10)", "clouds(100000, 10, 8)"),
]

TO_SECONDS = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}
ONE_THREAD = dict(os.environ, OMP_NUM_THREADS="1", OPENBLAS_NUM_THREADS="1", MKL_NUM_THREADS="1")


def run_ours(program, names):
    pattern = "^(" + "|".join(names) + ")$"
    text = subprocess.run([program, "--benchmark_filter=" + pattern, "--benchmark_format=json"],
                          check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True).stdout
    rows = json.loads(text)["benchmarks"]
    return {row["name"]: row["real_time"] * TO_SECONDS[row["time_unit"]] for row in rows}


def best_time(call, budget=1.0):
    """The shortest of several calls; short ones are repeated until they can be timed."""
    repeats, best = 1, float("inf")
    deadline = time.perf_counter() + budget
    while time.perf_counter() < deadline or best == float("inf"):
        begin = time.perf_counter()
        for _ in range(repeats):
            call()
        elapsed = time.perf_counter() - begin
        best = min(best, elapsed / repeats)
        if elapsed < 0.01:
            repeats *= 4
    return best


def run_scipy(jobs):
    """In a process of its own, so that the numeric libraries see the thread limits."""
    scipy_python = next((p for p in (sys.executable, "/usr/bin/python3") if p and subprocess.run(
        [p, "-c", "import numpy, scipy"], stderr=subprocess.DEVNULL).returncode == 0), None)
    if scipy_python is None:
        return {}
    text = subprocess.run([scipy_python, os.path.abspath(__file__), "--scipy-worker", json.dumps(jobs)],
                          check=True, stdout=subprocess.PIPE, text=True, env=ONE_THREAD).stdout
    return json.loads(text)


def scipy_worker(jobs):
    results = {}
    for name, call, _, data in jobs:
        if call is None:
            continue
        scope = {}
        exec(PYTHON_SETUP + "x = " + data + "\ndef job(): return " + call + "\n", scope)
        try:
            results[name] = best_time(scope["job"])
        except ImportError:   # scikit-learn is not everywhere
            pass
    print(json.dumps(results))


def run_r(jobs):
    if shutil.which("Rscript") is None:
        return {}
    timer = """
best <- function(f) { k <- 1; repeat { e <- system.time(for (i in seq_len(k)) f())[["elapsed"]]; if (e > 0.2) break
  k <- k * 4 }; min(e, system.time(for (i in seq_len(k)) f())[["elapsed"]]) / k }
"""
    script = R_SETUP + timer
    for name, _, call, data in jobs:
        script += f'x <- {data}; tryCatch(cat("{name}", best(function() {call}), "\\n"), error = function(e) NULL)\n'
    text = subprocess.run(["Rscript", "-e", script], check=True, stdout=subprocess.PIPE, text=True, env=ONE_THREAD).stdout
    return {line.split()[0]: float(line.split()[1]) for line in text.splitlines() if line.strip()}


def in_units(seconds):
    if seconds is None:
        return "-"
    for unit in ("s", "ms", "us"):
        if seconds >= TO_SECONDS[unit]:
            return f"{seconds / TO_SECONDS[unit]:.3g} {unit}"
    return f"{seconds / TO_SECONDS['ns']:.3g} ns"


def main(arguments):
    if not arguments or len(arguments) > 2:
        sys.exit(__doc__)
    wanted = arguments[1] if len(arguments) == 2 else ""
    jobs = [job for job in JOBS if wanted in job[0]]
    if not jobs:
        sys.exit(f"no job has {wanted!r} in its name")
    columns = [run_ours(arguments[0], [job[0] for job in jobs]), run_scipy(jobs), run_r(jobs)]
    print("| job | here | SciPy | R | SciPy / here | R / here |")
    print("|---|---|---|---|---|---|")
    for job in jobs:
        ours, scipy, r = (column.get(job[0]) for column in columns)
        ratios = [f"{peer / ours:.1f}" if peer and ours else "-" for peer in (scipy, r)]
        print("| " + " | ".join([job[0][3:], in_units(ours), in_units(scipy), in_units(r)] + ratios) + " |")


if __name__ == "__main__":
    if sys.argv[1:2] == ["--scipy-worker"]:
        scipy_worker(json.loads(sys.argv[2]))
    else:
        main(sys.argv[1:])
