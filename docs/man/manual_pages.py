"""Makes the manual pages of section 3velmo from the comments of the public headers.

usage: manual_pages.py DOXYGEN DOXYFILE DATED_PAGE OUTPUT_DIR HEADER...

Doxygen reads the headers; this script turns its XML into mdoc, one page for each class,
enumeration, function and variable, with the date of DATED_PAGE. In a comment, "@par Title" starts
a section of the page, and "name(7)" refers to another page.
"""

import re
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as ET
from pathlib import Path

from declarations import class_synopsis, global_synopsis, members_of, text_of, tidy, unscoped
from mdoc import REFERENCE, escape, fill, joined, literal, quotable, tag_list

SECTIONS = ['RETURN VALUES', 'ENVIRONMENT', 'FILES', 'EXAMPLES', 'ERRORS', 'SEE ALSO', 'CAVEATS',
            'SECURITY CONSIDERATIONS']  # in the order of mdoc(7)
CLIENT_HEADERS = ['velmo.h', 'velmo.hpp']
# The section of the files and references: another library may have a page "Config" in section 3.
SECTION = '3velmo'
# The section in the head of a page: formatters have a title only for sections that they know.
TITLED_SECTION = '3'


def read_compounds(doxygen, doxyfile, headers):
    """What Doxygen finds in the headers: classes, files, namespaces."""
    with tempfile.TemporaryDirectory() as directory:
        inputs = ' '.join(f'"{header}"' for header in headers)
        settings = (f'\nINPUT = {inputs}\nOUTPUT_DIRECTORY = "{directory}"\nGENERATE_HTML = NO\n'
                    'GENERATE_XML = YES\nXML_PROGRAMLISTING = NO\nWARN_AS_ERROR = NO\n')
        subprocess.run([doxygen, '-'], input=Path(doxyfile).read_text() + settings, text=True,
                       check=True)
        files = sorted(Path(directory, 'xml').glob('*.xml'))
        roots = [ET.parse(file).getroot() for file in files]
    return [compound for root in roots for compound in root.findall('compounddef')]


def has_globals(compound):
    return compound.get('kind') == 'file' or text_of(compound, 'compoundname') == 'velmo'


def page_name(name):
    """Names of velmo.hpp keep their namespace: it has a class Error."""
    return name if name.startswith('velmo::') else unscoped(name)


class Page:
    """One page; "names" has the page of each identifier that Doxygen links to."""

    def __init__(self, name, names):
        self.name = name
        self.names = names
        self.related = {('libvelmo', '7')}
        self.sections = {}

    def inline(self, element, parameters):
        return escape(element.text or '') + ''.join(
            self.inline_child(child, parameters) + escape(child.tail or '') for child in element)

    def inline_child(self, child, parameters):
        inside = self.inline(child, parameters)
        if child.tag == 'ref':
            page = self.names.get(child.get('refid'))
            if page != self.name and inside.removeprefix('::') == f'{page}()':
                return f'{page}({SECTION})'
            return re.sub(r'^(?:brix::)?(?:imutils::|velmo::)?([\w:~]+)', r'\\fB\1\\fP', inside)
        if child.tag == 'computeroutput':
            return f'\\fI{inside}\\fP' if inside in parameters else f'\\fB{inside}\\fP'
        raise SystemExit(f'{self.name}: no rule for <{child.tag}>')

    def block(self, child, parameters):
        """The block of an element, None if it is inline. Those that stand elsewhere are empty."""
        if child.tag == 'programlisting':
            for space in child.iter('sp'):
                space.text = ' '
            return literal([''.join(line.itertext()) for line in child.iter('codeline')])
        if child.tag == 'verbatim':
            return literal(child.text.rstrip().split('\n'))
        if child.tag == 'itemizedlist':
            items = [['.It', *joined(self.blocks(item, parameters))] for item in child]
            return ['.Bl -bullet', *sum(items, []), '.El']
        if child.tag == 'simplesect' and child.get('kind') == 'par':
            title = text_of(child, 'title').upper()
            self.sections.setdefault(title, []).extend(self.blocks(child, parameters))
        return [] if child.tag in ('simplesect', 'parameterlist') else None

    def text(self, text):
        self.related |= {reference[:2] for reference in REFERENCE.findall(text)}
        return fill(text)

    def blocks(self, element, parameters=()):
        blocks = []
        for para in element.findall('para'):
            text = escape(para.text or '')
            for child in para:
                block = self.block(child, parameters)
                if block is None:
                    text += self.inline_child(child, parameters)
                else:
                    blocks += [self.text(text), block]
                    text = ''
                text += escape(child.tail or '')
            blocks.append(self.text(text))
        return [block for block in blocks if block]

    def description(self, entity, parameters=()):
        """The comment. Doxygen keeps its first sentence apart."""
        brief = self.blocks(entity.find('briefdescription'), parameters)
        details = self.blocks(entity.find('detaileddescription'), parameters)
        if brief and details and not details[0][0].startswith(('.Bl ', '.Bd ')):
            return [brief[0] + details[0], *details[1:]]
        return brief + details

    def items(self, function, kind, macro, parameters):
        """List items for the arguments of a function, or for what it throws."""
        items = []
        for item in function.findall(f'.//parameterlist[@kind="{kind}"]/parameteritem'):
            names = [''.join(name.itertext()) for name in item.iter('parametername')]
            names = [unscoped(name) if name.startswith('brix::') else name for name in names]
            text = self.blocks(item.find('parameterdescription'), parameters)
            items.append([f'.It {macro} {" , ".join(names)}', *joined(text)])
        return items

    def function(self, function):
        """What the comment of a function says: text, arguments, results, errors."""
        parameters = [text_of(one, 'declname') for one in function.findall('param')]
        found = function.find('.//simplesect[@kind="return"]')
        return (self.description(function, parameters),
                self.items(function, 'param', 'Fa', parameters),
                [] if found is None else self.blocks(found, parameters),
                lambda macro: self.items(function, 'exception', macro, parameters))

    def global_body(self, entity):
        self.relate(entity)
        if entity.get('kind') == 'enum':
            values = [[f'.It Dv {text_of(value, "name")}', *joined(self.description(value))]
                      for value in entity.iter('enumvalue') if text_of(value, 'briefdescription')]
            return self.description(entity) + tag_list(values)
        text, arguments, results, errors = self.function(entity)
        if results:
            results[0][0] = results[0][0][0].upper() + results[0][0][1:]
            self.sections['RETURN VALUES'] = results
        if errors('Vt'):
            self.sections['ERRORS'] = tag_list(errors('Vt')) + self.sections.get('ERRORS', [])
        return text + tag_list(arguments)

    def relate(self, element):
        """Everything that the element links to belongs under SEE ALSO."""
        linked = {self.names.get(link.get('refid')) for link in element.iter()}
        self.related |= {(name, SECTION) for name in linked - {None}}

    def class_body(self, compound):
        for element in [*members_of(compound), *compound.findall('*[para]'),
                        *compound.findall('basecompoundref'),
                        *compound.findall('derivedcompoundref')]:
            self.relate(element)
        members = [self.member(member) for member in members_of(compound)
                   if text_of(member, 'briefdescription')]
        return self.description(compound) + tag_list(members)

    def member(self, member):
        name = text_of(member, 'name')
        if member.get('kind') == 'variable':
            return [f'.It Va {name}', *joined(self.description(member))]
        text, arguments, results, errors = self.function(member)
        types = [tidy(f'{text_of(one, "type")} {text_of(one, "declname")}'.strip())
                 for one in member.findall('param')]
        results = [['.It Returns', *joined(results)]] if results else []
        parts = text + tag_list(arguments + results + errors('No Throws Vt'))
        if any(',' in one for one in types):  # not allowed in an argument of Fn
            item = f'.It Ic "{quotable(name)}({quotable(", ".join(types))})"'
        else:
            item = ' '.join([f'.It Fn {name}', *(f'"{quotable(one)}"' for one in types)])
        return [item, *joined(parts)]

    def render(self, header, date, brief, synopsis, body):
        if not brief:
            raise SystemExit(f'{self.name}: no comment in {header}')
        brief = re.sub(r'^(An?|The) ', '', re.split(r'\.(?:\s|$)', brief)[0])
        related = sorted(self.related - {(self.name, SECTION)}, key=lambda page: (page[1], page[0].lower()))
        references = [f'.Xr {name} {section} ,' for name, section in related]
        references[-1] = references[-1].removesuffix(' ,')
        self.sections['SEE ALSO'] = [references]
        library = 'velmo-client' if header in CLIENT_HEADERS else 'velmo'
        lines = [f'.\\" Made from velmo/{header}: change the comments there.',
                 f'.Dd {date}', f'.Dt {self.name.upper()} {TITLED_SECTION}', '.Os libvelmo',
                 '.Sh NAME', f'.Nm {self.name}', f'.Nd {brief[0].lower()}{quotable(brief[1:])}',
                 '.Sh LIBRARY', 'velmo client library', f'.Pq lib{library} , \\-l{library}',
                 '.Sh SYNOPSIS', f'.In velmo/{header}', *literal(synopsis, ''),
                 '.Sh DESCRIPTION', *joined(body)]
        for title in sorted(self.sections, key=SECTIONS.index):
            lines += [f'.Sh {title}', *joined(self.sections[title])]
        return '\n'.join(lines) + '\n'


def main(doxygen, doxyfile, dated_page, output, *headers):
    date = re.search(r'^\.Dd (.*)$', Path(dated_page).read_text(), re.MULTILINE)[1]
    compounds = read_compounds(doxygen, doxyfile, headers)
    classes = [one for one in compounds if one.get('kind') in ('class', 'struct')
               and one.get('prot') != 'private']
    structs = {text_of(one, 'compoundname') for one in classes}
    globals_ = [member for one in compounds if has_globals(one)
                for member in one.iter('memberdef') if member.get('kind') != 'define'
                and text_of(member, 'name') not in structs]  # "typedef struct x {...} x" is x
    entities = [(page_name(text_of(one, 'compoundname')), one) for one in classes] + \
        [(page_name(text_of(one, 'qualifiedname') or text_of(one, 'name')), one)
         for one in globals_]
    names = {found.get('id'): name for name, entity in entities
             for found in entity.iter() if found.get('id')}
    Path(output).mkdir(parents=True, exist_ok=True)
    for name, entity in entities:
        page = Page(name, names)
        if entity in classes:
            synopsis, body = class_synopsis(entity), page.class_body(entity)
        else:
            synopsis, body = global_synopsis(entity), page.global_body(entity)
        header = Path(entity.find('location').get('file')).name
        text = page.render(header, date, text_of(entity, 'briefdescription'), synopsis, body)
        Path(output, f'{name}.{SECTION}').write_text(text)


if __name__ == '__main__':
    main(*sys.argv[1:])
