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
    """Opens a header generated from the whole schema (tests only): banner
    and include guard."""
    w("// %s: %s (tests only)." % (name, what))
    w("// Written by the itscodec schema compiler (codegen/); do not edit.")
    w("#ifndef " + guard_name)
    w("#define " + guard_name)
    w()


def guard(stem, suffix):
    return "ITSGEN_" + "".join(c if c.isalnum() else "_" for c in stem).upper() + "_" + suffix


def codec_units(mod, fmt, header_suffix, common_header, enc_sig, dec_sig, write_encoder,
                write_decoder):
    """The three units one codec back end writes for a module: the header of
    its declarations (<stem><header_suffix>.h), the encoders and the decoders.
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
    for t in mod.types:
        decls(enc_sig(t) + ";")
        decls(dec_sig(t) + ";")
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
