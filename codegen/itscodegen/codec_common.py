"""Rules of the records that every codec back end shares: how a record is
passed, allocated and constructed, where a CHOICE keeps its alternative,
which types are messages, and the names an unknown member may not take.
The back ends import these from here, never from one another."""
from . import layout
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
