#!/usr/bin/env python3
"""The host against this machine, as a user runs it.

live     a one-second collection of C-states and CPU time: the numbers must make sense and agree
         with /proc/stat read here
sigint   Ctrl-C in the middle of an open-ended collection still prints every table
program  -p ends the collection when the program ends
replay   -i of a collection's result file prints byte for byte the tables the collection printed
killed   a collection killed with SIGKILL leaves a file that replays up to its last batch
damaged  a truncated, flipped or foreign file: a clear message, status 1, no crash
golden   the shipped sample recording replayed into every result format gives the golden files
         (VR_UPDATE_GOLDEN=1 rewrites them)

Usage: live_collection.py VANTRELL MODE [SOURCE_DIR]
"""
import csv
import os
import signal
import statistics
import subprocess
import sys
import tempfile
import time
from collections import defaultdict

VANTRELL, MODE = sys.argv[1], sys.argv[2]
failures = []


def check(condition, text):
    if not condition:
        failures.append(text)


def offered_features():
    help_text = subprocess.run([VANTRELL, "-h"], capture_output=True, text=True, check=True).stdout
    section = help_text.split("Features of this machine (-f):\n", 1)[1].split("\n\n", 1)[0]
    return {line.split()[0] for line in section.splitlines() if line.strip()}


def proc_stat():
    """Busy and total USER_HZ ticks per CPU, as the host's CPU feature counts them."""
    times = {}
    with open("/proc/stat") as f:
        for line in f:
            name, *fields = line.split()
            if name.startswith("cpu") and name[3:].isdigit():
                values = [int(v) for v in fields[:8]]
                times[int(name[3:])] = (sum(values) - values[3] - values[4], sum(values))
    return times


def read_csv(path):
    with open(path, newline="") as f:
        return list(csv.reader(f))


def table_file(prefix, title_start):
    for path, title, *_ in read_csv(prefix + "-tables.csv")[1:]:
        if title.startswith(title_start):
            return read_csv(os.path.join(os.path.dirname(prefix), path))
    failures.append(f"no table titled {title_start!r}")
    return [[]]


def check_percent_rows(rows, what):
    """Each CPU's states are shares of its time: each 0..100, together 100 within 2."""
    header, body = rows[0], rows[1:]
    check(len(body) >= 1, f"{what}: no rows")
    for row in body:
        shares = [float(v) for v, h in zip(row[1:], header[1:]) if h.endswith("(%)")]
        check(all(0 <= s <= 100 for s in shares), f"{what}: share out of 0..100 in {row}")
        check(abs(sum(shares) - 100) <= 2, f"{what}: shares of {row[0]} add up to {sum(shares)}")
    return {row[0].rsplit("_", 1)[-1]: dict(zip(header[1:], map(float, row[1:]))) for row in body}


def check_residency_time(points, metric):
    """Per CPU, the states' ticks of all points add up to the elapsed collection time within 2%."""
    rows = [r for r in points if r["metric"] == metric]
    by_time = defaultdict(dict)
    for r in rows:
        by_time[float(r["time_s"])][r["entity"]] = int(r["duration_ticks"])
    times = sorted(by_time)
    check(len(times) >= 5, f"{metric}: only {len(times)} over-time points in one second")
    if len(times) < 5:
        return
    # Ticks per second from the points themselves: each point's duration over the time since the last.
    rates = [next(iter(by_time[b].values())) / (b - a) for a, b in zip(times, times[1:])]
    ticks_per_s = statistics.median(rates)
    totals = defaultdict(int)
    for r in rows:
        totals[r["entity"]] += int(float(r["value"]))
    for cpu, ticks in totals.items():
        seconds = ticks / ticks_per_s
        check(abs(seconds - times[-1]) <= 0.02 * times[-1],
              f"{metric}: {cpu} residencies add up to {seconds:.4f} s of {times[-1]:.4f} s")
    check(0.9 <= times[-1] <= 1.3, f"{metric}: a one-second collection ended at {times[-1]} s")


def live():
    features = offered_features() & {"cstate", "cpu"}
    check(features, "this machine offers neither cstate nor cpu")
    with tempfile.TemporaryDirectory() as tmp:
        prefix = os.path.join(tmp, "run")
        before = proc_stat()
        run = subprocess.run([VANTRELL, "-t", "1", "-f", ",".join(sorted(features)), "-r", "csv,int,sum",
                              "-o", prefix], capture_output=True, text=True, timeout=30)
        after = proc_stat()
        check(run.returncode == 0, f"status {run.returncode}: {run.stderr}")
        with open(prefix + "-int.csv", newline="") as f:
            points = list(csv.DictReader(f))
        if "cstate" in features:
            check_percent_rows(table_file(prefix, "C-State Summary: Residency"), "C-states")
            check_residency_time(points, "C-State Residency")
        if "cpu" in features:
            busy = check_percent_rows(table_file(prefix, "CPU Utilization Summary: Residency"), "CPU time")
            check_residency_time(points, "CPU Utilization")
            for cpu, shares in busy.items():
                b, t = (after[int(cpu)][i] - before[int(cpu)][i] for i in (0, 1))
                expected = 100.0 * b / t if t else 0.0
                # The test's window is wider than the collection's by the host's start and end.
                check(abs(shares["Busy (%)"] - expected) <= 15,
                      f"CPU {cpu} busy {shares['Busy (%)']} % against /proc/stat's {expected:.1f} %")
        with open(prefix + ".txt") as f:
            check("Summary" in f.read(), "the sum result holds no table")


def open_ended(args, stop):
    host = subprocess.Popen([VANTRELL, "-f", "cpu", *args], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                            text=True)
    started = time.monotonic()
    stop(host)
    out, err = host.communicate(timeout=20)
    check(host.returncode == 0, f"status {host.returncode}: {err}")
    check("CPU Utilization Summary: Residency (Percentage)" in out, f"no utilisation table:\n{out}\n{err}")
    check(out.count("Thread_") >= len(proc_stat()), f"not every CPU has a row:\n{out}")
    return time.monotonic() - started


def sigint():
    def interrupt(host):
        time.sleep(1.0)
        host.send_signal(signal.SIGINT)
    open_ended([], interrupt)


def program():
    elapsed = open_ended(["-p", "sleep", "0.5"], lambda host: None)
    check(elapsed < 5, f"-p sleep 0.5 took {elapsed:.1f} s")


def host(*args, timeout=30):
    return subprocess.run([VANTRELL, *args], capture_output=True, timeout=timeout)


def replay():
    with tempfile.TemporaryDirectory() as tmp:
        prefix = os.path.join(tmp, "run")
        live_run = host("-t", "1", "-o", prefix, "-r", "sum")
        check(live_run.returncode == 0, f"collection: {live_run.stderr}")
        again = host("-i", prefix + ".vrr", "-r", "sum")
        check(again.returncode == 0, f"replay status {again.returncode}: {again.stderr}")
        with open(prefix + ".txt", "rb") as f:
            printed = f.read()
        check(b"Summary" in printed and again.stdout == printed, "the replay printed other tables")


def killed():
    with tempfile.TemporaryDirectory() as tmp:
        prefix = os.path.join(tmp, "run")
        collection = subprocess.Popen([VANTRELL, "-f", "cpu", "-o", prefix], stderr=subprocess.DEVNULL)
        time.sleep(1.5)
        collection.kill()
        collection.wait()
        again = host("-i", prefix + ".vrr")
        check(again.returncode == 0, f"replay status {again.returncode}: {again.stderr}")
        check(b"was cut short" in again.stderr, f"no note of the cut: {again.stderr}")
        body = again.stdout.decode()
        check("CPU Utilization Summary" in body and body.count("Thread_") >= len(proc_stat()),
              f"the replay lost the collected tables:\n{body}")


def damaged():
    with tempfile.TemporaryDirectory() as tmp:
        prefix = os.path.join(tmp, "run")
        check(host("-t", "0.5", "-f", "cpu", "-o", prefix).returncode == 0, "collection failed")
        with open(prefix + ".vrr", "rb") as f:
            whole = f.read()
        broken = os.path.join(tmp, "broken.vrr")
        cases = [whole[:cut] for cut in range(0, len(whole), 4096)]
        cases += [whole[:at] + bytes([whole[at] ^ 0xFF]) + whole[at + 1:] for at in range(100, len(whole), 997)]
        cases.append(b"SQLite format 3\0" + b"garbage" * 100)
        for number, image in enumerate(cases):
            with open(broken, "wb") as f:
                f.write(image)
            run = host("-i", broken)
            # A flipped byte may land where nothing is read: then the replay is simply whole.
            if run.returncode == 0:
                continue
            check(run.returncode == 1, f"case {number}: status {run.returncode}: {run.stderr[-300:]}")
            check(b"vantrell: " in run.stderr, f"case {number}: no message")
        missing = host("-i", os.path.join(tmp, "missing.vrr"))
        check(missing.returncode == 1 and b"cannot open" in missing.stderr, f"missing file: {missing.stderr}")


def golden():
    source = sys.argv[3]
    golden_dir = os.path.join(source, "tests", "host", "golden")
    with tempfile.TemporaryDirectory() as tmp:
        run = host("-i", os.path.join(source, "data", "sample", "recording.vrr"), "-o", os.path.join(tmp, "run"),
                   "-r", "sum,csv,trace,prom")
        check(run.returncode == 0, f"replay status {run.returncode}: {run.stderr}")
        made = sorted(os.listdir(tmp))
        if os.environ.get("VR_UPDATE_GOLDEN") == "1":
            for name in os.listdir(golden_dir):
                os.remove(os.path.join(golden_dir, name))
            for name in made:
                with open(os.path.join(tmp, name), "rb") as f, open(os.path.join(golden_dir, name), "wb") as g:
                    g.write(f.read())
        check(made == sorted(os.listdir(golden_dir)), f"files {made} against {sorted(os.listdir(golden_dir))}")
        for name in made:
            with open(os.path.join(tmp, name), "rb") as f, open(os.path.join(golden_dir, name), "rb") as g:
                check(f.read() == g.read(), f"{name} differs from its golden file")


{"golden": golden, "live": live, "sigint": sigint, "program": program, "replay": replay, "killed": killed,
 "damaged": damaged}[MODE]()
for failure in failures:
    print("FAIL:", failure)
sys.exit(1 if failures else 0)
