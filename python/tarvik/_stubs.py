"""Writes the type stubs, in which editors and type checkers find what is made at import.

python -m tarvik._stubs FOLDER
"""

import sys
from pathlib import Path
from textwrap import indent

import tarvik
from tarvik import constants, ops
from tarvik._catalogue import all_operations, kinds, operations
from tarvik._operations import describe

_OPERATIONS_HEAD = """\
import os
from enum import IntEnum
from typing import Any, NamedTuple

import numpy as np
from numpy.typing import ArrayLike, NDArray

from tarvik import constants as constants
from tarvik.constants import (
    {families}
)

_Number = float | np.integer[Any] | np.floating[Any]
"""

_OPS_HEAD = '''\
class FileId:
    """{file_doc}"""

    @property
    def name(self) -> str: ...
    @property
    def closed(self) -> bool: ...
    def __enter__(self) -> FileId: ...
    def __exit__(self, *exception: object) -> None: ...

def give_back_memory() -> None:
    """{memory_doc}"""
'''

_CALL = '''\
def call(operation: str | bytes, *inputs: Any) -> Any:
    """{call_doc}"""
'''

_GATEWAY_HEAD = '''\
from contextlib import AbstractContextManager

from tarvik.ops import *
from tarvik.ops import FileId

EXACT_PLUGIN: str
EXTENDED_PLUGIN: str

class Gateway:
    """{gateway_doc}"""

    plugin: str
    def __init__(
        self,
        plugin: str | os.PathLike[str] | None = None,
        *,
        isolated: bool = False,
        limit: float | None = 60.0,
    ) -> None: ...
    def __enter__(self) -> Gateway: ...
    def __exit__(self, *exception: object) -> None: ...
    @property
    def isolated(self) -> bool: ...
    @property
    def pid(self) -> int | None: ...
    def kill(self) -> None: ...
    def within(self, seconds: float) -> AbstractContextManager[Gateway]: ...
    def call(self, operation: str | bytes, *inputs: Any) -> Any: ...
    def unload(self) -> None: ...
'''


def ops_stub():
    """The stub of the operations of the extended plug-in."""
    own = _OPS_HEAD.format(file_doc=ops.FileId.__doc__, memory_doc=ops.give_back_memory.__doc__)
    return "\n".join(
        [_head(), own, _CALL.format(call_doc=ops.call.__doc__), *_functions(all_operations(), True)]
    )


def exact_stub():
    """The stub of the operations of the exact plug-in."""
    results = [op.result_name for op in operations().values() if len(op.outputs) > 1]
    names = ", ".join(f"{name} as {name}" for name in ["FileId", *results])
    imported = f"from tarvik.ops import {names}\n"
    call = _CALL.format(call_doc=ops.call.__doc__)
    return "\n".join([_head(), imported, call, *_functions(operations(), False)])


def gateway_stub():
    """The stub of the class `Gateway`."""
    head = _GATEWAY_HEAD.format(gateway_doc=tarvik.Gateway.__doc__)
    methods = [indent(_definition(op, "self"), "    ") for op in all_operations().values()]
    return "\n".join([_head(), head, *methods])


def _head():
    return _OPERATIONS_HEAD.format(families=", ".join(constants.families))


def _functions(found, results):
    for operation in found.values():
        if results:
            yield from _result_stub(operation)
        yield _definition(operation)


def constants_stub():
    """The stub of the named constants."""
    lines = ["from enum import IntEnum", "", "families: dict[str, type[IntEnum]]", ""]
    for name, family in constants.families.items():
        lines += [f"class {name}(IntEnum):"]
        lines += [f"    {member.name} = {member.value}" for member in family] + [""]
    for name, family in constants.families.items():
        lines += [f"{member.name} = {name}.{member.name}" for member in family]
    return "\n".join(lines) + "\n"


def _result_stub(operation):
    """The named tuple of an operation with several outputs."""
    if len(operation.outputs) > 1:
        yield f"class {operation.result_name}(NamedTuple):"
        for value in operation.outputs:
            yield f"    {value.name}: {kinds()[value.kind].python}"


def _definition(operation, *receiver):
    outputs = [kinds()[value.kind].python for value in operation.outputs]
    result = operation.result_name if len(outputs) > 1 else "".join(outputs) or "None"
    parameters = ", ".join([*receiver, *map(_parameter, operation.inputs)])
    head = f"def {operation.name}({parameters}) -> {result}:"
    return f"{head}\n{_docstring(describe(operation))}\n"


# Inputs of which more is taken than outputs of their kind are.
_INPUTS = {
    "number": "_Number",
    "variance": "bool | np.bool_ | Variance",
    **{family: f"{family} | _Number" for family in constants.families},
}


def _parameter(value):
    annotation = _INPUTS.get(value.kind) or kinds()[value.kind].python
    return f"{value.name}: {annotation}" + (" | None = None" if value.optional else "")


def _docstring(text):
    body = text.replace("\\", "\\\\").replace('"""', '\\"\\"\\"')
    return indent(f'"""{body}\n"""', "    ", lambda line: bool(line.strip()))


STUBS = {
    "_gateway": gateway_stub,
    "constants": constants_stub,
    "exact": exact_stub,
    "ops": ops_stub,
}


def main(folder):
    """Write all stubs into a folder."""
    for name, stub in STUBS.items():
        Path(folder, f"{name}.pyi").write_text(stub(), encoding="utf-8")


if __name__ == "__main__":
    main(sys.argv[1])
