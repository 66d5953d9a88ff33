"""One loaded plug-in with its operations as methods."""

import os
from enum import IntEnum
from functools import cached_property

from tarvik import _host, constants
from tarvik._catalogue import all_operations
from tarvik._operations import make_method

__all__ = ["Constants", "Gateway"]


class Constants:
    """The named constants of one gateway, as `tarvik.constants` has those of the exact plug-in.

    Attributes
    ----------
    families : dict of str to type
        An `IntEnum` for each family, by name; that of `tarvik.constants` where it is the same. The
        families, and every constant, are attributes too.
    """

    def __init__(self, call):
        self.families = {
            name: _family(name, own) for name, own in constants.members_of(call).items()
        }
        vars(self).update(self.families)
        for family in self.families.values():
            vars(self).update(family.__members__)


def _family(name, members):
    family = constants.families[name]
    if members == {member.name: member.value for member in family}:
        return family
    # Found there again by pickle.
    return IntEnum(name, members, module="tarvik", qualname=f"extended.constants.{name}")


class Gateway(_host.Gateway):
    """One loaded plug-in, with its operations as methods.

    `tarvik.extended` is one, of the extended plug-in; the functions of `tarvik` itself are the
    exact plug-in. Each method is what the function of `tarvik` is; an operation that the plug-in
    does not have is refused by it.

    A file belongs to the gateway that opened it, and another one refuses it. Several gateways of
    one plug-in are the same plug-in: it is in the process once, and goes with the last of them.

    Parameters
    ----------
    plugin : str or os.PathLike
        The plug-in's file.

    Attributes
    ----------
    plugin : str
        As above.
    constants : Constants
        The named constants of the plug-in.
    """

    def __init__(self, plugin):
        self.plugin = os.fspath(plugin)
        super().__init__(self.plugin)

    def __repr__(self):
        return f"<tarvik.Gateway {self.plugin!r}>"

    @cached_property
    def constants(self):
        """The named constants of the plug-in."""
        return Constants(self.call)


Gateway.__module__ = "tarvik"
for _operation in all_operations().values():
    setattr(Gateway, _operation.name, make_method(_operation))
