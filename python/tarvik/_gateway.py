"""One loaded plug-in with its operations as methods."""

from tarvik._catalogue import all_operations
from tarvik._operations import make_method
from tarvik._plugin import EXACT_PLUGIN, EXTENDED_PLUGIN, Plugin

__all__ = ["EXACT_PLUGIN", "EXTENDED_PLUGIN", "Gateway"]


class Gateway(Plugin):
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


Gateway.__module__ = "tarvik"
for _operation in all_operations().values():
    setattr(Gateway, _operation.name, make_method(_operation))
