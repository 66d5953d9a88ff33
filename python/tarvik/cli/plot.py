"""`tarvik plot`."""

import os
import sys
import tempfile
from contextlib import contextmanager
from functools import partial

import click

_KINDS = ("png", "pdf", "svg")
_MOST_PANELS = 8


@click.command("plot")
@click.argument("file")
@click.argument("names", nargs=-1, metavar="[VARIABLE]...")
@click.option("-o", "--output", required=True, metavar="OUT", help="The picture: .png, .pdf, .svg.")
@click.option("--force", is_flag=True, help="Replace a file that is there already.")
def command(file, names, output, force):
    """Draw variables of a CDF file into a picture.

    \b
    tarvik plot measurements.cdf -o measurements.png
    tarvik plot measurements.cdf B flux -o both.pdf --force

    Each variable is a panel: lines along time, or a spectrogram where a record has a dimension that
    DEPEND_1 gives numbers for. Axes, labels, units and logarithmic scales are those that the
    customary attributes tell. Fill values and values outside VALIDMIN and VALIDMAX are not drawn.
    Without a VARIABLE these are the first of the file's data.

    The exit code is as in "show"; 3 also for a picture that is there already, 4 also for a variable
    that is not there or has no plot. Needs matplotlib: pip install 'tarvik[plot]'.
    """
    kind = os.path.splitext(output)[1].lower().lstrip(".")
    if kind not in _KINDS:
        raise click.BadParameter(f"{output} does not end in .png, .pdf or .svg", param_hint="OUT")
    return partial(_plot, file, names, output, kind, force)


def _plot(file, names, output, kind, force):
    from tarvik import CDFError, _panels, _reader
    from tarvik.cli import _complain

    try:
        from tarvik._drawing import draw
    except ImportError as error:
        if (error.name or "").partition(".")[0] != "matplotlib":
            raise
        return _complain("plot", LookupError("needs matplotlib: pip install 'tarvik[plot]'"))
    place = file
    try:
        variables = _reader.describe(file).variables
        chosen = _chosen(variables, names)
        panels = [_panels.make_panel(file, variables, variable) for variable in chosen]
        for panel in panels:
            if panel.step > 1:
                _say(file, f"{panel.name}: one record of {panel.step} is drawn")
        place = output
        with _new_file(output, force) as target:
            draw(panels, os.path.basename(file), target, kind)
    except (CDFError, OSError, LookupError) as error:
        return _complain(place, error)
    return 0


def _chosen(variables, names):
    from tarvik import _panels

    for name in names:
        if name not in variables:
            raise LookupError(f'there is no variable "{name}"')
        if reason := _panels.reason_against(variables[name]):
            raise LookupError(f"{name} has no plot: {reason}")
    found = [variables[name] for name in names] or _panels.drawable(variables)
    if not found:
        raise LookupError("there is no variable that has a plot")
    if not names and len(found) > _MOST_PANELS:
        left = ", ".join(variable.name for variable in found[_MOST_PANELS:])
        _say("plot", f"the first {_MOST_PANELS} of {len(found)} variables; not {left}")
        found = found[:_MOST_PANELS]
    return found


def _say(place, words):
    from tarvik.cli.text import visible

    print(f"tarvik: {visible(place)}: {visible(words)}", file=sys.stderr)


@contextmanager
def _new_file(path, force):
    """Give a file to write to, which takes its name only when all was written."""
    if not force and os.path.lexists(path):
        raise FileExistsError(f"{os.path.basename(path)} exists; --force replaces it")
    folder = os.path.dirname(os.path.abspath(path))
    with tempfile.NamedTemporaryFile(dir=folder, prefix=".tarvik-", delete=False) as target:
        try:
            yield target
            target.flush()
            mask = os.umask(0)
            os.umask(mask)
            os.chmod(target.name, 0o666 & ~mask)
            os.replace(target.name, path)
        except BaseException:
            os.unlink(target.name)
            raise
