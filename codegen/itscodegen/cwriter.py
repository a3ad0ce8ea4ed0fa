"""A small writer for generated C++ text (three blanks per level)."""
import re


class Writer:
    def __init__(self):
        self.lines = []
        self.level = 0

    def __call__(self, text=""):
        if text:
            self.lines.append("   " * self.level + text)
        else:
            self.lines.append("")

    def block(self, head, tail="}"):
        """`with w.block("if (x)"):` writes `head {` ... `}` (or `tail`)."""
        return _Block(self, head, tail)

    def indent(self):
        self.level += 1

    def dedent(self):
        self.level -= 1

    def text(self):
        return "\n".join(tidy(self.lines)) + "\n"


# Member access through a pointer the rules write as (*p).x; &(*p) alone
# is p.
# (A parenthesis behind a name or a bracket is a call's, not one of these.)
_DEREF_MEMBER = re.compile(r"(?<![\w)\]])\(\*([A-Za-z_]\w*)\)\.")
_ADDR_OF_DEREF = re.compile(r"&\(\*([A-Za-z_]\w*)\)(?![\w.\[(>-])")
_PAREN_DEREF = re.compile(r"(?<![\w)\]])\(\*([A-Za-z_]\w*)\)(?![\w.\[(>-])")
_FUNCTION_HEAD = re.compile(r"^(?!(struct|class|namespace|enum|union|extern|typedef|switch|for|if)\b)"
                            r"[A-Za-z_].*\)( const)? \{$")
_STAT = re.compile(r"\bstat\b")


def tidy(lines):
    """The rules' text as a reviewer reads it: p->x for (*p).x, *p for a
    lone (*p), and the
    status variable of a function declared where it is first set, or not
    at all when nothing uses it."""
    lines = [_PAREN_DEREF.sub(r"*\1", _ADDR_OF_DEREF.sub(r"\1", _DEREF_MEMBER.sub(r"\1->", ln)))
             for ln in lines]
    out, i = [], 0
    while i < len(lines):
        ln = lines[i]
        if not _FUNCTION_HEAD.match(ln):
            out.append(ln)
            i += 1
            continue
        end = i + 1
        while end < len(lines) and lines[end] != "}":
            end += 1
        out.append(ln)
        out.extend(_tidy_status(lines[i + 1:end]))
        i = end
    return out


def _tidy_status(body):
    body = [ln for ln in body if ln.strip() != "(void)stat;"]
    decl = [k for k, ln in enumerate(body) if ln == "   int stat = 0;"]
    if len(decl) != 1:
        return body
    d = decl[0]
    uses = [k for k, ln in enumerate(body) if k != d and _STAT.search(ln)]
    if not uses:
        return body[:d] + body[d + 1:]
    first = body[uses[0]]
    if first.startswith("   stat = ") and uses[0] > d:
        body[uses[0]] = "   int " + first[3:]
        return body[:d] + body[d + 1:]
    return body


class _Block:
    def __init__(self, w, head, tail="}"):
        self.w = w
        self.head = head
        self.tail = tail

    def __enter__(self):
        self.w(self.head + " {" if self.head else "{")
        self.w.indent()
        return self.w

    def __exit__(self, *exc):
        self.w.dedent()
        self.w(self.tail)
        return False


def scope(w):
    """A bare `{ ... }` block that keeps the temporaries of an inline value local."""
    return _Block(w, "")


def c_string(s):
    return '"' + s.replace("\\", "\\\\").replace('"', '\\"') + '"'


def header_banner(stem, what):
    return ("// %s: %s of the ASN.1 module %s.\n"
            "// Written by the itscodec schema compiler (codegen/) from asn1/%s.asn;\n"
            "// changes belong in the schema or the compiler, not here.\n") % (
                stem, what, stem, stem)


def schema_header(w, name, what, guard_name):
    """Opens a header generated from the whole schema: banner and include
    guard."""
    w("// %s: %s." % (name, what))
    w("// Generated from the schema in asn1/ by the itscodec schema compiler (codegen/); do not edit.")
    w("#ifndef " + guard_name)
    w("#define " + guard_name)
    w()


def guard(stem, suffix):
    return "ITSGEN_" + "".join(c if c.isalnum() else "_" for c in stem).upper() + "_" + suffix


def codec_units(mod, fmt, header_suffix, common_header, enc_sig, dec_sig, write_encoder,
                write_decoder, more_sigs=(), prelude=(), declare=None):
    """The three units one codec back end writes for a module: the header of
    its declarations (<stem><header_suffix>.h), the encoders and the decoders
    (more_sigs: further functions per type the decoders' unit defines, with
    the declarations of `prelude` before them). declare(t), if given, returns
    the header's lines for type t in place of its two signatures.
    Returns the three texts in that order."""
    decls = Writer()
    for line in header_banner(mod.stem, fmt + " encoder and decoder declarations").splitlines():
        decls(line)
    g = guard(mod.stem, header_suffix.upper() + "_H")
    decls("#ifndef " + g)
    decls("#define " + g)
    decls()
    decls('#include "%s.h"' % mod.stem)
    decls()
    for line in prelude:
        decls(line)
    if prelude:
        decls()
    for t in mod.types:
        for line in (declare(t) if declare else [enc_sig(t) + ";", dec_sig(t) + ";"]):
            decls(line)
        for sig in more_sigs:
            decls(sig(t) + ";")
    decls()
    decls("#endif")

    def unit(what, write_one):
        w = Writer()
        for line in header_banner(mod.stem, what).splitlines():
            w(line)
        w('#include "%s%s.h"' % (mod.stem, header_suffix))
        w()
        w('#include "%s"' % common_header)
        for d in sorted(mod.deps - {mod}, key=lambda m: m.stem):
            w('#include "%s%s.h"' % (d.stem, header_suffix))
        w()
        for t in mod.types:
            write_one(w, t)
        return w.text()

    return decls.text(), unit(fmt + " encoders", write_encoder), unit(fmt + " decoders", write_decoder)
