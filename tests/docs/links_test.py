"""Links lead to existing files and headings, links of installed documents to installed files, and the index lists all
documents."""
import re
import unittest

from sources import ROOT

LINK = re.compile(r'\[[^\]]*\]\(([^)#\s]*)(?:#([^)]*))?\)')
FENCED = re.compile(r'```.*?```', re.DOTALL)


def links(page):
    """The file and the heading of each link, which may be empty."""
    targets = LINK.findall(FENCED.sub('', page.read_text()))
    return [(file, heading) for file, heading in targets if '://' not in file]


def anchors(page):
    """The names by which links refer to the headings of a page."""
    headings = re.findall(r'^#+ (.*)$', FENCED.sub('', page.read_text()), re.MULTILINE)
    return {re.sub(r'[^\w -]', '', heading).lower().replace(' ', '-') for heading in headings}


def is_installed(target):
    """Whether the target is installed at the same relative place."""
    folder = target.relative_to(ROOT).parts[0]
    return folder in ('docs', 'examples') or (target.parent == ROOT and target.suffix == '.md')


class Links(unittest.TestCase):
    PAGES = [*ROOT.glob('*.md'), *ROOT.glob('docs/**/*.md'), *ROOT.glob('simulator/*.md')]

    def test_every_link_leads_to_an_existing_file(self):
        broken = [f'{page.relative_to(ROOT)}: {file}'
                  for page in self.PAGES for file, _ in links(page) if not (page.parent / file).exists()]
        self.assertEqual(broken, [])

    def test_every_link_to_a_heading_leads_to_an_existing_heading(self):
        broken = [f'{page.relative_to(ROOT)}: {file}#{heading}'
                  for page in self.PAGES for file, heading in links(page)
                  if heading and heading not in anchors(page.parent / file if file else page)]
        self.assertEqual(broken, [])

    def test_every_link_of_an_installed_document_leads_to_an_installed_file(self):
        pages = [*ROOT.glob('*.md'), *ROOT.glob('docs/**/*.md')]
        leaving = [f'{page.relative_to(ROOT)}: {file}' for page in pages for file, _ in links(page)
                   if file and not is_installed((page.parent / file).resolve())]
        self.assertEqual(leaving, [])

    def test_the_index_links_to_every_document(self):
        index = ROOT / 'docs' / 'README.md'
        listed = {file for file, _ in links(index)}
        self.assertEqual(sorted({page.name for page in ROOT.glob('docs/*.md')} - {'README.md', *listed}), [],
                         'documents that docs/README.md does not list')

    def test_the_page_of_the_simulator_links_to_its_pages(self):
        listed = {file for file, _ in links(ROOT / 'docs' / 'simulator.md')}
        self.assertEqual(sorted({'simulator/' + page.name for page in ROOT.glob('docs/simulator/*.md')} - listed), [])


if __name__ == '__main__':
    unittest.main()
