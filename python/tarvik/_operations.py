"""One function, and one method, for each operation, made of the catalogue."""

import inspect
from collections import namedtuple
from functools import cache
from textwrap import fill

from tarvik import _host
from tarvik._catalogue import kinds

__all__ = ["describe", "make_functions", "make_method"]

_WIDTH = 96


def make_functions(module, gateway, operations):
    """Make all functions and the named tuples that they give.

    Parameters
    ----------
    module : types.ModuleType
        Whose functions they are.
    gateway : _host.Gateway
        What they call.
    operations : dict of str to Operation
        Those that the gateway has.

    Returns
    -------
    dict of str to object
        Functions and classes by name.
    """
    made = {}
    for operation in operations.values():
        result = _result_class(operation)
        if result is not None:
            made[result.__name__] = result
        made[operation.name] = _function(module, operation, gateway)
    return made


def make_method(operation):
    """Make the method of an operation, for a class with the method `call`."""
    name, arrange, finish = operation.name, _arrangement(operation), _finish(operation)

    def method(self, /, *inputs, **named):
        if named or (inputs and inputs[-1] is None):
            inputs = arrange(inputs, named)
        outputs = self.call(name, *inputs)
        return finish(outputs) if finish else outputs

    receiver = inspect.Parameter("self", inspect.Parameter.POSITIONAL_ONLY)
    parameters = _signature(operation).parameters.values()
    method.__signature__ = inspect.Signature([receiver, *parameters])
    method.__name__ = operation.name
    method.__qualname__ = f"Gateway.{operation.name}"
    method.__module__ = "tarvik"
    method.__doc__ = describe(operation)
    return method


@cache
def describe(operation):
    """The documentation of an operation's function, in NumPy's form."""
    parts = [operation.summary]
    if operation.note:
        parts.append(fill(operation.note, _WIDTH))
    parts += [
        _section("Parameters", map(_value_text, operation.inputs)),
        _section("Returns", map(_value_text, operation.outputs)),
        _section("Raises", [_errors_text(operation)]),
        _section("Warns", [_pairs_text("CDFWarning", operation.warns)] if operation.warns else []),
        _section("Examples", [_example_text(operation)]),
    ]
    return "\n\n".join(part for part in parts if part)


def own_errors(operation):
    """Pairs of an identifier and when it comes: the operation's own, then the library's."""
    yield from operation.raises
    for tag in operation.tags:
        step = "the library refuses" if tag == "failure" else _INQUIRIES[tag]
        yield f"{operation.name}:{tag}", step


def argument_errors(operation):
    """The identifiers of what the reading of the operation's inputs raises."""
    found = (identifier for value in operation.inputs for identifier in kinds()[value.kind].raises)
    return list(dict.fromkeys(found))


_INQUIRIES = {
    "variableInquiryFailure": "the library cannot describe the variable",
    "majorityInquiryFailure": "the library cannot tell the file's majority",
    "formatInquiryFailure": "the library cannot tell the file's format",
    "scopeInquiryfailure": "the library cannot tell the attribute's scope",
}


@cache
def _result_class(operation):
    if len(operation.outputs) < 2:
        return None
    fields = [value.name for value in operation.outputs]
    return namedtuple(operation.result_name, fields, module="tarvik.ops")


def _function(module, operation, gateway):
    """A built-in function, since a call of a value takes little longer than Python's own calls."""
    doc = f"{operation.name}{_signature(operation)}\n--\n\n{describe(operation)}"
    arrange, finish = _arrangement(operation), _finish(operation)
    return _host.make_function(module, gateway, operation.name, arrange, finish, doc)


def _arrangement(operation):
    """How inputs become those of the gateway where some are named or the last is None."""
    signature = _signature(operation)
    required = sum(not value.optional for value in operation.inputs)

    def arrange(inputs, named):
        if named:
            inputs = signature.bind(*inputs, **named).args
        # An optional input that is None was left out.
        if inputs and inputs[-1] is None and len(inputs) > required:
            inputs = inputs[:-1]
        return inputs

    return arrange


def _finish(operation):
    """What makes the result of several outputs; None where there are fewer."""
    result = _result_class(operation)
    return result and result._make


def _signature(operation):
    kind = inspect.Parameter.POSITIONAL_OR_KEYWORD
    return inspect.Signature(
        [
            inspect.Parameter(
                value.name, kind, default=None if value.optional else inspect.Parameter.empty
            )
            for value in operation.inputs
        ]
    )


def _section(title, items):
    items = list(items)
    return "\n".join([title, "-" * len(title), *items]) if items else ""


def _indented(text):
    return fill(text, _WIDTH, initial_indent="    ", subsequent_indent="    ")


def _value_text(value):
    kind = kinds()[value.kind]
    optional = ", optional" if value.optional else ""
    return f"{value.name} : {kind.python}{optional}\n{_indented(f'{kind.meaning} ({kind.array})')}"


def _errors_text(operation):
    lines = _pairs_text("CDFError", own_errors(operation))
    others = argument_errors(operation)
    return lines + ("\n" + _indented("for its inputs: " + ", ".join(others)) if others else "")


def _pairs_text(title, pairs):
    return "\n".join([title, *(_indented(f"{name}: {when}") for name, when in pairs)])


def _example_text(operation):
    lines = [f">>> {line}" for line in operation.example.splitlines()]
    return "\n".join([*lines, operation.gives] if operation.gives else lines)
