"""Draws panels with matplotlib, one under the other."""

import textwrap
import warnings

import matplotlib as mpl
import numpy as np
from matplotlib import dates
from matplotlib.colors import LogNorm, Normalize
from matplotlib.figure import Figure
from matplotlib.ticker import MaxNLocator

__all__ = ["draw"]

_WIDTH, _HEIGHT, _MARGIN = 10.0, 2.4, 0.9  # inches; the height is that of a panel
_DOTS = 120  # per inch
_LINE_OF_LABEL = 26  # characters that fit beside a panel
# A gap between records is where there are none for so many times the usual distance.
_GAP = 3
_FEW_RECORDS = 200


def draw(panels, title, target, kind):
    """Draw into a binary file, in the kind of picture that the name's extension stands for."""
    size = _WIDTH, _HEIGHT * len(panels) + _MARGIN
    figure = Figure(size, dpi=_DOTS, layout="constrained")
    shared = len({panel.x.label for panel in panels}) == 1
    axes = figure.subplots(len(panels), sharex=shared, squeeze=False)[:, 0]
    figure.suptitle(title, fontsize="medium", parse_math=False)
    for panel, ax in zip(panels, axes):
        ax.set_title(panel.name, loc="left", fontsize="small", parse_math=False)
        _DRAWERS[panel.kind](figure, ax, panel, _positions(panel.x))
        _finish_x(ax, panel.x, labelled=not shared or ax is axes[-1])
    with warnings.catch_warnings():
        warnings.filterwarnings("ignore", message="Glyph .* missing from")
        figure.savefig(target, format=kind)


def _positions(scale):
    """Numbers of an axis: days for times."""
    is_time = scale.values.dtype.kind == "M"
    return dates.date2num(scale.values) if is_time else scale.values.astype(float)


def _finish_x(ax, scale, labelled):
    if scale.values.dtype.kind == "M" and scale.values.size:
        locator = dates.AutoDateLocator()
        ax.xaxis.set_major_locator(locator)
        ax.xaxis.set_major_formatter(dates.ConciseDateFormatter(locator))
    elif scale.logarithmic:
        ax.set_xscale("log")
    elif scale.values.dtype.kind == "i":
        ax.xaxis.set_major_locator(MaxNLocator(integer=True))
    if labelled:
        ax.set_xlabel(scale.label, parse_math=False)


def _draw_lines(_figure, ax, panel, x):
    values = panel.values.values
    marks = {"marker": ".", "markersize": 4} if len(x) <= _FEW_RECORDS else {}
    lines = ax.plot(x, values, linewidth=1, **marks)
    if len(x):  # the axis goes on where values are missing
        ax.dataLim.update_from_data_x(x[[0, -1]], ignore=False)
        ax.autoscale_view()
    if panel.values.logarithmic:
        ax.set_yscale("log", nonpositive="mask")
    ax.grid(alpha=0.3)
    ax.set_ylabel(_folded(panel.values.label), fontsize="small", parse_math=False)
    if not np.isfinite(values).any():
        _say_nothing(ax)
    if panel.names:
        place = {"loc": "center left", "bbox_to_anchor": (1.0, 0.5), "borderaxespad": 0.4}
        legend = ax.legend(lines, panel.names, fontsize="x-small", frameon=False, **place)
        for text in legend.get_texts():
            text.set_parse_math(False)


def _draw_spectrogram(figure, ax, panel, x):
    values, y = panel.values.values, panel.y
    shown = values[values > 0] if panel.values.logarithmic else values[np.isfinite(values)]
    ax.set_ylabel(_folded(y.label), fontsize="small", parse_math=False)
    if not shown.size:
        _say_nothing(ax)
        return
    if y.logarithmic:
        ax.set_yscale("log")
    norm = (LogNorm if panel.values.logarithmic else Normalize)(shown.min(), shown.max())
    colours = mpl.colormaps["viridis"]
    ax.set_facecolor("0.9")  # where there are no values
    mesh = ax.pcolormesh(*_cells(x, y, values), norm=norm, cmap=colours, rasterized=True)
    # Beside this panel, wherever the legends of others end.
    bar = figure.colorbar(mesh, cax=ax.inset_axes((1.01, 0, 0.015, 1)))
    bar.set_label(_folded(panel.values.label), fontsize="small", parse_math=False)


def _say_nothing(ax):
    ax.text(0.5, 0.5, "no valid values", transform=ax.transAxes, ha="center", va="center")


def _cells(x, y, values):
    """The corners of the cells and their values: a column for each record, one between each two.

    The columns between are as wide as the gap between records, mostly zero, and empty.
    """
    channels = np.broadcast_to(y.values, values.shape)
    order = np.argsort(channels, axis=1, kind="stable")
    channels = np.take_along_axis(channels, order, axis=1)
    positive = not y.logarithmic or channels > 0
    whole = (np.isfinite(channels) & positive).all(axis=1)
    if not whole.all():
        # A channel without a place leaves its record out, in the place of another.
        channels = np.where(whole[:, None], channels, channels[whole][:1].mean(axis=0))
    shown = np.where(whole[:, None], np.take_along_axis(values, order, axis=1), np.nan)

    records, count = values.shape
    corners_x = np.repeat(np.column_stack(_sides(x)).ravel()[:, None], count + 1, axis=1)
    corners_y = np.repeat(_edges(channels, y.logarithmic), 2, axis=0)
    cells = np.full((2 * records - 1, count), np.nan)
    cells[::2] = shown
    return corners_x, corners_y, np.ma.masked_invalid(cells)


def _sides(x):
    """The left and right side of each record: half way to its neighbours, if these are near."""
    distances = np.diff(x)
    usual = np.median(distances[distances > 0]) if (distances > 0).any() else 1.0
    halves = np.where(distances <= _GAP * usual, distances, usual) / 2
    before = np.concatenate([halves[:1], halves]) if len(x) > 1 else np.array([usual / 2])
    after = np.concatenate([halves, halves[-1:]]) if len(x) > 1 else np.array([usual / 2])
    return x - before, x + after


def _edges(centres, logarithmic):
    """The borders of channels, half way between their centres."""
    centres = np.log(centres) if logarithmic else centres
    if centres.shape[1] == 1:
        edges = np.concatenate([centres - 0.5, centres + 0.5], axis=1)
    else:
        inner = (centres[:, 1:] + centres[:, :-1]) / 2
        first, last = 2 * centres[:, :1] - inner[:, :1], 2 * centres[:, -1:] - inner[:, -1:]
        edges = np.concatenate([first, inner, last], axis=1)
    return np.exp(edges) if logarithmic else edges


def _folded(label):
    """The label in lines that are no longer than a panel is high; the units on their own."""
    name, bracket, units = label.rpartition(" (")
    parts = [name, f"({units}"] if bracket else [label]
    return "\n".join(line for part in parts for line in textwrap.wrap(part, _LINE_OF_LABEL))


_DRAWERS = {"lines": _draw_lines, "spectrogram": _draw_spectrogram}
