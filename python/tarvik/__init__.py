"""Every operation of the CDF library, one to one, on NumPy arrays.

Each operation is a function under its own name; those with several outputs give a named tuple::

    import tarvik

    with tarvik.open("measurements.cdf") as file:
        number = tarvik.getVarNum(file, "B")
        field = tarvik.hyperGetVarData(file, number, 0, 24, 1, [0], [3], [1])

Numbers that stand for something have names in `tarvik.constants`. `tarvik.call` takes the name of
an operation and its inputs. A refusal is a `CDFError`. Files that are still open when Python exits
are closed then, with a `CDFWarning`.
"""

import atexit
import os

from tarvik import _host
from tarvik._errors import CDFError, CDFWarning
from tarvik._host import FileId, __version__

FileId.__module__ = __name__

_gateway = _host.Gateway(os.path.join(os.path.dirname(_host.__file__), "lib", "tarvik.so"))
call = _gateway.call

atexit.register(_host.leave)
os.register_at_fork(
    before=_host.before_fork,
    after_in_parent=_host.after_fork_in_parent,
    after_in_child=_host.after_fork_in_child,
)

# Both ask the gateway, so they follow the loading.
from tarvik import constants  # noqa: E402
from tarvik._operations import make_functions  # noqa: E402

_made = make_functions(call)
globals().update(_made)

__all__ = ["CDFError", "CDFWarning", "FileId", "__version__", "call", "constants", *_made]
