"""What the host makes of Python values, and Python of the host's arrays."""

import array
import decimal
import gc
import pathlib

import numpy as np
import pytest
import tarvik
from tarvik import constants

F_ORDER = np.zeros((2, 3), "i2", order="F")
MASKED = np.ma.masked_array([1.0, 2.0], [0, 1])

# An input, its class and dimensions, and what comes back when the plug-in returns it as it is.
INPUTS = [
    (1, "double", (1, 1), 1.0),
    (2**53, "double", (1, 1), 2.0**53),
    (2**60, "double", (1, 1), 2.0**60),
    (-0.5, "double", (1, 1), -0.5),
    (constants.CDF_INT4, "double", (1, 1), 4.0),
    (True, "logical", (1, 1), True),
    (np.bool_(False), "logical", (1, 1), False),
    ([True, False], "logical", (2, 1), np.array([[True], [False]])),
    ([1, 2.5, 3], "double", (3, 1), np.array([[1.0], [2.5], [3.0]])),
    ((4,), "double", (1, 1), 4.0),
    ([[1, 2, 3], [4, 5, 6]], "double", (2, 3), np.array([[1.0, 2, 3], [4, 5, 6]])),
    ([True, 2], "double", (2, 1), np.array([[1.0], [2]])),
    ([np.int8(3), np.float32(0.5)], "double", (2, 1), np.array([[3.0], [0.5]])),
    ([2**64], "double", (1, 1), 2.0**64),
    (range(2), "double", (2, 1), np.array([[0.0], [1]])),
    ([], "double", (0, 0), np.empty((0, 0))),
    ([[]], "double", (1, 0), np.empty((1, 0))),
    ("", "char", (1, 0), ""),
    ("aé ", "char", (1, 4), "aé "),
    ("\udce9x", "char", (1, 2), "\udce9x"),
    (b"a\0\xe9", "char", (1, 3), "a\0\udce9"),
    (bytearray(b"ab"), "char", (1, 2), "ab"),
    (np.str_("ab"), "char", (1, 2), "ab"),
    (pathlib.Path("/x/é"), "char", (1, 5), "/x/é"),
    (np.array([b"ab", b"cde"]), "char", (3, 2), np.array([["a", "c"], ["b", "d"], ["", "e"]], "S")),
    (np.array(["ä", "a"]), "char", (2, 2), np.array([[b"\xc3", b"a"], [b"\xa4", b" "]])),
    (["ab", "c"], "char", (2, 2), np.array([["a", "c"], ["b", " "]], "S")),
    (np.array([["ab"], ["cd"]]).T, "char", (2, 1, 2), np.array([[["a", "c"]], [["b", "d"]]], "S")),
    (np.int32(5), "int32", (1, 1), np.int32(5)),
    (np.float64(5), "double", (1, 1), 5.0),
    (np.array(7, "u1"), "uint8", (1, 1), np.uint8(7)),
    (np.arange(3, dtype="u8"), "uint64", (3, 1), np.arange(3, dtype="u8")[:, None]),
    (np.array([[1, 2], [3, 4]], ">i4"), "int32", (2, 2), np.array([[1, 2], [3, 4]], "i4")),
    (np.arange(6.0)[::2], "double", (3, 1), np.array([[0.0], [2], [4]])),
    (np.frombuffer(b"\0" * 5, "f4", 1, 1), "single", (1, 1), np.float32(0)),
    (np.zeros((2, 0, 3), "i8"), "int64", (2, 0, 3), np.zeros((2, 0, 3), "i8")),
    (np.ones((1, 2, 1), "i1"), "int8", (1, 2, 1), np.ones((1, 2, 1), "i1")),
    (np.ones((1, 4), bool), "logical", (1, 4), np.ones((1, 4), bool)),
    (array.array("H", [1, 2]), "uint16", (2, 1), np.array([[1], [2]], "u2")),
    (np.ma.masked_array([1.0, 2.0]), "double", (2, 1), np.array([[1.0], [2.0]])),
]

REFUSED = [
    (None, TypeError, "type NoneType"),
    ({}, TypeError, "type dict"),
    (decimal.Decimal(1), TypeError, "type Decimal"),
    (1j, TypeError, "dtype complex128"),
    (np.zeros(2, "M8[s]"), TypeError, "dtype datetime64"),
    (np.float16(1), TypeError, "dtype float16"),
    (np.longdouble(1), TypeError, "dtype float128"),
    (np.array([None]), TypeError, "dtype object"),
    (np.zeros(1, "i4,f8"), TypeError, "dtype"),
    (MASKED, TypeError, "masked"),
    ([1, None], TypeError, "type NoneType"),
    ([1, "a"], TypeError, "type str"),
    ([1j], TypeError, "dtype complex128"),
    ([[1], [1, 2]], ValueError, "different lengths"),
    (2**53 + 1, ValueError, "9007199254740993"),
    ([1, -(2**53) - 1], ValueError, "-9007199254740993"),
    (10**400, OverflowError, "beyond double"),
    ([10**400], OverflowError, "beyond double"),
]


def described(value):
    return [f"{type(item).__name__} {item!r}"[:60] for item in (row[0] for row in value)]


def same(found, expected):
    if isinstance(expected, (np.ndarray, np.generic)):
        right_type = type(found) is type(expected) and found.dtype == expected.dtype
        return right_type and np.array_equal(found, expected) and found.shape == expected.shape
    return type(found) is type(expected) and found == expected


@pytest.mark.parametrize(("value", "name", "dims", "returned"), INPUTS, ids=described(INPUTS))
def test_inputs_and_outputs(either_probe, value, name, dims, returned):
    found_name, found_dims, _ = either_probe.call("describe", value)
    assert found_name == name
    assert tuple(np.ravel(found_dims)) == dims
    assert same(either_probe.call("echo", value), returned)


@pytest.mark.parametrize(("value", "kind", "words"), REFUSED, ids=described(REFUSED))
def test_refused_inputs(either_probe, value, kind, words):
    with pytest.raises(kind) as caught:
        either_probe.call("describe", 1, value)
    assert not hasattr(caught.value, "identifier")
    assert "describe: input 2" in str(caught.value)
    assert words in str(caught.value)


@pytest.fixture(scope="module", params=["in_process", "isolated"])
def cube(request, tmp_path_factory):
    """A gateway, and a file with the variable 0 of 3 records of 2 x 4 numbers."""
    path = tmp_path_factory.mktemp(request.param) / "cube.cdf"
    isolated = request.param == "isolated"
    with tarvik.Gateway(isolated=isolated) as gateway, gateway.create(path) as file:
        # A constant, lists and a flag in NumPy's classes.
        dims, varies = np.array([2, 4], "u1"), np.array([-1, -1])
        gateway.createVar(file, "v", np.int16(4), 1, dims, np.bool_(True), varies)
        values = np.arange(24, dtype="i4")
        gateway.hyperPutVarData(file, 0, 0, 3, 1, np.zeros(2, "i8"), dims, [1, 1], values)
        yield gateway, file


NUMBERS = [np.int8, np.uint64, np.float16, np.float32, np.longdouble]
NUMBERS += [lambda number: np.array([number], ">i4"), lambda number: np.array(number, "f2")]
LISTS = [
    np.array([1, 3]),
    np.array([[1], [3]], "u1"),
    np.array([1, 0, 3], ">f4")[::2],
    [np.longdouble(1), np.int8(3)],
    np.ma.masked_array([1, 3]),
]


@pytest.mark.parametrize("indices", LISTS, ids=repr)
def test_numbers_may_be_of_any_class(cube, indices):
    gateway, file = cube
    for number in NUMBERS:
        for name in ("getVarData", b"getVarData"):
            assert gateway.call(name, file, number(0), number(2), indices) == 23


@pytest.mark.parametrize(
    ("record", "kind", "words"),
    [
        ("v", TypeError, "instead of char"),
        (True, TypeError, "instead of logical"),
        (np.ones((2, 2), int), ValueError, "length 4"),
        (np.float32("nan"), IndexError, "BAD_REC_NUM"),
        (np.uint64(2**63), ValueError, "9.22337e+18 is out of range"),
        (np.int64(2**53 + 1), ValueError, "getVarData: input 3: 9007199254740993"),
        (np.timedelta64(1), TypeError, "dtype timedelta64"),
        (np.ma.masked_array([1], [1]), TypeError, "masked"),
    ],
)
def test_what_is_no_number(cube, record, kind, words):
    gateway, file = cube
    with pytest.raises(kind) as caught:
        gateway.getVarData(file, 0, record, [1, 3])
    assert words in str(caught.value)


@pytest.mark.parametrize("value", [np.int64(1), np.ones(1, "i8"), np.ones(1, "f4")], ids=repr)
def test_values_keep_their_class(cube, value):
    gateway, file = cube
    with pytest.raises(TypeError, match="not compatible"):
        gateway.putVarData(file, 0, 0, [0, 0], value)


def address(array):
    return array.__array_interface__["data"][0]


@pytest.mark.parametrize(
    "value",
    [
        np.arange(3),
        np.asfortranarray(np.ones((3, 4), "f4")),
        np.ones((4, 3), "i2").T,
        np.frombuffer(b"read only.......", "f8"),
        np.ones((2, 2), bool, order="F"),
    ],
)
def test_what_lies_as_the_host_wants_is_not_copied(probe, value):
    assert probe.call("describe", value)[2] == address(value)


def test_outputs_own_the_memory_of_the_host(probe):
    first = probe.call("echo", F_ORDER)
    again, twice = probe.call("echo", F_ORDER, F_ORDER)
    assert len({address(first), address(again), address(twice)}) == 3
    for found in (first, again, twice):
        assert found.flags.f_contiguous
        assert found.flags.writeable
        assert not found.flags.owndata
        assert type(found.base).__name__ == "PyCapsule"
    first[:] = 9
    part = first[1:, :]
    del first
    gc.collect()
    probe.call("echo", F_ORDER)
    assert np.all(part == 9)


def test_outputs_of_other_forms(either_probe):
    assert either_probe.call("echo") is None
    assert either_probe.call("echo", 1, "a", True) == (1.0, "a", True)
    assert len(either_probe.call("echo", *range(8))) == 8
    number, text, values, unset = either_probe.call("cell", 1, "a", F_ORDER)
    assert (number, text, unset) == (1.0, "a", None)
    gc.collect()
    assert same(values, F_ORDER)


def test_characters_are_bytes_however_they_were_widened(either_probe):
    codes = np.array([[0xFFE9, 0xE9, 0x41, 0]], float)
    assert either_probe.call("characters", codes) == "\udce9\udce9A\0"
    column = either_probe.call("characters", codes.T)
    assert same(column, np.array([[b"\xe9"], [b"\xe9"], [b"A"], [b""]]))
