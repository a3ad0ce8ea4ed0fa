"""Direct XML readers `XmlFast_<T>`, one rule per construct.

A direct reader reads the content of an element straight from a document
held whole in memory (rtxmlsrc/xmlFastRead.h), in the plain form the
writers produce: each component's element in its place, matched as it
stands, values in their plain text. It takes a value exactly as the
event-driven reader `XmlDec_<T>` would take it, and gives up
(XML_FAST_NO) wherever that reader might do anything else: an element it
does not expect (an unknown addition, a swapped or missing component), a
value outside its range or size, text it would have to decode, an open type
kept as text. The message's DecodeFrom then reads the document again with
the event-driven reader, which makes the result and the report; the record
the direct reader leaves behind is overwritten wherever that reader reads.

Components without a type of their own get a static reader of the unit
(`xmlFast_<parent>_<component>`), made by the rule of their kind.
"""
from . import codec_common, layout, naming
from .codec_common import construct, list_finish, list_init, list_store_item, size_test
from .cwriter import c_string
from .emit_xml_dec import number_bounds

NO = "return XML_FAST_NO;"


def fast_sig(t):
    return "int XmlFast_%s(XmlFastIn* in, %s* pvalue)" % (t.cname, t.record)


def fail_no(w, cond="stat != 0"):
    w("if (%s) %s" % (cond, NO))


class Site(codec_common.Site):
    OWNED = "XmlFast_"
    INLINE = "xmlFast_"


comp_site = Site.of_comp
elem_site = Site.of_elem


def inline_sites(t):
    out = []
    if t.kind in ("SEQUENCE", "CHOICE"):
        for c in t.comps:
            if not c.type.owned and c.type.kind not in ("NULL", "OPEN"):
                out.append(comp_site(t, c))
    elif t.kind == "SEQOF" and not t.elem.owned:
        out.append(elem_site(t))
    return out


def name_args(name):
    return "%s, %d" % (c_string(name), len(name.encode("utf-8")))


# -- plain values ----------------------------------------------------------------

def fast_integer(w, t, lv):
    ct, _, wide, conds = number_bounds(t)
    step = "xmlFastInt" if wide == "int64_t" else "xmlFastUInt"
    w("%s number = 0;" % wide)
    fail_no(w, " || ".join(["!%s(in, &number)" % step] + conds))
    w("%s = (%s)number;" % (lv, ct))
    w("return 0;")


def fast_boolean(w, t, lv):
    w("return xmlFastBool(in, &%s);" % lv)


def fast_null(w, t, lv):
    w("(void)in;")
    w("return 0;")


def fast_enum(w, t, lv):
    tab = t.record + "_ENUMTAB"
    w("return xmlFastEnum(in, %s, %s_SIZE, &%s);" % (tab, tab, lv))


def fast_bitstring(w, t, lv):
    f = layout.bitstr_form(t)
    s = t.size
    if f == "ext":
        w("return xmlFastBitStrExt(in, %s.data, %d, &%s.numbits, &%s.extdata);"
          % (lv, naming.nbytes(s.lo), lv, lv))
        return
    w("uint64_t numbits = 0;")
    fail_no(w, "xmlFastBits(in, %s.data, &numbits, sizeof(%s.data)) != 0" % (lv, lv))
    if f == "var":
        fail_no(w, size_test(s, "numbits"))
        w("%s.numbits = (%s)numbits;" % (lv, naming.count_ctype(s.hi)))
    else:
        fail_no(w, "numbits != %d" % s.hi)
        if f == "bitstr32":
            w("%s.numbits = %d;" % (lv, s.hi))
    w("return 0;")


def fast_octstring(w, t, lv):
    f = layout.octstr_form(t)
    w("uint64_t numocts = 0;")
    if f == "bytes":
        w("return xmlFastHex(in, %s.data, %d, &numocts, 0);" % (lv, t.size.hi))
    elif f == "var":
        fail_no(w, "xmlFastHex(in, %s.data, %d, &numocts, 0) != 0" % (lv, t.size.hi))
        fail_no(w, size_test(t.size, "numocts"))
        w("%s.numocts = (%s)numocts;" % (lv, naming.count_ctype(t.size.hi)))
        w("return 0;")
    else:
        w("uint8_t* block = 0;")
        fail_no(w, "xmlFastHex(in, 0, 0, &numocts, &block) != 0")
        w("%s.numocts = numocts;" % lv)
        w("%s.data = block;" % lv)
        w("return 0;")


def fast_string(w, t, lv):
    w("const char* text = 0;")
    w("size_t length = 0;")
    fail_no(w, "xmlFastText(in, &text, &length) != 0")
    # The text is ASCII: its length in characters is its length in bytes.
    test = size_test(t.size, "length")
    if test:
        fail_no(w, test)
    w("%s = text;" % lv)
    w("return 0;")


# -- SEQUENCE -----------------------------------------------------------------------

def fast_open_comp(w, t, c, v):
    """A table-constrained open type with known rows: the record the key
    read before it names, as the one element inside. Without rows the value
    is left to the event-driven reader."""
    if not c.type.rows:
        w(NO)
        return
    lv = "%s.%s" % (v, c.cid)
    key = "%s.%s" % (v, c.type.key_comp.cid)
    fail_no(w, "xmlFastOpen(in, %s) != 1" % name_args(c.name))
    with w.block("switch (%s)" % key):
        for r in c.type.rows:
            w("case %d: {" % r.key)
            w.indent()
            member = "%s.u.%s" % (lv, r.key_cid)
            w("int form = xmlFastOpen(in, %s);" % name_args(r.type.asn1name))
            fail_no(w, "form == 0")
            w("%s = (%s)rtxMemAllocZ(in->pctxt, sizeof(*%s));" % (member, layout.ptr_ctype(r.type), member))
            fail_no(w, "%s == 0" % member)
            construct(w, r.type, member)
            w("%s.t = %d;" % (lv, r.t))
            fail_no(w, "xmlFastBody(in, form, %s, XmlFast_%s, %s) != 0"
                    % (name_args(r.type.asn1name), r.type.cname, member))
            w("break;")
            w.dedent()
            w("}")
        w("default:")
        w("   " + NO)
    fail_no(w, "!xmlFastClose(in, %s)" % name_args(c.name))


def fast_sequence(w, t, v):
    if t.optionals:
        w("memset(&%s.m, 0, sizeof(%s.m));" % (v, v))
    if t.ext:
        w("rtxDListInit(&%s.extElem1);" % v)
    if not t.comps:
        w("(void)in;")
    if any(c.optional for c in t.comps if c.type.kind != "OPEN"):
        w("int stat = 0;")
    for c in t.comps:
        lv = "%s.%s" % (v, c.cid)
        if c.type.kind == "OPEN":
            if c.optional:
                with w.block("if (xmlFastOpen(in, %s) != 0)" % name_args(c.name)):
                    w(NO)
            else:
                fast_open_comp(w, t, c, v)
            continue
        call = "xmlFastElem(in, %s, %s, &%s)" % (name_args(c.name), comp_site(t, c).fn, lv)
        if c.optional:
            w("stat = %s;" % call)
            fail_no(w, "stat > 0")
            w("if (stat == 0) %s.m.%sPresent = 1;" % (v, c.cid))
        else:
            fail_no(w, "%s != 0" % call)
    w("return 0;")


# -- CHOICE -------------------------------------------------------------------------

def fast_choice(w, t, v):
    w("%s.t = 0;" % v)
    w("int form = 0;")
    for i, c in enumerate(t.comps):
        with w.block("if ((form = xmlFastOpen(in, %s)) != 0)" % name_args(c.name)):
            if c.type.base.kind == "NULL":
                fail_no(w, "form == 1 && !xmlFastClose(in, %s)" % name_args(c.name))
            else:
                if layout.choice_by_value(c.type) or layout.is_string(c.type):
                    lv = "&%s.u.%s" % (v, c.cid)
                else:
                    member = "%s.u.%s" % (v, c.cid)
                    w("%s = (%s)rtxMemAllocZ(in->pctxt, sizeof(*%s));"
                      % (member, layout.ptr_ctype(c.type), member))
                    fail_no(w, "%s == 0" % member)
                    construct(w, c.type, member)
                    lv = member
                fail_no(w, "xmlFastBody(in, form, %s, %s, %s) != 0"
                        % (name_args(c.name), comp_site(t, c).fn, lv))
            w("%s.t = %d;" % (v, i + 1))
            w("return 0;")
    w(NO)


# -- SEQUENCE OF -------------------------------------------------------------------

def fast_seqof(w, t, v):
    site = elem_site(t)
    if t.form != "inline-array":
        w("VXCTXT* pctxt = in->pctxt;")
    list_init(w, t, v)
    w("int stat = 0;")
    with w.block("for (;;)"):
        w("int form = xmlFastOpen(in, %s);" % name_args(t.item))
        w("if (form == 0) break;")
        list_store_item(w, t, v,
                        lambda lv: "xmlFastBody(in, form, %s, %s, &%s)" % (name_args(t.item), site.fn, lv),
                        NO, NO, fail_no, NO, fail_grow=fail_no)
    count = "%s.count" % v if t.form == "list" else "%s.n" % v
    list_finish(w, t, v, fail=fail_no)
    test = size_test(t.size, count)
    if test:
        fail_no(w, test)
    w("return 0;")


RULES = {
    "INTEGER": fast_integer,
    "BOOLEAN": fast_boolean,
    "NULL": fast_null,
    "ENUMERATED": fast_enum,
    "BITSTRING": fast_bitstring,
    "OCTETSTRING": fast_octstring,
    "STRING": fast_string,
    "SEQUENCE": fast_sequence,
    "CHOICE": fast_choice,
    "SEQOF": fast_seqof,
}


def fast_body(w, t, lv):
    RULES[t.kind](w, t, lv)


def write_fast(w, t):
    for s in inline_sites(t):
        with w.block("static int %s(XmlFastIn* in, %s* pvalue)" % (s.fn, s.argtype)):
            fast_body(w, s.t, "(*pvalue)")
        w()
    with w.block(fast_sig(t)):
        if t.kind == "ALIAS":
            w("return XmlFast_%s(in, pvalue);" % t.target.cname)
        else:
            fast_body(w, t, "(*pvalue)")
    w()


def decode_attempt(w, t, rec):
    """The document read directly when it is in memory in the plain form;
    the status is then the one the event-driven reader ends with."""
    w("if (xmlFastDocument(xctxt, %s, XmlFast_%s, &%s)) return xmlGenDecFinish(xctxt);"
      % (name_args(t.xml_name), t.cname, rec))
