"""Counting from Python: a file, a numpy array, and a small batch on Dask.

Run from the repository after building (see the README's "Python"):

    PYTHONPATH=build/python python3 docs/python_example.py samples/cells.png
"""

import sys

import numpy as np

import autocount
import autocount.dask


def main() -> None:
    """The worker processes of the LocalCluster import this file again, so
    the work is done only when it runs as the program."""
    path = sys.argv[1] if len(sys.argv) > 1 else "samples/cells.png"

    # A file, read as the command-line tool reads it.
    first = result = autocount.count_file(path)
    print(f"{path}: {result.count} objects, mean area {result.statistics['area']['mean']:.3f} "
          f"{result.unit}²")
    print(result.objects[["object", "area", "roundness", "centroid_x", "centroid_y"]].head())

    # A numpy array (RGB, as imageio or scikit-image give it), calibrated and
    # with a filter; the labels mark each object's pixels.
    rng = np.random.default_rng(0)
    image = np.full((200, 300, 3), 210, np.uint8)
    y, x = np.mgrid[0:200, 0:300]
    for cy, cx, r in [(50, 60, 14), (120, 200, 20), (150, 70, 9), (60, 220, 16)]:
        image[(y - cy) ** 2 + (x - cx) ** 2 <= r * r] = (70, 80, 90)
    image = np.clip(image + rng.normal(0, 4, image.shape), 0, 255).astype(np.uint8)
    result = autocount.count(image, scale=0.5, unit="um",
                             filters=[{"name": "Area", "min": 30, "max": None}])
    print(f"array: {result.count} objects; areas in {result.unit}²:",
          result.objects["area"].tolist())
    print("label image:", result.labels.dtype, result.labels.shape, "objects", result.labels.max())
    assert result.count == 4

    # A batch on a LocalCluster of two worker processes (pass client= for a
    # real cluster).
    objects, images = autocount.dask.count_files([path, path])
    print(images[["image", "image_index", "count", "area_mean"]])
    assert list(images["count"]) == [first.count] * 2 and len(objects) == 2 * first.count


if __name__ == "__main__":
    main()
