"""Every verb on a host with 256 adapters, 32 boards and a target with 4,000 LUNs: nothing is left out, within seconds."""

import json
import subprocess
import tempfile
import unittest

from programs import QZAGENT, QZSIM

ADAPTERS, LUNS, BOARDS = 256, 4000, 32
SECONDS = 20


def adapter(index):
    """An adapter with a port and a target. The target of the first adapter has many LUNs."""
    return f"""
[[adapter]]
name = "example-fc-{index}"
lun_style = "{'integer' if index % 2 else 'scsi'}"
[[adapter.port]]
port_wwn = "10:00:00:00:c9:00:{index:02x}:01"
[adapter.port.statistics]
tx_frames = {index}
[[adapter.port.remote]]
port_wwn = "50:00:00:00:ab:00:{index:02x}:01"
luns = {LUNS if index == 0 else 2}
"""


def board(index):
    wwn = f"00:00:00:c9:00:{index:02x}:01"
    return f'[[diagnostics.board]]\nfirst_wwn = "20:{wwn}"\nsecond_wwn = "10:{wwn}"\n'


EVENT = "[[diagnostics.event]]\nboard = {}\ncategory = 1\nsubcategory = 1\n"
SCENARIO = "".join(map(adapter, range(ADAPTERS))) + "[diagnostics]\n" + "".join(map(board, range(BOARDS))) + \
    "".join(map(EVENT.format, range(BOARDS)))
LUNS_OF_TARGETS = [list(range(LUNS if index == 0 else 2)) for index in range(ADAPTERS)]
PORTS = [f"10:00:00:00:c9:00:{index:02x}:01" for index in range(ADAPTERS)]


class Scale(unittest.TestCase):
    def run_verb(self, *arguments):
        with tempfile.NamedTemporaryFile("w", suffix=".toml") as file:
            file.write(SCENARIO)
            file.flush()
            result = subprocess.run([QZSIM, "--scenario", file.name, "--", QZAGENT, *arguments], capture_output=True,
                                    text=True, check=False, timeout=SECONDS)
        self.assertEqual(result.returncode, 0, result.stderr[-300:])
        return result

    def document(self, *arguments):
        return json.loads(self.run_verb(*arguments, "--json").stdout)

    def remote_ports(self, *arguments):
        return [adapter["ports"][0]["remote_ports"][0] for adapter in self.document(*arguments)["adapters"]]

    def test_adapters_lists_all_adapters(self):
        self.assertEqual(len(self.document("adapters")["adapters"]), ADAPTERS)
        self.assertEqual(len(self.run_verb("adapters").stdout.splitlines()), 1 + ADAPTERS)

    def test_ports_counts_the_luns_of_all_adapters(self):
        ports = [adapter["ports"][0] for adapter in self.document("ports")["adapters"]]
        self.assertEqual([port["number_of_luns"] for port in ports], list(map(len, LUNS_OF_TARGETS)))
        self.assertEqual([line.split()[-1] for line in self.run_verb("ports").stdout.splitlines()[1:]],
                         [str(len(luns)) for luns in LUNS_OF_TARGETS])

    def test_inventory_has_each_lun_with_its_device(self):
        remote_ports = self.remote_ports("inventory")
        self.assertEqual([port["mapped_luns"] for port in remote_ports], LUNS_OF_TARGETS)
        self.assertEqual([port["reported_luns"] for port in remote_ports], LUNS_OF_TARGETS)
        devices = {lun["os_device"] for port in remote_ports for lun in port["luns"]}
        self.assertEqual(len(devices), sum(map(len, LUNS_OF_TARGETS)))

    def test_inventory_shows_the_devices_of_all_luns_in_a_range(self):
        text = self.run_verb("inventory").stdout
        device = "/dev/disk/by-path/fc-0x50000000ab000001-lun-"
        self.assertRegex(text, rf"os devices +0-{LUNS - 1}: {device}0 to\n[^/]*{device}{LUNS - 1}\n")
        self.assertEqual(text.count("os devices "), ADAPTERS)

    def test_inventory_of_the_luns_has_the_product_of_each(self):
        products = [lun["product"] for port in self.remote_ports("inventory", "--luns") for lun in port["luns"]]
        self.assertEqual(products, ["SIMULATED DISK"] * sum(map(len, LUNS_OF_TARGETS)))
        text = self.run_verb("inventory", "--luns").stdout
        self.assertEqual(text.count("SIMULATED DISK 1.0"), len(products))

    def test_statistics_has_the_counters_of_all_ports(self):
        ports = [adapter["ports"][0] for adapter in self.document("statistics")["adapters"]]
        self.assertEqual([(port["port_wwn"], port["counters"]["tx_frames"]) for port in ports],
                         list(zip(PORTS, range(ADAPTERS))))

    def test_latency_measures_the_targets_of_all_adapters(self):
        document = self.document("latency", "--count", "2")
        self.assertEqual([adapter["target_ports"][0]["latencies"]["io_count"] for adapter in document["adapters"]],
                         [2] * ADAPTERS)

    def test_metrics_have_all_ports(self):
        metrics = self.run_verb("metrics").stdout
        self.assertEqual(metrics.count("\nqzagent_port_info{"), ADAPTERS)
        self.assertEqual(metrics.count("\nqzagent_port_transmitted_frames_total{"), ADAPTERS)

    def test_vendor_shows_all_boards(self):
        self.assertEqual(len(self.document("vendor")["boards"]), BOARDS)

    def test_watch_shows_an_event_of_each_board(self):
        lines = self.run_verb("watch", "--seconds", "5", "--count", str(BOARDS), "--json").stdout.splitlines()
        self.assertEqual(sorted(event["board"] for event in map(json.loads, lines) if "board" in event),
                         list(range(BOARDS)))


if __name__ == "__main__":
    unittest.main()
