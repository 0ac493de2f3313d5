"""Speed of the Python module, as ratios to baselines measured in the same run.

1. autocount.count on a 5-megapixel RGB array against the engine's own
   count (countrun::Count and Summarise on the same pixels in BGR, timed in
   C++ by the autocount_enginetimer module): pairs run back to back.
2. autocount.dask.count_files on a LocalCluster of two worker processes
   against ``autocount count --jobs 2`` over the same 200 images of one
   megapixel: images per second, each run with the other's in between.

Build with -DAUTOCOUNT_BUILD_BENCH=ON, then from the build directory:

    cmake --build . --target autocount_enginetimer
    PYTHONPATH=python:bench /usr/bin/python3 ../bench/python_bench.py [count|dask]
"""

import os
import statistics
import struct
import subprocess
import sys
import tempfile
import time
import zlib

import numpy as np

import autocount
import autocount.dask
import autocount_enginetimer

HERE = os.path.dirname(os.path.abspath(__file__))
CLI = os.environ.get("AUTOCOUNT_CLI", os.path.join(os.getcwd(), "cli", "autocount"))


def cells(height, width, seed):
    """Dark discs, some touching, on a bright noisy background (RGB uint8)."""
    rng = np.random.default_rng(seed)
    grey = np.full((height, width), 205.0)
    for _ in range(height * width // 2500):
        r = rng.uniform(6, 16)
        cy, cx = rng.uniform(r, height - r), rng.uniform(r, width - r)
        top, left = int(cy - r), int(cx - r)
        bottom, right = min(int(cy + r) + 2, height), min(int(cx + r) + 2, width)
        y, x = np.mgrid[top:bottom, left:right]
        inside = (y - cy) ** 2 + (x - cx) ** 2 <= r * r
        grey[top:bottom, left:right][inside] = rng.uniform(40, 110)
    grey += rng.normal(0, 6, grey.shape)
    rgb = np.stack([grey * 0.9, grey, grey * 1.05 - 8], axis=-1)
    return np.clip(np.rint(rgb), 0, 255).astype(np.uint8)


def write_png(path, rgb):
    height, width, _ = rgb.shape
    raw = b"".join(b"\x00" + row.tobytes() for row in rgb.reshape(height, -1))

    def chunk(kind, data):
        body = kind + data
        return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body))

    with open(path, "wb") as out:
        out.write(b"\x89PNG\r\n\x1a\n" +
                  chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)) +
                  chunk(b"IDAT", zlib.compress(raw, 1)) + chunk(b"IEND", b""))


def bench_count(rounds=15):
    rgb = cells(1944, 2592, seed=1)  # 5.04 megapixels
    bgr = np.ascontiguousarray(rgb[:, :, ::-1])
    counts = set()

    def timed(call):
        start = time.perf_counter()
        counts.add(call().count)
        return time.perf_counter() - start

    def engine():
        seconds, count = autocount_enginetimer.count_seconds(bgr)
        counts.add(count)
        return seconds

    subjects = {
        "engine": engine,
        "rgb": lambda: timed(lambda: autocount.count(rgb)),
        "bgr": lambda: timed(lambda: autocount.count(bgr, channel_order="bgr")),
    }
    times = {name: [] for name in subjects}
    subjects["rgb"]()
    for i in range(rounds):
        # The three run back to back, in an order that rotates every round.
        names = list(subjects)
        for name in names[i % 3:] + names[:i % 3]:
            times[name].append(subjects[name]())
    assert len(counts) == 1
    median = {name: statistics.median(t) for name, t in times.items()}
    rgb_ratio = statistics.median(m / e for m, e in zip(times["rgb"], times["engine"]))
    bgr_ratio = statistics.median(m / e for m, e in zip(times["bgr"], times["engine"]))
    print(f"count, 5 MP, {counts.pop()} objects: engine {median['engine'] * 1e3:.0f} ms, "
          f"autocount.count RGB {median['rgb'] * 1e3:.0f} ms, BGR {median['bgr'] * 1e3:.0f} ms")
    best = {name: min(t) for name, t in times.items()}
    print(f"  autocount.count / engine, median of rounds: RGB (one conversion copy) "
          f"{rgb_ratio:.3f}, BGR (no copy) {bgr_ratio:.3f}; fastest against fastest: "
          f"RGB {best['rgb'] / best['engine']:.3f}, BGR {best['bgr'] / best['engine']:.3f}")


def bench_dask(images=200, rounds=3):
    from dask.distributed import Client, LocalCluster

    folder = tempfile.mkdtemp(prefix="autocount-dask-bench-")
    paths = []
    for i in range(images):
        paths.append(os.path.join(folder, f"image{i:03d}.png"))
        write_png(paths[-1], cells(1000, 1000, seed=1000 + i))
    cli_rate, cold_rate, warm_rate = [], [], []
    cluster = LocalCluster(n_workers=2, threads_per_worker=1, processes=True,
                           dashboard_address=":0")
    client = Client(cluster)
    client.run(lambda: __import__("autocount"))

    def cli_run():
        subprocess.run([CLI, "count", "--jobs", "2", "--jsonl", os.path.join(folder, "out.jsonl"),
                        *paths], check=True, stdout=subprocess.DEVNULL)

    def warm_run():
        _, frame = autocount.dask.count_files(paths, client=client)
        assert frame["error"].isna().all()

    def cold_run():
        autocount.dask.count_files(paths)

    runs = [(cli_run, cli_rate), (warm_run, warm_rate), (cold_run, cold_rate)]
    try:
        for i in range(rounds):
            # The three run back to back, in an order that rotates every round.
            for run, rates in runs[i % 3:] + runs[:i % 3]:
                start = time.perf_counter()
                run()
                rates.append(images / (time.perf_counter() - start))
    finally:
        client.close()
        cluster.close()
    cli, warm, cold = (statistics.median(r) for r in (cli_rate, warm_rate, cold_rate))
    warm_ratio = statistics.median(w / c for w, c in zip(warm_rate, cli_rate))
    cold_ratio = statistics.median(w / c for w, c in zip(cold_rate, cli_rate))
    print(f"batch, {images} images of 1 MP: autocount count --jobs 2 {cli:.2f} images/s; "
          f"Dask, 2 workers: running cluster {warm:.2f} images/s, cluster started by the "
          f"call {cold:.2f} images/s")
    print(f"  images per second, Dask / --jobs 2, median of rounds: running cluster "
          f"{warm_ratio:.3f}, cluster started by the call {cold_ratio:.3f}")
    for path in paths:
        os.remove(path)
    os.remove(os.path.join(folder, "out.jsonl"))
    os.rmdir(folder)


if __name__ == "__main__":
    which = sys.argv[1:] or ["count", "dask"]
    if "count" in which:
        bench_count()
    if "dask" in which:
        bench_dask()
