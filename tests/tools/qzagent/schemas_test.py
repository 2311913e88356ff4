"""The schemas accept the agent's documents, and reject documents that it would not write."""

import copy
import json
import pathlib
import shutil
import subprocess
import tempfile
import unittest

import programs
from programs import QZAGENT

ROOT = pathlib.Path(__file__).resolve().parents[3]
SCHEMAS = ROOT / "tools" / "qzagent" / "schemas"

# As a value, removes the key.
NOTHING = object()

TWO_ADAPTERS = (ROOT / "simulator" / "scenarios" / "two-adapters.toml").read_text(encoding="utf-8")

SECOND_FAILS = """
[[fault]]
call = "HBA_OpenAdapter"
adapter = "example-fc-1"
nth = 1
status = "HBA_STATUS_ERROR"
"""


def document_of(scenario, verb):
    return json.loads(programs.simulate(scenario, "--", QZAGENT, verb, "--json").stdout)


def changed(document, place, value):
    """A copy of the document with a new value at the place, such as "adapters/0/model"; "-" appends to a list."""
    result = copy.deepcopy(document)
    *way, last = (int(key) if key.isdigit() else key for key in place.split("/"))
    found = result
    for key in way:
        found = found[key]
    if value is NOTHING:
        del found[last]
    elif last == "-":
        found.append(value)
    else:
        found[last] = value
    return result


def verdicts(schema, documents):
    """The validator's verdict on each document: "SUCCESS", or the kind of error."""
    with tempfile.TemporaryDirectory() as folder:
        command = ["/usr/bin/python3", "-m", "jsonschema", "--output", "pretty"]
        paths = [pathlib.Path(folder) / f"{number}.json" for number in range(len(documents))]
        for path, document in zip(paths, documents):
            path.write_text(json.dumps(document), encoding="utf-8")
            command += ["-i", path]
        result = subprocess.run([*command, schema],
                                capture_output=True, text=True, check=False)
    heads = [line for line in (result.stdout + result.stderr).splitlines() if line.startswith("===[")]
    return [next((head[4:head.index("]")] for head in heads if f"({path})" in head), "nothing") for path in paths]


def keys_in(schema):
    """Each key that the schema defines, with its own schema. Conditions define no keys, they only restrict them."""
    if isinstance(schema, list):
        for item in schema:
            yield from keys_in(item)
    elif isinstance(schema, dict):
        yield from schema.get("properties", {}).items()
        for name, value in schema.items():
            if name not in ("if", "then", "else"):
                yield from keys_in(value)


class Schema(unittest.TestCase):
    def test_the_id_of_every_schema_ends_with_its_file_name(self):
        for path in sorted(SCHEMAS.iterdir()):
            with self.subTest(path.name):
                schema = json.loads(path.read_text(encoding="utf-8"))
                self.assertEqual(schema["$id"], f"https://qzagent.example/schemas/{path.name}")

    def test_a_validator_needs_only_the_file_of_the_schema(self):
        document = document_of(TWO_ADAPTERS, "adapters")
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / "adapters.schema.json"
            shutil.copy(SCHEMAS / path.name, path)
            self.assertEqual(verdicts(path, [document, changed(document, "messages", NOTHING)]),
                             ["SUCCESS", "ValidationError"])

    def test_every_key_has_a_description(self):
        for path in sorted(SCHEMAS.iterdir()):
            keys = list(keys_in(json.loads(path.read_text(encoding="utf-8"))))
            self.assertNotEqual(keys, [], path.name)
            for key, schema in keys:
                with self.subTest(schema=path.name, key=key):
                    self.assertRegex(schema.get("description", ""), r"^[A-Z\"].*\.$")

    def assert_rejects_changes(self, schema, document, changes):
        path = SCHEMAS / f"{schema}.schema.json"
        self.assertEqual(verdicts(path, [document]), ["SUCCESS"])
        documents = [changed(document, place, value) for place, value in changes]
        for change, verdict in zip(changes, verdicts(path, documents)):
            with self.subTest(change):
                self.assertEqual(verdict, "ValidationError")

    def test_adapters_schema_rejects_invalid_changes(self):
        self.assert_rejects_changes("adapters", document_of(TWO_ADAPTERS + SECOND_FAILS, "adapters"), [
            ("surplus", 1),
            ("format_version", 1),
            ("format_version", NOTHING),
            ("tool_version", NOTHING),
            ("tool_version", "1.2"),
            ("host", NOTHING),
            ("host", None),
            ("generated_at", NOTHING),
            ("generated_at", "2026-01-31 12:00:00"),
            ("command", "explain"),
            ("exit_status", 0),
            ("messages", []),
            ("messages/0/code", NOTHING),
            ("messages/0/code", None),
            ("messages/-", {"severity": "warning", "text": "x", "code": 0}),
            ("messages/0/surplus", 1),
            ("adapters", NOTHING),
            ("adapters/0/number_of_ports", NOTHING),
            ("adapters/0/number_of_ports", 0),
            ("adapters/0/worst_port_state", NOTHING),
            ("adapters/0/worst_port_state", "UP"),
            ("adapters/1/worst_port_state", "ONLINE"),
            ("adapters/0/model", ""),
            ("adapters/0/surplus", 1),
        ])

    def test_ports_schema_rejects_invalid_changes(self):
        self.assert_rejects_changes("ports", document_of(TWO_ADAPTERS, "ports"), [
            ("adapters", NOTHING),
            ("adapters/0/surplus", 1),
            ("adapters/0/ports", NOTHING),
            ("adapters/0/ports", []),
            ("adapters/0/failures", []),
            ("adapters/0/ports/0/surplus", 1),
            ("adapters/0/ports/0/state", NOTHING),
            ("adapters/0/ports/0/state", "UP"),
            ("adapters/0/ports/0/speed", "3GBIT"),
            ("adapters/0/ports/0/speed_bits", NOTHING),
            ("adapters/0/ports/0/number_of_targets", NOTHING),
            ("adapters/0/ports/0/number_of_luns", NOTHING),
            ("adapters/0/ports/0/number_of_luns", -1),
            ("adapters/0/ports/0/failures", []),
        ])

    def test_inventory_schema_rejects_invalid_changes(self):
        self.assert_rejects_changes("inventory", document_of(TWO_ADAPTERS, "inventory"), [
            ("adapters", NOTHING),
            ("adapters/0/surplus", 1),
            ("adapters/0/ports", NOTHING),
            ("adapters/0/ports", []),
            ("adapters/0/attributes", NOTHING),
            ("adapters/0/failures", []),
            ("adapters/0/failures", [{"exception": "x", "text": "y"}]),
            ("adapters/0/attributes/model", ""),
            ("adapters/0/attributes/model", None),
            ("adapters/0/attributes/vendor_specific_id", "0x00000000"),
            ("adapters/0/attributes/node_wwn", "00:00:00:00:00:00:00:00"),
            ("adapters/0/attributes/node_wwn", "10:00:00:00:C9:00:00:01"),
            ("adapters/0/ports/0/surplus", 1),
            ("adapters/0/ports/0/state", "UP"),
            ("adapters/0/ports/0/state", NOTHING),
            ("adapters/0/ports/0/speed", NOTHING),
            ("adapters/0/ports/0/supported_speeds", NOTHING),
            ("adapters/0/ports/0/supported_speeds/0", "3GBIT"),
            ("adapters/0/ports/0/fc_id", "0x000000"),
            ("adapters/0/ports/0/remote_ports/0/surplus", 1),
            ("adapters/0/ports/0/remote_ports/0/reported_luns", NOTHING),
            ("adapters/0/ports/0/remote_ports/0/mapped_luns", NOTHING),
            ("adapters/0/ports/0/remote_ports/0/mapped_luns", [1, 1]),
            ("adapters/0/ports/0/remote_ports/0/mapped_luns", [16384]),
            ("adapters/0/ports/0/remote_ports/0/luns", NOTHING),
            ("adapters/0/ports/0/remote_ports/0/luns", []),
            ("adapters/0/ports/0/remote_ports/0/luns/0/lun", NOTHING),
            ("adapters/0/ports/0/remote_ports/0/luns/0/os_device", ""),
            ("adapters/0/ports/0/remote_ports/0/luns/0/surplus", 1),
            ("adapters/0/ports/0/remote_ports/0/luns/0/block_size_bytes", 512),
            ("adapters/0/ports/0/remote_ports/0/luns/0/capacity_bytes", 512),
            ("adapters/0/ports/0/remote_ports/0/luns/0/failures", []),
            ("adapters/0/remote_ports", [{"port_wwn": "50:00:00:00:ab:00:00:09"}]),
        ])


if __name__ == "__main__":
    unittest.main()
