"""The documents link to what there is, and the index links to all documents."""
import re
import unittest

from sources import ROOT

LINK = re.compile(r'\[[^\]]*\]\(([^)#\s]+)(?:#[^)]*)?\)')


def links(page):
    targets = LINK.findall(re.sub(r'```.*?```', '', page.read_text(), flags=re.DOTALL))
    return [target for target in targets if '://' not in target]


class Links(unittest.TestCase):
    def test_every_link_leads_to_a_file(self):
        pages = [*ROOT.glob('*.md'), *ROOT.glob('docs/**/*.md'), *ROOT.glob('simulator/*.md')]
        broken = [f'{page.relative_to(ROOT)}: {target}'
                  for page in pages for target in links(page) if not (page.parent / target).exists()]
        self.assertEqual(broken, [])

    def test_the_index_links_to_every_document(self):
        index = ROOT / 'docs' / 'README.md'
        self.assertEqual(sorted({page.name for page in ROOT.glob('docs/*.md')} - {'README.md', *links(index)}), [],
                         'documents that docs/README.md does not list')


if __name__ == '__main__':
    unittest.main()
