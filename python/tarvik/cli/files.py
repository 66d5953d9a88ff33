"""The files that commands read."""

import errno
import os
from contextlib import contextmanager, nullcontext

from tarvik import File
from tarvik._plugin import Plugin
from tarvik._sparse import check_not_too_many
from tarvik.cli.errors import ImpossibleError, about

_MOST_TEXT = 32 << 20  # bytes of a value that is read; reading takes several times as much memory
_SECONDS = 60
_BYTES_A_SECOND = 10_000_000  # a slow disk


class IsolatedGateway(Plugin):
    """Reads each file in a process of its own, within a time limit for the whole file.

    Parameters
    ----------
    seconds : float or None
        The limit; without one that of `seconds_for`.
    """

    def __init__(self, seconds):
        super().__init__(isolated=True, limit=seconds or _SECONDS)
        self._seconds = seconds

    def in_time(self, path):
        """Limit the time that a file is open."""
        return self.within(seconds_for(path, self._seconds))


def seconds_for(path, seconds=None):
    """The time limit for a file; without one a minute, and a second more for each 10 MB of it."""
    size = os.path.getsize(path) if os.path.exists(path) else 0
    return seconds or _SECONDS + size / _BYTES_A_SECOND


@contextmanager
def opened(path, gateway=None, mode="r"):
    """Open a file; errors of what is done with it are about this file."""
    limited = gateway.in_time(path) if isinstance(gateway, IsolatedGateway) else nullcontext()
    with about(path), limited:
        try:
            file = File(path, mode, gateway=gateway)
        except ImportError as error:  # of a package for URLs
            raise ImpossibleError(str(error)) from None
        with file:
            yield file


def gateway_for(isolated, seconds):
    """Give an isolated gateway, whose process starts meanwhile, if one is wanted."""
    return IsolatedGateway(seconds) if isolated else nullcontext()


def check_sizes(variable):
    """Refuse a variable whose values take hours or gigabytes of memory to read.

    Raises
    ------
    OSError
    """
    check_not_too_many(variable)
    if variable._datatype.is_text and variable._stored.itemsize > _MOST_TEXT:
        raise OSError(
            errno.EFBIG,
            f"A value of the variable {variable.name!r} has {variable._stored.itemsize:,} bytes; "
            f"commands read texts of up to {_MOST_TEXT:,}",
            variable._file.path,
        )
