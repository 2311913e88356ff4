#!/usr/bin/env python3
"""Sends SCSI commands to an sg device, each with room for SIZE bytes of response, and prints the answers as JSON.

    send_scsi.py DEVICE SIZE CDB...
"""

import ctypes
import fcntl
import json
import os
import sys

SG_IO = 0x2285
FROM_DEVICE = -3


class Request(ctypes.Structure):
    """struct sg_io_hdr of <scsi/sg.h>"""
    _fields_ = [("interface_id", ctypes.c_int), ("dxfer_direction", ctypes.c_int), ("cmd_len", ctypes.c_ubyte),
                ("mx_sb_len", ctypes.c_ubyte), ("iovec_count", ctypes.c_ushort), ("dxfer_len", ctypes.c_uint),
                ("dxferp", ctypes.c_void_p), ("cmdp", ctypes.c_void_p), ("sbp", ctypes.c_void_p),
                ("timeout", ctypes.c_uint), ("flags", ctypes.c_uint), ("pack_id", ctypes.c_int),
                ("usr_ptr", ctypes.c_void_p), ("status", ctypes.c_ubyte), ("masked_status", ctypes.c_ubyte),
                ("msg_status", ctypes.c_ubyte), ("sb_len_wr", ctypes.c_ubyte), ("host_status", ctypes.c_ushort),
                ("driver_status", ctypes.c_ushort), ("resid", ctypes.c_int), ("duration", ctypes.c_uint),
                ("info", ctypes.c_uint)]


def send(device, size, cdb):
    data, sense = ctypes.create_string_buffer(size), ctypes.create_string_buffer(32)
    command = ctypes.create_string_buffer(cdb, len(cdb))
    request = Request(interface_id=ord("S"), dxfer_direction=FROM_DEVICE, cmd_len=len(cdb), mx_sb_len=len(sense),
                      dxfer_len=size, dxferp=ctypes.addressof(data), cmdp=ctypes.addressof(command),
                      sbp=ctypes.addressof(sense), timeout=1000)
    fcntl.ioctl(device, SG_IO, request)
    return {"status": request.status, "sense": sense.raw[:request.sb_len_wr].hex(),
            "data": data.raw[:size - request.resid].hex()}


if __name__ == "__main__":
    opened = os.open(sys.argv[1], os.O_RDWR)
    print(json.dumps([send(opened, int(sys.argv[2]), bytes.fromhex(cdb)) for cdb in sys.argv[3:]]))
