"""Writes the reference of the operations, docs/operations.md.

python -m tarvik._reference > docs/operations.md
"""

from itertools import groupby

from tarvik._catalogue import all_operations, extended_operations, kinds, operations
from tarvik._operations import argument_errors, own_errors

_HEAD = """\
# The operations

Every operation of the gateway, with its inputs and outputs in order. A host calls the plug-in with
the operation's name and the inputs; in Python each is a function, `ops.getVarNum(file, "B")`.
This page is written by `python -m tarvik._reference` from the catalogue in `gateway/catalogue`.

All numbers of files, variables, attributes, records and entries are zero-based. Dimensions stand in
the same order in every operation, whatever the majority of the file: values are never reordered;
for row-major files the lists are turned round on their way to the library and back.

The examples run on the file that `examples/sample.py` makes, opened as `file`, with
`import numpy as np` and `from tarvik import constants`.
"""

_CHOICES = """\
## What holds for all

- **Identifiers of errors** begin with `VORLAN:tarvik:`, which is left out below. A refusal of the
  CDF library is raised as the operation's name and a step, `open:failure` for example, with the
  library's own words: `CDF library failure, "NO_SUCH_CDF: The specified CDF does not exist.".`
- **The call itself** raises `tooFewArguments` without a name, `firstArgNotChar` for a name that is
  no char array, `invalidOperation` for one that no operation has, and `tooFewInputs` and
  `tooManyInputs`. A NUL ends the name of an operation, and of a constant. A host that cannot get
  the memory for an array raises `VORLAN:outOfMemory`; a file that was just opened or created is
  closed or deleted then.
- **Files** that are open when the plug-in goes are closed after the warning `closingFileHandle`. An
  identifier's number is the library's, which gives it out again after a close: one that was kept
  may then mean another file. Python's `FileId` knows that it is closed.
- **Numbers** have the bounds of 32 bits, since the library cuts what is larger without a word. A
  NaN becomes -2147483648, which most operations refuse as a number of anything. In Python they may
  be NumPy's of any class; values may not.
- **Texts** must be char arrays without NUL characters, which would reach the library cut short.
  The library judges other characters than printable ASCII.
- **Each operation makes the library calls that belong to it** and no others: the inquiries that it
  needs, then its own call, with the numbers that it was given. [Known faults](library-faults.md) of
  the library can meet a sequence of calls.
- **Refused requests** never reach the library: with them it would crash, touch foreign memory, act
  on another file or variable, or report success with wrong values. The answer has the form of the
  library's refusals and its own status. They are: names over 256 characters, and paths over 512
  with the extension, which the library cuts; two files whose names differ in the case of the
  extension; records below zero in `getVarRecordData` and `putVarRecordData`; record 2147483647 and
  beyond, except in `getVarData`; a last index of a hyperslab, or a size of a value, record, entry
  or hyperslab, that 32 bits do not count; values that there is no memory for in `createVar`; and
  reads of several records, with an interval of 2 or more, of a variable whose records do not vary.
  Requests that ask for much are made: writing record 2000000000 first writes all before it, unless
  records are sparse.
- **Counts**: in a read, a count below zero, or more elements than can be counted, is `badCount`; in
  a write the product of the counts must be the number of elements. The library refuses counts
  below 1.
- **Validation**: -1 is on and 0 is off, as the library takes them. It is on at first.
- **All outputs** of an operation are made, whatever number the caller asked for; the host provides
  room for eight.
- **Words of the library** for a status that it does not know are empty. Compression parameters have
  room for five, and only the first counts.
- **What is lost on close**: cache sizes, the read-only mode and a reserve percentage belong to an
  open file, not to what is on disk.
"""


_EXTENDED = """\
## The extended plug-in

`tarvik_extended.so` lies beside `tarvik.so` and has all of the above, and besides:

- the datatypes `CDF_INT8` (8) and `CDF_TIME_TT2000` (33), both of class int64, wherever an
  operation takes or gives values, and the two named constants; `tarvik.so` refuses them;
- two operations for times in `CDF_TIME_TT2000`, by the library's own table of leap seconds.

In Python it is `tarvik.ops`, with a method for each operation and the constants as
`constants`. A file belongs to the plug-in that opened it; the other one refuses it.
"""


def reference():
    """The whole page."""
    parts = [_HEAD, _CHOICES, _contents(), _kinds_table()]
    for topic, group in _by_topic(operations()):
        parts += [f"## {topic}\n", *map(_operation, group)]
    return "\n".join([*parts, _EXTENDED, *map(_operation, extended_operations().values())])


def _by_topic(some):
    return groupby(some.values(), lambda operation: operation.topic)


def _contents():
    lines = ["| topic | operations |", "|---|---|"]
    for topic, group in _by_topic(all_operations()):
        links = ", ".join(f"[{op.name}](#{op.name.lower()})" for op in group)
        lines.append(f"| {topic} | {links} |")
    return "\n".join(lines) + "\n"


def _kinds_table():
    lines = ["## Kinds of inputs and outputs\n", "| kind | host array | Python | meaning |"]
    lines.append("|---|---|---|---|")
    for name, kind in kinds().items():
        python = kind.python.replace("|", "\\|")
        lines.append(f"| {name} | {kind.array} | `{python}` | {kind.meaning} |")
    lines += ["", "What an input that is none of its kind raises:", ""]
    for name, kind in kinds().items():
        if kind.raises:
            lines.append(f"- {name}: " + ", ".join(f"`{error}`" for error in kind.raises))
    return "\n".join(lines) + "\n"


def _operation(operation):
    parts = [f"### {operation.name}\n", operation.summary]
    if operation.note:
        parts.append("\n" + operation.note)
    parts.append("")
    parts += _values("Inputs", operation.inputs)
    parts += _values("Outputs", operation.outputs)
    own = [f"`{name}` ({when})" for name, when in own_errors(operation)]
    if own:
        parts.append("- Errors: " + "; ".join(own))
    others = [f"`{name}`" for name in argument_errors(operation)]
    if others:
        parts.append("- Errors of its inputs: " + ", ".join(others))
    if operation.warns:
        parts.append("- Warnings: " + "; ".join(f"`{n}` ({when})" for n, when in operation.warns))
    parts += ["", "```python", *(f">>> {line}" for line in operation.example.splitlines())]
    parts += [*([operation.gives] if operation.gives else []), "```", ""]
    return "\n".join(parts)


def _values(title, values):
    if not values:
        return [f"- {title}: none"]
    return [f"- {title}: " + "; ".join(map(_value, values))]


def _value(value):
    kind = kinds()[value.kind]
    optional = ", may be left out" if value.optional else ""
    return f"`{value.name}` ({value.kind}: {kind.array}{optional})"


if __name__ == "__main__":
    print(reference(), end="")
