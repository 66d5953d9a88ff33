"""What the gateway refuses, as Python exceptions, and what it warns of."""

import errno
import fnmatch
import os
import re
import sys
import warnings
from functools import lru_cache

__all__ = ["CDFError", "CDFProcessError", "CDFWarning"]


class CDFError(Exception):
    """The gateway or the CDF library refused a call.

    A refusal for which Python has an exception of its own is also that one: a missing file is a
    `FileNotFoundError`, a value of the wrong class a `TypeError`.

    Parameters
    ----------
    identifier : str
        The kind of error, "VORLAN:tarvik:open:failure" for example.
    message : str
        What went wrong.
    operation : str, optional
        The operation that was called, by the name it was called with. The identifier may name
        another place, the reading of an argument for example.
    filename : str or bytes or os.PathLike, optional
        The file that was to be opened or made, as it was given.

    Attributes
    ----------
    identifier, message, operation, filename
        As above.
    tag : str
        The last part of the identifier, "failure" for example.
    status_name : str or None
        The CDF library's name for its refusal, "NO_SUCH_CDF" for example; None where the library
        was not asked.
    """

    def __init__(self, identifier, message, operation=None, filename=None):
        super().__init__(message)
        self.identifier = identifier
        self.message = message
        self.operation = operation
        self.filename = filename
        self.tag = identifier.rpartition(":")[2]
        found = _STATUS_NAME.match(message)
        self.status_name = found and found[1]

    def __str__(self):
        return self.message

    def __reduce__(self):
        return type(self), (self.identifier, self.message, self.operation, self.filename)


class CDFProcessError(CDFError):
    """The process of an isolated gateway ended within a call, or was ended for it.

    The call may have done a part of its work. Files that were open there are lost to the session:
    what earlier closes wrote is in them. The next call starts a new process.
    """


class CDFWarning(UserWarning):
    """The gateway warns.

    Attributes
    ----------
    identifier : str
        The kind of warning.
    """

    def __init__(self, message, identifier=""):
        super().__init__(message)
        self.identifier = identifier


# Which errors are also what in Python: names of the library's statuses, tags, or identifiers, with
# wildcards. The first row that fits counts.
_KINDS = (
    (FileNotFoundError, ["NO_SUCH_CDF"]),
    (FileExistsError, ["CDF_EXISTS"]),
    (PermissionError, ["NO_WRITE_ACCESS", "NO_DELETE_ACCESS", "READ_ONLY_*"]),
    (OSError, ["CDF_*_ERROR", "VAR_*_ERROR", "SCRATCH_*_ERROR"]),
    # The last is what the library says of an unknown name in a file of r-variables alone.
    (KeyError, ["NO_SUCH_VAR", "NO_SUCH_ATTR", "NO_SUCH_ENTRY", "ILLEGAL_IN_zMODE"]),
    (IndexError, ["NO_SUCH_RECORD", "BAD_REC_NUM", "BAD_DIM_INDEX"]),
    (MemoryError, ["VORLAN:outOfMemory", "BAD_MALLOC"]),
    (
        TypeError,
        [
            "argumentNot*",
            "badDatatype",
            "datatypeMismatch",
            "firstArgNotChar",
            "idNotUint64Scalar",
            "invalidOperation",
            "tooFew*",
            "tooMany*",
            "wrongDatatype",
        ],
    ),
    (
        ValueError,
        [
            "BAD_*",
            "badCount",
            "badDimSpec",
            "badDimensionExtent",
            "badGzipLevel",
            "badLength",
            "badRecVariance",
            "cannotOmitDimSpec",
            "containsNul",
            "dimSizeTooLarge",
            "illegal*",
            "invalidFileId",
            "mismatchedVarianceSize",
            "outOfRange",
            "unknownDatatype",
            "unrecognizedCompressionType",
            "unspecifiedGzipCompressionLevel",
            "wrongNumberOfElements",
            "zeroCacheSize",
        ],
    ),
)
_SYSTEM_CODES = {
    FileNotFoundError: errno.ENOENT,
    FileExistsError: errno.EEXIST,
    IsADirectoryError: errno.EISDIR,
    PermissionError: errno.EACCES,
}
_FILE_OPERATIONS = frozenset({"open", "create"})
# The modules between a user's line and the gateway.
_CALLED_BY_USERS = frozenset(
    {
        __name__,
        "tarvik",
        "tarvik._gateway",
        "tarvik._isolated",
        "tarvik._operations",
        "tarvik.attributes",
        "tarvik.file",
        "tarvik.variable",
    }
)
_STATUS_NAME = re.compile(r'(?:CDF library failure|Unable to set zMode to zMODEon2), "(\w+): ')


def _make_class(kind):
    contents = {"__module__": __name__, "__doc__": f"A `CDFError` that is a `{kind.__name__}`."}
    if kind in _SYSTEM_CODES:
        code = _SYSTEM_CODES[kind]
        contents.update(errno=code, strerror=os.strerror(code))
    return type(f"CDF{kind.__name__}", (CDFError, kind), contents)


# Found by their names in this module, so that an error can be pickled.
_CLASSES = {kind: _make_class(kind) for kind in (*(row[0] for row in _KINDS), IsADirectoryError)}
globals().update({made.__name__: made for made in _CLASSES.values()})


def gateway_error(identifier, message, arguments):
    """Make the exception for a refused call.

    Parameters
    ----------
    identifier : str
    message : bytes
    arguments : tuple
        The operation's name and its inputs, as they were given.
    """
    text = message.decode("utf-8", "surrogateescape")
    place = (operation_of(arguments), _filename_of(arguments))
    error = CDFError(identifier, text, *place)
    kind = _kind_of(error)
    return error if kind is None else _CLASSES[kind](identifier, text, *place)


def process_error(identifier, message, arguments):
    """Make the exception for a call within which an isolated gateway's process ended."""
    return CDFProcessError(identifier, message, operation_of(arguments), _filename_of(arguments))


def warn(identifier, message):
    """Show a warning of the gateway; it blames the line that called into the package.

    Parameters
    ----------
    identifier : str
    message : bytes
    """
    level, frame = 1, sys._getframe()
    while frame and frame.f_globals.get("__name__") in _CALLED_BY_USERS:
        level, frame = level + 1, frame.f_back
    made = CDFWarning(message.decode("utf-8", "surrogateescape"), identifier)
    warnings.warn(made, stacklevel=level)


def operation_of(arguments):
    """The name of the operation that is called with these arguments, as a text; None for none."""
    name = arguments[0] if arguments else None
    if isinstance(name, bytes):
        name = name.decode("utf-8", "surrogateescape")
    return name if isinstance(name, str) else None


def _filename_of(arguments):
    opens = operation_of(arguments) in _FILE_OPERATIONS and len(arguments) > 1
    return arguments[1] if opens else None


def _kind_of(error):
    kind = _listed_kind(error.status_name or error.tag, error.identifier)
    return _seen_by_the_system(kind, error) if kind and issubclass(kind, OSError) else kind


@lru_cache
def _listed_kind(*names):
    for kind, patterns in _KINDS:
        if any(fnmatch.fnmatchcase(name, pattern) for name in names for pattern in patterns):
            return kind
    return None


def _seen_by_the_system(kind, error):
    """Why a file could not be had, where the library has one word for several reasons."""
    path = error.filename
    if not isinstance(path, (str, bytes, os.PathLike)):
        return kind
    if os.path.isdir(path):
        return IsADirectoryError
    if error.status_name == "CDF_CREATE_ERROR":
        path = os.path.dirname(os.path.abspath(path))
        if not os.path.exists(path):
            return FileNotFoundError
        return kind if os.access(path, os.W_OK) else PermissionError
    if error.status_name == "CDF_OPEN_ERROR" and os.path.exists(path):
        return kind if os.access(path, os.R_OK) else PermissionError
    return kind
