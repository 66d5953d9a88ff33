"""The catalogue of the operations, read from the tables that come with the package."""

import sys
from dataclasses import dataclass, field
from functools import cache
from pathlib import Path

if sys.version_info >= (3, 11):
    import tomllib
else:
    import tomli as tomllib

__all__ = [
    "Kind",
    "Operation",
    "Value",
    "all_operations",
    "extended_operations",
    "kinds",
    "operations",
]

# The order in which the reference shows the topics.
_TOPICS = {
    "files": "Files",
    "storage": "Compression, checksum and caches of a file",
    "variables": "Variables and their values",
    "variable_settings": "Settings of a variable",
    "attributes": "Attributes and their entries",
    "epochs": "Epochs",
    "library": "The library as a whole",
}
_EXTENDED_TOPICS = {"extended": "The extended plug-in"}


@dataclass(frozen=True)
class Kind:
    """What an input or output is: `array` to the gateway, `python` in Python."""

    array: str
    python: str
    meaning: str
    raises: "list[str]" = field(default_factory=list)


@dataclass(frozen=True)
class Value:
    """One input or output of an operation; `kind` is a key of `kinds()`."""

    name: str
    kind: str
    optional: bool = False


@dataclass(frozen=True)
class Operation:
    """One operation. `raises` and `warns` are pairs of an identifier and when it comes."""

    name: str
    topic: str
    summary: str
    inputs: tuple[Value, ...] = ()
    outputs: tuple[Value, ...] = ()
    note: str = ""
    tags: tuple[str, ...] = ("failure",)
    raises: tuple[tuple[str, str], ...] = ()
    warns: tuple[tuple[str, str], ...] = ()
    example: str = ""
    gives: str = ""

    @property
    def result_name(self):
        """The name of the named tuple of an operation with several outputs."""
        return self.name[0].upper() + self.name[1:] + "Result"


@cache
def kinds():
    """All kinds of inputs and outputs by name."""
    return {name: Kind(**row) for name, row in _table("kinds").items()}


@cache
def operations():
    """All operations of the exact plug-in by name, in the order of the reference."""
    return _operations(_TOPICS)


@cache
def extended_operations():
    """The operations that only the extended plug-in has, by name."""
    return _operations(_EXTENDED_TOPICS)


def all_operations():
    """All operations of the extended plug-in by name, its own last."""
    return {**operations(), **extended_operations()}


def _operations(topics):
    return {
        name: _operation(name, title, row)
        for file, title in topics.items()
        for name, row in _table(file).items()
    }


def _table(file):
    source = Path(__file__).parent / "catalogue" / f"{file}.toml"
    return tomllib.loads(source.read_text(encoding="utf-8"))


def _operation(name, topic, row):
    values = {key: tuple(map(_value, row.pop(key, ()))) for key in ("inputs", "outputs")}
    lists = {
        key: tuple(map(_frozen, row.pop(key))) for key in ("tags", "raises", "warns") if key in row
    }
    # Interned: the extension module keeps such names ready for calls.
    return Operation(sys.intern(name), topic, **values, **lists, **row)


def _frozen(item):
    return tuple(item) if isinstance(item, list) else item


def _value(text):
    name, kind = text.split(": ")
    return Value(name.rstrip("?"), kind, name.endswith("?"))
