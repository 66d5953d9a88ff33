"""`tarvik demo`: makes two small files through the gateway, reads them back and shows them."""

import os
import sys
import tempfile

import numpy as np

from tarvik import CDFError, constants
from tarvik.cli.show import show_files
from tarvik.ops import call

_MAJORITIES = {
    "demo_row_major.cdf": constants.ROW_MAJOR,
    "demo_column_major.cdf": constants.COLUMN_MAJOR,
}
_RECORDS = 12
_MINUTE = 60_000.0  # in milliseconds

_TEXTS = {
    "TITLE": ["A small file made by tarvik"],
    "TEXT": ["Every value went through the gateway", "and came back the same: µ, ä, 磁場"],
}


def _variables():
    """Name, datatype, dimensions, values with the records last, attributes."""
    start = call("computeEpoch", [2024, 1, 1, 0, 0, 0, 0])
    times = start + _MINUTE * np.arange(_RECORDS)
    phase = 2 * np.pi * np.arange(_RECORDS) / _RECORDS
    field = np.array([5 * np.cos(phase), 5 * np.sin(phase), np.ones(_RECORDS)], "f4")
    counts = np.arange(4 * 3 * _RECORDS, dtype="u2").reshape((4, 3, _RECORDS), order="F")
    energies = np.array([[0.5], [1.0], [2.0], [4.0]])
    exact = np.array([times / 1000, 1e6 * np.arange(_RECORDS)])
    labels = np.array([list(label) for label in ("B_x", "B_y", "B_z")], "S1").T[..., None]
    return [
        ("Epoch", constants.CDF_EPOCH, [], times, {"UNITS": "ms"}),
        (
            "Epoch_exact",
            constants.CDF_EPOCH16,
            [],
            exact,
            {"CATDESC": "the same to the microsecond"},
        ),
        (
            "B",
            constants.CDF_REAL4,
            [3],
            field,
            {"UNITS": "nT", "DEPEND_0": "Epoch", "LABL_PTR_1": "label"},
        ),
        (
            "counts",
            constants.CDF_UINT2,
            [4, 3],
            counts,
            {"DEPEND_0": "Epoch", "DEPEND_1": "energy"},
        ),
        ("energy", constants.CDF_DOUBLE, [4], energies, {"UNITS": "keV"}),
        ("label", constants.CDF_CHAR, [3], labels, {"CATDESC": "the components of B"}),
    ]


def _write(path, majority):
    with call("create", path) as file:
        call("setMajority", file, majority)
        for name, texts in _TEXTS.items():
            attribute = call("createAttr", file, name, constants.GLOBAL_SCOPE)
            for entry, text in enumerate(texts):
                call("putAttrgEntry", file, attribute, entry, constants.CDF_CHAR, text)
        attributes = {}
        for name, datatype, dimensions, values, texts in _variables():
            number = _create(file, name, datatype, dimensions, values)
            call("hyperPutVarData", file, number, *_all(dimensions, values), values)
            for title, text in texts.items():
                if title not in attributes:
                    attributes[title] = call("createAttr", file, title, constants.VARIABLE_SCOPE)
                call("putAttrEntry", file, attributes[title], number, constants.CDF_CHAR, text)


def _create(file, name, datatype, dimensions, values):
    length = values.shape[0] if datatype == constants.CDF_CHAR else 1
    records_vary = values.shape[-1] > 1
    dimensions_vary = [True] * len(dimensions)
    return call(
        "createVar", file, name, datatype, length, dimensions, records_vary, dimensions_vary
    )


def _all(dimensions, values):
    """Start, count and interval of the records, then of the dimensions: everything."""
    zeros, ones = [0] * len(dimensions), [1] * len(dimensions)
    return 0, values.shape[-1], 1, zeros, dimensions, ones


def _compare(path):
    """Return how many values and texts were read back; raise ValueError for one that differs."""
    compared = 0
    with call("open", path) as file:
        for name, _, dimensions, values, texts in _variables():
            number = call("getVarNum", file, name)
            found = call("hyperGetVarData", file, number, *_all(dimensions, values))
            if not np.array_equal(found.reshape(values.shape, order="F"), values):
                raise ValueError(f"{name} came back changed")
            compared += values.size
            for title, text in texts.items():
                if call("getAttrEntry", file, call("getAttrNum", file, title), number) != text:
                    raise ValueError(f"{title} of {name} came back changed")
            compared += len(texts)
    return compared


def make_and_show(folder, names, as_json, complain):
    """Make the files, compare what comes back, show it.

    Parameters
    ----------
    folder : str or None
        Where the files stay; None for nowhere.
    names, as_json, complain
        As for `show_files`.

    Returns
    -------
    int
        The exit code.
    """
    with tempfile.TemporaryDirectory() as temporary:
        paths = [os.path.join(folder or temporary, name) for name in _MAJORITIES]
        for path, majority in zip(paths, _MAJORITIES.values()):
            try:
                _write(path, majority)
                compared = _compare(path)
            except (CDFError, OSError, ValueError) as error:
                return complain(path, error)
            print(f"{path}: wrote and read back {compared} values, all equal", file=sys.stderr)
        return show_files(paths, names, as_json, complain)
