"""Reads all that a file holds, whatever state it is in."""

import hashlib
import math

import numpy as np
from tarvik import CDFError, CDFProcessError

_WIDEST = 16  # bytes of a value
_BLOCK = 8 << 20
_MOST_BYTES = 64 << 20  # of a record
_MOST_BLOCKS = 8
_MOST_NUMBERS = 2000  # variables, attributes, and entries of an attribute
_OF_FILES = ("getVersion", "getChecksum", "getCompression")
_OF_VARIABLES = (
    "getVarCompression",
    "getVarSparseRecords",
    "getVarPadValue",
    "getVarBlockingFactor",
    "getVarAllocRecords",
    "getVarNumRecsWritten",
)


class Reading:
    """What came of reading a file with the operations of a gateway.

    Attributes
    ----------
    opened : bool
    problems : list of str
        The texts of the errors.
    died : str
        What was said of the end of the gateway's process, if it has one and it ended.
    digest : str
        Of all that was read; files with the same content have the same.
    """

    def __init__(self, gateway, path):
        self._gateway = gateway
        self._hash = hashlib.sha256()
        self.problems = []
        self.died = ""
        file = self._ask("open", path)
        self.opened = file is not None
        if self.opened:
            self._read(file)
            self._ask("close", file)
        self.digest = self._hash.hexdigest()

    def _ask(self, operation, *arguments):
        """The outputs of an operation, or None when it was refused."""
        try:
            outputs = self._gateway.call(operation, *arguments)
        except CDFError as error:
            self.problems.append(str(error))
            if isinstance(error, CDFProcessError) and not self.died:
                self.died = str(error)
            return None
        if operation != "open":
            self._hash.update(_as_bytes(outputs))
        return outputs

    def _read(self, file):
        for operation in _OF_FILES:
            self._ask(operation, file)
        facts = self._ask("inquire", file)
        if facts is None:
            return
        variables, attributes = (min(int(count), _MOST_NUMBERS) for count in facts[3:])
        for attribute in range(attributes):
            self._read_attribute(file, attribute)
        for variable in range(variables):
            self._read_variable(file, variable)

    def _read_attribute(self, file, attribute):
        facts = self._ask("inquireAttr", file, attribute)
        of_file = facts is not None and facts[1] == "GLOBAL_SCOPE"
        highest = self._ask("getAttrMaxgEntry" if of_file else "getAttrMaxEntry", file, attribute)
        read = "getAttrgEntry" if of_file else "getAttrEntry"
        for entry in range(min(int(highest or 0) + 1, _MOST_NUMBERS)):
            self._ask(read, file, attribute, entry)

    def _read_variable(self, file, variable):
        facts = self._ask("inquireVar", file, variable)
        for operation in _OF_VARIABLES:
            self._ask(operation, file, variable)
        last = self._ask("getVarMaxWrittenRecNum", file, variable)
        if facts is None or last is None:
            return
        extents = [int(extent) for extent in np.ravel(facts[3])]
        bytes_each = _WIDEST * int(facts[2]) * math.prod(extents)
        if not 0 < bytes_each <= _MOST_BYTES:
            return
        whole = ([0] * len(extents), extents, [1] * len(extents))
        records = range(int(last) + 1)
        step = max(1, _BLOCK // bytes_each)
        for start in records[::step][:_MOST_BLOCKS]:
            count = len(records[start : start + step])
            self._ask("hyperGetVarData", file, variable, start, count, 1, *whole)


def _as_bytes(output):
    if isinstance(output, tuple):
        return b"".join(map(_as_bytes, output))
    values = np.asarray(output)
    if values.dtype == object:
        return repr(output).encode("utf-8", "surrogateescape")
    return f"{values.dtype}{values.shape}".encode() + values.tobytes()
