"""What ends a command early, and the exit codes."""

import os
import sys
from contextlib import contextmanager

from tarvik import CDFError
from tarvik._fetch import name_of
from tarvik._text import visible
from tarvik.attributes import did_you_mean

DONE = 0
FOUND = 1  # `check` found something odd, `compare` a difference
WRONG_FILE = 3
REFUSED = 4
INTERRUPTED = 130
NO_READER = 141


class Failure(Exception):  # noqa: N818, it tells of an error and is not its kind
    """An error, and the file it is about."""

    def __init__(self, place, error):
        super().__init__(place, error)
        self.place = place
        self.error = error

    def complain(self):
        """Say in one line what is wrong; return the exit code for it."""
        return complain(self.place, self.error)


class ImpossibleError(Exception):
    """What was asked for cannot be done with this file."""


def check_variables(file, names):
    """Raise for a name that is none of a variable."""
    for name in names:
        if name not in file:
            raise ImpossibleError(f'there is no variable "{name}"{did_you_mean(name, file)}')


@contextmanager
def about(place):
    """Raise an error of what is done here as a `Failure` with the file it is about."""
    try:
        yield
    except BrokenPipeError:
        raise
    except (CDFError, OSError, ImpossibleError) as error:
        raise Failure(place, error) from error


def targets_in(folder, paths, extension):
    """For each file the one in a folder that is made from it."""
    targets = {}
    for path in paths:
        name = os.path.basename(name_of(path))
        stem = name[:-4] if name.lower().endswith(".cdf") else name
        target = os.path.join(folder, f"{stem}.{extension}")
        if target in targets.values():
            raise Failure(path, ImpossibleError(f"{target} is made from another file already"))
        targets[path] = target
    return targets


def for_each_file(paths, work):
    """Do the work for each file, also when it failed for another; return the highest code."""
    code = DONE
    for path in paths:
        try:
            code = max(code, work(path) or DONE)
        except Failure as failure:
            code = max(code, failure.complain())
    return code


def complain(place, error):
    """Say in one line on stderr what is wrong; return the exit code for it."""
    text = str(error)
    if getattr(error, "status_name", None):
        text = text.partition('"')[2].rpartition('"')[0]
    elif isinstance(error, OSError) and error.strerror:
        text = error.strerror
    say(f"{visible(name_of(place))}: {visible(text)}")
    return WRONG_FILE if isinstance(error, OSError) else REFUSED


def say(words):
    """Print words for people, which are no data."""
    print(f"tarvik: {words}", file=sys.stderr)
