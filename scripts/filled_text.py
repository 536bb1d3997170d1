"""Paragraphs of text and the lines that they stand in: what check-headers and check-prose have in common."""

import re

WIDTH = 120
# A line that ends this far before the next word would reach the edge is left as it is.
TOLERANCE = 8


def units(text):
    """The parts of a text that lines may break between. A code span stays whole, and so does what would begin a list, a
    heading, a quotation or a table if it came first in a line."""
    parts = []
    for match in re.finditer(r'(?:`[^`]*`|\S)+', text):
        part = match.group()
        if parts and re.fullmatch(r'[-+*|>]|#+|\d+[.)]', part):
            parts[-1] += ' ' + part
        else:
            parts.append(part)
    return parts


def fill(text, first, rest):
    """The lines of a text, the first one after the prefix `first`, each other one after `rest`."""
    lines = []
    line = first
    empty = True
    for unit in units(text):
        if empty:
            line += unit
            empty = False
        elif len(line) + 1 + len(unit) <= WIDTH:
            line += ' ' + unit
        else:
            lines.append(line)
            line = rest + unit
    return lines + [line]


class Paragraph:
    """Lines that make one text: `start` is the number of the first, `first` and `rest` what stands before the text."""

    def __init__(self, start, first, rest, text):
        self.start = start
        self.first = first
        self.rest = rest
        self.texts = [text]

    def text(self):
        return ' '.join(self.texts)

    def lines(self):
        return [(self.rest if i else self.first) + text for i, text in enumerate(self.texts)]

    def filled(self):
        return fill(self.text(), self.first, self.rest)

    def mistakes(self):
        """What is wrong with it: pairs of a line's number and a message."""
        found = []
        lines = self.lines()
        for i, line in enumerate(lines):
            number = self.start + i
            if len(line) > WIDTH and len(units(self.texts[i])) > 1:
                found.append((number, f'{len(line)} columns, where {WIDTH} is the most'))
            if i + 1 < len(lines):
                follows = (units(self.texts[i + 1]) or [''])[0]
                if self.texts[i].count('`') % 2 == 0 and len(line) + 1 + len(follows) <= WIDTH - TOLERANCE:
                    found.append((number, f'ends early: "{follows}" has room in it'))
        prose = re.sub(r'`[^`]*`', '`', self.text())
        for match in re.finditer(r'\b([A-Za-z]+) \1\b', prose, re.IGNORECASE):
            found.append((self.start, f'says a word twice: "{match.group()}"'))
        return found

    def is_filled(self):
        return not any('columns' in message or 'early' in message for _, message in self.mistakes())


def refill(lines, paragraphs):
    """The lines of a file with each paragraph filled that is not."""
    lines = list(lines)
    for paragraph in reversed(paragraphs):
        if not paragraph.is_filled():
            begin = paragraph.start - 1
            lines[begin:begin + len(paragraph.texts)] = paragraph.filled()
    return lines
