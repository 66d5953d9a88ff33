"""What becomes of a command: its exit code, whatever it raises."""

import os
import sys

import click

from tarvik.cli.errors import INTERRUPTED, NO_READER, WRONG_FILE, Failure, complain

__all__ = ["outcome"]


def outcome(run):
    """Call a function that gives an exit code or None; return the exit code of the program."""
    try:
        code = run()
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
