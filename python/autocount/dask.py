"""Counting a batch of image files on a Dask cluster.

One image is one task. A task whose worker is lost (crashed, killed, its
machine gone) is run again on another worker by the scheduler, up to the
scheduler's ``distributed.scheduler.allowed-failures`` times (3 by
default); results come back in input order.

    import autocount.dask
    objects, images = autocount.dask.count_files(paths, mode="bright")

Without a client, a LocalCluster of two worker processes is started for the
call and closed after it. On a cluster, pass its client::

    from dask.distributed import Client
    client = Client("tcp://scheduler:8786")      # a running dask-scheduler
    objects, images = autocount.dask.count_files(paths, client=client)

Every worker needs the autocount package and the image files (a shared file
system). The command line's ``autocount count --shard K/N`` remains the way
to spread a batch over machines without Python.
"""

from __future__ import annotations

import os
from typing import Any, Dict, List, Optional, Sequence, Tuple

import numpy as np

import autocount

__all__ = ["count_files", "count_one"]

#: Summary columns of every measurement: "area_mean", "area_std_dev", ...
STATISTIC_COLUMNS: Tuple[str, ...] = tuple(
    f"{key}_{statistic}"
    for key in autocount.KEYS[1:-6]
    for statistic in autocount.STATISTIC_KEYS
)

IMAGE_COLUMNS: Tuple[str, ...] = (
    ("image", "image_index", "width", "height", "count", "unit", "scale")
    + STATISTIC_COLUMNS
    + ("error",)
)


def count_one(path: str, index: int, settings: Dict[str, Any]) -> Tuple[Dict[str, Any], np.ndarray]:
    """Counts one file: its image record and its object rows (float64, KEYS order).

    A file that cannot be read gives a record with its ``error`` and no rows,
    as in the command line's batches. This is the task that ``count_files``
    runs on the workers.
    """
    record: Dict[str, Any] = {column: None for column in IMAGE_COLUMNS}
    record.update(image=path, image_index=index)
    try:
        result = autocount.count_file(path, **settings)
    except OSError as error:
        record["error"] = str(error)
        return record, np.zeros((0, len(autocount.KEYS)))
    record.update(width=result.width, height=result.height, count=result.count,
                  unit=result.unit, scale=result.scale)
    for key, values in result.statistics.items():
        for statistic, value in values.items():
            record[f"{key}_{statistic}"] = value
    return record, result._raw.rows


def count_files(
    paths: Sequence["os.PathLike[str] | str"],
    client: Optional[Any] = None,
    *,
    retries: int = 2,
    **settings: Any,
) -> Tuple[Any, Any]:
    """Counts image files on a Dask cluster, one image a task.

    Args:
        paths: the image files, counted as ``autocount.count_file`` counts.
        client: a ``dask.distributed.Client``; None starts a LocalCluster
            of two worker processes (one thread each) for this call.
        retries: how often a task that raised is run again (a lost worker's
            tasks are rerun by the scheduler in any case).
        **settings: the settings of ``autocount.count``, checked here
            before any task starts (ValueError).

    Returns:
        (objects, images): pandas DataFrames. objects has one row per object
        of the batch: ``image`` (the path as given), ``image_index``
        (1-based input position) and the columns of ``autocount.KEYS``.
        images has one row per image in input order: image, image_index,
        width, height, count, unit, scale, "KEY_STATISTIC" columns
        (area_mean, ...) and error (None, or why the file was not counted).
    """
    from dask.distributed import Client, LocalCluster

    autocount.settings(**settings)  # bad settings fail here, not on every worker
    files = [os.fspath(path) for path in paths]
    own = client is None
    cluster = None
    if own:
        cluster = LocalCluster(n_workers=2, threads_per_worker=1, processes=True,
                               dashboard_address=":0")
        client = Client(cluster)
    try:
        futures = client.map(count_one, files, range(1, len(files) + 1),
                             settings=settings, retries=retries, pure=False)
        results: List[Tuple[Dict[str, Any], np.ndarray]] = client.gather(futures)
    finally:
        if own:
            client.close()
            cluster.close()
    return _frames(results)


def _frames(results: List[Tuple[Dict[str, Any], np.ndarray]]) -> Tuple[Any, Any]:
    import pandas

    images = pandas.DataFrame([record for record, _ in results], columns=list(IMAGE_COLUMNS))
    for column in ("width", "height", "count"):  # empty for an image that failed
        images[column] = images[column].astype("Int64")
    pieces = [rows for _, rows in results]
    rows = np.concatenate(pieces) if pieces else np.zeros((0, len(autocount.KEYS)))
    objects: Dict[str, Any] = {
        "image": np.repeat([record["image"] for record, _ in results],
                           [len(r) for r in pieces]).astype(object),
        "image_index": np.repeat([record["image_index"] for record, _ in results],
                                 [len(r) for r in pieces]).astype(np.int64),
    }
    objects.update(autocount._columns(rows))
    return pandas.DataFrame(objects, columns=["image", "image_index", *autocount.KEYS]), images
