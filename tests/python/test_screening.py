"""Damaged files are refused before the library believes what they say of themselves."""

import contextlib
import gzip
import re
import shutil
import zlib
from pathlib import Path

import numpy as np
import pytest
import tarvik
from mutations import is_current, record_types
from tarvik import constants, ops

EXAMPLE = Path(__file__).parents[2] / "examples/data/ac_h2_sis_20101105_v06.cdf"
CRASHED = Path(__file__).parents[1] / "data"
HUGE = 0x7FFFFFFF
MARK_2_6 = b"\xcd\xf2\x60\2"  # of the first version that could compress files as a whole
ITSELF = object()

CDR, GDR, ADR, VXR, VVR, ZVDR, AZ_EDR, CCR, CPR, CVVR = 1, 2, 4, 6, 7, 8, 9, 10, 11, 13
UIR = 0xFFFFFFFF

# The type of a record, where a field of 4 bytes stands in it in files of versions 3 and 2, and what
# is put there; each made the bare library crash, run without end or take all memory.
DAMAGE = {
    "encoding": (CDR, 28, 20, 8),
    "number of variables": (GDR, 60, 40, HUGE),
    "number of attributes": (GDR, 48, 28, HUGE),
    "attribute's number": (ADR, 32, 20, HUGE),
    "number of global entries": (ADR, 36, 24, HUGE),
    "number of variables' entries": (ADR, 56, 40, HUGE),
    "next attribute": (ADR, 16, 8, ITSELF),
    "elements of an entry": (AZ_EDR, 32, 24, HUGE),
    "number of an entry": (AZ_EDR, 28, 20, HUGE),
    "next entry": (AZ_EDR, 16, 8, ITSELF),
    "next variable": (ZVDR, 16, 8, ITSELF),
    "elements of a value": (ZVDR, 64, 48, HUGE),
    "two elements of a number": (ZVDR, 64, 48, 2),
    "last index": (ZVDR, 40, 24, 8),
    "next index": (VXR, 16, 8, ITSELF),
    "entries used in an index": (VXR, 24, 16, 0x80000000),
    "no entry used in an index": (VXR, 24, 16, 0),
}

# In the file `gapped`: a type of record and which one of it is meant, where a field of 8 bytes
# stands in it, and what is put there: a number, or the type and number of the record that it leads
# to. With such damage edits by the bare library crash, run without end, or lose the file.
ROOM = {
    "list in the header": (GDR, 0, 64, (CDR, 0)),
    "list in a variable": (GDR, 0, 64, (ZVDR, 0)),
    "list in data": (GDR, 0, 64, (VVR, 1)),
    "list beyond the file": (GDR, 0, 64, 1 << 40),
    "next free room": (UIR, 0, 12, (UIR, 0)),
    "next free room in the header": (UIR, 0, 12, (CDR, 0)),
    "previous free room": (UIR, 1, 20, (GDR, 0)),
    "size of free room": (UIR, 0, 0, 1 << 33),
    "no size of free room": (UIR, 0, 0, 0),
    "free room over a record": (UIR, 0, 0, 600),
    "shared block": (VXR, 0, 84, (VVR, 1)),
    "end of the file": (GDR, 0, 36, 400),
    "parameters without compression": (ZVDR, 0, 72, (CDR, 0)),
    "compression without parameters": (ZVDR, 0, 44, 7 << 32),
    "compressed block without compression": (ZVDR, 2, 44, 3 << 32),
    "size of a block": (VVR, 0, 0, 1 << 35),
    "block over the next": (VVR, 1, 0, 8300),
}

# What the flags in the header of a file with a checksum are changed to, and whether it is refused.
# Taking the checksum off changes them to 3.
FLAGS = {0xF: False, 0x7: True, 0xB: True, 0xD: True, 0x13: True, 0x3: False}


@pytest.fixture(autouse=True)
def without_validation():
    """The library's own validation, which sees some of the damage, is off."""
    ops.setValidate(constants.VALIDATEFILEOFF)
    yield
    ops.setValidate(constants.VALIDATEFILEON)


@pytest.fixture
def current(tmp_path):
    """A file of version 3 with a variable that is compressed and entries of both kinds."""
    path = tmp_path / "current.cdf"
    with ops.create(path) as file:
        variable = ops.createVar(file, "a", constants.CDF_REAL8, 1, [], True, [])
        ops.setVarCompression(file, variable, constants.GZIP_COMPRESSION, 6)
        ops.hyperPutVarData(file, variable, 0, 5000, 1, [], [], [], np.arange(5000.0))
        other = ops.createVar(file, "b", constants.CDF_INT4, 1, [2], True, [True])
        for scope, number in ((constants.GLOBAL_SCOPE, 0), (constants.VARIABLE_SCOPE, other)):
            attribute = ops.createAttr(file, f"of {number}", scope)
            put = ops.putAttrEntry if number else ops.putAttrgEntry
            put(file, attribute, 0, constants.CDF_CHAR, "text")
    return path


@pytest.fixture
def earlier(tmp_path):
    """A file of version 2."""
    return Path(shutil.copy(EXAMPLE, tmp_path / "earlier.cdf"))


def damage(path, place, value, length=4):
    content = bytearray(path.read_bytes())
    content[place : place + length] = value.to_bytes(length, "big")
    path.write_bytes(content)


def run_lengths(data):
    return re.sub(rb"\0{1,256}", lambda zeros: bytes([0, len(zeros[0]) - 1]), data)


ENCODE = {constants.RLE_COMPRESSION: run_lengths, constants.GZIP_COMPRESSION: gzip.compress}
LEVELS = {constants.RLE_COMPRESSION: 0, constants.GZIP_COMPRESSION: 9}


def incomplete_codes(data):
    """Encode as gzip with literals only, in a block whose codes for distances are not complete."""
    # The last block, with 257 codes for literals, 2 for distances, and 16 for their lengths.
    bits = "101" + "00000" + "10000" + "0011"
    # Of these lengths 8 has the code 0, 2 has 10 and 9 has 11.
    bits += "".join({4: "100", 6: "010", 15: "010"}.get(place, "000") for place in range(16))
    bits += 255 * "0" + 2 * "11" + 2 * "10"
    codes = [f"{value:08b}" for value in range(255)] + ["111111110", "111111111"]
    bits += "".join(codes[value] for value in data) + codes[256]
    raw = int(bits[::-1], 2).to_bytes(-(-len(bits) // 8), "little")
    trailer = zlib.crc32(data).to_bytes(4, "little") + len(data).to_bytes(4, "little")
    return gzip.compress(b"")[:10] + raw + trailer


def compress(path, kind=constants.RLE_COMPRESSION, encode=None):
    """Encode a file as a whole, without a look at what it holds."""
    content = path.read_bytes()
    width = 8 if is_current(content) else 4
    stream = (encode or ENCODE[kind])(content[8:])
    size = 3 * width + 8 + len(stream)
    fields = [
        *((size, width), (CCR, 4), (8 + size, width), (len(content) - 8, width), (0, 4)),
        *((width + 20, width), (CPR, 4), (kind, 4), (0, 4), (1, 4), (LEVELS[kind], 4)),
    ]
    numbers = [value.to_bytes(length, "big") for value, length in fields]
    marks = (content[:4] if width == 8 else MARK_2_6) + b"\xcc\xcc\0\1"
    path.write_bytes(b"".join([marks, *numbers[:5], stream, *numbers[5:]]))


@pytest.mark.parametrize("compression", [None, *ENCODE], ids=["plain", "run lengths", "gzip"])
@pytest.mark.parametrize("what", DAMAGE)
@pytest.mark.parametrize("generation", ["current", "earlier"])
def test_damaged_descriptions_are_refused(generation, what, compression, request):
    path = request.getfixturevalue(generation)
    kind, *fields, value = DAMAGE[what]
    later = generation == "current"
    record = next(place for place, found in record_types(path.read_bytes()) if found == kind)
    damage(path, record + fields[not later], record if value is ITSELF else value)
    if compression:
        compress(path, compression)
    with pytest.raises(tarvik.CDFError, match=f"CORRUPTED_V{3 if later else 2}_CDF"):
        ops.open(path)


@pytest.fixture
def gapped(tmp_path):
    """A file with free room in several places, and a last variable that is compressed."""
    path = tmp_path / "gapped.cdf"
    with ops.create(path) as file:
        for name in "abcd":
            variable = ops.createVar(file, name, constants.CDF_REAL8, 1, [], True, [])
            if name == "d":
                ops.setVarCompression(file, variable, constants.GZIP_COMPRESSION, 6)
            ops.hyperPutVarData(file, variable, 0, 100, 1, [], [], [], np.arange(100.0))
        ops.deleteVar(file, 1)
    return path


@pytest.mark.parametrize("compression", [None, *ENCODE], ids=["plain", "run lengths", "gzip"])
@pytest.mark.parametrize("what", ROOM)
def test_free_room_and_blocks_that_overlap_are_refused(gapped, what, compression):
    ops.close(ops.open(gapped))
    found = list(record_types(gapped.read_bytes()))
    *record, field, value = ROOM[what]

    def place(kind, number):
        return [place for place, its in found if its == kind][number]

    damage(gapped, place(*record) + field, value if isinstance(value, int) else place(*value), 8)
    if compression:
        compress(gapped, compression)
    with pytest.raises(tarvik.CDFError, match="CORRUPTED_V3_CDF"):
        ops.open(gapped)


@pytest.mark.parametrize("records", [0, 99, 101])
def test_a_gzip_block_of_another_length_is_refused(gapped, records):
    """The bare library finds out when it reads the block, and an edit of the file is lost."""
    content = gapped.read_bytes()
    block = next(place for place, kind in record_types(content) if kind == CVVR)
    size = int.from_bytes(content[block + 16 : block + 24], "big")
    length = (8 * records).to_bytes(4, "little")
    damage(gapped, block + 24 + size - 4, int.from_bytes(length, "big"))
    with pytest.raises(tarvik.CDFError, match="CORRUPTED_V3_CDF"):
        ops.open(gapped)


@pytest.mark.parametrize("path", sorted(CRASHED.glob("*.cdf")), ids=lambda path: path.stem)
def test_files_that_crashed_the_library_are_refused(path):
    with pytest.raises(tarvik.CDFError, match="CORRUPTED_V3_CDF"):
        ops.open(path)


@pytest.mark.parametrize("end", ["", " ", ".CDF", ".Cdf", ".cdf "])
def test_the_file_that_the_library_finds_is_screened(current, end):
    record = next(place for place, kind in record_types(current.read_bytes()) if kind == GDR)
    damage(current, record + DAMAGE["number of variables"][1], HUGE)
    with pytest.raises(tarvik.CDFError, match="CORRUPTED_V3_CDF"):
        ops.open(current.with_name(f"current{end}"))


def test_a_blocking_factor_beyond_memory_is_refused(current):
    record = next(place for place, kind in record_types(current.read_bytes()) if kind == ZVDR)
    damage(current, record + 80, HUGE)
    with pytest.raises(tarvik.CDFError, match="CORRUPTED_V3_CDF"):
        ops.open(current)


@pytest.mark.parametrize(
    ("place", "value"),
    [(12, HUGE), (24, 8), (28, 1), (32, HUGE), (32, 1), (44, 0x00020101)],
    ids=["record's size", "parameters", "size of 4 GB", "size of 2 GB", "small size", "data"],
)
def test_damaged_files_compressed_as_a_whole_are_refused(current, place, value):
    with ops.open(current) as file:
        ops.setCompression(file, constants.RLE_COMPRESSION)
    damage(current, place, value)
    with pytest.raises(tarvik.CDFError, match="CORRUPTED_V3_CDF"):
        ops.open(current)


@pytest.mark.parametrize("compression", ["huffman", "ahuffman", "gzip", None])
def test_huffman_coded_files_are_opened_in_a_process_of_their_own(tmp_path, compression):
    """Damage in them is seen by nobody before the library crashes."""
    path = tmp_path / "whole.cdf"
    with tarvik.File(path, "w", compression=compression) as file:
        file["a"] = np.arange(10)
    for mode in ("r", "r+"):
        with tarvik.File(path, mode) as file:
            assert (file._gateway is not None) == (compression in ("huffman", "ahuffman"))
            assert file["a"][-1] == 9


@pytest.mark.parametrize("size", [1, 500_000])
def test_gzip_data_are_screened_whatever_their_size_is_said_to_be(current, size):
    record = next(place for place, kind in record_types(current.read_bytes()) if kind == GDR)
    damage(current, record + DAMAGE["number of variables"][1], HUGE)
    compress(current, constants.GZIP_COMPRESSION)
    damage(current, 32, size)
    with pytest.raises(tarvik.CDFError, match="CORRUPTED_V3_CDF"):
        ops.open(current)


def test_gzip_data_that_zlib_refuses_are_screened(current):
    """ISA-L decodes them for the library, so what comes out has to be screened."""
    record = next(place for place, kind in record_types(current.read_bytes()) if kind == GDR)
    damage(current, record + DAMAGE["number of variables"][1], HUGE)
    compress(current, constants.GZIP_COMPRESSION, incomplete_codes)
    with pytest.raises(tarvik.CDFError, match=r"ZLIB_ERROR|CORRUPTED_V3_CDF"):
        ops.open(current)


@pytest.mark.parametrize("kind", ENCODE)
@pytest.mark.parametrize("generation", ["current", "earlier"])
def test_whole_files_compressed_as_a_whole_are_opened(generation, kind, request):
    path = request.getfixturevalue(generation)
    with ops.open(path) as file:
        facts = ops.inquire(file)
    compress(path, kind)
    with ops.open(path) as file:
        assert getattr(constants, ops.getCompression(file)[0]) == kind
        assert str(ops.inquire(file)) == str(facts)


@pytest.mark.parametrize(("flags", "refused"), FLAGS.items())
def test_a_header_that_is_at_odds_about_the_checksum_is_refused(current, flags, refused):
    with ops.open(current) as file:
        ops.setChecksum(file, constants.MD5_CHECKSUM)
    damage(current, 40, flags)
    ops.setValidate(constants.VALIDATEFILEON)
    with pytest.raises(tarvik.CDFError) if refused else contextlib.nullcontext():
        ops.close(ops.open(current))


@pytest.mark.parametrize(("behind", "refused"), [(0, False), (15, False), (16, True), (17, False)])
def test_a_compressed_header_without_word_of_the_checksum_is_refused(current, behind, refused):
    compress(current)
    current.write_bytes(current.read_bytes() + b"5" * behind)
    ops.setValidate(constants.VALIDATEFILEON)
    with pytest.raises(tarvik.CDFError) if refused else contextlib.nullcontext():
        ops.close(ops.open(current))


def test_a_compressed_file_can_be_given_a_checksum_and_lose_it(current):
    ops.setValidate(constants.VALIDATEFILEON)
    with ops.open(current) as file:
        ops.setCompression(file, constants.RLE_COMPRESSION)
    for kind in ("MD5_CHECKSUM", "NO_CHECKSUM"):
        with ops.open(current) as file:
            ops.setChecksum(file, getattr(constants, kind))
        with ops.open(current) as file:
            assert ops.getChecksum(file) == kind


@pytest.mark.parametrize("compression", [None, "GZIP_COMPRESSION"])
def test_files_in_many_fragments_are_opened(tmp_path, compression):
    """Records written in turn to two variables make an index of several levels."""
    path = tmp_path / "fragments.cdf"
    with ops.create(path) as file:
        variables = [
            ops.createVar(file, name, constants.CDF_REAL8, 1, [], True, []) for name in "ab"
        ]
        for variable in variables:
            ops.setVarBlockingFactor(file, variable, 1)
            if compression:
                ops.setVarCompression(file, variable, constants.GZIP_COMPRESSION, 1)
        for record in range(3000):
            for variable in variables:
                ops.putVarData(file, variable, record, [], float(record))
    with ops.open(path) as file:
        for variable in variables:
            values = ops.hyperGetVarData(file, variable, 0, 3000, 1, [], [], [])
            assert np.array_equal(np.ravel(values), np.arange(3000))
