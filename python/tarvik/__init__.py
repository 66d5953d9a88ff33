"""CDF files for people and programs.

`tarvik.open` gives a file as h5py does::

    import tarvik

    with tarvik.open("mission.cdf") as file:
        flux = file["flux"][10:20]
        units = file["flux"].attrs["UNITS"]

`tarvik.ops` has every operation of the CDF library, one to one, `tarvik.exact` those of the exact
plug-in, and `tarvik.Gateway(isolated=True)` has them in a process of its own for files from
strangers. Numbers that stand for something have names in `tarvik.constants`. A refusal of the
gateway or the library is a `CDFError`.
"""

import atexit
import importlib
import os
import sys
from typing import TYPE_CHECKING

from tarvik import _host
from tarvik._errors import CDFError, CDFProcessError, CDFWarning
from tarvik._host import __version__

if TYPE_CHECKING:
    from tarvik import constants, exact, istp, ops, times, xarray
    from tarvik._gateway import Gateway
    from tarvik.attributes import Attributes
    from tarvik.file import File
    from tarvik.file import open_file as open  # noqa: A004
    from tarvik.variable import Variable

# Where the names come from that are imported when they are first asked for.
_LATER = {
    "Attributes": "tarvik.attributes",
    "File": "tarvik.file",
    "Gateway": "tarvik._gateway",
    "Variable": "tarvik.variable",
    "constants": "",
    "exact": "",
    "istp": "",
    "open": "tarvik.file",
    "ops": "",
    "times": "",
    "xarray": "",
}

__all__ = [
    "Attributes",
    "CDFError",
    "CDFProcessError",
    "CDFWarning",
    "File",
    "Gateway",
    "Variable",
    "__version__",
    "constants",
    "exact",
    "istp",
    "open",
    "ops",
    "times",
    "xarray",
]


def _leave():
    """Have no call any more, then end the processes of isolated gateways."""
    _host.leave()
    isolated = sys.modules.get("tarvik._isolated")
    if isolated:
        isolated.leave()
    scratch = sys.modules.get("tarvik._scratch")
    if scratch:
        scratch.remove_folder()


atexit.register(_leave)
os.register_at_fork(
    before=_host.before_fork,
    after_in_parent=_host.after_fork_in_parent,
    after_in_child=_host.after_fork_in_child,
)


def __getattr__(name):
    """Import what is first asked for: a program that opens no file loads no plug-in."""
    if name not in _LATER:
        raise AttributeError(f"module {__name__!r} has no attribute {name!r}")
    if not _LATER[name]:
        return importlib.import_module(f"tarvik.{name}")
    module = importlib.import_module(_LATER[name])
    found = getattr(module, "open_file" if name == "open" else name)
    # Threads that ask at the same time get the same one.
    return globals().setdefault(name, found)


def __dir__():
    return sorted({*globals(), *_LATER})
