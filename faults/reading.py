"""Reads all that a file holds, whatever state it is in."""

import hashlib
import traceback
from collections.abc import Iterator
from dataclasses import dataclass, field
from itertools import islice
from pathlib import Path

import numpy as np
from tarvik import CDFError, CDFProcessError, File

_MOST_BYTES = 64 << 20  # of a record
_MOST_BLOCKS = 8
_MOST_NUMBERS = 2000  # variables, attributes, and entries of an attribute
_OF_FILES = ("version", "copyright", "encoding", "format", "majority", "compression", "checksum")
_OF_VARIABLES = ("name", "datatype", "shape", "record_vary", "dim_vary")
_OF_STORAGE = ("compression", "sparse", "blocking_factor", "pad", "fill")
_OPERATIONS = ("getVarAllocRecords", "getVarNumRecsWritten")


@dataclass
class Outcome:
    """What became of reading one file.

    Attributes
    ----------
    ending : str
        "read", "edited", "refused" by open or close; or else "crashed", "hung", "large" if it
        took too much memory, "lost" by an edit, "odd" if an exception is none that callers expect.
    problems : list of str
        The texts of the errors, or the signal; those of odd exceptions first.
    digest : str
        Of all that was read; files with the same content have the same.
    memory : int
        The most memory that the reading process has had, in KiB; 0 if it was not asked.
    """

    ending: str
    problems: list = field(default_factory=list)
    digest: str = ""
    memory: int = 0

    @property
    def survived(self):
        return self.ending in ("read", "edited", "refused")


def read(path, gateway=None):
    """Read a file, in this process or in that of an isolated gateway.

    What cannot be read is a problem, and the rest is read nevertheless.
    """
    ending, problems, odd, digest = "refused", [], [], hashlib.sha256()

    def take(get, *arguments):
        try:
            found = get(*arguments)
            if isinstance(found, Iterator):
                for part in found:
                    take(*part)
            else:
                digest.update(_as_bytes(found))
        except CDFProcessError:
            raise
        except CDFError as error:
            problems.append(str(error))
        except Exception as error:
            odd.append(where(error))

    try:
        with File(path, gateway=gateway) as file:
            ending = "read"
            take(_of_file, file)
    except CDFProcessError as error:
        # Without a gateway, a file that may crash the library is read in a process of its own.
        hung = error.tag == "timeLimitExceeded"
        ending = "hung" if hung else "crashed" if gateway else "refused"
        problems = [str(error)]
    except CDFError as error:
        problems.append(str(error))
    except Exception as error:
        odd.append(where(error))
    return Outcome("odd" if odd else ending, odd + problems, digest.hexdigest())


def where(error):
    """An exception and the lines that it came through."""
    frames = traceback.extract_tb(error.__traceback__)
    lines = [f"{Path(frame.filename).name}:{frame.lineno}" for frame in frames]
    return f"{error!r} at {', '.join(lines)}"


# Each of these gives the functions that read its parts, with their arguments.


def _of_file(file):
    for fact in _OF_FILES:
        yield getattr, file, fact
    yield _of_attributes, file
    for name in islice(file, _MOST_NUMBERS):
        yield _of_variable, file, name


def _of_attributes(file):
    for attribute in islice(file._attributes.values(), _MOST_NUMBERS):
        yield _of_attribute, attribute


def _of_attribute(attribute):
    yield repr, (attribute.name, attribute.scope)
    if attribute.problem is not None:
        raise attribute.problem
    for entries in (attribute.of_file, attribute.of_variables):
        for number, entry in islice(entries.items(), _MOST_NUMBERS):
            yield _content_of, number, entry


def _of_variable(file, name):
    variable = file[name]
    for fact in (*_OF_VARIABLES, *_OF_STORAGE):
        yield getattr, variable, fact
    for operation in _OPERATIONS:
        yield variable._ask, operation
    if variable._stored_bytes <= _MOST_BYTES:
        for runs in islice(variable._stored_blocks(range(variable._records())), _MOST_BLOCKS):
            yield variable._read, runs


def _content_of(number, entry):
    entry.to_user()  # raises the entry's problem
    return number, entry.datatype.name, entry.elements, entry.stored.tobytes()


def _as_bytes(found):
    if isinstance(found, (np.ndarray, np.generic)):
        return f"{found.dtype}{found.shape}".encode() + found.tobytes()
    return repr(found).encode("utf-8", "surrogateescape")
