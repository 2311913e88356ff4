"""Links lead to existing files, links of installed documents to installed files, and the index lists all documents."""
import re
import unittest

from sources import ROOT

LINK = re.compile(r'\[[^\]]*\]\(([^)#\s]+)(?:#[^)]*)?\)')


def links(page):
    targets = LINK.findall(re.sub(r'```.*?```', '', page.read_text(), flags=re.DOTALL))
    return [target for target in targets if '://' not in target]


def is_installed(target):
    """Whether the target is installed at the same relative place."""
    folder = target.relative_to(ROOT).parts[0]
    return folder in ('docs', 'examples') or (target.parent == ROOT and target.suffix == '.md')


class Links(unittest.TestCase):
    def test_every_link_leads_to_an_existing_file(self):
        pages = [*ROOT.glob('*.md'), *ROOT.glob('docs/**/*.md'), *ROOT.glob('simulator/*.md')]
        broken = [f'{page.relative_to(ROOT)}: {target}'
                  for page in pages for target in links(page) if not (page.parent / target).exists()]
        self.assertEqual(broken, [])

    def test_every_link_of_an_installed_document_leads_to_an_installed_file(self):
        pages = [*ROOT.glob('*.md'), *ROOT.glob('docs/*.md')]
        leaving = [f'{page.relative_to(ROOT)}: {target}'
                   for page in pages for target in links(page) if not is_installed((page.parent / target).resolve())]
        self.assertEqual(leaving, [])

    def test_the_index_links_to_every_document(self):
        index = ROOT / 'docs' / 'README.md'
        self.assertEqual(sorted({page.name for page in ROOT.glob('docs/*.md')} - {'README.md', *links(index)}), [],
                         'documents that docs/README.md does not list')


if __name__ == '__main__':
    unittest.main()
