"""Writers of tables: each takes a stream of bytes, the columns, and blocks of their records.

A block is, for each column, what `Column.read` gives.
"""

import csv
import io
import json
from itertools import product

import numpy as np

from tarvik._text import for_json

# What spreadsheets take for the beginning of a formula, or skip before one.
_FORMULAS = ("=", "+", "-", "@", "\t", "\r", "\n")


def write_csv(stream, columns, _count, found, text_cell=str):
    """A line for each record and a column for each value of it; names as "B[0,2]"."""
    names = [for_json(name) for column in columns for name in _cell_names(column)]
    stream.write(_csv_lines([map(text_cell, names)]))
    for block in found:
        cells = [
            column.written_out(values, blank, "").reshape((len(values), -1))
            for column, (values, blank) in zip(columns, block)
        ]
        for number, column in enumerate(columns):
            if column.is_text:
                cells[number] = np.vectorize(text_cell, otypes=[object])(cells[number])
        stream.write(_csv_lines(np.concatenate(cells, axis=1).tolist()))


def write_spreadsheet(stream, columns, count, found):
    """As csv, without texts that a spreadsheet would run as formulas."""
    write_csv(stream, columns, count, found, _without_formula)


def _without_formula(text):
    return f"'{text}" if text.startswith(_FORMULAS) else text


def _csv_lines(rows):
    lines = io.StringIO()
    csv.writer(lines, lineterminator="\n").writerows(rows)
    return lines.getvalue().encode()


def _cell_names(column):
    """The column's name, with the indices of each value of a record that has dimensions."""
    for place in product(*map(range, column.dimensions)):
        yield column.name + (f"[{','.join(map(str, place))}]" if place else "")


def write_json(stream, columns, _count, found):
    """A list with an object for each record, each on a line of its own."""
    names = [for_json(column.name) for column in columns]
    before = "[\n"
    for block in found:
        items = [_for_json(column, *pair) for column, pair in zip(columns, block)]
        lines = [json.dumps(dict(zip(names, row))) for row in zip(*items)]
        stream.write((before + ",\n".join(lines)).encode())
        before = ",\n"
    stream.write(b"[]\n" if before == "[\n" else b"\n]\n")


def _for_json(column, values, blank):
    """A list of the records; what JSON does not know is as in the documents of other commands."""
    items = column.written_out(values, blank, None)
    if values.dtype.kind == "f" and not column.is_time:
        for place in np.argwhere(~np.isfinite(values) & ~blank):
            items[tuple(place)] = for_json(items[tuple(place)])
    return items.tolist()


def write_npy(stream, columns, count, found):
    """An array with the records first; of several variables, one with a field for each."""
    fields = [(for_json(column.name), *_npy_type(column)) for column in columns]
    dtype = np.dtype(fields)
    single = len(columns) == 1
    _, kind, dimensions = fields[0]
    header = {
        "descr": np.lib.format.dtype_to_descr(np.dtype(kind) if single else dtype),
        "fortran_order": False,
        "shape": (count, *dimensions) if single else (count,),
    }
    np.lib.format.write_array_header_2_0(stream, header)
    for block in found:
        rows = np.empty(len(block[0][0]), dtype)
        for column, (name, *_), pair in zip(columns, fields, block):
            rows[name] = column.typed(*pair)
        stream.write(rows.tobytes())


def write_parquet(stream, columns, _count, found):
    """A column for each variable; records with dimensions are lists, blank values null."""
    import pyarrow
    from pyarrow import parquet

    types = [_arrow_type(pyarrow, column) for column in columns]
    names = [for_json(column.name) for column in columns]
    schema = pyarrow.schema(list(zip(names, types)))
    with parquet.ParquetWriter(stream, schema) as writer:
        for block in found:
            arrays = [
                _arrow_array(pyarrow, column, kind, *pair)
                for column, kind, pair in zip(columns, types, block)
            ]
            writer.write_batch(pyarrow.record_batch(arrays, schema=schema))


def _npy_type(column):
    """The class of a value, and the shape of a record."""
    if column.is_time:
        kind = "<M8[ns]"
    elif column.is_text:
        kind = f"<U{column.dtype.itemsize}"
    else:
        kind = column.number_dtype
    return kind, column.dimensions


def _arrow_type(pyarrow, column):
    if column.is_time:
        kind = pyarrow.timestamp("ns")
    elif column.is_text:
        kind = pyarrow.string()
    else:
        kind = pyarrow.from_numpy_dtype(column.dtype)
    for extent in reversed(column.dimensions):
        kind = pyarrow.list_(kind, extent)
    return kind


def _arrow_array(pyarrow, column, kind, values, blank):
    if column.is_time:
        items = column.typed(values, blank)
        blank = np.isnat(items)
    elif column.is_text:
        items = column.written_out(values, blank, None)
    else:
        items = values
    while pyarrow.types.is_fixed_size_list(kind):
        kind = kind.value_type
    found = pyarrow.array(items.ravel(), kind, mask=blank.ravel())
    for extent in reversed(column.dimensions):
        found = pyarrow.FixedSizeListArray.from_arrays(found, extent)
    return found


WRITERS = {
    "csv": write_csv,
    "spreadsheet": write_spreadsheet,
    "json": write_json,
    "npy": write_npy,
    "parquet": write_parquet,
}
