"""bash completion offers the verbs, options and arguments that the programs accept."""

import os
import pathlib
import re
import subprocess
import tempfile
import unittest

import programs
from programs import QZAGENT, QZSIM, QZSIMCTL

ROOT = pathlib.Path(__file__).resolve().parents[3]
BASH_COMPLETION = pathlib.Path("/usr/share/bash-completion/bash_completion")

# Does what bash does when the tabulator key is pressed after the last word, and prints the offered completions.
PRESS_TABULATOR = r"""
source "$BASH_COMPLETION"
compopt() { :; }  # works only while a line is edited
COMP_WORDS=("$@")
COMP_CWORD=$(($# - 1))
COMP_LINE="$*"
COMP_LINE=${COMP_LINE// = /=}
COMP_POINT=${#COMP_LINE}
_completion_loader "$1"
completion=$(complete -p "$1")
completion=${completion#*-F }
"${completion%% *}" "$1" "${COMP_WORDS[-1]}" "${COMP_WORDS[-2]}"
printf '%s\n' "${COMPREPLY[@]}"
"""


@unittest.skipUnless(BASH_COMPLETION.exists(), "bash-completion is not installed")
class Completion(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        for name in ("events.capture", "two.toml", "libqzsim.so"):
            (self.folder / name).touch()
        self.environment = {**os.environ, "BASH_COMPLETION": str(BASH_COMPLETION), "HOME": folder.name,
                            "BASH_COMPLETION_USER_DIR": str(ROOT / "tools"),
                            "PATH": f"{pathlib.Path(QZAGENT).parent}:{os.environ['PATH']}"}

    def offered(self, line):
        """The completions for a line. One blank separates its words as bash splits them, so "=" is a word."""
        result = subprocess.run(["bash", "--norc", "-c", PRESS_TABULATOR, "bash", *line.split(" ")], cwd=self.folder,
                                env=self.environment, capture_output=True, text=True, check=False)
        self.assertEqual(result.stderr, "")
        return set(result.stdout.split())

    def test_qzagent_offers_its_verbs(self):
        self.assertEqual(self.offered("qzagent "), {*programs.verbs(), "help"})
        self.assertEqual(self.offered("qzagent help "), set(programs.verbs()))
        self.assertEqual(self.offered("qzagent --trace ad"), {"adapters"})
        self.assertEqual(self.offered("qzagent --timeout 5 ad"), {"adapters"})
        self.assertEqual(self.offered("qzagent --timeout = 5 ad"), {"adapters"})

    def test_qzagent_offers_the_options_of_its_help(self):
        self.assertEqual(self.offered("qzagent -"), programs.options_of(QZAGENT))

    def test_qzagent_offers_the_options_of_a_verb_after_the_verb(self):
        for verb in programs.verbs():
            with self.subTest(verb):
                self.assertEqual(self.offered(f"qzagent --json {verb} -"), programs.options_of_verb(verb))
                self.assertEqual(self.offered(f"qzagent --timeout 5 {verb} -"), programs.options_of_verb(verb))

    def test_qzagent_explain_offers_the_exit_codes_and_the_rules(self):
        self.assertEqual(self.offered("qzagent explain "), {*programs.exit_codes(), *programs.rules()})
        self.assertEqual(self.offered("qzagent explain link-d"), {"link-down"})

    def test_qzagent_offers_files_for_file_arguments(self):
        for line in ("show ev", "latency --output ev", "watch --output ev", "watch --output = ev", "repair ev", "convert ev",
                     "repair --output ev", "inventory --output ev", "ports --output ev", "bundle --output ev", "bundle --anonymise ev", "diff ev",
                     "check ev", "check --baseline ev", "report ev", "report --output ev", "metrics --textfile ev"):
            with self.subTest(line):
                self.assertEqual(self.offered("qzagent " + line), {"events.capture"})

    def test_qzagent_offers_the_forms_of_captures(self):
        self.assertEqual(self.offered("qzagent watch --format "), {"pcapng", "records"})
        self.assertEqual(self.offered("qzagent --timeout 5 watch --format "), {"pcapng", "records"})
        self.assertEqual(self.offered("qzagent show --format "), {"pcapng", "records", "json", "hex"})

    def test_qzagent_offers_toml_files_for_event_layouts_and_rules(self):
        self.assertEqual(self.offered("qzagent watch --event-layout "), {"two.toml"})
        self.assertEqual(self.offered("qzagent check --rules "), {"two.toml"})

    def test_qzagent_offers_nothing_for_names_and_numbers(self):
        for verb in programs.verbs():
            for option in programs.options_of(QZAGENT, verb) - {
                    "--help", "--luns", "--plain", "--output", "--event-layout", "--print", "--quiet", "--follow",
                    "--summary", "--hex", "--format", "--time", "--to", "--anonymise", "--rules", "--baseline",
                    "--print-rules", "--textfile", "--latency", "--per-lun", "--dot", "--svg"}:
                with self.subTest(verb=verb, option=option):
                    self.assertEqual(self.offered(f"qzagent {verb} {option} "), set())

    def test_qzagent_offers_the_words_of_an_option(self):
        self.assertEqual(self.offered("qzagent show --format "), {"pcapng", "records", "json", "hex"})
        self.assertEqual(self.offered("qzagent show --time "), {"utc", "local", "relative"})
        self.assertEqual(self.offered("qzagent convert --to "), {"pcapng", "records", "json"})

    def test_qzsim_offers_the_options_of_its_help(self):
        self.assertEqual(self.offered("qzsim "), {*programs.options_of(QZSIM), "record", "replay", "convert"})
        self.assertEqual(self.offered("qzsim --scenario two.toml --verify -"), programs.options_of(QZSIM))

    def test_qzsim_offers_the_options_of_its_commands(self):
        self.assertEqual(self.offered("qzsim record -"), programs.options_of(QZSIM, "record"))
        self.assertEqual(self.offered("qzsim replay two.toml -"), programs.options_of(QZSIM, "replay"))
        self.assertEqual(self.offered("qzsim convert two.toml -"), programs.options_of(QZSIM, "convert"))

    def test_qzsim_offers_recordings_and_programs_to_its_commands(self):
        for line in ("qzsim replay tw", "qzsim convert tw", "qzsim record --output tw"):
            self.assertEqual(self.offered(line), {"two.toml"})
        for line in ("qzsim replay two.toml qzag", "qzsim record --output = two.toml -- qzag",
                     "qzsim replay two.toml --speed 0 --strict qzag"):
            self.assertIn("qzagent", self.offered(line))
        self.assertEqual(self.offered("qzsim replay two.toml --speed "), set())

    def test_qzsim_offers_scenarios_and_libraries(self):
        self.assertEqual(self.offered("qzsim --scenario "), {"two.toml"})
        self.assertEqual(self.offered("qzsim --check --scenario = t"), {"two.toml"})
        self.assertEqual(self.offered("qzsim --scenario two.toml --library "), {"libqzsim.so"})

    def test_qzsim_offers_programs(self):
        self.assertIn("qzagent", self.offered("qzsim --scenario two.toml qzag"))
        self.assertIn("qzagent", self.offered("qzsim --scenario = two.toml --verify -- qzag"))

    def test_qzsim_uses_the_completion_of_the_program(self):
        self.assertEqual(self.offered("qzsim --scenario two.toml -- qzagent wa"), {"watch"})
        self.assertEqual(self.offered("qzsim --scenario = two.toml qzagent show --"),
                         programs.options_of_verb("show"))

    def test_qzsim_offers_files_for_the_socket(self):
        self.assertIn("two.toml", self.offered("qzsim --control "))

    def test_qzsimctl_offers_its_options_sockets_and_commands(self):
        self.assertEqual(self.offered("qzsimctl -"), programs.options_of(QZSIMCTL))
        self.assertEqual(self.offered("qzsimctl tw"), {"two.toml"})
        commands = re.findall(r"^  ([a-z]+) ", programs.help_of(QZSIMCTL).split("\nCommands:\n")[1].split("\n\n")[0], re.M)
        self.assertEqual(self.offered("qzsimctl --json two.toml "), set(commands))
        self.assertEqual(self.offered("qzsimctl two.toml fault "), {"start", "end"})


if __name__ == "__main__":
    unittest.main()
