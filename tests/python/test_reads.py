"""Reads of every kind of records against a model of what was written.

With the extended plug-in, which can transfer records that are both sparse and compressed.
"""

import itertools
import random

import numpy as np
import pytest
from tarvik import constants
from tarvik import ops as ops

PAD = -5
SPARSE = [constants.NO_SPARSERECORDS, constants.PAD_SPARSERECORDS, constants.PREV_SPARSERECORDS]
COMPRESSIONS = [
    (constants.NO_COMPRESSION,),
    (constants.RLE_COMPRESSION,),
    (constants.HUFF_COMPRESSION,),
    (constants.AHUFF_COMPRESSION,),
    (constants.GZIP_COMPRESSION, 6),
]
KINDS = [(True, *kind) for kind in itertools.product(SPARSE, COMPRESSIONS)]


class Model:
    """One variable of a file, and the records that were written to it."""

    def __init__(self, file, majority, kind, rng):
        self.varies, self.sparse, compression = kind
        self.extents = rng.choice([(), (3,), (4, 3, 2), (30, 50)])
        variances = [rng.random() < 0.8 for _ in self.extents]
        self.stored = [n if varies else 1 for n, varies in zip(self.extents, variances)]
        ops.setMajority(file, majority)
        self.number = ops.createVar(
            file, "v", constants.CDF_INT4, 1, list(self.extents), self.varies, variances
        )
        if self.varies:
            ops.setVarSparseRecords(file, self.number, self.sparse)
            ops.setVarCompression(file, self.number, *compression)
        ops.setVarPadValue(file, self.number, np.int32(PAD))
        self.records = {}
        for record in rng.sample(range(30), 5) if self.varies else [0]:
            self.write(file, record)

    def write(self, file, record):
        dims = len(self.stored)
        values = np.random.default_rng(record).integers(0, 1000, self.stored).astype(np.int32)
        place = [0] * dims, self.stored, [1] * dims
        ops.hyperPutVarData(file, self.number, record, 1, 1, *place, np.asfortranarray(values))
        self.records[record] = values

    def record(self, number):
        number = number if self.varies else 0
        before = [record for record in self.records if record < number]
        values = PAD
        if number in self.records:
            values = self.records[number]
        elif self.sparse == constants.PREV_SPARSERECORDS and before:
            values = self.records[max(before)]
        return np.broadcast_to(values, self.extents)


def random_slab(rng, extents):
    indices = [rng.randrange(n) for n in extents]
    counts = [rng.randint(1, n - i) for n, i in zip(extents, indices)]
    steps = [rng.randint(1, max(1, (n - i) // c)) for n, i, c in zip(extents, indices, counts)]
    return indices, counts, steps


@pytest.mark.parametrize("kind", [*KINDS, (False, SPARSE[0], COMPRESSIONS[0])])
@pytest.mark.parametrize("majority", [constants.ROW_MAJOR, constants.COLUMN_MAJOR])
def test_reads_against_a_model(tmp_path, majority, kind):
    rng = random.Random(f"{majority} {kind}")
    for name in ("written", "opened again"):
        file = ops.create(tmp_path / f"{name}.cdf")
        model = Model(file, majority, kind, rng)
        if name == "opened again":
            ops.close(file)
            file = ops.open(tmp_path / f"{name}.cdf")
        for _ in range(12):
            first, count, step = rng.randint(0, 33), rng.randint(1, 4), rng.randint(1, 4)
            step = step if model.varies else 1  # the only one that the library can read
            slab = indices, counts, steps = random_slab(rng, model.extents)
            got = ops.hyperGetVarData(file, model.number, first, count, step, *slab)
            got = np.reshape(got, (*counts, count), order="F")
            part = tuple(slice(i, i + c * s, s) for i, c, s in zip(indices, counts, steps))
            wanted = [model.record(first + i * step)[part] for i in range(count)]
            np.testing.assert_array_equal(got, np.stack(wanted, axis=-1))
            value = ops.getVarData(file, model.number, first, indices)
            assert value == model.record(first)[tuple(indices)]
            if model.stored == list(model.extents):
                read = ops.getVarRecordData(file, model.number, first)
                read = np.reshape(read, model.extents, order="F")
                np.testing.assert_array_equal(read, model.record(first))
        ops.close(file)


@pytest.mark.parametrize("extents", [[4], [300], [4, 3]])
@pytest.mark.parametrize("sparse", SPARSE[1:])
@pytest.mark.parametrize("majority", [constants.ROW_MAJOR, constants.COLUMN_MAJOR])
def test_parts_of_compressed_sparse_records_are_written_as_of_others(
    tmp_path, majority, sparse, extents
):
    file = ops.create(tmp_path / "new.cdf")
    ops.setMajority(file, majority)
    size, ones = int(np.prod(extents)), [1] * len(extents)
    variables = [
        ops.createVar(file, name, constants.CDF_REAL8, 1, extents, True, [True] * len(ones))
        for name in ("compressed", "plain")
    ]
    ops.setVarCompression(file, variables[0], constants.GZIP_COMPRESSION, 6)
    for variable in variables:
        ops.setVarSparseRecords(file, variable, sparse)
        ops.putVarRecordData(file, variable, 3, np.arange(float(size)))
        ops.putVarRecordData(file, variable, 20, -np.arange(float(size)))
        part = (ones, [2, *ones[1:]], ones)
        ops.hyperPutVarData(file, variable, 6, 10, 2, *part, np.arange(20.0))
        ops.hyperPutVarData(file, variable, 2, 2, 1, *part, np.arange(4.0))
    compressed, plain = (
        np.array([ops.getVarRecordData(file, variable, record) for record in range(25)])
        for variable in variables
    )
    assert np.array_equal(compressed, plain)
    ops.close(file)
