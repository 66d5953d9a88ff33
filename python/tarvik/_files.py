"""Names, locks and copies of files, for transactions; each function keeps no state.

While an edit of ``x.cdf`` runs, its folder also has ``.x.cdf.tarvik-lock`` and the private files
``.x.cdf.tarvik-0.cdf``, ``.x.cdf.tarvik-1.cdf`` and so on. The size of the lock file is the number
of private names in use, so the next writer finds what a killed writer left without listing the
folder.
"""

from __future__ import annotations

import contextlib
import errno
import fcntl
import gc
import hashlib
import io
import os
import stat

__all__ = [
    "TRIES",
    "beside",
    "close",
    "copy_data",
    "copy_permissions",
    "is_at",
    "lock",
    "make_lock_file",
    "may_replace",
    "move_new",
    "remove_private",
    "sync",
    "version",
]

_MOST_FILES = 1 << 16  # bounds the work that a forged lock file can cause
_LONGEST_SUFFIX = len("..tarvik-65535.cdf")
_COPY_STEP = 1 << 30
_READ_STEP = 1 << 20
TRIES = 1000  # until a path and its open file agree; some file systems never give the same number
# What file systems answer that have no locks, hard links or copies inside the kernel.
_NO_LOCKS = {errno.ENOSYS, errno.EOPNOTSUPP, errno.ENOLCK, errno.EBADF}
_NO_LINKS = {errno.ENOSYS, errno.EOPNOTSUPP, errno.EPERM, errno.EMLINK}
_NO_COPIES = {errno.ENOSYS, errno.EOPNOTSUPP, errno.EPERM, errno.EXDEV, errno.EINVAL}

Version = tuple[int, int, int, int]


def beside(target: str, suffix: str) -> str:
    """Return a private path of a target; a long name is cut and gets a checksum."""
    folder, name = os.path.split(target)
    longest = os.pathconf(folder, "PC_NAME_MAX") - _LONGEST_SUFFIX
    encoded = os.fsencode(name)
    if len(encoded) > longest:
        checksum = hashlib.sha256(encoded).hexdigest()[:16]
        name = f"{encoded[: longest - 17].decode(errors='ignore')}~{checksum}"
    return os.path.join(folder, f".{name}.tarvik-{suffix}")


def open_file(path: str, flags: int, mode: int = 0o666) -> io.FileIO:
    """Open a file with flags of `os.open`.

    A signal's handler may raise between any two steps of a Python function, and would lose a
    descriptor there. It cannot do so between the steps of `map`.
    """
    return next(map(io.FileIO, map(os.open, (path,), (flags | os.O_CLOEXEC,), (mode,))))


def make_lock_file(target: str) -> io.FileIO:
    """Make and lock the lock file of a target; remove what killed writers left."""
    path = beside(target, "lock")
    for _ in range(TRIES):
        file, made = _open_lock(path)
        try:
            locked, current = lock(file), is_at(file, path)
            if current and made:
                return file
            if current and not locked:
                raise BlockingIOError(errno.EAGAIN, f"Delete {path!r} if no writer is running")
            if current:
                remove_private(target, os.fstat(file.fileno()).st_size)
                os.unlink(path)
        except BaseException:
            file.close()
            raise
        file.close()
    raise BlockingIOError(errno.EAGAIN, "Other writers open and close the file all the time")


def _open_lock(path: str) -> tuple[io.FileIO, bool]:
    """Open the lock file, and say whether it was made now.

    A lock file of another user may be readable only. O_CREAT alone fails for such a file in a
    folder like /tmp.
    """
    flags = os.O_NOFOLLOW | os.O_NONBLOCK
    while True:
        with contextlib.suppress(FileNotFoundError):
            try:
                return open_file(path, flags | os.O_RDWR), False
            except PermissionError:
                return open_file(path, flags | os.O_RDONLY), False
        with contextlib.suppress(FileExistsError):
            return open_file(path, flags | os.O_RDWR | os.O_CREAT | os.O_EXCL), True


def lock(file: io.FileIO) -> bool:
    """Lock an open file; return False if its file system has no locks.

    A writer that was dropped unclosed may hold the lock until it is collected.
    """
    for collect in (gc.collect, None):
        try:
            fcntl.flock(file, fcntl.LOCK_EX | fcntl.LOCK_NB)
            return True
        except BlockingIOError as error:
            if collect is None:
                words = "The file is open for writing elsewhere"
                raise BlockingIOError(error.errno, words) from error
            collect()
        except OSError as error:
            if error.errno not in _NO_LOCKS:
                raise
            break
    return False


def is_at(file: io.FileIO, path: str) -> bool:
    """Return whether a path still leads to an open file."""
    try:
        return os.path.samestat(os.fstat(file.fileno()), os.stat(path))
    except FileNotFoundError:
        return False


def version(status: os.stat_result) -> Version:
    """Return what differs after another program replaced or changed a file."""
    return status.st_dev, status.st_ino, status.st_size, status.st_mtime_ns


def close(file: io.FileIO | None, *, unlock: bool) -> None:
    """Close an open file; unlocking it first also counts for duplicates in other processes."""
    if file is None:
        return
    if unlock:
        with contextlib.suppress(OSError):
            fcntl.flock(file, fcntl.LOCK_UN)
    file.close()


def may_replace(file: io.FileIO, folder: str) -> bool:
    """Return False if only the owner of an open file can replace it, as in /tmp."""
    status, user = os.stat(folder), os.geteuid()
    sticky = bool(status.st_mode & stat.S_ISVTX)
    return not sticky or user in (0, status.st_uid, os.fstat(file.fileno()).st_uid)


def remove_private(target: str, count: int) -> None:
    """Remove the first private files of a target."""
    for number in range(min(count, _MOST_FILES)):
        with contextlib.suppress(OSError):
            os.unlink(beside(target, f"{number}.cdf"))


def copy_data(source: io.FileIO, path: str) -> None:
    """Copy an open file to a new one; the blocks are shared where the file system can do that."""
    with open_file(path, os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0o600) as copy:
        start, size = 0, os.fstat(source.fileno()).st_size
        while start < size:
            start += _copy_some(source.fileno(), copy.fileno(), start, size - start)


def _copy_some(source: int, copy: int, start: int, count: int) -> int:
    moved = 0
    if hasattr(os, "copy_file_range"):
        try:
            moved = os.copy_file_range(source, copy, min(count, _COPY_STEP), start, start)
        except OSError as error:
            if error.errno not in _NO_COPIES:
                raise
    # Some kernels copy nothing and report no error.
    moved = moved or os.pwrite(copy, os.pread(source, min(count, _READ_STEP), start), start)
    if not moved:
        raise OSError(errno.EIO, "The file became shorter while it was copied")
    return moved


def copy_permissions(file: io.FileIO, path: str) -> None:
    """Give a file the mode, owner, group, access list and attributes of an open file."""
    source = file.fileno()
    status = os.fstat(source)
    mode = status.st_mode & 0o777
    with contextlib.suppress(OSError):
        for name in os.listxattr(source):
            with contextlib.suppress(OSError):
                os.setxattr(path, name, os.getxattr(source, name))
    try:
        os.chown(path, -1, status.st_gid)
    except PermissionError:
        mode = mode & 0o707 | (mode & 0o007) << 3  # another group gets what others have
    os.chmod(path, mode)
    with contextlib.suppress(PermissionError):
        os.chown(path, status.st_uid, -1)


def move_new(path: str, target: str) -> None:
    """Rename a file; raise `FileExistsError` if the target exists."""
    try:
        os.link(path, target)
    except OSError as error:
        if error.errno not in _NO_LINKS:
            raise
        if os.path.lexists(target):
            raise FileExistsError(errno.EEXIST, os.strerror(errno.EEXIST)) from error
        os.replace(path, target)
        return
    with contextlib.suppress(OSError):
        os.unlink(path)


def sync(path: str) -> None:
    """Write a file or folder to its disk."""
    descriptor = os.open(path, os.O_RDONLY | os.O_CLOEXEC)
    try:
        os.fsync(descriptor)
    finally:
        os.close(descriptor)
