"""The files of qzagent bundle, as Wireshark's tools read them, in both byte orders."""

import json
import pathlib
import shutil
import subprocess
import tempfile
import unittest

import pcapng
from programs import QZAGENT, QZSIM

SCENARIO = """
[[adapter]]
name = "example-fc-0"
[[adapter.port]]
port_wwn = "10:00:00:00:c9:00:00:11"
[adapter.port.statistics]
tx_frames = 5
[diagnostics]
[[diagnostics.board]]
first_wwn = "20:00:00:00:c9:00:00:10"
second_wwn = "10:00:00:00:c9:00:00:11"
[[diagnostics.event]]
board = 0
category = 3
subcategory = 7
size = 8
count = 20
rate = 1000
"""
NAMES = ["vendor", "ports", "inventory", "statistics-start", "latency", "watch", "statistics-end"]
DOCUMENT = 149  # link type USER2


class Bundles(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        folder = pathlib.Path(cls.folder.name)
        scenario = folder / "host.toml"
        scenario.write_text(SCENARIO, encoding="ascii")
        written = folder / "bundle"
        subprocess.run([QZSIM, "--scenario", scenario, "--", QZAGENT, "bundle", "--seconds", "1", "--output", written],
                       check=True, capture_output=True, timeout=120)
        cls.section, = pcapng.sections(written.read_bytes())
        cls.paths = [written]
        for name, order in (("little", pcapng.LITTLE), ("big", pcapng.BIG)):
            cls.paths.append(folder / name)
            cls.paths[-1].write_bytes(pcapng.rewritten(cls.section, order))

    def test_documents_are_packets_without_numbers_of_named_interfaces(self):
        documents = [each for each in self.section.interfaces if each.link_type == DOCUMENT]
        self.assertEqual([each.name for each in documents], NAMES)
        for each in documents:
            packet, = each.packets
            self.assertIsNone(packet.id)
            self.assertIn("format_version", json.loads(packet.data))
        events, = [each for each in self.section.interfaces if each.link_type == pcapng.SCOPE_DATA]
        self.assertEqual([packet.id for packet in events.packets], list(range(1, 21)))

    def test_the_agent_shows_both_byte_orders(self):
        for path in self.paths:
            with self.subTest(path.name):
                summary = subprocess.run([QZAGENT, "show", "--summary", "--json", path], check=True,
                                         capture_output=True, timeout=60)
                found = json.loads(summary.stdout)
                self.assertEqual([each["name"] for each in found["documents"]], NAMES)
                self.assertEqual(found["events"], 20)
                document = subprocess.run([QZAGENT, "show", "--document", "ports", path], check=True,
                                          capture_output=True, timeout=60)
                self.assertEqual(document.stdout, self.section.interfaces[1].packets[0].data)

    @unittest.skipUnless(shutil.which("tshark") and shutil.which("capinfos"), "tshark is not installed")
    def test_tshark_and_capinfos_read_both_byte_orders(self):
        for path in self.paths:
            with self.subTest(path.name):
                fields = subprocess.run(["tshark", "-r", path, "-T", "fields", "-e", "frame.interface_name", "-e",
                                         "frame.len"], capture_output=True, text=True, check=True, timeout=60)
                lines = [line.split("\t") for line in fields.stdout.splitlines()]
                self.assertEqual([(name, int(size)) for name, size in lines],
                                 [(self.section.interfaces[each.interface].name, len(each.data))
                                  for each in self.section.packets])
                infos = subprocess.run(["capinfos", path], capture_output=True, text=True, check=True, timeout=60)
                self.assertRegex(infos.stdout, r"Number of packets:\s+27\n")
                self.assertRegex(infos.stdout, r"Number of interfaces in file:\s+8\n")


class LargeDocuments(unittest.TestCase):
    def test_other_tools_read_the_packets_of_a_large_document(self):
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            remote = ('[[adapter.port.remote]]\nport_wwn = "50:00:00:00:ab:01:{0:02x}:{1:02x}"\n'
                      'node_wwn = "50:00:00:00:ab:02:{0:02x}:{1:02x}"\n')
            before, after = SCENARIO.split("[diagnostics]")
            (folder / "host.toml").write_text(before + "".join(remote.format(*divmod(i, 256)) for i in range(6000)) +
                                              "[diagnostics]" + after, encoding="ascii")
            written = folder / "bundle"
            subprocess.run([QZSIM, "--scenario", folder / "host.toml", "--", QZAGENT, "bundle", "--seconds", "0",
                            "--output", written], check=True, capture_output=True, timeout=120)
            section, = pcapng.sections(written.read_bytes())
            pieces = [packet.data for packet in section.interfaces[NAMES.index("inventory")].packets]
            self.assertEqual({len(piece) for piece in pieces[:-1]}, {262144})
            self.assertLess(len(pieces[-1]), 262144)
            document = b"".join(pieces)
            self.assertGreater(len(document), 1000000)
            shown = subprocess.run([QZAGENT, "show", "--document", "inventory", written], check=True,
                                   capture_output=True, timeout=60)
            self.assertTrue(shown.stdout == document, "the joined packets differ from the document")
            if shutil.which("tshark") and shutil.which("capinfos"):
                for command in (["tshark", "-r"], ["capinfos"]):
                    subprocess.run([*command, written], check=True, capture_output=True, timeout=60)


if __name__ == "__main__":
    unittest.main()
