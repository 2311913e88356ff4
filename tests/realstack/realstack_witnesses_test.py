"""The usual tools see in a made machine what its text describes. They do not use the HBA API."""

import re
import unittest

import machine
import realstack
from make_machine import DRIVER, DRIVER_VERSION, REVISION, SCSI_MODEL, SCSI_REVISION, SCSI_VENDOR

NAMES = sorted(text.stem for text in (realstack.HERE / "machines").glob("*.toml"))


def hex_name(wwn):
    return "0x" + wwn.replace(":", "")


def capacity(size):
    for unit, bits in (("PiB", 50), ("TiB", 40), ("GiB", 30)):
        if size >= 1 << bits:
            return f"{size / (1 << bits):.2f} {unit}"
    return f"{size / (1 << 20):.2f} MiB"


def pairs(lines, separator):
    """From name to value of the lines that have the separator."""
    halves = (line.split(separator, 1) for line in lines if separator in line)
    return {name.strip(): value.strip().strip('"') for name, value in halves}


def targets_of(hosts):
    return [(host, port) for host in hosts for port in host.remote_ports if port.roles == "FCP Target"]


class Witnesses(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.made = {name: cls.enterClassContext(realstack.made(name)) for name in NAMES}

    def assert_in_every_machine(self, command, read, expect):
        for name in NAMES:
            with self.subTest(name):
                result = self.made[name].run(*command)
                self.assertEqual(result.returncode, 0, result.stderr)
                self.assertEqual(read(result.stdout), expect(machine.load(realstack.text_of(name))))

    def test_lsscsi_lists_each_unit_with_its_port_and_disk(self):
        def read(output):
            return {tuple(line.split()) for line in output.splitlines()}

        def expect(hosts):
            return {(f"[{unit.address}]", "disk", f"fcoe:{hex_name(port.port_wwn)},0x{port.fc_id:06x}",
                     f"/dev/{unit.disk}") for _, port in targets_of(hosts) for unit in port.units}

        self.assert_in_every_machine(("lsscsi", "-tk"), read, expect)

    def test_systool_shows_the_attributes_of_each_host(self):
        shown = ("node_name", "port_name", "fabric_name", "port_id", "port_type", "port_state", "speed",
                 "supported_speeds", "maxframe_size", "symbolic_name", "Device")

        def read(output):
            blocks = output.split("Class Device = ")[1:]
            values = {block.split('"')[1]: pairs(block.splitlines(), " = ") for block in blocks}
            return {host: [value[key] for key in shown] for host, value in values.items()}

        def expect(hosts):
            return {host.name: [hex_name(host.node_wwn), hex_name(host.port_wwn), hex_name(host.fabric_wwn),
                                f"0x{host.fc_id:06x}", host.type, host.state, host.speed, host.supported_speeds,
                                f"{host.max_frame_size} bytes", host.symbolic_name, host.name] for host in hosts}

        self.assert_in_every_machine(("systool", "-c", "fc_host", "-v"), read, expect)

    def test_fcoeadm_shows_each_adapter_and_its_port(self):
        def read(output):
            blocks = [pairs(block.splitlines(), ":") for block in output.split("    Description:")[1:]]
            return {block["OS Device Name"]: block for block in blocks}

        def expect(hosts):
            return {host.name: {
                "Revision": f"{REVISION:02x}", "Manufacturer": "unknown", "Serial Number": host.serial or "Unknown",
                "Driver": f"{DRIVER} {DRIVER_VERSION}", "Number of Ports": "1", "Symbolic Name": host.symbolic_name,
                "OS Device Name": host.name, "Node Name": hex_name(host.node_wwn),
                "Port Name": hex_name(host.port_wwn), "Fabric Name": hex_name(host.fabric_wwn), "Speed": host.speed,
                "Supported Speed": host.supported_speeds, "MaxFrameSize": f"{host.max_frame_size} bytes",
                "FC-ID (Port ID)": f"0x{host.fc_id:06x}", "State": host.state} for host in hosts}

        self.assert_in_every_machine(("fcoeadm", "-i"), read, expect)

    def test_fcoeadm_shows_each_target_and_its_units(self):
        row = re.compile(r" +(\d+)  (sd\w+) +([\d.]+ .iB) +(\d+)     (.*)")

        def read(output):
            blocks = [(pairs(block.splitlines(), ": "), set(row.findall(block)))
                      for block in re.split(r"(?=^    Interface:)", output, flags=re.M)[1:]]
            return {fields["OS Device Name"]: (fields, units) for fields, units in blocks}

        # It multiplies what Linux counts in sectors of 512 bytes by the block size.
        def row_of(unit):
            return (str(machine.linux_lun(unit.lun)), unit.disk, capacity(unit.size // 512 * unit.block_size),
                    str(unit.block_size), f"{SCSI_VENDOR} {SCSI_MODEL} (rev {SCSI_REVISION})")

        def expect(hosts):
            return {port.name: ({
                "Interface": host.interface, "Roles": port.roles, "Node Name": hex_name(port.node_wwn),
                "Port Name": hex_name(port.port_wwn), "Target ID": str(port.scsi_target),
                "MaxFrameSize": f"{port.max_frame_size} bytes", "OS Device Name": port.name,
                "FC-ID (Port ID)": f"0x{port.fc_id:06x}", "State": port.state},
                {row_of(unit) for unit in port.units}) for host, port in targets_of(hosts)}

        self.assert_in_every_machine(("fcoeadm", "-t"), read, expect)


if __name__ == "__main__":
    realstack.require_namespaces()
    unittest.main()
