"""Every operation of the CDF library, one to one, on NumPy arrays.

Each operation is a function under its own name; those with several outputs give a named tuple::

    import tarvik

    with tarvik.open("measurements.cdf") as file:
        number = tarvik.getVarNum(file, "B")
        field = tarvik.hyperGetVarData(file, number, 0, 24, 1, [0], [3], [1])

Numbers that stand for something have names in `tarvik.constants`. `tarvik.call` takes the name of
an operation and its inputs. A refusal is a `CDFError`. Files that are still open when Python exits
are closed then, with a `CDFWarning`.

`tarvik.extended` has the same operations as methods, and serves 64-bit integers and times with leap
seconds too::

    with tarvik.extended.open("mission.cdf") as file:
        times = tarvik.extended.hyperGetVarData(file, 0, 0, 24, 1, [], [], [])
        parts = tarvik.extended.tt2000Breakdown(times)

`tarvik.Gateway(isolated=True)` has them too, in a process of its own for files from strangers.
"""

import atexit
import os
import sys

from tarvik import _host
from tarvik._errors import CDFError, CDFProcessError, CDFWarning
from tarvik._host import FileId, __version__, give_back_memory

FileId.__module__ = __name__

_exact = _host.Gateway(os.path.join(os.path.dirname(_host.__file__), "lib", "tarvik.so"))
call = _exact.call


def _leave():
    """Have no call any more, then end the processes of isolated gateways."""
    _host.leave()
    isolated = sys.modules.get("tarvik._isolated")
    if isolated:
        isolated.leave()


atexit.register(_leave)
os.register_at_fork(
    before=_host.before_fork,
    after_in_parent=_host.after_fork_in_parent,
    after_in_child=_host.after_fork_in_child,
)

# Both ask the gateway, so they follow the loading.
from tarvik import constants  # noqa: E402
from tarvik._operations import make_functions  # noqa: E402

_made = make_functions(sys.modules[__name__], _exact)
globals().update(_made)

__all__ = [
    "CDFError",
    "CDFProcessError",
    "CDFWarning",
    "FileId",
    "__version__",
    "call",
    "constants",
    "give_back_memory",
    *_made,
]


def __getattr__(name):
    """Make `Gateway` and `extended` when they are first asked for."""
    if name not in ("Gateway", "extended"):
        raise AttributeError(f"module {__name__!r} has no attribute {name!r}")
    from tarvik._gateway import Gateway

    made = Gateway() if name == "extended" else Gateway
    # Threads that ask at the same time get the same one.
    return globals().setdefault(name, made)


def __dir__():
    return sorted({*globals(), "Gateway", "extended"})
