"""`tarvik copy`: makes a file again through the gateway, block of records by block of records."""

import os
from dataclasses import dataclass, replace
from typing import Optional

from tarvik import ops
from tarvik.cli import blocks, model
from tarvik.cli.differences import content_differences, two_sides
from tarvik.cli.errors import ImpossibleError, NoSuchVariableError, about, say
from tarvik.cli.files import opened
from tarvik.cli.progress import progress
from tarvik.cli.staging import staged
from tarvik.cli.text import visible
from tarvik.cli.written import written_records

call = ops.call


@dataclass(frozen=True)
class Wishes:
    """What is to be otherwise in the copy; None and empty for what stays.

    The constants' names stand for kinds. A compression is one of all variables, none of the file.
    """

    compression: Optional[tuple] = None
    checksum: Optional[str] = None
    majority: Optional[str] = None
    format: Optional[str] = None
    only: tuple = ()
    without: tuple = ()


def copy_file(source, target, wishes, force=False, verify=False):
    """Copy a file; return the exit code.

    The target is put in place when it is complete and, where that is asked for, was read and found
    to be the same as the source.
    """
    if not target.endswith((".cdf", ".CDF")) and not os.path.isdir(target):
        target += ".cdf"  # as the library does
    with opened(source) as origin:
        facts = _facts(model.read_facts(origin), wishes)
        variables = _chosen(model.read_variables(origin), wishes)
        attributes = model.read_attributes(origin)
        with staged(target, force) as path:
            wanted = [_as_wished(variable, facts, wishes) for variable in variables]
            _warn_of_loss(variables, wanted)
            with call("create", os.fsencode(path)) as copy:
                _set_facts(copy, facts)
                numbers = _write_variables(origin, source, copy, variables, wanted, path)
                complete = not (wishes.only or wishes.without)
                for attribute in attributes:
                    model.write_attribute(copy, _renumbered(attribute, numbers, complete))
                if facts.compression != model.NO_COMPRESSION:
                    call("setCompression", copy, *model.compression_inputs(facts.compression))
            if verify:
                _verify(source, path, {variable.name for variable in variables})
    return 0


def _facts(facts, wishes):
    asked = {
        "format": wishes.format,
        "majority": wishes.majority,
        "checksum": wishes.checksum,
        "compression": wishes.compression and model.NO_COMPRESSION,
    }
    facts = replace(facts, **{key: value for key, value in asked.items() if value})
    if facts.format == "MULTI_FILE":
        if wishes.compression or wishes.checksum == "MD5_CHECKSUM":
            raise ImpossibleError(
                "a CDF file of several files has neither compression nor checksum"
            )
        return replace(facts, compression=model.NO_COMPRESSION, checksum="NO_CHECKSUM")
    return facts


def _chosen(variables, wishes):
    names = {variable.name for variable in variables}
    for name in (*wishes.only, *wishes.without):
        if name not in names:
            raise NoSuchVariableError(name)
    return [
        variable
        for variable in variables
        if (not wishes.only or variable.name in wishes.only) and variable.name not in wishes.without
    ]


def _as_wished(variable, facts, wishes):
    """A variable as it is in the copy."""
    changes = {"row_major": facts.row_major}
    if wishes.compression:
        changes["compression"] = wishes.compression
    if facts.format == "MULTI_FILE":
        changes.update(compression=model.NO_COMPRESSION, sparse=model.NO_SPARSE)
    return replace(variable, **changes)


def _warn_of_loss(variables, wanted):
    """Say which variables cannot be kept as they are."""
    for before, after in zip(variables, wanted):
        if before.sparse != after.sparse:
            say(
                f"{visible(before.name)}: a CDF file of several files has no sparse records; "
                "those that are missing are written as they read"
            )


def _set_facts(copy, facts):
    call("setFormat", copy, model.constant(facts.format))
    call("setMajority", copy, model.constant(facts.majority))
    if facts.checksum != "NO_CHECKSUM":
        call("setChecksum", copy, model.constant(facts.checksum))


def _write_variables(origin, source, copy, variables, wanted, path):
    """Write all variables; return their numbers in the copy by those in the source."""
    numbers = {}
    for after in wanted:
        numbers[after.number] = model.create_variable(copy, after)
    total = sum(variable.written * variable.record_bytes for variable in variables)
    with progress(f"Copying {visible(source)}", total) as advance:
        for before, after in zip(variables, wanted):
            after = replace(after, number=numbers[before.number])
            for records, values in _written_values(origin, source, before, after, path):
                blocks.write(copy, after, records, values)
                advance(values.nbytes)
    return numbers


def _written_values(origin, source, before, after, path):
    """Read what a variable of the copy gets: pairs of records and their values."""
    with about(source):
        runs = [range(before.records)]
        if after.sparse != model.NO_SPARSE:
            runs = written_records(origin, source, before, os.path.dirname(path))
        for run in runs:
            for records in blocks.blocks(run, before.record_bytes):
                yield records, blocks.read(origin, before, records)


def _renumbered(attribute, numbers, complete):
    """The attribute with the entries of the variables that are in the copy.

    A complete copy keeps the entries for variables that do not exist, too.
    """
    kept = attribute.entries if complete else attribute.entries_among(numbers)
    return replace(
        attribute,
        entries=tuple(
            replace(entry, number=numbers.get(entry.number, entry.number))
            if entry.of_variable
            else entry
            for entry in kept
        ),
    )


def _verify(source, path, names):
    with two_sides(source, path) as (origin, copy):
        found = next(content_differences(origin.limited_to(names), copy), None)
    if found is not None:
        raise ImpossibleError(f"the copy differs: {found.text()}")
