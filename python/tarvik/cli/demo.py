"""`tarvik demo`: makes two small files, reads them back and shows them."""

import os
import sys
import tempfile

import numpy as np

from tarvik import File
from tarvik.cli.errors import ImpossibleError, about
from tarvik.cli.show import show_files

_MAJORITIES = {"demo_row_major.cdf": "row", "demo_column_major.cdf": "column"}
_RECORDS = 12

_TEXTS = {
    "TITLE": "A small file made by tarvik",
    "TEXT": ["Every value went through the gateway", "and came back the same: µ, ä, 磁場"],
}


def _variables():
    """Name, datatype, values with the records first, whether these vary, attributes."""
    minutes = np.arange(_RECORDS) * np.timedelta64(1, "m")
    times = np.datetime64("2024-01-01", "ns") + minutes
    phase = 2 * np.pi * np.arange(_RECORDS) / _RECORDS
    field = np.array([5 * np.cos(phase), 5 * np.sin(phase), np.ones(_RECORDS)], "f4").T
    counts = np.arange(_RECORDS * 3 * 4, dtype="u2").reshape((_RECORDS, 3, 4))
    energies = np.array([0.5, 1, 2, 4])
    labels = np.array(["B_x", "B_y", "B_z"])
    exact = {"CATDESC": "the same to the picosecond"}
    along_field = {"UNITS": "nT", "DEPEND_0": "Epoch", "LABL_PTR_1": "label"}
    along_counts = {"DEPEND_0": "Epoch", "DEPEND_2": "energy"}
    return [
        ("Epoch", "CDF_EPOCH", times, True, {"UNITS": "ms"}),
        ("Epoch_exact", "CDF_EPOCH16", times, True, exact),
        ("B", "CDF_REAL4", field, True, along_field),
        ("counts", "CDF_UINT2", counts, True, along_counts),
        ("energy", "CDF_DOUBLE", energies, False, {"UNITS": "keV"}),
        ("label", "CDF_CHAR", labels, False, {"CATDESC": "the components of B"}),
    ]


def _write(path, majority):
    with File(path, "x", majority=majority) as file:
        file.attrs.update(_TEXTS)
        for name, datatype, values, varies, texts in _variables():
            file.create_variable(name, values, datatype=datatype, record_vary=varies, attrs=texts)


def _compare(path):
    """Return how many values and texts were read back; raise for one that differs."""
    compared = 0
    with File(path) as file:
        for name, _, values, _, texts in _variables():
            if not np.array_equal(file[name][...], values):
                raise ImpossibleError(f"{name} came back changed")
            if dict(file[name].attrs) != texts:
                raise ImpossibleError(f"the attributes of {name} came back changed")
            compared += values.size + len(texts)
        if dict(file.attrs) != _TEXTS:
            raise ImpossibleError("the attributes of the file came back changed")
    return compared


def make_and_show(folder, names, as_json):
    """Make the files, compare what comes back, show it.

    Parameters
    ----------
    folder : str or None
        Where the files stay; None for nowhere.
    names, as_json
        As for `show_files`.

    Returns
    -------
    int
        The exit code.
    """
    with tempfile.TemporaryDirectory() as temporary:
        paths = [os.path.join(folder or temporary, name) for name in _MAJORITIES]
        for path, majority in zip(paths, _MAJORITIES.values()):
            with about(path):
                _write(path, majority)
                compared = _compare(path)
            print(f"{path}: wrote and read back {compared} values, all equal", file=sys.stderr)
        return show_files(paths, names, as_json)
