"""`tarvik compare`."""

import json
from dataclasses import asdict

from tarvik._text import for_json
from tarvik.cli.differences import content_differences, storage_differences
from tarvik.cli.errors import DONE, FOUND
from tarvik.cli.files import opened


def compare_files(first, second, storage, as_json, gateway=None):
    """Compare two files on stdout; return 0 where they say the same, 1 otherwise.

    With `storage` they must also be kept in the same way.
    """
    with opened(first, gateway) as one, opened(second, gateway) as other:
        differences = list(content_differences(one, other))
        kept = list(storage_differences(one, other))
    same = not differences and not (storage and kept)
    if as_json:
        document = {
            "first": first,
            "second": second,
            "same": same,
            "differences": [asdict(difference) for difference in differences],
            "storage": [asdict(difference) for difference in kept],
        }
        print(json.dumps(for_json(document), indent=2))
    else:
        for difference in differences:
            print(difference.text())
        for difference in kept:
            print(f"stored otherwise: {difference.text()}")
        print("The content differs." if differences else "The content is the same.")
    return DONE if same else FOUND
