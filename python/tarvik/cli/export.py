"""`tarvik export`: values of variables in other formats, block of records by block of records."""

import os
import sys
from collections import Counter
from contextlib import contextmanager

from tarvik._fetch import name_of
from tarvik._sparse import check_not_too_many
from tarvik._text import counted, visible
from tarvik.cli.columns import Column, blank_values
from tarvik.cli.errors import (
    DONE,
    ImpossibleError,
    about,
    check_variables,
    for_each_file,
    say,
    targets_in,
)
from tarvik.cli.files import opened
from tarvik.cli.formats import WRITERS
from tarvik.cli.progress import progress
from tarvik.cli.ranges import axis_of, chosen_records
from tarvik.cli.staging import staged
from tarvik.indexing import blocks

# Texts and Python's own numbers take many times as much.
_BLOCK_BYTES = 1 << 20
_MOST_BYTES = 32 << 20  # of one record
# Of one record of a variable that is taken without being asked for: each is a column of a table.
_MOST_VALUES = 1000


def export_files(paths, names, format_name, output, force, gateway=None, **chosen):
    """Write the values of variables to stdout or files; return the exit code.

    Parameters
    ----------
    paths : sequence of str
        CDF files.
    names : sequence of str
        Variables with as many records as each other; those whose records do not vary go with all.
        Without any, all that fit.
    format_name : str
        A key of `WRITERS`.
    output : str or None
        The file to be made, or the folder for one of each CDF file; None for stdout.
    force : bool
        Whether a file that is there already is replaced.
    gateway : tarvik.Gateway, optional
        What the files are read through.
    records, start, stop, blank
        As for `_export`.
    """
    if len(paths) == 1 and (output is None or not os.path.isdir(output)):
        _export(paths[0], names, format_name, output, force, gateway, **chosen)
        return DONE

    targets = targets_in(output, paths, "csv" if format_name == "spreadsheet" else format_name)

    def export(path):
        _export(path, names, format_name, targets[path], force, gateway, **chosen)

    return for_each_file(targets, export)


def _export(path, names, format_name, output, force, gateway, *, records, start, stop, blank):
    """Export one file.

    Parameters
    ----------
    records : slice
        Which of the records from the time `start` to before `stop`, where these are given.
    blank : sequence of str
        Of "fill" and "pad": which values are left blank.
    """
    with opened(path, gateway) as file:
        check_variables(file, names)
        by_time = start is not None or stop is not None
        variables = [file[name] for name in dict.fromkeys(names)] or _all_that_fit(file, by_time)
        _check_size(variables)
        _check_records(variables)
        if (records, start, stop) == (slice(None), None, None):
            for variable in variables:
                check_not_too_many(variable)
        chosen = chosen_records(file, variables, records, start, stop)
        columns = [Column(variable, blank_values(variable, blank)) for variable in variables]
        with _destination(output, force) as stream:
            WRITERS[format_name](stream, columns, len(chosen), _found(path, columns, chosen))


def _check_size(variables):
    for variable in variables:
        if variable._record_bytes > _MOST_BYTES:
            raise ImpossibleError(
                f'a record of "{variable.name}" has {variable._record_bytes} bytes, which is too '
                "much for a row"
            )


def _check_records(variables):
    """Refuse variables whose records differ in number."""
    first, *others = [variable for variable in variables if variable.record_vary] or [None]
    for other in others:
        if len(other) != len(first):
            raise ImpossibleError(
                f'"{first.name}" has {len(first)} records and "{other.name}" {len(other)}; '
                "they cannot stand side by side"
            )


def _all_that_fit(file, by_time):
    """The variables that can stand in one table; tell which are left out, and why."""
    variables = list(file.values())
    varying = [v for v in variables if v.record_vary and len(v)]
    usual = _usual(map(len, varying))
    axis = _usual(axis_of(file, v) for v in varying if len(v) == usual) if by_time else None
    reasons = {}
    found = []
    for variable in variables:
        reason = _reason_against(variable, usual)
        if not reason and by_time and axis_of(file, variable) != axis:
            reason = "another time axis or none"
        if reason:
            reasons.setdefault(reason, []).append(visible(variable.name))
        else:
            found.append(variable)
    for reason, names in reasons.items():
        say(f"{visible(file.path)}: left out ({reason}): {', '.join(names)}")
    if not found:
        raise ImpossibleError("there is no variable with records")
    return found


def _usual(items):
    """The most frequent one, of several the largest; None if there are none."""
    counts = Counter(item for item in items if item is not None)
    return max(counts, key=lambda item: (counts[item], item), default=None)


def _reason_against(variable, usual):
    """Why a variable cannot stand in a table of so many records; "" where it can."""
    if not variable.record_vary:
        return "" if usual is None else "one value for all records"
    if len(variable) != usual:
        return counted(len(variable), "record")
    values = variable.size // len(variable)
    return f"{values} values in each record" if values > _MOST_VALUES else ""


def _found(path, columns, chosen):
    """What is in the records, in blocks: for each column its values and which of them are blank."""
    size = sum(column.variable._record_bytes for column in columns)
    with progress(f"Exporting {visible(name_of(path))}", len(chosen)) as advance:
        for records in blocks(chosen, size, _BLOCK_BYTES):
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
