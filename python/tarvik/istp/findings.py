"""Findings, and the rules that make them."""

from __future__ import annotations

from collections.abc import Callable, Iterable, Iterator
from dataclasses import dataclass
from typing import Any, NamedTuple

from tarvik._entries import Entry
from tarvik._errors import CDFError, CDFProcessError

__all__ = [
    "ERROR",
    "WARNING",
    "Finding",
    "ISTPError",
    "Problem",
    "Rule",
    "entry_problems",
    "findings",
]

ERROR, WARNING = "error", "warning"


@dataclass(frozen=True)
class Finding:
    """Something that is not as the ISTP guidelines have it.

    Attributes
    ----------
    rule : str
        The name of the rule; `docs/istp.md` lists them.
    severity : str
        "error", or "warning" for what is recommended or may be meant.
    variable : str or None
        None for what concerns the file as a whole.
    attribute : str or None
    message : str
        What is wrong.
    remedy : str
        How to mend it.
    """

    rule: str
    severity: str
    variable: str | None
    attribute: str | None
    message: str
    remedy: str

    def __str__(self) -> str:
        where = "the file" if self.variable is None else self.variable
        return f"{where}: {self.message}; {self.remedy}"


class ISTPError(ValueError):
    """What should follow the ISTP guidelines does not.

    Attributes
    ----------
    findings : list of Finding
        All that was found, warnings too.
    """

    def __init__(self, findings: list[Finding]) -> None:
        errors = [str(found) for found in findings if found.severity == ERROR]
        words = "\n".join(
            [f"it does not follow the ISTP guidelines; errors: {len(errors)}", *errors]
        )
        super().__init__(words)
        self.findings = findings


class Problem(NamedTuple):
    """What the function of a rule finds."""

    attribute: str | None
    message: str
    remedy: str


class Rule(NamedTuple):
    """A rule: the variables that it applies to, or the files, and what finds problems of one."""

    name: str
    severity: str
    applies: Callable[[Any], bool]
    problems: Callable[[Any], Iterator[Problem]]


def entry_problems(attribute: str, entry: Entry, what: str) -> Iterator[Problem]:
    """What is wrong with one entry of an attribute, which messages call `what`."""
    if entry.problem is not None:
        yield Problem(attribute, f"{what} is not readable: {entry.problem}", "set it again")
    elif entry.is_text and not entry.text:
        yield Problem(attribute, f"{what} is empty", "write one blank")


def findings(rules: Iterable[Rule], subject: Any, variable: str | None = None) -> Iterator[Finding]:
    """Apply rules to the facts of a file or variable; what cannot be read is a finding."""
    for rule in rules:
        try:
            if rule.applies(subject):
                for problem in rule.problems(subject):
                    yield Finding(rule.name, rule.severity, variable, *problem)
        except CDFProcessError:
            raise
        except CDFError as error:
            remedy = "see what `tarvik check` says of it"
            yield Finding(rule.name, ERROR, variable, None, f"not readable: {error}", remedy)
