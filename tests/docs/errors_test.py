"""docs/errors.md lists exactly the exceptions and assertions of the libraries."""
import unittest

from sources import calls, code, table


class Errors(unittest.TestCase):
    def setUp(self):
        self.maxDiff = None

    @staticmethod
    def row_of(call):
        """The class, code and text of a throw. The page describes composed texts in words."""
        name, number = call.what.split()[1], call.arguments.rsplit(', ', 1)[-1]
        if name == 'ScopeDataError':  # its constructor sets the code
            return 'qz::ScopeDataError', '100', '-'
        if name == 'std::system_error':
            return name, '-', call.texts()[0]
        if name.startswith('std::'):
            return name, '-', '-'
        return name, number, (call.texts() or ['-'])[0]

    def test_the_table_lists_exactly_the_exceptions_in_the_sources(self):
        thrown = {self.row_of(call) for call in calls('throw ')}
        listed = {(code(name)[0], number, (code(text) or ['-'])[0].strip('"'))
                  for name, number, text, _, _ in table('errors.md', 'Exceptions')}
        self.assertEqual(sorted(thrown), sorted(listed), 'sources first, docs/errors.md second')

    def test_the_table_lists_exactly_the_assertions_in_the_sources(self):
        asserted = {(call.file, call.function, call.arguments) for call in calls('QZ_ASSERT')}
        listed = {(code(file)[0], function, condition)
                  for file, functions, conditions, _ in table('errors.md', 'Assertions')
                  for function in code(functions) for condition in code(conditions)}
        self.assertEqual(sorted(asserted), sorted(listed), 'sources first, docs/errors.md second')


if __name__ == '__main__':
    unittest.main()
