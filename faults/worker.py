"""A process that reads and edits files for another one, which outlives whatever they do to it."""

import json
import resource
import select
import signal
import subprocess
import sys
import warnings
from pathlib import Path

from editing import edit
from reading import Outcome, read

_TIRED = 128 << 10  # KiB of memory at which a worker is replaced
_LIMIT = 10  # seconds for a file
_MOST_MEMORY = 4 << 30  # bytes that a worker may ask for
_MOST_RESIDENT = 512 << 10  # KiB that it should have
TASKS = {"read": lambda path, _seed: read(path), "edit": edit}


class Worker:
    """Takes one file after the other; a process that died is replaced for the next."""

    def __init__(self):
        self._process = None

    def __enter__(self):
        return self

    def __exit__(self, *exception):
        self.close()

    def do(self, task, path, seed=0):
        """Give the outcome of a task with a file; the seed says which edit is made."""
        if self._process is None:
            self._process = subprocess.Popen(
                [sys.executable, __file__],
                stdin=subprocess.PIPE,
                stdout=subprocess.PIPE,
                stderr=subprocess.DEVNULL,
                cwd=path.parent,  # the library makes scratch files where it runs
                text=True,
            )
        self._process.stdin.write(json.dumps([task, str(path), seed]) + "\n")
        self._process.stdin.flush()
        ready, _, _ = select.select([self._process.stdout], [], [], _LIMIT)
        if not ready:
            self.close()
            return Outcome("hung", [f"over {_LIMIT} s"])
        line = self._process.stdout.readline()
        if not line:
            code = self._process.wait()
            self.close()
            if code >= 0:
                raise RuntimeError(f"the program that reads failed with exit code {code}")
            return Outcome("crashed", [signal.Signals(-code).name])
        outcome = Outcome(**json.loads(line))
        if outcome.memory > _TIRED:
            self.close()
        if outcome.survived and outcome.memory > _MOST_RESIDENT:
            return Outcome("large", [f"{outcome.memory} KiB"], memory=outcome.memory)
        return outcome

    def close(self):
        if self._process is not None:
            self._process.kill()
            self._process.communicate()
            self._process = None


def _serve():
    warnings.simplefilter("ignore")
    resource.setrlimit(resource.RLIMIT_AS, (_MOST_MEMORY, _MOST_MEMORY))
    for line in sys.stdin:
        task, path, seed = json.loads(line)
        outcome = TASKS[task](Path(path), seed)
        outcome.memory = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
        print(json.dumps(vars(outcome)), flush=True)


if __name__ == "__main__":
    _serve()
