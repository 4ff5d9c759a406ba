#!/usr/bin/env python3
"""counts.py [--check | --tighten] FOLDER

Prints the heap allocations, locks and instructions of one operation of each warm path, as the
programs in FOLDER count them. --check compares them with ceilings.txt beside this file; the exit
status is 1 when one is above its ceiling or has none. --tighten lowers the ceilings to what is
counted, and gives new cases theirs.
"""
import pathlib
import re
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
CEILINGS = HERE / "ceilings.txt"
COLUMNS = ("allocations", "locks", "instructions")
# Instructions differ with the compiler, and with the routines that the C library picks by processor.
TOLERANCE = {"allocations": 0.0, "locks": 0.0, "instructions": 0.15}


def count_calls(folder):
    output = subprocess.run([folder / "mivare_count_calls"], check=True, capture_output=True, text=True)
    lines = (line.split() for line in output.stdout.splitlines())
    return {name: [float(allocations), float(locks)] for name, allocations, locks in lines}


def count_instructions(folder):
    steps = int(re.search(r"kSteps = (\d+)", (HERE / "cases.h").read_text())[1])
    least = {}
    with tempfile.TemporaryDirectory() as scratch:
        run = subprocess.run(
            ["valgrind", "--tool=callgrind", "--collect-atstart=no",
             f"--callgrind-out-file={scratch}/out", folder / "mivare_count_instructions"],
            capture_output=True, text=True)
        if run.returncode != 0:
            sys.exit(f"callgrind: status {run.returncode}\n{run.stderr}")
        for file in pathlib.Path(scratch).iterdir():
            text = file.read_text()
            name = re.search(r"^desc: Trigger: Client Request: (\S+)$", text, re.M)
            if name is None:
                continue
            total = int(re.search(r"^(?:summary|totals): (\d+)", text, re.M)[1]) // steps
            least[name[1]] = min(total, least.get(name[1], total))
    return least


def read_ceilings():
    ceilings = {}
    for line in CEILINGS.read_text().splitlines():
        if line and not line.startswith("#"):
            name, *numbers = line.split()
            ceilings[name] = dict(zip(COLUMNS, map(float, numbers), strict=True))
    return ceilings


def show(counts, title="operation"):
    lines = [f"{title:20}" + "".join(f"{column:>14}" for column in COLUMNS)]
    lines += [f"{name:20}" + "".join(f"{round(row[column], 3):14g}" for column in COLUMNS)
              for name, row in counts.items()]
    return "\n".join(lines)


def find_misses(counts, ceilings):
    misses = [f"{name}: counted, but without ceilings" for name in counts.keys() - ceilings.keys()]
    misses += [f"{name}: has ceilings, but is not counted" for name in ceilings.keys() - counts.keys()]
    for name in counts.keys() & ceilings.keys():
        for column in COLUMNS:
            count, ceiling = counts[name][column], ceilings[name][column]
            if count > ceiling * (1 + TOLERANCE[column]):
                misses.append(f"{name}: {count:g} {column}, ceiling {ceiling:g}")
    return sorted(misses)


def tighten(counts, ceilings):
    comments = [line for line in CEILINGS.read_text().splitlines()
                if line.startswith("#") and not line.startswith("# operation")]
    lowest = {name: {column: min(row[column], ceilings.get(name, row)[column]) for column in COLUMNS}
              for name, row in counts.items()}
    CEILINGS.write_text("\n".join([*comments, show(lowest, "# operation")]) + "\n")


def main():
    mode = sys.argv[1] if sys.argv[1:2] in (["--check"], ["--tighten"]) else ""
    folders = sys.argv[2:] if mode else sys.argv[1:]
    if len(folders) != 1:
        sys.exit(__doc__.strip())
    folder = pathlib.Path(folders[0]).resolve()
    instructions = count_instructions(folder)
    counts = {name: dict(zip(COLUMNS, [*calls, instructions[name]]))
              for name, calls in count_calls(folder).items()}
    print(show(counts))
    if mode == "--check":
        misses = find_misses(counts, read_ceilings())
        print("\n".join(misses))
        sys.exit(1 if misses else 0)
    if mode == "--tighten":
        tighten(counts, read_ceilings())


main()
