"""The manual pages agree with the programs, as far as the programs describe themselves."""

import json
import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

import man_page
import programs
from programs import QZAGENT, QZSIM, QZSIMCTL

ROOT = pathlib.Path(__file__).resolve().parents[3]
SCENARIOS = ROOT / "simulator" / "scenarios"
SCHEMAS = ROOT / "tools" / "qzagent" / "schemas"
PATHS = {path.name: path for path in sorted((ROOT / "docs" / "man").iterdir())}
PAGES = {name: man_page.ManPage(path) for name, path in PATHS.items()}
VERBS = {verb: PAGES.get("qzagent-" + verb + ".1") for verb in programs.verbs()}

# What options must be given together with.
NEEDED = {("statistics", "--count"): ["--interval", "1"], ("watch", "--sync"): ["--output", os.devnull],
          # This address is no host's, so nothing is served.
          ("metrics", "--interval"): ["--listen", "192.0.2.1:0", "--allow-remote"]}


def options_in(text):
    return set(re.findall(r"--[a-z]+(?:-[a-z]+)*", text))


def options_with_description(page):
    return {option for tag, _ in man_page.items(page.sections["OPTIONS"]) for option in options_in(tag)}


def statuses(page):
    return {tag for tag, _ in man_page.items(page.sections["EXIT STATUS"])}


class EveryPage(unittest.TestCase):
    @unittest.skipUnless(shutil.which("mandoc"), "mandoc is not installed")
    def test_every_page_passes_mandoc_lint(self):
        result = programs.run("mandoc", "-T", "lint", "-W", "warning", *map(str, PATHS.values()))
        self.assertEqual((result.stdout + result.stderr, result.returncode), ("", 0))

    def test_the_title_of_every_page_has_the_name_and_section_of_its_file(self):
        for name, path in PATHS.items():
            with self.subTest(name):
                title = path.read_text(encoding="utf-8").split("\n", 1)[0].split()[:3]
                self.assertEqual(title, [".TH", path.stem.upper(), path.suffix[1:]])
                self.assertRegex(PAGES[name].text("NAME"), "^" + path.stem + " - [a-z]")

    def test_every_page_refers_only_to_existing_pages(self):
        for name, page in PAGES.items():
            with self.subTest(name):
                self.assertLessEqual(page.references(), PAGES.keys())
                self.assertNotIn(name, page.references())


class PageOfTheAgent(unittest.TestCase):
    def test_each_verb_has_a_page(self):
        pages = {name for name in PAGES if name.startswith("qzagent-")}
        self.assertEqual(pages, {"qzagent-" + verb + ".1" for verb in VERBS})

    def test_the_page_of_the_agent_lists_all_verbs(self):
        listed = [tag.split(",")[0] for tag, _ in man_page.items(PAGES["qzagent.1"].sections["DESCRIPTION"])]
        self.assertEqual(listed, list(VERBS))

    def test_the_page_of_the_agent_describes_the_options_of_the_help(self):
        page = PAGES["qzagent.1"]
        self.assertEqual(options_with_description(page), programs.options_of(QZAGENT))
        self.assertEqual(options_in(page.text("SYNOPSIS")), programs.options_of(QZAGENT))

    def test_the_page_of_the_agent_has_the_exit_codes_with_their_meanings(self):
        self.assertEqual(dict(man_page.items(PAGES["qzagent.1"].sections["EXIT STATUS"])), programs.exit_codes())

    def test_the_page_of_each_verb_describes_the_options_of_its_help(self):
        for verb, page in VERBS.items():
            with self.subTest(verb):
                options = programs.options_of_verb(verb)
                self.assertEqual(options_with_description(page), options)
                self.assertEqual(options_in(page.text("SYNOPSIS")), options - {"--help"})

    FILES = {"show": ["/dev/null"], "diff": ["/dev/null"], "check": ["/dev/null"], "bundle": ["--output", "/dev/null"], "report": ["--output", "/dev/null"]}  # of verbs that need one

    def test_the_page_of_each_verb_has_the_ranges_of_its_options(self):
        host = [QZSIM, "--scenario", str(SCENARIOS / "no-adapters.toml"), "--", QZAGENT]
        for verb, page in VERBS.items():
            for tag, text in man_page.items(page.sections["OPTIONS"]):
                option, *values = tag.split(" ")
                if values in (["N"], ["S"]):
                    lowest, highest = map(int, re.search(r"(\d+) to (\d+)", text).groups())
                    for number in (lowest - 1, lowest, highest, highest + 1):
                        with self.subTest(verb=verb, option=option, number=number):
                            others = self.FILES.get(verb, []) + NEEDED.get((verb, option), [])
                            is_refused = programs.run(*host, verb, option, str(number), *others).returncode == 2
                            self.assertEqual(is_refused, not lowest <= number <= highest)

    def test_the_page_of_each_verb_has_its_exit_codes(self):
        of_results = {"3"}  # only of verbs whose other codes are a result
        for verb, page in VERBS.items():
            with self.subTest(verb):
                others = set() if verb in ("diff", "check") else of_results
                self.assertEqual(statuses(page), programs.exit_codes().keys() - others)


class JsonOfThePages(unittest.TestCase):
    def assert_names_schemas(self, page, pattern):
        named = set(re.findall(r"[\w-]+\.schema\.json", page.text("JSON")))
        self.assertEqual(named, {path.name for path in SCHEMAS.glob(pattern)})

    def test_the_page_of_the_agent_names_the_schema_of_every_document(self):
        self.assert_names_schemas(PAGES["qzagent.1"], "envelope.schema.json")

    def test_the_page_of_the_agent_names_the_description_of_the_keys(self):
        description = re.search(r"[\w-]+\.md", PAGES["qzagent.1"].text("JSON"))[0]
        self.assertTrue((ROOT / "docs" / description).exists(), description)

    def test_the_page_of_each_verb_names_its_schemas(self):
        for verb, page in VERBS.items():
            with self.subTest(verb):
                self.assert_names_schemas(page, verb + "*.schema.json")


class PageOfTheSimulator(unittest.TestCase):
    def test_the_page_of_the_simulator_describes_the_options_of_the_help(self):
        for command in ([], ["record"], ["replay"], ["convert"]):
            page = PAGES["-".join(["qzsim", *command]) + ".1"]
            self.assertEqual(options_with_description(page), programs.options_of(QZSIM, *command))
            self.assertEqual(options_in(page.text("SYNOPSIS")), programs.options_of(QZSIM, *command))

    def test_the_page_of_the_simulator_has_the_exit_statuses_of_the_help(self):
        text = programs.help_of(QZSIM).split("The exit status is PROGRAM's; ")[1]
        self.assertEqual(statuses(PAGES["qzsim.1"]), {"0", *re.findall(r"(\d+) (?:when|if)", text)})


class PageOfTheControl(unittest.TestCase):
    PAGE = PAGES["qzsimctl.1"]
    HELP = programs.help_of(QZSIMCTL)

    def test_the_page_of_the_control_describes_the_options_of_the_help(self):
        self.assertEqual(options_with_description(self.PAGE), programs.options_of(QZSIMCTL))
        self.assertEqual(options_in(self.PAGE.text("SYNOPSIS")), programs.options_of(QZSIMCTL))

    def test_the_page_of_the_control_lists_the_commands_of_the_help(self):
        listed = self.HELP.split("\nCommands:\n")[1].split("\n\n")[0]
        commands = re.findall(r"^  ((?:[a-z]+ )+)", listed, re.M)
        described = [tag for tag, _ in man_page.items(self.PAGE.subsections("DESCRIPTION")["Commands"])]
        self.assertEqual([re.match("[a-z ]*", tag)[0].strip() for tag in described], [name.strip() for name in commands])

    def test_the_page_of_the_control_has_the_exit_statuses_of_the_help(self):
        text = self.HELP.split("The exit status is ")[1]
        self.assertEqual(statuses(self.PAGE), {"0", *re.findall(r"(\d+) when", text)})


class Examples(unittest.TestCase):
    """The examples run on a host with the adapters of a scenario, in a folder with all scenarios."""

    HOST = "diagnostic-events.toml"
    OF_ANOTHER_HOST = {"qzframework-check.1"}  # its example needs the product's framework

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        commands = self.folder / "bin"
        commands.mkdir()
        (commands / "qzsim").symlink_to(QZSIM)
        (commands / "qzsimctl").symlink_to(QZSIMCTL)
        agent = commands / "qzagent"
        agent.write_text("#!/bin/sh\n"
                         f'[ -n "$QZSIM_SCENARIO" ] || exec qzsim --scenario {SCENARIOS / self.HOST} -- "$0" "$@"\n'
                         f'exec {QZAGENT} "$@"\n')
        agent.chmod(0o755)
        self.environment = {**os.environ, "LC_ALL": "C.UTF-8", "PATH": f"{commands}:{os.environ['PATH']}"}

    def enter(self, command, folder):
        result = subprocess.run(["bash", "-c", command], cwd=folder, env=self.environment, stdout=subprocess.PIPE,
                                stderr=subprocess.STDOUT, text=True, check=False)
        return re.sub(" +$", "", result.stdout, flags=re.M), result.returncode  # tables pad their lines with blanks

    def follow(self, page):
        folder = self.folder / page.name
        shutil.copytree(SCENARIOS, folder)
        status = 0
        for command, shown in page.session():
            text = "".join(line + "\n" for line in shown)
            if command == "echo $?":
                self.assertEqual(text, f"{status}\n")
                status = 0
                continue
            self.assertEqual(status, 0, "the command before " + command)
            file = re.fullmatch(r"cat (\S+)", command)
            if file:
                (folder / file[1]).write_text(text, encoding="utf-8")
                continue
            output, status = self.enter(command, folder)
            self.assertRegex(output, re.compile("^" + re.escape(text).replace(r"\.\.\.", ".*") + r"\Z", re.DOTALL))
        self.assertEqual(status, 0, "the last command")

    def test_the_examples_of_every_page_print_what_it_shows(self):
        for name, page in PAGES.items():
            if name not in self.OF_ANOTHER_HOST:
                with self.subTest(name):
                    self.follow(page)

    def test_every_page_has_examples(self):
        for name, page in PAGES.items():
            with self.subTest(name):
                self.assertNotEqual(page.session(), [])


if __name__ == "__main__":
    unittest.main()
