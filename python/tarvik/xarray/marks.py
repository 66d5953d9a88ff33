"""What a dataset has and the customary attributes of CDF files do not tell.

The global attribute XARRAY holds it as JSON: the names of dimensions that do not follow from the
DEPEND_n of a variable, which variables are coordinates, and which attributes were added to those
that the dataset has. Files need it only where this is not what their attributes say.
"""

from __future__ import annotations

import json
from typing import Any, NamedTuple

__all__ = ["ATTRIBUTE", "Marks", "as_text", "from_text"]

ATTRIBUTE = "XARRAY"


class Marks(NamedTuple):
    """What is stored.

    Attributes
    ----------
    dims : dict of str to list of str
        The names of the dimensions of some variables.
    coords : list of str or None
        The variables that are coordinates, if the attributes do not tell.
    added : dict of str to list of str
        The attributes of variables that are not shown.
    """

    dims: dict[str, list[str]]
    coords: list[str] | None
    added: dict[str, list[str]]


NOTHING = Marks({}, None, {})


def as_text(marks: Marks) -> str | None:
    """The entry of the attribute; None if there is nothing to say."""
    if marks == NOTHING:
        return None
    said = {name: value for name, value in marks._asdict().items() if value not in ({}, None)}
    return json.dumps(said)


def from_text(text: Any) -> Marks:
    """Read an entry; what is not of the form of one says nothing."""
    try:
        said = json.loads(text)
    except (TypeError, ValueError, RecursionError):
        return NOTHING
    if not isinstance(said, dict):
        return NOTHING
    coords = said.get("coords")
    return Marks(
        _lists(said.get("dims")), coords if _is_list(coords) else None, _lists(said.get("added"))
    )


def _lists(value: Any) -> dict[str, list[str]]:
    found = value if isinstance(value, dict) else {}
    return {name: texts for name, texts in found.items() if _is_list(texts)}


def _is_list(value: Any) -> bool:
    return isinstance(value, list) and all(isinstance(each, str) for each in value)
