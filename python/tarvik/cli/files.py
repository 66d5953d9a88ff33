"""The files that commands read."""

from contextlib import contextmanager, nullcontext

from tarvik import File, Gateway
from tarvik.cli.errors import ImpossibleError, about


@contextmanager
def opened(path, gateway=None):
    """Open a file for reading; errors of what is done with it are about this file."""
    with about(path):
        try:
            file = File(path, gateway=gateway)
        except ImportError as error:  # of a package for URLs
            raise ImpossibleError(str(error)) from None
        with file:
            yield file


def for_strangers(in_process):
    """Give an isolated gateway, whose process starts meanwhile, unless that is not wanted."""
    return nullcontext() if in_process else Gateway(isolated=True)
