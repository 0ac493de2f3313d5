"""autocount.count and autocount.count_file against the command-line tool,
bit for bit, on generated images; array layouts; errors; the GIL."""

import os
import pathlib
import sys
import threading
import time
from concurrent.futures import ThreadPoolExecutor

import numpy as np
import pytest

import autocount
from conftest import (SAMPLE, assert_matches_record, cells, cli_usage_error, run_cli,
                      write_png)

SETTINGS = [
    {},
    {"cut": "none"},
    {"cut": "auto", "fillHoles": True},
    {"mode": "manual", "channel": "red", "low": 0, "high": 140, "morphology": ["open"]},
    {"mode": "manual", "channel": "intensity", "low": 0, "high": 150},
    {"scale": 0.37, "unit": "um", "speckFloor": 0, "keepBorder": True},
    {"rectangles": [[20, 10, 250, 200]], "filters": [{"name": "Area", "min": 150, "max": None}]},
    {"polygons": [[0, 0, 390, 20, 300, 290, 10, 250]], "sensitivity": 2},
    {"mode": "bright"},
]


def test_sample_file_matches_cli(tmp_path):
    result = autocount.count_file(SAMPLE)
    assert result.count == 40
    assert result.file == SAMPLE
    assert_matches_record(result, run_cli([SAMPLE])[0])


@pytest.mark.parametrize("settings", SETTINGS, ids=lambda s: ",".join(s) or "defaults")
def test_rgb_array_matches_cli_on_its_png(generated, settings, tmp_path):
    image, path = generated["rgb"]
    record = run_cli([path], settings, tmp_path)[0]
    assert_matches_record(autocount.count(image, **settings), record)
    assert_matches_record(autocount.count_file(path, **settings), record)


@pytest.mark.parametrize("name", ["grey", "rgb16", "grey16", "rgba"])
def test_other_pixel_types_match_cli(generated, name, tmp_path):
    image, path = generated[name]
    for settings in ({}, {"mode": "manual", "channel": "green", "low": 0, "high": 150}):
        record = run_cli([path], settings, tmp_path)[0]
        assert record["count"] > 10
        assert_matches_record(autocount.count(image, **settings), record)


def test_grey_with_a_channel_axis_is_grey(generated, tmp_path):
    image, path = generated["grey16"]
    assert_matches_record(autocount.count(image[:, :, None]), run_cli([path])[0])


def test_bgr_order_counts_the_same_pixels(generated):
    image, _ = generated["rgb"]
    rgb = autocount.count(image)
    bgr = autocount.count(np.ascontiguousarray(image[:, :, ::-1]), channel_order="bgr")
    assert np.array_equal(rgb._raw.rows, bgr._raw.rows)
    assert not bgr.copied


def test_layouts_that_are_read_in_place():
    image = cells(seed=6)
    assert autocount._autocount.wrappable(image)
    assert autocount._autocount.wrappable(image[20:200, 30:300])  # rows at a larger step
    assert autocount._autocount.wrappable(image[20:200, 30:300, :])
    assert not autocount._autocount.wrappable(np.asfortranarray(image))
    assert not autocount._autocount.wrappable(image[:, ::2])
    assert not autocount._autocount.wrappable(image[::-1])
    assert not autocount._autocount.wrappable(image[:, :, ::-1])


@pytest.mark.parametrize("layout", ["slice", "fortran", "column step", "reversed rows",
                                    "channel view"])
def test_non_contiguous_arrays_match_cli(layout, tmp_path):
    base = cells(height=340, width=460, seed=7, depth=16)
    view = {
        "slice": lambda a: a[17:317, 23:423],
        "fortran": np.asfortranarray,
        "column step": lambda a: a[:, ::2],
        "reversed rows": lambda a: a[::-1],
        "channel view": lambda a: np.stack([a[..., 2], a[..., 1], a[..., 0]], axis=0)
        .transpose(1, 2, 0)[..., ::-1],
    }[layout](base)
    if layout != "channel view":
        assert not view.flags.c_contiguous
    path = tmp_path / "view.png"
    write_png(path, np.ascontiguousarray(view))
    result = autocount.count(view)
    assert result.copied == (layout not in ("slice",))
    assert_matches_record(result, run_cli([path])[0])


def test_the_array_is_not_changed(generated):
    image, _ = generated["rgb"]
    before = image.copy()
    autocount.count(image)
    autocount.count(image, channel_order="bgr")
    assert np.array_equal(image, before)


def test_labels_mark_each_objects_pixels(generated):
    image, _ = generated["rgb"]
    result = autocount.count(image)
    labels = result.labels
    assert labels.dtype == np.int32 and labels.shape == image.shape[:2]
    assert labels.min() == 0 and labels.max() == result.count
    objects = result.objects
    ys, xs = np.nonzero(labels)
    values = labels[ys, xs]
    for _, row in objects.iterrows():
        mine = values == row["object"]
        oy, ox = ys[mine], xs[mine]
        # The bounding box and the centroid are those of the label's pixels.
        assert (ox.min(), oy.min()) == (row["bbox_x"], row["bbox_y"])
        assert (ox.max() - ox.min() + 1, oy.max() - oy.min() + 1) == (row["bbox_width"],
                                                                     row["bbox_height"])
        assert ox.mean() == pytest.approx(row["centroid_x"], rel=1e-12)
        assert oy.mean() == pytest.approx(row["centroid_y"], rel=1e-12)


def test_objects_and_settings(generated):
    image, _ = generated["rgb"]
    result = autocount.count(image, scale=0.5, unit="um", fill_holes=True)
    # The colour planes differ, so each one's measurements follow the fixed keys.
    planes = [
        f"{m}_c{c}" for c in (1, 2, 3) for m in ("mean_gray", "integral", "max_gray", "min_gray", "std_dev")
    ]
    assert list(result.objects.columns) == list(autocount.KEYS) + planes
    labels = result.labels
    for _, row in result.objects.iterrows():
        for c in (1, 2, 3):
            pixels = image[..., c - 1][labels == row["object"]].astype(np.float64)
            assert row[f"mean_gray_c{c}"] == pytest.approx(pixels.mean(), rel=1e-12)
            assert row[f"max_gray_c{c}"] == pixels.max() and row[f"min_gray_c{c}"] == pixels.min()
            assert row[f"integral_c{c}"] == pixels.sum()
    assert list(result.objects["object"]) == list(range(1, result.count + 1))
    for key in autocount.INTEGER_KEYS:
        assert result.objects[key].dtype == np.int64
    assert result.unit == "um" and result.scale == 0.5
    assert result.settings["fillHoles"] is True and result.settings["unit"] == "um"
    assert result.settings == autocount.settings(scale=0.5, unit="um", fillHoles=True)
    assert set(result.settings) == {"mode", "channel", "low", "high", "morphology", "fillHoles",
                                    "cut", "sensitivity", "speckFloor", "keepBorder",
                                    "defaultFilters", "filters", "scale", "unit", "rectangles",
                                    "polygons", "calibration", "preparation", "measureChannels",
                                    "stain", "dish"}


def test_snake_case_aliases(generated):
    image, _ = generated["rgb"]
    a = autocount.count(image, speck_floor=0, keep_border=True, default_filters=False)
    b = autocount.count(image, speckFloor=0, keepBorder=True, defaultFilters=False)
    assert np.array_equal(a._raw.rows, b._raw.rows)
    with pytest.raises(ValueError, match="given twice"):
        autocount.count(image, speck_floor=0, speckFloor=0.1)


def test_numpy_values_as_settings(generated):
    image, _ = generated["rgb"]
    a = autocount.count(image, mode="manual", low=np.int64(0), high=np.uint8(150),
                        rectangles=np.array([[10, 10, 200, 200]]))
    b = autocount.count(image, mode="manual", low=0, high=150, rectangles=[[10, 10, 200, 200]])
    assert np.array_equal(a._raw.rows, b._raw.rows)


def test_an_image_without_objects():
    result = autocount.count(np.full((50, 60), 200, np.uint8))
    assert result.count == 0 and len(result.objects) == 0
    assert all(v is None for s in result.statistics.values() for v in s.values())
    assert not result.labels.any()


@pytest.mark.parametrize("settings", [
    {"low": 300},
    {"mode": "sideways"},
    {"cut": 3},
    {"fillHoles": "yes"},
    {"colour": "red"},
    {"scale": -1},
    {"speckFloor": 2},
    {"mode": "manual", "low": 200, "high": 100},
    {"rectangles": [[0, 0, -5, 5]]},
    {"filters": [{"name": "Weight", "min": 1}]},
], ids=str)
def test_bad_settings_raise_value_error_with_the_cli_message(settings, tmp_path):
    with pytest.raises(ValueError) as raised:
        autocount.count(np.zeros((20, 20), np.uint8), **settings)
    message = str(raised.value)
    assert message
    assert cli_usage_error(settings, tmp_path).endswith(": " + message)
    with pytest.raises(ValueError):
        autocount.count_file(SAMPLE, **settings)


def test_bad_arrays():
    with pytest.raises(TypeError):
        autocount.count(np.zeros((20, 20), np.float32))
    with pytest.raises(ValueError):
        autocount.count(np.zeros((20, 20, 5), np.uint8))
    with pytest.raises(ValueError):
        autocount.count(np.zeros((20,), np.uint8))
    with pytest.raises(ValueError):
        autocount.count(np.zeros((0, 20), np.uint8))
    with pytest.raises(ValueError):
        autocount.count(np.zeros((20, 20, 3), np.uint8), channel_order="grb")


def test_unreadable_files_raise_os_error(tmp_path):
    missing = tmp_path / "missing.png"
    not_an_image = tmp_path / "text.png"
    not_an_image.write_text("no picture here")
    truncated = tmp_path / "truncated.png"
    write_png(truncated, cells(seed=8))
    truncated.write_bytes(truncated.read_bytes()[:300])
    paths = [missing, not_an_image, truncated, tmp_path]
    records = run_cli(paths[:3])
    for path, record in zip(paths, records):
        with pytest.raises(OSError) as raised:
            autocount.count_file(path)
        assert str(raised.value) == record["error"]
    with pytest.raises(OSError):
        autocount.count_file(tmp_path)


def test_path_objects(generated):
    _, path = generated["grey"]
    assert autocount.count_file(pathlib.Path(path)).count == autocount.count_file(path).count


def test_two_threads_count_at_the_same_time():
    images = [cells(height=900, width=1200, seed=9, objects=300),
              cells(height=900, width=1200, seed=10, objects=300)]
    alone = [autocount.count(image)._raw.rows for image in images]
    barrier = threading.Barrier(2)
    spans = [None, None]
    rows = [None, None]

    def work(i):
        barrier.wait()
        start = time.monotonic()
        rows[i] = autocount.count(images[i])._raw.rows
        spans[i] = (start, time.monotonic())

    threads = [threading.Thread(target=work, args=(i,)) for i in range(2)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert max(s[0] for s in spans) < min(s[1] for s in spans)  # the counts overlapped
    for i in range(2):
        assert np.array_equal(rows[i], alone[i])


def test_python_runs_while_a_count_runs():
    # With the GIL held through a count, another Python thread would stop for
    # the whole count; released, it keeps running. The largest pause of a
    # Python loop during the count must be a small share of the count.
    image = cells(height=1200, width=1600, seed=11, objects=500)
    sys.setswitchinterval(0.001)
    stamps = []
    counting = threading.Event()
    done = threading.Event()

    def observer():
        counting.wait()
        while not done.is_set():
            stamps.append(time.monotonic())

    thread = threading.Thread(target=observer)
    thread.start()
    counting.set()
    time.sleep(0.01)
    start = time.monotonic()
    autocount.count(image)
    end = time.monotonic()
    done.set()
    thread.join()
    inside = [start] + [s for s in stamps if start <= s <= end] + [end]
    assert len(inside) > 10
    assert max(np.diff(inside)) < 0.5 * (end - start)


def test_a_thread_pool_gives_the_results_of_one_thread(generated):
    images = [generated[name][0] for name in ("rgb", "grey", "rgb16", "grey16", "rgba")]
    alone = [autocount.count(image)._raw.rows for image in images]
    with ThreadPoolExecutor(max_workers=3) as pool:
        together = list(pool.map(lambda image: autocount.count(image)._raw.rows, images * 2))
    for i, rows in enumerate(together):
        assert np.array_equal(rows, alone[i % len(images)])


def test_help_describes_the_call():
    text = autocount.count.__doc__
    for word in ("channel_order", "uint16", "rgb", "ValueError", "copied"):
        assert word in text
    assert "OSError" in autocount.count_file.__doc__
    assert "objects" in autocount.Result.__doc__


def test_the_package_says_where_it_comes_from():
    assert autocount.__version__
    assert os.path.dirname(autocount._autocount.__file__) == os.path.dirname(autocount.__file__)


def test_colour_words_name_their_planes_and_the_choice_is_told():
    # Three discs bright in red only, five in blue only (RGB order).
    yy, xx = np.mgrid[0:200, 0:400]
    image = np.zeros((200, 400, 3), np.uint8)
    for i in range(3):
        image[(yy - 50) ** 2 + (xx - 40 - 60 * i) ** 2 <= 14 ** 2, 0] = 200
    for i in range(5):
        image[(yy - 140) ** 2 + (xx - 40 - 60 * i) ** 2 <= 14 ** 2, 2] = 200
    band = {"mode": "manual", "low": 100, "high": 255}
    red = autocount.count(image, channel="red", **band)
    assert (red.count, red.segmentation) == (3, ("red", "band"))
    assert autocount.count(image, channel="blue", **band).count == 5
    automatic = autocount.count(image)
    assert automatic.settings["mode"] == "auto"
    assert automatic.segmentation[1] == "bright"
