"""`tarvik show`."""

import json

from tarvik import CDFError
from tarvik.cli.content import read_file
from tarvik.cli.errors import ImpossibleError
from tarvik.cli.gateway import using
from tarvik.cli.render import Printer
from tarvik.cli.text import for_json


def show_files(files, names, as_json, complain, gateway=None):
    """Show files on stdout.

    Parameters
    ----------
    files : sequence of str
    names : sequence of str
        Variables whose first values are shown.
    as_json : bool
    complain : callable
        Called with a file and the error that kept it from being shown; gives an exit code.
    gateway : tarvik.Gateway, optional
        What the files go through; it is unloaded at the end.

    Returns
    -------
    int
        0, or the highest code that a complaint gave.
    """
    with using(gateway):
        return _show_files(files, names, as_json, complain)


def _show_files(files, names, as_json, complain):
    printer = Printer()
    documents = []
    code = 0
    for file in files:
        try:
            content = read_file(file, names)
        except (CDFError, OSError, ImpossibleError) as error:
            code = max(code, complain(file, error))
            continue
        documents.append(content)
        if not as_json:
            if len(documents) > 1:
                printer.blank()
            printer.content(content)
    if as_json and documents:
        document = documents[0] if len(files) == 1 else documents
        print(json.dumps(for_json(document), indent=2))
    return code
