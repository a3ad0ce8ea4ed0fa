"""Tokeniser for the ASN.1 subset of the schema.

Comments are `--` to the end of the line or to the next `--`, and `/* */`
(nestable). A comment that starts with `--@` is an annotation: it is not
dropped but returned in a list of its own, with its position, so that the
parser can attach it to the construct that ends before it on the same line.
"""
from .errors import Pos, SchemaError

# Token kinds.
IDENT = "identifier"
NUMBER = "number"
PUNCT = "punctuation"
FIELD = "field reference"
EOF_ = "end of file"

_PUNCTS = ("::=", "...", "..", "[[", "]]", "{", "}", "(", ")", ",", ";", "|",
           ".", "@", ":", "!", "<", ">", "^", "[", "]")


class Token:
    __slots__ = ("kind", "text", "pos", "end")

    def __init__(self, kind, text, pos, end):
        self.kind = kind
        self.text = text
        self.pos = pos
        self.end = end  # (line, col) of the last character

    def __repr__(self):
        return "Token(%s, %r, %s)" % (self.kind, self.text, self.pos)


class Annotation:
    __slots__ = ("word", "arg", "pos", "arg_pos")

    def __init__(self, word, arg, pos, arg_pos):
        self.word = word
        self.arg = arg
        self.pos = pos
        self.arg_pos = arg_pos


def _is_ident_start(c):
    return c.isascii() and c.isalpha()


def _is_ident_char(c):
    return c.isascii() and (c.isalnum() or c == "-" or c == "_")


def tokenize(text, filename):
    """Returns (tokens, annotations)."""
    toks = []
    annots = []
    i = 0
    n = len(text)
    line = 1
    lstart = 0

    def pos_at(k):
        return Pos(filename, line, k - lstart + 1)

    while i < n:
        c = text[i]
        if c == "\n":
            i += 1
            line += 1
            lstart = i
            continue
        if c in " \t\r\f\v":
            i += 1
            continue
        if text.startswith("--", i):
            start = i
            j = i + 2
            end = n
            k = j
            while k < n and text[k] != "\n":
                if text.startswith("--", k):
                    end = k
                    break
                k += 1
            else:
                end = k
            body = text[j:end]
            if body.startswith("@"):
                annots.append(_annotation(body, pos_at(start), pos_at(j)))
            i = end + 2 if end < n and text.startswith("--", end) else end
            continue
        if text.startswith("/*", i):
            depth = 0
            start_pos = pos_at(i)
            while i < n:
                if text.startswith("/*", i):
                    depth += 1
                    i += 2
                elif text.startswith("*/", i):
                    depth -= 1
                    i += 2
                    if depth == 0:
                        break
                else:
                    if text[i] == "\n":
                        line += 1
                        lstart = i + 1
                    i += 1
            if depth:
                raise SchemaError(start_pos, "unterminated comment")
            continue
        p = pos_at(i)
        if c == "&" and i + 1 < n and _is_ident_start(text[i + 1]):
            j = i + 1
            while j < n and _is_ident_char(text[j]) and not text.startswith("--", j):
                j += 1
            toks.append(Token(FIELD, text[i:j], p, (line, j - lstart)))
            i = j
            continue
        if _is_ident_start(c):
            j = i
            while j < n and _is_ident_char(text[j]) and not text.startswith("--", j):
                j += 1
            word = text[i:j]
            if word.endswith("-"):
                raise SchemaError(p, "identifier '%s' ends with a hyphen" % word)
            toks.append(Token(IDENT, word, p, (line, j - lstart)))
            i = j
            continue
        if c.isdigit():
            j = i
            while j < n and text[j].isdigit():
                j += 1
            toks.append(Token(NUMBER, text[i:j], p, (line, j - lstart)))
            i = j
            continue
        if c == "-" and i + 1 < n and text[i + 1].isdigit():
            j = i + 1
            while j < n and text[j].isdigit():
                j += 1
            toks.append(Token(NUMBER, text[i:j], p, (line, j - lstart)))
            i = j
            continue
        for pu in _PUNCTS:
            if text.startswith(pu, i):
                toks.append(Token(PUNCT, pu, p, (line, i - lstart + len(pu))))
                i += len(pu)
                break
        else:
            raise SchemaError(p, "unexpected character '%s'" % c)
    toks.append(Token(EOF_, "", Pos(filename, line, i - lstart + 1), (line, i - lstart + 1)))
    return toks, annots


def _annotation(body, pos, body_pos):
    # body starts with '@': "@word [argument]"
    rest = body[1:]
    word = rest.split(None, 1)[0] if rest.strip() else ""
    after = rest[len(word):]
    arg = after.strip() or None
    arg_col = body_pos.col + 1 + len(word) + (len(after) - len(after.lstrip()))
    return Annotation(word, arg, pos, Pos(pos.file, pos.line, arg_col))
