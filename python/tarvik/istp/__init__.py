"""The ISTP conventions for the metadata of CDF files: check files, and complete their attributes.

`check` gives findings for a file, `complete` sets the attributes that follow from the data of one
that is open for writing. The rules are written from the public ISTP metadata guidelines.
"""

from __future__ import annotations

import os

from tarvik.file import File
from tarvik.istp.completion import complete_file
from tarvik.istp.decisions import fill_value
from tarvik.istp.facts import FileFacts
from tarvik.istp.file_rules import FILE_RULES
from tarvik.istp.findings import ERROR, WARNING, Finding, Rule, findings
from tarvik.istp.relation_rules import RELATION_RULES
from tarvik.istp.value_rules import VALUE_RULES
from tarvik.istp.variable_rules import VARIABLE_RULES

__all__ = ["ERROR", "RULES", "WARNING", "Finding", "check", "complete", "fill_value"]

_OF_VARIABLES = (*VARIABLE_RULES, *RELATION_RULES, *VALUE_RULES)
RULES: tuple[Rule, ...] = (*FILE_RULES, *_OF_VARIABLES)


def check(file: File | str | bytes | os.PathLike) -> list[Finding]:
    """Compare a file with the ISTP guidelines.

    Parameters
    ----------
    file : File, str, bytes or os.PathLike
        An open file, in any mode, or what `File` opens. The values of each variable of numbers are
        read once, in blocks of some MiB.

    Returns
    -------
    list of Finding
        Those of the file as a whole first, then those of each variable in the file's order.

    Raises
    ------
    OSError, CDFError
        If the file cannot be opened. What cannot be read in an open file is a finding.
    """
    if isinstance(file, File):
        return _check(FileFacts(file))
    with File(file) as opened:
        return _check(FileFacts(opened))


def complete(file: File) -> list[Finding]:
    """Set the attributes that are missing and follow from what is in the file.

    Of variables these are FIELDNAM, VAR_TYPE, FILLVAL, DEPEND_0, DISPLAY_TYPE, VALIDMIN, VALIDMAX,
    MONOTON, FORMAT, and UNITS of times; of the file Logical_file_id and Logical_source. Attributes
    that there are stay, and so do values.

    Parameters
    ----------
    file : File
        Open for writing.

    Returns
    -------
    list of Finding
        What is left, as `check` gives it: what cannot be decided, and what was wrong before.

    Raises
    ------
    io.UnsupportedOperation
        If the file is open for reading only.
    """
    file._check_writable()
    facts = FileFacts(file)
    complete_file(facts)
    return _check(facts)


def _check(file: FileFacts) -> list[Finding]:
    found = list(findings(FILE_RULES, file))
    for name, variable in file.variables.items():
        found += findings(_OF_VARIABLES, variable, name)
    return found
