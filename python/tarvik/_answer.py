"""What an isolated gateway's process answers, which may be in the hands of a forged file."""

from tarvik._errors import gateway_error
from tarvik._wire import MessageError, from_answer, read

__all__ = ["Answer"]

# What else an answer may raise; anything else is a RuntimeError.
_FAILURES = {kind.__name__: kind for kind in (MemoryError, OverflowError, TypeError, ValueError)}


class Answer:
    """An answer that has been looked through.

    Attributes
    ----------
    number : int
        That of the request.
    kind : str
        "value", "file", or "refused" by the gateway, or "failed" with an exception of Python's.
    content : object
        The value; for an error its identifier or class and its message.
    warned : list of tuple
        The identifier and message of each warning.
    closed : list of int
        The files that are no longer open.
    """

    def __init__(self, document, memory):
        try:
            self._take(from_answer(document.decode()), memory)
        except Exception as error:
            raise MessageError(str(error)) from error

    def _take(self, document, memory):
        self.number, self.kind, content, warned, self.closed = document
        self.content = _CONTENTS[self.kind](content, memory)
        self.warned = [_pair(each) for each in warned]
        if not all(type(number) is int for number in [self.number, *self.closed]):
            raise MessageError("no number")

    def fail(self, arguments):
        kind, message = self.content
        if self.kind == "refused":
            raise gateway_error(kind, message, arguments)
        raise _FAILURES.get(kind, RuntimeError)(message.decode("utf-8", "surrogateescape"))


def _pair(texts):
    """An identifier and a message, which is bytes."""
    identifier, message = texts
    identifier.encode()
    return identifier, message.encode("utf-8", "surrogateescape")


_CONTENTS = {
    "value": read,
    "file": lambda *_: None,
    "refused": lambda content, _: _pair(content),
    "failed": lambda content, _: _pair(content),
}
