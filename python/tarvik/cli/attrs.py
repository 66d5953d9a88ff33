"""`tarvik attrs`: look at attributes and edit them."""

from contextlib import contextmanager

import numpy as np

from tarvik._iso8601 import as_text
from tarvik._text import visible
from tarvik.cli.errors import DONE, ImpossibleError, check_variables
from tarvik.cli.files import opened
from tarvik.datatypes import datatype_named, to_user

_INFINITE = (float("inf"), -float("inf"))


def show_attributes(path, name=None, gateway=None):
    """Print the attributes of a file, or of one variable."""
    with opened(path, gateway) as file:
        attributes = _attributes(file, name)
        rows = [row for title in attributes for row in _rows(title, attributes._entries(title))]
        rows += [
            (visible(attribute.name), "", f"not readable: {visible(attribute.problem.message)}")
            for attribute in file._attributes.values()
            if attribute.problem is not None and name is None
        ]
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
    datatype : Datatype or None
        Of the values; otherwise that of the present value, or text.
    """
    texts = {}
    for title, text in changed:
        texts.setdefault(title, []).append(text)
    with opened(path, gateway, "r+") as file, _reasons():
        attributes = _attributes(file, name)
        # Before anything is written: a CDF file of several files is edited in place.
        made = {title: _made(attributes, title, texts[title], datatype) for title in texts}
        for old, new in renamed:
            attributes.rename(old, new)
        for title in deleted:
            del attributes[title]
        attributes._set(made)
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


def _made(attributes, title, texts, datatype):
    """The entries for the texts."""
    if datatype is None:
        entry = attributes._entry(title)
        usual = attributes._datatype_for(title) or "CDF_CHAR"
        datatype = datatype_named(usual) if entry is None else entry.datatype
    if attributes._variable is not None and len(texts) > 1:
        raise ImpossibleError(f'"{title}" of a variable has one entry, and {len(texts)} were given')
    values = [_parsed(title, text, datatype) for text in texts]
    return attributes._made_of(title, values if len(values) > 1 else values[0], datatype)


def _parsed(title, text, datatype):
    """A value as the text says it: numbers and times with commas between them."""
    if datatype.is_text:
        return text
    words = [word.strip() for word in text.split(",")]
    if datatype.is_time:
        return np.array(words)
    kind = int if datatype.stored.kind in "iu" else float
    try:
        values = [kind(word) for word in words]
    except ValueError:
        values = []
    too_large = [
        word for word, v in zip(words, values) if v in _INFINITE and "inf" not in word.lower()
    ]
    if not values or too_large:
        raise ImpossibleError(
            f'{text!r} is no value for "{title}", whose datatype is {datatype.name}'
        )
    return np.array(values, object if kind is int else float)


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
    items = entry.stored
    if entry.datatype.is_time:
        none = np.isnat(to_user(items, entry.datatype))
        items = np.where(none, "NaT", as_text(items, entry.datatype))
    return ", ".join(map(str, items))
