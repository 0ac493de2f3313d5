"""autocount.dask.count_files on a LocalCluster of two worker processes,
against the command-line tool's records; and a worker killed mid-batch."""

import os
import signal
import threading
import time

import numpy as np
import pytest

import autocount
import autocount.dask
from conftest import assert_matches_record, cells, run_cli, same_number, write_png

distributed = pytest.importorskip("distributed")


@pytest.fixture(scope="module")
def folder(tmp_path_factory):
    """Generated images of several kinds, and one file that is not an image."""
    path = tmp_path_factory.mktemp("batch")
    files = []
    for i in range(16):
        image = cells(height=360, width=480, seed=100 + i, objects=40,
                      colour=i % 3 != 0, depth=16 if i % 4 == 1 else 8)
        files.append(str(path / f"image{i:02d}.png"))
        write_png(files[-1], image)
    broken = path / "image99.png"
    broken.write_text("not a picture")
    files.append(str(broken))
    return files


def assert_batch_matches_cli(objects, images, files, records):
    assert list(images["image"]) == files
    assert list(images["image_index"]) == list(range(1, len(files) + 1))
    assert list(objects.columns) == ["image", "image_index", *autocount.KEYS]
    for index, (record, (_, image)) in enumerate(zip(records, images.iterrows()), start=1):
        if record["error"] is not None:
            assert image["error"] == record["error"]
            assert (objects["image_index"] == index).sum() == 0
            continue
        assert image["error"] is None
        assert image["count"] == record["count"]
        assert (image["width"], image["height"]) == (record["width"], record["height"])
        for key, values in record["statistics"].items():
            for statistic, value in values.items():
                assert same_number(image[f"{key}_{statistic}"], value)
        mine = objects[objects["image_index"] == index]
        assert list(mine["image"].unique()) == [record["file"]]
        assert len(mine) == record["count"]
        for (_, row), expected in zip(mine.iterrows(), record["objects"]):
            for key in autocount.KEYS:
                assert same_number(row[key], expected[key]), (index, key)


def test_a_local_cluster_counts_the_folder_as_the_cli_does(folder, tmp_path):
    settings = {"speckFloor": 0.02, "scale": 0.25, "unit": "um"}
    records = run_cli(folder, settings, tmp_path)
    objects, images = autocount.dask.count_files(folder, speck_floor=0.02, scale=0.25,
                                                 unit="um")
    assert_batch_matches_cli(objects, images, folder, records)
    assert images["count"].sum() == len(objects) > 100


def test_bad_settings_fail_before_the_batch(folder):
    with pytest.raises(ValueError, match="--low"):
        autocount.dask.count_files(folder, client=object(), low=900)


def test_a_worker_killed_mid_batch_loses_nothing(folder, tmp_path):
    from dask.distributed import Client, LocalCluster

    files = folder[:-1] * 3  # 48 images
    records = run_cli(files)
    cluster = LocalCluster(n_workers=2, threads_per_worker=1, processes=True,
                           dashboard_address=":0")
    client = Client(cluster)
    try:
        pids = client.run(os.getpid)
        outcome = {}

        def batch():
            outcome["frames"] = autocount.dask.count_files(files, client=client)

        runner = threading.Thread(target=batch)
        runner.start()
        killed = None
        deadline = time.monotonic() + 120
        while killed is None and time.monotonic() < deadline and runner.is_alive():
            # Once some images are done, kill a worker that is counting one.
            done = sum(1 for f in client.futures.values() if f.status == "finished")
            busy = [w for w, keys in client.processing().items() if keys]
            if done >= 4 and busy:
                killed = pids[busy[0]]
                os.kill(killed, signal.SIGKILL)
            time.sleep(0.02)
        runner.join(timeout=300)
        assert killed is not None, "the batch ended before a worker could be killed"
        assert not runner.is_alive()
        with pytest.raises(ProcessLookupError):
            os.kill(killed, 0)
        assert killed not in client.run(os.getpid).values()
        objects, images = outcome["frames"]
        assert_batch_matches_cli(objects, images, files, records)
    finally:
        client.close()
        cluster.close()
