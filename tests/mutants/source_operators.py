"""Source operators: small wrong changes of one line of C++, like typing errors."""

import re

# With a blank on both sides: the formatter writes only binary operators so.
BINARY = {
    "relation": {"<": ["<="], "<=": ["<"], ">": [">="], ">=": [">"], "==": ["!="], "!=": ["=="]},
    "logic": {"&&": ["||"], "||": ["&&"]},
    "arithmetic": {
        "+": ["-"],
        "-": ["+"],
        "*": ["/"],
        "/": ["*"],
        "%": ["*"],
        "<<": [],
        ">>": ["<<"],
        "&": ["|"],
        "|": ["&"],
        "+=": ["-="],
        "-=": ["+="],
        "|=": ["&="],
        "&=": ["|="],
    },
}
TOKEN = re.compile(r"(?<= )([<>=!]=|[<>]{1,2}|&&|\|\||[-+*/%|&]=?)(?= )")
NUMBER = re.compile(r"(?<![\w.'])(0[xX][0-9A-Fa-f]+|\d+)(u?)(?![\w.'])")
CONDITION = re.compile(r"^(\s*(?:\} else )?(?:if|while) \()(.*)(\) \{)$")
TERNARY = re.compile(r"(return|=) ([^=?;]+) \? ")
STATEMENT = re.compile(
    r"^(\s*)(?:[\w:.\[\]]|->)+(?:\([^{}]*\))?(?: (?:[-+|&]?=) [^{}]*)?;$"
    r"|^(\s*)(?:\+\+|--)[\w.\[\]>-]+;$"
)
# Without these statements the program does the same.
NO_EFFECT = re.compile(r"^\s*\[\[fallthrough\]\];$|\breserve\(")
DECLARATION = re.compile(r"^\s*(?:return|using|break|continue|case|default|const|static|friend)\b")
NOT_CODE = re.compile(
    r"^\s*(?:#|template\b|using\b|static_assert\b|namespace\b|extern\b|public:|private:|$)"
)


def mask(line):
    """Returns the line with blanked texts, characters and comment; the columns stay the same."""
    shown = re.sub(r'"(?:\\.|[^"\\])*"|\'(?:\\.|[^\'\\])\'', lambda m: "\0" * len(m[0]), line)
    comment = shown.find("//")
    return shown if comment < 0 else shown[:comment] + "\0" * (len(shown) - comment)


def change(line, span, replacement):
    return line[: span[0]] + replacement + line[span[1] :]


def binary_changes(line, code):
    for found in TOKEN.finditer(code):
        for operator, table in BINARY.items():
            for replacement in table.get(found[1], []):
                yield operator, change(line, found.span(), replacement)


def number_changes(line, code):
    for found in NUMBER.finditer(code):
        base = 16 if found[1][:2].lower() == "0x" else 10
        value = int(found[1], base) + 1
        text = "0x%X" % value if base == 16 else str(value)
        yield "constant", change(line, found.span(), text + found[2])


def boolean_changes(line, code):
    for found in re.finditer(r"\b(true|false)\b", code):
        yield "constant", change(line, found.span(), "false" if found[1] == "true" else "true")


def negation_changes(line, code):
    found = CONDITION.match(code)
    if found:
        condition = line[found.start(2) : found.end(2)]
        yield "negation", change(line, found.span(2), "!(%s)" % condition)
    found = TERNARY.search(code)
    if found:
        condition = line[found.start(2) : found.end(2)]
        yield "negation", change(line, found.span(2), "!(%s)" % condition)
    for found in re.finditer(r"(?<=[( ])!(?=[\w(])", code):
        yield "negation", change(line, found.span(), "")
    found = re.match(r"^(\s*return )([^;?]*\b(?:&&|\|\||[=!<>]=|[<>])[^;?]*)(;)$", code)
    if found:
        value = line[found.start(2) : found.end(2)]
        yield "negation", change(line, found.span(2), "!(%s)" % value)


def step_changes(line, code):
    for found in re.finditer(r"\+\+|--", code):
        yield "arithmetic", change(line, found.span(), "--" if found[0] == "++" else "++")


def deletions(line, code):
    """Deletes a statement that is alone on its line: a call, an assignment, an increment."""
    found = STATEMENT.match(code)
    if NO_EFFECT.search(code):
        return
    if found and not DECLARATION.match(code) and code.count("(") == code.count(")"):
        indent = line[: len(line) - len(line.lstrip())]
        yield "deletion", indent + ";"
    for found in re.finditer(r"(?<=: )[\w.]+\([^;]*\);(?= (?:break|return))", code):
        yield "deletion", change(line, found.span(), ";")


CHANGES = [
    binary_changes,
    number_changes,
    boolean_changes,
    negation_changes,
    step_changes,
    deletions,
]


def mutants_of(file, text):
    """Yields all changes of a file in order: operator, file, unique old text, new text."""
    lines = text.split("\n")
    for at, line in enumerate(lines):
        code = mask(line)
        if NOT_CODE.match(code):
            continue
        seen = {line}
        for operator, changed in (found for changes in CHANGES for found in changes(line, code)):
            if changed not in seen:
                seen.add(changed)
                yield operator, file, *with_context(text, lines, at, changed)


def with_context(text, lines, at, changed):
    """Old and new text of a changed line, with earlier lines until the old text is unique."""
    if text.count(lines[at].strip()) == 1:
        return lines[at].strip(), changed.strip()
    begin = at
    while begin > 0 and text.count("\n".join(lines[begin : at + 1])) > 1:
        begin -= 1
    before = lines[begin:at]
    return "\n".join([*before, lines[at]]), "\n".join([*before, changed])
