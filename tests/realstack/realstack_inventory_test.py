"""The agent shows on a real HBA library what the text of a made machine describes."""

import json
import subprocess
import tempfile
import unittest

import machine
import realstack
from make_machine import (DEVICE, DRIVER, DRIVER_VERSION, REVISION, SCSI_MODEL, SCSI_REVISION, SCSI_VENDOR,
                          VENDOR)
from programs import QZAGENT

SCHEMAS = realstack.HERE.parents[1] / "tools" / "qzagent" / "schemas"

PORT_STATES = {"Online": "ONLINE", "Linkdown": "LINKDOWN", "Not Present": "UNKNOWN"}
PORT_TYPES = {"NPort (fabric via point-to-point)": "NPORT"}

# libhbalinux has numbers for these, which are those of the header of the HBA API.
SPEED_BITS = {"1 Gbit": 1, "2 Gbit": 2, "10 Gbit": 4, "Not Negotiated": 5}
SPEEDS = {"1 Gbit": "1GBIT", "2 Gbit": "2GBIT", "10 Gbit": "10GBIT", "Not Negotiated": "NOT_NEGOTIATED"}

# The only class of the ports of all machines. libhbalinux writes it as a number, where the HBA API has a bit for it.
CLASS = 3

# The texts of the sense data that machines have.
SENSE_KEYS = {0x02: "NOT READY"}
ADDITIONAL_SENSE = {0x3a00: "medium not present"}


def present(fields):
    return {name: value for name, value in fields.items() if value is not None}


def known(wwn):
    return None if wwn == "00:00:00:00:00:00:00:00" else wwn


def supported_speeds(text):
    """In the order of the numbers; none without a speed that has a number."""
    return [name for linux, name in SPEEDS.items() if linux in text.split(", ")] or None


def failure(text, function, status, status_name, scsi=None, scsi_text=""):
    """A failure without the number of the call."""
    cause = {"function": function, "status": status, "status_name": status_name} | (scsi or {})
    return {"exception": "QZCHbaapiEx", "text": text, "code": 802,
            "cause": cause | {"text": f"{scsi_text}{status_name} ({status})"}}


def expected_failure(command, function, answer, size):
    """What makes a command fail whose whole answer has this size; None if nothing does.

    libhbalinux fills the buffer of INQUIRY with zeros. A short answer then has the length 0 after the first 5 bytes."""
    kind, _, detail = answer.partition(" ")
    is_filled = command == "INQUIRY"
    if kind == "busy":
        done = "filled the buffer with zeros" if is_filled else "left the buffer unchanged"
        return failure(f"{command}: no answer, the HBA library {done}", function, 0, "HBA_STATUS_OK")
    if kind == "short":
        found = 5 if is_filled else detail
        return failure(f"{command}: short answer, {found} of {size} bytes", function, 0, "HBA_STATUS_OK")
    if kind == "check":
        key, asc, ascq = (int(number, 16) for number in detail.split("/"))
        key_name, additional = SENSE_KEYS[key], ADDITIONAL_SENSE[asc << 8 | ascq]
        scsi = {"scsi_status": 2, "scsi_status_name": "CHECK CONDITION", "sense_key": key, "sense_key_name": key_name,
                "asc": asc, "ascq": ascq, "additional_sense": additional}
        text = f"{command}: CHECK CONDITION, {key_name}, {additional} ({asc:02X}/{ascq:02X}); "
        return failure(f"{function} method failed", function, 9, "HBA_STATUS_SCSI_CHECK_CONDITION", scsi, text)
    return None


def expected_failure_of_report_luns(port):
    function = "HBA_SendReportLUNs"
    if not port.first_unit or port.vanishes_after:
        return failure(f"{function} method failed", function, 23, "HBA_STATUS_ERROR_TARGET_PORT_WWN")
    return expected_failure("REPORT LUNS", function, port.first_unit.answers["report_luns"], 8 + 8 * len(port.reported))


def without_call_numbers(value):
    """The value without the numbers of the calls in its causes, which depend on how often the agent calls."""
    if isinstance(value, list):
        return [without_call_numbers(part) for part in value]
    if isinstance(value, dict) and "call" in value:
        place = f" in call {value['call']}, {value['function']}"
        return {key: part for key, part in value.items() if key != "call"} | {"text": value["text"].replace(place, "")}
    if isinstance(value, dict):
        return {key: without_call_numbers(part) for key, part in value.items()}
    return value


def expected_units(port):
    return [{"lun": unit.lun, "os_device": f"/dev/{unit.disk}"} for unit in sorted(port.units, key=lambda unit: unit.lun)]


def expected_answers(unit):
    """What --luns adds to a unit."""
    failures = [expected_failure("INQUIRY", "HBA_SendScsiInquiry", unit.answers["inquiry"], 36),
                expected_failure("READ CAPACITY", "HBA_SendReadCapacity", unit.answers["read_capacity"], 8)]
    fields = {}
    if not failures[0]:
        fields |= {"device_type": "0x00", "vendor": SCSI_VENDOR, "product": SCSI_MODEL, "revision": SCSI_REVISION}
    if not failures[1]:
        fields |= {"block_size_bytes": unit.block_size, "capacity_bytes": unit.size}
    return fields | ({"failures": [one for one in failures if one]} if any(failures) else {})


def expected_remote_port(port):
    fields = {"port_wwn": port.port_wwn, "node_wwn": port.node_wwn, "fc_id": f"0x{port.fc_id:06x}",
              "state": PORT_STATES[port.state]}
    if port.units:
        fields["mapped_luns"] = sorted(unit.lun for unit in port.units)
        fields["luns"] = expected_units(port)
        problem = expected_failure_of_report_luns(port)
        fields |= {"failures": [problem]} if problem else {"reported_luns": sorted(port.reported)}
    return fields


def expected_adapter(host):
    device = f"[{VENDOR:04x}:{DEVICE:04x}]-[{VENDOR:04x}:{DEVICE:04x}]-(0200)"
    return {
        "attributes": present({
            "serial_number": host.serial, "model": device, "model_description": device, "node_wwn": host.node_wwn,
            "node_symbolic_name": f"fcoe:{host.interface}", "hardware_version": f"{REVISION:02x}",
            "driver_version": DRIVER_VERSION, "number_of_ports": 1, "driver_name": DRIVER}),
        "ports": [present({
            "index": 0, "port_wwn": host.port_wwn, "node_wwn": host.node_wwn,
            "fc_id": f"0x{host.fc_id:06x}" if host.fc_id else None, "type": PORT_TYPES[host.type],
            "state": PORT_STATES[host.state], "speed": SPEEDS.get(host.speed),
            "speed_bits": SPEED_BITS.get(host.speed),
            "supported_speeds": supported_speeds(host.supported_speeds),
            "supported_speeds_bits": sum(SPEED_BITS.get(name, 0) for name in host.supported_speeds.split(", ")) or None,
            "supported_classes": [str(CLASS)], "supported_classes_bits": CLASS,
            "supported_fc4_types": ["0x08"], "active_fc4_types": ["0x08"],
            "max_frame_size": host.max_frame_size, "symbolic_name": host.symbolic_name,
            "os_device_name": host.name, "fabric_name": known(host.fabric_wwn),
            "remote_ports": [expected_remote_port(port) for port in host.remote_ports]})],
        "remote_ports": []}


def is_valid(document):
    with tempfile.NamedTemporaryFile("w", suffix=".json") as file:
        file.write(document)
        file.flush()
        command = ["/usr/bin/python3", "-m", "jsonschema", "-i", file.name, SCHEMAS / "inventory.schema.json"]
        return subprocess.run(command, capture_output=True, check=False).returncode == 0


class Inventory(unittest.TestCase):
    maxDiff = None

    def assert_shows(self, name, exit_code=0):
        with realstack.made(name) as made:
            result = made.run(QZAGENT, "inventory", "--json")
        self.assertEqual(result.returncode, exit_code, result.stderr)
        self.assertTrue(is_valid(result.stdout), result.stdout)
        hosts = machine.load(realstack.text_of(name))
        adapters = json.loads(result.stdout)["adapters"]
        # The library lists the adapters in the order of a folder, which is any, and counts them in their names.
        names = {f"fcoe:{host.interface}": host.name for host in hosts}
        found = {}
        for index, adapter in enumerate(adapters):
            interface, _, count = adapter.pop("name").rpartition("-")
            self.assertEqual((adapter.pop("index"), int(count)), (index, index))
            found[names[interface]] = without_call_numbers(adapter)
        self.assertEqual(found, {host.name: expected_adapter(host) for host in hosts})
        return result.stderr

    def test_has_hundreds_of_luns_over_several_targets_of_two_hosts(self):
        self.assert_shows("two-hosts")

    def test_has_the_mapped_luns_of_a_target_without_lun_0(self):
        errors = self.assert_shows("no-lun-0", exit_code=1)
        self.assertRegex(errors, "50:00:02:00:00:00:01:01: the adapter maps no LUN 0 of the target, and some HBA libraries "
                                 "send REPORT LUNS only to LUN 0\n")

    def test_has_a_port_whose_link_is_down(self):
        self.assert_shows("link-down")

    def test_has_what_was_seen_of_a_port_before_it_vanished(self):
        self.assert_shows("vanishing-port", exit_code=1)

    def test_has_a_host_without_remote_ports(self):
        self.assert_shows("no-remote-ports")

    def test_has_luns_above_255(self):
        self.assert_shows("high-luns")

    def test_has_the_speeds_that_the_library_has_numbers_for(self):
        self.assert_shows("speeds")

    def test_has_a_failure_for_a_device_that_is_not_ready(self):
        self.assert_shows("check-condition", exit_code=1)

    def test_has_a_failure_for_a_device_that_is_busy(self):
        self.assert_shows("busy", exit_code=1)

    def test_has_a_failure_for_a_device_that_answers_too_few_bytes(self):
        self.assert_shows("short-answers", exit_code=1)

    def test_notes_a_library_that_is_not_loaded_and_shows_the_adapters_of_the_others(self):
        with realstack.made("no-remote-ports") as made:
            made.append_configuration("# a comment /usr/lib/none.so")
            made.append_configuration("example.missing /usr/lib/none.so # no such file")
            result = made.run(QZAGENT, "inventory", "--json")
        self.assertEqual(result.returncode, 0, result.stderr)
        document = json.loads(result.stdout)
        self.assertEqual([(message["severity"], message["text"]) for message in document["messages"]],
                         [("note", "HBA library example.missing (/usr/lib/none.so) is not loaded: /usr/lib/none.so: "
                                   "cannot open shared object file: No such file or directory")])
        self.assertEqual(len(document["adapters"]), 1)

    def assert_shows_units(self, name, exit_code=0):
        with realstack.made(name) as made:
            result = made.run(QZAGENT, "inventory", "--luns", "--json")
        self.assertEqual(result.returncode, exit_code, result.stderr)
        self.assertTrue(is_valid(result.stdout), result.stdout)
        found = [without_call_numbers(port.get("luns", [])) for adapter in json.loads(result.stdout)["adapters"]
                 for port in adapter["ports"][0]["remote_ports"]]
        expected = [[shown | expected_answers(unit) for shown, unit in zip(expected_units(port), port.units)]
                    for host in machine.load(realstack.text_of(name)) for port in host.remote_ports]
        # The library lists the adapters in any order.
        self.assertEqual(sorted(found, key=str), sorted(expected, key=str))

    def test_has_vendor_product_revision_and_capacity_of_hundreds_of_luns(self):
        self.assert_shows_units("two-hosts")

    def test_has_the_products_of_luns_above_255(self):
        self.assert_shows_units("high-luns")

    def test_has_the_products_of_a_target_without_lun_0(self):
        self.assert_shows_units("no-lun-0", exit_code=1)

    def test_has_a_failure_for_each_lun_that_is_not_ready(self):
        self.assert_shows_units("check-condition", exit_code=1)

    def test_has_a_failure_for_each_lun_that_is_busy(self):
        self.assert_shows_units("busy", exit_code=1)

    def test_has_a_failure_for_each_lun_that_answers_too_few_bytes(self):
        self.assert_shows_units("short-answers", exit_code=1)

    def test_is_not_mixed_with_what_the_library_prints(self):
        errors = self.assert_shows("no-capabilities")
        self.assertIn("PCI capabilities are not supported", errors)


if __name__ == "__main__":
    realstack.require_namespaces()
    unittest.main()
