"""Shared helpers of the Python module's tests: generated images, a PNG
writer, and the built command-line tool as the reference."""

import json
import math
import os
import struct
import subprocess
import zlib

import numpy as np
import pytest

import autocount

CLI = os.environ.get("AUTOCOUNT_CLI", "autocount")
SOURCE_DIR = os.environ.get("AUTOCOUNT_SOURCE_DIR",
                            os.path.join(os.path.dirname(__file__), "..", ".."))
SAMPLE = os.path.join(SOURCE_DIR, "samples", "cells.png")


def cells(height=300, width=400, seed=1, objects=30, colour=True, depth=8):
    """Dark discs, some of them touching, on a bright noisy background.

    RGB (rows, columns, 3) or grey (rows, columns); uint8, or uint16 with
    depth=16 (the same picture spread over 0..65535 with low bits set).
    """
    rng = np.random.default_rng(seed)
    y, x = np.mgrid[0:height, 0:width]
    grey = np.full((height, width), 205.0)
    for _ in range(objects):
        r = rng.uniform(6, 16)
        cy, cx = rng.uniform(r, height - r), rng.uniform(r, width - r)
        inside = (y - cy) ** 2 + (x - cx) ** 2 <= r * r
        grey[inside] = rng.uniform(40, 110)
        if rng.random() < 0.3:  # a neighbour that touches it
            a = rng.uniform(0, 2 * math.pi)
            ny, nx = cy + 1.8 * r * math.sin(a), cx + 1.8 * r * math.cos(a)
            grey[(y - ny) ** 2 + (x - nx) ** 2 <= r * r] = rng.uniform(40, 110)
    grey += rng.normal(0, 6, grey.shape)
    if colour:
        tint = np.stack([grey * 0.9, grey, grey * 1.05 - 8], axis=-1)
        grey = tint + rng.normal(0, 3, tint.shape)
    grey = np.clip(np.rint(grey), 0, 255)
    if depth == 16:
        return (grey.astype(np.uint16) * 257 + rng.integers(0, 200, grey.shape)).astype(np.uint16)
    return grey.astype(np.uint8)


def write_png(path, image):
    """Writes a uint8 or uint16 array (grey, grey+alpha, RGB, RGBA) as PNG."""
    image = np.asarray(image)
    if image.ndim == 2:
        image = image[:, :, None]
    height, width, channels = image.shape
    colour_type = {1: 0, 2: 4, 3: 2, 4: 6}[channels]
    bits = 16 if image.dtype == np.uint16 else 8
    samples = image.astype(">u2" if bits == 16 else np.uint8).reshape(height, -1)
    raw = b"".join(b"\x00" + row.tobytes() for row in samples)

    def chunk(kind, data):
        body = kind + data
        return struct.pack(">I", len(data)) + body + struct.pack(">I", zlib.crc32(body))

    header = struct.pack(">IIBBBBB", width, height, bits, colour_type, 0, 0, 0)
    with open(path, "wb") as out:
        out.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) +
                  chunk(b"IDAT", zlib.compress(raw, 6)) + chunk(b"IEND", b""))


def run_cli(paths, settings=None, tmp_path=None, extra=()):
    """The command-line tool's JSON Lines records for @p paths, in order."""
    command = [CLI, "count", "--jsonl", "-", *extra]
    if settings:
        settings_file = os.path.join(str(tmp_path), "cli-settings.json")
        with open(settings_file, "w") as out:
            json.dump(settings, out)
        command += ["--settings", settings_file]
    done = subprocess.run(command + [str(p) for p in paths], capture_output=True, text=True,
                          env=dict(os.environ, QT_QPA_PLATFORM="offscreen"))
    records = [json.loads(line) for line in done.stdout.splitlines() if line.startswith("{")]
    assert len(records) == len(paths), done.stderr
    return records


def cli_usage_error(settings, tmp_path):
    """The command-line tool's message for bad settings in a settings file."""
    settings_file = os.path.join(str(tmp_path), "bad-settings.json")
    with open(settings_file, "w") as out:
        json.dump(settings, out)
    done = subprocess.run([CLI, "count", "--settings", settings_file, SAMPLE],
                          capture_output=True, text=True)
    assert done.returncode == 2
    return done.stderr.splitlines()[0]


def same_number(a, b):
    """Bit for bit: the same double, a negative zero differing from zero."""
    if a is None or b is None:
        return a is None and b is None
    a, b = float(a), float(b)
    return struct.pack("<d", a) == struct.pack("<d", b)


def assert_matches_record(result, record):
    """A Result and a CLI data record hold the same count, rows and statistics."""
    assert record["error"] is None
    assert result.count == record["count"]
    assert (result.width, result.height) == (record["width"], record["height"])
    assert result.unit == record["unit"]
    assert same_number(result.scale, record["scale"])
    rows = result._raw.rows
    assert rows.shape == (len(record["objects"]), len(autocount.KEYS))
    channel_keys = list(result._raw.channel_keys)
    channel_rows = result._raw.channel_rows
    for i, (row, expected) in enumerate(zip(rows, record["objects"])):
        assert list(expected) == list(autocount.KEYS) + channel_keys
        for key, value in zip(autocount.KEYS, row):
            assert same_number(value, expected[key]), (key, value, expected[key])
        for key, value in zip(channel_keys, channel_rows[i] if channel_keys else []):
            assert same_number(value, expected[key]), (key, value, expected[key])
    assert (result.preparation is None) == (record["preparation"] is None)
    for key, value in (result.preparation or {}).items():
        assert same_number(value, record["preparation"][key]), key
    if record["statistics"] is None:
        assert all(v is None for s in result.statistics.values() for v in s.values())
        return
    assert list(result.statistics) == list(record["statistics"])
    for key, values in record["statistics"].items():
        for statistic, value in values.items():
            assert same_number(result.statistics[key][statistic], value), (key, statistic)


@pytest.fixture(scope="session")
def generated(tmp_path_factory):
    """A few generated images and their PNG files: name -> (array, path)."""
    folder = tmp_path_factory.mktemp("images")
    images = {
        "rgb": cells(seed=1),
        "grey": cells(seed=2, colour=False),
        "rgb16": cells(seed=3, depth=16),
        "grey16": cells(seed=4, colour=False, depth=16),
    }
    rgba = np.dstack([cells(seed=5), np.full((300, 400), 255, np.uint8)])
    rgba[::7, ::5, 3] = 17  # alpha is ignored
    images["rgba"] = rgba
    files = {}
    for name, image in images.items():
        path = folder / f"{name}.png"
        write_png(path, image)
        files[name] = (image, str(path))
    return files
