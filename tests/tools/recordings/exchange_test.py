"""Captures that an agent of one byte order recorded, read and continued by the agent of the other one.

QZ_HOST and QZ_TARGET are folders with the programs qzagent and qzsim of this machine and of the target machine.
"""

import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "support"))
sys.dont_write_bytecode = True

import pcapng  # pylint: disable=wrong-import-position

HOST, TARGET = (pathlib.Path(os.environ[name]) for name in ("QZ_HOST", "QZ_TARGET"))
EVENTS = 50
SCENARIO = f"""[diagnostics]
[[diagnostics.board]]
first_wwn = "20:00:00:00:c9:00:00:00"
second_wwn = "10:00:00:00:c9:00:00:01"
[[diagnostics.event]]
board = 0
category = 3
subcategory = 7
size = 8
rate = 10000
count = {EVENTS}
"""


def run(*command):
    result = subprocess.run(command, capture_output=True, text=True, check=False, timeout=120)
    assert result.returncode == 0, result.stderr
    return result.stdout


class Exchange(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.scenario = pathlib.Path(folder.name, "scenario.toml")
        self.scenario.write_text(SCENARIO, encoding="ascii")
        self.capture = pathlib.Path(folder.name, "events.pcapng")

    def record(self, machine):
        run(machine / "qzsim", "--scenario", self.scenario, "--", machine / "qzagent", "watch", "--count", str(EVENTS),
            "--output", self.capture)

    def check(self, byte_orders):
        """Checks that all programs read all events of sections with these byte orders."""
        packets = EVENTS * len(byte_orders)
        blocks = pcapng.blocks(self.capture.read_bytes())
        self.assertEqual([order for order, kind, _ in blocks if kind == pcapng.SECTION], byte_orders)
        for arguments in (), ("--json",), ("--summary",):
            shown = [run(machine / "qzagent", "show", *arguments, self.capture) for machine in (HOST, TARGET)]
            self.assertEqual(*shown)
        events = [json.loads(line) for line in run(HOST / "qzagent", "show", "--json", self.capture).splitlines()]
        self.assertEqual([int(event["payload"][:8], 16) for event in events],
                         list(range(EVENTS)) * len(byte_orders))
        self.assertEqual({event["board"] for event in events}, {0})
        if shutil.which("tshark") and shutil.which("capinfos"):
            numbers = run("tshark", "-r", self.capture, "-T", "fields", "-e", "frame.number")
            self.assertEqual(len(numbers.splitlines()), packets)
            self.assertIn(f"Number of packets:   {packets}\n", run("capinfos", self.capture))

    def test_the_host_reads_and_continues_a_capture_of_the_target(self):
        self.record(TARGET)
        self.check([pcapng.BIG])
        self.record(HOST)
        self.check([pcapng.BIG, pcapng.LITTLE])

    def test_the_target_reads_and_continues_a_capture_of_the_host(self):
        self.record(HOST)
        self.check([pcapng.LITTLE])
        self.record(TARGET)
        self.check([pcapng.LITTLE, pcapng.BIG])


if __name__ == "__main__":
    unittest.main()
