"""What is recorded over a real HBA library is replayed without it, with the same output."""

import json
import pathlib
import re
import tempfile
import unittest

import machine
import pcapng
import realstack
from programs import QZAGENT, QZSIM, run

# Its disks are smaller than 2 TiB. The size of a larger one is not from the library: the agent reads it from /sys.
NAME = "statistics"
CHECK = "check-condition"
MACHINES = pathlib.Path(__file__).with_name("machines")


def without_times(value):
    """The document without the time of its making, and without how long commands took."""
    if isinstance(value, dict):
        return {key: without_times(member) for key, member in value.items()
                if key not in ("generated_at", "latency_us", "true_latency_us", "buckets")}
    return [without_times(member) for member in value] if isinstance(value, list) else value


class Recording(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.folder = pathlib.Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.file = self.folder / "host.pcapng"

    def record(self, made, *command):
        return made.run(QZSIM, "record", "--output", self.file, "--", *command)

    def assert_same(self, recorded, replayed):
        self.assertEqual(replayed.returncode, recorded.returncode)
        self.assertEqual(replayed.stderr, recorded.stderr)
        self.assertEqual(without_times(json.loads(replayed.stdout)), without_times(json.loads(recorded.stdout)))

    def test_is_replayed_on_a_host_without_adapters_and_library(self):
        for name in (NAME, CHECK, "busy"):
            for verb in (("inventory", "--luns"), ("ports",), ("statistics",), ("latency", "--count", "2")):
                with self.subTest(machine=name, verb=verb), realstack.made(name) as made:
                    recorded = self.record(made, QZAGENT, *verb, "--json")
                    self.assert_same(recorded, run(QZSIM, "replay", self.file, "--", QZAGENT, *verb, "--json"))
                self.file.unlink()

    def test_gives_a_scenario_with_the_same_inventory_or_says_what_differs(self):
        noted = {}
        for name in sorted(path.stem for path in MACHINES.glob("*.toml")):
            with self.subTest(machine=name), realstack.made(name) as made:
                recorded = self.record(made, QZAGENT, "inventory", "--luns", "--json")
            converted = run(QZSIM, "convert", self.file)
            self.assertEqual(converted.returncode, 0)
            self.file.unlink()
            if converted.stderr:
                noted[name] = re.findall("HBA_[A-Za-z]+ have other answers|sizes of [0-9]+ LUNs", converted.stderr)
                continue
            scenario = self.folder / "host.toml"
            scenario.write_text(converted.stdout, encoding="ascii")
            with self.subTest(machine=name):
                recorded.stderr = recorded.stderr.replace("PCI capabilities are not supported\n", "")  # of libpci
                self.assert_same(recorded, run(QZSIM, "--scenario", scenario, "--", QZAGENT, "inventory", "--luns", "--json"))
        self.assertEqual(noted, {"two-hosts": ["sizes of 150 LUNs"]})  # more than 2 TiB each

    def test_does_not_change_what_the_program_prints(self):
        with realstack.made(NAME) as made:
            plain = made.run(QZAGENT, "inventory", "--luns", "--json")
            self.assert_same(plain, self.record(made, QZAGENT, "inventory", "--luns", "--json"))

    def test_has_the_names_that_the_machine_has(self):
        with realstack.made(NAME) as made:
            self.record(made, QZAGENT, "ports")
        content = self.file.read_bytes()
        for host in machine.load(realstack.text_of(NAME)):
            self.assertIn(bytes.fromhex(host.port_wwn.replace(":", "")), content)

    def test_has_no_name_of_the_machine_with_pseudonyms(self):
        key = self.folder / "key"
        key.write_text("a secret of some length", encoding="ascii")
        key.chmod(0o600)
        with realstack.made(CHECK) as made:
            made.run(QZSIM, "record", "--output", self.file, "--anonymise", key, "--", QZAGENT, "inventory", "--luns")
        content = self.file.read_bytes().lower()
        for host in machine.load(realstack.text_of(CHECK)):
            digits = host.port_wwn.replace(":", "")
            for spelling in (bytes.fromhex(digits), digits.encode(), host.port_wwn.encode()):
                self.assertNotIn(spelling, content)
        replayed = run(QZSIM, "replay", self.file, "--", QZAGENT, "inventory", "--luns", "--json")
        self.assertNotIn("qzsim: ", replayed.stderr)
        self.assertIn('"mapped_luns"', replayed.stdout)

    def test_has_the_reason_why_a_library_does_not_load(self):
        with realstack.made(NAME) as made:
            made.append_configuration("example.missing /nowhere/libmissing.so")
            recorded = self.record(made, QZAGENT, "inventory", "--json")
            self.assert_same(recorded, run(QZSIM, "replay", self.file, "--", QZAGENT, "inventory", "--json"))
        self.assertIn("/nowhere/libmissing.so: cannot open shared object file", recorded.stderr)
        section, = pcapng.sections(self.file.read_bytes())
        self.assertIn(b"/nowhere/libmissing.so: cannot open shared object file",
                      b"".join(packet.data for packet in section.packets))
        self.assertTrue(re.search(rb"example\.missing /nowhere/libmissing\.so", self.file.read_bytes()))


if __name__ == "__main__":
    realstack.require_namespaces()
    unittest.main()
