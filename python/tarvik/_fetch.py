"""Files that have no path of their own: bytes, file objects and URLs.

The CDF library opens files by their paths. What has none is copied to a temporary file without a
name, which the library opens as ``/proc/self/fd/N``: the copy is gone when it is closed, also when
the process is killed, and a forked process can read it.
"""

from __future__ import annotations

import contextlib
import errno
import io
import os
import re
import shutil
import tempfile
from collections.abc import Callable, Mapping
from typing import Any, BinaryIO
from urllib.parse import unquote

from tarvik._places import check_readable

__all__ = ["explain_bytes", "fetch", "is_bytes", "is_url", "may_be_cdf", "name_of", "path_of"]

# The first eight bytes: the version of the format, then whether all of the file is compressed.
_VERSIONS = ("cdf30001", "cdf26002", "0000ffff")
_KINDS = ("0000ffff", "cccc0001")
_MAGIC = frozenset(bytes.fromhex(version + kind) for version in _VERSIONS for kind in _KINDS)
_MAGIC_BYTES = 8
_COPY_STEP = 1 << 20

_URL = re.compile(r"[a-z][a-z0-9+.-]*(://|::)", re.IGNORECASE)
# What gives access: user and password, also unquoted ones, and the values of a query.
_USER = re.compile(r"(?<=://)([^/?#\s]*|[^/?#\s:]*:(?!\d*/)\S*)@")
_QUERY = re.compile(r"\?[^\s'\")\]>]+")
_CODES = {
    FileNotFoundError: errno.ENOENT,
    PermissionError: errno.EACCES,
    IsADirectoryError: errno.EISDIR,
    FileExistsError: errno.EISDIR,  # fsspec wants to make a folder like it
}
_NEEDS_PACKAGE = "pip install 'tarvik[remote]' for https; s3:// needs s3fs too"


def is_url(path: Any) -> bool:
    """Tell whether this is a text with a protocol, "s3://..." or "filecache::s3://..."."""
    return isinstance(path, str) and _URL.match(path) is not None


def is_bytes(path: Any) -> bool:
    return isinstance(path, (bytes, bytearray, memoryview))


def _is_cdf(head: bytes) -> bool:
    """Tell whether a file that begins with these bytes may be a CDF file."""
    return head[:_MAGIC_BYTES] in _MAGIC


def name_of(path: Any) -> str:
    """What messages call a file: its path, its URL without passwords, or "<bytes>".

    Raises
    ------
    TypeError
        For what can be none of these.
    """
    if is_bytes(path):
        return "<bytes>"
    if hasattr(path, "read"):
        named = (getattr(path, word, None) for word in ("name", "full_name", "url"))
        name = next((word for word in named if isinstance(word, str)), f"<{type(path).__name__}>")
        return _without_secrets(name) if is_url(name) else name
    if is_url(path):
        return _without_secrets(path)
    if not isinstance(path, (str, os.PathLike)):
        raise TypeError(
            "path must be str, os.PathLike, bytes or a binary file object, "
            f"not {type(path).__name__}"
        )
    return os.fsdecode(path)


def fetch(path: Any, mode: str, options: Mapping[str, Any] | None) -> BinaryIO | None:
    """Have what bytes, a file object or a URL gives in an open file of this machine.

    Parameters
    ----------
    path : object
        As `File` takes it.
    mode : str
        That of the `File`.
    options : mapping, optional
        Options of fsspec for a URL.

    Returns
    -------
    file object or None
        None for a path, which the library opens itself.

    Raises
    ------
    io.UnsupportedOperation
        For a writing mode.
    ValueError
        For options without a URL.
    TypeError, ImportError, OSError
        For a file in text mode, a package that is missing, and what cannot be read.
    """
    url = is_url(path)
    if options is not None and not url:
        raise ValueError(f"storage_options are for URLs, and {name_of(path)!r} is none")
    if not url and not is_bytes(path) and not hasattr(path, "read"):
        return None
    if mode != "r":
        raise io.UnsupportedOperation(f"{name_of(path)} can only be read, in mode 'r'")
    if url:
        return _download(path, options or {})
    if is_bytes(path):
        return _copied(lambda copy: copy.write(bytes(path)))
    return _copied(lambda copy: _copy_object(path, copy))


def may_be_cdf(path: Any) -> bool:
    """Tell whether this looks like a CDF file, by its first bytes or, of a URL, by its end."""
    if is_bytes(path):
        return _is_cdf(bytes(path))
    if is_url(path):
        return name_of(path).partition("?")[0].lower().endswith(".cdf")
    try:
        if not hasattr(path, "read"):
            with open(path, "rb") as file:
                return _is_cdf(file.read(_MAGIC_BYTES))
        place = path.tell()
        path.seek(0)
        head = path.read(_MAGIC_BYTES)
        path.seek(place)
    except (AttributeError, OSError, TypeError, ValueError):  # no local file, or it cannot seek
        return False
    return is_bytes(head) and _is_cdf(bytes(head))


def explain_bytes(error: BaseException, path: Any) -> None:
    """Add a note to an error where bytes are not what a CDF file holds, but perhaps its path."""
    if is_bytes(path) and not _is_cdf(bytes(path)) and hasattr(error, "add_note"):
        error.add_note("bytes are the contents of a file; give a path as str (see os.fsdecode)")


def path_of(file: BinaryIO, shared: bool) -> str:
    """A path to an open file, for this process and its forks, or for all others of the user."""
    return f"/proc/{os.getpid() if shared else 'self'}/fd/{file.fileno()}"


def _copied(write: Callable[[BinaryIO], Any]) -> BinaryIO:
    """Make a file without a name and have it written."""
    copy = tempfile.TemporaryFile()  # noqa: SIM115  closed with the File
    try:
        write(copy)
        copy.flush()
    except BaseException:
        with contextlib.suppress(OSError):  # a full disk does not take the rest
            copy.close()
        raise
    return copy


def _copy_object(source: Any, copy: BinaryIO) -> None:
    """Copy all that a file object gives, and leave it at the place where it was."""
    if isinstance(source, io.TextIOBase):
        raise TypeError(f"{name_of(source)} is open as text; open it in mode 'rb'")
    seekable = getattr(source, "seekable", lambda: False)()
    place = source.tell() if seekable else 0
    try:
        if seekable:
            source.seek(0, os.SEEK_END)
            _check_room(source.tell(), name_of(source))
            source.seek(0)
        _copy_chunks(source, copy)
    finally:
        if seekable:
            source.seek(place)


def _check_room(size: int, name: str) -> None:
    if size > shutil.disk_usage(tempfile.gettempdir()).free:
        raise OSError(errno.ENOSPC, f"No room for a temporary copy of {size:,} bytes", name)


def _copy_chunks(source: Any, copy: BinaryIO) -> None:
    """Copy what follows; of what is no CDF file only the beginning, which the library refuses."""
    head = b""
    while True:
        chunk = source.read(_COPY_STEP)
        if not is_bytes(chunk):
            raise TypeError(
                f"{name_of(source)}: read() must give bytes, not {type(chunk).__name__}; "
                "open files in mode 'rb'"
            )
        copy.write(chunk)
        head = head if len(head) >= _MAGIC_BYTES else head + bytes(chunk[:_MAGIC_BYTES])
        if not chunk or (len(head) >= _MAGIC_BYTES and not _is_cdf(head)):
            return


def _download(url: str, options: Mapping[str, Any]) -> BinaryIO:
    """Have fsspec copy what is behind a URL, or open what it has on this machine already."""
    name = name_of(url)
    try:
        from fsspec.core import url_to_fs
    except ImportError:
        raise ImportError(f"{name} needs fsspec: {_NEEDS_PACKAGE}", name="fsspec") from None
    try:
        system, path = url_to_fs(url, **options)
        if getattr(system, "local_file", False):
            return _opened_local(system, path)
        return _copied(lambda copy: system.get_file(path, path_of(copy, shared=False)))
    except ImportError as error:
        words = f"{name} needs a package: {_safe_text(error, url)} ({_NEEDS_PACKAGE})"
        raise ImportError(words, name=error.name) from None
    except Exception as error:  # each file system raises its own; no traceback shows the URL
        raise _fetch_error(error, url, name) from None


def _opened_local(system: Any, path: str) -> BinaryIO:
    """Open a local file, or the copy that a cache of fsspec keeps."""
    from fsspec.implementations.local import LocalFileSystem

    if not isinstance(system, LocalFileSystem):
        path = _cached(system, path)
    check_readable(path)
    return open(path, "rb")


def _cached(system: Any, path: str) -> str:
    """Have a cache of fsspec fetch a file, where it has not yet; give the path of its copy."""
    try:
        with system.open(path, "rb") as copy:
            return copy.name
    except BaseException:
        # It keeps what came before the failure, and would take that for the file the next time.
        with contextlib.suppress(Exception):
            os.unlink(os.path.join(system.storage[-1], system._mapper(path)))
        raise


def _fetch_error(error: Exception, url: str, name: str) -> OSError:
    for kind, code in _CODES.items():
        if isinstance(error, kind):
            return OSError(code, os.strerror(code), name)
    if type(error) is OSError and error.errno and error.strerror:  # of this machine: a full disk
        return OSError(error.errno, error.strerror, name)
    words = f"{type(error).__name__}: {_safe_text(error, url)}".rstrip(": ")
    return OSError(errno.EIO, words, name)


def _safe_text(error: Exception, url: str) -> str:
    """The words of an error without what gives access to the URL."""
    users = _USER.findall(url)
    secrets = [*users, *(user.partition(":")[2] for user in users), *_QUERY.findall(url)]
    text = str(error)
    for secret in filter(None, [*secrets, *map(unquote, secrets)]):
        text = text.replace(secret, "...")
    return _without_secrets(text)


def _without_secrets(text: str) -> str:
    return _QUERY.sub("?...", _USER.sub("", text))
