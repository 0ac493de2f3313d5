"""Counting objects in microscope images from Python.

The same counting engine as the ``autocount`` command-line tool, on numpy
arrays and on image files::

    import autocount
    result = autocount.count_file("samples/cells.png")
    result.count                 # 40
    result.objects               # one row per object (pandas DataFrame)
    result = autocount.count(rgb_array, mode="bright", cut="none")

Settings are keywords with the names of the settings file (``mode``,
``channel``, ``low``, ``high``, ``morphology``, ``fillHoles``, ``cut``,
``sensitivity``, ``speckFloor``, ``keepBorder``, ``defaultFilters``,
``filters``, ``scale``, ``unit``, ``rectangles``, ``polygons``, ``dish``); the
camel-case names may also be written in snake case (``fill_holes``,
``speck_floor``, ``keep_border``, ``default_filters``). Bad settings raise
ValueError with the command line's message.

Counting releases the GIL: counts in a thread pool run in parallel.
``autocount.dask.count_files`` spreads a batch of files over a Dask cluster.
"""

from __future__ import annotations

import json
import os
from typing import Any, Dict, List, Mapping, Optional, Tuple, Union

import numpy as np

from . import _autocount

__all__ = ["count", "count_file", "settings", "Result", "KEYS", "STATISTIC_KEYS"]
__version__: str = _autocount.__version__

#: The object columns, in order: ``object``, the measurements, the centroid
#: and the bounding box (see the README's "Results as data").
KEYS: Tuple[str, ...] = tuple(_autocount.KEYS)
#: The columns that only ever hold whole numbers (int64 in ``objects``).
INTEGER_KEYS: Tuple[str, ...] = tuple(_autocount.INTEGER_KEYS)
#: The statistics of every measurement, in order.
STATISTIC_KEYS: Tuple[str, ...] = tuple(_autocount.STATISTIC_KEYS)

_ALIASES = {
    "fill_holes": "fillHoles",
    "speck_floor": "speckFloor",
    "keep_border": "keepBorder",
    "default_filters": "defaultFilters",
}

PathLike = Union[str, "os.PathLike[str]"]


def _plain(value: Any) -> Any:
    """numpy scalars and arrays as the JSON encoder takes them."""
    if isinstance(value, np.ndarray):
        return value.tolist()
    if isinstance(value, np.generic):
        return value.item()
    raise TypeError(f"a setting of type {type(value).__name__} is not JSON data")


def _settings_json(settings: Mapping[str, Any]) -> str:
    named: Dict[str, Any] = {}
    for key, value in settings.items():
        name = _ALIASES.get(key, key)
        if name in named:
            raise ValueError(f"setting \"{name}\" given twice (as {name} and {key})")
        named[name] = value
    try:
        return json.dumps(named, default=_plain, allow_nan=False)
    except (TypeError, ValueError) as error:
        raise ValueError(f"settings: {error}") from None


def settings(**settings: Any) -> Dict[str, Any]:
    """The complete settings that the keywords give, checked as ``count`` checks them.

    Every setting not given has its default. Raises ValueError for a bad one.
    """
    return json.loads(_autocount.settings(_settings_json(settings)))


class Result:
    """The result of one count.

    Attributes:
        count: the number of objects (after the filters).
        objects: one row per object under the keys of ``KEYS``, then the
            measurements in the other colour planes (``mean_gray_c1``, ...)
            when the planes differ: a pandas
            DataFrame when pandas can be imported, else a dict of numpy
            arrays. Values are exactly those of the command line's data
            outputs (``--jsonl``, ``--table``): float64, integers as int64.
        statistics: ``{measurement: {"mean", "std_dev", "min", "max",
            "range", "sum"}}``; the values are None when there is no object.
        labels: the label image, int32 (rows, columns): 0 background, N on
            the pixels of object N (drawn when first asked for).
        settings: the complete settings used, as in a settings file.
        unit: the length unit of the calibration ("px" uncalibrated).
        scale: units per pixel.
        dish: with ``dish="auto"``, the dish's rim (x, y, radius) in pixels.
        width, height: the image size in pixels.
        thresholds: the (low, high) threshold band used.
        segmentation: the (plane, polarity) thresholded: the plane is "grey",
            "red", "green", "blue", a stain, or another channel of the manual
            band; the polarity is "dark", "bright" or "band" (the manual band).
            With ``mode="auto"`` (the default) this is what was chosen.
        file: the file counted ("" for an array).
    """

    __slots__ = ("_raw", "_objects", "_labels", "_settings")

    def __init__(self, raw: Any) -> None:
        self._raw = raw
        self._objects: Any = None
        self._labels: Optional[np.ndarray] = None
        self._settings: Optional[Dict[str, Any]] = None

    @property
    def count(self) -> int:
        return self._raw.count

    @property
    def objects(self) -> Any:
        if self._objects is None:
            self._objects = _table(self._raw.rows, self._raw.channel_keys, self._raw.channel_rows)
        return self._objects

    @property
    def statistics(self) -> Dict[str, Dict[str, Optional[float]]]:
        return self._raw.statistics

    @property
    def preparation(self) -> Optional[Dict[str, float]]:
        """What the preparation of the threshold chose (object_radius,
        smoothing_sigma, background_disc, background_level, noise, floor,
        ...), or None when it did not run."""
        return self._raw.preparation

    @property
    def labels(self) -> np.ndarray:
        if self._labels is None:
            self._labels = self._raw.labels()
        return self._labels

    @property
    def settings(self) -> Dict[str, Any]:
        if self._settings is None:
            self._settings = json.loads(self._raw.settings_json)
        return self._settings

    @property
    def unit(self) -> str:
        return self._raw.unit

    @property
    def scale(self) -> float:
        return self._raw.scale

    @property
    def width(self) -> int:
        return self._raw.width

    @property
    def height(self) -> int:
        return self._raw.height

    @property
    def thresholds(self) -> Tuple[int, int]:
        return self._raw.thresholds

    @property
    def dish(self) -> Optional[Tuple[float, float, float]]:
        """With ``dish="auto"``: the dish's rim found, (x, y, radius) in
        pixels; the count ran inside it. None otherwise."""
        return self._raw.dish

    @property
    def segmentation(self) -> Tuple[str, str]:
        return self._raw.segmentation

    @property
    def file(self) -> str:
        return self._raw.file

    @property
    def copied(self) -> bool:
        """True when the array's layout made a copy necessary before the
        conversion into the engine's form (see ``count``)."""
        return self._raw.copied

    def __repr__(self) -> str:
        where = f" {self.file!r}" if self.file else ""
        return f"<autocount.Result{where} {self.width}x{self.height}: {self.count} objects>"


def _columns(rows: np.ndarray) -> Dict[str, np.ndarray]:
    columns: Dict[str, np.ndarray] = {}
    for i, key in enumerate(KEYS):
        column = rows[:, i]
        columns[key] = column.astype(np.int64) if key in INTEGER_KEYS else column.copy()
    return columns


def _table(rows: np.ndarray, channel_keys: List[str], channel_rows: np.ndarray) -> Any:
    columns = _columns(rows)
    for i, key in enumerate(channel_keys):
        columns[key] = channel_rows[:, i].copy()
    try:
        import pandas
    except ImportError:
        return columns
    return pandas.DataFrame(columns, columns=list(KEYS) + list(channel_keys))


def count(image: np.ndarray, *, channel_order: str = "rgb", **settings: Any) -> Result:
    """Counts the objects in a numpy image.

    Args:
        image: uint8 or uint16, (rows, columns) grey or (rows, columns,
            channels) with 1 (grey), 2 (grey, alpha), 3 (colour) or 4
            (colour, alpha) channels. uint16 samples are scaled by 255/65535
            and rounded, as the file reader does; alpha is ignored.
        channel_order: "rgb" (the default: numpy images from imageio,
            scikit-image, PIL) or "bgr" (OpenCV's cv2.imread).
        **settings: the settings, by the names of the settings file
            (``mode="bright"``, ``cut="none"``, ``low=0, high=120``,
            ``filters=[{"name": "Area", "min": 50}]``, ``scale=0.5,
            unit="um"``, ``rectangles=[[x, y, w, h]]``, ...); snake case
            also works for fillHoles, speckFloor, keepBorder and
            defaultFilters.

    Returns:
        A Result with count, objects, statistics, labels, settings, unit.

    The pixels are read in place when each row's samples are packed (any
    C-ordered array, and row slices of one); other layouts (Fortran order,
    column steps, reversed axes) are copied first. A "bgr" uint8 colour
    image is counted without any copy; other inputs are converted into the
    engine's 8-bit BGR in one pass. The GIL is released while converting and
    counting.

    Raises:
        ValueError: bad settings (the command line's message), or a bad shape.
        TypeError: an array of another dtype.
    """
    array = np.asarray(image)
    return Result(_autocount.count(array, _settings_json(settings), channel_order))


def count_file(path: PathLike, **settings: Any) -> Result:
    """Reads an image file as the ``autocount`` command does and counts it.

    PNG, JPEG, TIFF, BMP: 8 or 16 bits, grey, colour, with or without alpha.
    The settings are those of ``count``. The GIL is released while reading
    and counting.

    Raises:
        OSError: the file cannot be read (missing, unreadable, not an image).
        ValueError: bad settings, with the command line's message.
    """
    return Result(_autocount.count_file(os.fspath(path), _settings_json(settings)))
