"""docs/logging.md lists every log line of the libraries, and no other."""
import unittest

from sources import calls, code, table

LEVELS = {'QZ_LOG_ERROR': '8 -E-', 'QZ_LOG_ERROR_OF': '8 -E-', 'QZ_LOG_NOTICE': '32 -N-',
          'QZ_LOG_INFORMATION': '64 -I-', 'QZ_LOG_TRACE': '128 -T-'}
TRACES = ('QZ_LOG_ENTERED', 'QZ_LOG_LEFT')


def plain(cell):
    return (code(cell) or [cell])[0]


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


if __name__ == '__main__':
    unittest.main()
