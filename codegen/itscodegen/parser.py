"""Recursive-descent parser: tokens of one module file to a parse tree.

The tree keeps every position, so that later checks (undefined names,
duplicates, bad constraints) can point at the exact place in the file.
"""
from .errors import SchemaError
from .lexer import tokenize, IDENT, NUMBER, PUNCT, FIELD, EOF_

STRING_TYPES = ("IA5String", "UTF8String", "VisibleString", "NumericString",
                "PrintableString")

RESERVED = {"ABSENT", "ALL", "APPLICATION", "AUTOMATIC", "BEGIN", "BIT", "BOOLEAN",
            "BY", "CHOICE", "CLASS", "COMPONENT", "COMPONENTS", "CONSTRAINED",
            "DEFAULT", "DEFINITIONS", "END", "ENUMERATED", "EXCEPT", "EXPLICIT",
            "EXPORTS", "EXTENSIBILITY", "FALSE", "FROM", "IDENTIFIED", "IMPLICIT",
            "IMPLIED", "IMPORTS", "INCLUDES", "INTEGER", "INTERSECTION", "MAX",
            "MIN", "NULL", "OCTET", "OF", "OPTIONAL", "SEQUENCE", "SET", "SIZE",
            "STRING", "SYNTAX", "TAGS", "TRUE", "UNION", "UNIQUE", "WITH"}


class Node:
    """A parse-tree node: `kind` plus free attributes; `pos` is where it
    starts and `end` the (line, col) of its last character."""

    def __init__(self, kind, pos, **kw):
        self.kind = kind
        self.pos = pos
        self.end = None
        self.annots = []
        self.__dict__.update(kw)

    def __repr__(self):
        return "Node(%s @%s)" % (self.kind, self.pos)


class ValueRef:
    """A named value used as a number (resolved by the model)."""

    def __init__(self, name, pos):
        self.name = name
        self.pos = pos

    def __repr__(self):
        return "ValueRef(%s)" % self.name


class Parser:
    def __init__(self, text, filename):
        self.filename = filename
        self.toks, self.annots = tokenize(text, filename)
        self.i = 0

    # -- token helpers -------------------------------------------------
    def peek(self, k=0):
        return self.toks[min(self.i + k, len(self.toks) - 1)]

    def next(self):
        t = self.toks[self.i]
        if t.kind != EOF_:
            self.i += 1
        return t

    @property
    def last(self):
        return self.toks[self.i - 1]

    def at(self, text, k=0):
        t = self.peek(k)
        return t.kind in (PUNCT, IDENT) and t.text == text

    def accept(self, text):
        if self.at(text):
            return self.next()
        return None

    def expect(self, text, what=None):
        t = self.peek()
        if t.kind in (PUNCT, IDENT) and t.text == text:
            return self.next()
        raise SchemaError(t.pos, "expected %s, found %s" % (what or "'%s'" % text, self.describe(t)))

    def describe(self, t):
        if t.kind == EOF_:
            return "end of file"
        return "'%s'" % t.text

    def error(self, msg, t=None):
        t = t or self.peek()
        raise SchemaError(t.pos, msg)

    def ident(self, what="an identifier", upper=None):
        t = self.peek()
        if t.kind != IDENT or t.text in RESERVED:
            raise SchemaError(t.pos, "expected %s, found %s" % (what, self.describe(t)))
        if upper is True and not t.text[0].isupper():
            raise SchemaError(t.pos, "expected %s, found '%s' (a type name starts with an upper-case letter)" % (what, t.text))
        if upper is False and not t.text[0].islower():
            raise SchemaError(t.pos, "expected %s, found '%s' (an identifier starts with a lower-case letter)" % (what, t.text))
        return self.next()

    def finish(self, node):
        node.end = self.last.end
        return node

    def skip_braces(self):
        self.expect("{")
        depth = 1
        while depth:
            t = self.next()
            if t.kind == EOF_:
                self.error("unbalanced '{'", t)
            if t.text == "{" and t.kind == PUNCT:
                depth += 1
            elif t.text == "}" and t.kind == PUNCT:
                depth -= 1

    # -- module ----------------------------------------------------------
    def parse_module(self):
        name = self.ident("a module name", upper=True)
        mod = Node("MODULE", name.pos, name=name.text, imports=[], assigns=[],
                   file=self.filename, annotations=self.annots)
        if self.at("{"):
            self.skip_braces()
        self.expect("DEFINITIONS")
        while not self.at("::="):
            t = self.next()
            if t.kind != IDENT or t.text not in ("AUTOMATIC", "EXPLICIT", "IMPLICIT", "TAGS",
                                                  "EXTENSIBILITY", "IMPLIED"):
                self.error("expected '::=', found %s" % self.describe(t), t)
        self.expect("::=")
        self.expect("BEGIN")
        if self.accept("EXPORTS"):
            while not self.accept(";"):
                if self.peek().kind == EOF_:
                    self.error("expected ';' to close EXPORTS")
                self.next()
        if self.accept("IMPORTS"):
            self.parse_imports(mod)
        while not self.at("END"):
            if self.peek().kind == EOF_:
                self.error("expected 'END' at the end of module %s" % mod.name)
            mod.assigns.append(self.parse_assignment())
        self.expect("END")
        if self.peek().kind != EOF_:
            self.error("text after END of module %s" % mod.name)
        return mod

    def parse_imports(self, mod):
        while not self.accept(";"):
            syms = []
            while True:
                t = self.ident("an imported name")
                if self.at("{") and self.at("}", 1):
                    self.next()
                    self.next()
                syms.append((t.text, t.pos))
                if not self.accept(","):
                    break
            self.expect("FROM", "FROM or ','")
            src = self.ident("a module name", upper=True)
            if self.at("{"):
                self.skip_braces()
            self.accept("WITH") and self.expect("SUCCESSORS")
            mod.imports.append(Node("IMPORT", src.pos, module=src.text, symbols=syms))

    # -- assignments -----------------------------------------------------
    def parse_assignment(self):
        t = self.ident("a type, value, class or object set name")
        name = t.text
        if self.at("::="):
            self.next()
            if self.at("CLASS"):
                return self.parse_class(t)
            ty = self.parse_type()
            return self.finish(Node("TYPE", t.pos, name=name, params=None, type=ty))
        if self.at("{"):
            # parameterized type: Name {Gov : Param, ...} ::= Type
            self.next()
            params = []
            while True:
                g = self.ident("a parameter")
                if self.accept(":"):
                    p = self.ident("a parameter name")
                    params.append((g.text, p.text))
                else:
                    params.append((None, g.text))
                if not self.accept(","):
                    break
            self.expect("}")
            self.expect("::=")
            ty = self.parse_type()
            return self.finish(Node("TYPE", t.pos, name=name, params=params, type=ty))
        if name[0].islower():
            ty = self.parse_type()
            self.expect("::=")
            val = self.parse_value()
            return self.finish(Node("VALUE", t.pos, name=name, type=ty, value=val))
        nt = self.peek()
        if nt.kind != IDENT or nt.text in RESERVED or not nt.text[0].isupper():
            self.error("expected '::=' after %s, found %s" % (name, self.describe(nt)))
        cls = self.ident("a class name", upper=True)
        self.expect("::=")
        return self.parse_object_set(t, cls)

    def parse_class(self, t):
        self.expect("CLASS")
        self.expect("{")
        fields = []
        while True:
            f = self.next()
            if f.kind != FIELD:
                self.error("expected a field such as &id, found %s" % self.describe(f), f)
            fty = None
            if not self.at(",") and not self.at("}"):
                if f.text[1].islower():
                    fty = self.parse_type()
                while self.accept("UNIQUE") or self.accept("OPTIONAL"):
                    pass
            fields.append((f.text, fty, f.pos))
            if not self.accept(","):
                break
        self.expect("}")
        syntax = None
        if self.accept("WITH"):
            self.expect("SYNTAX")
            self.expect("{")
            syntax = []
            while not self.accept("}"):
                s = self.next()
                if s.kind not in (FIELD, IDENT):
                    self.error("unexpected %s in WITH SYNTAX" % self.describe(s), s)
                syntax.append(s.text)
        return self.finish(Node("CLASS", t.pos, name=t.text, fields=fields, syntax=syntax))

    def parse_object_set(self, t, cls):
        self.expect("{")
        objs = []
        ext = False
        while not self.at("}"):
            if self.accept("..."):
                ext = True
            else:
                objs.append(self.parse_object())
            if not (self.accept("|") or self.accept(",")):
                break
        self.expect("}")
        return self.finish(Node("OBJSET", t.pos, name=t.text, cls=cls.text, cls_pos=cls.pos,
                                objects=objs, ext=ext))

    def parse_object(self):
        start = self.expect("{")
        words = []
        while not self.at("}"):
            t = self.peek()
            if t.kind == IDENT and t.text.isupper() and t.text in ("IDENTIFIED", "BY", "WITH"):
                self.next()
                words.append(("word", t.text, t.pos))
            elif t.kind == IDENT and t.text[0].isupper():
                words.append(("type", self.parse_type(), t.pos))
            elif t.kind in (IDENT, NUMBER):
                words.append(("value", self.parse_value(), t.pos))
            else:
                self.error("unexpected %s in an object" % self.describe(t))
        self.expect("}")
        return self.finish(Node("OBJECT", start.pos, words=words))

    # -- values and constraints ------------------------------------------
    def parse_value(self):
        t = self.next()
        if t.kind == NUMBER:
            return int(t.text)
        if t.kind == IDENT and t.text in ("TRUE", "FALSE"):
            return t.text == "TRUE"
        if t.kind == IDENT and t.text in ("MIN", "MAX"):
            return t.text
        if t.kind == IDENT and t.text[0].islower():
            return ValueRef(t.text, t.pos)
        self.error("expected a value, found %s" % self.describe(t), t)

    def parse_constraint(self):
        """'(' element set [',' '...'] ')' into a constraint node."""
        start = self.expect("(")
        c = Node("CONSTRAINT", start.pos, ranges=[], ext=False, size=None, table=None)
        if self.at("{"):
            c.table = self.parse_table_constraint()
            self.expect(")")
            return self.finish(c)
        while True:
            if self.accept("..."):
                c.ext = True
            elif self.at("SIZE"):
                self.next()
                if c.size is not None:
                    self.error("second SIZE in one constraint")
                c.size = self.parse_constraint()
            elif self.at("WITH"):
                self.error("WITH COMPONENTS constraints are not supported")
            else:
                lo_t = self.peek()
                lo = self.parse_value()
                hi = lo
                if self.accept(".."):
                    hi = self.parse_value()
                c.ranges.append((lo, hi, lo_t.pos))
            if not (self.accept(",") or self.accept("|")):
                break
        self.expect(")", "')'")
        return self.finish(c)

    def parse_table_constraint(self):
        self.expect("{")
        s = self.ident("an object set name")
        self.expect("}")
        at = None
        if self.accept("{"):
            self.expect("@")
            rel = bool(self.accept("."))
            a = self.ident("a component name")
            at = (a.text, a.pos, rel)
            self.expect("}")
        return (s.text, s.pos, at)

    # -- types -----------------------------------------------------------
    def parse_type(self):
        t = self.peek()
        if t.kind != IDENT:
            self.error("expected a type, found %s" % self.describe(t))
        w = t.text
        if w == "INTEGER":
            self.next()
            node = Node("INTEGER", t.pos, named=[], cons=None)
            if self.at("{"):
                node.named = self.parse_named_list("a named number")
            if self.at("("):
                node.cons = self.parse_constraint()
            return self.finish(node)
        if w == "ENUMERATED":
            self.next()
            node = Node("ENUMERATED", t.pos, items=[], ext=False)
            self.expect("{")
            while True:
                if self.accept("..."):
                    node.ext = True
                else:
                    it = self.ident("an enumerator", upper=False)
                    val = None
                    if self.accept("("):
                        val = self.parse_value()
                        self.expect(")")
                    node.items.append((it.text, val, it.pos))
                if not self.accept(","):
                    break
            self.expect("}")
            return self.finish(node)
        if w in ("BOOLEAN", "NULL"):
            self.next()
            return self.finish(Node(w, t.pos))
        if w == "BIT":
            self.next()
            self.expect("STRING")
            node = Node("BIT STRING", t.pos, named=[], cons=None)
            if self.at("{"):
                node.named = self.parse_named_list("a named bit")
            if self.at("("):
                node.cons = self.parse_constraint()
            return self.finish(node)
        if w == "OCTET":
            self.next()
            self.expect("STRING")
            node = Node("OCTET STRING", t.pos, cons=None)
            if self.at("("):
                node.cons = self.parse_constraint()
            return self.finish(node)
        if w in STRING_TYPES:
            self.next()
            node = Node("STRING", t.pos, strtype=w, cons=None)
            if self.at("("):
                node.cons = self.parse_constraint()
            return self.finish(node)
        if w in ("SEQUENCE", "SET"):
            self.next()
            if self.at("{"):
                if w == "SET":
                    self.error("SET is not supported", t)
                return self.parse_components(Node("SEQUENCE", t.pos, comps=[], ext=False))
            node = Node("SEQOF", t.pos, cons=None, elem=None, elem_name=None)
            if self.at("("):
                node.cons = self.parse_constraint()
            elif self.at("SIZE"):
                st = self.next()
                node.cons = Node("CONSTRAINT", st.pos, ranges=[], ext=False, size=None, table=None)
                node.cons.size = self.parse_constraint()
                self.finish(node.cons)
            self.expect("OF", "'OF' or '{'")
            if self.peek().kind == IDENT and self.peek().text[0].islower() and \
                    self.peek().text not in RESERVED:
                node.elem_name = self.next().text
            node.elem = self.parse_type()
            return self.finish(node)
        if w == "CHOICE":
            self.next()
            return self.parse_components(Node("CHOICE", t.pos, comps=[], ext=False))
        if w in RESERVED:
            self.error("unsupported type '%s'" % w)
        if not w[0].isupper():
            self.error("expected a type, found '%s'" % w)
        self.next()
        if self.at(".") and self.peek(1).kind == FIELD:
            self.next()
            f = self.next()
            node = Node("FIELD", t.pos, cls=w, field=f.text, table=None)
            if self.at("("):
                c = self.parse_constraint()
                if c.table is None:
                    self.error("expected a table constraint on %s.%s" % (w, f.text), c)
                node.table = c.table
            return self.finish(node)
        node = Node("REF", t.pos, name=w, params=None, cons=None)
        if self.at("{"):
            self.next()
            node.params = []
            while True:
                if self.at("{"):
                    b = self.next()
                    s = self.ident("an object set name")
                    self.expect("}")
                    node.params.append(("set", s.text, s.pos))
                else:
                    tpos = self.peek().pos
                    node.params.append(("type", self.parse_type(), tpos))
                if not self.accept(","):
                    break
            self.expect("}")
        if self.at("("):
            node.cons = self.parse_constraint()
        return self.finish(node)

    def parse_named_list(self, what):
        self.expect("{")
        out = []
        while True:
            it = self.ident(what, upper=False)
            self.expect("(")
            v = self.parse_value()
            self.expect(")")
            out.append((it.text, v, it.pos))
            if not self.accept(","):
                break
        self.expect("}")
        return out

    def parse_components(self, node):
        self.expect("{")
        if self.at("}"):
            self.next()
            return self.finish(node)
        what = "a component" if node.kind == "SEQUENCE" else "an alternative"
        while True:
            if self.at("..."):
                m = self.next()
                if node.ext:
                    self.error("second extension marker", m)
                node.ext = True
                node.ext_pos = m.pos
            elif self.at("[["):
                self.error("extension addition groups are not supported")
            else:
                if node.ext:
                    self.error("extension additions are not supported: nothing may follow '...'")
                name = self.ident(what + " identifier", upper=False)
                ty = self.parse_type()
                comp = Node("COMP", name.pos, name=name.text, type=ty, optional=False, default=None)
                if node.kind == "SEQUENCE":
                    if self.accept("OPTIONAL"):
                        comp.optional = True
                    elif self.accept("DEFAULT"):
                        comp.optional = True
                        comp.default = self.parse_value()
                node.comps.append(self.finish(comp))
            if not self.accept(","):
                break
        self.expect("}", "',' or '}'")
        return self.finish(node)


def parse_file(path, text=None, display=None):
    """Parses one module file; `display` is the name used in messages."""
    if text is None:
        with open(path, encoding="utf-8") as f:
            text = f.read()
    p = Parser(text, display or path)
    return p.parse_module()
