"""The table of mutations: each kind, and a function that finds its edits in a source."""

from dataclasses import dataclass


@dataclass(frozen=True)
class Edit:
    """Replaces a range of the source by a text."""

    start: int
    end: int
    text: str


def _replace(token, text):
    return Edit(token.start, token.end, text)


def _exchange(source, one, other):
    """Exchanges two ranges of tokens."""
    between = source.text[source.tokens[one[1]].end : source.tokens[other[0]].start]
    return Edit(
        source.tokens[one[0]].start,
        source.tokens[other[1]].end,
        source.text_of(*other) + between + source.text_of(*one),
    )


def _operators(table):
    """Replaces binary operators according to the table."""

    def find(source):
        for i, token in source.live():
            if token.text in table and token.kind == "mark" and source.is_between_spaces(i):
                yield from (_replace(token, text) for text in table[token.text])

    return find


def _words(table):
    """Replaces words according to the table."""

    def find(source):
        for _, token in source.live():
            if token.text in table and token.kind == "word":
                yield _replace(token, table[token.text])

    return find


def _both_ways(*pairs):
    return dict(pairs) | {other: one for one, other in pairs}


def _steps(source):
    for i, token in source.live():
        if token.text in ("++", "--") and source.text_at(i - 1) != "operator":
            yield _replace(token, "--" if token.text == "++" else "++")


def _arithmetic(source):
    yield from _operators({
        "+": ["-"], "-": ["+"], "*": ["/"], "/": ["*"], "&": ["|"], "|": ["&"],
        "<<": [">>"], ">>": ["<<"], "+=": ["-="], "-=": ["+="], "|=": ["&=", "="], "&=": ["|="],
    })(source)  # fmt: skip
    yield from _steps(source)


def _conditions(source):
    """Finds the conditions that are plain expressions without a declaration."""
    for first, last in source.headers("if", "while"):
        if not any(source.text_at(i) in ("=", ";") for i in range(first, last)):
            yield first, last


def _negations(source):
    for _, token in source.live():
        if token.text == "!":
            yield _replace(token, "")
    for first, last in _conditions(source):
        words = {source.text_at(i) for i in range(first, last + 1)}
        # For all others another mutation has the same effect.
        if words & {"&&", "||"} or not words & {"!", "==", "!=", "<", "<=", ">", ">="}:
            inside = source.text_of(first, last)
            yield Edit(source.tokens[first].start, source.tokens[last].end, f"!({inside})")


def _decisions(source):
    for first, last in _conditions(source):
        for text in ("true", "false"):
            yield Edit(source.tokens[first].start, source.tokens[last].end, text)


def _numbers(source):
    for _, token in source.live():
        if token.kind != "number":
            continue
        digits = token.text.replace("'", "").rstrip("uUlLzZ")
        suffix = token.text.replace("'", "")[len(digits) :]
        try:
            value = int(digits, 0)
        except ValueError:
            continue
        for other in (value + 1, value - 1):
            if other >= 0:
                yield _replace(token, f"{other}{suffix}")


def _characters(source):
    for _, token in source.live():
        if token.kind == "character":
            yield _replace(token, "'~'")


def _texts(source):
    for _, token in source.live():
        if token.kind == "text":
            yield _replace(token, '""' if token.text == '"~"' else f'"~{token.text[1:]}')


def _constants(source):
    yield from _numbers(source)
    yield from _characters(source)


def _dropped_statements(source):
    for first, last in source.statements:
        yield Edit(source.tokens[first].start, source.tokens[last].end, ";")


def _exchanged_statements(source):
    ends = {first: (first, last) for first, last in source.statements}
    for one in source.statements:
        other = ends.get(one[1] + 1)
        # The statement of an `if` stays with it.
        if other is None or source.text_at(one[0] - 1) in (")", "else"):
            continue
        if source.text_of(*one) != source.text_of(*other):
            yield _exchange(source, one, other)


def _holds_arguments(source, i):
    """Returns whether a bracket opens the arguments of a call or the elements of a value."""
    if i in source.code_braces or not source.is_in_code(i):
        return False
    text = source.text_at(i)
    return text == "{" or (text == "(" and source.tokens[i - 1].kind == "word")


def _exchanged_arguments(source):
    for i, _ in source.live():
        if not _holds_arguments(source, i):
            continue
        elements = source.elements(i)
        for one, other in zip(elements, elements[1:]):
            texts = source.text_of(*one), source.text_of(*other)
            if texts[0] != texts[1] and not any(text.startswith(("[", ".")) for text in texts):
                yield _exchange(source, one, other)


def _exchanged_choices(source):
    """Exchanges the alternatives of `condition ? one : other`."""
    for i, token in source.live():
        if token.text != "?":
            continue
        j = i + 1
        while source.text_at(j) != ":":
            j = source.partner.get(j, j) + 1
        last = j + 1
        while source.text_at(last) not in (";", ",", ")", "}", "]"):
            last = source.partner.get(last, last) + 1
        yield _exchange(source, (i + 1, j - 1), (j + 1, last - 1))


def _orders(source):
    yield from _exchanged_statements(source)
    yield from _exchanged_arguments(source)
    yield from _exchanged_choices(source)


# Results that equal an empty result, or that another kind mutates.
_EMPTY_RESULTS = {";", "{};", "nullptr;", "false;", "true;", "0;", "std::nullopt;"}


def _returns(source):
    for i, token in source.live():
        last = source.end_of_statement(i + 1)
        if token.text != "return" or source.text_of(i + 1, last) in _EMPTY_RESULTS:
            continue
        yield Edit(source.tokens[i + 1].start, source.tokens[last].end, "{};")


def _rows(source):
    """Drops a row of a table: an inner brace of `{{...}, {...}}` outside functions."""
    for i, token in source.live():
        if token.text != "{" or source.is_in_code(i):
            continue
        if source.around[i] is None or source.text_at(source.around[i]) != "{":
            continue
        closing = source.partner[i]
        if source.text_at(closing + 1) == "," and source.text_at(i - 1) in ("{", ","):
            yield Edit(token.start, source.tokens[closing + 1].end, "")


OPERATORS = {
    "comparison": _operators({
        "==": ["!="], "!=": ["=="],
        "<": ["<=", ">="], "<=": ["<", ">"], ">": [">=", "<="], ">=": [">", "<"],
    }),
    "connective": _operators({"&&": ["||"], "||": ["&&"]}),
    "negation": _negations,
    "decision": _decisions,
    "boolean": _words(_both_ways(("true", "false"))),
    "arithmetic": _arithmetic,
    "constant": _constants,
    "text": _texts,
    "statement": _dropped_statements,
    "order": _orders,
    "return": _returns,
    "row": _rows,
    "word": _words(_both_ways(
        ("min", "max"), ("front", "back"), ("kUpper", "kLower"), ("starts_with", "ends_with"),
        ("find_first_not_of", "find_last_not_of"),
    )),
}  # fmt: skip
