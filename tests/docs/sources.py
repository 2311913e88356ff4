"""Reads what the sources of the libraries log, throw and assert, and the tables of the documents that list it."""
import pathlib
import re

ROOT = pathlib.Path(__file__).resolve().parents[2]

COMMENT_OR_TEXT = re.compile(r'//[^\n]*|("(?:[^"\\\n]|\\.)*")')
DEFINE = re.compile(r'^#define(?:[^\n]*\\\n)*[^\n]*', re.MULTILINE)
CALL = re.compile(r'\b(QZ_LOG_\w+|QZ_ASSERT|throw \w+(?:::\w+)?|PrintLogMessageWithTimeStamp)\(')
TEXT = re.compile(r'"((?:[^"\\]|\\.)*)"')
# Definitions begin at the left margin, or with one indentation in a class of a header.
DEFINITION = re.compile(r'(?=[A-Za-z_~\[])[^;=()]*?(operator\W+|~?\b\w+)\((?!.*;$)')


class Call:
    """A call of the logger, an assertion, or a throw."""

    def __init__(self, what, arguments, function, file, path, lines):
        self.what = what
        self.arguments = arguments
        self.function = function
        self.file = file  # the name that is logged
        self.path = path  # the source
        self.lines = lines  # from the first line of the call to its last one

    def texts(self):
        return TEXT.findall(re.sub(r'" "', '', self.arguments))


def _end_of_arguments(text, start):
    """The position of the parenthesis that closes the one before start."""
    depth, position = 1, start
    while depth:
        quoted = TEXT.match(text, position)
        if quoted:
            position = quoted.end()
            continue
        depth += {'(': 1, ')': -1}.get(text[position], 0)
        position += 1
    return position - 1


def _function_before(lines, margins):
    """The name of the function that contains the last of the lines."""
    for line in reversed(lines):
        for margin in margins:
            found = DEFINITION.match(line[len(margin):]) if line.startswith(margin) else None
            if found:
                return found[1]
    return ''


def _calls_in(path):
    text = COMMENT_OR_TEXT.sub(lambda found: found[1] or '', path.read_text())
    file = re.search(r'#define QZ_LOG_FILE "(.*)"', text)
    text = re.sub(r'__attribute__\(\(.*?\)\) ?', '', DEFINE.sub(lambda found: '\n' * found[0].count('\n'), text))
    margins = ['', '    '] if path.suffix == '.h' else ['']
    for call in CALL.finditer(text):
        function = _function_before(text[:call.start()].split('\n')[:-1], margins)
        end = _end_of_arguments(text, call.end())
        lines = range(text.count('\n', 0, call.start()) + 1, text.count('\n', 0, end) + 2)
        yield Call(call[1], re.sub(r'\n *', ' ', text[call.end():end]), function, file[1] if file else '', path, lines)


def calls(*beginnings):
    """The calls in the sources and headers of the libraries whose names begin like this."""
    paths = [path for folder in ('agentkit', 'backend') for path in sorted(ROOT.glob(f'{folder}/**/*'))
             if path.suffix in ('.cpp', '.h') and 'testing' not in path.parts]
    return [call for path in paths for call in _calls_in(path) if call.what.startswith(beginnings)]


def table(page, heading):
    """The rows of the table under a heading of a document. Each row is a list of cells."""
    section = (ROOT / 'docs' / page).read_text().split(f'\n## {heading}\n')[1].split('\n## ')[0]
    rows = [line for line in section.split('\n') if line.startswith('| ')]
    return [[cell.strip() for cell in re.split(r' \| ', row.strip('| '))] for row in rows[1:]]


def code(cell):
    """The texts in backquotes in a cell."""
    return re.findall(r'`(.*?)`', cell)
