"""docs/logging.md lists every log line of the libraries, and no other; log lines elsewhere are as they are logged."""
import re
import unittest

from sources import ROOT, calls, code, table

LEVELS = {'QZ_LOG_ERROR': '8 -E-', 'QZ_LOG_ERROR_OF': '8 -E-', 'QZ_LOG_NOTICE': '32 -N-',
          'QZ_LOG_INFORMATION': '64 -I-', 'QZ_LOG_TRACE': '128 -T-'}
TRACES = {'QZ_LOG_ENTERED': 'Entered', 'QZ_LOG_LEFT': 'Left'}
PAGES = ('*.md', '*/*.md', 'docs/man/*', 'backend/**/include/*.h')
SAMPLE = re.compile(r'Z (-[A-Z]-) (\S+):(\d+) (\S+): (.*)')


def plain(cell):
    return (code(cell) or [cell])[0]


def is_logged_by(call, text):
    """Whether the text is what becomes of the call's format with some values."""
    parts = re.split(r'%\w+', TRACES.get(call.what) or call.texts()[0])
    return re.fullmatch('.*'.join(map(re.escape, parts)), text)


def is_logged(tag, file, line, function, text):
    return any(LEVELS.get(call.what, '128 -T-').endswith(tag) and is_logged_by(call, text)
               for call in calls('QZ_LOG_')
               if (call.file, call.line, call.function) == (file, int(line), function))


class Logging(unittest.TestCase):
    def setUp(self):
        self.maxDiff = None

    def test_every_line_stands_in_the_table_and_every_row_in_a_source(self):
        logged = {(LEVELS[call.what], call.file,
                   'the operation' if call.what == 'QZ_LOG_ERROR_OF' else call.function, call.texts()[0])
                  for call in calls('QZ_LOG_') if call.what not in TRACES}
        logged |= {('1 -H-', 'that of the condition', 'that of the condition', call.texts()[-1])
                   for call in calls('PrintLogMessageWithTimeStamp') if call.texts()}
        listed = {(f'{level} {plain(tag)}', plain(file), plain(function), plain(text).strip('"'))
                  for level, tag, file, function, text, _ in table('logging.md', 'Lines')}
        self.assertEqual(sorted(logged), sorted(listed), 'sources first, docs/logging.md second')

    def test_every_function_that_traces_its_entry_and_exit_is_listed(self):
        for trace in TRACES:
            tracing = {(call.file, call.function) for call in calls(trace)}
            listed = {(plain(file), function)
                      for file, functions in table('logging.md', 'Entry and exit') for function in code(functions)}
            self.assertEqual(sorted(tracing), sorted(listed), f'sources of {trace} first, docs/logging.md second')

    def test_every_line_that_a_page_shows_is_logged_there(self):
        samples = [(page, sample) for pattern in PAGES for page in ROOT.glob(pattern)
                   for sample in SAMPLE.findall(page.read_text())]
        self.assertNotEqual(samples, [], 'no page shows any')
        stale = [f'{page.relative_to(ROOT)}: ' + ' '.join(sample)
                 for page, sample in samples if not is_logged(*sample)]
        self.assertEqual(stale, [], 'not what the source logs in that line')


if __name__ == '__main__':
    unittest.main()
