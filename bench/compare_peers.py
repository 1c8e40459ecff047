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
from scipy import stats
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
"""

# benchmark, Python call or None, R call, data in both languages (x)
JOBS = [
    ("BM_ForecastAirline/trendLimit:2", None, "forecast::ets(AirPassengers)", "0"),   # both search all components
    ("BM_Moments/1000000", "moments(x)", "moments(x)", "waves(1000000)"),
    ("BM_MedianPrecision/10", "bootstrap(x, 400000)", "bootstrap(x, 400000)", "waves(10)"),
    ("BM_MedianPrecision/1000", "bootstrap(x, 1000)", "bootstrap(x, 1000)", "waves(1000)"),
    ("BM_SeasonSearch/120", "seasons(x)", "seasons(x)", "monthly(120)"),
    ("BM_FTail", "stats.f.sf(3.7, 4, 120)", "pf(3.7, 4, 120, lower.tail = FALSE)", "0"),
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
        results[name] = best_time(scope["job"])
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
