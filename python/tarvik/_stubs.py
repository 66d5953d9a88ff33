"""Writes the type stubs, in which editors and type checkers find what is made at import.

python -m tarvik._stubs FOLDER
"""

import sys
from pathlib import Path
from textwrap import indent

import tarvik
from tarvik import constants
from tarvik._catalogue import all_operations, kinds, operations
from tarvik._operations import describe

_PACKAGE_HEAD = '''\
import os
from enum import IntEnum
from typing import Any, NamedTuple

import numpy as np
from numpy.typing import ArrayLike, NDArray

from tarvik import constants as constants
from tarvik.constants import (
    {families}
)

__version__: str

class CDFError(Exception):
    """{error_doc}"""

    identifier: str
    message: str
    operation: str | None
    filename: Any
    tag: str
    status_name: str | None

class CDFProcessError(CDFError):
    """{process_doc}"""

class CDFWarning(UserWarning):
    """{warning_doc}"""

    identifier: str

class FileId:
    """{file_doc}"""

    @property
    def name(self) -> str: ...
    @property
    def closed(self) -> bool: ...
    def __enter__(self) -> FileId: ...
    def __exit__(self, *exception: object) -> None: ...

def call(operation: str | bytes, *inputs: Any) -> Any:
    """{call_doc}"""

def give_back_memory() -> None:
    """{memory_doc}"""
'''

_GATEWAY_HEAD = '''\
class Gateway:
    """{gateway_doc}"""

    plugin: str
    constants: Constants
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
    def call(self, operation: str | bytes, *inputs: Any) -> Any: ...
    def unload(self) -> None: ...
'''


def package_stub():
    """The stub of the package itself."""
    head = _PACKAGE_HEAD.format(
        families=", ".join(constants.families),
        error_doc=tarvik.CDFError.__doc__,
        process_doc=tarvik.CDFProcessError.__doc__,
        warning_doc=tarvik.CDFWarning.__doc__,
        file_doc=tarvik.FileId.__doc__,
        call_doc=tarvik.call.__doc__,
        memory_doc=tarvik.give_back_memory.__doc__,
    )
    functions = map(_operation_stub, operations().values())
    return "\n".join([head, *functions, _constants_class(), _gateway_class()])


def _constants_class():
    names = [*constants.families, *_constant_names(tarvik.extended.constants)]
    kinds = ["type[IntEnum]"] * len(constants.families) + ["IntEnum"] * len(names)
    lines = ["class Constants:", "    families: dict[str, type[IntEnum]]"]
    return "\n".join(lines + [f"    {name}: {kind}" for name, kind in zip(names, kinds)]) + "\n"


def _constant_names(owner):
    return [member.name for family in owner.families.values() for member in family]


def _gateway_class():
    head = _GATEWAY_HEAD.format(gateway_doc=tarvik.Gateway.__doc__)
    methods = [indent(_definition(op, "self"), "    ") for op in all_operations().values()]
    return "\n".join([head, *methods, "extended: Gateway\n"])


def constants_stub():
    """The stub of the named constants."""
    lines = ["from enum import IntEnum", "", "families: dict[str, type[IntEnum]]", ""]
    for name, family in constants.families.items():
        lines += [f"class {name}(IntEnum):"]
        lines += [f"    {member.name} = {member.value}" for member in family] + [""]
    for name, family in constants.families.items():
        lines += [f"{member.name} = {name}.{member.name}" for member in family]
    return "\n".join(lines) + "\n"


def _operation_stub(operation):
    return "\n".join([*_result_stub(operation), _definition(operation)])


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


def _parameter(value):
    annotation = kinds()[value.kind].python
    if value.kind in constants.families:
        annotation += " | float"
    return f"{value.name}: {annotation}" + (" | None = None" if value.optional else "")


def _docstring(text):
    body = text.replace("\\", "\\\\").replace('"""', '\\"\\"\\"')
    return indent(f'"""{body}\n"""', "    ", lambda line: bool(line.strip()))


def main(folder):
    """Write both stubs into a folder."""
    Path(folder, "__init__.pyi").write_text(package_stub(), encoding="utf-8")
    Path(folder, "constants.pyi").write_text(constants_stub(), encoding="utf-8")


if __name__ == "__main__":
    main(sys.argv[1])
