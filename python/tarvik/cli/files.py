"""The files that commands read."""

from contextlib import contextmanager, nullcontext

from tarvik import File
from tarvik._plugin import Plugin
from tarvik.cli.errors import about


@contextmanager
def opened(path, gateway=None):
    """Open a file for reading; errors of what is done with it are about this file."""
    with about(path), File(path, gateway=gateway) as file:
        yield file


def for_strangers(in_process):
    """Give an isolated gateway, whose process starts meanwhile, unless that is not wanted."""
    return nullcontext() if in_process else Plugin(isolated=True)
