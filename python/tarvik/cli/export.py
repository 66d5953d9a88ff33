"""`tarvik export`: values of variables in other formats, block of records by block of records."""

import sys
from contextlib import contextmanager

from tarvik.cli import blocks, model
from tarvik.cli.columns import Column, blank_values
from tarvik.cli.errors import DONE, ImpossibleError, NoSuchVariableError, about
from tarvik.cli.files import opened
from tarvik.cli.formats import WRITERS
from tarvik.cli.progress import progress
from tarvik.cli.staging import staged
from tarvik.cli.text import visible

# Texts and Python's own numbers take many times as much.
_BLOCK_BYTES = 1 << 20


def export_variables(path, names, format_name, records, blank, output, force):
    """Write the values of variables to stdout or a file; return the exit code.

    Parameters
    ----------
    path : str
        The CDF file.
    names : sequence of str
        Variables with as many records as each other; those whose records do not vary go with all.
    format_name : str
        A key of `WRITERS`.
    records : slice
        Which records.
    blank : sequence of str
        Of "fill" and "pad": which values are left blank.
    output : str or None
        The file to be made; None for stdout.
    force : bool
        Whether a file that is there already is replaced.
    """
    with opened(path) as file:
        columns = _columns(file, dict.fromkeys(names), blank)
        chosen = range(_record_count(columns))[records]
        with _destination(output, force) as stream:
            WRITERS[format_name](stream, columns, len(chosen), _found(path, columns, chosen))
    return DONE


def _columns(file, names, blank):
    variables = {variable.name: variable for variable in model.read_variables(file)}
    for name in names:
        if name not in variables:
            raise NoSuchVariableError(name)
    return [
        Column(file, variables[name], blank_values(file, variables[name], blank)) for name in names
    ]


def _record_count(columns):
    """The number of records that the variables have in common."""
    varying = [column.variable for column in columns if column.variable.record_variance]
    if not varying:
        return max(column.variable.records for column in columns)
    first = varying[0]
    for other in varying:
        if other.records != first.records:
            raise ImpossibleError(
                f'"{first.name}" has {first.records} records and "{other.name}" {other.records}; '
                "they cannot stand side by side"
            )
    return first.records


def _found(path, columns, chosen):
    """What is in the records, in blocks: for each column its values and which of them are blank."""
    size = sum(column.variable.record_bytes for column in columns)
    with progress(f"Exporting {visible(path)}", len(chosen)) as advance:
        for records in blocks.blocks(chosen, size, _BLOCK_BYTES):
            with about(path):
                found = [column.read(records) for column in columns]
            yield found
            advance(len(records))


@contextmanager
def _destination(output, force):
    """A stream of bytes that ends up in a file, or stdout."""
    if output is None:
        with about("stdout"):
            yield sys.stdout.buffer
            sys.stdout.buffer.flush()
        return
    with staged(output, force) as path, open(path, "wb") as stream:
        yield stream
