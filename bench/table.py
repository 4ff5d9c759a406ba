#!/usr/bin/env python3
"""table.py RESULTS.json COUNTS.txt
                               the table of works, peers and ratios
table.py --scaling RESULTS.json PICTURE.svg
                               the wall time of a request for 1 to N threads, as figures and drawn

RESULTS.json is what mivare_bench prints with --benchmark_format=json and repetitions. Every figure
is a median of the repetitions: wall time where threads meet (benches that say so by UseRealTime),
else the processor time of the thread that does the work, which other processes do not disturb.
COUNTS.txt is what counts.py prints. Nothing here passes or fails.
"""
import json
import re
import statistics
import subprocess
import sys

# Work, this library's bench, the peer's, what the peer does, the most that the ratio should be.
ROWS = [
    ("warm request + release, 1080p smt 1", "request/mivare", "request/gstreamer",
     "GStreamer video buffer pool", 1.0),
    ("", "request/mivare", "request/libavutil", "libavutil frame, pooled buffer", 0.6),
    ("the same, 2 numbers and 256 bytes on it", "request_numbers/mivare",
     "request_numbers/libavutil", "libavutil, properties copied", 0.35),
    ("the same, 2 texts and 256 bytes on it", "request_texts/mivare", "request_texts/libavutil",
     "libavutil, properties copied", 0.35),
    ("2 threads on one key, per request", "threads_one_key/mivare/threads:2",
     "threads_one_key/mivare/threads:1", "itself with 1 thread", 1.0),
    ("", "threads_one_key/mivare/threads:2", "threads_one_key/libavutil/threads:2",
     "libavutil on one pool", 0.5),
    ("2 threads on two keys, per request", "threads_many_keys/mivare/threads:2",
     "threads_many_keys/mivare/threads:1", "itself with 1 thread", 1.0),
    ("", "threads_many_keys/mivare/threads:2", "threads_many_keys/libavutil/threads:2",
     "libavutil on two pools", 0.5),
    ("warm request, 10,000 keys alive", "request_many_keys/mivare", "request/mivare",
     "itself with one key", 1.2),
    ("clone of a description", "clone/mivare", "clone/libavutil",
     "libavutil copy of frame properties", 1.0),
    ("", "clone/mivare", "clone/gstreamer", "GStreamer copy of video info and caps", 1.0),
    ("copy of a 4K smt 1 frame, equal pitches", "copy_equal/mivare", "copy_equal/memcpy",
     "memcpy", 1.03),
    ("", "copy_equal/mivare", "copy_equal/libyuv", "libyuv", 1.0),
    ("copy of a 4K smt 1 frame, unequal pitches", "copy_unequal/mivare", "copy_unequal/memcpy",
     "memcpy, row by row", 1.03),
    ("", "copy_unequal/mivare", "copy_unequal/libyuv", "libyuv", 1.0),
    ("PSNR of a 4K luma plane", "psnr/mivare", "psnr/libyuv", "libyuv", 1.05),
    ("MD5 of a 4K smt 1 plane", "md5/mivare", "md5/libmd", "libmd", 1.05),
    ("", "md5/mivare", "md5/libcrypto", "libcrypto", 1.05),
    ("BMP dump of 1080p smt 45", "bmp/mivare", "bmp/write", "one write", 1.15),
    ("raw dump of 4K smt 1", "raw/mivare", "raw/write", "one write", 1.15),
    ("blank fill of a 4K smt 1 frame", "blank/mivare", "blank/memset", "memset", 1.05),
    ("cold 4K request, touched, final release", "cold/mivare", "cold/mmap", "mmap, munmap", 1.05),
]


def read(path):
    """The repetitions of each bench, by its name without what the flags add to it."""
    with open(path, encoding="utf-8") as file:
        runs = json.load(file)["benchmarks"]
    results = {}
    for run in runs:
        if run["run_type"] != "iteration":
            continue
        if run.get("error_occurred"):
            sys.exit(f"{run['name']}: {run['error_message']}")
        name = re.sub(r"/(iterations:\d+|repeats:\d+|real_time|manual_time)", "", run["run_name"])
        results.setdefault(name, []).append(run)
    return results


def median(results, name):
    """In nanoseconds."""
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


def read_allocations(path):
    with open(path, encoding="utf-8") as file:
        rows = [line.split() for line in file]
    return {row[0]: float(row[1]) for row in rows[1:]}


def print_table(results, allocations):
    lines = [("work", "this library", "peer", "peer's time", "ratio", "aim", "")]
    missed = 0
    for work, ours, theirs, peer, aim in ROWS:
        own, other = median(results, ours), median(results, theirs)
        ratio = own / other
        late = ratio > aim
        missed += late
        lines.append((work, text(own), peer, text(other), f"{ratio:.2f}", f"<= {aim:.4g}",
                      "missed" if late else ""))
    idle = statistics.median(run["percent_of_core"] for run in results["idle/mivare"])
    start = median(results, "init_uninit/mivare")
    requests = (("", "request"), (", 2 numbers and 256 bytes on it", "request_numbers"))
    for work, figure, aim, late in (
            *((f"heap allocations per warm request{what}", f"{allocations[name]:g}", "0",
               allocations[name] > 0) for what, name in requests),
            ("idle worker, 1,000 pools alive", f"{idle:.3f} %", "< 0.1 %", idle >= 0.1),
            ("Init + Uninit", text(start), "< 1 ms", start >= 1e6)):
        missed += late
        lines.append((work, figure, "", "", "", aim, "missed" if late else ""))
    print_columns(lines, right={1, 3, 4, 5})
    repetitions = len(results["request/mivare"])
    print(f"\nMedians of {repetitions} repetitions in random order; {missed} aims missed in this run.")


def curve(results, family):
    found = {}
    for name in results:
        if match := re.fullmatch(re.escape(family) + r"/threads:(\d+)", name):
            found[int(match[1])] = median(results, name)
    return found


CURVES = [("this library, one key", "threads_one_key/mivare"),
          ("libavutil, one pool", "threads_one_key/libavutil"),
          ("this library, a key for each thread", "threads_many_keys/mivare"),
          ("libavutil, a pool for each thread", "threads_many_keys/libavutil")]


def print_scaling(results, picture):
    curves = [(label, curve(results, family)) for label, family in CURVES]
    counts = sorted(curves[0][1])
    print_columns([("threads", *(label for label, _ in curves))] +
                  [(str(n), *(text(points[n]) for _, points in curves)) for n in counts],
                  right=set(range(5)))
    script = ["set terminal svg size 860,520 font 'sans-serif,13' background 'white'",
              f"set output '{picture}'", "set xlabel 'threads'", "set grid",
              "set ylabel 'million requests a second, all threads together'",
              "set yrange [0:]", "set key outside bottom horizontal maxcols 2",
              f"set xrange [{counts[0] - 0.5}:{counts[-1] + 0.5}]",
              f"set xtics ({', '.join(map(str, counts))})"]
    styles = ["lc rgb '#0060c0'", "lc rgb '#d06000'", "lc rgb '#0060c0' dt 2",
              "lc rgb '#d06000' dt 2"]
    script.append("plot " + ", ".join(
        f"'-' with linespoints lw 2 pt 7 {style} title '{label}'"
        for (label, _), style in zip(curves, styles)))
    for _, points in curves:
        script += [f"{n} {1e3 / points[n]}" for n in counts] + ["e"]
    subprocess.run(["gnuplot"], input="\n".join(script) + "\n", text=True, check=True)
    print(f"\nWall time per request of all threads together. Drawn: {picture}")


def main():
    arguments = sys.argv[1:]
    if len(arguments) == 3 and arguments[0] == "--scaling":
        print_scaling(read(arguments[1]), arguments[2])
    elif len(arguments) == 2:
        print_table(read(arguments[0]), read_allocations(arguments[1]))
    else:
        sys.exit(__doc__.strip())


main()
