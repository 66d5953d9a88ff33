"""`tarvik show`."""

import json

from tarvik._text import for_json
from tarvik.cli.content import read_file
from tarvik.cli.errors import DONE, Failure
from tarvik.cli.render import Printer


def show_files(files, names, as_json, gateway=None):
    """Show files on stdout.

    Parameters
    ----------
    files : sequence of str
    names : sequence of str
        Variables whose first values are shown.
    as_json : bool
    gateway : tarvik.Gateway, optional
        What the files are read through.

    Returns
    -------
    int
        0, or the highest code of a file that could not be shown.
    """
    printer = Printer()
    documents = []
    code = DONE
    for path in files:
        try:
            content = read_file(path, names, gateway)
        except Failure as failure:
            code = max(code, failure.complain())
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
