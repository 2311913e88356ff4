"""qzsim-scenario(5) says what the reader of scenarios takes and refuses."""

import pathlib
import re
import unittest

import man_page
import programs
from programs import QZAGENT

ROOT = pathlib.Path(__file__).resolve().parents[3]
TABLES = man_page.ManPage(ROOT / "docs" / "man" / "qzsim-scenario.5").subsections("DESCRIPTION")

# What must stand before a table.
LEADING = {
    "The scenario": [],
    "[[adapter]]": [],
    "[[adapter.port]]": ["[[adapter]]"],
    "[[adapter.port.remote]]": ["[[adapter]]", "[[adapter.port]]"],
    "[diagnostics]": [],
    "[[diagnostics.board]]": [],
    "[[diagnostics.event]]": ["[[diagnostics.board]]"],
    "[[fault]]": [],
}

# Good values of all required keys.
SAMPLES = {
    "name": '"a"',
    "port_wwn": '"10:00:00:00:c9:00:00:01"',
    "first_wwn": '"20:00:00:00:c9:00:00:01"',
    "second_wwn": '"10:00:00:00:c9:00:00:01"',
    "board": "0",
    "category": "0",
    "subcategory": "0",
    "call": '"HBA_OpenAdapter"',
    "nth": "1",
    "status": "1",
}

HIGHEST_NUMBER = 4294967295

# What the page calls a default: the value, and another one.
DEFAULTS = {
    "empty": ('""', '"x"'),
    "no bytes": ('""', '"ff"'),
    "all zero": ('"00:00:00:00:00:00:00:00"', '"20:00:00:00:c9:00:00:42"'),
    "that of the adapter": ('"00:00:00:00:00:00:00:00"', '"20:00:00:00:c9:00:00:42"'),
    "the second name of the board": (SAMPLES["second_wwn"], '"20:00:00:00:c9:00:00:42"'),
    "0": ("0", "7"),
    "1": ("1", "7"),
    "4": ("4", "0"),
    "1000": ("1000", "7"),
    "2112": ("2112", "7"),
    "0x100": ("0x100", "7"),
    '"1.0.0"': ('"1.0.0"', '"2"'),
    "8, class 3": ("8", "7"),
    "[8], FCP": ("[8]", "[7]"),
    "[]": ("[]", '["1GBIT"]'),
    "NPORT": ('"NPORT"', '"OTHER"'),
    "ONLINE": ('"ONLINE"', '"OFFLINE"'),
    "UNKNOWN": ('"UNKNOWN"', '"1GBIT"'),
    "target": ('"target"', '"initiator"'),
}

# Without these nobody asks for what a table has.
FOLLOWING = {
    "[[adapter]]": f"[[adapter.port]]\nport_wwn = {SAMPLES['port_wwn']}\n",
    "[diagnostics]": f"[[diagnostics.board]]\n"
                     f"first_wwn = {SAMPLES['first_wwn']}\nsecond_wwn = {SAMPLES['second_wwn']}\n",
}


def required_keys(table):
    keys = [key for key, text in man_page.terms(TABLES[table]) if "Required." in text]
    return keys + ["status"] * (table == "[[fault]]")


def scenario(table, values):
    """The text of a scenario whose last table has the values, and the others what they must have."""
    text = ""
    for title in [*LEADING[table], table]:
        entries = values if title == table else {key: SAMPLES[key] for key in required_keys(title)}
        text += (title + "\n") * (title != "The scenario")
        text += "".join(f"{key} = {value}\n" for key, value in entries.items())
    return text


class PageOfTheScenario(unittest.TestCase):
    def complaint(self, table, values):
        """What is wrong with the scenario; nothing when it is good."""
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
        """Calls check with each table and key whose description begins so, and with the match."""
        for table, lines in TABLES.items():
            for key, text in man_page.terms(lines):
                found = re.match(pattern, text)
                if found:
                    with self.subTest(table=table, key=key):
                        check(table, key, found)

    def test_has_all_tables(self):
        self.assertEqual(list(TABLES), list(LEADING))

    def test_has_the_keys_of_each_table(self):
        for table, lines in TABLES.items():
            with self.subTest(table):
                known = re.search(r"expected a key of .* \((.*)\), found", self.complaint(table, {"unknown": "0"}))
                self.assertEqual(sorted(key for key, _ in man_page.terms(lines)), sorted(known[1].split(", ")))

    def test_says_which_keys_are_required(self):
        for table in TABLES:
            with self.subTest(table):
                self.assertEqual(self.complaint(table, self.good_values(table)), "")
            for key in required_keys(table):
                with self.subTest(table=table, key=key):
                    others = {other: value for other, value in self.good_values(table).items() if other != key}
                    self.assertIn(f'expected the key "{key}"', self.complaint(table, others))

    def test_says_which_numbers_are_in_bounds(self):
        def check(table, key, found):
            lowest = int(found[1] or 0)
            highest = int(found[2] or found[3] or str(HIGHEST_NUMBER), 0)
            self.assert_refuses(table, key, lowest - 1)
            self.assert_takes(table, key, lowest)
            self.assert_takes(table, key, highest)
            self.assert_refuses(table, key, highest + 1)

        self.check_each_key(r"Numbers?(?: from (\d+) (?:on|to (\d+))|, at most (\w+)|[.,:])", check)

    def test_says_how_long_texts_may_be(self):
        def check(table, key, found):
            longest = int(found[1])
            self.assert_takes(table, key, f'"{longest * "x"}"')
            self.assert_refuses(table, key, f'"{(longest + 1) * "x"}"')

        self.check_each_key(r"Text, (?:1 to|at most) (\d+) bytes", check)

    def shown(self, table, values):
        """All that is told of the scenario."""
        text = scenario(table, values) + FOLLOWING.get(table, "")
        results = [programs.simulate(text, "--check")]
        results += [programs.simulate(text, "--", QZAGENT, verb, "--json") for verb in ("inventory", "vendor")]
        return [(result.stdout, result.stderr) for result in results]

    def test_says_what_the_defaults_are(self):
        def check(table, key, found):
            default, other = DEFAULTS[found[1]]
            # Only a target has LUNs.
            values = {**self.good_values(table), **({"luns": "1"} if "remote" in table else {})}
            shown = self.shown(table, values)
            self.assertEqual(self.shown(table, {**values, key: default}), shown)
            self.assertNotEqual(self.shown(table, {**values, key: other}), shown)

        # How LUNs are addressed and mapped shows in what a program is given, not in what is told of it.
        self.check_each_key(r"(?!The tables?|For|auto|How).*Default: (?!none are generated)(.*?)\.( |$)", check)

    def test_has_all_names_that_a_value_may_have(self):
        for table, key in (("[[adapter]]", "lun_style"),
                           ("[[adapter.port]]", "type"), ("[[adapter.port]]", "state"), ("[[adapter.port]]", "speed"),
                           ("[[adapter.port.remote]]", "role"), ("[[adapter.port.remote]]", "lun_addressing"),
                           ("[[fault]]", "call")):
            with self.subTest(table=table, key=key):
                complaint = self.complaint(table, {**self.good_values(table), key: '"?"'})
                names = re.search(r"one of (?:the calls )?(.*?)(?: or a number.*)?, found", complaint)[1].split(", ")
                text = dict(man_page.terms(TABLES[table]))[key]
                self.assertLessEqual(set(names), set(re.findall(r"\w+", text)))


if __name__ == "__main__":
    unittest.main()
