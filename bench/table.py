#!/usr/bin/env python3
"""table.py COUNTS.txt RESULTS.json...

Prints the table of works, peers and ratios. COUNTS.txt is what counts.py prints. Rows whose aim is
missed are marked; nothing here passes or fails.
"""
import statistics
import sys

from results import median, print_columns, read, text

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
    repetitions = len(results["request/gstreamer"])
    print(f"\nMedians of {repetitions} repetitions in random order; {missed} aims missed in this run.")


if len(sys.argv) < 3:
    sys.exit(__doc__.strip())
print_table(read(*sys.argv[2:]), read_allocations(sys.argv[1]))
