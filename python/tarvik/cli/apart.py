"""Work on files in a copy of this process: it alone ends when a file crashes the CDF library."""

import os
import resource
import select
import signal
import sys
import warnings
from functools import partial

from tarvik import CDFProcessError
from tarvik.cli.errors import DONE, complain, for_each_file
from tarvik.cli.outcome import outcome

__all__ = ["for_each_file_apart"]

_LIMIT = 60.0  # seconds that a file may take


def for_each_file_apart(paths, work):
    """Do the work for each file in order; return the highest code.

    Where the process crashes or hangs, that file is refused, and another process goes on.
    """
    remaining, highest = list(paths), DONE
    while remaining:
        codes, code, problem = _worked(remaining, work)
        highest = max(highest, code, *codes)
        if problem is None:
            break
        highest = max(highest, complain(remaining[len(codes)], problem))
        remaining = remaining[len(codes) + 1 :]
    return highest


def _worked(paths, work):
    """Work in a new process.

    Returns
    -------
    tuple
        The codes of the files that are done, the exit code, and what is wrong with the next file.
    """
    reader, writer = os.pipe()
    process = _forked(partial(_work, paths, work, writer))
    os.close(writer)
    try:
        codes, in_time = _received(reader)
    except BaseException:
        os.kill(process, signal.SIGKILL)
        os.waitpid(process, 0)
        raise
    finally:
        os.close(reader)
    if not in_time:
        os.kill(process, signal.SIGKILL)
    status = os.waitpid(process, 0)[1]
    code = os.waitstatus_to_exitcode(status)
    if code >= 0 or len(codes) == len(paths):
        return codes, max(code, DONE), None
    name = signal.Signals(-code).name
    what = f"crashed ({name})" if in_time else f"had not finished after {_LIMIT:g} s and was ended"
    return codes, DONE, CDFProcessError("VORLAN:processEnded", f"The CDF library {what}.")


def _forked(run):
    """Run a function in a copy of this process; return the number of that."""
    sys.stdout.flush()
    scratch = os.environ.get("CDF_TMP")  # this process removes it, also after a crash
    with warnings.catch_warnings():
        warnings.simplefilter("ignore", DeprecationWarning)  # of NumPy's threads, which are idle
        process = os.fork()
    if process == 0:
        if scratch is not None:
            os.environ["CDF_TMP"] = scratch
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        os._exit(outcome(run))
    return process


def _work(paths, work, writer):
    for path in paths:
        code = for_each_file([path], work)
        sys.stdout.flush()
        os.write(writer, bytes([code]))


def _received(reader):
    """The codes that come until the process ends, and whether each came in time."""
    codes = b""
    while select.select([reader], [], [], _LIMIT)[0]:
        more = os.read(reader, 1 << 12)
        if not more:
            return codes, True
        codes += more
    return codes, False
