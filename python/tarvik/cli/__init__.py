"""The command `tarvik`."""

import os
import signal
import sys
from functools import partial
from pathlib import Path

import click

from tarvik import __version__
from tarvik.cli.commands import COMMANDS, in_process
from tarvik.cli.errors import INTERRUPTED, NO_READER, WRONG_FILE, Failure, complain
from tarvik.cli.plot import plot
from tarvik.cli.text import visible
from tarvik.ops import call


def main():
    """Run the command and end the program with its exit code."""
    _prepare_streams()
    for number in (signal.SIGTERM, signal.SIGHUP):
        if signal.getsignal(number) == signal.SIG_DFL:
            signal.signal(number, _end)
    sys.exit(_run())


def _prepare_streams():
    """Have streams that take any text. Where one is closed, a CDF file would get its number."""
    if sys.stderr is None:
        sys.stderr = open(os.devnull, "w")  # noqa: SIM115, open until the end
    if sys.stdout is None:
        sys.exit(complain("stdout", OSError("it is closed")))
    for stream in (sys.stdout, sys.stderr):
        stream.reconfigure(errors="backslashreplace")


def _end(number, _frame):
    """End as an interruption does, so that nothing half-written stays."""
    sys.exit(128 + number)


def _run():
    try:
        # The commands give what is to be done: click has ways of its own with what is raised below.
        job = tarvik.main(standalone_mode=False)
        code = job() if callable(job) else job
        sys.stdout.flush()
        return code or 0
    except click.ClickException as error:
        error.show()
        return error.exit_code
    except (KeyboardInterrupt, click.Abort):
        return INTERRUPTED
    except BrokenPipeError:
        _leave_stdout()
        return NO_READER
    except Failure as failure:
        code = failure.complain()
        return code if _flushed() else WRONG_FILE
    except OSError as error:
        # Other files are named by a `Failure`.
        _leave_stdout()
        return complain(error.filename or "stdout", error)


def _flushed():
    """Write what is left; tell whether stdout took it."""
    try:
        sys.stdout.flush()
    except OSError:
        _leave_stdout()
        return False
    return True


def _leave_stdout():
    """Python would try once more to write what is left, and complain."""
    os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())


def _version(context, _parameter, asked):
    if asked:
        library = ".".join(f"{part:.0f}" for part in call("getLibraryVersion"))
        click.echo(f"tarvik {__version__}, CDF library {library}")
        click.echo(f"licences: {Path(__file__).parents[1] / 'licenses'}")
        context.exit()


@click.group(context_settings={"help_option_names": ["-h", "--help"]})
@click.option(
    "--version",
    is_flag=True,
    is_eager=True,
    expose_value=False,
    callback=_version,
    help="Show the versions of this program and the CDF library, and where their licences are.",
)
def tarvik():
    """Look at CDF files, check, compare, copy and export them.

    \b
    tarvik show measurements.cdf
    tarvik export measurements.cdf Epoch B --to csv -o field.csv
    tarvik copy measurements.cdf smaller.cdf --compression gzip:6
    tarvik COMMAND --help

    Completion in a shell: eval "$(_TARVIK_COMPLETE=bash_source tarvik)", likewise zsh_source or
    fish_source.
    """


for _command in (*COMMANDS, plot):
    tarvik.add_command(_command)


def _shown(command):
    """The options of a command that shows files."""
    values = click.option(
        "--variable", "names", multiple=True, metavar="NAME", help="Show its first values too."
    )
    document = click.option(
        "--json", "as_json", is_flag=True, help="Print a JSON document, for programs."
    )
    return values(document(command))


@tarvik.command()
@click.argument("files", nargs=-1, required=True, metavar="FILE...")
@_shown
@in_process
def show(files, names, as_json, in_process):
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
    from tarvik.cli.gateway import for_strangers

    gateway = for_strangers(in_process)
    from tarvik.cli.show import show_files

    return partial(show_files, files, names, as_json, complain, gateway)


@tarvik.command()
@click.argument("name", required=False, metavar="[NAME]")
def ops(name):
    """List the operations, or tell all about one.

    \b
    tarvik ops
    tarvik ops getVarData
    """
    from tarvik.cli.ops import all_operations, list_operations, show_operation

    if name is None:
        return list_operations
    if name not in all_operations():
        raise click.BadParameter(f"there is no operation {visible(name)}", param_hint="NAME")
    return partial(show_operation, name)


@tarvik.command()
def constants():
    """List the named constants and their values."""
    from tarvik.cli.ops import list_constants

    return list_constants


@tarvik.command()
@click.argument("folder", required=False, metavar="[DIR]")
@_shown
def demo(folder, names, as_json):
    """Make two small CDF files and show them.

    They are read back and compared. They hold the same values, one stored row by row and the other
    column by column. They stay in DIR; without it they are made in a temporary folder and go at the
    end.
    """
    from tarvik.cli.demo import make_and_show

    return partial(make_and_show, folder, names or ("Epoch", "B"), as_json, complain)
