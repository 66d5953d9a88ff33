"""A process of an isolated gateway in the hands of a forged file: each way in which it misbehaves.

As a program it answers the start, then misbehaves at the first request.
"""

import fcntl
import json
import marshal
import os
import signal
import socket
import struct
import sys
import time

import numpy as np

SEALS = fcntl.F_SEAL_SHRINK | fcntl.F_SEAL_GROW | fcntl.F_SEAL_WRITE
INLINE = 1 << 16
MEBIBYTE = 1 << 20


def head(size):
    """What a packet begins with, the size of its document."""
    return struct.pack("=Q", size)


class Hostile:
    """What the ways below do it with."""

    def __init__(self, descriptor):
        self.channel = socket.socket(fileno=descriptor)
        self.number = 0

    def receive(self):
        packet = self.channel.recv(INLINE)
        self.number = marshal.loads(packet[8:])[0]

    def send(self, packet, *files):
        socket.send_fds(self.channel, [packet], files)

    def message(self, document, memory=b"", size=None, files=()):
        """Send a document, truly or not of that size, and bytes through the socket."""
        gap = bytes(-len(document) % 16)
        self.send(head(len(document) if size is None else size) + document + gap + memory, *files)

    def file(self, text, written, size=None, seals=SEALS):
        """Send a document in a memory file of that size, of which a part is written."""
        shared = os.memfd_create("hostile", os.MFD_ALLOW_SEALING)
        start = text.encode() + bytes(-len(text) % 16)
        os.write(shared, start)
        for _ in range(written // MEBIBYTE):
            os.write(shared, "\U0001f600".encode() * (MEBIBYTE // 4))
        os.truncate(shared, size or len(start) + written)
        fcntl.fcntl(shared, fcntl.F_ADD_SEALS, seals)
        self.send(head(len(text)), shared)

    def text(self, kind="value", content=None, warned=(), closed=(), number=None):
        return json.dumps([number or self.number, kind, content, warned, closed])

    def answer(self, *contents, memory=bytes(8), **others):
        self.message(self.text(*contents, **others).encode(), memory)


def shown(*values):
    """The descriptions of a tuple's items."""
    return ["tuple", list(values)]


def array(code, *shape):
    return ["array", code, list(shape)]


def opened(path, flags=os.O_RDONLY):
    return lambda it: it.send(head(16), os.open(path, flags))


def says(document):
    return lambda it: it.message(document)


def answers(*contents, **others):
    return lambda it: it.answer(*contents, **others)


def gives(content, size=0):
    """An answer with that value, and so many bytes of memory, all of them written."""
    if size < INLINE:
        return answers("value", content, memory=bytes(size))
    return lambda it: it.file(it.text("value", content), size)


def leave_and_live(it):
    it.channel.close()
    time.sleep(60)


def leave_an_heir(_):
    if os.fork() == 0:
        time.sleep(3)
    os._exit(0)


def say_and_die(_):
    os.write(2, b"\x1b[2J{boo}\x07\xff\n")
    os.abort()


def say_much(_):
    os.set_blocking(2, True)
    while True:
        os.write(2, b"\x1b[31m" * 1000)


def dig(_):
    os.mkdir(os.environ["CDF_TMP"])
    os.chdir(os.environ["CDF_TMP"])
    for _ in range(1100):
        os.mkdir("d")
        os.chdir("d")
    os.abort()


BAD, LATE, ENDED = "badAnswer", "timeLimitExceeded", "processEnded"
WIDE = ["text", 16 * MEBIBYTE]
SPARSE = array("i4", 2**30)
INQUIRY = ["a", "b", 1.0, 2.0, 3.0]
SLAB = ("hyperGetVarData", np.uint64(1), 0, 0, 3, 1, [0, 0], [2, 4], [1, 1])
DATA = ("getVarData", np.uint64(1), 0, 0, [])
ASK = ("inquire", np.uint64(1))

# What is called, what it does then, and how that ends.
WAYS = {
    # Packets.
    "an empty packet": (ASK, lambda it: it.send(b""), ENDED),
    "one byte": (ASK, lambda it: it.send(b"x"), BAD),
    "half a head": (ASK, lambda it: it.send(bytes(7)), BAD),
    "a head alone": (ASK, lambda it: it.send(head(9)), BAD),
    "a long packet": (ASK, lambda it: it.send(bytes(INLINE + 99)), BAD),
    "noise": (ASK, lambda it: it.send(b"\xff" * 999), BAD),
    "a longer document": (ASK, lambda it: it.message(b"[]", size=99), BAD),
    "no document": (ASK, lambda it: it.message(b"[]", size=0), BAD),
    # Descriptors.
    "a descriptor too many": (ASK, lambda it: it.message(b"[]", files=[0]), BAD),
    "253 descriptors": (ASK, lambda it: it.message(b"[]", files=[0] * 253), BAD),
    "a file": (ASK, opened(__file__), BAD),
    "a folder": (ASK, opened("/"), BAD),
    "a path": (ASK, opened("/", os.O_PATH), BAD),
    "a device": (ASK, opened("/dev/zero", os.O_RDWR), BAD),
    "a socket": (ASK, lambda it: it.send(head(9), it.channel.fileno()), BAD),
    "a pipe": (ASK, lambda it: it.send(head(9), os.pipe()[0]), BAD),
    "no seal": (ASK, lambda it: it.file(it.text(), MEBIBYTE, seals=0), BAD),
    "no seal for shrinking": (ASK, lambda it: it.file(it.text(), 0, None, SEALS & ~2), BAD),
    "no seal for writing": (ASK, lambda it: it.file(it.text(), 0, None, SEALS & ~8), BAD),
    "a file of nothing": (ASK, lambda it: it.file("", 0), BAD),
    "a sparse text": (ASK, lambda it: it.file(it.text("value", ["text", 2**32]), 0, 2**33), BAD),
    "a sparse array": (ASK, lambda it: it.file(it.text("value", SPARSE), MEBIBYTE, 2**33), BAD),
    # Documents.
    "no UTF-8": (ASK, says(b"\xff\xff"), BAD),
    "no JSON": (ASK, says(b"[1"), BAD),
    "null": (ASK, says(b"null"), BAD),
    "an empty list": (ASK, says(b"[]"), BAD),
    "depth": (ASK, says(b"[" * 60000), BAD),
    "digits": (ASK, lambda it: it.file("[" + "9" * 3 * MEBIBYTE + "]", 0), BAD),
    "many lists": (
        ASK,
        lambda it: it.file(it.text("value", ["list", [[]] * (MEBIBYTE - 99)]), 0),
        BAD,
    ),
    "a document of 5 MiB": (ASK, lambda it: it.file(it.text("value", "x" * 5 * MEBIBYTE), 0), BAD),
    "a number that is text": (ASK, answers(number="3"), BAD),
    "another number": (ASK, answers(number=77), BAD),
    "another kind": (ASK, answers("opened"), BAD),
    "a kind that is a list": (ASK, answers([]), BAD),
    # Values.
    "an int": (("getVarNum", np.uint64(1), "v"), answers("value", 5), BAD),
    "an array beyond its message": (SLAB, gives(array("i4", 2, 4, 3), 8), BAD),
    "a negative extent": (SLAB, gives(array("i4", -1, -24), 96), BAD),
    "an extent that is a float": (SLAB, gives(array("i4", 24.0), 96), BAD),
    "99 dimensions": (SLAB, gives(array("i4", *[0] * 99)), BAD),
    "extents that overflow": (SLAB, gives(array("i4", 2**62, 2**62)), BAD),
    "great extents": (SLAB, gives(array("i4", *[10**4000] * 15)), BAD),
    "objects": (SLAB, gives(array("O", 24), 192), BAD),
    "a negative text": (DATA, gives(["text", -8]), BAD),
    "a text beyond its message": (DATA, gives(["text", 99]), BAD),
    "a text of 64 MiB": (DATA, gives(["text", 64 * MEBIBYTE], 64 * MEBIBYTE), BAD),
    "many texts": (
        ("getConstantNames",),
        gives(["list", [WIDE] * 4], 64 * MEBIBYTE),
        BAD,
    ),
    "half a number": (DATA, gives(["number", 4], 8), BAD),
    "a file within a value": (DATA, gives(["file", 1]), BAD),
    "a list that is none": (DATA, gives(["list", 5]), BAD),
    "a letter that is none": (DATA, gives(["no such", 1]), BAD),
    # Results of other operations.
    "a name of 16 MiB": (ASK, gives(shown(WIDE, *INQUIRY[1:]), 16 * MEBIBYTE), BAD),
    "a long name": (ASK, gives(shown(["text", MEBIBYTE], *INQUIRY[1:]), MEBIBYTE), BAD),
    "an output too few": (ASK, gives(shown(*INQUIRY[1:])), BAD),
    "an output too many": (ASK, gives(shown(*INQUIRY, 1.0)), BAD),
    "one output": (ASK, gives(1.0), BAD),
    "text for a number": (ASK, gives(shown(*INQUIRY[:4], "c")), BAD),
    "an array for a number": (ASK, gives(shown(*INQUIRY[:4], array("f8", 2)), 16), BAD),
    "a value of what gives none": (("close", np.uint64(1)), gives(1.0), BAD),
    "nothing of what gives a value": (DATA, gives(None), BAD),
    "a file of what opens none": (("getName", np.uint64(1)), answers("file"), BAD),
    "a value of what opens": (("open", "x.cdf"), gives(1.0), BAD),
    "numbers for names": (("getConstantNames",), gives(["list", [1.0, 2.0]]), BAD),
    "a smaller hyperslab": (SLAB, gives(array("i4", 2, 4, 2), 64), BAD),
    "a greater hyperslab": (SLAB, gives(array("i4", 2**22), 16 * MEBIBYTE), BAD),
    "characters for one and a half values": (SLAB, gives(array("S1", 36), 36), BAD),
    "truth values": (SLAB, gives(array("b1", 2, 4, 3), 24), BAD),
    "two values for one": (DATA, gives(array("i4", 2), 8), BAD),
    "many epochs": (("computeEpoch", np.zeros(14)), gives(array("f8", 1, 9), 72), BAD),
    # Errors, warnings and closed files.
    "an error without a message": (ASK, answers("refused", ["VORLAN:x"]), BAD),
    "an error of surrogates": (ASK, answers("refused", ["\ud800", ""]), BAD),
    "an error of numbers": (ASK, answers("failed", ["MemoryError", 1]), BAD),
    "a long error": (ASK, lambda it: it.file(it.text("refused", ["a", "b" * MEBIBYTE]), 0), BAD),
    "half a warning": (ASK, answers(warned=[["a"]]), BAD),
    "closed files that are none": (ASK, answers(closed=[[1]]), BAD),
    # What it does otherwise.
    "silence": (ASK, lambda _: time.sleep(60), LATE),
    "a stop": (ASK, lambda _: os.kill(os.getpid(), signal.SIGSTOP), LATE),
    "words without end": (ASK, say_much, LATE),
    "an heir": (ASK, leave_an_heir, LATE),
    "leaving": (ASK, leave_and_live, ENDED),
    "an end": (ASK, lambda _: os._exit(0), ENDED),
    "an end with words": (ASK, say_and_die, ENDED),
    "a deep folder": (ASK, dig, ENDED),
}

if __name__ == "__main__":
    it = Hostile(json.loads(sys.argv[1])[2])
    it.answer()
    it.receive()
    WAYS[sys.argv[2]][1](it)
    time.sleep(60)
