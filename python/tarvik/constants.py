"""The named constants of the CDF library: an `IntEnum` for each family, and every name by itself.

    >>> from tarvik import constants
    >>> constants.CDF_INT4
    <Datatype.CDF_INT4: 4>

Every constant is accepted wherever an operation takes its number. Names and values are those that
the gateway gives.
"""

from enum import IntEnum
from fnmatch import fnmatchcase

from tarvik._shared import call

# The families in the order in which a name is claimed.
_FAMILIES = {
    "Datatype": ["CDF_*"],
    "Encoding": ["*_ENCODING"],
    "Compression": ["*_COMPRESSION"],
    "RunLengthParameter": ["RLE_OF_*"],
    "HuffmanParameter": ["OPTIMAL_ENCODING_TREES"],
    "Checksum": ["*_CHECKSUM"],
    "SparseRecords": ["*_SPARSERECORDS"],
    "Majority": ["*_MAJOR"],
    "Format": ["*_FILE"],
    "Scope": ["*_SCOPE"],
    "Variance": ["*VARY"],
    "ReadOnlyMode": ["READONLY*"],
    "ValidationMode": ["VALIDATEFILE*"],
}


def _members():
    """Ask the gateway: for each family the values by name."""
    members = {family: {} for family in _FAMILIES}
    for name in call("getConstantNames"):
        family = next(
            family
            for family, patterns in _FAMILIES.items()
            if any(fnmatchcase(name, pattern) for pattern in patterns)
        )
        members[family][name] = int(call("getConstantValue", name))
    return members


families = {family: IntEnum(family, found, module=__name__) for family, found in _members().items()}
globals().update(families)
globals().update({member.name: member for family in families.values() for member in family})

__all__ = [
    "families",
    *families,
    *(member.name for family in families.values() for member in family),
]
