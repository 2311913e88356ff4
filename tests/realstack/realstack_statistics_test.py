"""The agent shows on a real HBA library what the made machine counts."""

import json
import os
import re
import unittest

import machine
import realstack
from programs import QZAGENT

# The names in the JSON of counters that Linux names differently.
LINUX_NAMES = {"prim_seq_protocol_err_count": "primitive_seq_protocol_err_count"}

NAME = "statistics"


def expected_counters(host):
    return {LINUX_NAMES.get(name, name): count for name, count in host.statistics.items()}


def ports_of(document):
    """From the name of each port to the port."""
    return {port["port_wwn"]: port for adapter in document["adapters"] for port in adapter["ports"]}


class Statistics(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.machine = self.enterContext(realstack.made(NAME))
        self.hosts = machine.load(realstack.text_of(NAME))

    def write_count(self, host, name, count):
        """Linux writes such a file whole, so a reader must never see a part of it."""
        folder = self.machine.sys / "class" / "fc_host" / host.name / "statistics"
        (folder / "new").write_text(f"{count:#x}\n", encoding="ascii")
        os.replace(folder / "new", folder / name)

    def intervals(self, change):
        """The lines of two intervals, between which the machine changes."""
        with self.machine.start(QZAGENT, "statistics", "--json", "--interval", "1", "--count", "2") as agent:
            first = json.loads(agent.stdout.readline())
            change()
            second = json.loads(agent.stdout.readline())
            self.assertEqual(agent.wait(timeout=30), 0)
        return first, second

    def test_has_the_counters_that_each_port_offers(self):
        result = self.machine.run(QZAGENT, "statistics", "--json")
        self.assertEqual(result.returncode, 0, result.stderr)
        found = {name: port["counters"] for name, port in ports_of(json.loads(result.stdout)).items()}
        self.assertEqual(found, {host.port_wwn: expected_counters(host) for host in self.hosts})

    def test_agrees_with_fcoeadm(self):
        host = self.hosts[0]
        # It prints a line each second until it is stopped, and its output is buffered.
        result = self.machine.run("stdbuf", "-oL", "timeout", "1.5", "fcoeadm", "-s", host.interface, "1")
        shown = re.search(r"^\d+ +(\d+) +(\d+) +(\d+) +(\d+) +(\d+) +(\d+) +\d+ +(\d+) ", result.stdout, re.M)
        self.assertIsNotNone(shown, result.stdout + result.stderr)
        document = json.loads(self.machine.run(QZAGENT, "statistics", "--json").stdout)
        counters = ports_of(document)[host.port_wwn]["counters"]
        self.assertEqual(
            [counters["tx_frames"], 4 * counters["tx_words"], counters["rx_frames"], 4 * counters["rx_words"],
             counters["error_frames"], counters["invalid_crc_count"], counters["link_failure_count"]],
            [int(number) for number in shown.groups()])

    def test_shows_a_counter_that_grows_between_two_looks(self):
        host = self.hosts[0]
        first, second = self.intervals(
            lambda: self.write_count(host, "link_failure_count", host.statistics["link_failure_count"] + 3))
        self.assertEqual(ports_of(first)[host.port_wwn]["differences"]["link_failure_count"], 0)
        self.assertEqual(ports_of(second)[host.port_wwn]["differences"]["link_failure_count"], 3)

    def test_shows_a_counter_that_goes_back_as_a_reset(self):
        host = self.hosts[0]
        first, second = self.intervals(lambda: self.write_count(host, "link_failure_count", 0))
        self.assertNotIn("reset", ports_of(first)[host.port_wwn])
        port = ports_of(second)[host.port_wwn]
        self.assertTrue(port["reset"])
        self.assertNotIn("link_failure_count", port["differences"])
        self.assertEqual(port["differences"]["tx_frames"], 0)

    def test_names_a_port_whose_name_changes_although_the_library_keeps_what_it_has_read(self):
        host = self.hosts[0]
        name = "20:00:02:00:00:00:00:99"
        file = self.machine.sys / "class" / "fc_host" / host.name / "port_name"
        _, second = self.intervals(lambda: file.write_text("0x" + name.replace(":", "") + "\n", encoding="ascii"))
        self.assertEqual((second["new_ports"], second["gone_ports"]), ([name], [host.port_wwn]))


if __name__ == "__main__":
    realstack.require_namespaces()
    unittest.main()
