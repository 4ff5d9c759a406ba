"""What mivare_bench prints with --benchmark_format=json and repetitions, and how figures are shown."""
import json
import re
import statistics
import sys


def read(*paths):
    """The repetitions of each bench, by its name without what the flags add to it."""
    runs = []
    for path in paths:
        with open(path, encoding="utf-8") as file:
            runs += json.load(file)["benchmarks"]
    results = {}
    for run in runs:
        if run["run_type"] != "iteration":
            continue
        if run.get("error_occurred"):
            sys.exit(f"{run['name']}: {run['error_message']}")
        name = re.sub(r"/(iterations:\d+|repeats:\d+|min_time:[\d.]+|real_time|manual_time)", "", run["run_name"])
        results.setdefault(name, []).append(run)
    return results


def median(results, name):
    """Of the repetitions, in nanoseconds: wall time where threads meet (benches that say so by
    UseRealTime), else the processor time of the thread that does the work, which other processes do
    not disturb."""
    return statistics.median(
        run["real_time" if re.search("/(real|manual)_time", run["run_name"]) else "cpu_time"]
        for run in results[name])


def text(nanoseconds):
    for unit, size in (("ms", 1e6), ("µs", 1e3)):
        if nanoseconds >= size:
            return f"{nanoseconds / size:.3g} {unit}" if nanoseconds < 999.5 * size else \
                f"{nanoseconds / size:.0f} {unit}"
    return f"{nanoseconds:.0f} ns"


def print_columns(lines, right):
    widths = [max(len(line[i]) for line in lines) for i in range(len(lines[0]))]
    lines.insert(1, tuple("-" * width for width in widths))
    for line in lines:
        cells = (cell.rjust(width) if i in right else cell.ljust(width)
                 for i, (cell, width) in enumerate(zip(line, widths)))
        print("| " + " | ".join(cells) + " |")
