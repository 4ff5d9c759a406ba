#!/usr/bin/env python3
"""scaling.py RESULTS.json PICTURE.svg

Prints the wall time of a request when 1 to N threads make them, and draws how many they make.
"""
import math
import re
import sys

from results import median, print_columns, read, text

# Label, benches, colour, dashes.
CURVES = [("this library, one key", "threads_one_key/mivare", "#0060c0", ""),
          ("libavutil, one pool", "threads_one_key/libavutil", "#d06000", ""),
          ("this library, a key for each thread", "threads_many_keys/mivare", "#0060c0", "6 4"),
          ("libavutil, a pool for each thread", "threads_many_keys/libavutil", "#d06000", "6 4")]
WIDTH, HEIGHT, LEFT, TOP, LEGEND = 760, 340, 60, 20, 330


def read_curve(results, family):
    """Nanoseconds by the number of threads."""
    names = (re.fullmatch(re.escape(family) + r"/threads:(\d+)", name) for name in results)
    return {int(name[1]): median(results, name[0]) for name in names if name}


def draw(curves, threads):
    """Million requests a second over threads, as SVG."""
    rates = [{n: 1e3 / points[n] for n in threads} for points in curves]
    most = max(max(rate.values()) for rate in rates)
    decade = 10 ** math.floor(math.log10(most))
    step = next(size * decade for size in (0.2, 0.5, 1, 2) if most / (size * decade) <= 8)
    top = step * math.ceil(most / step)

    def x(n):
        return LEFT + WIDTH * (n - threads[0]) / max(1, threads[-1] - threads[0])

    def y(rate):
        return TOP + HEIGHT * (1 - rate / top)

    svg = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{LEFT + WIDTH + 30}" '
           f'height="{TOP + HEIGHT + 110}" font-family="sans-serif" font-size="13">',
           '<rect width="100%" height="100%" fill="white"/>']
    for i in range(round(top / step) + 1):
        svg.append(f'<path d="M{LEFT},{y(i * step):.1f}h{WIDTH}" stroke="#ddd"/>'
                   f'<text x="{LEFT - 8}" y="{y(i * step) + 4:.1f}" text-anchor="end">{i * step:g}</text>')
    for n in threads:
        svg.append(f'<text x="{x(n):.1f}" y="{TOP + HEIGHT + 20}" text-anchor="middle">{n}</text>')
    svg.append(f'<text x="{LEFT + WIDTH / 2}" y="{TOP + HEIGHT + 42}" text-anchor="middle">threads</text>'
               f'<text transform="translate(16,{TOP + HEIGHT / 2}) rotate(-90)" text-anchor="middle">'
               'million requests a second, all threads together</text>')
    for i, ((label, _, colour, dashes), rate) in enumerate(zip(CURVES, rates)):
        style = f'stroke="{colour}" stroke-width="2" fill="none" stroke-dasharray="{dashes or "none"}"'
        points = " ".join(f"{x(n):.1f},{y(rate[n]):.1f}" for n in threads)
        key_x, key_y = LEFT + i // 2 * LEGEND, TOP + HEIGHT + 70 + i % 2 * 22
        svg += [f'<polyline points="{points}" {style}/>',
                *(f'<circle cx="{x(n):.1f}" cy="{y(rate[n]):.1f}" r="3" fill="{colour}"/>' for n in threads),
                f'<path d="M{key_x},{key_y}h36" {style}/>',
                f'<text x="{key_x + 44}" y="{key_y + 4}">{label}</text>']
    return "\n".join([*svg, "</svg>"]) + "\n"


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__.strip())
    results = read(sys.argv[1])
    curves = [read_curve(results, family) for _, family, _, _ in CURVES]
    threads = sorted(curves[0])
    print_columns([("threads", *(curve[0] for curve in CURVES))] +
                  [(str(n), *(text(points[n]) for points in curves)) for n in threads],
                  right=set(range(len(CURVES) + 1)))
    with open(sys.argv[2], "w", encoding="utf-8") as picture:
        picture.write(draw(curves, threads))
    print(f"\nWall time per request of all threads together. Drawn: {sys.argv[2]}")


main()
