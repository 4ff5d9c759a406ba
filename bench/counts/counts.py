#!/usr/bin/env python3
"""counts.py [--check] FOLDER

Prints the heap allocations, locks and instructions of one operation of each warm path, as the
programs in FOLDER count them. With --check it compares them with ceilings.txt beside this file; the
exit status is 1 when one is above its ceiling or has none.
"""
import pathlib
import re
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
COLUMNS = ("allocations", "locks", "instructions")
# Instructions differ a little with the compiler and the C library's choice of routines.
TOLERANCE = {"allocations": 0.0, "locks": 0.0, "instructions": 0.05}


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
    for line in (HERE / "ceilings.txt").read_text().splitlines():
        if line and not line.startswith("#"):
            name, *numbers = line.split()
            ceilings[name] = dict(zip(COLUMNS, map(float, numbers), strict=True))
    return ceilings


def main():
    check = sys.argv[1:2] == ["--check"]
    folders = sys.argv[2:] if check else sys.argv[1:]
    if len(folders) != 1:
        sys.exit(__doc__.strip())
    folder = pathlib.Path(folders[0]).resolve()
    instructions = count_instructions(folder)
    counts = {name: dict(zip(COLUMNS, [*calls, instructions[name]]))
              for name, calls in count_calls(folder).items()}
    ceilings = read_ceilings()
    misses = [f"{name}: counted, but without ceilings" for name in counts.keys() - ceilings.keys()]
    misses += [f"{name}: has ceilings, but is not counted" for name in ceilings.keys() - counts.keys()]

    print(f"{'one operation':20}" + "".join(f"{column:>14}" for column in COLUMNS))
    for name, ceiling in ceilings.items():
        if name not in counts:
            continue
        print(f"{name:20}" + "".join(f"{round(counts[name][column], 1):14g}" for column in COLUMNS))
        for column in COLUMNS:
            if counts[name][column] > ceiling[column] * (1 + TOLERANCE[column]):
                misses.append(f"{name}: {counts[name][column]:g} {column}, ceiling {ceiling[column]:g}")
    if check:
        print("\n".join(misses))
        sys.exit(1 if misses else 0)


main()
