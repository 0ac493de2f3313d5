"""The JSON Lines records and the --json entries of the autocount program
against the published schema (docs/autocount-image.schema.json)."""

import json
import math
import os
import struct
import subprocess
import sys
import zlib

import pytest

jsonschema = pytest.importorskip("jsonschema")

PROGRAM = os.environ.get("AUTOCOUNT_PROGRAM", "")
SCHEMA = os.environ.get("AUTOCOUNT_SCHEMA", "")


def png(path, width, height, pixel):
    """A grey PNG with dark discs on a light background, from pixel(x, y)."""
    rows = b"".join(b"\0" + bytes(pixel(x, y) for x in range(width)) for y in range(height))

    def chunk(kind, data):
        return (struct.pack(">I", len(data)) + kind + data +
                struct.pack(">I", zlib.crc32(kind + data) & 0xFFFFFFFF))

    with open(path, "wb") as f:
        f.write(b"\x89PNG\r\n\x1a\n")
        f.write(chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 0, 0, 0, 0)))
        f.write(chunk(b"IDAT", zlib.compress(rows)))
        f.write(chunk(b"IEND", b""))


def discs(x, y):
    for cx, cy in ((60, 60), (160, 70), (90, 150), (200, 170)):
        if (x - cx) ** 2 + (y - cy) ** 2 <= 18 ** 2:
            return 60
    return 210


@pytest.fixture(scope="module")
def schema():
    if not PROGRAM or not os.path.exists(SCHEMA):
        pytest.skip("AUTOCOUNT_PROGRAM and AUTOCOUNT_SCHEMA are not set")
    with open(SCHEMA) as f:
        return json.load(f)


def run(tmp_path, *arguments):
    a = tmp_path / "a.png"
    png(a, 260, 230, discs)
    blank = tmp_path / "blank.png"
    png(blank, 50, 40, lambda x, y: 200)
    broken = tmp_path / "broken.png"
    broken.write_bytes(b"not an image")
    result = subprocess.run([PROGRAM, "count", *arguments, str(a), str(blank), str(broken)],
                            cwd=tmp_path, capture_output=True, text=True, timeout=240)
    assert result.returncode == 1, result.stderr  # the broken image
    return result.stdout


@pytest.mark.parametrize("calibration", [[], ["--scale", "0.001", "--unit", "mm"]])
def test_json_lines_match_the_schema(tmp_path, schema, calibration):
    lines = run(tmp_path, "--jsonl", "-", *calibration).splitlines()
    assert len(lines) == 3
    records = [json.loads(line) for line in lines]
    for record in records:
        jsonschema.validate(record, schema)
    counted, blank, broken = records
    assert counted["count"] == 4 and len(counted["objects"]) == 4
    assert [o["object"] for o in counted["objects"]] == [1, 2, 3, 4]
    assert counted["unit"] == ("mm" if calibration else "px")
    assert blank["count"] == 0
    assert all(v is None for s in blank["statistics"].values() for v in s.values())
    assert isinstance(broken["error"], str) and "count" not in broken
    # Areas follow the calibration, centres stay in pixels.
    area = counted["objects"][0]["area"]
    assert area < 1 if calibration else area > 100
    assert counted["objects"][0]["center_x"] > 10


def test_json_document_entries_match_the_schema(tmp_path, schema):
    document = json.loads(run(tmp_path, "--json"))
    assert document["schema_version"] == 1
    assert len(document["images"]) == 3
    for image in document["images"]:
        jsonschema.validate(image, schema)
        assert "outputs" in image


if __name__ == "__main__":
    sys.exit(pytest.main([__file__, "-q"]))
