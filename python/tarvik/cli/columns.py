"""The values of variables as the writers of other formats take them."""

from dataclasses import dataclass
from functools import cached_property

import numpy as np

from tarvik import Variable
from tarvik._iso8601 import as_text
from tarvik._shared import call
from tarvik._sparse import same_bits
from tarvik._text import visible
from tarvik.cli.errors import say
from tarvik.datatypes import to_user


@dataclass(frozen=True)
class Column:
    """A variable whose records stand beside those of others.

    Attributes
    ----------
    variable : tarvik.Variable
        One whose records do not vary has the same values beside each record of the others.
    blanks : tuple of numpy.ndarray
        Stored values that stand for none.
    """

    variable: Variable
    blanks: tuple = ()

    @property
    def name(self):
        return self.variable.name

    @property
    def dimensions(self):
        """Of a record."""
        return self.variable._extents

    @property
    def dtype(self):
        """Of the stored values."""
        return self.variable._stored

    @property
    def is_text(self):
        return self.variable._datatype.is_text

    @property
    def is_time(self):
        return self.variable._datatype.is_time

    def read(self, records):
        """Read records; give the stored values, records first, and which stand for none."""
        if self.variable.record_vary:
            values = self.variable.raw[records]
        else:
            values = np.broadcast_to(self._constant, (len(records), *self.dimensions))
        blank = np.zeros(values.shape, bool)
        for value in self.blanks:
            blank |= same_bits(values, np.broadcast_to(value, values.shape))
        return values, blank

    @cached_property
    def _constant(self):
        return self.variable.raw[...]

    def _decoded(self, values, errors):
        """Texts without NULs behind them."""
        texts = [text.decode("utf-8", errors) for text in values.ravel().tolist()]
        return np.array(texts, dtype=object).reshape(values.shape)

    def written_out(self, values, blank, for_blank):
        """Values as Python's own numbers and texts in an object array, times as ISO 8601 texts."""
        if self.is_time:
            found = as_text(values, self.variable._datatype)
        elif self.is_text:
            found = self._decoded(values, "backslashreplace")
        elif values.dtype == np.float32:
            # 0.1 as people wrote it, not 0.10000000149011612.
            found = values.astype("U32").astype(float).astype(object)
        else:
            found = values.astype(object)
        found[blank] = for_blank
        return found

    def typed(self, values, blank):
        """Values in a dtype of NumPy's: times as `datetime64[ns]`, blank ones as NaT or NaN."""
        if self.is_time:
            found = to_user(values, self.variable._datatype)
            _tell_of_lost_times(self.variable, values, found, blank)
            found[blank] = np.datetime64("NaT")
            return found
        if self.is_text:
            return self._decoded(values, "surrogateescape")
        if not self.blanks:
            return values
        found = values.astype(self.number_dtype)
        found[blank] = np.nan
        return found

    @property
    def number_dtype(self):
        """The dtype of numbers, which is one with NaN where there are blanks."""
        return np.result_type(self.dtype, np.float32) if self.blanks else self.dtype


def blank_values(variable, kinds):
    """The stored values of a variable that stand for none: its pad value, its FILLVAL."""
    if variable._datatype.is_text:
        return ()
    found = {"pad": variable._pad, "fill": variable._fill}
    values = [found[kind]() for kind in ("pad", "fill") if kind in kinds]
    return tuple(np.asarray(value) for value in values if value is not None)


def _tell_of_lost_times(variable, values, found, blank):
    name = visible(variable.name)
    lost = np.isnat(found) & ~blank
    if lost.any():
        say(f"{name}: {np.count_nonzero(lost)} times are beyond datetime64[ns] and become NaT")
    if variable.datatype == "CDF_TIME_TT2000":
        seconds = np.atleast_2d(call("tt2000Breakdown", np.asfortranarray(values)))[5]
        if leaps := np.count_nonzero(seconds == 60):
            say(f"{name}: {leaps} times in a leap second become the second after it")
