"""What the arguments and options of several commands are, and how a shell completes them."""

import re
from functools import wraps
from shlex import quote

import click
import numpy as np
from click.shell_completion import CompletionItem

from tarvik._settings import compression_of
from tarvik.datatypes import DATATYPES

_CDF = (".cdf", ".CDF")
_TIME = re.compile(r"\d{4}(-\d\d(-\d\d([T ]\d\d(:\d\d(:\d\d(\.\d{1,9})?)?)?Z?)?)?)?")


class _Records(click.ParamType):
    name = "A:B[:S]"

    def convert(self, value, parameter, context):
        """A slice of what it says."""
        found = re.fullmatch(r"(-?\d+)?:(-?\d+)?(?::([1-9]\d*))?", value)
        if not found:
            self.fail(f"{value!r} is not like 10:20, -10: or 0:1000:10", parameter, context)
        return slice(*(int(number) if number else None for number in found.groups()))


class _Time(click.ParamType):
    name = "TIME"

    def convert(self, value, parameter, context):
        """A `datetime64[ns]` of a text in ISO 8601, in UTC; the nearest that there is."""
        if not _TIME.fullmatch(value):
            self.fail(f"{value!r} is no time like 2020-01-31T12:30:00", parameter, context)
        try:
            found = np.datetime64(value.replace(" ", "T").removesuffix("Z"))
        except ValueError as error:
            self.fail(f"{value!r} is no time: {error}", parameter, context)
        return np.clip(found, np.datetime64("1678-01-01"), np.datetime64("2261-12-31")).astype(
            "datetime64[ns]"
        )


class _Compression(click.ParamType):
    name = "KIND[:LEVEL]"

    def convert(self, value, parameter, context):
        """As `tarvik.File` has it; "" for none."""
        kind = value.lower()
        if kind == "none":
            return ""
        try:
            compression_of(kind)
        except ValueError as error:
            self.fail(str(error), parameter, context)
        return kind


class _NameAndValue(click.ParamType):
    name = "NAME=VALUE"

    def convert(self, value, parameter, context):
        """The two texts."""
        name, equals, text = value.partition("=")
        if not (name and equals):
            self.fail(f"{value!r} is not like {parameter.metavar or self.name}", parameter, context)
        return name, text


class _Datatype(click.ParamType):
    name = "CDF_..."

    def convert(self, value, parameter, context):
        """Its name in any letter case."""
        if value.upper() not in DATATYPES:
            self.fail(f"{value!r} is none of {', '.join(DATATYPES)}", parameter, context)
        return DATATYPES[value.upper()]

    def shell_complete(self, _context, _parameter, incomplete):
        """Complete the name of a datatype."""
        return [CompletionItem(name) for name in DATATYPES if name.startswith(incomplete.upper())]


class _Variable(click.ParamType):
    name = "VARIABLE"

    def shell_complete(self, context, _parameter, incomplete):
        """Complete the name of a variable of the files that stand before it.

        The name goes onto a line that a shell reads, so it is quoted.
        """
        names = [name for name in _names(context) if name.startswith(incomplete)]
        return [CompletionItem(quote(name)) for name in names]


class _FileOrVariable(_Variable):
    def shell_complete(self, context, parameter, incomplete):
        """Complete a file, and once there is one a variable too."""
        names = super().shell_complete(context, parameter, incomplete)
        return names or [CompletionItem(incomplete, type="file")]


def _names(context):
    """The variables of the last CDF file among the arguments; none if there is no such file."""
    from tarvik import File

    # Before an option's value click has the arguments there, not among the parameters.
    words = [*context.args]
    for name in ("file", "files", "items"):
        given = context.params.get(name) or ()
        words += [given] if isinstance(given, str) else given
    for word in reversed(words):
        try:
            with File(word) as file:
                return [*file]
        except Exception:
            continue
    return []


FILE = click.Path(readable=False)  # that is told of as for any other file
VARIABLE = _Variable()
FILE_OR_VARIABLE = _FileOrVariable()
RECORDS = _Records()
TIME = _Time()
DATATYPE = _Datatype()
NAME_AND_VALUE = _NameAndValue()
COMPRESSION = _Compression()


def files_and_variables(items):
    """Tell files from variables: the first is a file, and each other that ends in .cdf."""
    are_files = [number == 0 or item.endswith(_CDF) for number, item in enumerate(items)]
    files = [item for item, is_file in zip(items, are_files) if is_file]
    return files, [item for item, is_file in zip(items, are_files) if not is_file]


def record_options(command):
    """The options of a command that reads some records."""
    for option in (
        click.option("--to", "stop", type=TIME, help="Records before this time."),
        click.option("--from", "start", type=TIME, help="Records from this time on."),
        click.option(
            "--records",
            type=RECORDS,
            default=":",
            show_default=False,
            help="From A to before B, each S-th; negative ones count from the end.",
        ),
    ):
        command = option(command)
    return command


as_json = click.option(
    "--json", "as_json", is_flag=True, help="Print a JSON document, for programs."
)
_MOST_SECONDS = 1e6


def _check_seconds(_context, parameter, seconds):
    if seconds is not None and not 0 < seconds <= _MOST_SECONDS:  # NaN is neither
        words = f"{seconds:g} is not in the range 0<x<={_MOST_SECONDS:.0f}"
        raise click.BadParameter(words, param=parameter)
    return seconds


_time_limit = click.option(
    "--time-limit",
    "seconds",
    type=float,
    callback=_check_seconds,
    metavar="SECONDS",
    help="Of a file with --isolated; else a minute, and a second more for each 10 MB of it.",
)
force = click.option("--force", is_flag=True, help="Replace a file that is there already.")


def isolation(by_default):
    """Add the options of whether files are read in another process, and how long each may take."""
    option = click.option(
        "--isolated/--in-process",
        default=by_default,
        show_default=True,
        help="Read in a process of its own, which a bad file may crash, or, faster, in this.",
    )
    return lambda command: _time_limit(option(command))


def through_gateway(by_default):
    """Give the job of a command a gateway: one in a process of its own, or None."""

    def decorate(command):
        @isolation(by_default)
        @wraps(command)
        def run_isolated(isolated, seconds, **options):
            from tarvik.cli.files import gateway_for

            gateway = gateway_for(isolated, seconds)  # whose process starts meanwhile
            job = command(**options)

            def run():
                with gateway as used:
                    return job(gateway=used)

            return run

        return run_isolated

    return decorate
