"""The agent and the usual tools, which do not use the HBA API, show the same in the same machine."""

import json
import unittest

import machine
import realstack
import witnesses
from programs import QZAGENT

# Each device of these machines answers every command.
GOOD = ("two-hosts", "high-luns", "link-down", "no-capabilities", "no-remote-ports", "speeds")

# libhbalinux has no numbers for the other speeds, so the agent cannot show them.
SPEEDS = {"1 Gbit": "1GBIT", "2 Gbit": "2GBIT", "10 Gbit": "10GBIT", "Not Negotiated": "NOT_NEGOTIATED"}


def hex_name(wwn):
    return "0x" + (wwn or "00:00:00:00:00:00:00:00").replace(":", "")


def hex_id(fc_id):
    return fc_id or "0x000000"


class Agreement(unittest.TestCase):
    maxDiff = None

    def assert_in_every_machine(self, *arguments, read, expect):
        for name in GOOD:
            with self.subTest(name), realstack.made(name) as made:
                result = made.run(QZAGENT, *arguments, "--json")
                self.assertEqual(result.returncode, 0, result.stderr)
                self.assertEqual(read(json.loads(result.stdout)["adapters"]), expect(made))

    def test_with_lsscsi_on_each_device_and_its_target(self):
        def read(adapters):
            return {(hex_name(port["port_wwn"]), port["fc_id"], lun["os_device"])
                    for adapter in adapters for port in adapter["ports"][0]["remote_ports"]
                    for lun in port.get("luns", [])}

        def expect(made):
            ports = ((port.removeprefix("fcoe:").split(","), device) for _, _, port, device in witnesses.lsscsi(made))
            return {(name, fc_id, device) for (name, fc_id), device in ports}

        self.assert_in_every_machine("inventory", read=read, expect=expect)

    def test_with_fcoeadm_on_the_number_device_capacity_and_description_of_each_lun(self):
        def row_of(lun):
            return (str(machine.linux_lun(lun["lun"])), lun["os_device"].removeprefix("/dev/"),
                    witnesses.capacity_by_sectors(lun["capacity_bytes"], lun["block_size_bytes"]),
                    str(lun["block_size_bytes"]), f"{lun['vendor']} {lun['product']} (rev {lun['revision']})")

        def read(adapters):
            return sorted((hex_name(port["port_wwn"]), sorted(map(row_of, port["luns"])))
                          for adapter in adapters for port in adapter["ports"][0]["remote_ports"] if "luns" in port)

        def expect(made):
            return sorted((fields["Port Name"], sorted(units))
                          for fields, units in witnesses.fcoeadm_targets(made).values())

        self.assert_in_every_machine("inventory", "--luns", read=read, expect=expect)

    def test_with_fcoeadm_on_the_targets_and_luns_of_each_port(self):
        def read(adapters):
            return sorted((hex_name(port["port_wwn"]), port["number_of_targets"], port["number_of_luns"])
                          for adapter in adapters for port in adapter["ports"])

        def expect(made):
            adapters, targets = witnesses.fcoeadm_adapters(made), witnesses.fcoeadm_targets(made)
            rows = []
            for host, adapter in adapters.items():
                number = host.removeprefix("host")
                units = [units for name, (_, units) in targets.items() if name.startswith(f"rport-{number}:")]
                rows.append((adapter["Port Name"], len(units), sum(map(len, units))))
            return sorted(rows)

        self.assert_in_every_machine("ports", read=read, expect=expect)

    def test_with_systool_on_the_attributes_of_each_port(self):
        def read(adapters):
            return sorted((hex_name(port["port_wwn"]), hex_name(port["node_wwn"]), hex_id(port.get("fc_id")),
                           hex_name(port.get("fabric_name")), port["state"], port.get("speed"))
                          for adapter in adapters for port in adapter["ports"])

        def expect(made):
            return sorted((host["port_name"], host["node_name"], host["port_id"], host["fabric_name"],
                           host["port_state"].upper(), SPEEDS.get(host["speed"]))
                          for host in witnesses.systool(made).values())

        self.assert_in_every_machine("ports", read=read, expect=expect)

    def test_with_fcoeadm_on_the_driver_and_the_worst_state_of_each_adapter(self):
        def read(adapters):
            return sorted((adapter["driver_version"], adapter["number_of_ports"], adapter["worst_port_state"])
                          for adapter in adapters)

        def expect(made):
            return sorted((adapter["Driver"].split()[1], int(adapter["Number of Ports"]), adapter["State"].upper())
                          for adapter in witnesses.fcoeadm_adapters(made).values())

        self.assert_in_every_machine("adapters", read=read, expect=expect)


if __name__ == "__main__":
    realstack.require_namespaces()
    unittest.main()
