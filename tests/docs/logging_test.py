"""docs/logging.md lists exactly the log lines of the libraries, and a logged file and line identify one call."""
import collections
import re
import unittest

from sources import ROOT, calls, code, table

LEVELS = {'QZ_LOG_ERROR': '8 -E-', 'QZ_LOG_ERROR_OF': '8 -E-', 'QZ_LOG_NOTICE': '32 -N-',
          'QZ_LOG_INFORMATION': '64 -I-', 'QZ_LOG_TRACE': '128 -T-'}
TRACES = {'QZ_LOG_ENTERED': 'Entered', 'QZ_LOG_LEFT': 'Left'}
PAGES = ('*.md', '*/*.md', 'docs/man/*', 'backend/**/include/*.h')
SAMPLE = re.compile(r'Z (-[A-Z]-) (\S+):(\d+|N) (\S+): (.*)')


def plain(cell):
    return (code(cell) or [cell])[0]


def is_logged_by(call, text):
    """Whether the call's format can produce the text."""
    parts = re.split(r'%\w+', TRACES.get(call.what) or call.texts()[0])
    return re.fullmatch('.*'.join(map(re.escape, parts)), text)


def is_logged(tag, file, function, text):
    return any(LEVELS.get(call.what, '128 -T-').endswith(tag) and is_logged_by(call, text)
               for call in calls('QZ_LOG_') if (call.file, call.function) == (file, function))


def samples():
    """The log lines in the pages, each with its page."""
    return [(page.relative_to(ROOT), sample) for pattern in PAGES for page in ROOT.glob(pattern)
            for sample in SAMPLE.findall(page.read_text())]


class Logging(unittest.TestCase):
    def setUp(self):
        self.maxDiff = None

    def test_the_table_lists_exactly_the_lines_that_the_sources_log(self):
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

    def test_every_log_line_in_a_page_is_logged_by_the_function_that_it_names(self):
        self.assertNotEqual(samples(), [], 'no page has a log line')
        stale = [f'{page}: ' + ' '.join(sample) for page, sample in samples()
                 if not is_logged(sample[0], sample[1], *sample[3:])]
        self.assertEqual(stale, [], 'the named function does not log this')

    def test_every_log_line_in_a_page_has_n_instead_of_a_line_number(self):
        numbered = [f'{page}: ' + ' '.join(sample) for page, sample in samples() if sample[2] != 'N']
        self.assertEqual(numbered, [], 'line numbers change with every edit')

    def test_every_logged_file_name_belongs_to_one_source(self):
        paths = collections.defaultdict(set)
        for call in calls('QZ_LOG_', 'QZ_ASSERT'):
            paths[call.file].add(str(call.path.relative_to(ROOT)))
        self.assertGreater(len(paths), 5, 'the sources were not read')
        shared = {file: found for file, found in paths.items() if file == '' or len(found) > 1}
        self.assertEqual(shared, {}, 'several sources log with these names')

    def test_every_line_number_that_a_source_logs_belongs_to_one_call(self):
        # A call on several lines is logged with the number of one of them. Which one depends on the compiler.
        owners = collections.defaultdict(list)
        for call in calls('QZ_LOG_', 'QZ_ASSERT'):
            for line in call.lines:
                owners[f'{call.path.relative_to(ROOT)}:{line}'].append(f'{call.what}({call.arguments})')
        self.assertGreater(len(owners), 100, 'the sources were not read')
        shared = {place: found for place, found in owners.items() if len(found) > 1}
        self.assertEqual(shared, {}, 'several calls log with these lines')


if __name__ == '__main__':
    unittest.main()
