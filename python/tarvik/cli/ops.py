"""`tarvik ops` and `tarvik constants`: what operations and constants there are."""

from itertools import groupby

from rich.table import Table

from tarvik import constants
from tarvik._catalogue import all_operations
from tarvik._operations import describe
from tarvik.cli.render import print_table, standard_console

_WIDTH = 96  # of lines, in a pipe as well


def list_operations():
    """Print one line for each operation, by topic."""
    by_topic = groupby(all_operations().values(), lambda operation: operation.topic)
    _print_tables(
        (topic, [(operation.name, operation.summary) for operation in group])
        for topic, group in by_topic
    )


def list_constants():
    """Print the named constants by family."""
    _print_tables(
        (title, [(member.name, str(member.value)) for member in family])
        for title, family in constants.families.items()
    )


def show_operation(name):
    """Print all that the catalogue says of an operation."""
    operation = all_operations()[name]
    console = standard_console()
    console.print(_call(operation), style="bold")
    console.print(describe(operation))


def _print_tables(tables):
    """Print tables of two columns, each under its title."""
    tables = [(title, rows) for title, rows in tables]
    width = max(len(row[0]) for _, rows in tables for row in rows)
    console = standard_console()
    console.width = min(console.width, _WIDTH)
    for title, rows in tables:
        console.print(f"{title}", style="bold")
        table = Table(box=None, show_header=False, pad_edge=False, padding=(0, 2, 0, 0))
        table.add_column(style="cyan", width=width, no_wrap=True)
        table.add_column()
        for row in rows:
            table.add_row(*row)
        print_table(console, table)
        console.print()


def _call(operation):
    inputs = [f"[{value.name}]" if value.optional else value.name for value in operation.inputs]
    return f"{operation.name}({', '.join(inputs)})"
