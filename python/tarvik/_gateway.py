"""One loaded plug-in with its operations as methods."""

import os
import threading
from enum import IntEnum
from functools import cached_property

from tarvik import _host, constants
from tarvik._catalogue import all_operations
from tarvik._operations import make_method

__all__ = ["Constants", "Gateway"]

_EXTENDED = os.path.join(os.path.dirname(_host.__file__), "lib", "tarvik_extended.so")


class Constants:
    """The named constants of one gateway, as `tarvik.constants` has those of the exact plug-in.

    Attributes
    ----------
    families : dict of str to type
        An `IntEnum` for each family, by name; that of `tarvik.constants` where it is the same. The
        families, and every constant, are attributes too.
    """

    def __init__(self, call):
        self.families = {
            name: _family(name, own) for name, own in constants.members_of(call).items()
        }
        vars(self).update(self.families)
        for family in self.families.values():
            vars(self).update(family.__members__)


def _family(name, members):
    family = constants.families[name]
    if members == {member.name: member.value for member in family}:
        return family
    # Found there again by pickle.
    return IntEnum(name, members, module="tarvik", qualname=f"extended.constants.{name}")


class Gateway(_host.Gateway):
    """One loaded plug-in, with its operations as methods.

    `tarvik.extended` is one, of the extended plug-in; the functions of `tarvik` itself are the
    exact plug-in. Each method is what the function of `tarvik` is; an operation that the plug-in
    does not have is refused by it. In a `with` statement it is unloaded at the end.

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
    constants : Constants
        The named constants of the plug-in.
    """

    def __init__(self, plugin=None, *, isolated=False, limit=60.0):
        self.plugin = _EXTENDED if plugin is None else os.fspath(plugin)
        self._remote = None
        if isolated:
            if limit is not None and not 0 < limit < threading.TIMEOUT_MAX:
                raise ValueError(f"{limit!r} is no time limit in seconds")
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

    def kill(self):
        """End the process of an isolated gateway at once, and with it a call that is under way.

        What the CDF library had not written yet is lost.
        """
        if self._remote:
            self._remote.kill()

    @cached_property
    def constants(self):
        """The named constants of the plug-in."""
        return Constants(self.call)


Gateway.__module__ = "tarvik"
for _operation in all_operations().values():
    setattr(Gateway, _operation.name, make_method(_operation))
