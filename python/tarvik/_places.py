"""Where a file is: which one the library opens for a path, and how a new one is named."""

from __future__ import annotations

import errno
import os
import re
import stat

from tarvik import constants
from tarvik._files import open_file

_MARK_3, _MARK_COMPRESSED = bytes.fromhex("cdf30001"), bytes.fromhex("cccc0001")
_HUFFMAN = (constants.HUFF_COMPRESSION, constants.AHUFF_COMPRESSION)
_MOST_BYTES = (1 << 63) - 1  # of a file
_EXTENSIONS = (".cdf", ".CDF")  # in the order in which the library tries them


def present_file(path: str) -> str | None:
    """The file that the library opens for a path, which may lack the extension; None for none.

    Raises
    ------
    OSError
        If the path is that of a file and the library would open another one beside it.
    """
    if path.endswith(_EXTENSIONS[0]) and os.path.isfile(path):
        return path
    has_one = path.endswith(_EXTENSIONS)
    stem, ends = (path[:-4], _EXTENSIONS) if has_one else (path, (*_EXTENSIONS, ""))
    found = [stem + end for end in ends if os.path.isfile(stem + end)]
    if path in found[1:]:
        raise OSError(
            errno.EINVAL, f"The CDF library opens {found[0]!r} instead; rename one of them", path
        )
    return found[0] if found else path if os.path.exists(path) else None


def check_readable(path: str) -> None:
    """Check that a path is that of a regular file that may be read.

    Raises
    ------
    PermissionError, IsADirectoryError, OSError
    """
    mode = os.stat(path).st_mode
    if stat.S_ISDIR(mode):
        raise IsADirectoryError(errno.EISDIR, os.strerror(errno.EISDIR), path)
    if not stat.S_ISREG(mode):
        raise OSError(errno.EINVAL, "Not a regular file", path)
    open_file(path, os.O_RDONLY | os.O_NONBLOCK).close()


def new_path(path: str) -> str:
    """The name of a file that is made.

    Raises
    ------
    ValueError
        For a name that the library cannot open again.
    """
    found = path if path.lower().endswith(".cdf") else path + ".cdf"
    stem = os.path.basename(found)[:-4]
    if not stem or stem.lower().endswith(".cdf"):
        raise ValueError(f"{found!r} is no name for a CDF file: the library opens another one")
    return found


def files_of_variables(path: str) -> list[str]:
    """The files beside a CDF file whose names are those of files of its variables."""
    folder, name = os.path.split(path)
    own = re.compile(re.escape(name[:-4]) + r"\.[vz]\d+", re.IGNORECASE)
    if not path.endswith(_EXTENSIONS):
        return []
    return sorted(
        os.path.join(folder, other) for other in os.listdir(folder or ".") if own.fullmatch(other)
    )


def is_huffman_coded(path: str) -> bool:
    """Whether a file is compressed as a whole with Huffman codes, adaptive ones or not.

    Nothing inside such a file is checked before the library uses it.
    """
    if not os.path.isfile(path):
        return False
    try:
        with open(path, "rb") as file:
            marks = file.read(8)
            if marks[4:] != _MARK_COMPRESSED:
                return False
            width = 8 if marks[:4] == _MARK_3 else 4
            # A record has its size and type first; that at the start leads to the parameters.
            place = int.from_bytes(file.read(2 * width + 4)[-width:], "big")
            file.seek(min(place, _MOST_BYTES))
            return int.from_bytes(file.read(width + 8)[-4:], "big") in _HUFFMAN
    except OSError:
        return False
