"""What the gateway refuses, as Python exceptions, and what it warns of."""

import errno
import fnmatch
import os
import re
import sys
import warnings
from contextlib import suppress
from functools import lru_cache
from numbers import Real

__all__ = ["CDFError", "CDFProcessError", "CDFWarning"]


class CDFError(Exception):
    """The gateway or the CDF library refused a call.

    A refusal for which Python has an exception of its own is also that one: a missing file is a
    `FileNotFoundError`, a value of the wrong class a `TypeError`. The message is the gateway's or
    the library's; from Python 3.11 on, a note says which variable or attribute was asked for.

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
        place = (self.operation, self.filename)
        return type(self), (self.identifier, self.message, *place), self.__dict__


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
# What tells the name of what was given by its number.
_NAMES = {"variable": "getVarName", "attribute": "getAttrName"}
_LONGEST_SHOWN = 300
# Datatypes that only the extended plug-in has, and how the exact one refuses them.
_EXTENDED_DATATYPES = {"8": "CDF_INT8", "33": "CDF_TIME_TT2000"}
_UNKNOWN_DATATYPE = re.compile(
    r"VORLAN:tarvik:(packUpDatatype:unhandled|mapCdfDatatypeToVorlan:unknown"
    r"|setInputBufferSize:unknown)Datatype"
)
# The modules between a user's line and the gateway.
_CALLED_BY_USERS = frozenset(
    {
        __name__,
        "tarvik",
        "tarvik._gateway",
        "tarvik._isolated",
        "tarvik._operations",
        "tarvik._plugin",
        "tarvik.attributes",
        "tarvik.file",
        "tarvik.variable",
    }
)
# What messages call files that are opened by a path of no meaning to the user, by that path.
shown_names: dict[str, str] = {}
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


def gateway_error(identifier, message, arguments, gateway=None):
    """Make the exception for a refused call.

    Parameters
    ----------
    identifier : str
    message : bytes
    arguments : tuple
        The operation's name and its inputs, as they were given.
    gateway : Gateway, optional
        With it, the exception is explained.
    """
    text = message.decode("utf-8", "surrogateescape")
    place = (operation_of(arguments), _filename_of(arguments))
    error = CDFError(identifier, text, *place)
    kind = _kind_of(error)
    if kind is not None:
        error = _CLASSES[kind](identifier, text, *place)
    if gateway is not None:
        explain(error, arguments, gateway)
    return error


def explain(error, arguments, gateway):
    """Add notes to an error: what the call asked for, and where its datatype is known.

    Python before 3.11 has no notes.

    Parameters
    ----------
    error : CDFError
    arguments : tuple
        As for `gateway_error`.
    gateway : Gateway
        It is asked for the names of what was given by number.
    """
    if not hasattr(error, "add_note"):
        return
    asked = [
        _described(kind, arguments[position], error, arguments[1], gateway)
        for position, kind in _subjects(error.operation)
        if position < len(arguments)
    ]
    if any(asked):
        file = shown_name(getattr(arguments[1], "name", None))
        where = f" of {file!r}" if file else ""
        error.add_note(f"In {error.operation}: {', '.join(filter(None, asked))}{where}")
    if _UNKNOWN_DATATYPE.match(error.identifier):
        for number in _EXTENDED_DATATYPES.keys() & re.findall(r"\d+", error.message):
            name = _EXTENDED_DATATYPES[number]
            error.add_note(f"{name} is known to tarvik.ops and tarvik.open, not to tarvik.exact")


@lru_cache
def _subjects(operation):
    """The positions of the inputs that say which variable, attribute or entry, and the word."""
    from tarvik._catalogue import all_operations

    if operation not in all_operations():
        return []
    words = {word: word for word in (*_NAMES, "entry")}
    words["name"] = "variable" if "Var" in operation else "attribute"
    if operation.startswith("rename"):
        words["name"] = "new name"
    inputs = enumerate(all_operations()[operation].inputs, 1)
    return [
        (position, words[value.name])
        for position, value in inputs
        if value.name in words and value.kind in ("number", "text")
    ]


def _described(kind, given, error, file, gateway):
    """One input in words; None where the error says enough."""
    if isinstance(given, (str, bytes)):
        return f"{kind} {given!r:.{_LONGEST_SHOWN}}"
    if not isinstance(given, Real) or not float(given).is_integer():
        return None
    name = None
    # Programs try which entries there are, and should not wait for a name each time.
    can_ask = error.status_name != "NO_SUCH_ENTRY" and not isinstance(error, CDFProcessError)
    if can_ask and _NAMES.get(kind) not in (None, error.operation):
        with suppress(CDFError):
            name = gateway.call(_NAMES[kind], file, given)
    return f"{kind} {int(given)}" + (f" ({name!r})" if name else "")


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
    return shown_name(arguments[1]) if opens else None


def shown_name(path):
    """What messages call the file at a path."""
    known = isinstance(path, (str, bytes)) and shown_names
    return shown_names.get(os.fsdecode(path), path) if known else path


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
