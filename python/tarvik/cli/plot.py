"""`tarvik plot`."""

import os
from functools import partial

import click

_KINDS = ("png", "pdf", "svg")
_MOST_PANELS = 8


@click.command("plot")
@click.argument("file")
@click.argument("names", nargs=-1, metavar="[VARIABLE]...")
@click.option("-o", "--output", required=True, metavar="OUT", help="The picture: .png, .pdf, .svg.")
@click.option("--force", is_flag=True, help="Replace a file that is there already.")
def plot(file, names, output, force):
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
    from tarvik import _panels, _reader
    from tarvik.cli.errors import ImpossibleError, about, say
    from tarvik.cli.files import refuse_what_is_no_file
    from tarvik.cli.staging import staged
    from tarvik.cli.text import visible

    with about("plot"):
        try:
            from tarvik._drawing import draw
        except ImportError as error:
            if (error.name or "").partition(".")[0] != "matplotlib":
                raise
            raise ImpossibleError("needs matplotlib: pip install 'tarvik[plot]'") from None
    with about(file):
        refuse_what_is_no_file(file)
        variables = _reader.describe(file).variables
        chosen = _chosen(variables, names)
        panels = [_panels.make_panel(file, variables, variable) for variable in chosen]
    for panel in panels:
        if panel.step > 1:
            say(f"{visible(file)}: {panel.name}: one record of {panel.step} is drawn")
    with staged(output, force) as path, open(path, "wb") as target:
        draw(panels, os.path.basename(file), target, kind)
    return 0


def _chosen(variables, names):
    from tarvik import _panels
    from tarvik.cli.errors import ImpossibleError, NoSuchVariableError, say

    for name in names:
        if name not in variables:
            raise NoSuchVariableError(name)
        if reason := _panels.reason_against(variables[name]):
            raise ImpossibleError(f"{name} has no plot: {reason}")
    found = [variables[name] for name in names] or _panels.drawable(variables)
    if not found:
        raise ImpossibleError("there is no variable that has a plot")
    if not names and len(found) > _MOST_PANELS:
        left = ", ".join(variable.name for variable in found[_MOST_PANELS:])
        say(f"plot: the first {_MOST_PANELS} of {len(found)} variables; not {left}")
        found = found[:_MOST_PANELS]
    return found
