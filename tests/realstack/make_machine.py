#!/usr/bin/env python3
"""Makes what a Linux machine shows of its FC hosts, from the text that describes the machine.

    make_machine.py MACHINE.toml FOLDER

FOLDER gets sys, to be mounted on /sys; hba.conf, to be mounted on /etc/hba.conf; and sg, with a file for each
/dev/sgN, whose lines are the answers that SgDevices.cpp gives:

    COMMAND good HEX            these bytes; COMMAND is the operation code in hexadecimal, for a page as 12:83
    COMMAND busy                status BUSY
    COMMAND check KEY ASC ASCQ  status CHECK CONDITION
    after COMMAND PATH          PATH of the machine vanishes once the command is answered
"""

import os
import pathlib
import sys

import machine

VENDOR, DEVICE = 0xfe0d, 0x0001  # no vendor has this number
DRIVER, DRIVER_VERSION = "qzfcoe", "1.2.3"
REVISION = 0x42
SCSI_VENDOR, SCSI_MODEL, SCSI_REVISION = "EXAMPLE", "ARRAY VOLUME", "0042"

# What Linux counts of a port, as libhbalinux and fcoeadm read it.
STATISTICS = ("seconds_since_last_reset", "tx_frames", "tx_words", "rx_frames", "rx_words", "lip_count", "nos_count",
              "error_frames", "dumped_frames", "link_failure_count", "loss_of_sync_count", "loss_of_signal_count",
              "prim_seq_protocol_err_count", "invalid_tx_word_count", "invalid_crc_count", "fcp_input_requests",
              "fcp_output_requests", "fcp_control_requests", "fcp_input_megabytes", "fcp_output_megabytes")
UNKNOWN_COUNT = 0xffffffffffffffff

FC4_TYPES = "0x00 0x00 0x01" + " 0x00" * 29  # FCP


def hex_wwn(wwn):
    return "0x" + wwn.replace(":", "")


class Tree:
    """A made /sys."""

    def __init__(self, root):
        self.root = root

    def folder(self, path):
        (self.root / path).mkdir(parents=True, exist_ok=True)

    def files(self, folder, contents):
        self.folder(folder)
        for name, content in contents.items():
            (self.root / folder / name).write_text(f"{content}\n", encoding="ascii")

    def link(self, path, target):
        """A relative link that ends with the name of its target, as those of Linux do. Both paths start at the root."""
        folder, target_folder = os.path.dirname(path), os.path.dirname(target)
        self.folder(folder)
        os.symlink(f"{os.path.relpath(target_folder, folder)}/{os.path.basename(target)}", self.root / path)

    def class_device(self, kind, device, name, contents):
        """A device of a class: the folder is in its device, the class has a link to it."""
        folder = f"{device}/{kind}/{name}"
        self.files(folder, contents)
        self.link(f"{folder}/device", device)
        self.link(f"class/{kind}/{name}", folder)
        return folder


def pci_config(serial):
    """Configuration space, with the capabilities that lead to the serial number if there is one."""
    config = bytearray(4096)
    config[0x00:0x04] = VENDOR.to_bytes(2, "little") + DEVICE.to_bytes(2, "little")
    config[0x08] = REVISION
    config[0x0b] = 0x02  # a network controller
    config[0x2c:0x30] = config[0x00:0x04]
    if serial is None:
        return bytes(config)
    config[0x06] = 0x10  # has capabilities
    config[0x34] = 0x40
    config[0x40] = 0x10  # PCI Express, the last capability
    config[0x100:0x104] = (0x00010003).to_bytes(4, "little")  # device serial number, version 1, the last one
    high, low = bytes.fromhex(serial[:6]), bytes.fromhex(serial[6:])
    config[0x104:0x10c] = low[::-1] + bytes((0xff, 0xff)) + high[::-1]
    return bytes(config)


def make_driver(tree):
    tree.files(f"module/{DRIVER}", {"version": DRIVER_VERSION})
    tree.link(f"bus/pci/drivers/{DRIVER}/module", f"module/{DRIVER}")
    for kind in ("fc_host", "fc_remote_ports", "fc_transport", "scsi_host", "scsi_device", "scsi_disk",
                 "scsi_generic", "net", "block"):
        tree.folder(f"class/{kind}")
    tree.folder("bus/scsi/devices")
    tree.folder("block")


def make_pci(tree, host):
    device = f"devices/pci0000:00/{host.pci}"
    tree.files(device, {"vendor": f"{VENDOR:#06x}", "device": f"{DEVICE:#06x}", "subsystem_vendor": f"{VENDOR:#06x}",
                        "subsystem_device": f"{DEVICE:#06x}", "class": "0x020000", "irq": 0,
                        "resource": "\n".join(["0x0000000000000000 " * 2 + "0x0000000000000000"] * 7)})
    (tree.root / device / "config").write_bytes(pci_config(host.serial))
    tree.link(f"{device}/driver", f"bus/pci/drivers/{DRIVER}")
    tree.link(f"bus/pci/devices/{host.pci}", device)
    tree.class_device("net", device, host.interface, {"ifindex": host.number + 1, "iflink": host.number + 1})
    return device


def make_host(tree, host):
    device = f"{make_pci(tree, host)}/net/{host.interface}/ctlr_0/{host.name}"
    tree.class_device("scsi_host", device, host.name, {"proc_name": DRIVER})
    tree.link(f"bus/scsi/devices/{host.name}", device)
    folder = tree.class_device("fc_host", device, host.name, {
        "symbolic_name": host.symbolic_name, "node_name": hex_wwn(host.node_wwn),
        "port_name": hex_wwn(host.port_wwn), "fabric_name": hex_wwn(host.fabric_wwn),
        "permanent_port_name": hex_wwn(host.port_wwn), "port_id": f"{host.fc_id:#08x}", "port_type": host.type,
        "port_state": host.state, "speed": host.speed, "supported_speeds": host.supported_speeds,
        "maxframe_size": f"{host.max_frame_size} bytes", "supported_classes": "Class 3",
        "supported_fc4s": FC4_TYPES, "active_fc4s": FC4_TYPES, "tgtid_bind_type": "wwpn (World Wide Port Name)",
        "dev_loss_tmo": 60})
    counts = dict.fromkeys(STATISTICS, UNKNOWN_COUNT) | host.statistics
    tree.files(f"{folder}/statistics", {name: f"{count:#x}" for name, count in counts.items()})
    for remote_port in host.remote_ports:
        make_remote_port(tree, device, remote_port)


def make_remote_port(tree, host_device, port):
    device = f"{host_device}/{port.name}"
    names = {"node_name": hex_wwn(port.node_wwn), "port_name": hex_wwn(port.port_wwn), "port_id": f"{port.fc_id:#08x}"}
    tree.class_device("fc_remote_ports", device, port.name, names | {
        "port_state": port.state, "roles": port.roles, "scsi_target_id": port.scsi_target,
        "maxframe_size": f"{port.max_frame_size} bytes", "supported_classes": "Class 3", "dev_loss_tmo": 60})
    if port.scsi_target < 0:
        return
    target = f"{device}/target{port.target}"
    tree.class_device("fc_transport", target, f"target{port.target}", names)
    tree.link(f"bus/scsi/devices/target{port.target}", target)
    for unit in port.units:
        make_unit(tree, f"{target}/{unit.address}", unit)


def make_unit(tree, device, unit):
    tree.files(device, {"vendor": f"{SCSI_VENDOR:<8}", "model": f"{SCSI_MODEL:<16}", "rev": SCSI_REVISION, "type": 0,
                        "scsi_level": 7, "state": "running", "queue_depth": 32, "timeout": 30})
    tree.link(f"bus/scsi/devices/{unit.address}", device)
    for kind in ("scsi_device", "scsi_disk"):
        tree.class_device(kind, device, unit.address, {})
    tree.class_device("scsi_generic", device, unit.sg, {"dev": f"21:{unit.index}"})
    block = tree.class_device("block", device, unit.disk, {
        "dev": f"{8 + unit.index // 16}:{unit.index % 16 * 16}", "size": unit.size // 512})
    tree.files(f"{block}/queue", {"hw_sector_size": unit.block_size, "logical_block_size": unit.block_size})
    tree.link(f"block/{unit.disk}", block)


def answer(command, kind, data):
    """A line of an sg device: the answer of this kind to a command whose good answer is the data."""
    word, _, detail = kind.partition(" ")
    if word == "busy":
        return f"{command} busy"
    if word == "check":
        return f"{command} check {detail.replace('/', ' ')}"
    return f"{command} good {data[:int(detail)].hex() if word == 'short' else data.hex()}"


def designator(port, unit):
    """The page that identifies the unit by an NAA name."""
    name = bytes.fromhex("6" + port.port_wwn.replace(":", "")[1:]) + unit.lun.to_bytes(8, "big")
    return bytes((0, 0x83, 0, 4 + len(name), 0x01, 0x03, 0, len(name))) + name


def make_sg(folder, port, unit, after):
    inquiry = bytes((0, 0, 6, 2, 31, 0, 0, 2)) + f"{SCSI_VENDOR:<8}{SCSI_MODEL:<16}{SCSI_REVISION:<4}".encode("ascii")
    luns = b"".join(machine.scsi_lun(lun) for lun in port.reported)
    last, size = unit.size // unit.block_size - 1, unit.block_size.to_bytes(4, "big")
    lines = [answer("12", unit.answers["inquiry"], inquiry),
             answer("12:83", unit.answers["inquiry"], designator(port, unit)),
             answer("25", unit.answers["read_capacity"], min(last, 0xffffffff).to_bytes(4, "big") + size),
             answer("9e", unit.answers["read_capacity"], last.to_bytes(8, "big") + size + bytes(20)),
             answer("a0", unit.answers["report_luns"], len(luns).to_bytes(4, "big") + bytes(4) + luns), *after]
    (folder / unit.sg).write_text("\n".join(lines) + "\n", encoding="ascii")


def vanishing(hosts):
    """Lines for the sg devices whose answers make other ports vanish, by the names of the ports that have them."""
    operation_codes = {"inquiry": "12", "read_capacity": "25", "report_luns": "a0"}
    lines = {}
    for host in hosts:
        for port in host.remote_ports:
            if port.vanishes_after:
                paths = [f"sys/class/fc_remote_ports/{port.name}"]
                paths += [f"sys/class/scsi_device/{unit.address}" for unit in port.units]
                code = operation_codes[port.vanishes_after["command"]]
                lines.setdefault(port.vanishes_after["port_wwn"], []).extend(f"after {code} {path}" for path in paths)
    return lines


def make(text, folder):
    hosts = machine.load(text)
    tree = Tree(folder / "sys")
    make_driver(tree)
    for host in hosts:
        make_host(tree, host)
    (folder / "sg").mkdir()
    after = vanishing(hosts)
    for port in (port for host in hosts for port in host.remote_ports):
        for unit in port.units:
            make_sg(folder / "sg", port, unit, after.get(port.port_wwn, []) if unit is port.first_unit else [])
    (folder / "hba.conf").write_text("example.fcoe /usr/lib/libhbalinux.so.2\n", encoding="ascii")


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    make(sys.argv[1], pathlib.Path(sys.argv[2]))
