"""Damaged copies of CDF files, each made of a seed."""

import random

MARK_3 = b"\xcd\xf3\0\1"
_EXTREMES = [
    0,
    1,
    2,
    7,
    0x7F,
    0xFF,
    0xFFFF,
    0x10000,
    0x7FFFFFFE,
    0x7FFFFFFF,
    0x80000000,
    0xFFFFFFFF,
]
_HEADER = 512
_FIELDS = 96


def mutate(content, seed):
    """Give a damaged copy of a file's bytes, and what was done to it in a few words.

    The kinds of damage take turns: `KINDS[seed % len(KINDS)]`.
    """
    chance = random.Random(seed)
    damaged = bytearray(content)
    words = KINDS[seed % len(KINDS)](damaged, chance)
    return bytes(damaged), words


def _flip_header(damaged, chance):
    return _flip(damaged, chance, min(_HEADER, len(damaged)))


def _flip_any(damaged, chance):
    return _flip(damaged, chance, len(damaged))


def _flip(damaged, chance, end):
    places = {chance.randrange(end): chance.randrange(1, 256) for _ in range(chance.randint(1, 8))}
    for place, bits in places.items():
        damaged[place] ^= bits
    return "bytes flipped: " + ", ".join(f"{place}^{bits:#x}" for place, bits in places.items())


def _truncate(damaged, chance):
    length = len(damaged)
    del damaged[chance.randrange(length) :]
    return f"cut to {len(damaged)} of {length} bytes"


def _resize_record(damaged, chance):
    place = chance.choice(records(damaged))
    return _put(damaged, chance, place, _width(damaged))


def _change_field(damaged, chance):
    place = chance.choice(records(damaged))
    width = _width(damaged)
    place += width + 4 * chance.randrange(1, _FIELDS // 4)
    return _put(damaged, chance, min(place, len(damaged) - width), chance.choice((4, width)))


def _put(damaged, chance, place, width):
    """Put another number in a field: an extreme one, one nearby, or any."""
    old = int.from_bytes(damaged[place : place + width], "big")
    new = chance.choice(
        [
            chance.choice(_EXTREMES),
            old + chance.choice([-8, -1, 1, 4, 8, 256]),
            old ^ (1 << chance.randrange(8 * width)),
            chance.randrange(len(damaged)),
            chance.getrandbits(8 * width),
            -chance.randint(1, 1 << 20),
        ]
    ) % (1 << 8 * width)
    damaged[place : place + width] = new.to_bytes(width, "big")
    return f"{width} bytes at {place}: {old:#x} -> {new:#x}"


def records(content):
    """The places of the internal records of a file, one behind the other; at least one."""
    width = _width(content)
    places = [8]
    while True:
        place = places[-1]
        size = int.from_bytes(content[place : place + width], "big")
        if size < width + 4 or place + size + width + 4 > len(content):
            return places
        places.append(place + size)


def record_types(content):
    """The places of the internal records of a file and their types."""
    width = _width(content)
    for place in records(content):
        yield place, int.from_bytes(content[place + width : place + width + 4], "big")


def is_current(content):
    """Whether a file is of version 3, which may have a checksum."""
    return content[:4] == MARK_3


def _width(content):
    """Of sizes and places within a file."""
    return 8 if is_current(content) else 4


KINDS = (_flip_header, _flip_any, _truncate, _resize_record, _change_field)
