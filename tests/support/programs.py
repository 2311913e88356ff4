"""Reads verbs, options and exit codes from the programs, for tests that compare documents with them."""

import json
import os
import re
import subprocess
import tempfile

QZAGENT = os.environ["QZAGENT"]
QZSIM = os.environ["QZSIM"]
QZSIMCTL = os.environ["QZSIMCTL"]


def run(*command):
    return subprocess.run(command, capture_output=True, text=True, check=False)


def simulate(scenario, *arguments):
    """Runs the simulator on the text of a scenario."""
    with tempfile.NamedTemporaryFile("w", suffix=".toml") as file:
        file.write(scenario)
        file.flush()
        return run(QZSIM, "--scenario", file.name, *arguments)


def help_of(*command):
    result = run(*command, "--help")
    assert result.returncode == 0, result.stderr
    return result.stdout


def options_of(*command):
    """Returns the options that the help of a program or verb lists, such as "--json"."""
    return set(re.findall(r"^  (?:-h,)?(--[a-z]+(?:-[a-z]+)*)", help_of(*command), re.M))


def verbs():
    listed = help_of(QZAGENT).split("\nVerbs:\n")[1].split("\n\n")[0]
    return re.findall(r"^  ([a-z]+) ", listed, re.M)


def options_of_verb(verb):
    """Returns all options that may follow the verb: its own, and the shared ones that the help names."""
    text = help_of(QZAGENT, verb)
    shared = re.search(r"^(.*) can be given before or after the verb\.$", text, re.M)[1]
    return options_of(QZAGENT, verb) | set(re.findall("--[a-z]+", shared))


def exit_codes():
    """Returns a dictionary from exit code to meaning."""
    entries = json.loads(run(QZAGENT, "explain", "--json").stdout)["exit_codes"]
    return {str(entry["code"]): entry["meaning"] for entry in entries}


def rules():
    """Returns the names of the rules of the verb check."""
    return [rule["name"] for rule in json.loads(run(QZAGENT, "explain", "--json").stdout)["rules"]]
