# SPDX-License-Identifier: MIT
#
# Reads a public header for the site: a sequence of comments, declarations and classes, in the order
# of the file. A comment directly above declarations documents all of them, up to the next empty line
# or comment. Destructors, copy constructors and copy assignments need no comment: below other
# declarations they form a group without one. Declarations that are not for users are omitted.

import re
from dataclasses import dataclass, field


@dataclass
class Comment:
    lines: list


@dataclass
class Declarations:
    """Lines of code, and the names that they declare: (line number, name)."""
    lines: list = field(default_factory=list)
    names: list = field(default_factory=list)

    def explains_itself(self):
        """Whether each line has a remark, overrides what is documented with its base, copies or
        destroys, or is a constructor without arguments."""
        return all(COPIES_OR_DESTROYS.match(line)
                   or re.search(r'//|/\*|override;|^\s+\w+\(\);|^\s+\w.*,$', line)
                   for line in self.lines)

    def only_copies_or_destroys(self):
        return all(map(COPIES_OR_DESTROYS.match, self.lines))


@dataclass
class Class:
    name: str
    line: str
    items: list


COPIES_OR_DESTROYS = re.compile(r'\s*(virtual )?~\w+\(|\s*(\w+)(& operator=)?\(const \2& \w+\);')
NOT_FOR_USERS = re.compile(r'static_assert|friend |static const struct \{|inline [^(]*::~?\w+\(|.*= delete;|.*\bVELUTILS_LOCAL\b')


def without_attributes(code):
    code = re.sub(r'\bVELUTILS_(API|NODISCARD|NUMBER_AS_TEXT)\b *', '', code)
    while '__attribute__((' in code:
        start = code.index('__attribute__((')
        end, depth = start + len('__attribute__'), 0
        while True:
            depth += {'(': 1, ')': -1}.get(code[end], 0)
            end += 1
            if depth == 0:
                break
        code = code[:start].rstrip() + (' ' if code[end:end + 1] not in (';', '') else '') + code[end:].lstrip()
    return code


def without_body(code):
    """Turns the definition of a function into its declaration."""
    if '{' not in code:
        return code
    if code.startswith('template <> struct'):
        return code[:code.index(' {')] + ';'
    if '(' not in code[:code.index('{')]:
        return code
    end, depth = code.index('('), 0
    if code[:end].endswith('operator'):  # operator()()
        end = code.index('(', end + 1)
    while True:
        depth += {'(': 1, ')': -1}.get(code[end], 0)
        end += 1
        if depth == 0:
            break
    after = re.match(r'( const| noexcept| override)*', code[end:])[0]
    return re.sub(r'\binline ', '', code[:end] + after + ';', count=1)


def declared_name(code):
    code = code.strip()
    match = (re.match(r'#define (\w+)', code) or re.match(r'(?:typedef )?(?:enum|struct|union) (\w+)', code)
             or re.match(r'using (\w+)', code) or re.match(r'typedef .*?(\w+);', code)
             or re.search(r'(operator *(?:\(\)|[^\s(]+|\w+)|~?\w+) *\(', code)
             or re.search(r'(\w+)(?:\[[^]]*\])*(?: =|;)', code))
    return match[1] if match else None


class Reader:
    def __init__(self, text):
        self.lines = text.split('\n')
        self.at = 0

    def next_line(self):
        self.at += 1
        return self.lines[self.at - 1]

    def comment(self, line):
        """The comment that begins in the line."""
        block = line.lstrip().startswith('/*')
        raw = [line]
        if block:
            while '*/' not in raw[-1]:
                raw.append(self.next_line())
        else:
            while self.at < len(self.lines) and re.match(r' *//', self.lines[self.at]):
                raw.append(self.next_line())
        text = [re.sub(r'^ *(/\*+|\*/|\*|//) ?', '', one) for one in raw]
        text = [re.sub(r' *\*/ *$', '', one) for one in text]
        return Comment([one for one in text if not one.startswith('SPDX-License-Identifier')])

    def statement(self, line):
        """The whole declaration that begins in the line."""
        code = [line]
        def balance():
            bare = re.sub(r'//.*|/\*.*?\*/|"[^"]*"|\'[^\']*\'', '', '\n'.join(code))
            return bare.count('{') - bare.count('}'), bare.rstrip()
        while True:
            depth, bare = balance()
            if depth == 0 and bare.endswith((';', '}')) or self.at >= len(self.lines):
                return code
            line = self.next_line()
            if line.startswith('#else'):  # keeps only the first of two beginnings
                while not line.startswith('#endif'):
                    line = self.next_line()
            elif not line.startswith('#'):
                code.append(line)

    def items(self, in_class=False):
        """Comments, declarations and classes up to the end of the class or file."""
        result, hidden, conditions = [], False, 0
        while self.at < len(self.lines):
            line = self.next_line()
            bare = line.strip()
            if in_class and re.match(r' *\};', line) and len(line) - len(line.lstrip()) == in_class - 1:
                break
            if re.match(r'(public|private|protected):', bare):
                hidden = bare != 'public:'
                continue
            if bare.startswith(('/*', '//')):
                comment = self.comment(line)
                if not hidden:
                    result.append(comment)
                continue
            if bare.startswith('#'):
                while line.endswith('\\'):
                    line = self.next_line()
                match = re.match(r'#define (VELUTILS_\w+)', bare)
                follows = result and isinstance(result[-1], Comment)
                if match and not match[1].endswith('_H') and follows:
                    result.append(Declarations([bare.rstrip('\\ ')], [(0, match[1])]))
                elif bare.startswith('#include') and len(result) > 1 and isinstance(result[-1], Comment):
                    result.pop()  # a comment on the include
                continue
            if not bare:
                result.append(None)
                continue
            if bare.startswith(('extern "C" {', 'namespace', '}')):
                continue
            if re.match(r'template <.*>$', bare):
                line += ' ' + self.next_line().strip()
                bare = line.strip()
            match = re.match(r'( *)(?:template <.*> )?class (?:VELUTILS_\w+ )*(\w+)[^;]*\{$', line)
            if match:
                items = self.items(len(match[1]) + 1)
                if not hidden:
                    result.append(Class(match[2], re.sub(r' *\{$', '', without_attributes(bare)), items))
                continue
            code = self.statement(line)
            if hidden or NOT_FOR_USERS.match(bare) or re.match(r'class \w+;|struct \w+;', bare):
                # The comment of an omitted declaration is omitted, too.
                if result and isinstance(result[-1], Comment) and not hidden:
                    result.pop()
                continue
            text = without_attributes('\n'.join(code))
            if not re.search(r'//|/\*', text.split('\n')[0]) or '{' in text.split('//')[0]:
                text = without_body(text)
            if (COPIES_OR_DESTROYS.match(text) and len(result) > 1 and isinstance(result[-2], Comment)
                    and isinstance(result[-1], Declarations) and not result[-1].only_copies_or_destroys()):
                result.append(None)  # the comment is not about it
            if not result or not isinstance(result[-1], Declarations):
                result.append(Declarations())
            name = declared_name(text)
            if name:
                result[-1].names.append((len(result[-1].lines), name))
            result[-1].lines += text.split('\n')
        return result


def read(path):
    """The comment about the file, and what follows."""
    with open(path, encoding='utf-8') as file:
        items = Reader(file.read()).items()
    first = next(i for i, item in enumerate(items) if isinstance(item, Comment))
    return items[first], items[first + 1:]


def parts(lines, may_head=False):
    """Splits a comment into parts: ('text', a paragraph), ('list', items in parts), ('drawing', lines
    to be kept as they are) and, if allowed, ('heading', a first line that is no sentence)."""
    lines = [line.rstrip() for line in lines]
    while lines and not lines[0]:
        lines = lines[1:]
    result = []
    if may_head and len(lines) > 1 and not lines[1] and not lines[0].endswith(('.', ':')):
        result.append(('heading', lines[0]))
        lines = lines[2:]
    follows = False  # the line before is of the same part
    for line in lines:
        kind = 'drawing' if line.startswith('  ') else 'text'
        if not line:
            follows = follows and result[-1][0] == 'drawing'
            if follows:
                result[-1][1].append('')
            continue
        if follows and result[-1][0] == kind and not line.startswith('REQUIRES:'):
            result[-1][1].append(line)
        else:
            result.append((kind, [line]))
        follows = True
    return list(map(finished, result))


def finished(part):
    kind, content = part
    if kind == 'text':
        return kind, ' '.join(content)
    if kind == 'drawing':
        while not content[-1]:
            content.pop()
        indent = min(len(line) - len(line.lstrip()) for line in content if line)
        content = [line[indent:] for line in content]
        return list_of(content) if content[0].startswith('- ') else (kind, content)
    return part


def list_of(lines):
    """Splits a list into items, and each item into parts."""
    items = []
    for line in lines:
        if line.startswith('- '):
            items.append([])
        items[-1].append(line[2:])
    return 'list', [parts(item) for item in items]


def first_sentence(comment):
    for kind, content in parts(comment.lines) if comment else ():
        if kind == 'text':
            return re.split(r'(?<=[.:])\s', content, maxsplit=1)[0].replace('`', '')
    return ''


def undocumented(items, scope=''):
    """The names in the items that have no comment."""
    about = None
    for item in items:
        if isinstance(item, Class):
            if about is None:
                yield scope + item.name
            yield from undocumented(item.items, scope + item.name + '::')
        elif isinstance(item, Declarations) and about is None and not item.explains_itself():
            yield scope + (item.names[0][1] if item.names else item.lines[0])
        about = item if isinstance(item, Comment) else None
