"""Reads and writes pcapng files for tests, without the code of the project."""

import struct

SECTION, INTERFACE, STATISTICS, PACKET = 0x0A0D0D0A, 1, 5, 6
MAGIC = 0x1A2B3C4D
LITTLE, BIG = "<", ">"  # byte orders
SCOPE_DATA = 147  # link type USER0


def blocks(data):
    """Yields the byte order, type and body of each block. Raises ValueError at anything that is not a whole block."""
    position, order = 0, "<"
    while position < len(data):
        if len(data) - position < 12:
            raise ValueError(f"{len(data) - position} bytes are left at {position}")
        if data[position:position + 4] == b"\n\r\r\n":
            order = "<" if data[position + 8:position + 12] == struct.pack("<I", MAGIC) else ">"
        kind, size = struct.unpack_from(order + "II", data, position)
        end = position + size
        if size < 12 or size % 4 or end > len(data) or struct.unpack_from(order + "I", data, end - 4)[0] != size:
            raise ValueError(f"no whole block at {position}")
        yield order, kind, data[position + 8:end - 4]
        position = end


def options(order, data):
    """Returns a dictionary from option code to value."""
    found = {}
    while len(data) >= 4:
        code, size = struct.unpack_from(order + "HH", data)
        if code == 0:
            break
        found[code] = data[4:4 + size]
        data = data[4 + size + -size % 4:]
    return found


def number(order, value):
    return struct.unpack(order + "Q", value)[0]


class Interface:
    def __init__(self, order, body):
        self.link_type = struct.unpack_from(order + "H", body)[0]
        found = options(order, body[8:])
        self.name = found[2].decode()
        self.description = found.get(3, b"").decode()
        self.resolution = found[9][0]
        self.packets = []
        self.statistics = []


class Packet:
    def __init__(self, order, body):
        self.interface, high, low, size, original = struct.unpack_from(order + "5I", body)
        assert size == original
        self.time = high << 32 | low
        self.data = body[20:20 + size]
        found = options(order, body[20 + size + -size % 4:])
        self.drops, self.id = (number(order, found[code]) if code in found else None for code in (4, 5))


class Statistics:
    def __init__(self, order, body):
        self.interface, high, low = struct.unpack_from(order + "3I", body)
        self.time = high << 32 | low
        found = options(order, body[12:])
        self.received, self.dropped = number(order, found[4]), number(order, found[5])


class Section:
    def __init__(self, order, body):
        found = options(order, body[16:])
        self.hardware, self.system, self.application, self.comment = (found[code].decode() for code in (2, 3, 4, 1))
        self.interfaces = []
        self.packets = []


def sections(data):
    """Returns the sections of a file that ends with a whole block."""
    found = []
    for order, kind, body in blocks(data):
        if kind == SECTION:
            found.append(Section(order, body))
        elif kind == INTERFACE:
            found[-1].interfaces.append(Interface(order, body))
        elif kind == PACKET:
            packet = Packet(order, body)
            found[-1].packets.append(packet)
            found[-1].interfaces[packet.interface].packets.append(packet)
        elif kind == STATISTICS:
            statistics = Statistics(order, body)
            found[-1].interfaces[statistics.interface].statistics.append(statistics)
    return found


def whole_part(data):
    """Returns the whole blocks at the start of the data."""
    size = 0
    try:
        for _, _, body in blocks(data):
            size += len(body) + 12
    except ValueError:
        pass
    return data[:size]


def _padded(data):
    return data + bytes(-len(data) % 4)


def block(order, kind, body):
    length = len(_padded(body)) + 12
    return struct.pack(order + "II", kind, length) + _padded(body) + struct.pack(order + "I", length)


def option(order, code, value):
    return struct.pack(order + "HH", code, len(value)) + _padded(value)


def section(order, hardware=b"", comment=b""):
    options = (option(order, 2, hardware) if hardware else b"") + (option(order, 1, comment) if comment else b"")
    return block(order, SECTION, struct.pack(order + "IHHq", MAGIC, 1, 0, -1) + options)


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


def rewritten(original, order):
    """The section's interfaces and packets in a byte order."""
    data = section(order, original.hardware.encode(), original.comment.encode())
    for each in original.interfaces:
        data += interface(order, each.name.encode(), each.description.encode(), each.link_type)
    for each in original.packets:
        data += packet(order, each.data, each.time, each.interface, each.drops, each.id)
    return data
