"""Finds the mutants of a source: each small slip that a tired hand could make in it.

Clang's syntax tree says what is a comparison, a condition or a statement; a mutant is a stretch of the
source's own text and what stands there instead.
"""

import dataclasses
import hashlib
import itertools
import re

from clang import cindex
from clang.cindex import CursorKind, TokenKind, TypeKind

COMPARISONS = {
    "<": ["<=", ">="], "<=": ["<", ">"], ">": [">=", "<="], ">=": [">", "<"], "==": ["!="], "!=": ["=="],
}
ARITHMETIC = {
    "+": "-", "-": "+", "*": "/", "/": "*", "%": "/", "<<": ">>", ">>": "<<", "&": "|", "|": "&", "^": "&",
    "+=": "-=", "-=": "+=", "*=": "/=", "/=": "*=", "%=": "/=", "<<=": ">>=", ">>=": "<<=", "&=": "|=",
    "|=": "&=", "^=": "&=", "++": "--", "--": "++",
}
LOGIC = {"&&": "||", "||": "&&"}
LOOPS_AND_CHOICES = {
    CursorKind.IF_STMT, CursorKind.WHILE_STMT, CursorKind.DO_STMT, CursorKind.FOR_STMT,
    CursorKind.CONDITIONAL_OPERATOR,
}
# Removing these is removing what stands within them, or leaves nothing that compiles.
KEPT_STATEMENTS = {CursorKind.COMPOUND_STMT, CursorKind.NULL_STMT, CursorKind.CASE_STMT, CursorKind.DEFAULT_STMT}
OPERATORS = {
    CursorKind.BINARY_OPERATOR, CursorKind.UNARY_OPERATOR, CursorKind.COMPOUND_ASSIGNMENT_OPERATOR,
    CursorKind.CALL_EXPR,
}
LITERALS = {
    CursorKind.INTEGER_LITERAL, CursorKind.CHARACTER_LITERAL, CursorKind.STRING_LITERAL,
    CursorKind.CXX_BOOL_LITERAL_EXPR, CursorKind.CXX_NULL_PTR_LITERAL_EXPR, CursorKind.INIT_LIST_EXPR,
    CursorKind.LAMBDA_EXPR,
}
UNEVALUATED = {CursorKind.STATIC_ASSERT, CursorKind.CXX_FINAL_ATTR, CursorKind.CXX_OVERRIDE_ATTR}
FUNCTIONS = {
    CursorKind.FUNCTION_DECL, CursorKind.CXX_METHOD, CursorKind.CONSTRUCTOR, CursorKind.DESTRUCTOR,
    CursorKind.FUNCTION_TEMPLATE, CursorKind.CONVERSION_FUNCTION,
}


class FinderError(Exception):
    """A source that Clang cannot read."""


@dataclasses.dataclass(frozen=True, order=True)
class Mutant:
    """A stretch of a file, by offset in bytes, and what stands there instead."""

    file: str
    start: int
    end: int
    kind: str
    old: str
    new: str
    line: int
    text: str  # of the line
    function: str
    repetition: int = 0  # among those that read the same

    def key(self):
        """What names it, wherever the lines move."""
        number = f" #{self.repetition + 1}" if self.repetition else ""
        return " | ".join([self.file, self.function, self.kind, self.text,
                           f"{shortened(self.old)} -> {shortened(self.new)}{number}"])

    def applied(self, source):
        return source[:self.start] + self.new.encode() + source[self.end:]


def shortened(text):
    """On one line, and no longer than that is read."""
    text = " ".join(text.split())
    return text if len(text) <= 60 else text[:40] + " ... " + text[-15:]


def mutants(path, flags, root):
    """The mutants of a file below `root`, in the order of its text."""
    with open(root / path, "rb") as file:
        source = file.read()
    options = cindex.TranslationUnit.PARSE_DETAILED_PROCESSING_RECORD
    unit = cindex.Index.create().parse(str(root / path), args=["-xc++", *flags], options=options)
    problems = [str(d) for d in unit.diagnostics if d.severity >= cindex.Diagnostic.Error]
    if problems:
        raise FinderError(problems[0])
    finder = Finder(path, source, str(root / path), unit)
    return numbered(sorted(finder.found))


def digest(path, root):
    """Changes with the code of a file, and not with its comments."""
    unit = cindex.Index.create().parse(str(root / path), args=["-xc++"])
    tokens = unit.get_tokens(extent=unit.cursor.extent)
    code = " ".join(token.spelling for token in tokens if token.kind != TokenKind.COMMENT)
    return hashlib.sha256(code.encode()).hexdigest()[:16]


def numbered(found):
    """Tells apart those that read the same."""
    seen = {}
    for mutant in found:
        count = seen.get(mutant.key(), 0)
        seen[mutant.key()] = count + 1
        yield dataclasses.replace(mutant, repetition=count)


class Finder:
    """Walks over a syntax tree and gathers mutants."""

    def __init__(self, path, source, name, unit):
        self.path = path
        self.source = source
        self.name = name
        self.lines = source.decode().split("\n")
        self.tokens = {}  # by offset: those of the file
        for token in unit.get_tokens(extent=unit.cursor.extent):
            self.tokens[token.extent.start.offset] = token
        self.offsets = sorted(self.tokens)
        self.macros = self.macro_constants(unit)
        self.found = set()
        self.taken = set()  # (start, end, new)
        self.functions = [""]
        self.walk(unit.cursor)

    def macro_constants(self, unit):
        """Where the system's constants stand, such as EINTR: start to end."""
        spans = {}
        for cursor in unit.cursor.get_children():
            if cursor.kind == CursorKind.MACRO_INSTANTIATION and self.is_here(cursor):
                start, end = self.span(cursor)
                if re.fullmatch(rb"(?!TARQLOG_)[A-Z][A-Z0-9_]*", self.source[start:end]):
                    spans[start] = end
        return spans

    def is_here(self, cursor):
        file = cursor.extent.start.file
        return file is not None and file.name == self.name

    def span(self, cursor):
        return cursor.extent.start.offset, cursor.extent.end.offset

    def text(self, cursor):
        start, end = self.span(cursor)
        return self.source[start:end].decode()

    def add(self, kind, start, end, new):
        old = self.source[start:end].decode()
        if old == new or (start, end, new) in self.taken:
            return
        self.taken.add((start, end, new))
        line = self.source.count(b"\n", 0, start) + 1
        self.found.add(Mutant(self.path, start, end, kind, old, new, line, self.lines[line - 1].strip(),
                              self.functions[-1]))

    def walk(self, cursor):
        for child in cursor.get_children():
            if child.kind == CursorKind.TRANSLATION_UNIT or not self.is_here(child):
                continue
            if child.kind in UNEVALUATED or child.kind.is_preprocessing():
                continue
            isFunction = child.kind in FUNCTIONS
            if isFunction:
                self.functions.append(child.spelling)
            self.visit(child)
            self.walk(child)
            if isFunction:
                self.functions.pop()

    def visit(self, cursor):
        kind = cursor.kind
        children = list(cursor.get_children())
        if kind in OPERATORS:
            self.operator(cursor, children)
        if kind == CursorKind.CALL_EXPR:
            self.swapped_arguments(cursor)
        if kind in LOOPS_AND_CHOICES:
            self.condition(cursor, children)
        if kind == CursorKind.COMPOUND_STMT:
            self.statements(children)
        elif kind in (CursorKind.CASE_STMT, CursorKind.DEFAULT_STMT):
            self.statements(children[-1:])
        if kind == CursorKind.RETURN_STMT:
            self.returned(children)
        self.constant(cursor)

    # Comparisons, arithmetic, logic

    def operator(self, cursor, children):
        token = self.operator_token(cursor, children)
        if token is None:
            return
        start, end = token.extent.start.offset, token.extent.end.offset
        name = token.spelling
        isUnary = len(children) == 1 or cursor.kind == CursorKind.UNARY_OPERATOR
        if isUnary and name in ("!", "-", "~"):
            self.add("condition" if name == "!" else "arithmetic", start, end, "")
        elif isUnary and name not in ("++", "--"):
            return
        elif name in COMPARISONS:
            for new in COMPARISONS[name]:
                self.add("comparison", start, end, new)
        elif name in ARITHMETIC and cursor.type.get_canonical().kind != TypeKind.RECORD:  # text, streams
            self.add("arithmetic", start, end, ARITHMETIC[name])
        elif name in LOGIC:
            self.add("condition", start, end, LOGIC[name])

    def operator_token(self, cursor, children):
        """The operator itself: between its operands, or on the free side of its only one."""
        if cursor.kind == CursorKind.CALL_EXPR and not cursor.spelling.startswith("operator"):
            return None
        start, end = self.span(cursor)
        operands = [self.span(child) for child in children
                    if not (cursor.kind == CursorKind.CALL_EXPR and child.spelling.startswith("operator"))]
        for offset in self.offsets_within(start, end):
            token = self.tokens[offset]
            if token.kind == TokenKind.PUNCTUATION and token.spelling not in ("(", ")", "[", "]", "->", "{", "}"):
                if not any(a <= offset < b for a, b in operands):
                    return token
        return None

    def offsets_within(self, start, end):
        return itertools.takewhile(lambda o: o < end, itertools.dropwhile(lambda o: o < start, self.offsets))

    # Conditions

    def condition(self, cursor, children):
        condition = self.condition_of(cursor, children)
        if condition is None:
            return
        start, end = self.span(condition)
        if condition.kind == CursorKind.VAR_DECL:
            self.add("condition", end, end, f"; !{condition.spelling}")
        elif not self.is_negated_otherwise(condition):
            self.add("condition", start, end, f"!({self.text(condition)})")

    def condition_of(self, cursor, children):
        """The condition among the parts of a loop or choice; none in `for (;;)` or over a range."""
        if cursor.kind == CursorKind.DO_STMT:
            return children[-1]
        if cursor.kind != CursorKind.FOR_STMT:
            isInit = children[0].kind == CursorKind.DECL_STMT
            return children[1] if isInit else children[0]
        semicolons = self.semicolons_of(cursor)
        for child in children:
            start, end = self.span(child)
            if semicolons[0] < start and end <= semicolons[1]:
                return child
        return None

    def semicolons_of(self, loop):
        depth, found = 0, []
        for offset in self.offsets_within(*self.span(loop)):
            spelling = self.tokens[offset].spelling
            depth += (spelling in "([{") - (spelling in ")]}")
            if spelling == ";" and depth == 1:
                found.append(offset)
                if len(found) == 2:
                    break
        return found

    def is_negated_otherwise(self, condition):
        """Whether a mutant of the operator is the negation already."""
        condition = without_conversions(condition)
        if condition.kind not in OPERATORS:
            return False
        token = self.operator_token(condition, list(condition.get_children()))
        return token is not None and (token.spelling in COMPARISONS or token.spelling == "!")

    # Statements

    def statements(self, statements):
        for statement in statements:
            start, end = self.span(statement)
            isRemovable = statement.kind not in KEPT_STATEMENTS and statement.kind != CursorKind.RETURN_STMT
            if statement.kind == CursorKind.DECL_STMT:
                isRemovable = self.is_guard(statement)
                self.initialisers(statement)
            if isRemovable:
                self.add("statement", start, self.with_semicolon(end), ";")

    def with_semicolon(self, end):
        while self.source[end:end + 1].isspace():
            end += 1
        return end + 1 if self.source[end:end + 1] == b";" else end

    def is_guard(self, declaration):
        """Whether what is declared lives for its constructor and destructor alone."""
        names = [child.spelling for child in declaration.get_children() if child.kind == CursorKind.VAR_DECL]
        end = self.span(declaration)[1]
        following = self.offsets_within(end, self.end_of_block(end))
        return bool(names) and not any(self.tokens[offset].spelling in names for offset in following)

    def end_of_block(self, start):
        depth = 0
        for offset in self.offsets_within(start, len(self.source)):
            depth += {"{": 1, "}": -1}.get(self.tokens[offset].spelling, 0)
            if depth < 0:
                return offset
        return len(self.source)

    def initialisers(self, declaration):
        """Gives what is declared the plain value of its type instead."""
        for variable in declaration.get_children():
            parts = list(variable.get_children())
            if variable.kind == CursorKind.VAR_DECL and parts and parts[-1].kind.is_expression():
                start, end = self.span(parts[-1])
                isAssigned = self.source[:start].rstrip().endswith(b"=")
                isPlain = self.is_plain(parts[-1]) or without_conversions(parts[-1]).kind in LITERALS
                if isAssigned and not isPlain:
                    isDeduced = b"auto" in self.source[self.span(variable)[0]:start]
                    plain = f"std::decay_t<decltype({self.text(parts[-1])})>{{}}" if isDeduced else "{}"
                    self.add("statement", start, end, plain)

    def returned(self, children):
        if not children:
            return
        start, end = self.span(children[0])
        if children[0].type.get_canonical().kind == TypeKind.BOOL:
            if not self.is_negated_otherwise(children[0]):
                self.add("statement", start, end, f"!({self.text(children[0])})")
        elif not self.is_plain(children[0]):
            self.add("statement", start, end, "{}")

    def is_plain(self, expression):
        """Whether it is the plain value of its type already: `Type()`, 0 or null."""
        text = self.text(expression)
        if text in ("0", "nullptr"):
            return True
        return text.endswith("()") and text[:-2].split("::")[-1] == expression.type.spelling.split("::")[-1]

    # Constants

    def constant(self, cursor):
        start, end = self.span(cursor)
        old = self.source[start:end].decode()
        if start in self.macros:
            name = self.source[start:self.macros[start]].decode()
            self.add("constant", start, self.macros[start], f"static_cast<int>({name} == 0)")
        elif cursor.kind == CursorKind.INTEGER_LITERAL:
            self.integer(start, end, old)
        elif cursor.kind == CursorKind.CHARACTER_LITERAL:
            self.add("constant", start, end, f"static_cast<char>({old} + 1)")
        elif cursor.kind == CursorKind.CXX_BOOL_LITERAL_EXPR:
            self.add("constant", start, end, "false" if old == "true" else "true")
        elif cursor.kind == CursorKind.STRING_LITERAL:
            self.string(start)
        elif cursor.kind == CursorKind.CXX_UNARY_EXPR and old.startswith("sizeof"):
            self.add("constant", start, end, f"({old} - 1)")
        elif cursor.kind == CursorKind.DECL_REF_EXPR and cursor.referenced is not None:
            if cursor.referenced.kind == CursorKind.ENUM_CONSTANT_DECL:
                self.enumerator(cursor)

    def integer(self, start, end, old):
        digits = re.fullmatch(r"(0[xX][0-9a-fA-F']+|[0-9']+)([uUlL]*)", old)
        if digits is None:
            return
        plain = digits[1].replace("'", "")
        isHexadecimal = plain[:2] in ("0x", "0X")
        isOctal = plain[0] == "0" and len(plain) > 1 and not isHexadecimal
        value = int(plain, 16 if isHexadecimal else 8 if isOctal else 10)
        for changed in (value + 1, value - 1):
            if changed >= 0:
                shown = hex(changed) if isHexadecimal else f"0{changed:o}" if isOctal else str(changed)
                self.add("constant", start, end, shown + digits[2])

    def string(self, start):
        """Changes the first character; one of a literal in pieces is in the first that is not empty."""
        token = self.tokens.get(start)
        if token is None or token.kind != TokenKind.LITERAL:
            return
        old = token.spelling
        opening = old.index('"') + 1
        if old[opening] == '"':
            new = old[:opening] + "X" + old[opening:]
        elif old[opening] == "\\":
            new = old[:opening] + "X" + old[opening:]
        else:
            new = old[:opening] + ("X" if old[opening] != "X" else "Y") + old[opening + 1:]
        self.add("constant", start, start + len(old.encode()), new)

    def enumerator(self, cursor):
        if cursor.spelling.startswith("memory_order"):
            return  # what it changes is up to the processor: ThreadSanitizer judges it
        siblings = list(cursor.referenced.semantic_parent.get_children())
        names = [s.spelling for s in siblings]
        others = [s.spelling for s in siblings if s.enum_value != cursor.referenced.enum_value]
        if not others:
            return
        following = names[(names.index(cursor.spelling) + 1) % len(names)]
        new = following if following in others else others[0]
        _, end = self.span(cursor)
        self.add("constant", end - len(cursor.spelling), end, new)

    # Arguments

    def swapped_arguments(self, cursor):
        arguments = [a for a in cursor.get_arguments() if a is not None]
        if cursor.spelling.startswith("operator"):
            return
        for first, second in itertools.pairwise(arguments):
            a, b = self.span(first), self.span(second)
            if a[1] <= b[0] and self.text(first) != self.text(second) and could_swap(first, second):
                between = self.source[a[1]:b[0]].decode()
                self.add("arguments", a[0], b[1], self.text(second) + between + self.text(first))


def without_conversions(expression):
    """What stands there, below what the compiler adds and the parentheses."""
    while expression.kind in (CursorKind.UNEXPOSED_EXPR, CursorKind.PAREN_EXPR):
        inner = list(expression.get_children())
        if len(inner) != 1:
            break
        expression = inner[0]
    return expression


def could_swap(first, second):
    """Whether the two convert into each other, as far as their kinds tell."""
    kinds = [a.type.get_canonical() for a in (first, second)]
    return plain(kinds[0]) == plain(kinds[1]) or all(is_number(k) for k in kinds)


def plain(kind):
    kind = kind.get_pointee() if kind.kind in (TypeKind.LVALUEREFERENCE, TypeKind.RVALUEREFERENCE) else kind
    return kind.spelling.replace("const ", "")


def is_number(kind):
    return TypeKind.BOOL.value <= kind.kind.value <= TypeKind.LONGDOUBLE.value or kind.kind == TypeKind.ENUM
