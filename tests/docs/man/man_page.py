"""Reads the source of a manual page."""

import re


def plain(text):
    """The text without escapes."""
    for escape, character in ((r"\-", "-"), (r"\(dq", '"'), (r"\(aq", "'"), (r"\(ti", "~"), (r"\`", "`"), (r"\&", "")):
        text = text.replace(escape, character)
    return re.sub(r"\\f.", "", text).replace(r"\e", "\\")


def text_of(line):
    """The text that a line shows, which may be a font macro."""
    macro = re.match(r"\.(B|I|BI|BR|IB|IR|RB|RI) ", line)
    if not macro:
        return plain(line)
    words = [quoted or bare for quoted, bare in re.findall(r'"([^"]*)"|(\S+)', line[macro.end():])]
    return plain((" " if len(macro[1]) == 1 else "").join(words))


def parts(lines, heading):
    """Maps the title of each part with this kind of heading to its lines."""
    found = {}
    for line in lines:
        if line.startswith(heading + " "):
            found[plain(line[len(heading) + 1:])] = current = []
        elif found:
            current.append(line)
    return found


class ManPage:
    def __init__(self, path):
        self.name = path.stem
        source = path.read_text(encoding="utf-8").replace("\\\n", "")
        self.sections = parts(source.splitlines(), ".SH")

    def text(self, section):
        return " ".join(text_of(line) for line in self.sections[section])

    def subsections(self, section):
        return parts(self.sections[section], ".SS")

    def session(self):
        """The examples: each command with its output."""
        commands = []
        is_example = False
        for line in self.sections.get("EXAMPLES", []):
            if line in (".EX", ".EE"):
                is_example = line == ".EX"
            elif is_example and line.startswith("$ "):
                commands.append((plain(line[2:]), []))
            elif is_example:
                commands[-1][1].append(plain(line))
        return commands

    def references(self):
        """The pages that it refers to, such as "qzsim.1". A status such as "HBA_STATUS_ERROR (1)" is not a page."""
        lines = (line for section in self.sections.values() for line in section)
        return {".".join(name) for line in lines for name in re.findall(r"(?!HBA_)\b([\w-]+) ?\((\d)\)", text_of(line))}


def items(lines):
    """The tag and the text of each tagged paragraph."""
    found = []
    expected = None
    for line in lines:
        if line == ".TP":
            expected = "tag"
        elif line.startswith((".PP", ".SS", ".SH")):
            expected = None
        elif expected == "tag":
            found.append((text_of(line), []))
            expected = "text"
        elif expected == "text" and line not in (".RS", ".RE"):
            found[-1][1].append(text_of(line))
    return [(tag, " ".join(text)) for tag, text in found]


def terms(lines):
    """The words of all tags, each with the text of its paragraph."""
    return [(word, text) for tag, text in items(lines) for word in tag.split(", ")]
