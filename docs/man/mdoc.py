"""Text as mdoc. A block is a list of lines."""

import re

WIDTH = 78
REFERENCE = re.compile(r'([A-Za-z_][\w-]*)\(([1-9][a-z]*)\)([.,;:)]*)')


def escape(text):
    return text.replace('\\', '\\e')


def protect(line):
    """A line of text that does not start as a macro does."""
    return '\\&' + line if line.startswith(('.', "'")) else line


def quotable(text):
    """Text for the line of a macro."""
    return escape(text).replace('"', '\\(dq')


def fill(text):
    """Text as a block: each sentence, and each reference to a page, starts a line."""
    lines = ['']
    for sentence in re.split(r'(?<=[.!?])\s+|(?<=[.!?]["\')])\s+', text.strip()):
        for word in sentence.split():
            reference = REFERENCE.fullmatch(word)
            if reference:
                name, section, after = reference.groups()
                lines += [' '.join(['.Xr', name, section, *after]), '']
            elif len(lines[-1]) + 1 + len(word) > WIDTH:
                lines.append(word)
            else:
                lines[-1] = f'{lines[-1]} {word}'.lstrip()
        lines.append('')
    return [line if line.startswith('.Xr ') else protect(line) for line in lines if line]


def literal(lines, options=' -offset indent'):
    return [f'.Bd -literal{options}', *(protect(escape(line)) for line in lines), '.Ed']


def tag_list(items):
    return [['.Bl -tag -width Ds', *sum(items, []), '.El']] if items else []


def joined(blocks):
    """One block of several; a text that follows another block starts a paragraph."""
    lines = []
    for block in blocks:
        starts_paragraph = lines and not block[0].startswith(('.Bl ', '.Bd '))
        lines += ['.Pp', *block] if starts_paragraph else block
    return lines
