"""Every operation of the CDF library, one to one, on NumPy arrays.

Each operation is a function under its own name; those with several outputs give a named tuple::

    from tarvik import ops

    with ops.open("measurements.cdf") as file:
        number = ops.getVarNum(file, "B")
        field = ops.hyperGetVarData(file, number, 0, 24, 1, [0], [3], [1])

`call` takes the name of an operation and its inputs. These are the operations of the extended
plug-in, which serves 64-bit integers and times with leap seconds too; `tarvik.exact` has those of
the exact one. Files that are still open when Python exits are closed then, with a `CDFWarning`.
"""

import sys

from tarvik._catalogue import all_operations
from tarvik._host import FileId, give_back_memory
from tarvik._operations import make_functions
from tarvik._shared import call, shared

_made = make_functions(sys.modules[__name__], shared, all_operations())
globals().update(_made)

__all__ = ["FileId", "call", "give_back_memory", *_made]
