"""One variable of an open file: its values as a NumPy user sees them."""

from __future__ import annotations

from collections.abc import Iterable, Iterator
from itertools import product
from math import prod
from typing import Any, Callable

import numpy as np

from tarvik._entries import Entry
from tarvik._handle import Handle
from tarvik._order import to_gateway, to_reader, turned
from tarvik._settings import SPARSE_NAMES, compression_name
from tarvik._sparse import existing_records, same_bits
from tarvik.attributes import Attributes
from tarvik.datatypes import as_given, datatype_named, to_stored, to_user
from tarvik.indexing import BLOCK_BYTES, Axis, Selection, inside, pieces, select

__all__ = ["Variable"]

# What a user's array has for no value, by the kind of its dtype; numbers have the FILLVAL.
_NONE = {"M": np.datetime64("NaT"), "S": b"", "U": ""}
# The most bytes and values of one request; the library counts some in 32 bits.
_REQUEST_BYTES = 1 << 30


class Variable:
    """A variable of an open file; made by `File`, as `file["flux"]`.

    Indexing reads, and assigning to an index writes: integers, slices with any step, an ellipsis,
    and a list or boolean mask along one dimension. Values come in C order with the records first,
    whatever the file's majority::

        flux[10:20]          # ten records
        flux[-1, 3]          # one value, a NumPy scalar
        flux[5:8] = 0.0      # broadcast as NumPy does; goes beyond the last record too
        flux.append(values)

    Attributes
    ----------
    raw, masked : indexable
        Reading as it is stored, and as a masked array; see there.
    """

    __slots__ = (
        "__weakref__",
        "_datatype",
        "_dim_vary",
        "_elements",
        "_extents",
        "_file",
        "_name",
        "_number",
        "_record_vary",
    )

    def __init__(self, file: Handle, number: int) -> None:
        name, datatype, elements, extents, record_vary, dim_vary = file._call(
            "inquireVar", file.id, number
        )
        order = turned(file._row_major)
        self._file = file
        self._datatype = datatype_named(datatype)
        self._elements = int(elements)
        self._extents = tuple(np.ravel(extents).astype(int).tolist())[order]
        self._name: str = name
        self._number: int | None = number
        self._record_vary = bool(record_vary)
        self._dim_vary = tuple(np.ravel(dim_vary).astype(bool).tolist())[order]

    @property
    def name(self) -> str:
        """Its name; `File.rename` changes it."""
        return self._name

    @property
    def datatype(self) -> str:
        """The library's name, "CDF_REAL4" for example."""
        return self._datatype.name

    @property
    def record_vary(self) -> bool:
        """Whether there is a value for each record, or one for all."""
        return self._record_vary

    @property
    def dim_vary(self) -> tuple[bool, ...]:
        """The same for each dimension."""
        return self._dim_vary

    @property
    def attrs(self) -> Attributes:
        """The attributes; assigning a mapping replaces them all."""
        return Attributes(self._file, self)

    @attrs.setter
    def attrs(self, values: Any) -> None:
        self.attrs._replace(values)

    def __repr__(self) -> str:
        if self._number is None or self._file.closed:
            return f"<tarvik.Variable {self.name!r}: {self.datatype}, not available any more>"
        shape = " x ".join(map(str, self.shape)) or "one value"
        return f"<tarvik.Variable {self.name!r}: {self.datatype}, {shape}>"

    def _repr_html_(self) -> str:
        from tarvik._html import of_variable

        return of_variable(self)

    @property
    def number(self) -> int:
        """The library's number, for `tarvik.ops`.

        Raises
        ------
        ValueError
            If the variable was deleted.
        """
        if self._number is None:
            raise ValueError(f"the variable {self.name!r} was deleted")
        return self._number

    @property
    def dtype(self) -> np.dtype:
        """Of the values as indexing gives them."""
        if self._datatype.is_text:
            return np.dtype(f"U{self._elements}")
        return np.dtype("datetime64[ns]") if self._datatype.is_time else self._datatype.stored

    @property
    def shape(self) -> tuple[int, ...]:
        """The number of records, unless they do not vary, and the dimensions."""
        return (self._records(), *self._extents) if self.record_vary else self._extents

    @property
    def ndim(self) -> int:
        return len(self._extents) + self.record_vary

    @property
    def size(self) -> int:
        """The number of values."""
        return int(np.prod(self.shape, dtype=object))

    @property
    def nbytes(self) -> int:
        """The bytes of the values as they are stored, uncompressed."""
        return self.size * self._stored.itemsize

    def __len__(self) -> int:
        if self.ndim == 0:
            raise TypeError(f"{self.name!r} is a single value and has no length")
        return self.shape[0]

    @property
    def compression(self) -> str | None:
        """Of its values: "gzip:6", "rle", "huffman", "ahuffman" or None."""
        return compression_name(*self._ask("getVarCompression"))

    @property
    def sparse(self) -> str | None:
        """What missing records read as: "pad", "previous", or None if records are not sparse."""
        return SPARSE_NAMES[self._ask("getVarSparseRecords")]

    @property
    def blocking_factor(self) -> int:
        """The number of records that the variable grows by; 0 leaves it to the library."""
        return int(self._ask("getVarBlockingFactor"))

    @property
    def pad(self) -> Any:
        """What records that were never written read as, unless there is a FILLVAL."""
        return to_user(self._pad(), self._datatype)[()]

    @property
    def fill(self) -> Any:
        """The entry of FILLVAL, as it is stored; None if there is none of the datatype."""
        return self._fill()

    @property
    def raw(self) -> Reader:
        """Read what is stored: `variable.raw[key]`.

        Bytes for text, numbers for times; complex for CDF_EPOCH16: seconds and picoseconds. The
        library gives no text behind a NUL.
        """
        return Reader("raw", self._read_stored, self)

    @property
    def masked(self) -> Reader:
        """Read a masked array: `variable.masked[key]`.

        Masked is what equals FILLVAL, is NaT, or lies outside VALIDMIN and VALIDMAX.
        """
        return Reader("masked", self._read_masked, self)

    def __getitem__(self, key: Any) -> Any:
        stored = self._read_stored(key)
        datatype = self._datatype
        if datatype.is_text or datatype.is_time:
            return to_user(np.asarray(stored), datatype, self._fill())[()]
        return stored

    def __array__(self, dtype: Any = None, copy: Any = None) -> np.ndarray:
        values = np.asarray(self[...])
        return values if dtype is None else values.astype(dtype)

    def __iter__(self) -> Iterator[Any]:
        for index in range(len(self)):
            yield self[index]

    def __setitem__(self, key: Any, values: Any) -> None:
        self._file._check_writable()
        selection = select(key, self.shape, growing=self.record_vary)
        stored = self._to_stored(values)
        try:
            stored = np.broadcast_to(stored, selection.shape)
        except ValueError:
            raise ValueError(
                f"values of shape {stored.shape} do not fit the shape {selection.shape} that is "
                f"selected of {self.name!r}"
            ) from None
        stored = stored.reshape(selection.full_shape)
        self._check_variance(stored)
        self._write(selection, stored)

    def _to_stored(self, values: Any) -> np.ndarray:
        """What is stored for a user's values: FILLVAL where they are masked."""
        fill = self._fill()
        if values is np.ma.masked:
            values = np.ma.MaskedArray(np.zeros((), self.dtype), True)
        if np.ma.is_masked(values):
            none = _NONE.get(values.dtype.kind, fill)
            if none is None:
                raise ValueError(f"{self.name!r} has no FILLVAL to store for masked values")
            values = values.filled(none)
        return to_stored(values, self._datatype, self._elements, fill)

    def _check_variance(self, values: np.ndarray) -> None:
        """One value is stored for all of a dimension that does not vary."""
        for number, varies in enumerate(self.dim_vary):
            axis = number + self.record_vary
            if not varies and values.size:
                first = np.broadcast_to(values.take([0], axis), values.shape)
                if not same_bits(values, first).all():
                    raise ValueError(
                        f"dimension {axis} of {self.name!r} does not vary: it holds one value, and "
                        "those given differ"
                    )

    def append(self, values: Any) -> None:
        """Write records behind the last one.

        Parameters
        ----------
        values : array_like
            One record, or several along a first dimension.

        Raises
        ------
        TypeError
            If the records of the variable do not vary.
        ValueError
            If the shape does not fit.
        """
        if not self.record_vary:
            raise TypeError(f"{self.name!r} has one value for all records; assign to it instead")
        given = as_given(values)
        several = given.ndim > len(self._extents)
        count = len(given) if several else 1
        records = self._records()
        if count:
            self[records : records + count] = given if several else given[np.newaxis]

    def resize(self, records: int) -> None:
        """Change the number of records; new ones read as records that were never written.

        That is FILLVAL, the pad value where there is none, or the record before them.

        Raises
        ------
        TypeError
            If the records of the variable do not vary.
        """
        self._file._check_writable()
        if not self.record_vary:
            raise TypeError(f"{self.name!r} has one value for all records")
        if records < 0:
            raise ValueError(f"{records} is no number of records")
        present = self._records()
        if records < present:
            self._file._shrink(self.number, records)
        elif records > present:
            # The library fills what lies between.
            last = self._previous(present if self.sparse == "previous" else 0)
            runs = self._runs(range(records - 1, records), self._extents)
            self._write_stored(runs, last[np.newaxis])

    @property
    def _stored(self) -> np.dtype:
        return self._datatype.dtype(self._elements)

    def _ask(self, operation: str) -> Any:
        return self._file._call(operation, self._file.id, self.number)

    @property
    def _record_count(self) -> int:
        """The records in the file up to the last one, also those that are missing."""
        return int(self._ask("getVarMaxWrittenRecNum")) + 1

    @property
    def _existing_count(self) -> int:
        """The records that are not missing."""
        return int(self._ask("getVarNumRecsWritten"))

    def _records(self) -> int:
        records = self._record_count
        return min(records, self._file._lengths.get(self.number, records))

    def _pad(self) -> np.ndarray:
        raw = self._ask("getVarPadValue")
        if self._datatype.stored.kind == "c":
            return np.ravel(raw).view("c16")[:1].reshape(())
        if self._datatype.is_text:
            raw = raw.encode("utf-8", "surrogateescape") if isinstance(raw, str) else raw
            return np.frombuffer(np.ravel(raw).tobytes(), self._stored)[:1].reshape(())
        return np.asarray(raw, self._stored).reshape(())

    def _fill(self) -> Any:
        entry = None if self._datatype.is_text else self.attrs._entry("FILLVAL")
        if entry is None or entry.is_text:
            return None
        value = entry.stored
        if value.size == 0:
            return None
        with np.errstate(over="ignore", invalid="ignore"):
            fill = value[:1].astype(self._stored)
        # Floats may be rounded; integers must be the same.
        same = self._stored.kind == "f" or np.array_equal(fill, value[:1])
        return fill[0] if same else None

    def _read_stored(self, key: Any) -> Any:
        if self._datatype.stored.kind in "iuf":
            indices = key if isinstance(key, tuple) else (key,)
            if len(indices) == self.ndim and all(type(index) is int for index in indices):
                return self._read_number(indices)
            if type(key) is int and self.record_vary and all(self.dim_vary):
                return self._read_record(key)
        if key is Ellipsis:
            values = self._read_records(range(self._records() if self.record_vary else 1))
            return np.asarray(values, order="C")[()]
        selection = select(key, self.shape)
        parts = [axis.runs for axis in selection.axes]
        if all(len(runs) == 1 for runs in parts):
            values = self._read([runs[0][0] for runs in parts])
            values = values[_within(runs[0][1] for runs in parts)]
        else:
            values = np.empty(selection.full_shape, self._stored)
            for runs in product(*parts):
                values[tuple(run[1] for run in runs)] = self._read([run[0] for run in runs])
        return np.asarray(values.reshape(selection.shape), order="C")[()]

    def _read_number(self, key: tuple) -> Any:
        """Read one number, which is less work than a hyperslab of one."""
        axes = enumerate(zip(key, self.shape))
        indices = [inside(index, size, axis) for axis, (index, size) in axes]
        record = indices.pop(0) if self.record_vary else 0
        if self._file._row_major:
            indices.reverse()
        raw = self._file._call("getVarData", self._file.id, self.number, record, indices)
        return self._datatype.stored.type(raw)

    def _read_record(self, key: int) -> np.ndarray:
        """Read the numbers of one record, which is less work than a hyperslab of one."""
        record = inside(key, self._records(), 0)
        raw = self._file._call("getVarRecordData", self._file.id, self.number, record)
        values = np.ravel(raw, order="F")
        if self._file._row_major:
            return values.reshape(self._extents)
        return np.ascontiguousarray(values.reshape(self._extents, order="F"))

    def _read_masked(self, key: Any) -> np.ma.MaskedArray:
        stored = np.asarray(self._read_stored(key))
        fill = self._fill()
        values = to_user(stored, self._datatype, fill)
        compared = values if self._datatype.is_time else stored
        axes = select(key, self.shape).axes
        mask = np.zeros(stored.shape, bool)
        if fill is not None:
            mask |= np.isnan(stored) if fill != fill else stored == fill
        for name, outside in (("VALIDMIN", np.less), ("VALIDMAX", np.greater)):
            limit = self._limit(name, axes)
            if limit is not None:
                with np.errstate(invalid="ignore"):
                    mask |= outside(compared, limit)
        if values.dtype.kind == "M":
            mask |= np.isnat(values)
        return np.ma.MaskedArray(values, mask)

    def _limit(self, name: str, axes: tuple[Axis, ...]) -> Any:
        """One for all values, or one for each that is selected of the last dimension."""
        entry = self.attrs._entry(name)
        if entry is None or entry.is_text or self._datatype.is_text:
            return None
        value = self._comparable(entry)
        if value.size == 1:
            return value[0]
        if value.size not in self._extents[-1:]:
            return None
        picks = axes[-1].picks
        return value[picks[0] if axes[-1].dropped else np.asarray(picks)]

    def _comparable(self, entry: Entry) -> np.ndarray:
        """An entry's numbers as the values they are compared with: times as `datetime64`."""
        value = entry.stored
        if self._datatype.is_time:
            if entry.datatype.is_time:
                return to_user(value, entry.datatype)
            return to_user(value.astype(self._stored), self._datatype)
        if self._stored == np.float32:
            with np.errstate(over="ignore"):
                return value.astype(np.float32)  # rounded as the values, one of which may equal it
        return value

    def _split(
        self, runs: list[range], limit: int
    ) -> Iterator[tuple[tuple[slice, ...], list[range]]]:
        """Cut a hyperslab into ones of up to so many bytes."""
        return pieces(runs, max(1, limit // self._stored.itemsize))

    def _place(self, runs: list[range]) -> list[Any]:
        """A hyperslab as the gateway takes it."""
        record, rest = (runs[0], runs[1:]) if self.record_vary else (range(1), runs)
        rest = rest[turned(self._file._row_major)]
        return [
            record.start,
            len(record),
            record.step,
            [run.start for run in rest],
            [len(run) for run in rest],
            [run.step for run in rest],
        ]

    def _read(self, runs: list[range]) -> np.ndarray:
        """Read a hyperslab: of each dimension the indices that a range has."""
        shape = tuple(map(len, runs))
        if 0 < prod(shape) * self._stored.itemsize <= _REQUEST_BYTES:
            return self._read_part(runs)
        values = np.empty(shape, self._stored)
        for place, part in self._split(runs, _REQUEST_BYTES):
            values[place] = self._read_part(part)
        return values

    def _read_part(self, runs: list[range]) -> np.ndarray:
        place = self._place(runs)
        raw = self._file._call("hyperGetVarData", self._file.id, self.number, *place)
        item: tuple[int, ...] = ()
        if self._datatype.stored.kind == "c":
            raw = np.ravel(raw, order="F").view("c16")
        elif self._datatype.is_text:
            item = (self._elements,)
        cells = to_reader(raw, item, tuple(place[4]), place[1], self._file._row_major)
        if item:
            cells = np.ascontiguousarray(cells).view(self._stored)[..., 0]
        return cells.reshape(tuple(map(len, runs)))

    def _write(self, selection: Selection, values: np.ndarray) -> None:
        if values.size == 0:
            return
        for runs in product(*[axis.runs for axis in selection.axes]):
            self._write_stored([run[0] for run in runs], values[_within(run[1] for run in runs)])

    def _write_stored(self, runs: list[range], values: np.ndarray) -> None:
        self._file._check_writable()
        if self.record_vary:
            self._file._before_write(self.number, runs[0][-1])
        item: tuple[int, ...] = ()
        if self._datatype.is_text or self._datatype.stored.kind == "c":
            unit = "S1" if self._datatype.is_text else "f8"
            values = np.ascontiguousarray(values)[..., np.newaxis].view(unit)
            item = (values.shape[-1],)
        for place, part in self._split(runs, _REQUEST_BYTES):
            piece = values[place] if self.record_vary else values[place][np.newaxis]
            raw = to_gateway(piece, item, self._file._row_major)
            self._file._call("hyperPutVarData", self._file.id, self.number, *self._place(part), raw)

    @property
    def _record_bytes(self) -> int:
        return int(np.prod(self._extents, dtype=object)) * self._stored.itemsize

    def _read_records(self, records: range) -> np.ndarray:
        """Whole records, or the only one where they do not vary, without a dimension for it."""
        return self._read(self._runs(records, self._extents))

    def _runs(self, records: range, extents: Iterable[int]) -> list[range]:
        return [records] * self.record_vary + [range(extent) for extent in extents]

    def _stored_runs(self, records: range) -> list[range]:
        """All that is stored of records: one value along a dimension that does not vary."""
        along = zip(self._extents, self.dim_vary)
        return self._runs(
            records, [extent if varies else min(1, extent) for extent, varies in along]
        )

    @property
    def _stored_bytes(self) -> int:
        """The bytes that are stored of one record."""
        return prod(map(len, self._stored_runs(range(1)))) * self._stored.itemsize

    def _stored_blocks(self, records: range) -> Iterator[list[range]]:
        """All that is stored of records, in hyperslabs of some MiB."""
        runs = self._stored_runs(records)
        for _, part in self._split(runs, BLOCK_BYTES):
            yield part

    def _existing_values(self) -> Iterator[tuple[list[range], np.ndarray]]:
        """The records that exist, in blocks of some MiB, as hyperslabs and what they hold."""
        for runs in self._existing_blocks():
            yield runs, self._read(runs)

    def _existing_blocks(self) -> Iterator[list[range]]:
        existing = existing_records(self)
        records = self._records() if self.record_vary else 1
        end = 0 if self.record_vary else 1
        for run in existing:
            kept = run[: max(0, records - run.start)]
            if kept:
                yield from self._stored_blocks(kept)
                end = kept.stop
        if end < records:  # the last record that is left need not exist
            yield self._stored_runs(range(records - 1, records))

    def _missing(self) -> np.ndarray | None:
        """What missing records read as: FILLVAL, or the pad value where there is none.

        None if it is not certain, as with a FILLVAL of another datatype.
        """
        entry = self.attrs._entry("FILLVAL")
        if entry is None:
            return self._pad()
        fill = self._fill()
        return np.asarray(fill) if fill is not None and entry.datatype is self._datatype else None

    def _previous(self, record: int) -> np.ndarray:
        if record == 0:
            missing = self._missing()
            return np.broadcast_to(self._pad() if missing is None else missing, self._extents)
        return self._read_records(range(record - 1, record))[0]


def _within(places: Iterable[slice]) -> Any:
    """A key for an array; the ellipsis keeps one without dimensions an array."""
    return (..., *places)


class Reader:
    """Indexing that gives the values of a variable in another form."""

    def __init__(self, name: str, read: Callable[[Any], Any], variable: Variable) -> None:
        self._name = name
        self._read = read
        self._variable = variable

    def __getitem__(self, key: Any) -> Any:
        return self._read(key)

    def __repr__(self) -> str:
        return f"<{self._name} of {self._variable!r}>"
