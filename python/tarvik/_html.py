"""Files, variables and attributes as HTML, for notebooks.

A page has no scripts and loads nothing. Values of variables are not read. Every text of the file is
escaped, and cut where it is long: what a forged file says is bounded, too.
"""

from __future__ import annotations

from collections.abc import Iterable
from html import escape
from itertools import islice
from typing import TYPE_CHECKING, Any

import numpy as np

from tarvik._errors import CDFError

if TYPE_CHECKING:
    from tarvik.attributes import Attributes
    from tarvik.file import File
    from tarvik.variable import Variable

__all__ = ["of_attributes", "of_file", "of_variable"]

_MOST_ROWS = 300
_MOST_CHARACTERS = 1 << 19  # of the rows of one table
_LONGEST_NAME = 80
_LONGEST_VALUE = 400
_MOST_ENTRIES = 20
_MOST_OPEN = 10  # attributes of a file that are shown at first
# What a closed file, a deleted variable and a damaged file raise.
_UNREADABLE = (CDFError, ValueError)

# Of text, side notes, background, lines and what the pointer is over, where no notebook sets them.
_NAMES = ("text", "faint", "back", "line", "hover")
_LIGHT = ("#1f2328", "#59636e", "#ffffff", "#d1d9e0", "#eef1f4")
_DARK = ("#e6edf3", "#9198a1", "#111418", "#3d444d", "#262c36")


def _colours(values: tuple[str, ...]) -> str:
    return "{" + " ".join(f"--tarvik-{n}0: {value};" for n, value in zip(_NAMES, values)) + "}"


_STYLE = (
    f"""\
<style>
.tarvik-page {_colours(_LIGHT)}
@media (prefers-color-scheme: dark) {{
html:not([theme=light]):not([data-theme=light]) .tarvik-page {_colours(_DARK)}
}}
html[theme=dark] .tarvik-page, html[data-theme=dark] .tarvik-page {_colours(_DARK)}
"""
    + """\
.tarvik-page {
  --tarvik-text: var(--jp-content-font-color0, var(--vscode-editor-foreground,
    var(--tarvik-text0)));
  --tarvik-faint: var(--jp-content-font-color2, var(--vscode-descriptionForeground,
    var(--tarvik-faint0)));
  --tarvik-back: var(--jp-layout-color0, var(--vscode-editor-background, var(--tarvik-back0)));
  --tarvik-line: var(--jp-border-color2, var(--vscode-panel-border, var(--tarvik-line0)));
  --tarvik-hover: var(--jp-layout-color2, var(--vscode-list-hoverBackground, var(--tarvik-hover0)));
  background: var(--tarvik-back); color: var(--tarvik-text);
  font: 13px/1.5 system-ui, sans-serif; max-width: 960px; padding: 4px 6px; text-align: left;
}
.tarvik-page summary { cursor: pointer; padding: 1px 4px; }
.tarvik-page summary:hover { background: var(--tarvik-hover); }
.tarvik-head, .tarvik-section > summary { border-bottom: 1px solid var(--tarvik-line); }
.tarvik-head { padding: 0 4px 3px; overflow-wrap: anywhere; }
.tarvik-section { margin-top: 6px; }
.tarvik-section > summary { font-weight: 600; }
.tarvik-page .tarvik-faint, .tarvik-page dl > dt { color: var(--tarvik-faint); font-weight: 400; }
.tarvik-row > summary {
  display: grid; gap: 12px;
  grid-template-columns: 12px minmax(0, 3fr) repeat(4, minmax(0, 1.6fr));
}
.tarvik-row > summary::before { content: "\\25B8"; color: var(--tarvik-faint); }
.tarvik-row[open] > summary::before { content: "\\25BE"; }
.tarvik-row > summary::-webkit-details-marker { display: none; }
.tarvik-row > summary > * { overflow: hidden; text-overflow: ellipsis; white-space: nowrap; }
.tarvik-page dl {
  display: grid; gap: 0 12px; margin: 2px 4px 6px;
  grid-template-columns: minmax(0, 1fr) minmax(0, 4fr);
}
.tarvik-page .tarvik-row > dl { margin: 0 4px 0 28px; }
.tarvik-page .tarvik-row > dl:last-child { margin-bottom: 6px; }
.tarvik-page dl > dt, .tarvik-page dl > dd {
  float: none; margin: 0; padding: 0; width: auto; overflow-wrap: anywhere;
}
.tarvik-page dl > dd { white-space: pre-wrap; }
.tarvik-page dl > div { grid-column: 1 / -1; }
</style>"""
)


def of_file(file: File) -> str:
    """A file: facts, variables with their attributes, global attributes."""
    try:
        facts = [
            f"mode {file.mode}",
            f"{file.majority}-major",
            f"{file.format} file",
            f"compression {file.compression or 'none'}",
            f"checksum {file.checksum or 'none'}",
            f"made by CDF library {file.version}",
        ]
        rows = _bounded((_variable_row(file, name) for name in file), len(file), "variables")
        sections = [
            _section("Variables", len(file), rows, True),
            _attributes_section(file.attrs, len(file.attrs) <= _MOST_OPEN),
        ]
    except _UNREADABLE:
        return _page(_cut(repr(file), _LONGEST_VALUE))
    return _page(_head("File", file.path, facts), *sections)


def of_variable(variable: Variable) -> str:
    """A variable: facts and attributes."""
    try:
        head = _head("Variable", variable.name, [f"in {variable._file.path}"])
        body = _facts_list(variable), _attributes_section(variable.attrs, True)
    except _UNREADABLE:
        return _page(_cut(repr(variable), _LONGEST_VALUE))
    return _page(head, *body)


def of_attributes(attributes: Attributes) -> str:
    """The attributes of a file or of a variable."""
    try:
        name, owner = attributes._file.path, attributes._variable
        if owner is not None:
            owner.number  # noqa: B018  raises for a deleted variable
            name = owner.name
        return _page(_head("Attributes", name, []), _attribute_list(attributes))
    except _UNREADABLE as error:
        return _page(_cut(f"<tarvik.Attributes: {error}>", _LONGEST_VALUE))


def _page(*parts: str) -> str:
    return f'<div class="tarvik-page">{_STYLE}{"".join(parts)}</div>'


def _head(kind: str, name: str, facts: list[str]) -> str:
    return (
        f'<div class="tarvik-head"><span class="tarvik-faint">tarvik.{kind}</span> '
        f"<strong>{_cut(name, _LONGEST_VALUE)}</strong> "
        f'<div class="tarvik-faint">{_cut(" · ".join(facts), 2 * _LONGEST_VALUE)}</div></div>'
    )


def _section(title: str, count: int, rows: str, is_open: bool) -> str:
    return (
        f'<details class="tarvik-section"{" open" * is_open}><summary>{title} '
        f'<span class="tarvik-faint">({count})</span></summary>{rows}</details>'
    )


def _bounded(rows: Iterable[str], count: int, what: str) -> str:
    """Join rows as far as a page should hold them, and count those left out."""
    kept: list[str] = []
    size = 0
    for row in islice(rows, _MOST_ROWS):
        kept.append(row)
        size += len(row)
        if size > _MOST_CHARACTERS:
            break
    if count > len(kept):
        kept.append(f'<div class="tarvik-faint">… and {count - len(kept)} more {what}</div>')
    return "".join(kept)


def _variable_row(file: File, name: str) -> str:
    try:
        variable = file[name]
        columns = [
            variable.datatype,
            _shape(variable),
            _unit(variable),
            variable.compression or "",
        ]
        details = _facts_list(variable) + _attribute_list(variable.attrs)
    except CDFError as error:
        columns, details = [], f"<dl>{_pair('problem', str(error))}</dl>"
    cells = (f"<span>{_cut(text, _LONGEST_NAME)}</span>" for text in columns)
    summary = f"<strong>{_cut(name, _LONGEST_NAME)}</strong> {' '.join(cells)}"
    return f'<details class="tarvik-row"><summary>{summary}</summary>{details}</details>'


def _shape(variable: Variable) -> str:
    return " \N{MULTIPLICATION SIGN} ".join(map(str, variable.shape)) or "one value"


def _unit(variable: Variable) -> str:
    unit = _value(variable.attrs, "UNITS") if "UNITS" in variable.attrs else ""
    return unit.strip()


def _facts_list(variable: Variable) -> str:
    dims = ["varies" if varies else "does not vary" for varies in variable.dim_vary]
    facts = {
        "datatype": f"{variable.datatype}, {variable.dtype} in Python",
        "shape": _shape(variable),
        "records": "vary" if variable.record_vary else "do not vary",
        "dimensions": "" if all(variable.dim_vary) else ", ".join(dims),
        "compression": variable.compression,
        "sparse": variable.sparse,
    }
    return f"<dl>{''.join(_pair(key, text) for key, text in facts.items() if text)}</dl>"


def _attributes_section(attributes: Attributes, is_open: bool) -> str:
    return _section("Attributes", len(attributes), _attribute_list(attributes), is_open)


def _attribute_list(attributes: Attributes) -> str:
    pairs = (_pair(name, _value(attributes, name)) for name in attributes)
    return f"<dl>{_bounded(pairs, len(attributes), 'attributes')}</dl>"


def _pair(name: str, text: str) -> str:
    return f"<dt>{_cut(name, _LONGEST_NAME)}</dt><dd>{_cut(text, _LONGEST_VALUE)}</dd>"


def _value(attributes: Attributes, name: str) -> str:
    """The value of an attribute as text; several entries stand one below the other."""
    try:
        value = attributes[name]
    except _UNREADABLE as error:
        return f"cannot be read: {error}"
    if not isinstance(value, list):
        return _text(value)
    more = ["…"] if len(value) > _MOST_ENTRIES else []
    return "\n".join([*map(_text, value[:_MOST_ENTRIES]), *more])


def _text(value: Any) -> str:
    if isinstance(value, np.ndarray):
        return np.array2string(value, threshold=_MOST_ENTRIES, separator=", ")
    return str(value)


def _cut(text: str, longest: int) -> str:
    """Shorten and escape a text; bytes that are no UTF-8 become question marks."""
    short = text if len(text) <= longest else f"{text[:longest]}… ({len(text)} characters)"
    return escape(short.encode("utf-8", "replace").decode("utf-8"))
