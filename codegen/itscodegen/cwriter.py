"""A small writer for generated C++ text (three blanks per level)."""


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
        return "\n".join(self.lines) + "\n"


class _Block:
    def __init__(self, w, head, tail="}"):
        self.w = w
        self.head = head
        self.tail = tail

    def __enter__(self):
        self.w(self.head + " {")
        self.w.indent()
        return self.w

    def __exit__(self, *exc):
        self.w.dedent()
        self.w(self.tail)
        return False


def c_string(s):
    return '"' + s.replace("\\", "\\\\").replace('"', '\\"') + '"'


def header_banner(stem, what):
    return ("// %s: %s of the ASN.1 module %s.\n"
            "// Written by the itscodec schema compiler (codegen/) from asn1/%s.asn;\n"
            "// changes belong in the schema or the compiler, not here.\n") % (
                stem, what, stem, stem)
