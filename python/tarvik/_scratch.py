"""The folder of the library's scratch files.

The library makes them where the program runs, and leaves them there when a file turns out to be
damaged or the process is killed.
"""

import os
import shutil
import tempfile

__all__ = ["provide_folder", "remove_folder"]

_PREFIX = "tarvik-scratch-"
_SETTING = "CDF_TMP"  # the library's own
_owned = {}  # the folder by the number of the process that made it


def provide_folder():
    """Have the scratch files in a folder of this process, unless the user has chosen one."""
    chosen = os.environ.get(_SETTING, "")
    if chosen and not os.path.basename(chosen).startswith(_PREFIX):
        return
    try:
        folder = tempfile.mkdtemp(prefix=_PREFIX)
    except OSError:  # then they are where the program runs
        return
    os.environ[_SETTING] = _owned[os.getpid()] = folder
    os.register_at_fork(after_in_child=_leave_to_parent)


def remove_folder():
    """Remove it when all files are closed."""
    folder = _owned.pop(os.getpid(), None)
    if folder is not None:
        shutil.rmtree(folder, ignore_errors=True)


def _leave_to_parent():
    """The parent removes its folder, perhaps before this process ends."""
    os.environ[_SETTING] = tempfile.gettempdir()
