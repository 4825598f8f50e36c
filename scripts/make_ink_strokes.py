#!/usr/bin/env python3
"""Records synthetic freehand strokes for the ink tests and the fitter benchmark.

A simulated pen moves through waypoints along Catmull-Rom segments at a speed that varies like a
hand's; at cusp waypoints it stops and turns back, which gives the sharp corners of real writing.
The samples get a small deterministic tremor and are written with two decimals, one "x y" pair per
line, after a "width" line holding the stroke's line width.

Usage: scripts/make_ink_strokes.py [output-dir]   (default: tests/data/ink)
"""
import math
import os
import sys


class Tremor:
    """Deterministic jitter (a 32-bit LCG) so the files never depend on a library's generator."""

    def __init__(self, seed):
        self.state = seed & 0xFFFFFFFF

    def next(self):
        self.state = (1664525 * self.state + 1013904223) & 0xFFFFFFFF
        return self.state / 2**32 - 0.5


def catmull_rom(p0, p1, p2, p3, t):
    t2, t3 = t * t, t * t * t
    return tuple(0.5 * (2 * p1[i] + (-p0[i] + p2[i]) * t + (2 * p0[i] - 5 * p1[i] + 4 * p2[i] - p3[i]) * t2
                        + (-p0[i] + 3 * p1[i] - 3 * p2[i] + p3[i]) * t3) for i in range(2))


def record(waypoints, cusps, speed, seed, tremor=0.25):
    """Samples a pen moving through the waypoints; `cusps` holds the waypoint indices where it turns sharply."""
    jitter = Tremor(seed)
    samples = []
    phase = 0.0
    # Each run between cusps is one smooth Catmull-Rom spline; its ends are mirrored so it starts and
    # stops pointing along its first and last segment.
    breaks = [0] + sorted(c for c in cusps if 0 < c < len(waypoints) - 1) + [len(waypoints) - 1]
    for a, b in zip(breaks, breaks[1:]):
        run = waypoints[a:b + 1]
        first = tuple(2 * run[0][i] - run[1][i] for i in range(2))
        last = tuple(2 * run[-1][i] - run[-2][i] for i in range(2))
        padded = [first] + run + [last]
        for k in range(1, len(padded) - 2):
            p0, p1, p2, p3 = padded[k - 1], padded[k], padded[k + 1], padded[k + 2]
            # Dense evaluation, then resampling by arc length at the pen's current speed.
            dense = [catmull_rom(p0, p1, p2, p3, j / 200) for j in range(201)]
            carried = 0.0
            for j in range(1, len(dense)):
                seg = math.dist(dense[j - 1], dense[j])
                carried += seg
                step = speed * (1.0 + 0.45 * math.sin(phase))
                if carried >= step:
                    carried = 0.0
                    phase += 0.21
                    x, y = dense[j]
                    samples.append((x + tremor * jitter.next(), y + tremor * jitter.next()))
    return samples


def handwriting(letter_count, seed):
    """Waypoints of cursive-like writing: loops, humps and cusps in rows that wrap at 1200 units."""
    jitter = Tremor(seed)
    points, cusps = [(0.0, 0.0)], []
    x, row = 0.0, 0
    for n in range(letter_count):
        base = row * 90.0
        kind = n % 4
        h = 30 + 10 * jitter.next()
        if kind == 0:    # a loop reaching up to an ascender
            points += [(x + 8, base - 2 * h), (x + 2, base - 2.4 * h), (x + 4, base - 0.5), (x + 12, base)]
        elif kind == 1:  # a hump
            points += [(x + 6, base - h), (x + 12, base - h * 0.9), (x + 16, base)]
        elif kind == 2:  # a cusp: straight up and back down
            points += [(x + 4, base - h)]
            cusps.append(len(points) - 1)
            points += [(x + 7, base - 1), (x + 14, base + 0.5)]
        else:            # a descender with a sharp turn at its foot
            points += [(x + 5, base + 1.5 * h)]
            cusps.append(len(points) - 1)
            points += [(x + 12, base - h * 0.5), (x + 18, base)]
        x = points[-1][0] + 3
        if x > 1200:
            x, row = 0.0, row + 1
            points.append((x, row * 90.0))
            cusps.append(len(points) - 2)
    return points, cusps


def strokes():
    yield "check", 4.0, record([(0, 0), (6, 8), (12, 16), (22, 0), (34, -20), (46, -40)], [2], 1.8, 11)
    yield "loop", 6.0, record([(0, 0), (20, -10), (40, -40), (30, -60), (15, -40), (30, -10), (60, 0)], [], 2.2, 12)
    yield "wave", 3.0, record([(i * 12.0, 15 * math.sin(i * 0.9)) for i in range(14)], [], 2.5, 13)
    yield "zigzag", 5.0, record([(0, 0), (15, 30), (30, 0), (45, 30), (60, 0), (75, 30)], [1, 2, 3, 4], 2.0, 14)
    yield "dot", 8.0, [(100.2, 50.7), (100.4, 50.9), (100.3, 51.1)]
    points, cusps = handwriting(900, 15)
    writing = record(points, cusps, 2.6, 16)
    yield "writing_10000", 5.0, writing[:10000]


def main():
    out_dir = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), "..", "tests", "data", "ink")
    os.makedirs(out_dir, exist_ok=True)
    for name, width, samples in strokes():
        if name == "writing_10000" and len(samples) < 10000:
            raise SystemExit("writing stroke too short: %d samples" % len(samples))
        with open(os.path.join(out_dir, name + ".stroke"), "w") as f:
            f.write("# raw pointer samples of one freehand stroke (scripts/make_ink_strokes.py)\n")
            f.write("width %g\n" % width)
            for x, y in samples:
                f.write("%.2f %.2f\n" % (x, y))
        print(name, len(samples))


if __name__ == "__main__":
    main()
