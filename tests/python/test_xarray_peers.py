"""Real files as cdflib makes datasets of them: every difference has a reason why ours is right."""

import re
from typing import Any, NamedTuple

import numpy as np
import pytest
from test_real_files import for_every_file, path  # noqa: F401

xr = pytest.importorskip("xarray", reason="xarray is not installed")


class Difference(NamedTuple):
    what: str  # "dims", "shape", "coordinate", "kind", "values", "attribute" or "entry" of the file
    name: str  # of the variable, or of an attribute of the file
    ours: Any
    theirs: Any
    attribute: str = ""
    variable: Any = None  # ours


ADDED = {"CDF_DATA_TYPE", "TIME_ATTRS", "long_name", "standard_name", "units"}


def numbered(difference):
    pairs = zip(difference.ours, difference.theirs)
    return all(a == b or re.fullmatch(r"(dim|record)\d+", b) for a, b in pairs)


def is_time(text):
    return isinstance(text, str) and re.match(r"\d{4}-\d\d-\d\dT", text)


def is_utf8(difference):
    ours, theirs = (np.ravel(each).tolist() for each in (difference.ours, difference.theirs))
    if not all(isinstance(text, str) for text in ours + theirs):
        return False
    encoded = [text.encode("latin-1", "replace") for text in theirs]
    return encoded == [text.encode() for text in ours]


REASONS = {
    "dims without a coordinate have names that tell their size, and no numbers": lambda d: (
        d.what == "dims" and numbered(d)
    ),
    "a variable without records keeps its other dimensions": lambda d: (
        (d.what == "shape" and d.ours[:1] == d.theirs == (0,))
        or (d.what == "dims" and d.theirs == ("dim_empty",))
    ),
    "no variable is left out": lambda d: d.what == "variable" and d.theirs is None,
    "labels, and what DEPEND_n names, are coordinates": lambda d: d.what == "coordinate" and d.ours,
    "fill values of integers are missing values too": lambda d: (
        d.what == "kind" and d.ours == "f" and d.theirs in "iu" and "FILLVAL" in d.variable.attrs
    ),
    "a variable without values keeps its datatype": lambda d: (
        d.what == "kind" and d.variable.size == 0
    ),
    "missing records of a sparse variable read as the library has them": lambda d: (
        d.what == "values" and d.variable.encoding["cdf"]["sparse"]
    ),
    "attributes are those of the file": lambda d: (
        d.what == "attribute" and d.ours is None and d.attribute in ADDED
    ),
    "UNITS is that of the file": lambda d: d.attribute == "UNITS" and d.theirs == "Datetime (UTC)",
    "times in attributes are text, which any format can hold": lambda d: (
        d.what == "attribute" and is_time(d.ours) and np.asarray(d.theirs).dtype.kind == "M"
    ),
    "one entry is no list": lambda d: (
        d.what == "entry" and type(d.theirs) is list and same(d.theirs, [d.ours])
    ),
    "text in UTF-8 is read as such": lambda d: d.what == "entry" and is_utf8(d),
    "times in entries of the file are read as times": lambda d: (
        d.what == "entry" and all(map(is_time, np.ravel(d.ours).tolist()))
    ),
}


def same(ours, theirs):
    ours, theirs = np.asarray(ours), np.asarray(theirs)
    if ours.dtype.kind == "U":
        return ours.shape == theirs.shape and np.array_equal(
            np.char.rstrip(ours), np.char.rstrip(theirs.astype(str))
        )
    if ours.size == theirs.size == 0 or ours.dtype == theirs.dtype == object:
        return ours.shape == theirs.shape and ours.tolist() == theirs.tolist()
    return np.array_equal(ours, theirs, equal_nan=ours.dtype.kind == theirs.dtype.kind in "fM")


def differences(ours, theirs):
    assert ours.variables.keys() >= theirs.variables.keys()
    for name, variable in ours.variables.items():
        other = theirs.variables.get(name)
        if other is None:
            yield Difference("variable", name, variable.dims, None)
            continue
        facts = {
            "dims": (variable.dims, other.dims),
            "shape": (variable.shape, other.shape),
            "coordinate": (name in ours.coords, name in theirs.coords),
            "kind": (variable.dtype.kind, other.dtype.kind),
        }
        for what, pair in facts.items():
            if pair[0] != pair[1]:
                yield Difference(what, name, *pair, variable=variable)
        if variable.shape == other.shape and not same(variable.values, other.values):
            yield Difference("values", name, variable.values, other.values, variable=variable)
        for title in variable.attrs.keys() | other.attrs.keys():
            pair = variable.attrs.get(title), other.attrs.get(title)
            if not same(*pair):
                yield Difference("attribute", name, *pair, title, variable)
    for title in ours.attrs.keys() | theirs.attrs.keys():
        pair = ours.attrs.get(title), theirs.attrs.get(title)
        if type(pair[0]) is not type(pair[1]) or repr(pair[0]) != repr(pair[1]):
            yield Difference("entry", title, *pair)


@for_every_file
@pytest.mark.filterwarnings("ignore")
def test_differences_from_cdflib_have_a_reason(path, capsys):  # noqa: F811
    read = pytest.importorskip("cdflib.xarray").cdf_to_xarray
    theirs = read(str(path), to_datetime=True, fillval_to_nan=True)
    with xr.open_dataset(path, engine="tarvik") as ours:
        found = list(differences(ours.load(), theirs))
    capsys.readouterr()  # of warnings that are printed
    unexplained = [d for d in found if not any(holds(d) for holds in REASONS.values())]
    assert [(d.what, d.name, d.attribute, d.ours, d.theirs) for d in unexplained] == []
    for reason, holds in REASONS.items():
        print(f"{sum(map(bool, map(holds, found))):5} {reason}")
