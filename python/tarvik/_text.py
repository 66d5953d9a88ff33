"""Texts from files, made fit for a terminal, a pipe or a JSON document."""

from __future__ import annotations

import math
import unicodedata
from typing import Any, Callable

import numpy as np

# What moves the cursor, changes colours or turns the direction of writing: never shown raw.
_UNSAFE_CATEGORIES = frozenset({"Cc", "Cf", "Cs", "Co", "Cn", "Zl", "Zp"})


def undecoded(character: str) -> int | None:
    """Return the byte that a character stands for when it could not be decoded, or None."""
    code = ord(character)
    return code - 0xDC00 if 0xDC80 <= code <= 0xDCFF else None


def visible(text: str) -> str:
    r"""Return the text in one line, with what must not reach a terminal as escapes.

    A byte that is no UTF-8 is shown as ``\xe9``, a control character as ``\x1b``.
    """
    if text.isascii() and text.isprintable():
        return text
    return "".join(map(_escaped, text))


def _escaped(character: str) -> str:
    byte = undecoded(character)
    if byte is not None:
        return f"\\x{byte:02x}"
    if unicodedata.category(character) in _UNSAFE_CATEGORIES:
        return character.encode("unicode_escape", "surrogatepass").decode("ascii")
    return character


def counted(number: int, noun: str) -> str:
    """Return "1 variable" or "2 variables"."""
    return f"{number} {noun}{'' if number == 1 else 's'}"


def visible_lines(text: str) -> list[str]:
    """Return the text as lines that are each fit to be shown."""
    unified = text.replace("\r\n", "\n").replace("\r", "\n").expandtabs()
    return [visible(line) for line in unified.split("\n")]


def nested(values: Any, limit: int | None, text_of: Callable[[Any], str]) -> str:
    """Return nested lists in brackets, the middle left out of lists that are beyond the limit."""
    if not isinstance(values, list):
        return text_of(values)
    if limit is None or len(values) <= limit:
        items = [nested(item, limit, text_of) for item in values]
    else:
        half = limit // 2
        shown = [*values[:half], *values[len(values) - half :]]
        items = [nested(item, limit, text_of) for item in shown]
        items.insert(half, "...")
    return f"[{', '.join(items)}]"


def for_json(value: Any) -> Any:
    """Return the value as JSON can hold it.

    NaN and the infinities become the strings "NaN", "Infinity" and "-Infinity"; a byte of a text
    that is no UTF-8 becomes the escape that `visible` shows.
    """
    if isinstance(value, dict):
        return {key: for_json(item) for key, item in value.items()}
    if isinstance(value, (list, tuple)):
        return [for_json(item) for item in value]
    if isinstance(value, np.generic):
        value = value.item()
    if isinstance(value, float) and not math.isfinite(value):
        return "NaN" if math.isnan(value) else "Infinity" if value > 0 else "-Infinity"
    if isinstance(value, str):
        return "".join(_escaped(c) if undecoded(c) is not None else c for c in value)
    return value
