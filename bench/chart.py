#!/usr/bin/python3
"""Bar chart of zq_bench_peers results: our time per frame beside each peer's, per benchmark.

    /usr/bin/python3 bench/chart.py peers.json [-o docs/images/bench_peers.png] [--title TEXT]

peers.json is the JSON output of zq_bench_peers (--benchmark_out=peers.json
--benchmark_out_format=json, or --benchmark_format=json > peers.json). When a benchmark was
repeated, its best time is drawn. Needs Debian's python3-matplotlib.
"""
import argparse
import json
import math
import sys

import matplotlib

matplotlib.use("Agg")  # files only, no display
import matplotlib.pyplot as plt  # noqa: E402

# Counters written by zq_bench_peers, in drawing order: ours first.
SERIES = [("ms", "libzq_cv (vector road)", "#1f5fa8"),
          ("opencv_ms", "OpenCV", "#e07b20"),
          ("libyuv_ms", "libyuv", "#3a9a3a")]


def load(path):
    with open(path) as f:
        data = json.load(f)
    rows = {}  # name -> {counter: best ms}
    for b in data.get("benchmarks", []):
        if b.get("run_type", "iteration") != "iteration" or "ms" not in b:
            continue
        name = b.get("run_name", b["name"])
        if name.startswith("BM_"):
            name = name[3:]
        best = rows.setdefault(name, {})
        for counter, _, _ in SERIES:
            if counter in b:
                best[counter] = min(best.get(counter, math.inf), b[counter])
    return data.get("context", {}), rows


def draw(context, rows, out, title):
    names = list(rows)
    height = 0.8 / len(SERIES)
    fig, ax = plt.subplots(figsize=(9, 0.42 * len(names) + 1.6))
    for k, (counter, label, colour) in enumerate(SERIES):
        ys, xs = [], []
        for i, name in enumerate(names):
            if counter in rows[name]:
                ys.append(i + (k - (len(SERIES) - 1) / 2) * height)
                xs.append(rows[name][counter])
        bars = ax.barh(ys, xs, height=height, color=colour, label=label)
        ax.bar_label(bars, labels=[f"{x:.2f}" for x in xs], padding=2, fontsize=6)
    ax.set_yticks(range(len(names)), names, fontsize=8)
    ax.invert_yaxis()
    ax.set_xscale("log")
    ax.set_xlabel("milliseconds per frame (log scale; shorter is faster)")
    ax.grid(axis="x", which="both", linewidth=0.3, alpha=0.5)
    ax.legend(loc="lower right", fontsize=8)
    load_avg = context.get("load_avg", [])
    note = "{} · {} CPUs · load {} · {}".format(
        context.get("date", "")[:10], context.get("num_cpus", "?"),
        ", ".join(f"{x:.1f}" for x in load_avg[:1]) or "?",
        "OpenCV " + context["opencv"] if "opencv" in context else "")
    ax.set_title(title + "\n" + note, fontsize=10)
    fig.tight_layout()
    fig.savefig(out, dpi=110)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("json", help="zq_bench_peers output in JSON")
    parser.add_argument("-o", "--output", default="docs/images/bench_peers.png")
    parser.add_argument("--title", default="Time per frame against the peers, "
                        "1920×1080 sources, one thread")
    args = parser.parse_args()
    context, rows = load(args.json)
    if not rows:
        sys.exit(f"{args.json}: no zq_bench_peers results (counter 'ms') found")
    draw(context, rows, args.output, args.title)
    print(f"wrote {args.output} ({len(rows)} benchmarks)")


if __name__ == "__main__":
    main()
