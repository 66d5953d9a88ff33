"""Random edits through `File`, held against arrays in memory and read by another reader at the end.

Run as a script, it takes the number of sequences and prints how many ended how.
"""

import json
import sys
import tempfile
from collections import Counter
from copy import deepcopy
from pathlib import Path

import numpy as np
import pytest
from tarvik import File
from tarvik.datatypes import DATATYPES
from test_layouts import plain, read_with_pycdfpp

SEQUENCES, STEPS = 300, 14
# Written records of sparse variables must not look like missing ones by chance.
WIDE = ["CDF_INT8", "CDF_REAL8", "CDF_EPOCH", "CDF_TIME_TT2000"]
PARTS = [slice(None), slice(None, None, -1), slice(0, None, 2), slice(1)]
OPERATIONS = {
    "create": 4,
    "write": 6,
    "append": 3,
    "resize": 2,
    "delete": 1,
    "rename": 1,
    "assign": 1,
    "copy": 1,
    "set_attribute": 3,
    "delete_attribute": 1,
    "reopen": 2,
    "discard": 0.5,
}


class Held:
    """What one variable must be."""

    def __init__(self, datatype, values, varies=True, sparse=None, missing=None):
        self.datatype, self.values, self.varies = datatype, values, varies
        self.sparse, self.missing, self.attributes = sparse, missing, {}
        self.written = np.ones(len(values) if varies else 0, bool)

    def grow(self, records):
        more = np.full((max(0, records - len(self.values)), *self.values.shape[1:]), self.missing)
        self.values = np.concatenate([self.values, more.astype(self.values.dtype)])
        self.written = np.concatenate([self.written, np.zeros(len(more), bool)])

    def shrink(self, records):
        self.values, self.written = self.values[:records], self.written[:records]

    def write(self, key, values):
        self.values[key] = values
        self.written[key[0]] = True

    def expected(self):
        values = self.values.copy()
        if self.sparse == "previous":
            for record in np.flatnonzero(~self.written):
                values[record] = values[record - 1] if record else self.missing
        return values


class Session:
    """A file, and what it must hold: as it is open, and as it was saved last."""

    def __init__(self, path, seed):
        self.rng = np.random.default_rng(seed)
        self.path, self.outcomes = path, Counter()
        majority = str(self.rng.choice(["row", "column"]))
        self.file = File(path, "w", majority=majority)
        self.variables, self.attributes = {}, {}
        self.reopen()

    def choose(self, *things):
        return things[self.rng.integers(len(things))]

    def values(self, dtype, shape):
        dtype = np.dtype(dtype)
        if dtype.kind == "S":
            return self.rng.integers(97, 123, (*shape, dtype.itemsize), "u1").view(dtype)[..., 0]
        if dtype.kind == "f":
            return self.rng.normal(0, 1e6, shape).astype(dtype)
        if dtype.kind == "c":
            return self.rng.uniform(0, 6e10, shape) + 1j * self.rng.uniform(0, 9e11, shape)
        limits = np.iinfo(dtype)
        return self.rng.integers(limits.min, limits.max, shape, dtype)

    def attribute(self):
        text = "".join(map(chr, self.rng.integers(97, 123, self.rng.integers(1, 30))))
        numbers = self.values(self.choose("i4", "f8"), (int(self.rng.integers(1, 5)),))
        return self.choose(text, numbers)

    def one_of(self, fits=lambda held: held.varies):
        names = [name for name, held in self.variables.items() if fits(held)]
        return self.choose(*names) if names else None

    def new_name(self):
        return f"V{self.rng.integers(10**6)}"

    def create(self):
        sparse = self.choose(None, None, "pad", "previous")
        datatype = self.choose(*(WIDE if sparse else DATATYPES))
        dtype = DATATYPES[datatype].dtype(int(self.rng.integers(1, 6)))
        varies = bool(sparse) or self.rng.random() < 0.8
        extents = self.choose((), (3,), (2, 3), (2, 1, 3))
        values = self.values(dtype, (int(self.rng.integers(1, 6)), *extents) if varies else extents)
        pad, name = self.values(dtype, ()), self.new_name()
        held = Held(datatype, values.copy(), varies, sparse, pad)
        if dtype.kind not in "Sc" and self.choose(True, False):
            held.missing = held.attributes["FILLVAL"] = self.values(dtype, ())
        self.file.create_variable(
            name,
            values,
            datatype=datatype,
            record_vary=varies,
            compression=self.choose(None, "gzip:1", "gzip", "rle"),
            sparse=sparse,
            pad=pad,
            blocking_factor=self.choose(None, 1, 7),
            attrs=held.attributes,
        )
        self.variables[name] = held

    def write(self, name):
        held = self.variables[name]
        start = int(self.rng.integers(0, len(held.values) + 4))
        stop = start + int(self.rng.integers(1, 5))
        key = [slice(start, stop, int(self.rng.integers(1, 3)))]
        key += [self.choose(*PARTS) for _ in held.values.shape[1:] if held.sparse is None]
        held.grow(max(range(stop)[key[0]]) + 1)
        values = self.values(held.values.dtype, held.values[tuple(key)].shape)
        self.file[name][tuple(key)] = values
        held.write(tuple(key), values)

    def append(self, name):
        held = self.variables[name]
        values = self.values(held.values.dtype, (2, *held.values.shape[1:]))
        self.file[name].append(values)
        held.grow(len(held.values) + 2)
        held.write((slice(-2, None),), values)

    def resize(self):
        name = self.one_of(lambda held: held.varies and held.sparse != "previous")
        if name:
            records = int(self.rng.integers(0, 8))
            self.file[name].resize(records)
            self.variables[name].grow(records)
            self.variables[name].shrink(records)

    def delete(self, name):
        del self.file[name]
        del self.variables[name]

    def rename(self, name):
        new = self.new_name()
        self.file.rename(name, new)
        self.variables = {new if n == name else n: held for n, held in self.variables.items()}

    def assign(self, name):
        values = self.values(self.choose("f4", "i2", "S4"), (3, 2))
        name = self.choose(name, self.new_name())
        self.file[name] = values
        self.variables.pop(name, None)
        kinds = {"f": "CDF_REAL4", "i": "CDF_INT2", "S": "CDF_CHAR"}
        self.variables[name] = Held(kinds[values.dtype.kind], values)
        self.variables[name].missing = self.file[name]._pad()

    def copy(self, name):
        other = self.choose(self.one_of(), self.new_name())
        self.file[other] = self.file[name]
        held = deepcopy(self.variables[name])
        self.variables.pop(other, None)
        self.variables[other] = held

    def set_attribute(self, name):
        held, title = self.variables[name], f"A{self.rng.integers(4)}"
        if self.choose(True, False):
            self.file[name].attrs[title] = held.attributes[title] = self.attribute()
        else:
            entries = [self.attribute() for _ in range(self.rng.integers(1, 4))]
            self.file.attrs["G" + title] = self.attributes["G" + title] = entries

    def delete_attribute(self, name):
        held = self.variables[name]
        for ours, theirs in (
            (held.attributes, self.file[name].attrs),
            (self.attributes, self.file.attrs),
        ):
            titles = [title for title in ours if title != "FILLVAL"]
            if titles:
                title = self.choose(*titles)
                del ours[title], theirs[title]

    def reopen(self):
        try:
            self.file.close()
        except OSError:
            self.outcomes["not saved"] += 1
            self.variables, self.attributes = self.saved
        self.saved = deepcopy((self.variables, self.attributes))
        self.file = File(self.path, "r+")
        self.check()

    def discard(self):
        self.file.discard()
        self.variables, self.attributes = deepcopy(self.saved)
        self.file = File(self.path, "r+")
        self.check()

    def check(self):
        assert list(self.file) == list(self.variables)
        for name, held in self.variables.items():
            variable = self.file[name]
            assert variable.datatype == held.datatype
            np.testing.assert_array_equal(variable.raw[...], held.expected(), name, strict=True)

    def step(self, operation):
        act = getattr(self, operation)
        if operation in ("create", "resize", "reopen", "discard"):
            act()
        elif self.one_of():
            act(self.one_of())
        if operation not in ("reopen", "discard"):
            self.check()

    def finish(self):
        self.reopen()
        self.file.close()
        found = read_with_pycdfpp(self.path)
        assert list(found) == list(self.variables)
        for name, held in self.variables.items():
            code, values = found[name]
            assert code == DATATYPES[held.datatype].code
            expected = plain(held.expected(), held.varies)
            assert values.size == expected.size == 0 or np.array_equal(values, expected), name
        self.compare_attributes()

    def compare_attributes(self):
        file = pytest.importorskip("pycdfpp").load(str(self.path))
        pairs = [(file.attributes, self.attributes)]
        for name, held in self.variables.items():
            own = {title: [value] for title, value in held.attributes.items()}
            pairs.append((file[name].attributes, own))
        for found, expected in pairs:
            titles = [title for title, attribute in found.items() if len(attribute)]
            assert sorted(titles) == sorted(expected)
            for title, entries in expected.items():
                assert len(found[title]) == len(entries), title
                values = [found[title][number] for number in range(len(entries))]
                for value, entry in zip(values, entries):
                    if title != "FILLVAL":  # a time for the other reader
                        assert np.array_equal(np.ravel(value), np.ravel(entry)), title


def run(path, seed):
    """Edit one file at random; count closes that did not save."""
    session = Session(path, seed)
    weights = np.array(list(OPERATIONS.values()))
    operations = session.rng.choice(list(OPERATIONS), STEPS, p=weights / weights.sum())
    session.step("create")
    for operation in operations:
        session.step(operation)
    session.finish()
    return session.outcomes


@pytest.mark.parametrize("first", range(0, SEQUENCES, SEQUENCES // 10))
def test_random_edits(first, tmp_path):
    for seed in range(first, first + SEQUENCES // 10):
        run(tmp_path / "x.cdf", seed)
    assert [path.name for path in tmp_path.iterdir()] == ["x.cdf"]


def main(count):
    outcomes = Counter()
    for seed in range(count):
        with tempfile.TemporaryDirectory() as folder:
            try:
                outcomes += run(Path(folder) / "x.cdf", seed)
            except Exception as error:
                outcomes["wrong"] += 1
                words = f"sequence {seed}: {type(error).__name__}: {error}"
                print(words, file=sys.stderr, flush=True)
        outcomes["sequences"] += 1
    print(json.dumps({"wrong": 0, **outcomes}))


if __name__ == "__main__":
    main(int(sys.argv[1]))
