"""Reads captures with libpcap."""

import ctypes
import ctypes.util


class _Header(ctypes.Structure):
    _fields_ = [("seconds", ctypes.c_long), ("nanoseconds", ctypes.c_long), ("captured", ctypes.c_uint32),
                ("length", ctypes.c_uint32)]


_NAME = ctypes.util.find_library("pcap")
IS_AVAILABLE = _NAME is not None
_NANOSECONDS = 1  # precision of times
_END = -2


def packets(path):
    """Returns the link type of a capture, and the time in nanoseconds and the data of each packet."""
    library = ctypes.CDLL(_NAME)
    library.pcap_open_offline_with_tstamp_precision.restype = ctypes.c_void_p
    library.pcap_geterr.restype = ctypes.c_char_p
    error = ctypes.create_string_buffer(256)
    opened = ctypes.c_void_p(
        library.pcap_open_offline_with_tstamp_precision(bytes(path), ctypes.c_uint(_NANOSECONDS), error))
    if not opened:
        raise ValueError(error.value.decode())
    header, data, found = ctypes.POINTER(_Header)(), ctypes.POINTER(ctypes.c_ubyte)(), []
    while (result := library.pcap_next_ex(opened, ctypes.byref(header), ctypes.byref(data))) == 1:
        time = header.contents.seconds * 10**9 + header.contents.nanoseconds
        found.append((time, bytes(data[:header.contents.captured])))
    message = library.pcap_geterr(opened)
    link_type = library.pcap_datalink(opened)
    library.pcap_close(opened)
    if result != _END:
        raise ValueError(message.decode())
    return link_type, found
