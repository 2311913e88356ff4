"""Prometheus reads the metrics of qzagent without a complaint."""

import shutil
import subprocess
import unittest

import programs
from programs import QZAGENT

PROMTOOL = shutil.which("promtool")

PORT = """
[[adapter]]
name = "example-fc-0"
model = "EX-2200"
[[adapter.port]]
port_wwn = "10:00:00:00:c9:00:00:01"
"""

COUNTERS = """
[adapter.port.statistics]
seconds_since_last_reset = 1
tx_frames = 1
tx_words = 0x7fffffffffffffff
rx_frames = 1
rx_words = 1
lip_count = 1
nos_count = 1
error_frames = 1
dumped_frames = 1
link_failure_count = 1
loss_of_sync_count = 1
loss_of_signal_count = 1
primitive_seq_protocol_err_count = 1
invalid_tx_word_count = 1
invalid_crc_count = 1
"""

TARGET = """
[[adapter.port.remote]]
port_wwn = "50:00:00:00:ab:00:00:01"
luns = 3
"""

HOSTILE = r"""
[[adapter]]
name = "a\"b\\c d{}# \u00e9\\x41"
model = "} 1\"\\"
[[adapter.port]]
port_wwn = "10:00:00:00:c9:00:00:01"
"""

SCENARIOS = {
    "everything": PORT + TARGET + COUNTERS,
    "hostile names": HOSTILE,
    "link down": PORT + 'state = "LINKDOWN"\nspeed = "NOT_NEGOTIATED"\n',
    "no counters": PORT + TARGET,
    "no adapters": "",
    "failures": PORT + '[[fault]]\ncall = "HBA_OpenAdapter"\nnth = "1+"\nstatus = "HBA_STATUS_ERROR"\n',
}


@unittest.skipUnless(PROMTOOL, "promtool is not installed; Debian's package prometheus has it")
class Metrics(unittest.TestCase):
    def check(self, text):
        return subprocess.run([PROMTOOL, "check", "metrics"], input=text, capture_output=True, text=True,
                                       check=False, timeout=120)

    def test_promtool_accepts_the_metrics_of_each_scenario(self):
        for name, scenario in SCENARIOS.items():
            with self.subTest(name):
                result = programs.simulate(scenario, "--", QZAGENT, "metrics", "--latency", "--per-lun")
                self.assertIn("qzagent_look_success", result.stdout)
                check = self.check(result.stdout)
                self.assertEqual((check.stdout + check.stderr, check.returncode), ("", 0))

    def test_promtool_would_complain(self):
        self.assertNotEqual(self.check("qzagent_port_speed_bits{} 1\n").returncode, 0)


if __name__ == "__main__":
    unittest.main(verbosity=2)  # shows why a test is skipped
