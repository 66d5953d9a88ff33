"""Findings of the ISTP rules, on few lines."""

from tarvik._text import counted, visible

_MOST_MESSAGES, _MOST_NAMES = 5, 8  # of one rule, and of one message


def print_findings(findings):
    """Print findings: those of one rule and remedy together, and those of one message on a line."""
    counts = [sum(each["severity"] == kind for each in findings) for kind in ("error", "warning")]
    print(f"  ISTP: {counted(counts[0], 'error')}, {counted(counts[1], 'warning')}")
    groups = {}
    for found in sorted(findings, key=lambda each: each["severity"]):
        key = tuple(found[part] for part in ("severity", "rule", "remedy"))
        names = groups.setdefault(key, {}).setdefault(found["message"], [])
        names.append(found["variable"])
    for (severity, rule, remedy), messages in groups.items():
        print(f"  {severity} {rule}: {visible(remedy)}")
        for message, names in [*messages.items()][:_MOST_MESSAGES]:
            print(f"    {_where(names)}{visible(message)}")
        if len(messages) > _MOST_MESSAGES:
            print(f"    and {len(messages) - _MOST_MESSAGES} more like these")


def _where(names):
    if names[0] is None:
        return ""
    shown = ", ".join(map(visible, names[:_MOST_NAMES]))
    more = len(names) - _MOST_NAMES
    return f"{shown} and {more} more: " if more > 0 else f"{shown}: "
