"""docs/errors.md lists every exception and every assertion of the libraries, and no other."""
import unittest

from sources import calls, code, table


class Errors(unittest.TestCase):
    def setUp(self):
        self.maxDiff = None

    @staticmethod
    def row_of(call):
        """Class, code and text of a throw; texts that are put together are described in words."""
        name, number = call.what.split()[1], call.arguments.rsplit(', ', 1)[-1]
        if name.startswith('std::'):
            return name, '-', '-'
        return name, number, (call.texts() or ['-'])[0]

    def test_every_exception_stands_in_the_table_and_every_row_in_a_source(self):
        thrown = {self.row_of(call) for call in calls('throw ')}
        listed = {(code(name)[0], number, (code(text) or ['-'])[0].strip('"'))
                  for name, number, text, _, _ in table('errors.md', 'Exceptions')}
        self.assertEqual(sorted(thrown), sorted(listed), 'sources first, docs/errors.md second')

    def test_every_assertion_stands_in_the_table_and_every_row_in_a_source(self):
        asserted = {(call.file, call.function, call.arguments) for call in calls('QZ_ASSERT')}
        listed = {(code(file)[0], function, condition)
                  for file, functions, conditions, _ in table('errors.md', 'Assertions')
                  for function in code(functions) for condition in code(conditions)}
        self.assertEqual(sorted(asserted), sorted(listed), 'sources first, docs/errors.md second')


if __name__ == '__main__':
    unittest.main()
