"""Copies of CDF files with damage to what their internal records say of each other."""

import random

from records import (
    CCR,
    CVVR,
    FIRST,
    UIR,
    VVR,
    VXR,
    Image,
    as_bytes,
    deflate,
    inflate,
    packed,
    sealed,
    unpacked,
)

_HUGE = (0x7FFF, 0xFFFF, 1 << 24, (1 << 31) - 1, -(1 << 31), (1 << 62) - 1, -(1 << 63))
_LEVELS = (1, 2, 20, 63, 64, 65, 1000, 20000)
_LENGTHS = (0, 1, 1000, 1 << 20, 16 << 20)
_HOW_MANY = (1, 1, 1, 1, 2, 2, 3)  # kinds of damage of one copy
_NEXT = (
    "rVDR.VDRnext",
    "zVDR.VDRnext",
    "ADR.ADRnext",
    "AgrEDR.AEDRnext",
    "AzEDR.AEDRnext",
    "VXR.VXRnext",
    "UIR.NextUIR",
    "UIR.PrevUIR",
)
_COUNTS = ("GDR.NrVars", "GDR.NzVars", "GDR.NumAttr", "ADR.NgrEntries", "ADR.NzEntries")


def damaged(content, seed):
    """Give a damaged copy of a file's bytes, and what was done to it in a few words.

    Half of the files that are compressed as a whole are damaged within.
    """
    chance = random.Random(f"{len(content)} {seed}")
    inside = unpacked(content) if chance.random() < 0.5 else None
    image = Image(inside or content)
    words = []
    while not words:
        kinds = chance.choices(range(len(KINDS)), k=chance.choice(_HOW_MANY))
        for kind in sorted(kinds):
            before = bytes(image.content)
            word = KINDS[kind](image, chance)
            words += [word] if image.content != before else []
    result = packed(image.content, content) if inside else bytes(image.content)
    return sealed(result, content), "; ".join(words)


def _pick(image, chance, names=(), fits=bool):
    """One of the fields, each kind of them as often as the others; None if there is none."""
    names = [name for name in names or image.fields if fits(image.fields.get(name, [None])[0])]
    return chance.choice(image.fields[chance.choice(names)]) if names else None


def _leads(field):
    return field is not None and field.leads


def _record(image, chance, kind=None):
    """The place of a record."""
    return chance.choice(image.places[chance.choice(list(image.places)) if kind is None else kind])


def _redirect(image, chance):
    """Let a place lead elsewhere."""
    field = _pick(image, chance, fits=_leads)
    old = image.get(field)
    like = image.type_of(old) if FIRST <= old < image.end - image.width - 4 else None
    within = _record(image, chance)
    new = chance.choice(
        [
            field.record,
            chance.choice([-1, 0, 1, 4, FIRST]),
            within + chance.randrange(max(1, min(image.size_of(within), image.end))),
            image.end + chance.choice([-16, -12, -8, -1, 0, 1, 8]),
            _record(image, chance, like if like in image.places else None),
            _record(image, chance),
            old + chance.choice([-8, -4, -1, 1, 4, 8]),
            chance.choice(_HUGE),
        ]
    )
    return image.set(field, new)


def _swap(image, chance):
    """Exchange two places, half of the time two of a kind."""
    one = _pick(image, chance, fits=_leads)
    names = [f"{one.owner}.{one.name}"] if chance.random() < 0.5 else ()
    other = _pick(image, chance, names, _leads)
    old = image.get(one)
    return f"{image.set(one, image.get(other))} and {image.set(other, old)}"


def _loop(image, chance):
    """Let the last record of a list lead to an earlier one, or two to each other."""
    one = _pick(image, chance, _NEXT, _leads)
    if one is None:
        return ""
    fields = image.fields[f"{one.owner}.{one.name}"]
    other = chance.choice(fields)
    if chance.random() < 0.5:
        one = next((field for field in fields if image.get(field) == 0), one)
        words = image.set(one, other.record)
    else:
        words = f"{image.set(one, other.record)} and {image.set(other, one.record)}"
    if chance.random() < 0.5:
        count = _pick(image, chance, _COUNTS)
        words += (
            f" and {image.set(count, chance.choice([1 << 20, (1 << 31) - 1]))}" if count else ""
        )
    return words


def _number(image, chance):
    """Put another count, number, flag or datatype."""
    field = _pick(image, chance, fits=lambda field: field.width == 4 and not field.leads)
    return image.set(field, _other(image.get(field), chance))


def _size(image, chance):
    """Put another size of a record, of the file or of compressed data."""
    field = _pick(image, chance, fits=lambda field: field.name in ("size", "eof", "uSize", "cSize"))
    to_end = image.end - field.place
    sizes = [image.size_of(_record(image, chance)), to_end, to_end + 1, image.width + 4]
    return image.set(field, chance.choice([*sizes, _other(image.get(field), chance)]))


def _other(old, chance):
    near = old + chance.choice([-8, -1, 1, 8])
    return chance.choice([0, -1, near, -old, old // 2, 2 * old, chance.choice(_HUGE)])


def _type(image, chance):
    """Give a record another type."""
    field = _pick(image, chance, fits=lambda field: field.name == "type")
    return image.set(field, chance.choice([-1, 0, *range(1, 14), 99]))


def _used_entries(image):
    return [field for field in image.fields.get("VXR.Offset", []) if image.get(field) > 0]


def _share(image, chance):
    """Let two entries of indices lead to the same block."""
    used = _used_entries(image)
    if len(used) < 2:
        return ""
    one, other = chance.sample(used, 2)
    return image.set(one, image.get(other))


def _deepen(image, chance):
    """Put levels of indices, or a chain of them, between an entry and its block."""
    used = _used_entries(image)
    if not used:
        return ""
    entry = chance.choice(used)
    number = image.named(entry.record, "Offset").index(entry)
    first, last = (image.get(image.named(entry.record, name)[number]) for name in ("First", "Last"))
    levels, branches = chance.choice(_LEVELS), chance.choice([1, 1, 2, 3])
    nested, cyclic = chance.random() < 0.7, chance.random() < 0.3
    block = image.get(entry)
    # An index in a ring leads to where the last one of so many, all of a size, will be.
    size = image.width + 4 + image.width + 8 + branches * (8 + image.width)
    below = image.end + (levels - 1) * size if cyclic else block if nested else 0
    for _ in range(levels):
        links = [(below if nested else block, image.width)] * branches
        spans = [(first, 4)] * branches + [(last, 4)] * branches
        counts = [(0 if nested else below, image.width), (branches, 4), (branches, 4)]
        below = image.append(VXR, *counts, *spans, *links)
    words = f"{levels} {'levels' if nested else 'links'} of {branches}{' in a ring' * cyclic}"
    return f"{image.set(entry, below)}: {words}"


def _free(image, chance):
    """Call room free that is not: a record, a part of one, or what reaches beyond it."""
    place = _record(image, chance)
    head = image.fields["GDR.UIRhead"][0] if "GDR.UIRhead" in image.fields else None
    if head is None or place == FIRST:
        return ""
    old = image.get(head)
    how = chance.choice(["as it is", "as UIR", "within"])
    if how == "within":
        place += chance.randrange(image.width + 4, 200, 4)
        room = image.end - place
        if room < 40:
            return ""
        size = chance.choice([image.width + 4, 32, 1000, room, room + 1, chance.choice(_HUGE)])
        image.content[place : place + image.width] = as_bytes(size, image.width)
    if how != "as it is":
        parts = (as_bytes(UIR), as_bytes(chance.choice([old, place, 0]), image.width))
        parts += (as_bytes(chance.choice([0, place]), image.width),)
        start = place + image.width
        image.content[start : start + sum(map(len, parts))] = b"".join(parts)
    return f"{image.set(head, place)} ({how})"


def _twin(image, chance):
    """Let a record be a copy of another of its type."""
    kind = chance.choice([kind for kind in image.places if kind not in (VVR, CVVR, CCR)])
    one, other = (_record(image, chance, kind) for _ in range(2))
    if one == other:
        return ""
    start, size = image.width, min(image.size_of(one), image.size_of(other))
    image.content[other + start : other + size] = image.content[one + start : one + size]
    return f"record of type {kind} at {other} is that at {one}"


def _block(image, chance):
    """Let compressed data stand for more or less than they should, or end too early."""
    places = image.places.get(CVVR, [])
    entries = [field for field in _used_entries(image) if image.get(field) in places]
    if not entries:
        return ""
    entry = chance.choice(entries)
    place = image.get(entry)
    start = image.named(place, "cSize")[0].place + image.width
    stored = bytes(image.content[start : place + image.size_of(place)])
    data = inflate(stored)
    length = chance.choice([*_LENGTHS, len(data) - 1, len(data) + 1, 2 * len(data)])
    made = deflate(data[:length].ljust(length, chance.choice([b"\0", b"x"])), stored)
    if chance.random() < 0.3:
        made = made[: chance.randrange(len(made) + 1)]
    new = image.append(CVVR, (0, 4), (len(made), image.width), made)
    return f"{image.set(entry, new)}: a block of {len(made)} bytes for {length}, not {len(data)}"


# Those that need the file as it is come first.
KINDS = (
    _block,
    _deepen,
    _redirect,
    _redirect,
    _swap,
    _loop,
    _number,
    _number,
    _size,
    _type,
    _share,
    _free,
    _free,
    _twin,
)
