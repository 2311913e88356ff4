"""The usual tools see in a made machine what its text describes. They do not use the HBA API."""

import unittest

import machine
import realstack
import witnesses
from make_machine import DRIVER, DRIVER_VERSION, REVISION, SCSI_MODEL, SCSI_REVISION, SCSI_VENDOR

NAMES = sorted(text.stem for text in (realstack.HERE / "machines").glob("*.toml"))


def hex_name(wwn):
    return "0x" + wwn.replace(":", "")


def targets_of(hosts):
    return [(host, port) for host in hosts for port in host.remote_ports if port.roles == "FCP Target"]


class Witnesses(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.made = {name: cls.enterClassContext(realstack.made(name)) for name in NAMES}

    def assert_in_every_machine(self, read, expect):
        for name in NAMES:
            with self.subTest(name):
                self.assertEqual(read(self.made[name]), expect(machine.load(realstack.text_of(name))))

    def test_lsscsi_lists_each_unit_with_its_port_and_disk(self):
        def expect(hosts):
            return {(f"[{unit.address}]", "disk", f"fcoe:{hex_name(port.port_wwn)},0x{port.fc_id:06x}",
                     f"/dev/{unit.disk}") for _, port in targets_of(hosts) for unit in port.units}

        self.assert_in_every_machine(witnesses.lsscsi, expect)

    def test_systool_shows_the_attributes_of_each_host(self):
        def expect(hosts):
            return {host.name: dict(zip(witnesses.SYSTOOL_ATTRIBUTES, (
                hex_name(host.node_wwn), hex_name(host.port_wwn), hex_name(host.fabric_wwn), f"0x{host.fc_id:06x}",
                host.type, host.state, host.speed, host.supported_speeds, f"{host.max_frame_size} bytes",
                host.symbolic_name, host.name))) for host in hosts}

        self.assert_in_every_machine(witnesses.systool, expect)

    def test_fcoeadm_shows_each_adapter_and_its_port(self):
        def expect(hosts):
            return {host.name: {
                "Revision": f"{REVISION:02x}", "Manufacturer": "unknown", "Serial Number": host.serial or "Unknown",
                "Driver": f"{DRIVER} {DRIVER_VERSION}", "Number of Ports": "1", "Symbolic Name": host.symbolic_name,
                "OS Device Name": host.name, "Node Name": hex_name(host.node_wwn),
                "Port Name": hex_name(host.port_wwn), "Fabric Name": hex_name(host.fabric_wwn), "Speed": host.speed,
                "Supported Speed": host.supported_speeds, "MaxFrameSize": f"{host.max_frame_size} bytes",
                "FC-ID (Port ID)": f"0x{host.fc_id:06x}", "State": host.state} for host in hosts}

        self.assert_in_every_machine(witnesses.fcoeadm_adapters, expect)

    def test_fcoeadm_shows_each_target_and_its_units(self):
        def row_of(unit):
            return (str(machine.linux_lun(unit.lun)), unit.disk,
                    witnesses.capacity_by_sectors(unit.size, unit.block_size), str(unit.block_size),
                    f"{SCSI_VENDOR} {SCSI_MODEL} (rev {SCSI_REVISION})")

        def expect(hosts):
            return {port.name: ({
                "Interface": host.interface, "Roles": port.roles, "Node Name": hex_name(port.node_wwn),
                "Port Name": hex_name(port.port_wwn), "Target ID": str(port.scsi_target),
                "MaxFrameSize": f"{port.max_frame_size} bytes", "OS Device Name": port.name,
                "FC-ID (Port ID)": f"0x{port.fc_id:06x}", "State": port.state},
                {row_of(unit) for unit in port.units}) for host, port in targets_of(hosts)}

        self.assert_in_every_machine(witnesses.fcoeadm_targets, expect)


if __name__ == "__main__":
    realstack.require_namespaces()
    unittest.main()
