"""A loaded plug-in."""

import contextlib
import os
import threading

from tarvik import _host
from tarvik._scratch import provide_folder

__all__ = ["EXACT_PLUGIN", "EXTENDED_PLUGIN", "Plugin"]

provide_folder()
_LIBRARIES = os.path.join(os.path.dirname(_host.__file__), "lib")
EXACT_PLUGIN = os.path.join(_LIBRARIES, "tarvik.so")
EXTENDED_PLUGIN = os.path.join(_LIBRARIES, "tarvik_extended.so")

_host.FileId.__module__ = "tarvik.ops"


class Plugin(_host.Gateway):
    """A `Gateway` without the methods of the operations, which take long to make."""

    def __init__(self, plugin=None, *, isolated=False, limit=60.0):
        self.plugin = EXTENDED_PLUGIN if plugin is None else os.fspath(plugin)
        self._remote = None
        if isolated:
            if limit is not None:
                _check_seconds(limit)
            from tarvik._isolated import Remote

            self._remote = Remote(self.plugin, limit)
            if plugin is not None:  # which may be none
                self._remote.wait()
        super().__init__(self._remote or self.plugin)

    def __repr__(self):
        return f"<tarvik.Gateway {self.plugin!r}{' isolated' * self.isolated}>"

    def __enter__(self):
        return self

    def __exit__(self, *exception):
        self.unload()

    @property
    def isolated(self):
        """Whether the plug-in is in a process of its own."""
        return self._remote is not None

    @property
    def pid(self):
        """The process of an isolated gateway; None while there is none."""
        return self._remote and self._remote.pid

    @contextlib.contextmanager
    def within(self, seconds):
        """Limit the time of a `with` block: its calls are refused from then on.

        The call that is under way ends as one that takes longer than the limit of calls does.

        Parameters
        ----------
        seconds : float

        Raises
        ------
        ValueError
            If the gateway is not isolated, or for a number that is no time limit.
        """
        _check_seconds(seconds)
        if self._remote is None:
            raise ValueError("only the calls of an isolated gateway can be limited in time")
        before = self._remote.limit_all(seconds)
        try:
            yield self
        finally:
            self._remote.period = before

    def kill(self):
        """End the process of an isolated gateway at once, and with it a call that is under way.

        What the CDF library had not written yet is lost.
        """
        if self._remote:
            self._remote.kill()


def _check_seconds(limit):
    if not 0 < limit < threading.TIMEOUT_MAX:
        raise ValueError(f"{limit!r} is no time limit in seconds")
