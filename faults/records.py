"""The internal records of a CDF file.

The layouts are those of the CDF Internal Format Description, whose names are used here.
"""

import hashlib
import re
import zlib
from typing import NamedTuple

from mutations import is_current

UIR, CCR, CVVR, VXR, VVR = -1, 10, 13, 6, 7
FIRST = 8
# The fields behind the size and type of a record. ">" leads to another record, "#" is a size or
# place as wide as that, "*NAME" has as many as that field says; other fields are 4 bytes wide.
_LAYOUTS = {
    1: "CDR GDRoffset> Version Release Encoding Flags rfuA rfuB Increment Identifier rfuE",
    2: "GDR rVDRhead> zVDRhead> ADRhead> eof# NrVars NumAttr rMaxRec rNumDims NzVars UIRhead> rfuC"
    " LeapSecondLastUpdated rfuE rDimSizes*rNumDims",
    3: "rVDR VDRnext> DataType MaxRec VXRhead> VXRtail> Flags sRecords rfuB rfuC rfuF gap NumElems"
    " Num CPRorSPRoffset> BlockingFactor Name",
    4: "ADR ADRnext> AgrEDRhead> Scope Num NgrEntries MAXgrEntry rfuA AzEDRhead> NzEntries"
    " MAXzEntry rfuE Name",
    5: "AgrEDR AEDRnext> AttrNum DataType Num NumElems NumStrings rfuB rfuC rfuD rfuE",
    VXR: "VXR VXRnext> Nentries NusedEntries First*Nentries Last*Nentries Offset>*Nentries",
    VVR: "VVR",
    CCR: "CCR CPRoffset> uSize# rfuA",
    11: "CPR cType rfuA pCount cParms*pCount",
    12: "SPR sArraysType rfuA pCount sArraysParms*pCount",
    CVVR: "CVVR rfuA cSize#",
    UIR: "UIR NextUIR> PrevUIR>",
}
_LAYOUTS[8] = _LAYOUTS[3].replace("rVDR", "zVDR") + " zNumDims zDimSizes*zNumDims DimVarys*zNumDims"
_LAYOUTS[9] = _LAYOUTS[5].replace("AgrEDR", "AzEDR")
_GZIP = b"\x1f\x8b"
_OLDEST = b"\0\0\xff\xff"
_COMPRESSED = b"\xcc\xcc\x00\x01"


class Field(NamedTuple):
    """A number in a file; `leads` to another record or not."""

    record: int
    owner: str
    name: str
    place: int
    width: int
    leads: bool = False


def as_bytes(value, width=4):
    """A number as it is stored, cut to its width."""
    return (value % (1 << 8 * width)).to_bytes(width, "big")


class Image:
    """The bytes of a file and the records that its header leads to.

    Attributes
    ----------
    content : bytearray
    width : int
        Of places and sizes.
    fields : dict of str to list of Field
        By the record's and the field's name, "GDR.eof".
    places : dict of int to list of int
        Of the records, by their type.
    """

    def __init__(self, content):
        self.content = bytearray(content)
        self.width = 8 if is_current(content) else 4
        self.fields, self.places, self._of_record = {}, {}, {}
        version = [self.number(self.head(FIRST) + self.width + place) for place in (0, 4)]
        # The library marks an older file as one of version 2.6 when it takes its gaps out.
        gap = 128 if version < [2, 5] and self.content[:4] == _OLDEST else 0
        self._widths = {"Name": 256 if self.width == 8 else 64, "gap": gap}
        self._find_records()

    def _find_records(self):
        pending, found = [FIRST], set()
        while pending:
            place = pending.pop()
            if place <= 0 or place in found:
                continue
            found.add(place)
            self.places.setdefault(self.type_of(place), []).append(place)
            self._of_record[place] = list(self._parse(place))
            for field in self._of_record[place]:
                self.fields.setdefault(f"{field.owner}.{field.name}", []).append(field)
                if field.leads:
                    pending.append(self.get(field))

    def _parse(self, record):
        owner, *layout = _LAYOUTS[self.type_of(record)].split()
        yield Field(record, owner, "size", record, self.width)
        yield Field(record, owner, "type", record + self.width, 4)
        place, seen = self.head(record), {}
        for text in layout:
            name, _, times = text.partition("*")
            name, leads, wide = name.rstrip(">#"), ">" in name, name[-1] in ">#"
            width = self.width if wide else 4
            if name in self._widths:
                place += self._widths[name]
                continue
            for _ in range(seen[times] if times else 1):
                yield Field(record, owner, name, place, width, leads)
                seen[name] = self.number(place, width)
                place += width

    def head(self, record):
        """Where its fields begin."""
        return record + self.width + 4

    def number(self, place, width=4):
        return int.from_bytes(self.content[place : place + width], "big", signed=True)

    def get(self, field):
        return self.number(field.place, field.width)

    def set(self, field, value):
        """Put a number, cut to the field's width; say so in a few words."""
        old, bits = self.get(field), 8 * field.width
        self.content[field.place : field.place + field.width] = as_bytes(value, field.width)
        new = (value + (1 << bits - 1)) % (1 << bits) - (1 << bits - 1)
        return f"{field.owner}.{field.name} at {field.place}: {old} -> {new}"

    def type_of(self, record):
        return self.number(record + self.width)

    def size_of(self, record):
        return self.number(record, self.width)

    @property
    def end(self):
        """Behind the last record."""
        found = self.fields.get("GDR.eof")
        return min(self.get(found[0]), len(self.content)) if found else len(self.content)

    def named(self, record, name):
        """Those fields of a record that was found when the file was whole."""
        return [field for field in self._of_record[record] if field.name == name]

    def append(self, kind, *parts):
        """Put a record of bytes and numbers, (value, width), behind the others; give its place."""
        end = self.end
        body = b"".join(p if isinstance(p, bytes) else as_bytes(*p) for p in parts)
        size = self.width + 4 + len(body)
        self.content[end:end] = as_bytes(size, self.width) + as_bytes(kind) + body
        for eof in self.fields.get("GDR.eof", []):
            self.set(eof, end + size)
        return end

    def check(self):
        """Raise an error unless records that were found fill the file.

        Free room too small for the links of a UIR is in no list.
        """
        found = {place for places in self.places.values() for place in places}
        place = FIRST
        while place < self.end and (place in found or self.type_of(place) == UIR):
            found.discard(place)
            place += self.size_of(place)
        if found or place != self.end:
            raise ValueError(f"no record begins at {place}, or others within one: {sorted(found)}")


def unpacked(content):
    """The file within a file that is compressed as a whole; None for others."""
    if content[4:8] != _COMPRESSED:
        return None
    image = Image(content)
    size = image.named(FIRST, "rfuA")[0].place + 4
    return content[:4] + b"\0\0\xff\xff" + inflate(content[size : FIRST + image.size_of(FIRST)])


def packed(content, outer):
    """A file that is compressed as a whole as `outer` is, with another file within it."""
    image = Image(outer)
    start = image.named(FIRST, "rfuA")[0].place + 4
    end = FIRST + image.size_of(FIRST)
    data = deflate(content[FIRST:], bytes(outer[start:end]))
    image.content[start:end] = data
    image.set(image.named(FIRST, "size")[0], start + len(data) - FIRST)
    image.set(image.named(FIRST, "CPRoffset")[0], start + len(data))
    image.set(image.named(FIRST, "uSize")[0], len(content) - FIRST)
    return bytes(image.content)


def inflate(data):
    """What gzip, or run lengths of zeros, stand for."""
    if data[:2] == _GZIP:
        return zlib.decompressobj(31).decompress(data)
    return re.sub(rb"\0(.)", lambda run: bytes(run[1][0] + 1), data, flags=re.DOTALL)


def deflate(data, like):
    """Compress bytes in the way of others."""
    if like[:2] == _GZIP:
        packer = zlib.compressobj(wbits=31)
        return packer.compress(data) + packer.flush()
    return re.sub(rb"\0{1,256}", lambda zeros: bytes([0, len(zeros[0]) - 1]), data)


def sealed(content, before):
    """Give a damaged file a right checksum if it had one before, so that it is not refused."""
    if before[-16:] != hashlib.md5(before[:-16]).digest():
        return content
    return content[:-16] + hashlib.md5(content[:-16]).digest()
