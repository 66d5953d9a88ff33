"""`tarvik copy`: makes a file again, block of records by block of records."""

import os
from dataclasses import dataclass

from tarvik import CDFError, File
from tarvik._places import new_path
from tarvik._text import visible
from tarvik.cli.differences import content_differences
from tarvik.cli.errors import (
    DONE,
    FOUND,
    Failure,
    ImpossibleError,
    about,
    check_variables,
    for_each_file,
    say,
    targets_in,
)
from tarvik.cli.files import check_sizes, opened
from tarvik.cli.progress import progress
from tarvik.cli.staging import staged
from tarvik.file import Copy


@dataclass(frozen=True)
class Settings:
    """What is to be otherwise in the copy.

    Attributes
    ----------
    file : dict
        Of the copy: "majority", "checksum" and "format", as `tarvik.File` has them.
    variables : dict
        "compression" of each variable; the file as a whole has none then.
    only, without : tuple of str
        The variables that are copied or left out.
    """

    file: dict
    variables: dict
    only: tuple = ()
    without: tuple = ()


def copy_files(sources, target, settings, force=False, verify=False, gateway=None):
    """Copy files, several into a folder; return the exit code."""
    if os.path.isdir(target):
        targets = targets_in(target, sources, "cdf")
        return for_each_file(
            targets,
            lambda source: copy_file(source, targets[source], settings, force, verify, gateway),
        )
    return copy_file(sources[0], target, settings, force, verify, gateway)


def copy_file(source, target, settings, force=False, verify=False, gateway=None):
    """Copy a file; return the exit code, `FOUND` if something of it cannot be copied.

    The target is put in place when it is complete and, where that is asked for, was read and found
    to be the same as the source.
    """
    try:
        target = new_path(target)
    except ValueError as error:
        raise Failure(target, ImpossibleError(str(error))) from None
    with opened(source, gateway) as origin:
        chosen = _chosen(origin, settings)
        of_file, of_variables = _made_possible(origin, settings)
        with staged(target, force) as path:
            with Copy(origin, path, **of_file) as copy:
                with about(source):
                    copy.take_attributes()
                _copy_variables(origin, copy, chosen, of_variables)
                if not (settings.only or settings.without):
                    copy.take_orphans()
            if verify:
                _verify(origin, path, chosen)
        return FOUND if _tell_of_lost_text(origin, chosen) else DONE


def _chosen(origin, settings):
    """The names of the variables that are copied."""
    check_variables(origin, (*settings.only, *settings.without))
    return [
        name
        for name in origin
        if (not settings.only or name in settings.only) and name not in settings.without
    ]


def _made_possible(origin, settings):
    """The settings of the copy and of its variables; say what cannot be kept."""
    of_file, of_variables = dict(settings.file), dict(settings.variables)
    if of_variables:
        of_file["compression"] = None
    if of_file.get("format", origin.format) == "multi":
        if of_variables.get("compression") or of_file.get("checksum"):
            raise ImpossibleError(
                "a CDF file of several files has neither compression nor checksum"
            )
        of_file.update(compression=None, checksum=None)
        of_variables.update(compression=None, sparse=None)
    return of_file, of_variables


def _tell_of_lost_text(origin, names):
    """Say which texts of attributes the library does not give as a whole; tell whether any."""
    numbers = {origin[name].number for name in names}
    cut = [
        name
        for name, attribute in origin._attributes.items()
        for entries, kept in ((attribute.of_file, None), (attribute.of_variables, numbers))
        if any(entry.is_cut and (not kept or n in kept) for n, entry in entries.items())
    ]
    for name in cut:
        say(f"{visible(name)}: the library gives no text behind a NUL, so that is not copied")
    return bool(cut)


def _copy_variables(origin, copy, names, changes):
    total = sum(origin[n]._existing_count * origin[n]._stored_bytes for n in names)
    with progress(f"Copying {visible(origin.path)}", total) as advance:
        for name in names:
            variable = origin[name]
            with about(origin.path):
                check_sizes(variable)
            loses = "sparse" in changes and variable.sparse is not None
            if loses:
                say(
                    f"{visible(name)}: a CDF file of several files has no sparse records; "
                    "those that are missing are written as they read"
                )
            values = _values(variable, everything=loses, advance=advance)
            copy.take(variable, name, changes=changes, values=values)


def _values(variable, everything, advance):
    """The hyperslabs that are copied, and what they hold."""
    with about(variable._file.path):
        records = range(len(variable) if variable.record_vary else 1)
        found = variable._stored_blocks(records) if everything else variable._existing_blocks()
        for runs in found:
            values = variable._read(runs)
            yield runs, values
            advance(values.nbytes)


def _verify(origin, path, names):
    try:
        with File(path) as copy:
            found = next(content_differences(origin, copy, set(names)), None)
    except CDFError as error:
        raise ImpossibleError(f"the copy cannot be read: {error}") from error
    if found is not None:
        raise ImpossibleError(f"the copy differs: {found.text()}")
