"""Writes the type stubs, in which editors and type checkers find what is made at import.

python -m tarvik._stubs FOLDER
"""

import sys
from pathlib import Path
from textwrap import indent

import tarvik
from tarvik import constants
from tarvik._catalogue import kinds, operations
from tarvik._operations import describe

_PACKAGE_HEAD = '''\
import os
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
'''


def package_stub():
    """The stub of the package itself."""
    head = _PACKAGE_HEAD.format(
        families=", ".join(constants.families),
        error_doc=tarvik.CDFError.__doc__,
        warning_doc=tarvik.CDFWarning.__doc__,
        file_doc=tarvik.FileId.__doc__,
        call_doc=tarvik.call.__doc__,
    )
    return "\n".join([head, *map(_operation_stub, operations().values())])


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
    lines = []
    outputs = [kinds()[value.kind].python for value in operation.outputs]
    result = "None" if not outputs else outputs[0]
    if len(outputs) > 1:
        result = operation.result_name
        lines += [f"class {result}(NamedTuple):"]
        fields = zip(operation.outputs, outputs)
        lines += [f"    {value.name}: {annotation}" for value, annotation in fields]
    parameters = ", ".join(map(_parameter, operation.inputs))
    lines += [f"def {operation.name}({parameters}) -> {result}:", _docstring(describe(operation))]
    return "\n".join(lines) + "\n"


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
