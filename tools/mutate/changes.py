# SPDX-License-Identifier: Apache-2.0
"""The single changes that can be made to a C or C++ source: each is one fault that a tester should notice."""
import re
from collections import Counter
from dataclasses import dataclass

TOKEN = re.compile(r'''
    (?P<skip>//[^\n]*|/\*.*?\*/|^[ \t]*\#(?:[^\n]*\\\n)*[^\n]*|\[\[.*?\]\]|\bstatic_assert\b[^;]*;|\bextern\s+"C")
  | (?P<string>(?:u8)?R"\((?:.*?)\)"|"(?:\\.|[^"\\\n])*")
  | (?P<char>'(?:\\.[0-9a-fA-F]*|[^'\\\n])')
  | (?P<number>\b(?:0[xX][0-9a-fA-F']+|[0-9][0-9']*)[uUlLzZ]*\b(?!\.[0-9]))
  | (?P<name>[A-Za-z_]\w*)
  | (?P<op><=>|<<=|>>=|->\*?|\.\.\.|::|\+\+|--|&&|\|\||<<|>>|[-+*/%&|^<>=!]=|[^\s\w])
''', re.X | re.S | re.M)

ALTERNATIVES = {
    '==': ['!='], '!=': ['=='], '<': ['<=', '>='], '<=': ['<', '>'], '>': ['>=', '<='], '>=': ['>', '<'],
    '&&': ['||'], '||': ['&&'], '+': ['-'], '-': ['+'], '*': ['/'], '/': ['*'], '%': ['*'], '&': ['|'], '|': ['&'],
    '<<': ['>>'], '>>': ['<<'], '+=': ['-='], '-=': ['+='], '|=': ['&='], '&=': ['|='], '++': ['--'], '--': ['++'],
    'true': ['false'], 'false': ['true'],
}
TIGHT = {'==', '!=', '<=', '>=', '++', '--', '+=', '-=', '|=', '&=', 'true', 'false'}
KEYWORDS = {'if', 'for', 'while', 'switch', 'return', 'sizeof', 'else', 'do', 'case', 'new', 'delete', 'using', 'goto'}
CLOSER = {'(': ')', '{': '}', '[': ']'}


@dataclass(frozen=True)
class Change:
    """One change: where it is in the file, and what stands there then."""
    file: str
    start: int
    end: int
    new: str
    number: int  # of its line, from 1
    scope: str   # the function or table it is in
    line: str    # the line's text
    what: str    # the change in words; with file, scope and line it is what the change goes by

    def key(self):
        return self.file, self.scope, self.line, self.what


@dataclass
class Token:
    kind: str
    text: str
    start: int
    end: int
    other: int = -1  # of a bracket: the index of its partner


def tokens_of(text):
    tokens, opened = [], []
    for match in TOKEN.finditer(text):
        if match.lastgroup == 'skip':
            continue
        token = Token(match.lastgroup, match.group(), match.start(), match.end())
        if token.text in CLOSER:
            opened.append(len(tokens))
        elif token.text in CLOSER.values() and opened:
            token.other = opened.pop()
            tokens[token.other].other = len(tokens)
        tokens.append(token)
    return tokens


class Finder:
    """Walks over a file's tokens and collects (start, end, replacement, words)."""

    def __init__(self, text):
        self.text = text
        self.tokens = tokens_of(text)
        self.found = []

    def at(self, index):
        return self.tokens[index].text if 0 <= index < len(self.tokens) else ''

    def replace(self, first, last, new, words=None):
        """Tokens first to last give way to new."""
        start, end = self.tokens[first].start, self.tokens[last].end
        old = ' '.join(self.text[start:end].split())
        self.found.append((start, end, new, words or f'{old} to {" ".join(new.split())}'))

    def stop(self, index, stops):
        """The first token from index on that is one of stops, outside of brackets; or what closes the bracket."""
        while index < len(self.tokens) and self.at(index) not in stops and self.at(index) not in CLOSER.values():
            index = self.tokens[index].other if self.at(index) in CLOSER and self.tokens[index].other > 0 else index
            index += 1
        return index

    def name_chain(self, index):
        """Where a::b.c->d[e] that begins at index ends; -1: none begins there."""
        if self.at(index) == '::':
            index += 1
        if index >= len(self.tokens) or self.tokens[index].kind != 'name' or self.at(index) in KEYWORDS:
            return -1
        while True:
            if self.at(index + 1) in ('::', '.', '->') and self.tokens[index + 2].kind == 'name':
                index += 2
            elif self.at(index + 1) == '[':
                index = self.tokens[index + 1].other
            else:
                return index

    def begins_statement(self, index):
        before = self.at(index - 1)
        if before == ')':
            return self.at(self.tokens[index - 1].other - 1) in ('if', 'for', 'while')
        return before in (';', '{', '}', ':', 'else', 'do')

    def spaced(self, index):
        token = self.tokens[index]
        return self.text[token.start - 1].isspace() and self.text[token.end:token.end + 1].isspace()

    def operator(self, index):
        text = self.at(index)
        if self.at(index - 1) == 'operator':
            return
        if text in ALTERNATIVES and (text in TIGHT or self.spaced(index)):
            for new in ALTERNATIVES[text]:
                self.replace(index, index, new)
        elif text == '!':
            self.replace(index, index, '', '! dropped')

    def constant(self, index):
        token = self.tokens[index]
        if token.kind == 'number':
            digits, suffix = re.fullmatch(r"(0[xX][0-9a-fA-F']+|[0-9']+)(\w*)", token.text).groups()
            octal = len(digits) > 1 and digits.isdigit() and digits[0] == '0'
            value = int(digits.replace("'", ''), 8 if octal else 0)
            form = {'0x': hex, '0X': hex}.get(digits[:2], oct if octal else str)
            for other in {value + 1, max(value - 1, 0)} - {value}:
                self.replace(index, index, form(other).replace('0o', '0') + suffix)
        elif token.kind == 'char':
            self.replace(index, index, "'y'" if token.text == "'x'" else "'x'")
        elif token.kind == 'string' and not token.text.endswith(')"'):
            letter = re.search(r'(?:\\.|%[-#0-9.*]*[a-z]+|[^A-Za-z0-9\\%]|%)*([A-Za-z0-9])', token.text)
            cut = letter.start(1) if letter else 1
            new = 'y' if token.text[cut] == 'x' else 'x'
            self.replace(index, index, token.text[:cut] + new + token.text[cut + (1 if letter else 0):])
        elif token.kind == 'name' and re.fullmatch(r'E[A-Z]{3,}', token.text):
            self.replace(index, index, 'EFAULT' if token.text == 'EINVAL' else 'EINVAL')

    def condition(self, index):
        """An if that is never taken, whatever its condition does besides."""
        if self.at(index) != 'if' or self.at(index + 1) != '(':
            return
        close = self.tokens[index + 1].other
        inner = self.stop(index + 2, (';',))
        if inner < close:
            self.replace(inner + 1, close - 1, 'false', 'condition to false')
        else:
            self.replace(close, close, '; false)', 'condition to false')

    def call(self, index):
        """A call or an assignment whose effect is left out, or whose result is nothing."""
        before = self.at(index - 1)
        if self.begins_statement(index):
            begin = index
            if (self.at(index), self.at(index + 1), self.at(index + 2)) == ('(', 'void', ')'):
                begin = index + 3
            last = self.name_chain(begin)
            if last > 0 and self.at(last + 1) == '(' and self.at(self.tokens[last + 1].other + 1) == ';':
                self.replace(index, self.tokens[last + 1].other, '', f'call of {self.at(last)} dropped')
            elif last > 0 and self.at(last + 1) in ('=', '+=', '-=', '|=', '&='):
                self.replace(index, self.stop(last, (';',)) - 1, '', f'assignment of {self.at(last)} dropped')
            elif self.at(index) == 'return' and self.at(index + 2) != ';':
                self.replace(index + 1, self.stop(index, (';',)) - 1, '{}', 'result dropped')
        elif before == '=':
            last = self.name_chain(index)
            if last > 0 and self.at(last + 1) == '(':
                close = self.tokens[last + 1].other
                if self.at(close + 1) in (';', ')'):
                    self.replace(index, close, '{}', f'result of {self.at(last)} dropped')

    def arms(self, index):
        """The arms of ?: and of if and else, swapped."""
        if self.at(index) == '?':
            middle, depth = index, 1
            while depth > 0 and middle < len(self.tokens):
                middle = self.stop(middle + 1, ('?', ':', ';'))
                depth += {'?': 1, ':': -1}.get(self.at(middle), -depth)
            if self.at(middle) != ':':
                return
            end = self.stop(middle + 1, (',', ';', ':'))
        elif self.at(index) == 'else' and self.at(index - 1) == '}' and self.at(index + 1) == '{':
            middle, end = index, self.tokens[index + 1].other + 1
            index = self.tokens[index - 1].other - 1
        else:
            return
        if end > len(self.tokens):
            return
        parts = (self.tokens[index].end, self.tokens[middle].start, self.tokens[middle].end, self.tokens[end - 1].end)
        one, word, two = (self.text[parts[i]:parts[i + 1]] for i in range(3))
        self.found.append((parts[0], parts[3], f'{two} {word} {one}', 'arms swapped'))

    def elements(self, index):
        """The elements of the initializer that opens at index, as (first, last) tokens."""
        result, first = [], index + 1
        while first < self.tokens[index].other:
            end = self.stop(first, (',', ';'))
            if self.at(end) == ';':
                return []
            result.append((first, end - 1))
            first = end + 1
        return result

    def table(self, index):
        """A row that is missing, an entry that is its neighbour's."""
        if self.at(index) != '{' or self.tokens[index].other < 0 or self.at(index - 1) == ')':
            return
        rows = self.elements(index)
        text = lambda part: ' '.join(self.text[self.tokens[part[0]].start:self.tokens[part[1]].end].split())
        if len(rows) < 2:
            return
        if all(self.at(first) == '{' for first, _ in rows):
            for row, next_row in zip(rows, rows[1:] + rows[-2:-1]):
                fields, others = self.elements(row[0]), self.elements(next_row[0])
                if row is not rows[-1]:
                    self.replace(row[0], row[1] + 1, '', 'row dropped')
                for field, other in zip(fields, others):
                    if len(fields) == len(others) and text(field) != text(other):
                        self.replace(*field, text(other))
        elif len(rows) > 2 and all(first == last and self.tokens[first].kind == 'name' for first, last in rows):
            for row, other in zip(rows, rows[1:] + rows[-2:-1]):
                self.replace(*row, text(other))

    def all(self):
        for index in range(1, len(self.tokens)):
            for rule in (self.operator, self.constant, self.condition, self.call, self.arms, self.table):
                rule(index)
        return self.found


def changes_of(file, text):
    """Every single change to the text of the file, each with a key of its own."""
    starts = [0] + [match.end() for match in re.finditer('\n', text)]
    lines = text.split('\n')
    scopes, scope = [], ''
    for line in lines:
        if re.match(r'[A-Za-z_\[]', line) and not re.match(r'(namespace|using|extern "C")\b', line):
            names = re.findall(r'(\w+)(?:<.*>)?\s*(?:\(|\[|=|\{)', line) or [line.strip()]
            scope = names[0]
        scopes.append(scope)
    seen, spots, result, row = Counter(), set(), [], 0
    for start, end, new, words in sorted(Finder(text).all(), key=lambda change: change[:2]):
        while row + 1 < len(starts) and starts[row + 1] <= start:
            row += 1
        if text[start:end] == new or (start, end, new) in spots:
            continue
        spots.add((start, end, new))
        key = (scopes[row], lines[row].strip(), words)
        seen[key] += 1
        if seen[key] > 1:
            words += f' ({seen[key]})'
        result.append(Change(file, start, end, new, row + 1, scopes[row], lines[row].strip(), words))
    return result
