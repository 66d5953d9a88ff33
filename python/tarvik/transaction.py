"""Edit a file as a transaction: work on a private copy, then put it in place in one step."""

from __future__ import annotations

import contextlib
import errno
import io
import os
import stat
import weakref
from collections.abc import Iterator

from tarvik import _files

__all__ = ["Transaction"]

_READ_ONLY_FOLDER = (
    "No permission to make a copy beside the file and to replace it; "
    "use atomic=False to edit the file in place"
)


class Transaction:
    """An edit of one file, by at most one writer at a time.

    Readers see the old file until `commit`, and so do other hard links of the file after it. A
    process forked meanwhile cannot commit and removes nothing.

    Parameters
    ----------
    target : str, bytes or os.PathLike
        The file. A symbolic link stays; the file it points to is edited.
    create : bool
        Whether the file is made if it does not exist.
    exist_ok : bool
        Whether the file may exist already.
    replace : bool
        Whether to start without the contents of an existing file.
    atomic : bool
        False edits the file itself: `path` is `target`, and `abort` cannot undo anything.

    Attributes
    ----------
    target : str
        The absolute path of the file, without symbolic links.
    path : str
        The file to work on: a copy of the target, or a name at which no file exists.

    Raises
    ------
    BlockingIOError
        If the file is open for writing elsewhere.
    FileNotFoundError, FileExistsError, IsADirectoryError, PermissionError, OSError
        If the file cannot be edited. Nothing has changed then.
    """

    _ended = "was not begun"

    def __init__(
        self,
        target: str | bytes | os.PathLike[str] | os.PathLike[bytes],
        *,
        create: bool,
        exist_ok: bool,
        replace: bool,
        atomic: bool = True,
    ) -> None:
        self._given = target
        self.target = self.path = os.path.realpath(os.fsdecode(target))
        self._create, self._exist_ok = create, exist_ok
        self._overwrite = (replace and exist_ok) or not atomic
        self._source: io.FileIO | None = None  # the target, open and locked
        self._lock: io.FileIO | None = None  # the lock file, open and locked
        self._version: _files.Version | None = None  # of the target at the beginning
        self._private = 0  # the number of private names in use
        self._ended = ""
        _running.add(self)
        with self._aborting():
            self._lock_target()
            self._lock_name(atomic)
            self._lock_target()  # it may have been replaced in between
            if self._source is not None:
                self._version = _files.version(os.fstat(self._source.fileno()))
            if atomic:
                self.path = self.fresh()
                if self._source is not None and not replace:
                    _files.copy_data(self._source, self.path)

    def fresh(self) -> str:
        """Return another private path in the target's folder, at which no file exists."""
        self._check_running()
        if self._lock is None:
            raise PermissionError(errno.EACCES, _READ_ONLY_FOLDER, self._given)
        path = _files.beside(self.target, f"{self._private}.cdf")
        self._private += 1
        os.ftruncate(self._lock.fileno(), self._private)
        with contextlib.suppress(FileNotFoundError):
            os.unlink(path)
        return path

    def commit(self, path: str | None = None) -> None:
        """Put a private file in place of the target, safe from a power failure, and end.

        Parameters
        ----------
        path : str, optional
            The file; by default `self.path`.

        Raises
        ------
        FileExistsError
            If the target did not exist at the beginning and exists now, unless it is replaced.
        OSError
            If the file cannot be written or another program changed the target. The target is as
            it was, and the private files are removed.
        """
        self._check_running()
        with self._aborting():
            path = self.path if path is None else path
            if self._source is not None and not _files.is_at(self._source, path):
                _files.copy_permissions(self._source, path)
            _files.sync(path)
            if path != self.target:
                self._move(path)
            with contextlib.suppress(OSError):  # some folders cannot be read or synced
                _files.sync(os.path.dirname(self.target))
        self._end("has been committed")

    def abort(self) -> None:
        """Remove the private files and end; do nothing if the transaction has ended."""
        if not self._ended:
            self._end("was aborted")

    def __del__(self) -> None:
        self.abort()

    def _lock_target(self) -> None:
        for _ in range(_files.TRIES):
            if self._source is not None and _files.is_at(self._source, self.target):
                return
            _files.close(self._source, unlock=True)
            self._source = None
            if not self._find():
                return
            self._source = _files.open_file(self.target, os.O_RDWR | os.O_NONBLOCK)
            _files.lock(self._source)
        raise BlockingIOError(errno.EAGAIN, "The file is replaced all the time")

    def _find(self) -> bool:
        """Return whether the target exists; raise if it cannot be edited."""
        if not self._exist_ok and os.path.lexists(self._given):
            raise FileExistsError(errno.EEXIST, os.strerror(errno.EEXIST))
        try:
            mode = os.stat(self.target).st_mode
        except FileNotFoundError:
            if not self._create:
                raise
            return False
        if stat.S_ISDIR(mode):
            raise IsADirectoryError(errno.EISDIR, os.strerror(errno.EISDIR))
        if not stat.S_ISREG(mode):
            raise OSError(errno.EINVAL, "Not a regular file")
        return True

    def _lock_name(self, atomic: bool) -> None:
        try:
            self._check_folder()
            self._lock = _files.make_lock_file(self.target)
        except PermissionError as error:
            if self._source is None:
                raise
            if atomic:
                raise PermissionError(errno.EACCES, _READ_ONLY_FOLDER) from error

    def _move(self, path: str) -> None:
        try:
            now = _files.version(os.stat(self.target))
        except FileNotFoundError:
            now = None
        if self._overwrite or (now is not None and now == self._version):
            os.replace(path, self.target)
        elif now is None or self._version is None:
            _files.move_new(path, self.target)
        else:
            raise OSError(errno.ESTALE, "Another program changed the file; the edit is not saved")

    def _check_folder(self) -> None:
        folder = os.path.dirname(self.target)
        if self._source is not None and not _files.may_replace(self._source, folder):
            raise PermissionError(errno.EACCES, os.strerror(errno.EACCES))

    @contextlib.contextmanager
    def _aborting(self) -> Iterator[None]:
        """Abort on an exception; errors of the system name the path that was given."""
        try:
            yield
        except OSError as error:
            self.abort()
            raise OSError(error.errno, error.strerror, self._given) from error
        except BaseException:
            self.abort()
            raise

    def _check_running(self) -> None:
        if self._ended:
            raise ValueError(f"The edit of {self.target!r} {self._ended}.")

    def _end(self, how: str) -> None:
        with contextlib.suppress(OSError):
            path = _files.beside(self.target, "lock")
            if self._lock is not None and _files.is_at(self._lock, path):
                _files.remove_private(self.target, self._private)
                os.unlink(path)
        self._release(how, unlock=True)

    def _release(self, how: str, *, unlock: bool) -> None:
        self._ended = how
        _running.discard(self)
        for file in (self._lock, self._source):
            _files.close(file, unlock=unlock)
        self._lock = self._source = None


_running: weakref.WeakSet[Transaction] = weakref.WeakSet()


def _leave_to_parent() -> None:
    for transaction in list(_running):
        transaction._release("belongs to the process that began it", unlock=False)


os.register_at_fork(after_in_child=_leave_to_parent)
