#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""What a user would run instead of our flood fill: OpenCV's cv2.floodFill on the same layer.

usage: peer_floodfill.py [BENCH_SCENE_BINARY]
Builds the layers of BM_FloodFill in bench/bench_scene.cpp (value 1, except, unless solid, discs of
radius 24 on a 64-pixel lattice holding 0 and 2 in a chequer), fills the region of 1 from (0, h / 2)
with 8-connectivity and prints the median time of the fill call alone. Given the benchmark binary, it then runs
BM_FloodFill in the same run and prints our time over OpenCV's for each layer.
"""
import json, statistics, subprocess, sys, time

import cv2
import numpy as np

LAYERS = [(4096, 4096, 0), (4096, 4096, 1), (4096, 3072, 0), (4096, 3072, 1)]
REPEATS = 15


def layer(w, h, solid):
    if solid:
        return np.ones((h, w), np.uint8)
    y, x = np.mgrid[0:h, 0:w]
    disc = (x % 64 - 32) ** 2 + (y % 64 - 32) ** 2 < 24 * 24
    odd = (x // 64 + y // 64) % 2 == 1
    m = np.ones((h, w), np.uint8)
    m[disc & odd] = 0
    m[disc & ~odd] = 2
    return m


def opencv_ms(w, h, solid):
    pristine = layer(w, h, solid)
    times = []
    for _ in range(REPEATS):
        m = pristine.copy()
        t = time.perf_counter()
        cv2.floodFill(m, None, (0, h // 2), 5, 0, 0, 8)
        times.append((time.perf_counter() - t) * 1000)
    return statistics.median(times), int((m == 5).sum())


def ours_ms(binary):
    out = subprocess.run([binary, "--benchmark_filter=BM_FloodFill", "--benchmark_format=json",
                          "--benchmark_repetitions=5", "--benchmark_report_aggregates_only=true"],
                         check=True, capture_output=True, text=True).stdout
    result = {}
    for b in json.loads(out)["benchmarks"]:
        if b.get("aggregate_name") == "median":
            # BM_FloodFill/w:4096/h:3072/solid:0/runs:1
            parts = dict(p.split(":") for p in b["run_name"].split("/")[1:])
            key = (int(parts["w"]), int(parts["h"]), int(parts["solid"]), int(parts["runs"]))
            result[key] = (b["real_time"], b.get("filled", 0))
    return result


def main():
    peer = {key: opencv_ms(*key) for key in LAYERS}
    for (w, h, solid), (ms, filled) in peer.items():
        kind = "solid" if solid else "discs"
        print("cv2.floodFill %dx%d %s: %.2f ms (%d pixels filled)" % (w, h, kind, ms, filled))
    if len(sys.argv) > 1:
        ours = ours_ms(sys.argv[1])
        for (w, h, solid), (ms, _) in peer.items():
            for runs in (0, 1):
                if (w, h, solid, runs) in ours:
                    t, filled = ours[(w, h, solid, runs)]
                    name = ("solid" if solid else "discs") + (" keeping the runs for undo" if runs else "")
                    print("ours %dx%d %s: %.2f ms (%d filled) = %.2f x OpenCV" % (w, h, name, t, filled, t / ms))


main()
