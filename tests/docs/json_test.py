"""docs/qzagent-json.md is what scripts/json-docs generates, and the generator refuses a key without a description."""
import json
import pathlib
import shutil
import subprocess
import tempfile
import unittest

from sources import ROOT


def json_docs(root, *arguments):
    return subprocess.run([root / 'scripts' / 'json-docs', *arguments], capture_output=True, text=True, check=False)


class JsonPage(unittest.TestCase):
    def copy(self):
        """Copies the generator, the schemas and the page to a temporary tree."""
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        root = pathlib.Path(folder.name)
        for path in ('scripts/json-docs', 'docs/qzagent-json.md'):
            (root / path).parent.mkdir()
            shutil.copy(ROOT / path, root / path)
        shutil.copytree(ROOT / 'tools/qzagent/schemas', root / 'tools/qzagent/schemas')
        return root

    def change(self, path, key, value):
        """Sets a keyword of the key "code" in the schema of explain; None removes the keyword."""
        schema = json.loads(path.read_text())
        code = schema['properties']['exit_codes']['items']['properties']['code']
        code[key] = value
        if value is None:
            del code[key]
        path.write_text(json.dumps(schema))

    def test_the_page_agrees_with_the_schemas(self):
        result = json_docs(ROOT, '--check')
        self.assertEqual((result.stderr, result.returncode), ('', 0))

    def test_the_check_reports_a_stale_page(self):
        root = self.copy()
        self.change(root / 'tools/qzagent/schemas/explain.schema.json', 'description', 'Another text.')
        result = json_docs(root, '--check')
        self.assertEqual((result.stderr, result.returncode),
                         ('json-docs: docs/qzagent-json.md is stale; run scripts/json-docs\n', 1))

    def test_the_generator_writes_a_changed_description_to_the_page(self):
        root = self.copy()
        self.change(root / 'tools/qzagent/schemas/explain.schema.json', 'description', 'Another text.')
        self.assertEqual(json_docs(root).returncode, 0)
        self.assertIn('| `exit_codes[].code` | `0`, `1`, `2`, `3` | Another text. |\n',
                      (root / 'docs/qzagent-json.md').read_text())

    def test_the_check_reports_a_stale_copy_of_the_envelope_and_the_generator_renews_it(self):
        root = self.copy()
        schemas = root / 'tools/qzagent/schemas'
        envelope = schemas / 'envelope.schema.json'
        envelope.write_text(envelope.read_text().replace('Version of the tool.', 'Another text.'))
        result = json_docs(root, '--check')
        self.assertIn('json-docs: tools/qzagent/schemas/watch.schema.json is stale; run scripts/json-docs\n',
                      result.stderr)
        self.assertEqual(result.returncode, 1)
        self.assertEqual(json_docs(root).returncode, 0)
        for name in ('adapters', 'explain', 'watch'):
            schema = json.loads((schemas / f'{name}.schema.json').read_text())
            self.assertEqual(schema['$defs']['envelope'], json.loads(envelope.read_text()))
        self.assertEqual(json_docs(root, '--check').returncode, 0)

    def test_the_generator_adds_the_envelope_to_a_new_schema(self):
        root = self.copy()
        schemas = root / 'tools/qzagent/schemas'
        for number, definitions in enumerate(('', ',\n  "$defs": { "x": true }')):
            path = schemas / f'new{number}.schema.json'
            path.write_text('{\n  "title": "New",\n  "$ref": "envelope.schema.json"' + definitions + '\n}\n')
            self.assertEqual(json_docs(root).returncode, 0)
            self.assertEqual(json.loads(path.read_text())['$defs']['envelope'],
                             json.loads((schemas / 'envelope.schema.json').read_text()))

    def test_the_generator_refuses_a_key_without_a_description(self):
        root = self.copy()
        self.change(root / 'tools/qzagent/schemas/explain.schema.json', 'description', None)
        result = json_docs(root)
        self.assertEqual((result.stderr, result.returncode),
                         ('json-docs: tools/qzagent/schemas/explain.schema.json: '
                          'exit_codes[].code has no description\n', 1))

    def test_the_generator_refuses_unknown_arguments(self):
        self.assertEqual(json_docs(ROOT, '--chekc').returncode, 2)


if __name__ == '__main__':
    unittest.main()
