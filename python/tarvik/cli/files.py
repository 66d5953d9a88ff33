"""Opening CDF files, and what is no CDF file to begin with."""

import os
import stat
from contextlib import contextmanager

from tarvik.cli.errors import about
from tarvik.cli.gateway import call


@contextmanager
def opened(path):
    """Open a file; errors of what is done with it are about this file."""
    with about(path):
        refuse_what_is_no_file(path)
        with call("open", os.fsencode(path)) as file:
            yield file


def refuse_what_is_no_file(path):
    """Raise OSError for a folder, a pipe and the like, of which the library says something else.

    A name without the extension may stand beside the file that is meant.
    """
    if path_on_disk(path) is not None or not os.path.exists(path):
        return
    kind = "a folder" if stat.S_ISDIR(os.stat(path).st_mode) else "no regular file"
    raise OSError(f"this is {kind}, not a CDF file")


def path_on_disk(path):
    """The file that the library opens for a path, which may lack its extension; None for none."""
    named = (path, f"{path}.cdf", f"{path}.CDF")
    return next((name for name in named if os.path.isfile(name)), None)
