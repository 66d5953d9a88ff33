"""The commands: their arguments and what they say of themselves.

The modules that do the work are imported when a command runs, so that it starts faster.
"""

import os
import sys
from functools import partial

import click

from tarvik.cli.parameters import (
    COMPRESSION,
    DATATYPE,
    FILE,
    FILE_OR_VARIABLE,
    NAME_AND_VALUE,
    VARIABLE,
    as_json,
    files_and_variables,
    force,
    isolation,
    record_options,
    through_gateway,
)
from tarvik.cli.plot import plot

__all__ = ["COMMANDS"]

_FORMATS = ("csv", "json", "npy", "parquet")
_BINARY = ("npy", "parquet")


@click.command("ls")
@click.argument("files", nargs=-1, required=True, metavar="FILE...", type=FILE)
@click.option(
    "--with", "having", metavar="NAME", type=VARIABLE, help="Only files with this variable."
)
@isolation(by_default=True)
def list_(files, having, isolated, seconds):
    """List files and their variables, in a line each.

    \b
    tarvik ls measurements.cdf
    tarvik ls *.cdf --with B

    A file's line has the number of its variables, its size, and from when to when its times are. A
    variable's line has its name, datatype, shape and units: records first, then the dimensions in
    the order in which Python and C index them.

    The exit code is as in "show".
    """
    from tarvik.cli.ls import list_files

    return partial(list_files, files, having, isolated, seconds)


@click.command()
@click.argument("files", nargs=-1, required=True, metavar="FILE...", type=FILE)
@click.option(
    "--variable",
    "names",
    multiple=True,
    metavar="NAME",
    type=VARIABLE,
    help="Show its first values too.",
)
@as_json
@through_gateway(by_default=True)
def show(files, names, as_json):
    """Show what is in CDF files: facts, attributes, variables.

    \b
    tarvik show measurements.cdf
    tarvik show measurements.cdf --variable Epoch --variable B
    tarvik show *.cdf --json

    The dimensions of a variable stand as "[records] x dimensions", in the order in which the
    gateway's operations take them. "Varies" has a T for what varies and an F for what does not: the
    records, then each dimension.

    With --json one file gives an object, several give a list of them. A file that cannot be shown
    is not in the list; where there is none to show, stdout stays empty. NaN and infinite numbers
    are the strings "NaN", "Infinity" and "-Infinity"; a byte that is no UTF-8 is an escape as in
    \\xe9.

    Files are read in a process of its own: one that crashes the CDF library is refused like others
    that it cannot read.

    The exit code is 0 when all was shown, 2 for wrong usage, 3 for a file that is missing or
    unreadable, 4 when the CDF library refused.
    """
    from tarvik.cli.show import show_files

    return partial(show_files, files, names, as_json)


@click.command()
@click.argument("file", metavar="FILE", type=FILE)
@click.argument("variable", required=False, metavar="[VARIABLE]", type=VARIABLE)
@click.option("--set", "changed", multiple=True, type=NAME_AND_VALUE, help="Set an attribute.")
@click.option("--delete", "deleted", multiple=True, metavar="NAME", help="Delete an attribute.")
@click.option(
    "--rename",
    "renamed",
    multiple=True,
    type=NAME_AND_VALUE,
    metavar="OLD=NEW",
    help="Rename an attribute.",
)
@click.option("--type", "datatype", type=DATATYPE, help="The datatype of what is set.")
@through_gateway(by_default=True)
def attrs(file, variable, changed, deleted, renamed, datatype):
    """Look at the attributes of a file or a variable, or edit them.

    \b
    tarvik attrs measurements.cdf
    tarvik attrs measurements.cdf B
    tarvik attrs measurements.cdf B --set UNITS=nT --set VALIDMAX=100
    tarvik attrs measurements.cdf --rename Titel=TITLE --delete Remark
    tarvik attrs measurements.cdf --set Data_version=3 --set TEXT=one --set TEXT=two

    What is set keeps the datatype that it has in the file; something new is text, or has the
    datatype of --type. FILLVAL, VALIDMIN, VALIDMAX, SCALEMIN and SCALEMAX of a variable have the
    variable's. Several numbers have commas between them, times are in ISO 8601. An attribute of the
    file that is set several times gets several entries.

    All edits together are one transaction: they are all done, or the file stays as it was; only a
    CDF file of several files is edited in place.

    The exit code is 0 when all was done, 2 for wrong usage, 3 for a file that is missing or cannot
    be written, 4 when the CDF library refused or an edit cannot be made.
    """
    from tarvik.cli.attrs import edit_attributes, show_attributes

    if changed or deleted or renamed:
        return partial(edit_attributes, file, variable, renamed, deleted, changed, datatype)
    if datatype:
        raise click.UsageError("--type is for what --set sets")
    return partial(show_attributes, file, variable)


@click.command()
@click.argument(
    "items", nargs=-1, required=True, metavar="FILE... [VARIABLE...]", type=FILE_OR_VARIABLE
)
@click.option(
    "-f", "--format", "format_name", type=click.Choice(_FORMATS), default="csv", show_default=True
)
@record_options
@click.option(
    "--blank",
    type=click.Choice(["fill", "pad"]),
    multiple=True,
    help="Leave fill values (the attribute FILLVAL) or pad values blank; may be given twice.",
)
@click.option(
    "--spreadsheet",
    is_flag=True,
    help="In csv a text gets a ' before it where a spreadsheet would take it for a formula.",
)
@click.option(
    "-o",
    "--output",
    metavar="OUT",
    type=FILE,
    help="The file to make, not stdout; a folder for several files.",
)
@force
@through_gateway(by_default=False)
def export(items, format_name, spreadsheet, output, force, **chosen):
    """Write values as CSV, JSON, npy or Parquet.

    \b
    tarvik export measurements.cdf Epoch B > field.csv
    tarvik export measurements.cdf Epoch B --records -10: --format json
    tarvik export measurements.cdf --from 2020-01-31 --to 2020-02-01
    tarvik export day1.cdf day2.cdf Epoch B -f parquet --blank fill -o folder

    The first argument is a file, and so is each other that ends in .cdf; the rest are variables.
    Without any, all variables are taken that have the usual number of records and up to 1000 values
    in each, with --from and --to also the usual times; stderr has those that are left out.

    Each record is a row; variables with as many records stand side by side, and one whose records
    do not vary goes beside each. Indices count from zero, in the order of a reader in C: "show" has
    the dimensions of a row-major file the other way round. With --from and --to these are the
    records whose time, which DEPEND_0 names, is not before the one and before the other.

    \b
    csv      a column for each value: Epoch, B[0], B[1]; blank is empty
    json     a list with an object for each record; blank is null
    npy      an array, with a field for each variable when there are several; blank is NaN or NaT,
             and whole numbers that may be blank become floating-point numbers
    parquet  a column for each variable, lists where there are dimensions; blank is null; this
             needs the extra tarvik[parquet]

    A spreadsheet takes a text that begins with =, +, - or @ for a formula, which may run programs:
    files from strangers want --spreadsheet there.

    Times are ISO 8601 texts in csv and json, and datetime64[ns] in npy and parquet. Texts lose the
    NULs behind them. A byte that is no UTF-8 is an escape as in \\xe9; in npy it is kept as Python
    does (surrogateescape). NaN and infinite numbers in json are the strings that "show" has.
    """
    files, variables = files_and_variables(items)
    if format_name in _BINARY and output is None and sys.stdout.isatty():
        raise click.UsageError(f"{format_name} is nothing for a terminal; give a file with -o")
    _check_folder(files, output, "-o")
    if format_name == "parquet":
        _need("pyarrow", "parquet")
    if spreadsheet and format_name != "csv":
        raise click.UsageError("--spreadsheet is for csv")
    from tarvik.cli.export import export_files

    writer = "spreadsheet" if spreadsheet else format_name
    return partial(export_files, files, variables, writer, output, force, **chosen)


def _check_folder(files, output, option):
    if len(files) > 1 and not (output and os.path.isdir(output)):
        raise click.UsageError(f"several files need a folder with {option}, not {output}")


def _need(module, extra):
    from importlib.util import find_spec

    if find_spec(module) is None:
        raise click.UsageError(f"this needs {module}: pip install 'tarvik[{extra}]'")


@click.command()
@click.argument("files", nargs=-1, required=True, metavar="SRC...", type=FILE)
@click.argument("target", metavar="DST", type=FILE)
@click.option(
    "--compression",
    type=COMPRESSION,
    help="Of each variable: none, rle, huffman, ahuffman, gzip or gzip:1 to gzip:9.",
)
@click.option("--checksum", type=click.Choice(["md5", "none"]))
@click.option("--majority", type=click.Choice(["row", "column"]))
@click.option("--format", "format_name", type=click.Choice(["single", "multi"]))
@click.option(
    "--only",
    multiple=True,
    type=VARIABLE,
    help="Copy this variable and those named likewise.",
)
@click.option(
    "--without",
    multiple=True,
    type=VARIABLE,
    help="Leave this variable out; may be given several times.",
)
@click.option("--verify", is_flag=True, help="Read both and compare before DST is put in place.")
@force
@through_gateway(by_default=False)
def copy(files, target, compression, only, without, verify, force, **of_file):
    """Write files anew, with all that is in them.

    \b
    tarvik copy measurements.cdf smaller.cdf --compression gzip:6 --verify
    tarvik copy measurements.cdf field.cdf --only Epoch --only B
    tarvik copy old.cdf old.cdf --checksum md5 --force
    tarvik copy *.cdf folder --compression gzip

    What no option names stays: every variable, attribute and entry, compression, checksum,
    majority, format, pad values, sparse records and which of them are missing, blocking factors.
    Dimensions keep their order when the majority changes. What the CDF library does not let anyone
    choose is its own: the encoding becomes this machine's, r-variables become z-variables, space
    that was set aside goes.

    A CDF file of several files has no compression, no checksum and no sparse records.

    DST may be a folder, and has to be one for several files. A copy is made in a folder beside its
    place and put there when it is complete and on the disk: a command that is killed leaves the old
    file or the new one, and perhaps a folder ".tarvik-...", which may go. Only where a file of
    several files replaces another such file, there is none for the moment in which they are
    exchanged.
    """
    _check_folder(files, target, "DST")
    from tarvik.cli.copy import Settings, copy_files

    of_file["format"] = of_file.pop("format_name")
    changes = {key: value for key, value in of_file.items() if value}
    if changes.get("checksum") == "none":
        changes["checksum"] = None
    of_variables = {} if compression is None else {"compression": compression or None}
    settings = Settings(changes, of_variables, only, without)
    return partial(copy_files, files, target, settings, force, verify)


@click.command()
@click.argument("files", nargs=-1, required=True, metavar="FILE...", type=FILE)
@click.option("--istp", is_flag=True, help="Compare with the ISTP conventions, too.")
@as_json
@through_gateway(by_default=True)
def check(files, istp, as_json):
    """Read all of a file and list what is odd.

    \b
    tarvik check measurements.cdf
    tarvik check *.cdf --istp
    tarvik check *.cdf --json

    Files are opened with validation, which verifies the checksum of those that have one. Odd are:
    text that is not UTF-8, names with blanks around them, attributes without entries, entries for
    variables that do not exist, texts with NULs, variables without records, sparse variables, and
    what cannot be read.

    With --istp the metadata are compared with the ISTP conventions: what is required and missing or
    wrong is an error, what is recommended a warning. On each finding follows how to mend it.

    Each file is read in a process of its own: where it crashes the CDF library, or takes longer
    than the time limit, that file alone is refused.

    The exit code is 0 when all files are clean, 1 when something is odd or there is an ISTP error,
    2 for wrong usage, 3 for a file that is missing or unreadable, 4 when the CDF library refused a
    file.
    """
    from tarvik.cli.check import check_files

    return partial(check_files, files, as_json, istp)


@click.command()
@click.argument("first", metavar="A", type=FILE)
@click.argument("second", metavar="B", type=FILE)
@click.option("--storage", is_flag=True, help="How the files are kept must be the same too.")
@as_json
@through_gateway(by_default=False)
def compare(first, second, storage, as_json):
    """Tell what differs between two files.

    \b
    tarvik compare measurements.cdf smaller.cdf
    tarvik compare measurements.cdf smaller.cdf --storage --json

    Of values the first places are shown. Variables and attributes go by name. Values, pad values
    and entries are the same when all their bits are. How a file keeps its content is told apart
    from that: version, format, majority, encoding, compression, checksum, blocking factors, sparse
    records, order.

    The exit code is 0 when the files are the same, 1 when they differ, 2 for wrong usage, 3 for a
    file that is missing or unreadable, 4 when the CDF library refused.
    """
    from tarvik.cli.compare import compare_files

    return partial(compare_files, first, second, storage, as_json)


def _operation_names(_context, _parameter, incomplete):
    from tarvik._catalogue import all_operations

    return [name for name in all_operations() if name.startswith(incomplete)]


@click.command()
@click.argument("name", required=False, metavar="[NAME]", shell_complete=_operation_names)
def ops(name):
    """List the operations, or tell all about one.

    \b
    tarvik ops
    tarvik ops getVarData
    """
    from tarvik._text import visible
    from tarvik.attributes import did_you_mean
    from tarvik.cli.ops import all_operations, list_operations, show_operation

    if name is None:
        return list_operations
    if name not in all_operations():
        hint = did_you_mean(name, all_operations())
        words = f"there is no operation {visible(name)}{hint}"
        raise click.BadParameter(words, param_hint="NAME")
    return partial(show_operation, name)


@click.command()
def constants():
    """List the named constants and their values."""
    from tarvik.cli.ops import list_constants

    return list_constants


@click.command()
@click.argument("folder", required=False, metavar="[DIR]")
@click.option(
    "--variable", "names", multiple=True, metavar="NAME", help="Show its first values too."
)
@as_json
def demo(folder, names, as_json):
    """Make two small CDF files and show them.

    They are read back and compared. They hold the same values, one stored row by row and the other
    column by column. They stay in DIR; without it they are made in a temporary folder and go at the
    end.
    """
    from tarvik.cli.demo import make_and_show

    return partial(make_and_show, folder, names or ("Epoch", "B"), as_json)


COMMANDS = (
    list_,
    show,
    attrs,
    export,
    plot,
    copy,
    check,
    compare,
    ops,
    constants,
    demo,
)
