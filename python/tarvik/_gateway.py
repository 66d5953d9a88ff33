"""One loaded plug-in with its operations as methods."""

import contextlib
import os
import threading

from tarvik import _host
from tarvik._catalogue import all_operations
from tarvik._operations import make_method
from tarvik._scratch import provide_folder

__all__ = ["EXACT_PLUGIN", "EXTENDED_PLUGIN", "Gateway"]

provide_folder()
_LIBRARIES = os.path.join(os.path.dirname(_host.__file__), "lib")
EXACT_PLUGIN = os.path.join(_LIBRARIES, "tarvik.so")
EXTENDED_PLUGIN = os.path.join(_LIBRARIES, "tarvik_extended.so")


class Gateway(_host.Gateway):
    """One loaded plug-in, with its operations as methods.

    Each method is what the function of `tarvik.ops` is; an operation that the plug-in does not have
    is refused by it. In a `with` statement it is unloaded at the end.

    A file belongs to the gateway that opened it, and another one refuses it. Several gateways of
    one plug-in are the same plug-in: it is in the process once, and goes with the last of them.

    An isolated gateway has its plug-in in a process of its own, for files that nobody vouches for::

        with tarvik.Gateway(isolated=True, limit=10) as gateway:
            with gateway.open("strangers.cdf") as file:
                print(gateway.inquire(file))

    When the CDF library crashes there, or a call takes longer than the limit, the call raises a
    `CDFProcessError` and the session goes on. The files that this gateway had open are lost to the
    session, with what the library had not written yet; their identifiers are refused from then on.
    The next call starts a new process, in which what was set for the library as a whole, by
    `setValidate` for example, is as it was at first. Arrays come through shared memory. An
    interruption ends the waiting and not the call: the next one waits for it.

    Parameters
    ----------
    plugin : str or os.PathLike, optional
        The plug-in's file; that of the extended plug-in when it is left out.
    isolated : bool, optional
        Whether the plug-in is loaded in a process of its own.
    limit : float or None, optional
        The seconds that a call of an isolated gateway may last; None for any time.

    Attributes
    ----------
    plugin : str
        As above.
    isolated : bool
        As above.
    pid : int or None
        The process of an isolated gateway; None while there is none.
    """

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


Gateway.__module__ = "tarvik"
for _operation in all_operations().values():
    setattr(Gateway, _operation.name, make_method(_operation))
