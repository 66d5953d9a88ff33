"""What is in a file, exactly: the values that it takes to make the same file again.

Dimensions stand here in the order in which the file's own descriptions have them, whatever its
majority, as a C reader sees them; the gateway has them turned round in row-major files.
"""

from dataclasses import dataclass, field

import numpy as np

from tarvik._order import as_array
from tarvik._reader import TEXTS, entries
from tarvik.cli.gateway import call

NO_COMPRESSION = ("NO_COMPRESSION", None)
NO_SPARSE = "NO_SPARSERECORDS"


@dataclass(frozen=True)
class Facts:
    """How a file is kept. A compression is its name and, for gzip, its level."""

    version: str
    format: str
    majority: str
    encoding: str
    compression: tuple
    checksum: str

    @property
    def row_major(self):
        return self.majority == "ROW_MAJOR"


@dataclass(frozen=True)
class Variable:
    """A variable without its values; `row_major` is the file's."""

    number: int
    name: str
    datatype: str
    elements: int
    dimensions: tuple
    record_variance: bool
    dimension_variances: tuple
    pad: np.ndarray = field(compare=False)
    records: int
    written: int
    sparse: str
    compression: tuple
    blocking_factor: int
    row_major: bool

    @property
    def item(self):
        """The shape of one value: its characters, or the two numbers of a `cdf_epoch16`."""
        if self.datatype in TEXTS:
            return (self.elements,)
        return (2,) if self.datatype == "cdf_epoch16" else ()

    @property
    def record_bytes(self):
        """The size of a record in memory."""
        return self.pad.dtype.itemsize * int(np.prod((*self.dimensions, *self.item), dtype=object))


@dataclass(frozen=True)
class Entry:
    """An entry of a variable, which bears the variable's number, or a global one.

    Texts are bytes of the length that the file gives them. Behind a NUL the gateway reads nothing;
    NULs stand there.
    """

    number: int
    of_variable: bool
    datatype: str
    value: object

    @property
    def bits(self):
        return self.value if isinstance(self.value, bytes) else self.value.tobytes("F")


@dataclass(frozen=True)
class Attribute:
    """An attribute with its entries, in the order of their numbers."""

    number: int
    name: str
    scope: str
    entries: tuple

    def entries_among(self, numbers):
        """The global entries and those of the variables with these numbers."""
        return tuple(e for e in self.entries if not e.of_variable or e.number in numbers)


def constant(name):
    """The value of a named constant in any letter case, such as a datatype's."""
    return int(call("getConstantValue", name))


def read_facts(file):
    encoding, majority, *_ = call("inquire", file)
    return Facts(
        version=".".join(f"{part:.0f}" for part in call("getVersion", file)),
        format=call("getFormat", file),
        majority=majority,
        encoding=encoding,
        compression=_compression(call("getCompression", file)),
        checksum=call("getChecksum", file),
    )


def read_variables(file):
    """Read the descriptions of all variables, in the order of their numbers."""
    _, majority, _, count, _ = call("inquire", file)
    return [read_variable(file, number, majority == "ROW_MAJOR") for number in range(int(count))]


def read_variable(file, number, row_major):
    name, datatype, elements, sizes, record_variance, variances = call("inquireVar", file, number)
    order = slice(None, None, -1 if row_major else 1)
    return Variable(
        number=number,
        name=name,
        datatype=datatype,
        elements=int(elements),
        dimensions=tuple(int(extent) for extent in np.ravel(sizes)[order]),
        record_variance=bool(record_variance),
        dimension_variances=tuple(bool(varies) for varies in np.ravel(variances)[order]),
        pad=as_array(call("getVarPadValue", file, number)).ravel(order="F"),
        records=int(call("getVarMaxWrittenRecNum", file, number)) + 1,
        written=int(call("getVarNumRecsWritten", file, number)),
        sparse=call("getVarSparseRecords", file, number),
        compression=_compression(call("getVarCompression", file, number)),
        blocking_factor=int(call("getVarBlockingFactor", file, number)),
        row_major=row_major,
    )


def create_variable(file, variable):
    """Create a variable as it is described, without values; return its number."""
    order = slice(None, None, -1 if variable.row_major else 1)
    number = call(
        "createVar",
        file,
        variable.name,
        constant(variable.datatype),
        variable.elements,
        list(variable.dimensions[order]),
        variable.record_variance,
        list(variable.dimension_variances[order]),
    )
    if variable.sparse != NO_SPARSE:
        call("setVarSparseRecords", file, number, constant(variable.sparse))
    if variable.compression != NO_COMPRESSION:
        call("setVarCompression", file, number, *compression_inputs(variable.compression))
    if variable.blocking_factor:
        call("setVarBlockingFactor", file, number, variable.blocking_factor)
    call("setVarPadValue", file, number, variable.pad)
    return int(number)


def read_attributes(file):
    """Read all attributes with their entries, in the order of their numbers."""
    count = int(call("inquire", file)[4])
    return [read_attribute(file, number) for number in range(count)]


def write_attribute(file, attribute):
    number = call("createAttr", file, attribute.name, constant(attribute.scope))
    for entry in attribute.entries:
        operation = "putAttrEntry" if entry.of_variable else "putAttrgEntry"
        call(operation, file, number, entry.number, constant(entry.datatype), entry.value)


def compression_inputs(compression):
    """A compression as the operations that set one take it."""
    kind, level = compression
    return [constant(kind)] if level is None else [constant(kind), level]


def _compression(outputs):
    kind, parameter, _ = outputs
    return kind, int(parameter) if isinstance(parameter, float) else None


def read_attribute(file, number):
    name, scope, last_global, last_of_variable = call("inquireAttr", file, number)
    found = [
        *_entries(file, number, False, int(last_global)),
        *_entries(file, number, True, int(last_of_variable)),
    ]
    return Attribute(number, name, scope, tuple(found))


def _entries(file, attribute, of_variable, last):
    found = entries(file, "" if of_variable else "g", attribute, range(last + 1), call)
    for number, datatype, elements, value in found:
        value = as_array(value)
        if datatype in TEXTS:
            value = value.tobytes().ljust(elements, b"\0")
        yield Entry(number, of_variable, datatype, value)
