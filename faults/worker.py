"""A process that reads files for another one, which outlives whatever they do to it."""

import json
import resource
import select
import signal
import subprocess
import sys
import warnings
from dataclasses import dataclass

_TIRED = 128 << 10  # KiB of memory at which a worker is replaced
_LIMIT = 10  # seconds for a file


@dataclass(frozen=True)
class Outcome:
    """What became of reading one file.

    Attributes
    ----------
    ending : str
        "read", "refused" by open, "crashed" or "hung".
    problems : tuple of str
        The errors, or the signal.
    digest : str
        Of what was read.
    memory : int
        The most memory that the process has had, in KiB.
    """

    ending: str
    problems: tuple = ()
    digest: str = ""
    memory: int = 0

    @property
    def survived(self):
        return self.ending in ("read", "refused")


class Worker:
    """Reads one file after the other; a process that died is replaced for the next."""

    def __init__(self):
        self._process = None

    def read(self, path):
        if self._process is None:
            self._process = subprocess.Popen(
                [sys.executable, __file__],
                stdin=subprocess.PIPE,
                stdout=subprocess.PIPE,
                stderr=subprocess.DEVNULL,
                cwd=path.parent,  # the library makes scratch files where it runs
                text=True,
            )
        self._process.stdin.write(f"{path}\n")
        self._process.stdin.flush()
        ready, _, _ = select.select([self._process.stdout], [], [], _LIMIT)
        if not ready:
            self.close()
            return Outcome("hung", (f"over {_LIMIT} s",))
        line = self._process.stdout.readline()
        if not line:
            code = self._process.wait()
            self.close()
            if code >= 0:
                raise RuntimeError(f"the program that reads failed with exit code {code}")
            return Outcome("crashed", (signal.Signals(-code).name,))
        outcome = Outcome(**json.loads(line))
        if outcome.memory > _TIRED:
            self.close()
        return outcome

    def close(self):
        if self._process is not None:
            self._process.kill()
            self._process.communicate()
            self._process = None


def _serve():
    from reading import Reading
    from tarvik import ops

    warnings.simplefilter("ignore")
    for line in sys.stdin:
        reading = Reading(ops, line.rstrip("\n"))
        document = {
            "ending": "read" if reading.opened else "refused",
            "problems": reading.problems,
            "digest": reading.digest,
            "memory": resource.getrusage(resource.RUSAGE_SELF).ru_maxrss,
        }
        print(json.dumps(document), flush=True)


if __name__ == "__main__":
    _serve()
