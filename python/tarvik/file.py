"""A CDF file as users of h5py expect one."""

from __future__ import annotations

import atexit
import errno
import os
import shutil
import tempfile
import warnings
import weakref
from collections.abc import Iterator, Mapping
from contextlib import contextmanager, suppress
from typing import Any, BinaryIO, Union

from tarvik._contents import Contents, Unreadable
from tarvik._errors import CDFError, CDFProcessError, CDFWarning, shown_names
from tarvik._fetch import explain_bytes, fetch, name_of, path_of
from tarvik._files import version
from tarvik._places import (
    check_readable,
    files_of_variables,
    is_huffman_coded,
    new_path,
    present_file,
)
from tarvik._plugin import Plugin
from tarvik._settings import FORMATS, coded, compression_name
from tarvik._shared import shared
from tarvik.transaction import Transaction
from tarvik.variable import Variable

__all__ = ["File", "open_file"]

_MODES = ("r", "r+", "w", "x", "a")
_Source = Union[str, os.PathLike, bytes, bytearray, memoryview, BinaryIO]
_OLD = (2.0, 5.0)  # files of versions before this one have descriptions of another form
# Files that are open when Python ends are closed then: edited ones, which are kept until they are
# saved, and the others.
_edited: set[File] = set()
_unedited: weakref.WeakSet[File] = weakref.WeakSet()


class File(Contents):
    """An open CDF file: a mapping from the names of its variables to `Variable`.

    Writing modes work on a private copy beside the file, and nothing of the file changes before
    `close`, or the end of a `with` block, which checks the copy and puts it in place in one step.
    An exception in the block leaves the file as it was.

    Parameters
    ----------
    path : str, os.PathLike, bytes, bytearray, memoryview or binary file object
        A path, the bytes of a file, or a URL that fsspec understands. A file object is read from
        its beginning, or from its place if it cannot seek. Bytes, file objects and URLs are copied
        to a temporary file and can be read only.
    mode : str
        "r" read, "r+" edit, "w" create or replace, "x" create and fail if it exists, "a" edit or
        create.
    atomic : bool
        Whether edits are made on a copy. Without it they go into the file itself, for files too
        large to copy; a process that dies meanwhile may leave it damaged.
    isolated : bool
        Whether the CDF library runs in a process of its own, for files from strangers. For a file
        that is compressed as a whole with Huffman codes it always does: damage to such a file
        cannot be found before the library crashes.
    gateway : Gateway, optional
        What the file's calls go through; several files may share an isolated one, for example.
    validate : bool
        Whether the library checks the file when it opens it.
    majority : str, optional
        Of a new file: "row", which is the default, or "column".
    compression : str, optional
        Of a new file as a whole: "gzip", "gzip:6", "rle", "huffman" or "ahuffman".
    checksum : str, optional
        Of a new file: "md5".
    format : str, optional
        Of a new file: "single", which is the default, or "multi" for one file more for each
        variable.
    storage_options : mapping, optional
        Of a URL: options of fsspec, `{"anon": True}` for s3 for example.

    Attributes
    ----------
    path : str
        The path as it was given. Of a URL without user, password and the values of a query; of
        bytes "<bytes>"; of a file object its name, or "<BytesIO>" and the like.

    Raises
    ------
    FileNotFoundError, FileExistsError, IsADirectoryError, PermissionError
        As `open` of Python does.
    BlockingIOError
        If the file is open for writing already, in this process or another.
    CDFError
        If it is no CDF file, or a damaged one.
    io.UnsupportedOperation
        If bytes, a file object or a URL is opened for writing.
    OSError, ImportError
        If a URL cannot be fetched, or a package for it is missing.
    """

    _saved_by_with = False

    def __init__(
        self,
        path: _Source,
        mode: str = "r",
        *,
        atomic: bool = True,
        isolated: bool = False,
        gateway: Plugin | None = None,
        validate: bool = True,
        majority: str | None = None,
        compression: str | None = None,
        checksum: str | None = None,
        format: str | None = None,  # noqa: A002
        storage_options: Mapping[str, Any] | None = None,
    ) -> None:
        if mode not in _MODES:
            raise ValueError(f"mode {mode!r} is none of {', '.join(_MODES)}")
        options = {
            "majority": majority,
            "compression": compression,
            "checksum": checksum,
            "format": format,
        }
        for name, value in options.items() if mode in ("r", "r+") else ():
            if value is not None:
                raise ValueError(f"{name}={value!r} is for new files, not for mode {mode!r}")
        self.path: str = name_of(path)
        self._fetched: BinaryIO | None = None  # bytes and the like, as a file
        self.mode = mode
        self._id: Any = None
        self._transaction: Transaction | None = None
        self._in_place = False
        self._own_gateway: Plugin | None = None
        self._gateway = gateway
        self._validate = validate
        self._others: list[str] = []  # those of a file of several files that is replaced
        self._nothing_known()
        self._nothing_to_carry_out()
        settings = coded(majority or "row", compression, checksum, format or "single")
        try:
            self._fetched = fetch(path, mode, storage_options)
            present = self._present(isolated, gateway)
            self._begin(present, atomic and format != "multi", settings)
        except BaseException as error:
            self._end_interrupted(type(error))
            self._give_up()
            explain_bytes(error, path)
            raise
        _unedited.add(self)

    # Opening and closing.

    def _begin(self, present: str | None, atomic: bool, settings: tuple) -> None:
        if self.mode in ("w", "x", "a"):
            self._begin_edit(present, atomic, settings)
        elif present is None:
            raise FileNotFoundError(2, os.strerror(2), self.path)
        elif self.mode == "r+":
            self._begin_edit(present, atomic, settings)
        else:
            check_readable(present)
            self._opened_path, self._version = present, version(os.stat(present))
            self._open(present)
        self._row_major = self._call("getMajority", self._id) == "ROW_MAJOR"
        self._find_variables()
        if self._writable and not self._in_place and self._call("getVersion", self._id)[:2] < _OLD:
            self._rebuild()  # the library cannot open again what it edits of these

    def _present(self, isolated: bool, gateway: Plugin | None) -> str | None:
        """The path of what there is, once the gateway for it is chosen."""
        fetched = self._fetched
        present = path_of(fetched, shared=False) if fetched else present_file(self.path)
        if gateway is None and (isolated or (present is not None and is_huffman_coded(present))):
            self._gateway = self._own_gateway = Plugin(isolated=True)
        self._call = (self._gateway or shared).call
        if fetched:
            present = self._opened_path = path_of(fetched, shared=self._gateway is not None)
            shown_names[present] = self.path
        return present

    def _begin_edit(self, present: str | None, atomic: bool, settings: tuple) -> None:
        if self.mode == "x" and present is not None:
            raise FileExistsError(17, os.strerror(17), self.path)
        fresh = present is None or self.mode in "wx"
        target = present or new_path(self.path)
        if present is not None and settings[3] == FORMATS["multi"] and fresh:
            warnings.warn(f"{target} is replaced at once, and not when it is closed", CDFWarning, 4)
        if atomic and not fresh and self._is_multi_file(target):
            warnings.warn(
                f"{target} is kept in several files, which are edited in place", CDFWarning, 4
            )
            atomic = False
        if present is not None and not fresh:
            check_readable(present)
        self._in_place = not atomic
        self._others = self._files_replaced(present) if present is not None and fresh else []
        self._transaction = Transaction(
            target, create=fresh, exist_ok=self.mode != "x", replace=fresh, atomic=atomic
        )
        if not fresh:
            self._open(self._transaction.path)
            return
        if not atomic and present is not None:
            for path in (present, *self._others):
                os.unlink(path)
            self._others = []
        self._create(self._transaction.path, settings)

    def _create(self, path: str, settings: tuple) -> None:
        self._hold("create", path)
        majority, compression, checksum, kind = settings
        for operation, inputs in (
            ("setFormat", [kind] if kind != 1 else None),
            ("setMajority", [majority] if majority != 1 else None),
            ("setCompression", compression),
            ("setChecksum", [checksum] if checksum else None),
        ):
            if inputs is not None:
                self._call(operation, self._id, *inputs)
        if path.endswith(".CDF"):  # the library makes a file with small letters
            self._close_id()
            os.rename(f"{path[:-4]}.cdf", path)
            self._open(path)

    def _open(self, path: str) -> None:
        before = self._call("getValidate") == "VALIDATEFILEon"
        if before == self._validate:
            self._hold("open", path)
            return
        self._call("setValidate", -1 if self._validate else 0)
        try:
            self._hold("open", path)
        finally:
            self._call("setValidate", -1 if before else 0)

    def _hold(self, operation: str, path: str) -> None:
        """Have what an operation opens as `_id`.

        A signal's handler that raises right after the call would lose the open file; it cannot run
        between the steps of `map`.
        """
        opened = map(self._call, (operation,), (os.fsencode(path),))
        next(map(vars(self).__setitem__, ("_id",), opened))

    def _is_multi_file(self, path: str) -> bool:
        self._open(path)
        try:
            return self._call("getFormat", self._id) == "MULTI_FILE"
        finally:
            self._close_id()

    def _files_replaced(self, path: str) -> list[str]:
        """The files of the variables of a file that is made anew."""
        found = files_of_variables(path)
        try:
            return found if found and self._is_multi_file(path) else []
        except CDFError:
            return []

    def _nothing_known(self) -> None:
        self._variables, self._unreadable, self._known_attributes = {}, {}, None

    def _find_variables(self) -> None:
        for number in range(int(self._call("inquire", self._id)[3])):
            try:
                variable = Variable(self, number)
                self._variables[variable.name] = variable
            except CDFProcessError:
                raise
            except CDFError as error:
                name = self._call("getVarName", self._id, number)
                self._unreadable[name] = Unreadable(name, number, error)

    def _reopen(self) -> None:
        """In a forked process: the library of the parent goes on with what it has open."""
        if version(os.stat(self._opened_path)) != self._version:
            raise OSError(errno.ESTALE, "The file was replaced since it was opened", self.path)
        self._open(self._opened_path)
        self._forked = False

    def _left_to_parent(self) -> None:
        if self._gateway is None and self._id is not None and not self._writable:
            self._id, self._forked = None, True

    @property
    def _file_on_disk(self) -> str:
        """What the library reads or writes."""
        return self._opened_path if self._transaction is None else self._transaction.path

    @contextmanager
    def _trial(self) -> Iterator[File]:
        """A copy of the file to write to, which goes at the end."""
        path, folder = self._file_on_disk, None
        if self._transaction is not None:
            self._call("close", self._id)  # so that it has all that was written
            self._open(path)
            folder = os.path.dirname(path)
        with tempfile.TemporaryDirectory(prefix=".tarvik-", dir=folder) as temporary:
            copy = shutil.copyfile(path, os.path.join(temporary, "copy.cdf"))
            with File(copy, "r+", atomic=False, gateway=self._gateway) as file:
                yield file

    def __enter__(self) -> File:
        # An interruption that comes before `__exit__` must not leave it to be saved at the end.
        self._saved_by_with = True
        _edited.discard(self)
        return self

    def __exit__(self, kind: Any, error: Any, trace: Any) -> None:
        if kind is None:
            self.close()
            return
        self._end_interrupted(kind)
        self.discard()

    def _keep(self) -> None:
        if not self._saved_by_with:
            _edited.add(self)

    def _end_interrupted(self, kind: type[BaseException]) -> None:
        """An interruption does not wait for an isolated call that is under way."""
        if self._gateway is not None and not issubclass(kind, Exception):
            self._gateway.kill()

    def __del__(self) -> None:
        if getattr(self, "_id", None) is not None and not self._id.closed:
            warnings.warn(f"unclosed file {self.path!r}", ResourceWarning, 2, source=self)
            self.discard()

    def close(self) -> None:
        """Save what was written and close the file; closing it again does nothing.

        Raises
        ------
        CDFError, OSError
            If it could not be saved. The file is then what it was before, unless it was opened with
            `atomic=False`.
        """
        if self.closed:
            self._give_up()
            return
        try:
            if self._writable:
                self._save()
            elif self._id is not None:
                self._close_id()
        finally:
            self._give_up()

    def discard(self) -> None:
        """Close the file without saving: it is what it was when it was opened.

        What was written with `atomic=False` stays.
        """
        self._give_up()

    def _save(self) -> None:
        if self._structural:
            self._rebuild()
        expected = self._summary()
        self._close_id()
        transaction = self._transaction
        assert transaction is not None  # it began when the file was opened for writing
        what = "may be damaged" if self._in_place else "was not changed"
        try:
            with File(transaction.path, gateway=self._gateway) as saved:
                found = saved._summary()
        except CDFError as error:
            raise OSError(f"{self.path} {what}: the library lost the edits: {error}") from error
        if found != expected:
            raise OSError(
                f"{self.path} {what}: what was saved is not what was written. The library lost "
                "some of it, or operations of tarvik.ops wrote to the file meanwhile"
            )
        transaction.commit()
        for path in self._others:  # the new file is a single one
            os.unlink(path)

    def _close_id(self) -> None:
        self._call("close", self._id)
        self._id = None

    def _give_up(self) -> None:
        self._forked = False
        _edited.discard(self)
        if self._id is not None and not self._id.closed:
            with suppress(CDFError):  # the copy is thrown away
                self._call("close", self._id)
        self._id = None
        if self._transaction is not None:
            self._transaction.abort()
        if self._own_gateway is not None:
            self._own_gateway.unload()
        if self._fetched:
            shown_names.pop(self._opened_path, None)
            self._fetched.close()

    def _summary(self) -> tuple:
        """What the saved file must have: variables with their records, attributes with entries."""
        call, file = self._call, self._id
        attributes = []
        for number in range(int(call("inquire", file)[4])):
            name = call("getAttrName", file, number)
            counts = (
                call("getNumAttrgEntries", file, number)
                if call("getAttrScope", file, number) == "GLOBAL_SCOPE"
                else call("getNumAttrEntries", file, number)
            )
            attributes.append((name, counts))
        variables = [(v.name, v.datatype, v.shape) for v in self._variables.values()]
        return variables, attributes

    # Facts.

    def __repr__(self) -> str:
        state = "closed" if self.closed else f"mode {self.mode!r}, {len(self)} variables"
        return f"<tarvik.File {self.path!r}, {state}>"

    def _repr_html_(self) -> str:
        from tarvik._html import of_file

        return of_file(self)

    def __eq__(self, other: object) -> bool:
        return self is other

    __hash__ = object.__hash__

    def __reduce__(self) -> Any:
        raise TypeError(f"{self!r} is open in this process: pickle what it was opened with instead")

    @property
    def majority(self) -> str:
        """The order of values in the file, "row" or "column"; indexing does not depend on it."""
        return "row" if self._row_major else "column"

    @property
    def encoding(self) -> str:
        """The library's name for the encoding of numbers, "IBMPC_ENCODING" for example."""
        return self._call("inquire", self.id)[0]

    @property
    def format(self) -> str:
        """One file, "single", or "multi" for one more for each variable."""
        return "single" if self._call("getFormat", self.id) == "SINGLE_FILE" else "multi"

    @property
    def compression(self) -> str | None:
        """Of the file as a whole: "gzip:6", "rle", "huffman", "ahuffman" or None."""
        return compression_name(*self._call("getCompression", self.id))

    @property
    def checksum(self) -> str | None:
        """Of the whole file: "md5" or None."""
        return "md5" if self._call("getChecksum", self.id) == "MD5_CHECKSUM" else None

    @property
    def version(self) -> str:
        """The version of the library that made the file, "3.9.1" for example."""
        return ".".join(str(int(part)) for part in self._call("getVersion", self.id))

    @property
    def copyright(self) -> str:
        """The library's copyright text in the file."""
        return self._call("getCopyright", self.id)

    def _rebuild(self) -> None:
        """Make the working copy anew from what is left: nothing is deleted by the library.

        Deletes and changes of storage are what its known faults need.
        """
        transaction = self._transaction
        assert transaction is not None
        path = transaction.fresh()
        with Copy(self, path) as new:
            new.take_all()
        cut = [a.name for a in self._attributes.values() if a.is_cut]
        if cut:
            warnings.warn(
                f"{self.path}: the library gives no text behind a NUL, so that is lost in {cut}",
                CDFWarning,
                4,
            )
        self._call("close", self._id)
        self._id = None
        transaction.path = path
        self._open(path)
        self._known_attributes = None
        self._nothing_to_carry_out()
        for name, variable in self._variables.items():
            variable._number = new.numbers[name]


class Copy(File):
    """A file that is made from the contents of another one, without a transaction.

    Parameters
    ----------
    source : File
    path : str
        Where no file is yet.
    majority, compression, checksum, format : str or None
        Those that are otherwise than in the source; a compression is the whole file's.

    Attributes
    ----------
    numbers : dict of str to int
        Of the variables that were copied.
    """

    _saved_by_with = True

    def __init__(self, source: File, path: str, **settings: Any) -> None:
        self.path, self.mode, self._validate = path, "w", False
        self._gateway, self._call, self._own_gateway = source._gateway, source._call, None
        self._fetched, self._transaction, self._in_place = None, None, False
        self._source = source
        self.numbers: dict[str, int] = {}
        self._id = None
        self._nothing_known()
        self._nothing_to_carry_out()
        names = ("majority", "compression", "checksum", "format")
        found = [settings.get(name, getattr(source, name)) for name in names]
        self._row_major = found[0] == "row"
        self._create(path, coded(*found))
        self._known_attributes = {}

    def __enter__(self) -> Copy:
        return self

    def close(self) -> None:
        if self._id is not None:
            self._close_id()

    def take_all(self) -> None:
        """Copy all attributes and variables; raise if one of them cannot be read."""
        for broken in self._source._unreadable.values():
            raise broken.problem
        self.take_attributes()
        for name, variable in self._source._variables.items():
            self.take(variable, name)
        self.take_orphans()

    def take_attributes(self) -> None:
        """Copy the attributes with the entries of the file, but not those of variables."""
        for attribute in self._source._attributes.values():
            if attribute.problem is not None:
                raise attribute.problem
            if not attribute.dropped:
                made = self._create_attribute(attribute.name, attribute.scope)
                for place, entry in sorted(attribute.of_file.items()):
                    self._put_entry(made, place, entry)

    def take_orphans(self) -> None:
        """Copy the entries for variables that do not exist."""
        count = int(self._source._ask("inquire")[3])
        for name, attribute in self._source._attributes.items():
            for number, entry in attribute.of_variables.items():
                if number >= count:
                    self._put_entry(self._attributes[name], number, entry)

    def take(self, variable: Variable, name: str, **options: Any) -> None:
        """Copy a variable with its entries."""
        self.numbers[name] = self._copied(variable, name, **options).number


def open_file(path: _Source, mode: str = "r", **options: Any) -> File:
    """Open a CDF file: the same as `File`, where the parameters are."""
    return File(path, mode, **options)


@atexit.register
def _close_files() -> None:
    for file in list(_edited):
        warnings.warn(f"{file.path!r} was not closed; it is saved now", ResourceWarning, 2)
        try:
            file.close()
        except Exception as error:
            warnings.warn(f"{file.path!r} could not be saved: {error}", CDFWarning, 2)
    for file in list(_unedited):
        file.discard()


def _after_fork() -> None:
    _edited.clear()
    for file in list(_unedited):
        file._left_to_parent()


os.register_at_fork(after_in_child=_after_fork)
