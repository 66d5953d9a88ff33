"""The values of variables as the writers of other formats take them."""

from dataclasses import dataclass
from functools import cached_property

import numpy as np

from tarvik import ops
from tarvik._order import as_array
from tarvik.cli import blocks, model, times
from tarvik.cli.errors import say
from tarvik.cli.text import visible
from tarvik.times import to_datetime64


@dataclass(frozen=True)
class Column:
    """A variable whose records stand beside those of others.

    Attributes
    ----------
    file : ops.FileId
    variable : tarvik.cli.model.Variable
        One whose records do not vary has the same values beside each record of the others.
    blanks : tuple of numpy.ndarray
        Values that stand for none.
    """

    file: object
    variable: model.Variable
    blanks: tuple = ()

    @property
    def name(self):
        return self.variable.name

    @property
    def is_text(self):
        return self.variable.datatype in model.TEXTS

    @property
    def is_time(self):
        return times.is_time(self.variable.datatype)

    def read(self, records):
        """Read a range of records; give the values and, of the same shape, which stand for none."""
        if self.variable.record_variance:
            values = blocks.read(self.file, self.variable, records)
        else:
            values = np.broadcast_to(self._constant, (len(records), *self._constant.shape[1:]))
        blank = np.zeros(values.shape, bool)
        for value in self.blanks:
            blank |= blocks.bits(values) == blocks.bits(value)
        return values, blank.all(axis=-1) if self.variable.item else blank

    @cached_property
    def _constant(self):
        if not self.variable.records:
            shape = (1, *self.variable.dimensions, *self.variable.item)
            return np.broadcast_to(self.variable.pad.reshape(self.variable.item), shape)
        return blocks.read(self.file, self.variable, range(1))

    def decoded(self, values, errors):
        """Texts of the characters that lie along the last axis, without NULs behind them."""
        joined = np.ascontiguousarray(values).view(f"S{self.variable.elements}")[..., 0]
        texts = [text.decode("utf-8", errors) for text in joined.ravel().tolist()]
        return np.array(texts, dtype=object).reshape(joined.shape)

    def written_out(self, values, blank, for_blank):
        """Values as Python's own numbers and texts in an object array, times as ISO 8601 texts."""
        if self.is_time:
            found = times.as_text(self.variable.datatype, _pairs_first(self.variable, values))
        elif self.is_text:
            found = self.decoded(values, "backslashreplace")
        elif values.dtype == np.float32:
            # 0.1 as people wrote it, not 0.10000000149011612.
            found = values.astype("U32").astype(float).astype(object)
        else:
            found = values.astype(object)
        found[blank] = for_blank
        return found

    def typed(self, values, blank):
        """Values in a class of NumPy's: times as `datetime64[ns]`, blank ones as NaT or NaN."""
        if self.is_time:
            found = to_datetime64(_pairs_first(self.variable, values), self.variable.datatype)
            _tell_of_lost_times(self, values, found, blank)
            found[blank] = np.datetime64("NaT")
            return found
        if self.is_text:
            return self.decoded(values, "surrogateescape")
        if not self.blanks:
            return values
        found = values.astype(self.number_class)
        found[blank] = np.nan
        return found

    @property
    def number_class(self):
        """The class of numbers, which is one with NaN where there are blanks."""
        own = self.variable.pad.dtype
        return np.result_type(own, np.float32) if self.blanks else own


def blank_values(file, variable, kinds):
    """The values of a variable that stand for none: its pad value, its attribute FILLVAL."""
    found = []
    if variable.datatype in model.TEXTS:
        return ()
    if "pad" in kinds:
        found.append(variable.pad)
    if "fill" in kinds:
        try:
            attribute = ops.getAttrNum(file, "FILLVAL")
            fill = as_array(ops.getAttrEntry(file, attribute, variable.number))
        except KeyError:
            fill = np.empty(0)
        if fill.size == variable.pad.size and fill.dtype.kind in "iuf":
            found.append(fill.ravel(order="F").astype(variable.pad.dtype))
    return tuple(found)


def _pairs_first(variable, values):
    """The two numbers of each `cdf_epoch16` along the first axis, as the gateway has them."""
    return np.moveaxis(values, -1, 0) if variable.item else values


def _tell_of_lost_times(column, values, found, blank):
    name = visible(column.name)
    lost = np.isnat(found) & ~blank
    if lost.any():
        say(f"{name}: {np.count_nonzero(lost)} times are beyond datetime64[ns] and become NaT")
    if column.variable.datatype == "cdf_time_tt2000":
        seconds = np.atleast_2d(ops.tt2000Breakdown(np.asfortranarray(values)))[5]
        if leaps := np.count_nonzero(seconds == 60):
            say(f"{name}: {leaps} times in a leap second become the second after it")
