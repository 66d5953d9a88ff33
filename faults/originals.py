"""Small files with what the library does to files that live for long."""

import numpy as np
from tarvik import File, constants, ops

_RECORDS = 40


def make(folder):
    """Make them in a folder; give their paths."""
    paths = [folder / f"own_{name}.cdf" for name in _FILES]
    for path, (options, finish) in zip(paths, _FILES.values()):
        path.unlink(missing_ok=True)
        with File(path, "w", atomic=False, **options) as file:
            _fill(file)
        if finish:
            with ops.open(path) as file:
                finish(file)
    return paths


def _fill(file):
    numbers = np.arange(_RECORDS * 6, dtype="f8").reshape(_RECORDS, 2, 3)
    file.attrs["title"] = "made for trials"
    file.attrs["parts"] = ["one", "two", "three"]
    for name, settings in {
        "plain": {"blocking_factor": 8},
        "gzip": {"compression": "gzip:6", "blocking_factor": 10},
        "rle": {"compression": "rle", "blocking_factor": 10},
        "sparse": {"sparse": "pad"},
        "previous": {"sparse": "previous", "compression": "gzip:6"},
    }.items():
        attributes = {"units": "nT", "FILLVAL": -1e31, "labels": [1, 2, 3]}
        variable = file.create_variable(
            name, datatype="CDF_REAL8", shape=(0, 2, 3), attrs=attributes, **settings
        )
        step = 5 if variable.sparse else 1
        for record in range(0, _RECORDS, step):
            variable[record] = numbers[record]
    file["text"] = np.array(["some", "words"] * 10)
    file.create_variable("fixed", np.arange(4, dtype="i4"), record_vary=False)


def _delete_records(file):
    ops.deleteVarRecords(file, 0, 10, 29)
    ops.deleteVarRecords(file, 3, 5, 20)


def _delete_and_make_again(file):
    """Leave free room of several sizes between records, and fill a part of it."""
    ops.deleteVar(file, 0)
    ops.deleteAttr(file, 0)
    ops.deleteAttrgEntry(file, 0, 1)
    number = ops.createVar(file, "again", constants.CDF_REAL8, 1, [], True, [])
    for record in range(20):
        ops.putVarData(file, number, record, [], float(record))


_FILES = {
    "plain": ({}, None),
    "columns": ({"majority": "column"}, None),
    "gzip": ({"compression": "gzip:6"}, None),
    "rle": ({"compression": "rle"}, None),
    "checksum": ({"checksum": "md5"}, None),
    "records_deleted": ({}, _delete_records),
    "reallocated": ({}, _delete_and_make_again),
    "reallocated_gzip": ({"compression": "gzip:6"}, _delete_and_make_again),
}
