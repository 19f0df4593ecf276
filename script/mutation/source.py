"""A C++ source as tokens, with the structure that mutations need.

This is not a full parser. It relies on the layout of clang-format: a binary operator is between
spaces, a bracket of a template is not.
"""

import re
from dataclasses import dataclass
from functools import cached_property

_TOKEN = re.compile(
    r"""
    (?P<comment>   //[^\n]* | /\*.*?\*/ )
  | (?P<directive> ^[ \t]*\#(?:\\.|[^\n\\])* )
  | (?P<text>      "(?:\\.|[^"\\\n])*" )
  | (?P<number>    \d[\w.']* )
  | (?P<character> '(?:\\.|[^'\\\n])+' )
  | (?P<word>      [A-Za-z_]\w* )
  | (?P<mark>      <=>|->\*|\.\.\.|::|->|[=!<>+*/|&^%-]=|&&|\|\||<<|>>|\+\+|--|\S )
    """,
    re.VERBOSE | re.MULTILINE | re.DOTALL,
)

_CLOSING = {"(": ")", "[": "]", "{": "}"}
_LOGS = {"LOG", "PLOG", "VLOG"}
_CHECKS = {"CHECK", "CHECK_TEXT"}
# Words that begin code that does not run, up to a semicolon or the end of the brackets.
_DECLARATIONS = {"using", "static_assert", "friend"}
# Tokens before a brace that opens code, besides `;`, `{`, `}` and `:` within code.
_BEFORE_CODE = {")", "]", "const", "noexcept", "override", "else", "do", "mutable"}
_HEADERS = {"if", "for", "while", "switch"}
_NO_EXPRESSION = _LOGS | _HEADERS | {
    "return", "const", "constexpr", "static", "auto", "using", "struct", "enum", "case", "default",
    "else", "do", "public", "private", "template", "typename", "friend",
}  # fmt: skip
# A type, then a name: this can't begin an expression.
_DECLARATION = re.compile(r"[\w:]+(?:<.*>)?(?:\s+|[*&]+\s*|\s*[*&]+)\w+\s*[=;({\[]", re.DOTALL)


@dataclass(frozen=True)
class Token:
    kind: str
    text: str
    start: int

    @property
    def end(self):
        return self.start + len(self.text)


class Source:
    def __init__(self, path, text):
        self.path = path
        self.text = text
        self.tokens = [
            Token(match.lastgroup, match.group(), match.start())
            for match in _TOKEN.finditer(text)
            if match.lastgroup not in ("comment", "directive")
        ]
        self._pair_brackets()
        self._silence()

    def _pair_brackets(self):
        """Finds each bracket's partner, and the innermost bracket around each token."""
        self.partner = {}
        self.around = []
        open_brackets = []
        for i, token in enumerate(self.tokens):
            if token.text in _CLOSING.values() and token.kind == "mark" and open_brackets:
                opening = open_brackets.pop()
                self.partner[opening], self.partner[i] = i, opening
            self.around.append(open_brackets[-1] if open_brackets else None)
            if token.text in _CLOSING and token.kind == "mark":
                open_brackets.append(i)

    def _silence(self):
        """Marks the tokens that no mutation may change."""
        self.silent = set()
        for i, token in enumerate(self.tokens):
            if token.text in _LOGS | _DECLARATIONS:
                self.silent.update(range(i, self.end_of_statement(i) + 1))
            elif token.text in _CHECKS:
                self._silence_check(i)
            elif token.text == "template" and self.text_at(i + 1) == "<":
                self.silent.update(range(i, self._end_of_template(i + 1) + 1))
            elif token.text == "operator":
                self.silent.add(i + 1)
            elif token.text == "=" and self.text_at(i - 1) in (")", "const", "noexcept"):
                self.silent.add(i + 1)  # a pure virtual function

    def _silence_check(self, i):
        """Marks everything in a check except the condition."""
        closing = self.partner[i + 1]
        self.silent.update(range(closing + 1, self.end_of_statement(i)))
        self.silent.update(j for j in range(i, closing) if self.tokens[j].kind == "text")

    def _end_of_template(self, i):
        depth = 0
        while True:
            depth += {"<": 1, ">": -1, ">>": -2}.get(self.tokens[i].text, 0)
            if depth <= 0:
                return i
            i += 1

    def text_at(self, i):
        return self.tokens[i].text if 0 <= i < len(self.tokens) else ""

    def text_of(self, first, last):
        return self.text[self.tokens[first].start : self.tokens[last].end]

    def line_of(self, position):
        return self.text.count("\n", 0, position) + 1

    def live(self):
        """Returns the tokens that a mutation may change, each with its index."""
        return ((i, token) for i, token in enumerate(self.tokens) if i not in self.silent)

    def is_between_spaces(self, i):
        token = self.tokens[i]
        return self.text[token.start - 1].isspace() and self.text[token.end].isspace()

    @cached_property
    def code_braces(self):
        """The braces that contain statements."""
        braces = set()
        for i, token in enumerate(self.tokens):
            if token.text != "{" or token.kind != "mark":
                continue
            before = self.text_at(i - 1)
            if before in _BEFORE_CODE or (before in ";{}:" and self.around[i] in braces):
                braces.add(i)
        return braces

    def is_in_code(self, i):
        while i is not None:
            if i in self.code_braces:
                return True
            i = self.around[i]
        return False

    def end_of_statement(self, i):
        """Returns the index of the semicolon or closing bracket that ends the statement at `i`."""
        while i < len(self.tokens) - 1 and self.tokens[i].text not in (";", *_CLOSING.values()):
            i = self.partner.get(i, i) + 1
        return i

    def _begins_statement(self, i):
        if self.around[i] not in self.code_braces:
            return False
        before = self.text_at(i - 1)
        if before == ")":
            return self.text_at(self.partner[i - 1] - 1) in _HEADERS
        return before in (";", "{", "}", ":", "else")

    @cached_property
    def statements(self):
        """First and last token of each statement that is a single expression or a jump."""
        found = []
        for i, token in self.live():
            if not self._begins_statement(i) or token.text in "{};":
                continue
            last = self.end_of_statement(i)
            if token.text in _NO_EXPRESSION and self.text_of(i, last) != "return;":
                continue
            if self.text_at(last) == ";" and not _DECLARATION.match(self.text_of(i, last)):
                found.append((i, last))
        return found

    def headers(self, *words):
        """Yields the first and last token in the brackets after each of these words."""
        for i, token in self.live():
            if token.text in words and self.text_at(i + 1) == "(":
                yield i + 2, self.partner[i + 1] - 1

    def elements(self, opening):
        """Returns the first and last token of each element in a bracket."""
        found = []
        first = i = opening + 1
        closing = self.partner[opening]
        while i < closing:
            if self.tokens[i].text == ",":
                found.append((first, i - 1))
                first = i + 1
            i = self.partner.get(i, i) + 1
        return found + [(first, closing - 1)] if first < closing else found
