"""The declarations of the public headers as Doxygen's XML has them, in the style of the headers."""

import re

WIDTH = 78


def text_of(element, path):
    found = element.find(path)
    return '' if found is None else ''.join(found.itertext()).strip()


def unscoped(name):
    return name.split('::')[-1]


def tidy(code):
    """A declaration in the style of the headers."""
    code = re.sub(r'\s*([&*]+)\s*(?=\w)', r'\1 ', code)
    code = re.sub(r'\s+([&*]+)', r'\1', code)
    code = re.sub(r'(\w)=(\w|{)', r'\1 = \2', code)
    code = code.replace('< ', '<').replace(' >', '>').replace(',...', ', ...')
    return re.sub(r'\)=(\w+)$', r') = \1', code)


def declaration(member):
    name = text_of(member, 'name')
    definition = text_of(member, 'definition')
    if member.get('kind') == 'typedef':
        return tidy(definition)
    definition = definition[:-len(text_of(member, 'qualifiedname') or name)] + name
    if member.get('kind') == 'variable':
        owner = 'static ' if member.get('static') == 'yes' else ''
        return f'{owner}{tidy(definition)} {text_of(member, "initializer")}'.rstrip()
    parameters = [text_of(one, 'type') for one in member.findall('templateparamlist/param')]
    template = f'template <{", ".join(parameters)}> ' if parameters else ''
    return template + tidy(definition + text_of(member, 'argsstring'))


def wrapped(code, indent):
    """A declaration as lines, its arguments below each other."""
    line = ' ' * indent + code + ';'
    if len(line) <= WIDTH:
        return [line]
    head, _, arguments = line.partition('(')
    line = head + '('
    margin = ' ' * len(line)
    lines = []
    for argument in re.findall(r'[^,]+,?\s*', arguments):
        if len(line + argument.rstrip()) > WIDTH:
            lines.append(line.rstrip())
            line = margin
        line += argument
    return lines + [line]


def members_of(compound):
    """What callers can reach, in the order of the header; no inherited and no defaulted members."""
    members = [member for member in compound.iter('memberdef') if member.get('prot') != 'private'
               and text_of(member, 'definition').endswith(text_of(member, 'qualifiedname'))
               and not text_of(member, 'argsstring').endswith('=default')]
    return sorted(members, key=lambda member: int(member.find('location').get('line')))


def within(scope, lines):
    return [f'namespace {scope} {{', '', *lines, '', '}'] if scope else lines


def class_synopsis(compound):
    scope, _, name = text_of(compound, 'compoundname').rpartition('::')
    kind = compound.get('kind')
    bases = ', '.join(f'{base.get("prot")} {base.text.removeprefix(scope + "::")}'
                      for base in compound.iter('basecompoundref'))
    lines = [f'{kind} {name} : {bases} {{' if bases else f'{kind} {name} {{']
    access = 'public' if kind == 'struct' else 'private'
    for member in members_of(compound):
        if member.get('prot') != access:
            access = member.get('prot')
            lines += ['', f' {access}:'] if lines[1:] else [f' {access}:']
        lines += wrapped(declaration(member), 2)
    lines.append('};')
    return within(scope, lines)


def global_synopsis(member):
    scope = text_of(member, 'qualifiedname').rpartition('::')[0]
    if member.get('kind') == 'enum':
        kind = 'enum class' if member.get('strong') == 'yes' else 'enum'
        head = f'{kind} {text_of(member, "name")} : {text_of(member, "type")}'.removesuffix(' : ')
        values = [f'  {text_of(value, "name")} {text_of(value, "initializer")}'.rstrip() + ','
                  for value in member.iter('enumvalue')]
        return within(scope, [f'{head} {{', *values, '};'])
    storage = 'extern ' if member.get('kind') == 'variable' else ''
    return within(scope, wrapped(storage + declaration(member), 0))
