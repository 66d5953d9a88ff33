"""The command `tarvik`."""

import os
import signal
import sys
import warnings
from pathlib import Path

import click

from tarvik import __version__, _host
from tarvik._plugin import EXTENDED_PLUGIN
from tarvik._shared import call
from tarvik._text import visible
from tarvik.cli.commands import COMMANDS
from tarvik.cli.errors import complain, say
from tarvik.cli.outcome import outcome


def main():
    """Run the command and end the program with its exit code."""
    _prepare_streams()
    warnings.showwarning = _say_warning
    for number in (signal.SIGTERM, signal.SIGHUP):
        if signal.getsignal(number) == signal.SIG_DFL:
            signal.signal(number, _end)
    sys.exit(outcome(_run))


def _prepare_streams():
    """Have streams that take any text. Where one is closed, a CDF file would get its number."""
    if sys.stderr is None:
        sys.stderr = open(os.devnull, "w")  # noqa: SIM115, open until the end
    if sys.stdout is None:
        sys.exit(complain("stdout", OSError("it is closed")))
    for stream in (sys.stdout, sys.stderr):
        stream.reconfigure(errors="backslashreplace")


def _say_warning(message, *_):
    """Tell of a warning in one line, as of anything else."""
    say(visible(str(message)))


def _end(number, _frame):
    """End as an interruption does, so that nothing half-written stays."""
    sys.exit(128 + number)


def _run():
    # The commands give what is to be done: click has ways of its own with what is raised below.
    job = tarvik.main(standalone_mode=False)
    return job() if callable(job) else job


def _zlib():
    """Tell what the CDF library compresses with, as the loader has bound its calls."""
    provider = _host.provider_of(EXTENDED_PLUGIN, "CDFlib", "z_inflate")
    is_fast = Path(provider).name.startswith("libtarvik_zlib")
    return _host.ZLIB_VERSIONS if is_fast else "the CDF library's own"


def _version(context, _parameter, asked):
    if asked:
        library = ".".join(f"{part:.0f}" for part in call("getLibraryVersion"))
        click.echo(f"tarvik {__version__}, CDF library {library}")
        click.echo(f"zlib: {_zlib()}")
        click.echo(f"licences: {Path(__file__).parents[1] / 'licenses'}")
        context.exit()


@click.group(context_settings={"help_option_names": ["-h", "--help"]})
@click.option(
    "--version",
    is_flag=True,
    is_eager=True,
    expose_value=False,
    callback=_version,
    help="Show the versions of this program, the CDF library and its zlib, and where licences are.",
)
def tarvik():
    """Look at CDF files, edit attributes, check, compare, copy, export and plot.

    \b
    tarvik ls *.cdf
    tarvik show measurements.cdf
    tarvik export measurements.cdf Epoch B -o field.csv
    tarvik copy measurements.cdf smaller.cdf --compression gzip:6
    tarvik COMMAND --help

    Completion in a shell: eval "$(_TARVIK_COMPLETE=bash_source tarvik)", likewise zsh_source or
    fish_source.
    """


for _command in COMMANDS:
    tarvik.add_command(_command)
