"""What the rules ask of a file and its variables; values are read once, in blocks."""

from __future__ import annotations

import os
from functools import cached_property
from typing import Any

import numpy as np

from tarvik._entries import Entry
from tarvik._sparse import check_not_too_many
from tarvik.istp.decisions import fill_value
from tarvik.variable import Variable

__all__ = ["FileFacts", "Values", "VariableFacts"]

_MOST_BYTES = 1 << 28  # of a record, of which there are some copies in memory


class Values:
    """The values of a variable of numbers, but for fill values and NaN.

    Attributes
    ----------
    lowest, highest : numpy.ndarray
        As they are stored, for each element of a record.
    found : numpy.ndarray of bool
        Which elements have any such value; the others' lowest and highest mean nothing.
    fills : int
        The number of fill values, where there is one value for each record.
    rises, repeats : bool
        Whether a value is above, and whether one is the same as the one before it.
    falls : int or None
        The first record whose value is below the one before it.
    """

    def __init__(self, variable: Variable) -> None:
        dtype = variable._stored
        fill = variable._fill()
        self._fill = fill_value(variable._datatype) if fill is None else fill
        self.fills, self.rises, self.repeats = 0, False, False
        self.falls: int | None = None
        self._last: Any = None
        shape = tuple(len(run) for run in variable._stored_runs(range(1)))[variable.record_vary :]
        self.lowest, self.highest = np.empty(shape, dtype), np.empty(shape, dtype)
        self.found = np.zeros(shape, bool)
        check_not_too_many(variable)
        for runs, block in variable._existing_values():
            self._add(block if variable.record_vary else block[np.newaxis], runs, variable)

    def _add(self, block: np.ndarray, runs: list[range], variable: Variable) -> None:
        valid = self._valid(block)
        place = tuple(slice(r.start, r.stop) for r in runs[variable.record_vary :])
        low, high = _ends(block.dtype)
        found, new = self.found[place], valid.any(0)
        for held, first, better in (
            (self.lowest, high, np.minimum),
            (self.highest, low, np.maximum),
        ):
            mine = better.reduce(np.where(valid, block, first), 0)
            held[place] = np.where(
                found, np.where(new, better(held[place], mine), held[place]), mine
            )
        self.found[place] = found | new
        if block.ndim == 1:
            self.fills += block.size - int(np.count_nonzero(valid))
            self._follow(block, np.flatnonzero(valid), runs[0].start if variable.record_vary else 0)

    def _valid(self, block: np.ndarray) -> np.ndarray:
        same = np.isnan(block) if self._fill != self._fill else block == self._fill
        return ~same & ~np.isnan(block) if block.dtype.kind in "fc" else ~same

    def _follow(self, block: np.ndarray, valid: np.ndarray, start: int) -> None:
        values, records = block[valid], valid + start
        if self._last is not None:
            values, records = np.append(self._last, values), np.append(-1, records)
        falls = np.flatnonzero(values[1:] < values[:-1])
        if falls.size and self.falls is None:
            self.falls = int(records[falls[0] + 1])
        self.rises |= bool((values[1:] > values[:-1]).any())
        self.repeats |= bool((values[1:] == values[:-1]).any())
        self._last = values[-1] if values.size else None

    @property
    def extremes(self) -> tuple[Any, Any] | None:
        """The lowest and the highest of all values, as they are stored; None without any."""
        if not self.found.any():
            return None
        return self.lowest[self.found].min(), self.highest[self.found].max()


def _ends(dtype: np.dtype) -> tuple[Any, Any]:
    if dtype.kind == "c":
        return complex(-np.inf, -np.inf), complex(np.inf, np.inf)
    if dtype.kind == "f":
        return -np.inf, np.inf
    return np.iinfo(dtype).min, np.iinfo(dtype).max


class VariableFacts:
    """One variable, beside the others of its file."""

    def __init__(self, variable: Variable, file: FileFacts) -> None:
        self.variable, self.file = variable, file
        self.name, self.datatype = variable.name, variable._datatype
        self.extents, self.record_vary = variable._extents, variable.record_vary
        self.is_text, self.is_time = self.datatype.is_text, self.datatype.is_time
        self.elements = variable._elements

    @property
    def attributes(self) -> list[str]:
        return [*self.variable.attrs]

    def entry(self, name: str) -> Entry | None:
        """The entry of an attribute, if there is one that can be read."""
        return self.variable.attrs._entry(name)

    def has(self, *names: str) -> bool:
        return any(self.entry(name) is not None for name in names)

    def text(self, name: str) -> str | None:
        """The text of an attribute without the blanks behind it; None if it is no text."""
        entry = self.entry(name)
        return entry.text.rstrip() if entry is not None and entry.is_text else None

    def other(self, name: str) -> VariableFacts | None:
        """The variable that an attribute names."""
        return self.file.variables.get(self.text(name) or "")

    @property
    def var_type(self) -> str:
        return (self.text("VAR_TYPE") or "").lower()

    @property
    def is_data(self) -> bool:
        return self.var_type == "data"

    @property
    def is_support(self) -> bool:
        return self.var_type == "support_data"

    @property
    def is_metadata(self) -> bool:
        return self.var_type == "metadata"

    @property
    def is_shown(self) -> bool:
        """Whether it is data or support data, which plots are made of."""
        return self.is_data or self.is_support

    @property
    def is_virtual(self) -> bool:
        """Whether the values are computed by a function, and none are stored."""
        return (self.text("VIRTUAL") or "").upper() == "TRUE"

    @property
    def records(self) -> int:
        return self.variable._records()

    @cached_property
    def values(self) -> Values | None:
        """None for text, and for records or missing records that are too many bytes to read."""
        if self.is_text or self.is_virtual or self.variable._record_bytes > _MOST_BYTES:
            return None
        try:
            return Values(self.variable)
        except OSError:
            return None


class FileFacts:
    """A file with its variables."""

    def __init__(self, file: Any) -> None:
        self.file = file
        self.name = os.path.basename(os.fsdecode(file.path))
        self.stem = os.path.splitext(self.name)[0]
        self.variables = {v.name: VariableFacts(v, self) for v in file._variables.values()}
        self.unreadable = list(file._unreadable.values())

    def texts(self, name: str) -> list[str]:
        """The texts among the entries of a global attribute, without the blanks behind them."""
        entries = self.file.attrs._entries(name).values()
        return [e.text.rstrip() for e in entries if e.problem is None and e.is_text]

    def first(self, name: str) -> str:
        """The first text; an empty one if there is none."""
        return next(iter(self.texts(name)), "")

    @property
    def times(self) -> list[VariableFacts]:
        return [v for v in self.variables.values() if v.is_time]

    @property
    def time_axes(self) -> set[str | None]:
        """The names in DEPEND_0."""
        return {v.text("DEPEND_0") for v in self.variables.values()}

    @property
    def axes(self) -> set[str | None]:
        """The names in DEPEND_n and DELTA_PLUS_VAR or DELTA_MINUS_VAR."""
        pairs = ((v, name) for v in self.variables.values() for name in v.attributes)
        return {v.text(n) for v, n in pairs if n.startswith(("DEPEND_", "DELTA_"))}
