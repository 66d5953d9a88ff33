"""The commands that read whole files: their arguments and what they say of themselves."""

import re
import sys
from functools import partial

import click

_FILE = click.Path()
_KINDS = {
    "none": "NO_COMPRESSION",
    "rle": "RLE_COMPRESSION",
    "huffman": "HUFF_COMPRESSION",
    "ahuffman": "AHUFF_COMPRESSION",
    "gzip": "GZIP_COMPRESSION",
}
_FORMATS = ("csv", "json", "npy", "parquet")
_BINARY = ("npy", "parquet")

_json = click.option("--json", "as_json", is_flag=True, help="Print a JSON document, for programs.")
in_process = click.option(
    "--in-process", is_flag=True, help="Read in this process: faster, but a bad file may crash it."
)
_force = click.option("--force", is_flag=True, help="Replace a file that is there already.")


class _Records(click.ParamType):
    name = "A:B[:S]"

    def convert(self, value, parameter, context):
        """A slice of what it says."""
        found = re.fullmatch(r"(\d*):(\d*)(?::([1-9]\d*))?", value)
        if not found:
            self.fail(f"{value!r} is not like 10:20 or 0:1000:10", parameter, context)
        return slice(*(int(number) if number else None for number in found.groups()))


class _Compression(click.ParamType):
    name = "KIND[:LEVEL]"

    def convert(self, value, parameter, context):
        """A name of the library and a level, which is None but for gzip."""
        kind, _, level = value.lower().partition(":")
        if kind not in _KINDS:
            self.fail(f"{kind!r} is none of {', '.join(_KINDS)}", parameter, context)
        if kind == "gzip":
            level = level or "6"
            if not re.fullmatch("[1-9]", level):
                self.fail(f"the level {level!r} is not 1 to 9", parameter, context)
        elif level:
            self.fail(f"{kind} has no level", parameter, context)
        return _KINDS[kind], int(level) if level else None


def _named(**names):
    """A choice among words, given on as the library's names."""

    def given(_context, _parameter, word):
        return names.get(word)

    return {"type": click.Choice(list(names)), "callback": given}


def _variable_names(context, _parameter, incomplete):
    """Complete the name of a variable of the file that stands before it."""
    from tarvik import CDFError
    from tarvik.cli.errors import Failure
    from tarvik.cli.files import opened
    from tarvik.cli.model import read_variables

    path = context.params.get("file") or context.params.get("source")
    try:
        with opened(path) as file:
            names = [variable.name for variable in read_variables(file)]
    except (CDFError, Failure, TypeError):
        return []
    return [name for name in names if name.startswith(incomplete)]


@click.command()
@click.argument("file", metavar="FILE", type=_FILE)
@click.argument(
    "variables",
    nargs=-1,
    required=True,
    metavar="VARIABLE...",
    shell_complete=_variable_names,
)
@click.option("--to", "format_name", type=click.Choice(_FORMATS), default="csv", show_default=True)
@click.option("--records", type=_Records(), default=":", help="From A to before B, each S-th.")
@click.option(
    "--blank",
    type=click.Choice(["fill", "pad"]),
    multiple=True,
    help="Leave fill values (the attribute FILLVAL) or pad values blank; may be given twice.",
)
@click.option("-o", "--output", metavar="OUT", type=_FILE, help="The file to make, not stdout.")
@_force
def export(file, variables, format_name, records, blank, output, force):
    """Write values as CSV, JSON, npy or Parquet.

    \b
    tarvik export measurements.cdf Epoch B > field.csv
    tarvik export measurements.cdf Epoch B --records 0:1000:10 --to json
    tarvik export measurements.cdf Epoch B --to parquet --blank fill -o field.parquet

    Each record is a row; variables with as many records stand side by side, and one whose records
    do not vary goes beside each. Indices count from zero, in the order of a reader in C: "show" has
    the dimensions of a row-major file the other way round.

    \b
    csv      a column for each value: Epoch, B[0], B[1]; blank is empty
    json     a list with an object for each record; blank is null
    npy      an array, with a field for each variable when there are several; blank is NaN or NaT,
             and whole numbers that may be blank become floating-point numbers
    parquet  a column for each variable, lists where there are dimensions; blank is null; this
             needs the extra tarvik[parquet]

    Times are ISO 8601 texts in csv and json, and datetime64[ns] in npy and parquet. Texts lose the
    NULs behind them. A byte that is no UTF-8 is an escape as in \\xe9; in npy it is kept as Python
    does (surrogateescape). NaN and infinite numbers in json are the strings that "show" has.
    """
    if format_name in _BINARY and output is None and sys.stdout.isatty():
        raise click.UsageError(f"{format_name} is nothing for a terminal; give a file with -o")
    if format_name == "parquet":
        _need("pyarrow", "parquet")
    from tarvik.cli.export import export_variables

    return partial(export_variables, file, variables, format_name, records, blank, output, force)


def _need(module, extra):
    from importlib.util import find_spec

    if find_spec(module) is None:
        raise click.UsageError(f"this needs {module}: pip install 'tarvik[{extra}]'")


@click.command()
@click.argument("source", metavar="SRC", type=_FILE)
@click.argument("target", metavar="DST", type=_FILE)
@click.option(
    "--compression",
    type=_Compression(),
    help="Of each variable: none, rle, huffman, ahuffman, gzip or gzip:1 to gzip:9.",
)
@click.option("--checksum", **_named(md5="MD5_CHECKSUM", none="NO_CHECKSUM"))
@click.option("--majority", **_named(row="ROW_MAJOR", column="COLUMN_MAJOR"))
@click.option("--format", "format_name", **_named(single="SINGLE_FILE", multi="MULTI_FILE"))
@click.option(
    "--only",
    multiple=True,
    metavar="VARIABLE",
    shell_complete=_variable_names,
    help="Copy this variable and those named likewise.",
)
@click.option(
    "--without",
    multiple=True,
    metavar="VARIABLE",
    shell_complete=_variable_names,
    help="Leave this variable out; may be given several times.",
)
@click.option("--verify", is_flag=True, help="Read both and compare before DST is put in place.")
@_force
def copy(source, target, force, verify, format_name, **wishes):
    """Write a file anew, with all that is in it.

    \b
    tarvik copy measurements.cdf smaller.cdf --compression gzip:6 --verify
    tarvik copy measurements.cdf field.cdf --only Epoch --only B
    tarvik copy old.cdf old.cdf --checksum md5 --force

    What no option names stays: every variable, attribute and entry, compression, checksum,
    majority, format, pad values, sparse records and which of them are missing, blocking factors.
    Dimensions keep their order when the majority changes. What the CDF library does not let anyone
    choose is its own: the encoding becomes this machine's, r-variables become z-variables, space
    that was set aside goes.

    A CDF file of several files has no compression, no checksum and no sparse records.

    DST is made in a folder beside its place and put there when it is complete and on the disk: a
    command that is killed leaves the old file or the new one, and perhaps a folder ".tarvik-...",
    which may go. Only where a file of several files replaces another such file, there is none for
    the moment in which they are exchanged.
    """
    from tarvik.cli.copy import Wishes, copy_file

    return partial(copy_file, source, target, Wishes(format=format_name, **wishes), force, verify)


@click.command()
@click.argument("files", nargs=-1, required=True, metavar="FILE...", type=_FILE)
@_json
@in_process
def check(files, as_json, in_process):
    """Read all of a file and list what is odd.

    \b
    tarvik check measurements.cdf
    tarvik check *.cdf --json

    Files are opened with validation, which verifies the checksum of those that have one. Odd are:
    text that is not UTF-8, names with blanks around them, attributes without entries, entries for
    variables that do not exist, texts with NULs, variables without records, sparse variables, and
    what cannot be read.

    Each file is read in a process of its own: where it crashes the CDF library, or a step takes
    longer than a minute, that file alone is refused.

    The exit code is 0 when all files are clean, 1 when something is odd, 2 for wrong usage, 3 for a
    file that is missing or unreadable, 4 when the CDF library refused a file.
    """
    from tarvik.cli.gateway import for_strangers

    gateway = for_strangers(in_process)
    from tarvik.cli.check import check_files

    return partial(check_files, files, as_json, gateway)


@click.command()
@click.argument("first", metavar="A", type=_FILE)
@click.argument("second", metavar="B", type=_FILE)
@click.option("--storage", is_flag=True, help="How the files are kept must be the same too.")
@_json
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


COMMANDS = (export, copy, check, compare)
