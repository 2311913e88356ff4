"""qzsim-scenario(5) agrees with what the scenario reader accepts and refuses."""

import pathlib
import re
import unittest

import man_page
import programs
from programs import QZAGENT

ROOT = pathlib.Path(__file__).resolve().parents[3]
TABLES = man_page.ManPage(ROOT / "docs" / "man" / "qzsim-scenario.5").subsections("DESCRIPTION")

# The tables that must precede a table.
LEADING = {
    "The scenario": [],
    "[[adapter]]": [],
    "[[adapter.port]]": ["[[adapter]]"],
    "[adapter.port.statistics]": ["[[adapter]]", "[[adapter.port]]"],
    "[adapter.port.statistics_per_second]": ["[[adapter]]", "[[adapter.port]]"],
    "[adapter.port.fc4_statistics]": ["[[adapter]]", "[[adapter.port]]"],
    "[adapter.port.fc4_statistics_per_second]": ["[[adapter]]", "[[adapter.port]]"],
    "[[adapter.port.remote]]": ["[[adapter]]", "[[adapter.port]]"],
    "[[adapter.port.remote.lun]]": ["[[adapter]]", "[[adapter.port]]", "[[adapter.port.remote]]"],
    "[adapter.port.remote.lun.fcp_statistics]": [
        "[[adapter]]", "[[adapter.port]]", "[[adapter.port.remote]]", "[[adapter.port.remote.lun]]"],
    "[adapter.port.remote.lun.fcp_statistics_per_second]": [
        "[[adapter]]", "[[adapter.port]]", "[[adapter.port.remote]]", "[[adapter.port.remote.lun]]"],
    "[[adapter.event]]": ["[[adapter]]"],
    "[diagnostics]": [],
    "[[diagnostics.board]]": [],
    "[[diagnostics.event]]": ["[[diagnostics.board]]"],
    "[[fault]]": [],
    "[[timeline]]": [],
}

# Valid values of all required keys.
SAMPLES = {
    "name": '"a"',
    "port_wwn": '"10:00:00:00:c9:00:00:01"',
    "first_wwn": '"20:00:00:00:c9:00:00:01"',
    "second_wwn": '"10:00:00:00:c9:00:00:01"',
    "board": "0",
    "lun": "0",
    "type": '"ADAPTER_CHANGE"',
    "category": "0",
    "subcategory": "0",
    "call": '"HBA_OpenAdapter"',
    "nth": "1",
    "status": "1",
    "at_ms": "1",
    "set": "{ number_of_adapters = 1 }",
}

HIGHEST_NUMBER = 4294967295

# Maps the name of a default on the page to its value and a different value.
DEFAULTS = {
    "empty": ('""', '"x"'),
    "no bytes": ('""', '"ff"'),
    "all zero": ('"00:00:00:00:00:00:00:00"', '"20:00:00:00:c9:00:00:42"'),
    "that of the adapter": ('"00:00:00:00:00:00:00:00"', '"20:00:00:00:c9:00:00:42"'),
    "the second name of the board": (SAMPLES["second_wwn"], '"20:00:00:00:c9:00:00:42"'),
    "the number of adapters": ("0", "7"),
    "the number of ports": ("1", "7"),
    "the number of remote ports": ("0", "7"),
    "the number of boards": ("1", "7"),
    "0": ("0", "7"),
    "1": ("1", "7"),
    "4": ("4", "0"),
    "512": ("512", "7"),
    "1000": ("1000", "7"),
    "2112": ("2112", "7"),
    "0x100": ("0x100", "7"),
    "0x200000": ("0x200000", "7"),
    '"1.0.0"': ('"1.0.0"', '"2"'),
    '"1.0"': ('"1.0"', '"2"'),
    '"EXAMPLE"': ('"EXAMPLE"', '"x"'),
    '"SIMULATED DISK"': ('"SIMULATED DISK"', '"x"'),
    "8, class 3": ("8", "7"),
    "[8], FCP": ("[8]", "[7]"),
    "[]": ("[]", '["1GBIT"]'),
    "NPORT": ('"NPORT"', '"OTHER"'),
    "ONLINE": ('"ONLINE"', '"OFFLINE"'),
    "UNKNOWN": ('"UNKNOWN"', '"1GBIT"'),
    "not offered": ('"not offered"', "7"),
    "true": ("true", "false"),
    "target": ('"target"', '"initiator"'),
    "present": ('"present"', '"absent"'),
    "no functions": ("[]", '["VQM_GetLibVer"]'),
}

# Tables without which the program does not query the table under test.
FOLLOWING = {
    "[[adapter]]": f"[[adapter.port]]\nport_wwn = {SAMPLES['port_wwn']}\n",
    "[diagnostics]": f"[[diagnostics.board]]\n"
                     f"first_wwn = {SAMPLES['first_wwn']}\nsecond_wwn = {SAMPLES['second_wwn']}\n",
}


# Keys of which the table needs one.
ALTERNATIVES = {"[[fault]]": ["status"], "[[timeline]]": ["at_ms", "set"]}


def required_keys(table):
    keys = [key for key, text in man_page.terms(TABLES[table]) if "Required." in text]
    return keys + ALTERNATIVES.get(table, [])


def scenario(table, values):
    """A scenario whose last table has the values. The other tables have their required keys."""
    text = ""
    for title in [*LEADING[table], table]:
        entries = values if title == table else {key: SAMPLES[key] for key in required_keys(title)}
        text += (title + "\n") * (title != "The scenario")
        text += "".join(f"{key} = {value}\n" for key, value in entries.items())
    return text


class PageOfTheScenario(unittest.TestCase):
    def complaint(self, table, values):
        """The complaint about the scenario; empty if it is valid."""
        result = programs.simulate(scenario(table, values), "--check")
        self.assertEqual(result.returncode, 2 if result.stderr else 0)
        return result.stderr

    def good_values(self, table):
        return {key: SAMPLES[key] for key in required_keys(table)}

    def assert_takes(self, table, key, value):
        self.assertEqual(self.complaint(table, {**self.good_values(table), key: value}), "")

    def assert_refuses(self, table, key, value):
        self.assertIn(": expected ", self.complaint(table, {**self.good_values(table), key: value}))

    def check_each_key(self, pattern, check):
        """Calls check for each key whose description matches, with table, key and match."""
        for table, lines in TABLES.items():
            for key, text in man_page.terms(lines):
                found = re.match(pattern, text)
                if found:
                    with self.subTest(table=table, key=key):
                        check(table, key, found)

    def test_the_page_has_all_tables(self):
        self.assertEqual(list(TABLES), list(LEADING))

    def test_the_page_has_the_keys_of_each_table(self):
        for table, lines in TABLES.items():
            with self.subTest(table):
                known = re.search(r"expected a key of .* \((.*)\), found", self.complaint(table, {"unknown": "0"}))
                self.assertEqual(sorted(key for key, _ in man_page.terms(lines)), sorted(known[1].split(", ")))

    def test_the_page_marks_the_required_keys(self):
        for table in TABLES:
            with self.subTest(table):
                self.assertEqual(self.complaint(table, self.good_values(table)), "")
            for key in required_keys(table):
                with self.subTest(table=table, key=key):
                    others = {other: value for other, value in self.good_values(table).items() if other != key}
                    self.assertIn(f'expected the key "{key}"', self.complaint(table, others))

    def test_the_page_has_the_ranges_of_numbers(self):
        def check(table, key, found):
            lowest = int(found[1] or 0)
            highest = int(found[2] or found[3] or str(HIGHEST_NUMBER), 0)
            self.assert_refuses(table, key, lowest - 1)
            self.assert_takes(table, key, lowest)
            self.assert_takes(table, key, highest)
            self.assert_refuses(table, key, highest + 1)

        self.check_each_key(r"Numbers?(?: from (\d+) (?:on|to (\d+))|, at most (\w+)|[.,:])", check)

    def test_the_page_has_the_longest_lengths_of_texts(self):
        def check(table, key, found):
            longest = int(found[1])
            self.assert_takes(table, key, f'"{longest * "x"}"')
            self.assert_refuses(table, key, f'"{(longest + 1) * "x"}"')

        self.check_each_key(r"Text, (?:1 to|at most) (\d+) bytes", check)

    def shown(self, table, values):
        """Everything that the programs print about the scenario."""
        text = scenario(table, values) + FOLLOWING.get(table, "")
        results = [programs.simulate(text, "--check")]
        results += [programs.simulate(text, "--", QZAGENT, verb, "--json") for verb in ("inventory", "vendor")]
        # The time at which a document was written differs between runs.
        return [(re.sub(r'"generated_at": .*', "", result.stdout), result.stderr) for result in results]

    def test_the_page_has_the_defaults(self):
        def check(table, key, found):
            default, other = DEFAULTS[found[1]]
            # Only targets have LUNs.
            values = {**self.good_values(table), **({"luns": "1"} if table == "[[adapter.port.remote]]" else {})}
            shown = self.shown(table, values)
            self.assertEqual(self.shown(table, {**values, key: default}), shown)
            self.assertNotEqual(self.shown(table, {**values, key: other}), shown)

        # The programs do not print how LUNs are addressed and mapped.
        self.check_each_key(r"(?!The tables?|For|auto|How).*Default: (?!none are generated|generated)(.*?)\.( |$)", check)

    def test_the_page_has_all_names_of_each_named_value(self):
        for table, key in (("The scenario", "behaviour"), ("[[adapter]]", "lun_style"), ("[[adapter.event]]", "type"),
                           ("[[adapter.port]]", "type"), ("[[adapter.port]]", "state"), ("[[adapter.port]]", "speed"),
                           ("[[adapter.port.remote]]", "role"), ("[[adapter.port.remote]]", "lun_addressing"),
                           ("[diagnostics]", "library"), ("[[fault]]", "call")):
            with self.subTest(table=table, key=key):
                complaint = self.complaint(table, {**self.good_values(table), key: '"?"'})
                names = re.search(r"one of (?:the calls )?(.*?)(?: or a number.*)?, found", complaint)[1].split(", ")
                text = dict(man_page.terms(TABLES[table]))[key]
                self.assertLessEqual(set(names), set(re.findall(r"\w+", text)))


if __name__ == "__main__":
    unittest.main()
