"""Finds log calls, throws and assertions in the sources of the libraries, and tables in the documents."""
import pathlib
import re

ROOT = pathlib.Path(__file__).resolve().parents[2]

COMMENT_OR_TEXT = re.compile(r'//[^\n]*|("(?:[^"\\\n]|\\.)*")')
DEFINE = re.compile(r'^#define(?:[^\n]*\\\n)*[^\n]*', re.MULTILINE)
CALL = re.compile(r'\b(QZ_LOG_\w+|QZ_ASSERT|throw \w+(?:::\w+)?|PrintLogMessageWithTimeStamp)\(')
TEXT = re.compile(r'"((?:[^"\\]|\\.)*)"')
# Definitions are not indented; in a class of a header they are indented once.
DEFINITION = re.compile(r'(?=[A-Za-z_~\[])[^;=()]*?(operator\W+|~?\b\w+)\((?!.*;$)')


class Call:
    """A call of the logger, an assertion, or a throw."""

    def __init__(self, what, arguments, function, file, line):
        self.what = what
        self.arguments = arguments
        self.function = function
        self.file = file
        self.line = line

    def texts(self):
        return TEXT.findall(re.sub(r'" "', '', self.arguments))


def _arguments(text, start):
    """The text from start to the closing parenthesis."""
    depth, position = 1, start
    while depth:
        quoted = TEXT.match(text, position)
        if quoted:
            position = quoted.end()
            continue
        depth += {'(': 1, ')': -1}.get(text[position], 0)
        position += 1
    return re.sub(r'\n *', ' ', text[start:position - 1])


def _function_before(lines, margins):
    """The name of the definition that contains the last of the lines."""
    for line in reversed(lines):
        for margin in margins:
            found = DEFINITION.match(line[len(margin):]) if line.startswith(margin) else None
            if found:
                return found[1]
    return ''


def _calls_in(path):
    text = COMMENT_OR_TEXT.sub(lambda found: found[1] or '', path.read_text())
    file = re.search(r'#define QZ_LOG_FILE "(.*)"', text)
    text = re.sub(r'__attribute__\(\(.*?\)\)', '', DEFINE.sub(lambda found: '\n' * found[0].count('\n'), text))
    margins = ['', '    '] if path.suffix == '.h' else ['']
    for call in CALL.finditer(text):
        function = _function_before(text[:call.start()].split('\n')[:-1], margins)
        line = text.count('\n', 0, call.start()) + 1
        yield Call(call[1], _arguments(text, call.end()), function, file[1] if file else '', line)


def calls(*beginnings):
    """The calls in backend/ whose names have one of the beginnings."""
    paths = [path for path in sorted(ROOT.glob('backend/**/*')) if path.suffix in ('.cpp', '.h')]
    return [call for path in paths for call in _calls_in(path) if call.what.startswith(beginnings)]


def table(page, heading):
    """The rows of the table below a heading of a document, as lists of cells."""
    section = (ROOT / 'docs' / page).read_text().split(f'\n## {heading}\n')[1].split('\n## ')[0]
    rows = [line for line in section.split('\n') if line.startswith('| ')]
    return [[cell.strip() for cell in re.split(r' \| ', row.strip('| '))] for row in rows[1:]]


def code(cell):
    """The texts in a cell that are marked as code."""
    return re.findall(r'`(.*?)`', cell)
