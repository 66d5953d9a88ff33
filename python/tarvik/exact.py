"""The 88 operations of the exact plug-in, which makes no other library calls than its operations'.

They are functions as in `tarvik.ops`. A file belongs to the plug-in that opened it, and the other
one refuses it.
"""

import sys

from tarvik._catalogue import operations
from tarvik._host import FileId, Gateway
from tarvik._operations import make_functions
from tarvik._plugin import EXACT_PLUGIN

_gateway = Gateway(EXACT_PLUGIN)
call = _gateway.call

_made = make_functions(sys.modules[__name__], _gateway, operations())
globals().update(_made)

__all__ = ["FileId", "call", *_made]
