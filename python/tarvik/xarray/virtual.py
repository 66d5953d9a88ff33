"""Times that a file does not hold: they are computed from a base time and seconds.

A virtual variable names a function and its inputs: VIRTUAL, FUNCT, COMPONENT_0 and COMPONENT_1. A
variable along such times may name the inputs itself: DEPEND_TIME and DEPEND_EPOCH0.
"""

from __future__ import annotations

from collections.abc import Iterator, Mapping

from tarvik.variable import Variable
from tarvik.xarray.dimensions import Layout

__all__ = ["virtual_times", "without_times"]

_FUNCTIONS = ("comp_themis_epoch", "comp_themis_epoch16")


def virtual_times(
    variables: Mapping[str, Variable], layouts: Mapping[str, Layout]
) -> dict[str, tuple[str, str]]:
    """The variables of times that can be computed, each with its base time and its seconds."""
    found: dict[str, tuple[str, str]] = {}
    for times, base, seconds in _candidates(layouts):
        if times in found or not {times, base, seconds} <= variables.keys():
            continue
        are_times = variables[times]._datatype.is_time and variables[base]._datatype.is_time
        numbers = variables[seconds]._datatype
        fits = (
            layouts[times].shape == (0,)
            and layouts[base].shape in ((), (1,))
            and layouts[seconds].record_vary
            and len(layouts[seconds].shape) == 1
        )
        if fits and are_times and numbers.stored.kind in "iuf" and not numbers.is_time:
            found[times] = base, seconds
    return found


def _candidates(layouts: Mapping[str, Layout]) -> Iterator[tuple[str, str, str]]:
    """Names of times, a base time and seconds, which need not exist."""
    for layout in layouts.values():
        words = layout.words
        if words.get("VIRTUAL", "").upper() == "TRUE" and words.get("FUNCT") in _FUNCTIONS:
            yield layout.name, words.get("COMPONENT_0", ""), words.get("COMPONENT_1", "")
    for layout in layouts.values():
        names = [layout.words.get(f"DEPEND_{part}", "") for part in ("0", "EPOCH0", "TIME")]
        if names[-1]:
            yield names[0], names[1], names[2]


def without_times(layouts: Mapping[str, Layout], dimensions: Mapping[str, tuple]) -> Iterator[str]:
    """Describe the variables with records whose DEPEND_0 has none."""
    for layout in layouts.values():
        times = layouts.get(layout.words.get("DEPEND_0", ""))
        if times is None or not (layout.record_vary and layout.shape[0] and times.record_vary):
            continue
        if times.shape[0] == 0 and dimensions[layout.name][0] not in layouts:
            yield (
                f"the variable {layout.name!r} has no times: {times.name!r}, the variable that its "
                "DEPEND_0 names, has no records"
            )
