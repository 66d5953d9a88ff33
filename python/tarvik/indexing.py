"""Keys as NumPy and h5py take them, as the hyperslabs that the CDF library reads and writes."""

from __future__ import annotations

import operator
from collections.abc import Iterator
from dataclasses import dataclass
from math import prod
from typing import Any

import numpy as np

__all__ = ["BLOCK_BYTES", "Axis", "Selection", "blocks", "inside", "pieces", "runs_of", "select"]

BLOCK_BYTES = 8 << 20  # of what is read at once where nothing asks for more


@dataclass(frozen=True)
class Axis:
    """What a key selects along one dimension.

    Attributes
    ----------
    picks : range or numpy.ndarray
        The indices, in the order in which the user has them.
    dropped : bool
        Whether the dimension goes, as with an integer.
    """

    picks: Any
    dropped: bool = False

    def __len__(self) -> int:
        return len(self.picks)

    @property
    def runs(self) -> list[tuple[range, slice]]:
        """Ranges with steps above zero, and where what each has stands among the picks."""
        if isinstance(self.picks, range):
            return [_upward(self.picks)] if len(self.picks) else []
        found, start = [], 0
        for run in runs_of(self.picks):
            found.append((run, slice(start, start + len(run))))
            start += len(run)
        return found


@dataclass(frozen=True)
class Selection:
    """What a key selects: one axis for each dimension."""

    axes: tuple[Axis, ...]

    @property
    def full_shape(self) -> tuple[int, ...]:
        """With dimensions of 1 for those that go."""
        return tuple(len(axis) for axis in self.axes)

    @property
    def shape(self) -> tuple[int, ...]:
        return tuple(len(axis) for axis in self.axes if not axis.dropped)


def runs_of(numbers: np.ndarray) -> list[range]:
    """Ranges of the numbers that follow each other."""
    ends = np.flatnonzero(np.diff(numbers) != 1) + 1
    bounds = [0, *ends.tolist(), len(numbers)]
    return [
        range(int(numbers[a]), int(numbers[a]) + b - a) for a, b in zip(bounds, bounds[1:]) if a < b
    ]


def blocks(records: range, bytes_each: int, limit: int = BLOCK_BYTES) -> Iterator[range]:
    """Cut a range of records into ranges of one or more, each up to a limit of bytes."""
    size = max(1, limit // max(1, bytes_each))
    for start in range(0, len(records), size):
        yield records[start : start + size]


def pieces(runs: list[range], most: int) -> Iterator[tuple[tuple[slice, ...], list[range]]]:
    """Cut a hyperslab along its first dimensions into ones of up to so many values.

    Yields
    ------
    tuple
        Where each is in the whole, and its indices along each dimension.
    """
    if not runs:
        yield (), []
        return
    first, *rest = runs
    inner = prod(map(len, rest))
    size = max(1, most // max(1, inner))
    for start in range(0, len(first), size):
        place, part = slice(start, start + size), first[start : start + size]
        if len(part) * inner <= most:
            yield (place, *[slice(None)] * len(rest)), [part, *rest]
            continue
        for places, parts in pieces(rest, most):
            yield (place, *places), [part, *parts]


def select(key: Any, shape: tuple[int, ...], growing: bool = False) -> Selection:
    """Find what a key selects.

    Parameters
    ----------
    key : int, slice, Ellipsis, range, list, array, or tuple of these
        At most one list of integers or boolean mask.
    shape : tuple of int
    growing : bool
        Whether the key may go beyond the end of the first dimension.

    Raises
    ------
    IndexError
        For indices outside, too many of them, a mask of another length, or several lists.
    TypeError
        For what is no index.
    """
    parts = _complete(key if isinstance(key, tuple) else (key,), len(shape))
    axes = [
        _axis(part, size, number, growing and number == 0)
        for number, (part, size) in enumerate(zip(parts, shape))
    ]
    if sum(not isinstance(axis.picks, range) for axis in axes) > 1:
        raise IndexError("only one index may be a list or a mask")
    return Selection(tuple(axes))


def _complete(parts: tuple, rank: int) -> list:
    """One part for each dimension."""
    ellipses = [place for place, part in enumerate(parts) if part is Ellipsis]
    if len(ellipses) > 1:
        raise IndexError("an index can have one ellipsis only")
    if len(parts) - len(ellipses) > rank:
        raise IndexError(f"{len(parts) - len(ellipses)} indices for {rank} dimensions")
    place = ellipses[0] if ellipses else len(parts)
    rest = parts[place + 1 :]
    missing = rank - place - len(rest)
    return [*parts[:place], *[slice(None)] * missing, *rest]


def _axis(part: Any, size: int, number: int, growing: bool) -> Axis:
    if isinstance(part, slice):
        return Axis(_range(part, size, growing))
    if isinstance(part, range) and all(0 <= end < size for end in (*part[:1], *part[-1:])):
        return Axis(part)
    if isinstance(part, (list, range, np.ndarray)) and np.ndim(part) > 0:
        return Axis(_listed(np.asarray(part), size, number, growing))
    if isinstance(part, (bool, np.bool_)):
        raise TypeError("a single bool is no index; a mask has one for each element")
    found = inside(operator.index(part), size, number, growing)
    return Axis(range(found, found + 1), dropped=True)


def inside(index: int, size: int, number: int, growing: bool = False) -> int:
    """The index from the beginning of a dimension, which it must not leave unless it may grow.

    Raises
    ------
    IndexError
        Outside; `number` is the dimension's in the message.
    """
    found = index + size if index < 0 else index
    if found < 0 or (found >= size and not growing):
        raise IndexError(f"index {index} is outside dimension {number} of size {size}")
    return found


def _range(part: slice, size: int, growing: bool) -> range:
    """The indices of a slice; behind the end too if the dimension may grow."""
    start, stop, step = part.indices(size)
    if growing and step > 0:
        start = max(start, _index(part.start, 0))
        stop = max(stop, _index(part.stop, 0))
    return range(start, stop, step)


def _index(end: Any, default: int) -> int:
    return default if end is None else operator.index(end)


def _listed(part: np.ndarray, size: int, number: int, growing: bool) -> np.ndarray:
    if part.ndim != 1:
        raise IndexError("a list or mask is for one dimension")
    if part.dtype == bool:
        if len(part) != size:
            raise IndexError(f"a mask of length {len(part)} for dimension {number} of size {size}")
        return np.flatnonzero(part)
    if part.size and part.dtype.kind not in "iu":
        raise TypeError(f"indices are integers, not {part.dtype}")
    return np.array([inside(int(i), size, number, growing) for i in part], dtype=np.int64)


def _upward(picks: range) -> tuple[range, slice]:
    if picks.step > 0:
        return picks, slice(None)
    return picks[::-1], slice(None, None, -1)
