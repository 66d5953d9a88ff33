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


def for_each_file_apart(paths, work, limit):
    """Do the work for each file in order.

    Where the process crashes or takes too long, that file is refused, and another process goes on.

    Parameters
    ----------
    paths : sequence of str
    work : callable
        As for `for_each_file`.
    limit : callable
        Gives the seconds that the work for a file may take.

    Returns
    -------
    int
        The highest code.
    """
    remaining, highest = list(paths), DONE
    while remaining:
        codes, code, problem = _worked(remaining, work, limit)
        highest = max(highest, code, *codes)
        if problem is None:
            break
        highest = max(highest, complain(remaining[len(codes)], problem))
        remaining = remaining[len(codes) + 1 :]
    return highest


def _worked(paths, work, limit):
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
        codes, late = _received(reader, paths, limit)
    except BaseException:
        os.kill(process, signal.SIGKILL)
        os.waitpid(process, 0)
        raise
    finally:
        os.close(reader)
    if late:
        os.kill(process, signal.SIGKILL)
    status = os.waitpid(process, 0)[1]
    code = os.waitstatus_to_exitcode(status)
    if code >= 0 or len(codes) == len(paths):
        return codes, max(code, DONE), None
    what = f"crashed ({signal.Signals(-code).name})"
    if late:
        what = f"had not finished after {late:g} s for all calls and was ended"
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


def _received(reader, paths, limit):
    """The codes that come until the process ends, and the seconds that the next one did not."""
    codes = b""
    while True:
        seconds = limit(paths[len(codes)]) if len(codes) < len(paths) else None
        if not select.select([reader], [], [], seconds)[0]:
            return codes, seconds
        more = os.read(reader, 1 << 12)
        if not more:
            return codes, None
        codes += more
