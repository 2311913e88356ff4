"""Verbs that the other tests of a made machine do not run, and devices that are missing or may not be opened."""

import json
import re
import tempfile
import unittest

import machine
import realstack
from programs import QZAGENT

NAME = "two-hosts"
FORBIDDEN = "errno EACCES (13), Permission denied"
MISSING = "errno ENOENT (2), No such file or directory"

# libhbalinux has no other answer to an INQUIRY that it cannot send. It only prints the reason.
FAILED_INQUIRY = ("HBA_SendScsiInquiry", 1, "HBA_STATUS_ERROR (1)")


def errors_in(result):
    return [message for message in json.loads(result.stdout)["messages"] if message["severity"] == "error"]


def cause_of(failure):
    """The status of a failure and its text, without the number of the call."""
    cause = failure["cause"]
    return cause["function"], cause["status"], cause["text"].partition(" in call ")[0]


def units_of(result):
    """From each device to its unit in the inventory."""
    return {lun["os_device"]: lun for adapter in json.loads(result.stdout)["adapters"]
            for port in adapter["ports"][0]["remote_ports"] for lun in port.get("luns", [])}


class Verbs(unittest.TestCase):
    maxDiff = None

    def test_latency_measures_each_target_of_each_host(self):
        with realstack.made(NAME) as made:
            result = made.run(QZAGENT, "latency", "--count", "3", "--json")
        self.assertEqual(result.returncode, 0, result.stderr)
        found = sorted((port["port_wwn"], port["latencies"]["io_count"],
                        port["latencies"]["record"]["average_io_size_bytes"])
                       for adapter in json.loads(result.stdout)["adapters"] for port in adapter["target_ports"])
        expected = sorted((port.port_wwn, 3, 8 + 8 * len(port.reported))
                          for host in machine.load(realstack.text_of(NAME)) for port in host.remote_ports if port.units)
        self.assertEqual(found, expected)

    def test_latency_measures_each_target_in_each_interval(self):
        with realstack.made(NAME) as made:
            result = made.run(QZAGENT, "latency", "--interval", "3600", "--count", "2", "--json")
        self.assertEqual(result.returncode, 0, result.stderr)
        [interval] = map(json.loads, result.stdout.splitlines())
        self.assertEqual(sorted((port["port_wwn"], port["io_count"]) for port in interval["target_ports"]),
                         sorted((port.port_wwn, 2) for host in machine.load(realstack.text_of(NAME))
                                for port in host.remote_ports if port.units))

    def test_check_finds_the_link_that_is_down(self):
        down = machine.load(realstack.text_of("link-down"))[0]
        with realstack.made("link-down") as made:
            result = made.run(QZAGENT, "check", "--seconds", "1", "--json")
        self.assertEqual(result.returncode, 1, result.stderr)
        [finding] = json.loads(result.stdout)["findings"]
        self.assertEqual((finding["rule"], finding["severity"]), ("link-down", "error"))
        self.assertIn(down.port_wwn, json.dumps(finding))

    def test_bundle_has_the_documents_of_the_verbs(self):
        names = ["vendor", "ports", "inventory", "statistics-start", "latency", "statistics-end"]
        with realstack.made(NAME) as made, tempfile.TemporaryDirectory() as folder:
            path = f"{folder}/visit.pcapng"
            bundle = made.run(QZAGENT, "bundle", "--output", path, "--json")
            shown = made.run(QZAGENT, "show", "--document", "inventory", path)
            inventory = made.run(QZAGENT, "inventory", "--luns", "--json")
        self.assertEqual(bundle.returncode, 0, bundle.stderr)
        self.assertEqual([document["name"] for document in json.loads(bundle.stdout)["documents"]], names)
        self.assertEqual(json.loads(shown.stdout)["adapters"], json.loads(inventory.stdout)["adapters"])

    def test_latency_leaves_out_a_target_whose_device_may_not_be_opened(self):
        target = machine.load(realstack.text_of(NAME))[0].remote_ports[1]
        with realstack.made(NAME) as made:
            (made.sg / target.first_unit.sg).chmod(0)
            result = made.run(QZAGENT, "latency", "--count", "3", "--json")
        self.assertEqual(result.returncode, 1, result.stderr)
        [error] = errors_in(result)
        self.assertEqual(error["remote_port"], target.port_wwn)
        self.assertEqual(cause_of(error), ("HBA_SendReportLUNs", 13, FORBIDDEN))

    def assert_names_the_missing_library(self, *arguments):
        with realstack.made("no-remote-ports") as made:
            result = made.run(QZAGENT, *arguments)
        self.assertEqual((result.returncode, result.stdout), (1, ""))
        self.assertEqual(result.stderr, "qzagent: note: /usr/lib/libvqm.so is missing\n"
                                        "qzagent: QZCNotFoundEx: No libvqm located (code 8)\n")

    def test_vendor_names_the_diagnostic_library_that_is_missing(self):
        self.assert_names_the_missing_library("vendor")

    def test_watch_names_the_diagnostic_library_that_is_missing(self):
        self.assert_names_the_missing_library("watch", "--seconds", "1")


class Devices(unittest.TestCase):
    maxDiff = None

    def test_that_may_not_be_opened_are_failures_of_every_command(self):
        """Where the agent runs without permission, no device may be opened."""
        with realstack.made("high-luns") as made:
            for device in made.sg.iterdir():
                device.chmod(0)
            result = made.run(QZAGENT, "inventory", "--luns", "--json")
            text = made.run(QZAGENT, "inventory")
        self.assertEqual(result.returncode, 1)
        self.assertEqual({cause_of(error) for error in errors_in(result)},
                         {("HBA_SendReportLUNs", 13, FORBIDDEN), FAILED_INQUIRY,
                          ("HBA_SendReadCapacity", 13, FORBIDDEN)})
        self.assertEqual(text.returncode, 1)
        self.assertIn(f": {FORBIDDEN} in call ", text.stderr)
        self.assertRegex(text.stdout, f"cause +{re.escape(FORBIDDEN)} in call ")
        self.assertNotIn("ELS_REJECT", text.stdout + text.stderr)

    def test_that_are_all_missing_may_be_the_reason_why_a_command_fails(self):
        with realstack.made("high-luns") as made:
            for device in list(made.sg.iterdir()):
                device.unlink()
            for arguments in (("inventory",), ("latency", "--count", "1")):
                result = made.run(QZAGENT, *arguments, "--json")
                self.assertEqual(result.returncode, 1)
                self.assertEqual({cause_of(error) for error in errors_in(result)},
                                 {("HBA_SendReportLUNs", 2, "HBA_STATUS_ERROR_NOT_SUPPORTED (2), or errno ENOENT,")})

    def assert_only_fails(self, missing):
        """Both commands fail for the unit whose device is missing, and all other units answer."""
        with realstack.made(NAME) as made:
            (made.sg / missing.sg).unlink()
            result = made.run(QZAGENT, "inventory", "--luns", "--json")
        self.assertEqual(result.returncode, 1, result.stderr)
        self.assertEqual([cause_of(error) for error in errors_in(result) if "lun" in error],
                         [FAILED_INQUIRY, ("HBA_SendReadCapacity", 2, MISSING)])
        self.assertNotIn("does not support", result.stderr)
        units = units_of(result)
        failed = units.pop(f"/dev/{missing.disk}")
        self.assertEqual(len(failed["failures"]), 2)
        self.assertTrue(all("capacity_bytes" in unit and "product" in unit and "failures" not in unit
                            for unit in units.values()))

    def test_that_are_missing_are_failures_of_their_units(self):
        ports = machine.load(realstack.text_of(NAME))[0].remote_ports
        for missing in (ports[0].units[0], ports[1].units[1]):
            with self.subTest(device=missing.sg):
                self.assert_only_fails(missing)

    def test_that_are_all_missing_are_noted_once(self):
        with realstack.made("high-luns") as made:
            for device in made.sg.iterdir():
                device.unlink()
            result = made.run(QZAGENT, "inventory", "--luns", "--json")
        notes = [message["text"].partition(": ")[2] for message in json.loads(result.stdout)["messages"]
                 if message["severity"] == "note"]
        self.assertEqual(notes, ["READ CAPACITY failed with status 2: the HBA library does not support the command, or a "
                                 "device file is missing (errno ENOENT)"])
        self.assertTrue(all(list(map(cause_of, unit["failures"])) == [FAILED_INQUIRY]
                            for unit in units_of(result).values()))


if __name__ == "__main__":
    realstack.require_namespaces()
    unittest.main()
