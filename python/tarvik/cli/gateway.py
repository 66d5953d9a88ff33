"""The gateway that a command's files go through: in this process, or isolated from it."""

from contextlib import contextmanager

from tarvik import CDFProcessError, Gateway, ops
from tarvik.cli.errors import CrashError

_used = ops


def call(operation, *inputs):
    """Call the gateway in use.

    An interruption ends an isolated call at once: whoever isolates files only reads them. A crash
    is no `CDFError` here, so that it is not taken for a refusal of one thing in a file.
    """
    gateway = _used
    try:
        return gateway.call(operation, *inputs)
    except CDFProcessError as error:
        raise CrashError(str(error)) from error
    except (KeyboardInterrupt, SystemExit):
        if isinstance(gateway, Gateway):
            gateway.kill()
        raise


def for_strangers(in_process):
    """Give an isolated gateway, whose process starts meanwhile, unless that is not wanted."""
    return None if in_process else Gateway(isolated=True)


@contextmanager
def using(gateway):
    """Have what is called meanwhile go through a gateway, which ends then; None changes nothing."""
    global _used
    if gateway is None:
        yield
        return
    before = _used
    with gateway as _used:
        try:
            yield
        finally:
            _used = before
