"""The plug-in that all files share which are not isolated."""

from tarvik._host import Gateway
from tarvik._plugin import EXTENDED_PLUGIN

__all__ = ["call", "shared"]

shared = Gateway(EXTENDED_PLUGIN)
call = shared.call
