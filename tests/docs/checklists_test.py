"""Every path in the checklists of CONTRIBUTING.md exists when its placeholders are replaced by the examples."""
import re
import unittest

from sources import ROOT

EXAMPLE = re.compile(r'`(\w+)` stands for [^.]*? such as `(\w+)`')
ITEM = re.compile(r'^- `([^`]+)`: ', re.MULTILINE)


def resolved(path, examples):
    for placeholder, example in examples:
        path = re.sub(rf'(?<![A-Za-z]){placeholder}(?![a-z])', example, path)
    return path


def checklists():
    """Maps the heading of each checklist to its text."""
    text = (ROOT / 'CONTRIBUTING.md').read_text().split('\n## Checklists\n')[1].split('\n## ')[0]
    return dict(part.split('\n', 1) for part in text.split('\n### ')[1:])


class Checklists(unittest.TestCase):
    def test_every_path_exists(self):
        missing = [f'{heading}: {path}' for heading, text in checklists().items() for path in ITEM.findall(text)
                   if not (ROOT / resolved(path, EXAMPLE.findall(text))).exists()]
        self.assertEqual(missing, [])

    def test_every_item_is_a_path_with_its_purpose(self):
        others = [line for text in checklists().values() for line in text.split('\n')
                  if line.startswith('- ') and not ITEM.match(line)]
        self.assertEqual(others, [])

    def test_every_checklist_has_items_and_none_twice(self):
        for heading, text in checklists().items():
            with self.subTest(heading):
                paths = ITEM.findall(text)
                self.assertNotEqual(paths, [])
                self.assertEqual(sorted(paths), sorted(set(paths)))

    def test_every_placeholder_is_used(self):
        for heading, text in checklists().items():
            for placeholder, example in EXAMPLE.findall(text):
                with self.subTest(heading, placeholder=placeholder):
                    paths = ITEM.findall(text)
                    self.assertNotEqual([resolved(path, [(placeholder, example)]) for path in paths], paths)


if __name__ == '__main__':
    unittest.main()
