"""The agent shows what changed between two looks at a made machine, one line for each change of its text."""

import pathlib
import re
import tempfile
import unittest

import realstack
from programs import QZAGENT

OLD = realstack.text_of("two-hosts").read_text(encoding="ascii")

# Host 7 keeps its link at a lower speed.
SLOWER = ('fc_id = 0x010700\nspeed = "10 Gbit"', 'fc_id = 0x010700\nspeed = "1 Gbit"')

# The last target of host 7 loses its last LUN.
WITHOUT_LUN = ('luns = "0, 2, 7"', 'luns = "0, 2"')

# Linux gives up the remote ports behind the link of host 8, and removes their devices.
LINK_DOWN = [
    ('fabric_wwn = "10:00:02:00:00:00:ff:01"\nfc_id = 0x010800\nspeed = "10 Gbit"',
     'fabric_wwn = "00:00:00:00:00:00:00:00"\nfc_id = 0\nstate = "Linkdown"\nspeed = "Unknown"'),
    ('scsi_target = 0\nluns = "0-31"\nsize_mib = 10240\n', 'state = "Not Present"\nroles = "unknown"\n'),
    ('roles = "FCP Initiator"\n', 'state = "Not Present"\nroles = "unknown"\n'),
]


def changed(changes):
    text = OLD
    for old, new in changes:
        if text.count(old) != 1:
            raise AssertionError(f"{old!r} is not in the text once")
        text = text.replace(old, new)
    return text


class Diff(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def look(self, name, text):
        """The path of a look at the machine of the text."""
        machine = self.folder / f"{name}.toml"
        machine.write_text(text, encoding="ascii")
        with realstack.made_of(machine) as made:
            result = made.run(QZAGENT, "inventory", "--json")
        self.assertEqual(result.returncode, 0, result.stderr)
        path = self.folder / f"{name}.json"
        path.write_text(result.stdout, encoding="ascii")
        return path

    def diff(self, changes):
        old = self.look("old", OLD)
        new = self.look("new", changed(changes))
        with realstack.made("no-remote-ports") as made:
            result = made.run(QZAGENT, "diff", old, new)
        self.assertEqual(result.stderr, "")
        return result

    def test_two_looks_at_the_same_machine_are_the_same(self):
        result = self.diff([])
        self.assertEqual((result.stdout, result.returncode), ("", 0))

    def test_a_link_a_lun_and_a_speed_are_three_lines(self):
        result = self.diff([SLOWER, WITHOUT_LUN, *LINK_DOWN])
        # The number in the name of an adapter depends on the order in which the HBA library finds the hosts.
        lines = sorted(re.sub(r"(fcoe:eth\d)-\d", r"\1", line) for line in result.stdout.splitlines())
        self.assertEqual(lines, [
            "- LUN 7 of target 50:00:02:00:00:00:03:00 behind port 20:00:02:00:00:00:00:07 gone (/dev/sdmo)",
            "~ port 20:00:02:00:00:00:00:07 of adapter fcoe:eth4: speed 10GBIT -> 1GBIT",
            "~ port 20:00:02:00:00:00:00:08 of adapter fcoe:eth5: fabric name 10:00:02:00:00:00:ff:01 -> absent, "
            "fc id 0x010800 -> absent, speed 10GBIT -> absent, state ONLINE -> LINKDOWN; 2 remote ports and 32 LUNs "
            "gone; paths to 50:00:02:00:00:00:01:00 2 -> 1",
        ])
        self.assertEqual(result.returncode, 1)


if __name__ == "__main__":
    realstack.require_namespaces()
    unittest.main()
