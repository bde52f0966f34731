#!/usr/bin/env python3
"""Whether random octets of a DER document read as elements: opens_by_chance.py FILE

The parser of documents opens every OCTET STRING and context value whose octets read as a run of
elements, and a document of whose salts, keys or MAC one does so may be refused (docs/format.md).
That is one or two in a thousand of those that other programs make; who makes some for a test or a
demonstration makes such a one again.

Exit code 0 where some do, 1 where none does.
"""
import pathlib
import sys


# Of identifier octets that the parser takes for an element's within octets.
TAGS = ({0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x0A, 0x0C, 0x10, 0x11, 0x12, 0x13, 0x14, 0x16, 0x17,
         0x18, 0x1E, 0x30, 0x31} | set(range(0x80, 0x90)) | set(range(0xA0, 0xB0)))


def elements(octets):
    """Tag and content of each element of strict DER; ValueError for what is none."""
    found = []
    while octets:
        if len(octets) < 2 or octets[0] & 0x1F == 0x1F:
            raise ValueError
        size, head = octets[1], 2
        if size > 0x80:
            head += size - 0x80
            size = int.from_bytes(octets[2:head], "big")
        if octets[1] == 0x80 or len(octets) < head + size:
            raise ValueError
        found.append((octets[0], octets[head:head + size]))
        octets = octets[head + size:]
    return found


def reads_as_elements(octets):
    """As the parser sees it: with zeros before, and lengths that need not be minimal."""
    octets = octets.lstrip(b"\0")
    at = 0
    while at + 1 < len(octets) and octets[at] in TAGS:
        size, head = octets[at + 1], 2
        if 0x81 <= size <= 0x84:
            head += size - 0x80
            size = int.from_bytes(octets[at + 2:at + head], "big")
        at += head + size
        if at == len(octets):
            return True
    return False


def is_structure(octets):
    """One SEQUENCE, of elements throughout."""
    try:
        inside = elements(octets)
        return [tag for tag, _ in inside] == [0x30] and all(
            tag & 0x20 == 0 or elements(content) is not None for tag, content in inside)
    except ValueError:
        return False


def opens_by_chance(octets):
    for tag, content in elements(octets):
        if tag & 0x20 or (tag == 0x04 and is_structure(content)):
            if opens_by_chance(content):
                return True
        elif tag in (0x04, 0x80) and reads_as_elements(content):
            return True
    return False


if __name__ == "__main__":
    sys.exit(0 if opens_by_chance(pathlib.Path(sys.argv[1]).read_bytes()) else 1)
