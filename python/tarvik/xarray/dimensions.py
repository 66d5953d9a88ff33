"""Names for dimensions, which CDF files do not have.

They follow from the attributes with which variables point at each other: DEPEND_0 names the
variable with the time of each record, DEPEND_1 and so on those with the coordinates along the
dimensions, LABL_PTR_1 and so on those with their labels.
"""

from __future__ import annotations

from collections import Counter
from collections.abc import Iterator, Mapping, Sequence
from itertools import chain, count
from typing import NamedTuple, Union

from tarvik._dimensions import fits_records, same_records

__all__ = ["POINTING", "Layout", "Names", "name_dimensions"]

# How the attributes begin that name other variables, or say how values are computed of them.
POINTING = ("DEPEND_", "LABL_PTR_", "DELTA_", "COMPONENT_", "VIRTUAL", "FUNCT")


class Layout(NamedTuple):
    """What the names of a variable's dimensions depend on.

    Attributes
    ----------
    name : str
    shape : tuple of int
        The records first, if they vary.
    record_vary : bool
    words : mapping of str to str
        The texts of the attributes that point at other variables, without blanks around them.
    """

    name: str
    shape: tuple[int, ...]
    record_vary: bool
    words: Mapping[str, str]

    @property
    def extents(self) -> tuple[int, ...]:
        return self.shape[self.record_vary :]


class Names(NamedTuple):
    """The names of the dimensions of each variable, and the variables that are coordinates."""

    dimensions: dict[str, tuple[str, ...]]
    coordinates: set[str]


class _Made(NamedTuple):
    """A dimension without a coordinate of its own: what its name begins with."""

    base: str


# The name of a variable or a stored name, a name to be made, or nothing known.
_Axis = Union[str, _Made, None]


def name_dimensions(
    layouts: Mapping[str, Layout], stored: Mapping[str, Sequence[str]] | None = None
) -> Names:
    """Name all dimensions; docs/xarray.md has the rules.

    Parameters
    ----------
    layouts : mapping of str to Layout
    stored : mapping of str to sequence of str, optional
        The names that a file has for variables; those that are at odds with the shapes, or with
        other variables, are not used.

    Returns
    -------
    Names
        A name that is made is never that of a variable, and has one size in all variables.
    """
    axes = _Axes(layouts)
    axes.take(stored or {})
    axes.follow_depends()
    axes.follow_seconds()
    axes.follow_varying_depends()
    axes.follow_labels()
    axes.follow_deltas()
    return axes.finished()


class _Axes:
    """The axes of all variables, which the attributes name step by step."""

    def __init__(self, layouts: Mapping[str, Layout]) -> None:
        self._layouts = layouts
        self._axes: dict[str, list[_Axis]] = {n: [None] * len(v.shape) for n, v in layouts.items()}
        self._sizes: dict[str, int] = {}
        self._coordinates: set[str] = set()
        self._stored: dict[str, list[str]] = {}

    def take(self, stored: Mapping[str, Sequence[str]]) -> None:
        """Use the names of dimensions that are stored in a file."""
        for name, names in stored.items():
            layout = self._layouts.get(name)
            if layout is None or not len(set(names)) == len(names) == len(layout.shape):
                continue
            sizes = dict(zip(names, layout.shape))
            if all(map(self._can_be, sizes, sizes.values())):
                self._sizes.update(sizes)
                self._stored[name] = [*names]
                self._axes[name] = [*names]

    def _can_be(self, name: str, size: int) -> bool:
        coordinate = self._layouts.get(name)
        fits = coordinate is None or coordinate.shape == (size,)
        return fits and self._sizes.get(name, size) == size

    def follow_depends(self) -> None:
        """Name axes after variables of one dimension that are the same for all records."""
        named: dict[str, None] = {}
        for layout in self._layouts.values():
            axes = self._axes[layout.name]
            times = self._times(layout, "DEPEND_0")
            if times is not None:
                axes[0] = axes[0] or self._own_axis(times, named)
            for number, target, _ in self._pointed_at(layout, "DEPEND"):
                self._coordinates.add(target.name)
                axis = number - 1 + layout.record_vary
                if len(target.shape) == 1:
                    axes[axis] = axes[axis] or self._own_axis(target, named)
        for name in named:
            self._axes[name] = [name]

    def follow_seconds(self) -> None:
        """Name records after DEPEND_TIME where there are no times of DEPEND_0."""
        for layout in self._layouts.values():
            seconds = self._times(layout, "DEPEND_TIME")
            if seconds is not None and self._axes[layout.name][0] is None:
                others = self._axes[seconds.name]
                self._axes[layout.name][0] = others[0] = others[0] or seconds.name

    def _times(self, layout: Layout, attribute: str) -> Layout | None:
        target = self._layouts.get(layout.words.get(attribute, ""))
        if target is None or not fits_records(target, layout):
            return None
        self._coordinates.add(target.name)
        return target

    def _own_axis(self, target: Layout, named: dict[str, None]) -> str:
        """That of a variable of one dimension: its name, unless a file has another one."""
        if target.name in self._stored:
            return self._stored[target.name][0]
        named[target.name] = None
        return target.name

    def _pointed_at(self, layout: Layout, attribute: str) -> Iterator[tuple[int, Layout, int]]:
        """The numbers of dimensions, what is along them, and which dimension of that it is."""
        for number in range(1, len(layout.extents) + 1) if layout.words else ():
            target = self._layouts.get(layout.words.get(f"{attribute}_{number}", ""))
            if target is not None:
                offset = _offset(target, layout, number)
                if offset is not None:
                    yield number, target, number - 1 - offset

    def follow_varying_depends(self) -> None:
        """Name axes whose coordinates vary by record, or have several dimensions."""
        for layout in self._layouts.values():
            axes = self._axes[layout.name]
            for number, target, place in self._pointed_at(layout, "DEPEND"):
                axis, others = number - 1 + layout.record_vary, self._axes[target.name]
                other = place + target.record_vary
                made = _Made(f"{target.name}_dim")
                axes[axis] = axes[axis] or others[other] or made
                self._share(layout, target, axis - other)

    def _share(self, layout: Layout, target: Layout, offset: int) -> None:
        """Let a variable have the axes of the one that it is the coordinate of."""
        axes, others = self._axes[layout.name], self._axes[target.name]
        for axis in range(target.record_vary, len(others)):
            others[axis] = others[axis] or axes[axis + offset]
        if target.record_vary:
            others[0] = others[0] or axes[0]

    def follow_labels(self) -> None:
        """Put labels along the axes they describe; without a coordinate they are one."""
        for only_named in (True, False):
            for layout in self._layouts.values():
                axes = self._axes[layout.name]
                for number, target, _ in self._pointed_at(layout, "LABL_PTR"):
                    if len(target.extents) != 1:
                        continue
                    axis, labels = number - 1 + layout.record_vary, self._axes[target.name]
                    self._coordinates.add(target.name)
                    if not only_named and axes[axis] is None:
                        own = _Made(f"{target.name}_dim") if target.record_vary else target.name
                        axes[axis] = labels[-1] = labels[-1] or own
                    elif axes[axis] is not None:
                        labels[-1] = labels[-1] or axes[axis]

    def follow_deltas(self) -> None:
        """Let uncertainties have the axes of their variable where they have none of their own."""
        for layout in self._layouts.values():
            for attribute in ("DELTA_PLUS_VAR", "DELTA_MINUS_VAR"):
                target = self._layouts.get(layout.words.get(attribute, ""))
                if target is None or target.extents != layout.extents:
                    continue
                axes, others = self._axes[layout.name], self._axes[target.name]
                if layout.record_vary and target.record_vary and target.shape == layout.shape:
                    axes[0] = axes[0] or others[0] or _Made(f"{layout.name}_record")
                    others[0] = others[0] or axes[0]
                for back in range(1, len(layout.extents) + 1):
                    others[-back] = others[-back] or axes[-back]

    def finished(self) -> Names:
        usual = self._usual_records()
        result = {}
        for name, axes in self._axes.items():
            layout, names = self._layouts[name], []
            for place, (size, axis) in enumerate(zip(layout.shape, axes)):
                if axis is None:
                    of_records = place == 0 and layout.record_vary
                    axis = _Made(_fallback(name, size, usual) if of_records else f"dim_{size}")
                if isinstance(axis, str) and axis not in names and self._can_be(axis, size):
                    self._sizes[axis] = size
                    names.append(axis)
                else:
                    base = axis if isinstance(axis, str) else axis.base
                    names.append(self._new(base, size, names))
            result[name] = tuple(names)
        named = {each for names in result.values() for each in names}
        return Names(result, self._coordinates | (named & self._layouts.keys()))

    def _usual_records(self) -> int | None:
        """The number of records of most variables without a time."""
        others = Counter(
            layout.shape[0]
            for name, layout in self._layouts.items()
            if layout.record_vary and self._axes[name][0] is None
        )
        return max(others, key=lambda size: (size > 0, others[size], size), default=None)

    def _new(self, base: str, size: int, used: list[str]) -> str:
        """A name that no variable has, and no dimension of another size or of this variable."""
        for name in chain([base], (f"{base}_{number}" for number in count(2))):
            free = name not in self._layouts and name not in used
            if free and self._sizes.setdefault(name, size) == size:
                return name
        raise AssertionError("names do not end")


def _offset(target: Layout, layout: Layout, number: int) -> int | None:
    """Where the dimensions of a target are among those of a variable, one of which is given."""
    if not same_records(target, layout):
        return None
    length = len(target.extents)
    for offset in range(max(0, number - length), number):
        if layout.extents[offset : offset + length] == target.extents:
            return offset
    return None


def _fallback(name: str, size: int, usual: int | None) -> str:
    return "record" if size == usual else f"{name}_record"
