"""Typed model of the schema: modules, types, components, constraints,
table-constrained open types and the derived facts (record forms, control
class families, top-level types) that every emitter reads.

Building runs in phases over all modules: definitions and imports first,
then a shell per type assignment (so references resolve in any order), then
the bodies, then the derived facts.
"""
import os

from . import naming
from .errors import SchemaError
from .parser import parse_file, ValueRef

# Annotations: word -> allowed arguments (None: no argument, "name": any
# identifier, or a tuple of the allowed words).
ANNOTATIONS = {
    "inline": None,
    "type": None,
    "form": ("list", "inline-array", "dynamic-array"),
    "item": "name",
}

# Kinds whose inline use gets a type of its own unless marked --@inline.
OWN_TYPE_KINDS = ("SEQUENCE", "CHOICE", "SEQOF", "ENUMERATED", "BIT STRING",
                  "OCTET STRING", "INTEGER")

KIND = {"BIT STRING": "BITSTRING", "OCTET STRING": "OCTETSTRING"}

# Element kinds held through pointers in a list ("list" form).
RECORD_ELEMENT_KINDS = ("SEQUENCE", "CHOICE", "SEQOF", "STRING", "OPEN")

# Keyword used as the XML item name of an inline list element.
ITEM_KEYWORD = {"SEQUENCE": "SEQUENCE", "CHOICE": "CHOICE", "SEQOF": "SEQUENCE_OF",
                "INTEGER": "INTEGER", "ENUMERATED": "ENUMERATED", "BITSTRING": "BIT_STRING",
                "OCTETSTRING": "OCTET_STRING", "BOOLEAN": "BOOLEAN", "NULL": "NULL"}


class Size:
    __slots__ = ("lo", "hi", "ext")

    def __init__(self, lo, hi, ext):
        self.lo = lo
        self.hi = hi
        self.ext = ext

    @property
    def fixed(self):
        return self.lo is not None and self.lo == self.hi and not self.ext

    def __repr__(self):
        return "SIZE(%s..%s%s)" % (self.lo, self.hi, ", ..." if self.ext else "")


class Component:
    def __init__(self, name, type_, optional, pos, default=None):
        self.name = name
        self.cid = naming.cid(name)
        self.type = type_
        self.optional = optional
        self.default = default
        self.pos = pos
        self.opt_index = None  # bit in m
        self.table_key = False  # the key component of an open type

    def __repr__(self):
        return "Component(%s: %s)" % (self.name, self.type)


class Row:
    """One object of a table: key number and name, selected type, selector."""

    def __init__(self, key, key_name, type_, t, tag):
        self.key = key
        self.key_name = key_name
        self.key_cid = naming.cid(key_name)
        self.type = type_
        self.t = t
        self.tag = tag


class Type:
    def __init__(self, kind, module, pos, cname=None, asn1name=None, owned=True):
        self.kind = kind
        self.module = module
        self.pos = pos
        self.cname = cname
        self.asn1name = asn1name
        self.owned = owned
        self.refs = 0
        self.instance_of = None
        # kind-specific
        self.lo = self.hi = None
        self.ext = False
        self.items = []      # ENUMERATED (name, value)
        self.bits = []       # BIT STRING (name, bit)
        self.size = None
        self.strtype = None
        self.comps = []
        self.elem = None
        self.form = None
        self.item = None
        self.target = None
        self.objset = None   # OPEN
        self.rows = []
        self.key = None
        self.cls = None

    def __repr__(self):
        return "Type(%s %s)" % (self.kind, self.cname)

    # -- derived ------------------------------------------------------------
    @property
    def base(self):
        t = self
        seen = 0
        while t.kind == "ALIAS":
            t = t.target
            seen += 1
            if seen > 100:
                raise SchemaError(self.pos, "circular type definition of %s" % self.asn1name)
        return t

    @property
    def record(self):
        return naming.record(self.cname)

    @property
    def region_keyed(self):
        return self.kind == "SEQUENCE" and self.instance_of is not None and \
            any(c.type.kind == "OPEN" for c in self.comps)

    @property
    def open_comp(self):
        for c in self.comps:
            if c.type.kind == "OPEN":
                return c
        return None

    @property
    def optionals(self):
        return [c for c in self.comps if c.optional]

    @property
    def is_pdu(self):
        return self.owned and self.refs == 0 and self.base.kind not in ("INTEGER",)

    @property
    def is_unref_number(self):
        return self.owned and self.refs == 0 and self.kind == "INTEGER"

    @property
    def family(self):
        """Control class family, or None for a type without one."""
        if not self.owned:
            return None
        if self.is_pdu:
            return "message"
        if self.is_unref_number:
            return "number"
        if self.kind == "SEQOF":
            if self.form == "list":
                e = self.elem.base
                if e.region_keyed and e.open_comp.type.rows:
                    return "region list"
                return "list"
            return "array"
        if self.kind == "BITSTRING":
            return "bitstring"
        return None

    @property
    def xml_name(self):
        """Element name of the type as a list item or root."""
        return self.asn1name


class Module:
    def __init__(self, node, path):
        self.node = node
        self.name = node.name
        self.path = path
        self.stem = os.path.splitext(os.path.basename(path))[0]
        self.prefix = naming.MODULE_PREFIX.get(self.name, "")
        self.defs = {}       # name -> assignment node
        self.imports = {}    # name -> (module name, pos)
        self.types = []      # owned types in order of definition
        self.named = {}      # ASN.1 name -> Type
        self.values = {}
        self.deps = set()    # modules whose types this one uses

    def __repr__(self):
        return "Module(%s)" % self.name


class Model:
    def __init__(self):
        self.modules = {}
        self.order = []

    # -- queries --------------------------------------------------------------
    @property
    def types(self):
        return [t for m in self.order for t in m.types]

    def type(self, cname):
        for t in self.types:
            if t.cname == cname:
                return t
        raise KeyError(cname)

    def control_types(self):
        return [t for t in self.types if t.family]


def load(paths, display=None):
    """Parses and resolves the given module files into a Model."""
    model = Model()
    for p in sorted(paths):
        shown = display(p) if display else p
        node = parse_file(p, display=shown)
        mod = Module(node, shown)
        if mod.stem != mod.name:
            raise SchemaError(node.pos, "module %s must be in a file named %s.asn" % (mod.name, mod.name))
        if mod.name in model.modules:
            raise SchemaError(node.pos, "duplicate module %s" % mod.name)
        model.modules[mod.name] = mod
        model.order.append(mod)
    _Builder(model).run()
    return model


def load_texts(texts):
    """Builds a model from {file name: text}; used by the tests."""
    import tempfile
    with tempfile.TemporaryDirectory() as d:
        paths = []
        for name, text in texts.items():
            p = os.path.join(d, name)
            with open(p, "w", encoding="utf-8") as f:
                f.write(text)
            paths.append(p)
        return load(paths, display=os.path.basename)


class _Builder:
    def __init__(self, model):
        self.model = model

    def run(self):
        for m in self.model.order:
            self.collect(m)
        for m in self.model.order:
            self.check_imports(m)
        for m in self.model.order:
            self.attach_annotations(m)
        for m in self.model.order:
            for a in m.node.assigns:
                if a.kind == "TYPE" and a.params is None:
                    t = Type(None, m, a.pos, naming.type_cname(m.name, a.name), a.name)
                    m.named[a.name] = t
        for m in self.model.order:
            for a in m.node.assigns:
                if a.kind == "VALUE":
                    self.value_of(m, a)
        for m in self.model.order:
            for a in m.node.assigns:
                if a.kind == "TYPE" and a.params is None:
                    t = m.named[a.name]
                    m.types.append(t)
                    self.fill(t, a.type, m, m, {}, a)
        for m in self.model.order:
            # inline types were appended while filling; keep parents after
            # their inline parts is not needed, emitters sort by dependency.
            for t in m.types:
                self.finish_type(t)

    # -- definitions ------------------------------------------------------------
    def collect(self, m):
        for a in m.node.assigns:
            if a.name in m.defs:
                first = m.defs[a.name].pos
                raise SchemaError(a.pos, "duplicate definition of %s (first defined at %d:%d)"
                                  % (a.name, first.line, first.col))
            m.defs[a.name] = a

    def check_imports(self, m):
        for imp in m.node.imports:
            src = self.model.modules.get(imp.module)
            if src is None:
                raise SchemaError(imp.pos, "unknown module %s" % imp.module)
            for name, pos in imp.symbols:
                if name not in src.defs:
                    raise SchemaError(pos, "%s is not defined in module %s" % (name, imp.module))
                if name in m.defs:
                    raise SchemaError(pos, "%s is imported and also defined in module %s" % (name, m.name))
                if name in m.imports:
                    raise SchemaError(pos, "%s is imported twice" % name)
                m.imports[name] = (imp.module, pos)

    def lookup(self, m, name, pos, what):
        """Returns (module, assignment) for a name visible in module m."""
        if name in m.defs:
            return m, m.defs[name]
        if name in m.imports:
            src = self.model.modules[m.imports[name][0]]
            return src, src.defs[name]
        raise SchemaError(pos, "undefined %s %s" % (what, name))

    # -- annotations ------------------------------------------------------------
    def attach_annotations(self, m):
        cands = []

        def walk_type(node):
            if node is None:
                return
            if node.kind in ("SEQUENCE", "CHOICE"):
                for c in node.comps:
                    cands.append(c)
                    walk_type(c.type)
            elif node.kind == "SEQOF":
                walk_type(node.elem)

        for a in m.node.assigns:
            if a.kind == "TYPE":
                cands.append(a)
                walk_type(a.type)
        for an in m.node.annotations:
            allowed = ANNOTATIONS.get(an.word, "unknown")
            if allowed == "unknown":
                raise SchemaError(an.pos, "unknown annotation '--@%s'" % an.word)
            if allowed is None and an.arg is not None:
                raise SchemaError(an.arg_pos, "annotation '--@%s' takes no argument" % an.word)
            if allowed is not None:
                if an.arg is None:
                    raise SchemaError(an.pos, "annotation '--@%s' needs an argument" % an.word)
                if isinstance(allowed, tuple) and an.arg not in allowed:
                    raise SchemaError(an.arg_pos, "'--@%s' takes one of %s, not '%s'"
                                      % (an.word, ", ".join(allowed), an.arg))
                if allowed == "name" and (" " in an.arg):
                    raise SchemaError(an.arg_pos, "'--@%s' takes one name" % an.word)
            best = None
            for c in cands:
                if c.end and c.end[0] == an.pos.line and c.end[1] < an.pos.col:
                    if best is None or c.end > best.end:
                        best = c
            if best is None:
                raise SchemaError(an.pos, "annotation '--@%s' does not follow a component, "
                                  "alternative or type on its line" % an.word)
            best.annots.append(an)

    @staticmethod
    def annot(node, word):
        if node is None:
            return None
        found = [a for a in node.annots if a.word == word]
        if len(found) > 1:
            raise SchemaError(found[1].pos, "annotation '--@%s' given twice" % word)
        return found[0] if found else None

    # -- values -------------------------------------------------------------------
    def value_of(self, m, a, depth=0):
        if a.name in m.values:
            return m.values[a.name]
        if depth > 50:
            raise SchemaError(a.pos, "circular value definition of %s" % a.name)
        v = a.value
        if isinstance(v, ValueRef):
            v = self.number(m, v, depth + 1)
        if not isinstance(v, int) or isinstance(v, bool):
            raise SchemaError(a.pos, "value %s must be a number" % a.name)
        m.values[a.name] = v
        return v

    def number(self, m, v, depth=0):
        if isinstance(v, ValueRef):
            src, a = self.lookup(m, v.name, v.pos, "value")
            if a.kind != "VALUE":
                raise SchemaError(v.pos, "%s is not a value" % v.name)
            return self.value_of(src, a, depth + 1)
        return v

    def bounds(self, m, cons):
        """(lo, hi, ext) of the value ranges of a constraint."""
        if cons is None or not cons.ranges:
            return None, None, bool(cons and cons.ext)
        los, his = [], []
        for lo, hi, pos in cons.ranges:
            lo = None if lo == "MIN" else self.number(m, lo)
            hi = None if hi == "MAX" else self.number(m, hi)
            if lo is not None and hi is not None and lo > hi:
                raise SchemaError(pos, "empty range %d..%d" % (lo, hi))
            los.append(lo)
            his.append(hi)
        lo = None if None in los else min(los)
        hi = None if None in his else max(his)
        return lo, hi, cons.ext

    def size_of(self, m, cons):
        if cons is None:
            return None
        if cons.ranges and cons.size is None:
            raise SchemaError(cons.pos, "expected a SIZE constraint")
        if cons.size is None:
            return None
        lo, hi, ext = self.bounds(m, cons.size)
        if lo is not None and lo < 0:
            raise SchemaError(cons.size.pos, "negative size")
        return Size(lo, hi, ext)

    # -- types ----------------------------------------------------------------------
    def named_type(self, m, name, pos):
        src, a = self.lookup(m, name, pos, "type")
        if a.kind != "TYPE" or a.params is not None:
            if a.kind == "TYPE":
                raise SchemaError(pos, "%s is parameterized and needs actual parameters" % name)
            raise SchemaError(pos, "%s is not a type" % name)
        t = src.named[name]
        return t

    def fill(self, t, node, lm, om, env, anode):
        """Fills Type t from a parse node. lm: module in which names of the
        node resolve; om: module that owns inline types; anode: the
        assignment or component node carrying annotations."""
        k = node.kind
        if k == "REF":
            if node.params is not None:
                self.instantiate(t, node, lm, om, env)
                return
            if node.cons is not None:
                raise SchemaError(node.cons.pos, "constraints on a referenced type are not supported")
            t.kind = "ALIAS"
            t.target = self.use_named(lm, om, node.name, node.pos)
            return
        if k == "FIELD":
            raise SchemaError(node.pos, "a class field can only be used as a component type")
        t.kind = KIND.get(k, k)
        if k == "INTEGER":
            t.lo, t.hi, t.ext = self.bounds(lm, node.cons)
            if node.cons is not None and node.cons.size is not None:
                raise SchemaError(node.cons.pos, "SIZE on an INTEGER")
        elif k == "ENUMERATED":
            self.fill_enum(t, node, lm)
        elif k == "BIT STRING":
            seen = {}
            for name, v, pos in node.named:
                v = self.number(lm, v)
                if name in seen:
                    raise SchemaError(pos, "duplicate named bit %s" % name)
                if v in seen.values():
                    raise SchemaError(pos, "bit %d is named twice" % v)
                seen[name] = v
                t.bits.append((name, v))
            t.size = self.size_of(lm, node.cons)
            if t.size is None or t.size.hi is None:
                raise SchemaError(node.pos, "a BIT STRING needs a bounded SIZE")
        elif k == "OCTET STRING":
            t.size = self.size_of(lm, node.cons)
        elif k == "STRING":
            t.strtype = node.strtype
            t.size = self.size_of(lm, node.cons)
        elif k in ("SEQUENCE", "CHOICE"):
            t.ext = node.ext
            names = {}
            for c in node.comps:
                if c.name in names:
                    raise SchemaError(c.pos, "duplicate %s %s in %s" % (
                        "component" if k == "SEQUENCE" else "alternative", c.name,
                        t.asn1name or t.cname))
                names[c.name] = c
                ct = self.use(c.type, naming.inline_cname(t.cname, c.name), lm, om, env, c)
                comp = Component(c.name, ct, c.optional, c.pos, c.default)
                if c.type.kind == "FIELD" and c.type.field[1].islower():
                    comp.table_key = True
                t.comps.append(comp)
            n = 0
            for c in t.comps:
                if c.optional:
                    c.opt_index = n
                    n += 1
            if n > 32:
                raise SchemaError(node.pos, "more than 32 OPTIONAL components")
            for c in t.comps:
                if c.type.kind == "OPEN":
                    self.bind_key(t, c)
        elif k == "SEQOF":
            t.size = self.size_of(lm, node.cons)
            t.elem = self.use(node.elem, naming.element_cname(t.cname), lm, om, env,
                              anode if anode is not None and anode.kind == "TYPE" else None,
                              element=True)
            fa = self.annot(anode, "form")
            ia = self.annot(anode, "item")
            t.form = fa.arg if fa else None
            t.item = ia.arg if ia else None
        if k != "SEQOF" and anode is not None and anode.kind == "TYPE":
            for w in ("form", "item"):
                a = self.annot(anode, w)
                if a:
                    raise SchemaError(a.pos, "'--@%s' applies to a SEQUENCE OF only" % w)

    def fill_enum(self, t, node, lm):
        t.ext = node.ext
        used = set()
        names = set()
        vals = []
        for name, v, pos in node.items:
            if name in names:
                raise SchemaError(pos, "duplicate enumerator %s" % name)
            names.add(name)
            if v is not None:
                v = self.number(lm, v)
                if v in used:
                    raise SchemaError(pos, "enumerator value %d used twice" % v)
                used.add(v)
            vals.append([name, v, pos])
        nxt = 0
        for it in vals:
            if it[1] is None:
                while nxt in used:
                    nxt += 1
                it[1] = nxt
                used.add(nxt)
        for i, (name, v, pos) in enumerate(sorted(vals, key=lambda x: x[1])):
            if v != i:
                raise SchemaError(pos, "enumerator values must run from 0 without gaps "
                                  "(%s is %d, expected %d)" % (name, v, i))
        t.items = [(name, v) for name, v, pos in vals]

    def use_named(self, lm, om, name, pos):
        t = self.named_type(lm, name, pos)
        t.refs += 1
        if t.module is not om:
            om.deps.add(t.module)
        return t

    def use(self, node, cname, lm, om, env, anode, element=False):
        """The type of a component or list element."""
        ia = self.annot(anode, "inline")
        ta = self.annot(anode, "type")
        # On a type assignment, --@inline/--@type speak of its list element.
        if anode is not None and anode.kind == "TYPE" and not element:
            ia = ta = None
        if anode is not None and anode.kind == "COMP" and element:
            ia = ta = None
        if ia and ta:
            raise SchemaError(ta.pos, "'--@inline' and '--@type' on one component")
        k = node.kind
        if k == "REF" and node.params is None:
            if ia or ta:
                a = ia or ta
                raise SchemaError(a.pos, "'--@%s' applies to a type written inline, not to a reference"
                                  % a.word)
            return self.use_named(lm, om, node.name, node.pos)
        if k == "FIELD":
            return self.field_type(node, cname, lm, om, env)
        if k == "REF":
            own = not ia
        else:
            own = (k in OWN_TYPE_KINDS and not ia) or bool(ta)
        if not own and k in ("SEQUENCE", "CHOICE", "SEQOF"):
            raise SchemaError(ia.pos, "a %s can not be coded inline" % k)
        t = Type(None, om, node.pos, cname if own else None, None, owned=own)
        if own:
            t.refs = 1  # used by its parent
            om.types.append(t)
        self.fill(t, node, lm, om, env, anode if k == "SEQOF" else None)
        return t

    def instantiate(self, t, node, lm, om, env):
        src, a = self.lookup(lm, node.name, node.pos, "type")
        if a.kind != "TYPE" or a.params is None:
            raise SchemaError(node.pos, "%s is not a parameterized type" % node.name)
        if len(a.params) != len(node.params):
            raise SchemaError(node.pos, "%s takes %d parameter(s), %d given"
                              % (node.name, len(a.params), len(node.params)))
        env2 = {}
        for (gov, pname), (pk, pv, ppos) in zip(a.params, node.params):
            if pk != "set":
                raise SchemaError(ppos, "only object set parameters are supported")
            pv = env.get(pv, pv)
            sm, sa = self.lookup(lm, pv, ppos, "object set")
            if sa.kind != "OBJSET":
                raise SchemaError(ppos, "%s is not an object set" % pv)
            if gov is not None and sa.cls != gov:
                raise SchemaError(ppos, "%s is a set of %s, expected %s" % (pv, sa.cls, gov))
            env2[pname] = (sm, sa)
        t.instance_of = a.name
        self.fill(t, a.type, src, om, env2, None)

    def field_type(self, node, cname, lm, om, env):
        cm, ca = self.lookup(lm, node.cls, node.pos, "class")
        if ca.kind != "CLASS":
            raise SchemaError(node.pos, "%s is not a class" % node.cls)
        fields = {f[0]: f for f in ca.fields}
        if node.field not in fields:
            raise SchemaError(node.pos, "class %s has no field %s" % (node.cls, node.field))
        if node.table is None:
            raise SchemaError(node.pos, "%s.%s needs a table constraint" % (node.cls, node.field))
        set_name, set_pos, at = node.table
        if set_name in env:
            sm, sa = env[set_name]
        else:
            sm, sa = self.lookup(lm, set_name, set_pos, "object set")
            if sa.kind != "OBJSET":
                raise SchemaError(set_pos, "%s is not an object set" % set_name)
        if sa.cls != node.cls:
            raise SchemaError(set_pos, "%s is a set of %s, not of %s" % (set_name, sa.cls, node.cls))
        fname, ftype, fpos = fields[node.field]
        if node.field[1].islower():
            # value field: the component has the field's type
            if ftype is None:
                raise SchemaError(fpos, "field %s needs a type" % fname)
            if ftype.kind == "REF" and ftype.params is None:
                return self.use_named(cm, om, ftype.name, ftype.pos)
            t = Type(None, om, ftype.pos, None, None, owned=False)
            self.fill(t, ftype, cm, om, {}, None)
            return t
        if at is None:
            raise SchemaError(node.pos, "open type %s.%s needs a component relation such as {@id}"
                              % (node.cls, node.field))
        t = Type("OPEN", om, node.pos, None, None, owned=False)
        t.cls = node.cls
        t.objset = sa.name
        t.key = at[0]
        t.key_pos = at[1]
        t.rows = self.rows(cm, ca, sm, sa, node.field, om)
        return t

    def rows(self, cm, ca, sm, sa, type_field, om):
        syntax = ca.syntax or [f[0] for f in ca.fields]
        value_fields = [f[0] for f in ca.fields if f[0][1].islower()]
        if len(value_fields) != 1:
            raise SchemaError(ca.pos, "class %s must have one value field as its key" % ca.name)
        rows = []
        keys = {}
        for i, obj in enumerate(sa.objects):
            slots = {}
            words = list(obj.words)
            for s in syntax:
                if not words:
                    raise SchemaError(obj.pos, "object does not match the syntax of %s" % ca.name)
                kind, val, pos = words.pop(0)
                if s.startswith("&"):
                    want = "value" if s[1].islower() else "type"
                    if kind != want:
                        raise SchemaError(pos, "expected a %s for %s" % (want, s))
                    slots[s] = (val, pos)
                elif kind != "word" or val != s:
                    raise SchemaError(pos, "expected '%s'" % s)
            if words:
                raise SchemaError(words[0][2], "object does not match the syntax of %s" % ca.name)
            kval, kpos = slots[value_fields[0]]
            key = self.number(sm, kval)
            key_name = kval.name if isinstance(kval, ValueRef) else str(kval)
            if key in keys:
                raise SchemaError(kpos, "key %d appears twice in %s" % (key, sa.name))
            keys[key] = True
            tnode, tpos = slots[type_field]
            if tnode.kind != "REF" or tnode.params is not None:
                raise SchemaError(tpos, "an object must name its type")
            rt = self.use_named(sm, om, tnode.name, tnode.pos)
            tag = naming.table_tag(ca.name, sm.name, sa.name, key_name)
            rows.append(Row(key, key_name, rt, i + 1, tag))
        return rows

    def bind_key(self, t, c):
        ot = c.type
        for k in t.comps:
            if k.name == ot.key:
                if not k.table_key:
                    raise SchemaError(ot.key_pos, "%s is not constrained by the table %s"
                                      % (ot.key, ot.objset))
                ot.key_comp = k
                return
        raise SchemaError(ot.key_pos, "no component %s in %s" % (ot.key, t.asn1name or t.cname))

    # -- derived facts ----------------------------------------------------------------
    def finish_type(self, t):
        if t.kind == "SEQOF":
            e = t.elem.base
            if t.form is None:
                if e.kind in RECORD_ELEMENT_KINDS:
                    t.form = "list"
                elif t.size is not None and t.size.ext:
                    t.form = "dynamic-array"
                else:
                    t.form = "inline-array"
            if t.form == "inline-array" and (t.size is None or t.size.hi is None or t.size.hi > 254):
                raise SchemaError(t.pos, "an inline array needs an upper size bound below 255")
            if t.item is None:
                if t.elem.owned and t.elem.asn1name:
                    t.item = t.elem.asn1name
                else:
                    t.item = ITEM_KEYWORD.get(t.elem.kind, t.elem.kind)
