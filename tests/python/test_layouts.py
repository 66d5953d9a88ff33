"""What the gateway writes others read as it was meant, and it reads what others write.

Extents that all differ and values without a pattern show what lies in the wrong place. Content maps
names to datatypes and values, which lie as the others have them: records first, then the dimensions
in the file's order, then the halves of CDF_EPOCH16.
"""

from datetime import datetime
from itertools import product

import numpy as np
import pytest
from tarvik import constants as c
from tarvik import ops
from tarvik.datatypes import datatype_named

RNG = np.random.default_rng(20200131)
TEXT = [c.CDF_CHAR, c.CDF_UCHAR]
DTYPES = {
    **dict.fromkeys(TEXT, "S1"),
    **dict.fromkeys([c.CDF_INT1, c.CDF_BYTE], "i1"),
    **dict.fromkeys([c.CDF_REAL4, c.CDF_FLOAT], "f4"),
    **dict.fromkeys([c.CDF_REAL8, c.CDF_DOUBLE, c.CDF_EPOCH, c.CDF_EPOCH16], "f8"),
    c.CDF_INT2: "i2",
    c.CDF_INT4: "i4",
    c.CDF_UINT1: "u1",
    c.CDF_UINT2: "u2",
    c.CDF_UINT4: "u4",
}
BOTH_MAJORITIES = pytest.mark.parametrize("majority", c.Majority, ids=lambda m: m.name)


def random_values(datatype, shape, length=1):
    dtype = np.dtype(DTYPES[datatype])
    shape = (*shape, 2) if datatype == c.CDF_EPOCH16 else shape
    if datatype in TEXT:
        return RNG.integers(1, 256, (*shape, length), "u1").view(f"S{length}")[..., 0]
    if dtype.kind == "f":
        return RNG.normal(0, 1e6, shape).astype(dtype)
    return RNG.integers(np.iinfo(dtype).min, np.iinfo(dtype).max, shape, dtype, endpoint=True)


KINDS = [(t, 1) for t in DTYPES] + [(t, 3) for t in TEXT]
LAYOUTS = {
    f"{t.name}_{length}_{rank}": (t, random_values(t, (3, 2, 3, 4, 5)[: 1 + rank], length))
    for (t, length), rank in product(KINDS, range(5))
}


def form_of(datatype, values):
    """The string length and the extents, in the file's order."""
    extents = values.shape[1:-1] if datatype == c.CDF_EPOCH16 else values.shape[1:]
    return values.itemsize if datatype in TEXT else 1, extents


def turned(cells, first, rank, majority):
    """Swap what is before the dimensions with what is behind: from others to us, or back."""
    axes = list(range(cells.ndim))
    dims = axes[first : first + rank][:: -1 if majority == c.ROW_MAJOR else 1]
    return cells.transpose(*axes[first + rank :], *dims, *axes[:first])


def regions(way, shape):
    """The inputs that name a region of dimensions and records, and its place in the array."""
    if way == "value":
        for *indices, record in np.ndindex(*shape):
            yield (record, indices), (..., *indices, record)
    elif way == "record":
        for record in range(shape[-1]):
            yield (record,), (..., record)
    else:
        # Interleaved blocks that together cover the whole.
        steps = [*(2, 3, 1, 2)[: len(shape) - 1], 2] if way == "strides" else [1] * len(shape)
        for start in product(*map(range, steps)):
            counts = [-(-(size - at) // by) for size, at, by in zip(shape, start, steps)]
            if all(counts):
                inputs = (start[-1], counts[-1], steps[-1], start[:-1], counts[:-1], steps[:-1])
                yield inputs, (..., *(slice(at, None, by) for at, by in zip(start, steps)))


PUT = {"value": ops.putVarData, "record": ops.putVarRecordData}
GET = {"value": ops.getVarData, "record": ops.getVarRecordData}


def write_with_gateway(
    path, majority, content, way="hyperslab", prepare=lambda *_: None, records=None
):
    put = PUT.get(way, ops.hyperPutVarData)
    with ops.create(path) as file:
        ops.setMajority(file, majority)
        for name, (datatype, values) in content.items():
            length, extents = form_of(datatype, values)
            if datatype in TEXT:
                values = np.ascontiguousarray(values[..., None]).view("S1")
            cells = turned(values, 1, len(extents), majority)
            shape = cells.shape[-1 - len(extents) :]
            variances = [True] * len(extents)
            variable = ops.createVar(file, name, datatype, length, shape[:-1], True, variances)
            prepare(file, variable)
            for inputs, part in regions(way, shape):
                if records is None or inputs[0] in records:
                    put(file, variable, *inputs, cells[part])


def code_and_dtype(name):
    datatype = datatype_named(name)
    return datatype.code, "f8" if datatype.stored.kind == "c" else datatype.stored


def read_variable(file, variable, way="hyperslab"):
    get = GET.get(way, ops.hyperGetVarData)
    facts = ops.inquireVar(file, variable)
    datatype, dtype = code_and_dtype(facts.datatype)
    lead = {c.CDF_EPOCH16: (2,), **dict.fromkeys(TEXT, (int(facts.numElements),))}.get(datatype, ())
    records = int(ops.getVarMaxWrittenRecNum(file, variable)) + 1
    shape = (*np.ravel(facts.dimSizes).astype(int), records)
    cells = np.zeros(lead + shape, dtype)
    for inputs, part in regions(way, shape):
        result = get(file, variable, *inputs)
        if isinstance(result, str):
            result = np.frombuffer(result.encode(errors="surrogateescape"), "S1")
        result, place = np.asarray(result), cells[part]
        assert (result.dtype, np.squeeze(result).shape) == (place.dtype, np.squeeze(place).shape)
        place[...] = result.reshape(place.shape)
    majority = c.Majority[ops.getMajority(file)]
    values = np.ascontiguousarray(turned(cells, len(lead), len(shape) - 1, majority))
    return datatype, values.view(f"S{lead[0]}")[..., 0] if datatype in TEXT else values


def read_with_gateway(path, way="hyperslab"):
    with ops.open(path) as file:
        variables = range(int(ops.inquire(file).numVariables))
        return {ops.getVarName(file, v): read_variable(file, v, way) for v in variables}


def plain(values, has_records=True):
    """Make the same of the forms in which readers give text, times and a variable's only record."""
    values = np.ascontiguousarray(values if has_records else np.array(values)[None])
    if values.dtype.kind == "U":
        values = np.char.encode(values, "latin-1")
    elif values.dtype.kind == "c" or values.dtype.names:
        halves = values[..., None].view(values.dtype[0] if values.dtype.names else "f8")
        values = halves[..., 0] if halves.shape[-1] == 1 else halves
    return values.astype(values.dtype.newbyteorder("="))


def read_with_cdflib(path):
    file = pytest.importorskip("cdflib").CDF(path, string_encoding="latin-1")
    facts = map(file.varinq, file.cdf_info().zVariables + file.cdf_info().rVariables)
    return {f.Variable: (f.Data_Type, plain(file.varget(f.Variable), f.Rec_Vary)) for f in facts}


def read_with_pycdfpp(path):
    file = pytest.importorskip("pycdfpp").load(str(path), iso_8859_1_to_utf8=False)
    return {name: (v.type.value, plain(v.values)) for name, v in file.items()}


def read_with_spacepy(path):
    with pytest.importorskip("spacepy.pycdf").CDF(str(path)) as file:
        variables = {name: file.raw_var(name) for name in file}
        return {name: (v.type(), plain(v[...], v.rv())) for name, v in variables.items()}


def write_with_pycdfpp(path, majority, content):
    pycdfpp = pytest.importorskip("pycdfpp")
    file = pycdfpp.CDF()
    file.majority = pycdfpp.Majority.row if majority == c.ROW_MAJOR else pycdfpp.Majority.column
    for name, (datatype, values) in content.items():
        file.add_variable(name, values, pycdfpp.DataType(int(datatype)))
    assert pycdfpp.save(file, str(path))


def write_with_spacepy(path, majority, content):
    with pytest.importorskip("spacepy.pycdf").CDF(str(path), "") as file:
        file.col_major(majority == c.COLUMN_MAJOR)
        for name, (datatype, values) in content.items():
            length, dims = form_of(datatype, values)
            # Of an enumeration it would pass an int, where the library reads a long.
            file.new(name, type=int(datatype), n_elements=length, dims=dims, recVary=True)
            file.raw_var(name)[...] = values


def assert_same(found, expected):
    assert found.keys() == expected.keys()
    for name, (datatype, values) in expected.items():
        assert found[name][0] == datatype, name
        np.testing.assert_array_equal(found[name][1], values, name, strict=True)


WAYS = ["value", "record", "hyperslab", "strides"]
READERS = {"cdflib": read_with_cdflib, "pycdfpp": read_with_pycdfpp, "spacepy": read_with_spacepy}


@BOTH_MAJORITIES
@pytest.mark.parametrize("way", WAYS)
@pytest.mark.parametrize("reader", ["gateway", *READERS])
def test_others_read_what_the_gateway_writes(reader, way, majority, tmp_path):
    path = tmp_path / "x.cdf"
    write_with_gateway(path, majority, LAYOUTS, way)
    read = READERS.get(reader, lambda path: read_with_gateway(path, way))
    assert_same(read(path), LAYOUTS)


@BOTH_MAJORITIES
@pytest.mark.parametrize("way", WAYS)
@pytest.mark.parametrize("write", [write_with_pycdfpp, write_with_spacepy])
def test_the_gateway_reads_what_others_write(write, way, majority, tmp_path):
    path = tmp_path / "x.cdf"
    content = LAYOUTS
    if write == write_with_pycdfpp:  # takes times as dates alone
        content = {k: v for k, v in content.items() if "EPOCH" not in k}
    write(path, majority, content)
    assert_same(read_with_gateway(path, way), content)


METHODS = [(c.RLE_COMPRESSION, 0), (c.HUFF_COMPRESSION, 0), (c.AHUFF_COMPRESSION, 0)]
METHODS += [(c.GZIP_COMPRESSION, level) for level in range(1, 10)]


@pytest.mark.parametrize("whole", [False, True], ids=["variable", "file"])
@pytest.mark.parametrize(("method", "level"), METHODS)
def test_compression(method, level, whole, tmp_path):
    path = tmp_path / "x.cdf"
    values = random_values(c.CDF_INT4, (500, 2, 3))
    values[np.arange(500) % 7 > 0] = 0
    content = {"V": (c.CDF_INT4, values)}

    def prepare(file, variable):
        setting = ("setCompression", file) if whole else ("setVarCompression", file, variable)
        ops.call(*setting, method, level)

    write_with_gateway(path, c.ROW_MAJOR, content, prepare=prepare)
    assert path.stat().st_size < values.nbytes
    # The library alone knows Huffman; cdflib takes any compressed variable for gzip.
    assert_same(read_with_gateway(path), content)
    assert_same(read_with_spacepy(path), content)
    if method not in (c.HUFF_COMPRESSION, c.AHUFF_COMPRESSION):
        assert_same(read_with_pycdfpp(path), content)
    if method == c.GZIP_COMPRESSION or (whole and method == c.RLE_COMPRESSION):
        assert_same(read_with_cdflib(path), content)
    with pytest.importorskip("spacepy.pycdf").CDF(str(path)) as file:
        found, parameter = (file if whole else file["V"]).compress()
        assert (found.value, getattr(parameter, "value", parameter)) == (method, level)


@BOTH_MAJORITIES
@pytest.mark.parametrize("kind", [c.PAD_SPARSERECORDS, c.PREV_SPARSERECORDS], ids=lambda k: k.name)
def test_sparse_records(kind, majority, tmp_path):
    path = tmp_path / "x.cdf"
    written = [1, 2, 5, 8]
    values = random_values(c.CDF_INT4, (9, 2, 3))
    for record in sorted(set(range(9)) - set(written)):
        values[record] = -7 if kind == c.PAD_SPARSERECORDS or record == 0 else values[record - 1]
    content = {"V": (c.CDF_INT4, values)}

    def prepare(file, variable):
        ops.setVarSparseRecords(file, variable, kind)
        ops.setVarPadValue(file, variable, np.int32(-7))

    write_with_gateway(path, majority, content, "record", prepare, written)
    for way in WAYS:
        assert_same(read_with_gateway(path, way), content)
    # Not cdflib, which puts zeros among the pad values.
    assert_same(read_with_pycdfpp(path), content)
    with pytest.warns(UserWarning, match="VIRTUAL_RECORD_DATA"):
        assert_same(read_with_spacepy(path), content)


def test_times(tmp_path):
    path = tmp_path / "x.cdf"
    dates = [datetime(1969, 12, 31, 23, 59, 59, 999000), datetime(2020, 2, 29, 12, 30, 15, 250000)]
    parts = np.array([(*d.timetuple()[:6], d.microsecond / 1000, 0, 0, 0) for d in dates]).T
    epoch, epoch16 = ops.computeEpoch(parts[:7]), ops.computeEpoch16(parts)
    content = {"Epoch": (c.CDF_EPOCH, epoch[0]), "Epoch16": (c.CDF_EPOCH16, epoch16.T)}
    write_with_gateway(path, c.ROW_MAJOR, content)
    with pytest.importorskip("spacepy.pycdf").CDF(str(path)) as file:
        assert [list(file[name]) for name in content] == [dates, dates]
