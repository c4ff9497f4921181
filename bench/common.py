"""Timing helpers shared by the benchmarks: median of repetitions after a warm-up."""

import statistics
import time


def median_seconds(run, repeat=15, warmup=3):
    for _ in range(warmup):
        run()
    times = []
    for _ in range(repeat):
        start = time.perf_counter()
        run()
        times.append(time.perf_counter() - start)
    return statistics.median(times)


def print_table(rows):
    """rows: (operation, size, our Mpix/s, peer name, peer Mpix/s[, target ratio])."""
    header = ("operation", "size", "ours Mpix/s", "peer", "peer Mpix/s", "ratio", "target")
    lines = [header]
    for op, size, ours, peer, theirs, *target in rows:
        ratio = ours / theirs
        # A target column lets a run be read at a glance without re-deriving the goals.
        goal = f">= {target[0]}x {'met' if ratio >= target[0] else 'MISSED'}" if target else ""
        lines.append((op, size, f"{ours:.1f}", peer, f"{theirs:.1f}", f"{ratio:.2f}x", goal))
    widths = [max(len(str(line[i])) for line in lines) for i in range(len(header))]
    for line in lines:
        print("  ".join(str(cell).ljust(width) for cell, width in zip(line, widths)).rstrip())
