"""`tarvik attrs`: look at attributes and edit them."""

from contextlib import contextmanager

import numpy as np

from tarvik import File
from tarvik._iso8601 import as_text
from tarvik._text import visible
from tarvik.attributes import OF_VALUES
from tarvik.cli.errors import DONE, ImpossibleError, about, check_variables
from tarvik.cli.files import opened
from tarvik.datatypes import DATATYPES, datatype_named


def show_attributes(path, name=None, gateway=None):
    """Print the attributes of a file, or of one variable."""
    with opened(path, gateway) as file:
        attributes = _attributes(file, name)
        rows = [row for title in attributes for row in _rows(title, attributes._entries(title))]
        widths = [max(map(len, column)) for column in zip(*rows)][:2]
        for title, datatype, value in rows:
            print(f"{title.ljust(widths[0])}  {datatype.ljust(widths[1])}  {value}".rstrip())
    return DONE


def edit_attributes(path, name, renamed, deleted, changed, datatype, gateway=None):
    """Edit the attributes of a file, or of one variable, as one transaction.

    Parameters
    ----------
    path : str
    name : str or None
        The variable.
    renamed : sequence of tuple of str
        Old and new names, which are first.
    deleted : sequence of str
    changed : sequence of tuple of str
        Names and values, which are last; one name several times makes several entries.
    datatype : str or None
        Of the values; otherwise that of the present value, or text.
    """
    with about(path), _reasons(), File(path, "r+", gateway=gateway) as file:
        attributes = _attributes(file, name)
        for old, new in renamed:
            attributes.rename(old, new)
        for title in deleted:
            del attributes[title]
        values = {}
        for title, text in changed:
            values.setdefault(title, []).append(text)
        for title, texts in values.items():
            _set(file, attributes, name, title, texts, datatype)
    return DONE


def _attributes(file, name):
    if name is None:
        return file.attrs
    check_variables(file, [name])
    return file[name].attrs


@contextmanager
def _reasons():
    """Raise what the values or names are refused for as what cannot be done."""
    try:
        yield
    except (KeyError, ValueError, TypeError, OverflowError) as error:
        if isinstance(error, OSError):
            raise
        raise ImpossibleError(error.args[0]) from error


def _set(file, attributes, variable, title, texts, datatype):
    if datatype is not None:
        found = datatype_named(datatype)
    elif (entry := attributes._entry(title)) is not None:
        found = entry.datatype
    elif variable is not None and title in OF_VALUES:
        found = file[variable]._datatype
    else:
        found = DATATYPES["CDF_CHAR"]
    if variable is not None and len(texts) > 1:
        raise ImpossibleError(f'"{title}" of a variable has one entry, and {len(texts)} were given')
    values = [_parsed(title, text, found) for text in texts]
    attributes.set(title, values if len(values) > 1 else values[0], found)


def _parsed(title, text, datatype):
    """A value as the text says it: numbers and times with commas between them."""
    if datatype.is_text:
        return text
    words = [word.strip() for word in text.split(",")]
    if datatype.is_time:
        return np.array(words)
    kind = int if datatype.stored.kind in "iu" else float
    try:
        return np.array([kind(word) for word in words], object if kind is int else float)
    except ValueError:
        raise ImpossibleError(
            f'{text!r} is no value for "{title}", whose datatype is {datatype.name}'
        ) from None


def _rows(title, entries):
    """A row for each entry: name, datatype, value."""
    for number, entry in entries.items():
        mark = f"{visible(title)}[{number}]" if len(entries) > 1 else visible(title)
        if entry.problem is not None:
            yield mark, "", f"not readable: {visible(entry.problem.message)}"
        else:
            yield mark, entry.datatype.name, _text(entry)


def _text(entry):
    if entry.is_text:
        return visible(entry.to_user())
    items = as_text(entry.stored, entry.datatype) if entry.datatype.is_time else entry.stored
    return ", ".join(map(str, items))
