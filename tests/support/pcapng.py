"""Writes pcapng files in both byte orders, without the code under test."""

import struct

LITTLE, BIG = "<", ">"

SECTION, INTERFACE, STATISTICS, PACKET = 0x0A0D0D0A, 1, 5, 6
SCOPE_DATA = 147  # link type USER0


def _padded(data):
    return data + bytes(-len(data) % 4)


def block(order, kind, body):
    length = len(_padded(body)) + 12
    return struct.pack(order + "II", kind, length) + _padded(body) + struct.pack(order + "I", length)


def option(order, code, value):
    return struct.pack(order + "HH", code, len(value)) + _padded(value)


def section(order, hardware=b"", comment=b""):
    options = (option(order, 2, hardware) if hardware else b"") + (option(order, 1, comment) if comment else b"")
    return block(order, SECTION, struct.pack(order + "IHHq", 0x1A2B3C4D, 1, 0, -1) + options)


def interface(order, name, description=b"", link_type=SCOPE_DATA):
    return block(order, INTERFACE, struct.pack(order + "HHI", link_type, 0, 0) + option(order, 2, name)
                 + option(order, 3, description) + option(order, 9, b"\x09") + option(order, 0, b""))


def packet(order, data, time=0, number=0, drops=None, identity=None):
    options = b""
    for code, count in ((4, drops), (5, identity)):
        if count is not None:
            options += option(order, code, struct.pack(order + "Q", count))
    return block(order, PACKET, struct.pack(order + "IIIII", number, time >> 32, time & 0xFFFFFFFF, len(data), len(data))
                 + _padded(data) + options)
