"""A CDF file as users of h5py expect one."""

from __future__ import annotations

import atexit
import os
import warnings
import weakref
from contextlib import suppress
from typing import Any, BinaryIO

from tarvik import ops
from tarvik._contents import Contents
from tarvik._errors import CDFError, CDFWarning
from tarvik._gateway import Gateway
from tarvik._places import download, name_of, new_path, present_file
from tarvik._settings import (
    CHECKSUMS,
    FORMATS,
    MAJORITIES,
    code_of,
    compression_name,
    compression_of,
)
from tarvik.attributes import Attributes, Store
from tarvik.transaction import Transaction
from tarvik.variable import Variable

__all__ = ["File", "open_file"]

_MODES = ("r", "r+", "w", "x", "a")
# Files that are open when Python ends are closed then: written ones, which are kept until they are
# saved, and those that are only read.
_written: set[File] = set()
_read: weakref.WeakSet[File] = weakref.WeakSet()


class File(Contents):
    """An open CDF file: a mapping from the names of its variables to `Variable`.

    Writing modes work on a private copy beside the file, and nothing of the file changes before
    `close`, or the end of a `with` block, which checks the copy and puts it in place in one step.
    An exception in the block leaves the file as it was.

    Parameters
    ----------
    path : str, bytes, os.PathLike or binary file object
        A file object, or a URL that fsspec understands, is copied to a temporary file, and can be
        read only.
    mode : str
        "r" read, "r+" edit, "w" create or replace, "x" create and fail if it exists, "a" edit or
        create.
    atomic : bool
        Whether edits are made on a copy. Without it they go into the file itself, for files too
        large to copy; a process that dies meanwhile may leave it damaged.
    isolated : bool
        Whether the CDF library runs in a process of its own, for files from strangers.
    validate : bool
        Whether the library checks the file when it opens it.
    majority : str
        Of a new file: "row" or "column".
    compression : str, optional
        Of a new file as a whole: "gzip", "gzip:6", "rle", "huffman" or "ahuffman".
    checksum : str, optional
        Of a new file: "md5".
    format : str
        Of a new file: "single", or "multi" for one file more for each variable.

    Raises
    ------
    FileNotFoundError, FileExistsError, IsADirectoryError, PermissionError
        As `open` of Python does.
    BlockingIOError
        If the file is open for writing already, in this process or another.
    CDFError
        If it is no CDF file, or a damaged one.
    """

    def __init__(
        self,
        path: str | bytes | os.PathLike | BinaryIO,
        mode: str = "r",
        *,
        atomic: bool = True,
        isolated: bool = False,
        validate: bool = True,
        majority: str = "row",
        compression: str | None = None,
        checksum: str | None = None,
        format: str = "single",  # noqa: A002
    ) -> None:
        if mode not in _MODES:
            raise ValueError(f"mode {mode!r} is none of {', '.join(_MODES)}")
        self._download = download(path, mode)
        self.path: str = name_of(path)
        self.mode = mode
        self._id: Any = None
        self._transaction: Transaction | None = None
        self._in_place = False
        self._gateway = Gateway(isolated=True) if isolated else None
        self._call = (self._gateway or ops).call
        self._validate = validate
        self._variables: dict[str, Variable] = {}
        self._attributes: Store | None = None
        self._nothing_to_carry_out()
        settings = (
            code_of("majority", majority, MAJORITIES),
            None if compression is None else compression_of(compression),
            code_of("checksum", checksum, CHECKSUMS),
            code_of("format", format, FORMATS),
        )
        try:
            self._begin(atomic and format == "single", settings)
        except BaseException:
            self._give_up()
            raise
        self.attrs = Attributes(self)
        (_written if self._writable else _read).add(self)

    # Opening and closing.

    def _begin(self, atomic: bool, settings: tuple) -> None:
        present = self._download.name if self._download else present_file(self.path)
        if self.mode in ("w", "x", "a"):
            self._begin_edit(present, atomic, settings)
        elif present is None:
            raise FileNotFoundError(2, os.strerror(2), self.path)
        elif self.mode == "r+":
            self._begin_edit(present, atomic, settings)
        else:
            self._id = self._opened(present)
        self._row_major = self._call("getMajority", self._id) == "ROW_MAJOR"
        self._find_variables()

    def _begin_edit(self, present: str | None, atomic: bool, settings: tuple) -> None:
        if self.mode == "x" and present is not None:
            raise FileExistsError(17, os.strerror(17), self.path)
        fresh = present is None or self.mode in "wx"
        target = present or new_path(self.path)
        if atomic and not fresh and self._is_multi_file(target):
            warnings.warn(
                f"{target} is kept in several files, which are edited in place", CDFWarning, 4
            )
            atomic = False
        self._in_place = not atomic
        self._transaction = Transaction(
            target, create=fresh, exist_ok=self.mode != "x", replace=fresh, atomic=atomic
        )
        if not fresh:
            self._id = self._opened(self._transaction.path)
            return
        if not atomic and present is not None:
            os.unlink(present)
        self._create(self._transaction.path, settings)

    def _create(self, path: str, settings: tuple) -> None:
        self._id = self._call("create", os.fsencode(path))
        majority, compression, checksum, kind = settings
        for operation, inputs in (
            ("setFormat", [kind] if kind != 1 else None),
            ("setMajority", [majority] if majority != 1 else None),
            ("setCompression", compression),
            ("setChecksum", [checksum] if checksum else None),
        ):
            if inputs is not None:
                self._call(operation, self._id, *inputs)

    def _opened(self, path: str) -> Any:
        if self._validate:
            return self._call("open", os.fsencode(path))
        self._call("setValidate", 0)
        try:
            return self._call("open", os.fsencode(path))
        finally:
            self._call("setValidate", -1)

    def _is_multi_file(self, path: str) -> bool:
        with self._opened(path) as file:
            return self._call("getFormat", file) == "MULTI_FILE"

    def _find_variables(self) -> None:
        count = int(self._call("inquire", self._id)[3])
        found = [Variable(self, number) for number in range(count)]
        self._variables = {variable.name: variable for variable in found}

    def __enter__(self) -> File:
        return self

    def __exit__(self, kind: Any, error: Any, trace: Any) -> None:
        if kind is None:
            self.close()
        else:
            self.discard()

    def __del__(self) -> None:
        if getattr(self, "_id", None) is not None and not self._id.closed and not self._writable:
            warnings.warn(f"unclosed file {self.path!r}", ResourceWarning, 2, source=self)
            self.close()

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
            else:
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
        if self._in_place:
            transaction.commit()
            return
        try:
            with File(transaction.path, isolated=False) as saved:
                found = saved._summary()
        except CDFError as error:
            raise OSError(
                f"{self.path} was not changed: the library lost the edits: {error}"
            ) from error
        if found != expected:
            raise OSError(f"{self.path} was not changed: the library lost some of the edits")
        transaction.commit()

    def _close_id(self) -> None:
        file, self._id = self._id, None
        self._call("close", file)

    def _give_up(self) -> None:
        _written.discard(self)
        if self._id is not None:
            file, self._id = self._id, None
            if not file.closed:
                with suppress(CDFError):  # the copy is thrown away
                    self._call("close", file)
        if self._transaction is not None:
            self._transaction.abort()
        if self._gateway is not None:
            self._gateway.unload()
        if self._download:
            self._download.close()

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

    def __eq__(self, other: object) -> bool:
        return self is other

    __hash__ = object.__hash__

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
        new = _Copy(self, path)
        try:
            for title in [t for t in self._store.numbers if t not in self._store.dropped]:
                scope = self._store.scopes[title]
                number = int(self._call("createAttr", new._id, title, scope))
                new._store.numbers[title], new._store.scopes[title] = number, scope
                for place, entry in sorted(self._store.of_file.get(title, {}).items()):
                    new._put_entry(number, place, entry)
            for name, variable in self._variables.items():
                new._copied(variable, name)
            new._close_id()
        except BaseException:
            new._give_up()
            raise
        self._call("close", self._id)
        self._id = None
        transaction.path = path
        self._id = self._opened(path)
        self._attributes = None
        self._nothing_to_carry_out()
        for variable, made in zip(self._variables.values(), new._variables.values()):
            variable._number = made.number


class _Copy(File):
    """The file that a rebuilt one is written to."""

    def __init__(self, source: File, path: str) -> None:
        self.path, self.mode, self._validate = path, "w", False
        self._gateway, self._call = None, source._call  # the source's, which stays
        self._download, self._transaction, self._in_place = None, None, False
        self._nothing_to_carry_out()
        self._variables, self._row_major = {}, source._row_major
        self._id = self._call("create", os.fsencode(path))
        if not self._row_major:
            self._call("setMajority", self._id, 2)
        if source.compression:
            self._call("setCompression", self._id, *compression_of(source.compression))
        if source.checksum:
            self._call("setChecksum", self._id, 1)
        self._attributes = Store(self)
        self.attrs = Attributes(self)


def open_file(path: str | bytes | os.PathLike | BinaryIO, mode: str = "r", **options: Any) -> File:
    """Open a CDF file: the same as `File`, where the parameters are."""
    return File(path, mode, **options)


@atexit.register
def _close_files() -> None:
    for file in list(_written):
        warnings.warn(f"{file.path!r} was not closed; it is saved now", ResourceWarning, 2)
        try:
            file.close()
        except Exception as error:
            warnings.warn(f"{file.path!r} could not be saved: {error}", CDFWarning, 2)
    for file in list(_read):
        file.discard()


os.register_at_fork(after_in_child=_written.clear)
