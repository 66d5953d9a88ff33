"""`tarvik plot`."""

import os
import re
from functools import partial

import click

from tarvik.cli.parameters import (
    FILE,
    NAME_AND_VALUE,
    VARIABLE,
    force,
    record_options,
    through_gateway,
)

_KINDS = ("png", "pdf", "svg")
_MOST_PANELS = 8


def _with_indices(_context, parameter, pairs):
    for name, text in pairs:
        if not re.fullmatch(r"-?\d{1,10}", text):
            raise click.BadParameter(f"{text!r} in {name}={text} is no index", param=parameter)
    return [(name, int(text)) for name, text in pairs]


@click.command("plot")
@click.argument("file", type=FILE)
@click.argument("names", nargs=-1, metavar="[VARIABLE]...", type=VARIABLE)
@click.option("-o", "--output", required=True, metavar="OUT", help="The picture: .png, .pdf, .svg.")
@record_options
@click.option(
    "--slice",
    "slices",
    multiple=True,
    type=NAME_AND_VALUE,
    metavar="DIM=INDEX",
    callback=_with_indices,
    help="Draw one place of a dimension; may be given several times.",
)
@click.option(
    "--mean",
    "means",
    multiple=True,
    metavar="DIM",
    help="Draw the mean over a dimension, without fill values; may be given several times.",
)
@force
@through_gateway(by_default=False)
def plot(file, names, output, force, **chosen):
    """Draw variables of a CDF file into a picture.

    \b
    tarvik plot measurements.cdf -o measurements.png
    tarvik plot measurements.cdf B flux -o both.pdf --force
    tarvik plot measurements.cdf flux --slice energy=-1 --mean 2 -o flux.png
    tarvik plot measurements.cdf B --from 2020-01-31T06 --to 2020-01-31T12 -o B.png

    Each variable is a panel: lines along time, or a spectrogram where a record has a dimension that
    DEPEND_1 gives numbers for. Axes, labels, units and logarithmic scales are those that the
    customary attributes tell. Fill values and values outside VALIDMIN and VALIDMAX are not drawn.
    Without a VARIABLE these are the first of the file's data.

    Of several dimensions in a record one is drawn; --slice and --mean take the others away. DIM is
    the number of a dimension, 1 for the first after the records, or the variable that DEPEND_n or
    LABL_PTR_n names for it. An index counts from zero, a negative one from the end. Variables
    without the dimension stay as they are. With --from and --to these are the records whose time,
    which DEPEND_0 names, is not before the one and before the other.

    The exit code is as in "show"; 3 also for a picture that is there already, 4 also for a variable
    that is not there or has no plot. Needs matplotlib: pip install 'tarvik[plot]'.
    """
    kind = os.path.splitext(output)[1].lower().lstrip(".")
    if kind not in _KINDS:
        raise click.BadParameter(f"{output} does not end in .png, .pdf or .svg", param_hint="OUT")
    return partial(_plot, file, names, output, kind, force, **chosen)


def _plot(path, names, output, kind, force, *, gateway, slices, means, records, start, stop):
    from tarvik._panels import make_panel
    from tarvik._text import visible
    from tarvik.cli.errors import ImpossibleError, about, say
    from tarvik.cli.files import opened
    from tarvik.cli.staging import staged

    with about("plot"):
        try:
            from tarvik._drawing import draw
        except ImportError as error:
            if (error.name or "").partition(".")[0] != "matplotlib":
                raise
            raise ImpossibleError("needs matplotlib: pip install 'tarvik[plot]'") from None
    with opened(path, gateway) as file:
        panels = [
            make_panel(file._variables, view, _records(file, view, records, start, stop))
            for view in _chosen(file, names, slices, means)
        ]
    for panel in panels:
        if panel.step > 1:
            say(f"{visible(file.path)}: {panel.name}: one record of {panel.step} is drawn")
    with staged(output, force) as target, open(target, "wb") as picture:
        draw(panels, os.path.basename(file.path), picture, kind)
    return 0


def _records(file, view, records, start, stop):
    """Which records of a variable are drawn."""
    from tarvik._dimensions import along_records
    from tarvik._text import counted
    from tarvik.cli.errors import ImpossibleError
    from tarvik.cli.ranges import chosen_records

    variable = view.variable
    if not variable.record_vary:
        return range(1)
    found = chosen_records(file, [variable], records, start, stop)
    if len(found) == 0:
        times = along_records(file._variables, variable)
        span = "" if start is stop is None else f", from {times[0]} to {times[-1]}"
        raise ImpossibleError(
            f"--records, --from and --to leave nothing of {variable.name}: it has "
            f"{counted(len(variable), 'record')}{span}"
        )
    return found


def _chosen(file, names, slices, means):
    """The variables to draw, with what is drawn of their dimensions."""
    from tarvik._panels import drawable, reason_against
    from tarvik.cli.errors import ImpossibleError, check_variables, say

    check_variables(file, names)
    views = _views(file, names, slices, means)
    _check_dimensions(views, slices, means)
    if names:
        for view in views:
            if reason := reason_against(view):
                raise ImpossibleError(f"{view.variable.name} has no plot: {reason}")
        return views
    found = drawable(file._variables, views)
    if not found:
        raise ImpossibleError("there is no variable that has a plot")
    several = [view.variable.name for view in views if len(view.extents) > 1]
    if several:
        say(f"plot: not {', '.join(several)}, which need --slice or --mean")
    if len(found) > _MOST_PANELS:
        left = ", ".join(view.variable.name for view in found[_MOST_PANELS:])
        say(f"plot: the first {_MOST_PANELS} of {len(found)} variables; not {left}")
    return found[:_MOST_PANELS]


def _views(file, names, slices, means):
    """What would be drawn of the variables; of all that have the places when none is named."""
    from tarvik._panels import view_of
    from tarvik.cli.errors import ImpossibleError

    views = []
    for name in names or file._variables:
        try:
            views.append(view_of(file[name], slices, means))
        except IndexError as error:
            if names:
                raise ImpossibleError(f"--slice of {name}: {error}") from None
        except ValueError as error:
            raise ImpossibleError(f"--slice and --mean of {name}: {error}") from None
    return views


def _check_dimensions(views, slices, means):
    """Refuse a dimension that no variable has."""
    from tarvik._panels import dimensions
    from tarvik.cli.errors import ImpossibleError

    known = {name for view in views for name in dimensions(view.variable)}
    options = [("--slice", name) for name, _ in slices] + [("--mean", name) for name in means]
    for option, name in options:
        if name not in known:
            raise ImpossibleError(
                f"{option}: there is no dimension {name}, but {', '.join(sorted(known)) or 'none'}"
            )
