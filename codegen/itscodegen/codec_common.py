"""Rules of the records that every codec back end shares: how a record is
passed, allocated and constructed, where a CHOICE keeps its alternative,
which types are messages, and the names an unknown member may not take.
The back ends import these from here, never from one another."""
from . import layout, naming
from .cwriter import c_string

PLAIN_KINDS = ("INTEGER", "ENUMERATED", "BOOLEAN", "STRING")


def byval(t):
    """Whether asn1PE_T takes the value itself (numbers, strings) rather
    than a pointer to the record."""
    return t.base.kind in PLAIN_KINDS


def is_pdu(t):
    """Types that no other type uses end their decoder with the scan for
    a constraint violation recorded on the way."""
    return t.owned and t.refs == 0


def construct(w, t, ptr):
    """Constructs a zeroed heap record of type t at ptr."""
    b = t.base
    if layout.is_list(b):
        w("rtxDListInit(%s);" % ptr)
    elif b.owned and layout.is_struct(b) and layout.has_ctor(b):
        w("new (%s) %s();" % (ptr, b.record))


def alloc_record(w, t, lv, ctype):
    """lv = a new zeroed, constructed record of type t (pointer type ctype)."""
    w("%s = (%s)rtxMemAllocZ(pctxt, sizeof(*%s));" % (lv, ctype, lv))
    w("if (%s == 0) return VX_LOG_ERR(pctxt, RTERR_NOMEM);" % lv)
    construct(w, t, lv)


def alt_lv(v, c):
    """The lvalue of a CHOICE alternative: in the union by value, or behind
    the union's pointer (a character string is its own pointer)."""
    if layout.choice_by_value(c.type) or layout.is_string(c.type):
        return "%s.u.%s" % (v, c.cid)
    return "(*%s.u.%s)" % (v, c.cid)


def by_pointer(c):
    return not (layout.choice_by_value(c.type) or layout.is_string(c.type)
                or c.type.base.kind == "NULL")


def reserved_names(w, t):
    """Declares the component names of t, which no kept unknown member may
    take, and returns the arguments naming them."""
    if not t.comps:
        return "0, 0"
    w("static const char* const names[] = {%s};"
      % ", ".join(c_string(c.name) for c in t.comps))
    return "names, %d" % len(t.comps)


def size_test(s, count):
    """Condition for a count outside SIZE(lo..hi), or None (no size, an
    open upper bound or an extensible size: nothing to test)."""
    if s is None or s.hi is None or s.ext:
        return None
    conds = []
    if s.lo:
        conds.append("%s < %d" % (count, s.lo))
    conds.append("%s > %d" % (count, s.hi))
    return " || ".join(conds)


def bitstr_count(w, t, v):
    """Writes the size test of the bit string v of type t for writing (a
    bare -16 outside the constraint) and returns the expression of its
    number of bits; None for a string with bits past its root, which its
    writer counts itself."""
    f = layout.bitstr_form(t)
    s = t.size
    if f == "bytes":
        return str(s.hi)
    if f == "bitstr32":
        w("if (%s.numbits != %d) return RTERR_CONSVIO;" % (v, s.hi))
        return str(s.hi)
    if f == "var":
        w("if (%s) return RTERR_CONSVIO;" % size_test(s, "%s.numbits" % v))
        return "%s.numbits" % v
    return None


def fail_pass(w):
    """A failure of the step just written goes back as it is."""
    w("if (stat != 0) return stat;")


def fail_log(w, cond="stat != 0"):
    """A failure goes back with this function's position recorded."""
    w("if (%s) return VX_LOG_ERR(pctxt, stat);" % cond)


# -- lists read from text: where the items go -----------------------------------

def list_init(w, t, v):
    """Empties the list record v before its items are read; a dynamic
    array gathers them in a growing buffer first."""
    et = layout.field_ctype(t.elem)
    if t.form == "list":
        w("rtxDListInit(&%s);" % v)
    elif t.form == "inline-array":
        w("%s.n = 0;" % v)
    else:
        w("%s.n = 0;" % v)
        w("%s.elem = 0;" % v)
        w("%s* array = 0;" % et)
        w("VXRTDListBuf buf;")
        w("rtxDListBufInit(&buf, 16, (void**)&array, sizeof(%s));" % et)


def list_store_item(w, t, v, call, nomem, overflow, fail_item, fail_buffered, fail_grow=fail_log):
    """Reads one item into its place: call(lv) is the reader's call for the
    item lv; `nomem` and `overflow` are the statements for a node that can
    not be had and an inline array already past its upper bound (it holds
    one item more, so the text reader's extra item is stored safely);
    fail_item(w) passes a failed read on, `fail_buffered` is the return of
    a failed read into the buffer of a dynamic array (freed first),
    fail_grow(w) that of a buffer that can not grow."""
    et = layout.field_ctype(t.elem)
    if t.form == "list":
        # The node and its element are one allocation, the element right
        # behind the node (the form rtxDListFreeAll knows); the node joins
        # the list once the element is read.
        w("VXRTDListNode* node = (VXRTDListNode*)rtxMemAllocZ(pctxt, sizeof(VXRTDListNode) + sizeof(%s));" % et)
        w("if (node == 0) %s" % nomem)
        w("%s* elem = (%s*)(node + 1);" % (et, et))
        construct(w, t.elem, "elem")
        w("stat = %s;" % call("(*elem)"))
        fail_item(w)
        w("node->data = elem;")
        w("rtxDListAppendNode(&%s, node);" % v)
    elif t.form == "inline-array":
        w("if (%s.n > %d) %s" % (v, t.size.hi, overflow))
        w("stat = %s;" % call("%s.elem[%s.n]" % (v, v)))
        fail_item(w)
        w("%s.n++;" % v)
    else:
        with w.block("if (buf.n == buf.nMax)"):
            w("stat = rtxDListBufExpand(pctxt, &buf);")
            fail_grow(w)
        with w.block("if ((stat = %s) != 0)" % call("array[buf.n]")):
            w("rtxDListBufFreeAll(pctxt, &buf);")
            w(fail_buffered)
        w("buf.n++;")
        w("buf.nAll++;")


def list_finish(w, t, v, fail=fail_log):
    """A dynamic array takes its items out of the buffer; fail(w) passes a
    failure of that on."""
    if t.form == "dynamic-array":
        w("stat = rtxDListBufToArray(pctxt, &buf);")
        fail(w)
        w("%s.n = buf.nAll;" % v)
        w("%s.elem = array;" % v)


# -- where a value is coded -----------------------------------------------------

def inline_site_args(t, c):
    """For a component c of t without a type of its own: the name of the
    unit's static function for it and that function's argument type (an
    inline component's field may be an unnamed struct: named by decltype).
    Empty for a component of an owned type."""
    if c.type.owned:
        return ()
    if t.kind == "SEQUENCE":
        arg = "decltype(%s::%s)" % (t.record, c.cid)
    else:
        arg = layout.field_ctype(c.type)
    return (naming.inline_cname(t.cname, c.name), arg)


def element_site_args(t):
    """The same for the element of the list type t."""
    e = t.elem
    if e.owned:
        return ()
    return (naming.element_cname(t.cname), layout.field_ctype(e))


class Site:
    """Where a value stands: its type and the function that codes it, which
    is the type's own (OWNED + type name) or, for a value without a type of
    its own, a static function of the unit (INLINE + its name) taking
    `argtype`. Back ends set the two prefixes."""

    OWNED = ""
    INLINE = ""

    def __init__(self, t, inline_name=None, argtype=None):
        self.t = t
        self.inline_name = inline_name
        self.argtype = argtype

    @property
    def fn(self):
        return self.OWNED + self.t.cname if self.t.owned else self.INLINE + self.inline_name

    @classmethod
    def of_comp(cls, t, c):
        """A SEQUENCE component or CHOICE alternative c of t."""
        return cls(c.type, *inline_site_args(t, c))

    @classmethod
    def of_elem(cls, t):
        """The element of the list type t."""
        return cls(t.elem, *element_site_args(t))
