"""Files that are made beside their place and put there when they are complete."""

import os
import shutil
import tempfile
from contextlib import contextmanager

from tarvik._places import files_of_variables
from tarvik.cli.errors import about


@contextmanager
def staged(target, force=False):
    """Give a path in a folder of its own beside the target; all that is made there is put in place.

    The target is replaced at once: whoever opens it meanwhile finds the old file or the complete
    new one. Where an error or an interruption ends the block, the target stays as it was and what
    was made goes away; a program that is killed leaves a folder `.tarvik-...` behind.

    A CDF file of several files is replaced at once unless the old one is of several files too: then
    the old one goes first, its main file before the others, and for a moment there is none.

    Parameters
    ----------
    target : str
        Where the file is wanted.
    force : bool
        Whether a file that is there already is replaced.

    Raises
    ------
    Failure
        The target exists, or cannot be written.
    """
    with about(target):
        target = os.path.realpath(target)
        folder, name = os.path.split(target)
        if os.path.isdir(target):
            raise IsADirectoryError("this is a folder")
        _refuse_existing([target], force)
        with tempfile.TemporaryDirectory(prefix=".tarvik-", dir=folder) as temporary:
            yield os.path.join(temporary, name)
            _put(temporary, folder, name, force)


def _refuse_existing(paths, force):
    for path in paths:
        if os.path.lexists(path) and not force:
            raise FileExistsError(f"{os.path.basename(path)} exists; --force replaces it")


def _put(temporary, folder, name, force):
    """Put files in place, the one with the name last."""
    names = sorted(os.listdir(temporary), key=lambda made: made == name)
    _refuse_existing([os.path.join(folder, made) for made in names], force)
    for made in names:
        _reach_disk(os.path.join(temporary, made))
    target = os.path.join(folder, name)
    old = files_of_variables(target) if force and os.path.exists(target) else []
    if len(names) > 1 and old:
        os.unlink(target)
    elif os.path.exists(target):
        shutil.copymode(target, os.path.join(temporary, name))
    for made in names:
        os.replace(os.path.join(temporary, made), os.path.join(folder, made))
    for left in set(old) - {os.path.join(folder, made) for made in names}:
        os.unlink(left)
    _reach_disk(folder)


def _reach_disk(path):
    descriptor = os.open(path, os.O_RDONLY)
    try:
        os.fsync(descriptor)
    finally:
        os.close(descriptor)
