"""The files that commands read."""

import os
from contextlib import contextmanager, nullcontext

from tarvik import File
from tarvik._plugin import Plugin
from tarvik.cli.errors import ImpossibleError, about

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
