"""The systemd units are valid, and qzagent accepts their commands."""

import pathlib
import re
import shlex
import shutil
import subprocess
import tempfile
import unittest

import programs
from programs import QZAGENT, QZSIM

ROOT = pathlib.Path(__file__).resolve().parents[3]
UNITS = sorted((ROOT / "share" / "systemd").iterdir())
BOARDS = ROOT / "simulator" / "scenarios" / "diagnostic-events.toml"
ANALYZE = shutil.which("systemd-analyze")


def command_of(unit):
    return re.search(r"^ExecStart=(.*)$", (ROOT / "share" / "systemd" / unit).read_text("utf-8"), re.M)[1]


class Commands(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def run_command(self, unit, *others):
        """Runs the command of a unit. Its files are in the folder of the test."""
        words = shlex.split(re.sub(r"/var/lib/[a-z/-]*/", f"{self.folder}/", command_of(unit)))
        self.assertEqual(words[0], "qzagent")
        result = programs.run(QZSIM, "--scenario", str(BOARDS), "--", QZAGENT, *words[1:], *others)
        self.assertEqual(result.returncode, 0, result.stderr)

    def test_the_metrics_service_writes_metrics(self):
        self.run_command("qzagent-metrics.service")
        self.assertIn("qzagent_look_success", (self.folder / "qzagent.prom").read_text("ascii"))

    def test_the_watch_service_records_events(self):
        self.run_command("qzagent-watch.service", "--count", "1")
        self.assertEqual([path.name for path in self.folder.iterdir()], ["events-00001.pcapng"])


@unittest.skipUnless(ANALYZE, "systemd-analyze is not installed; Debian's package systemd has it")
class Units(unittest.TestCase):
    def verify(self, replacement):
        """Verifies the units with another command, because qzagent is not installed."""
        with tempfile.TemporaryDirectory() as folder:
            paths = [pathlib.Path(folder, unit.name) for unit in UNITS]
            for unit, path in zip(UNITS, paths):
                path.write_text(unit.read_text("utf-8").replace("ExecStart=qzagent", "ExecStart=" + replacement),
                                "utf-8")
            return subprocess.run([ANALYZE, "verify", "--man=no", *map(str, paths)], capture_output=True, text=True,
                                  check=False, timeout=120)

    def test_systemd_accepts_the_units(self):
        result = self.verify(shutil.which("true"))
        self.assertEqual((result.stdout + result.stderr, result.returncode), ("", 0))

    def test_systemd_would_refuse_a_missing_program(self):
        self.assertNotEqual(self.verify("/missing/qzagent").returncode, 0)


if __name__ == "__main__":
    unittest.main(verbosity=2)  # shows why a test is skipped
