"""XML writers `XmlEnc_<T>`, one rule per construct (XER style).

The text form: an element per value named by the caller (the component's
identifier, the item name of a list, or nothing at the root, where the
message class has opened the element itself). A SEQUENCE holds its present
components in order, a CHOICE its chosen alternative, a SEQUENCE OF one
element per item named after the item's type; numbers, bit strings (one
digit per bit), octet strings (upper-case hexadecimal) and character
strings (escaped) are the text of their element; an enumerator or a
boolean is an empty child element. The writer run-time decides breaks,
indentation and the short form `<name/>` of an element without content.

A value outside its constraint gives a bare -16 (nothing recorded) from
the function that holds the test; a CHOICE without a valid alternative
gives -9 and an enumeration component above its highest value -4, both
recorded where the element stands. A failure is passed on unchanged.

Only the XER style is written: `nsPrefix` is taken for the signature's sake
and not used (no element of this system has a prefix).
"""
from . import layout, naming
from .codec_common import (alt_lv, bitstr_count, byval, element_site_args, fail_pass, inline_site_args,
                           reserved_names, size_test)
from .cwriter import c_string

# Field type -> whether the number is written signed.
SIGNED_FIELDS = ("int8_t", "int16_t", "int32_t", "int64_t")


def enc_sig(t):
    arg = "%s value" % t.record if byval(t) else "const %s* pvalue" % t.record
    return "int XmlEnc_%s(VXCTXT* pctxt, %s, const char* elemName, const char* nsPrefix)" % (
        t.cname, arg)


def inner_sig(t):
    """The writer the other writers call: the output decided once by the
    caller, the element name with its length."""
    arg = "%s value" % t.record if byval(t) else "const %s* pvalue" % t.record
    return "int xmlEncIn_%s(VXCTXT* pctxt, XmlGenOut out, %s, XmlGenName name)" % (t.cname, arg)


def gen_name(literal):
    """A literal element name with its length in bytes."""
    return "XmlGenName{%s, %d}" % (c_string(literal), len(literal.encode("utf-8")))


# -- where a value stands and the function that writes it ----------------------

class Site:
    """A value's type, its writer, and for a component without a type of its
    own the argument type of the unit's static writer. `raw_ok` tells an
    open type with known rows whether a raw value may be written (only
    outside the region-keyed types)."""

    def __init__(self, t, inline_name=None, argtype=None, raw_ok=True):
        self.t = t
        self.inline_name = inline_name
        self.argtype = argtype
        self.raw_ok = raw_ok

    @property
    def fn(self):
        return "xmlEncIn_" + self.t.cname if self.t.owned else "xmlEnc_" + self.inline_name


def call(site, lv, name, ptr=None):
    """The writer's call on the value lv (or, not passed by value, on the
    pointer ptr when one is at hand)."""
    arg = lv if byval(site.t) else (ptr or "&" + lv)
    return "%s(pctxt, out, %s, %s)" % (site.fn, arg, name)


def comp_site(t, c):
    """A SEQUENCE component or CHOICE alternative; a raw value may be
    written for an inline open type only outside the region-keyed types."""
    args = inline_site_args(t, c)
    return Site(c.type, *args, raw_ok=not t.region_keyed) if args else Site(c.type)


def elem_site(t):
    return Site(t.elem, *element_site_args(t))


def written_inline(c):
    """SEQUENCE components written in the SEQUENCE's own function."""
    return c.type.base.kind in ("INTEGER", "BOOLEAN")


def inline_sites(t):
    out = []
    if t.kind in ("SEQUENCE", "CHOICE"):
        for c in t.comps:
            if t.kind == "SEQUENCE" and written_inline(c):
                continue
            if not c.type.owned and c.type.kind != "NULL":
                out.append(comp_site(t, c))
    elif t.kind == "SEQOF" and not t.elem.owned:
        out.append(elem_site(t))
    return out


def value_of(t):
    return "value" if byval(t) else "(*pvalue)"


# -- numbers, enumerations, booleans --------------------------------------------

def int_field(t):
    return naming.int_ctype(t.lo, t.hi, t.ext)


def range_test(t, v):
    """Condition under which the number v of type t is out of range, or None
    when the field holds nothing else (an extensible INTEGER takes any)."""
    if t.ext:
        return None
    ct = int_field(t)
    signed = ct in SIGNED_FIELDS
    bits = int(ct[3 if signed else 4:-2])
    fmin, fmax = (-(1 << (bits - 1)), (1 << (bits - 1)) - 1) if signed else (0, (1 << bits) - 1)
    conds = []
    if t.lo is not None and t.lo > fmin:
        conds.append("(int64_t)(%s) < %dLL" % (v, t.lo) if signed else "%s < %dU" % (v, t.lo))
    if t.hi is not None and t.hi < fmax:
        conds.append("(int64_t)(%s) > %dLL" % (v, t.hi) if signed else "(uint64_t)(%s) > %dULL" % (v, t.hi))
    return " || ".join(conds) if conds else None


def put_integer(t, v, name):
    """The number element named name (an XmlGenName expression)."""
    if int_field(t) in SIGNED_FIELDS:
        return "xmlGenInt(pctxt, out, (int64_t)(%s), %s)" % (v, name)
    return "xmlGenUInt(pctxt, out, (uint64_t)(%s), %s)" % (v, name)


def integer_stat(t, v, name):
    """The expression of the status of writing the number v as element name."""
    test = range_test(t, v)
    if test:
        return "(%s) ? RTERR_CONSVIO : %s" % (test, put_integer(t, v, name))
    return put_integer(t, v, name)


def enc_integer(w, t, v):
    w("return %s;" % integer_stat(t, v, "name"))


def boolean_stat(v, name):
    return "xmlGenNamed(pctxt, out, %s ? \"true\" : \"false\", %s ? 4 : 5, %s)" % (v, v, name)


def enc_boolean(w, t, v):
    w("return %s;" % boolean_stat(v, "name"))


def enc_enum(w, t, v):
    # The identifier of the value; "_UNKNOWN_" for a value outside the
    # table (a list item; a component is tested by its SEQUENCE first).
    tab = t.record + "_ENUMTAB"
    with w.block("if (%s < %dU)" % (v, len(t.items))):
        w("const VXEnumItem& item = %s[%s[%s].transidx];" % (tab, tab, v))
        w("return xmlGenNamed(pctxt, out, item.name, item.namelen, name);")
    w("return xmlGenNamed(pctxt, out, \"_UNKNOWN_\", 9, name);")


def enc_null(w, t, v):
    w("return xmlGenEmpty(pctxt, out, name);")


# -- strings ----------------------------------------------------------------------

def enc_bitstring(w, t, v):
    count = bitstr_count(w, t, v)
    if count is None:
        w("return xmlGenBitsExt(pctxt, out, %s.numbits, %s.data, %d, %s.extdata, name);"
          % (v, v, naming.nbytes(t.size.lo), v))
    else:
        w("return xmlGenBits(pctxt, out, %s, %s.data, name);" % (count, v))


def enc_octstring(w, t, v):
    f = layout.octstr_form(t)
    if f == "bytes":
        w("return xmlGenHex(pctxt, out, %d, %s.data, name);" % (t.size.hi, v))
        return
    if f == "var":
        w("if (%s) return RTERR_CONSVIO;" % size_test(t.size, "%s.numocts" % v))
    w("return xmlGenHex(pctxt, out, %s.numocts, %s.data, name);" % (v, v))


def enc_string(w, t, v):
    test = size_test(t.size, "length")
    if test:
        length = "rtxUTF8Len(%s)" % v if t.strtype == "UTF8String" else "strlen(%s)" % v
        w("size_t length = %s != 0 ? %s : 0;" % (v, length))
        w("if (%s) return RTERR_CONSVIO;" % test)
    w("return xmlGenText(pctxt, out, %s, name);" % v)


# -- SEQUENCE -----------------------------------------------------------------------

def enc_sequence(w, t, v):
    w("int stat = xmlGenStart(pctxt, out, name);")
    fail_pass(w)
    for c in t.comps:
        lv = "%s.%s" % (v, c.cid)
        name = gen_name(c.name)
        b = c.type.base
        if c.optional:
            w("if (%s.m.%sPresent) {" % (v, c.cid))
            w.indent()
        if b.kind == "NULL":
            w("stat = xmlGenEmpty(pctxt, out, %s);" % name)
        elif b.kind == "INTEGER":
            w("stat = %s;" % integer_stat(b, lv, name))
        elif b.kind == "BOOLEAN":
            w("stat = %s;" % boolean_stat(lv, name))
        else:
            if b.kind == "ENUMERATED":
                # Above the highest value: the error handler decides.
                with w.block("if (%s > %dU)" % (lv, len(b.items) - 1)):
                    w("VexilCB cb = {0, 0};")
                    w("stat = Asn1ErrorHandler::invoke(pctxt, &cb, RTERR_INVENUM);")
                    w("if (stat != 0) return VX_LOG_ERR(pctxt, stat);")
            w("stat = %s;" % call(comp_site(t, c), lv, name))
        fail_pass(w)
        if c.optional:
            w.dedent()
            w("}")
    if t.ext:
        # Unknown additions behind the known components, each on its own line.
        with w.block("if (%s.extElem1.count != 0)" % v):
            w("stat = rtAsn1XmlEncOpenTypeExt(pctxt, &%s.extElem1, %s);" % (v, reserved_names(w, t)))
            fail_pass(w)
    w("return xmlGenEnd(pctxt, out, name);")


# -- CHOICE -------------------------------------------------------------------------

def enc_choice(w, t, v):
    n = len(t.comps)
    w("int stat = xmlGenStart(pctxt, out, name);")
    fail_pass(w)
    with w.block("switch (%s.t)" % v):
        for i, c in enumerate(t.comps):
            w("case %d:" % (i + 1))
            w.indent()
            name = gen_name(c.name)
            if c.type.base.kind == "NULL":
                w("stat = xmlGenEmpty(pctxt, out, %s);" % name)
            else:
                if not (layout.choice_by_value(c.type) or layout.is_string(c.type)):
                    w("if (%s.u.%s == 0) return VX_LOG_ERR(pctxt, RTERR_INVOPT);" % (v, c.cid))
                w("stat = %s;" % call(comp_site(t, c), alt_lv(v, c), name))
            w("break;")
            w.dedent()
        if t.ext:
            w("case %d:" % (n + 1))
            w.indent()
            # An alternative this schema does not know, as it was received.
            w("if (%s.u.extElem1 == 0) return VX_LOG_ERR(pctxt, RTERR_INVOPT);" % v)
            w("stat = xmlGenUnknownAlt(pctxt, out, %s.u.extElem1, %s);" % (v, reserved_names(w, t)))
            w("break;")
            w.dedent()
        w("default:")
        w("   return VX_LOG_ERR(pctxt, RTERR_INVOPT);")
    fail_pass(w)
    w("return xmlGenEnd(pctxt, out, name);")


# -- SEQUENCE OF ----------------------------------------------------------------------

def enc_seqof(w, t, v):
    site = elem_site(t)
    et = layout.field_ctype(t.elem)
    item = gen_name(t.item)
    count = "%s.count" % v if t.form == "list" else "%s.n" % v
    test = size_test(t.size, count)
    if test:
        w("if (%s) return RTERR_CONSVIO;" % test)
    if t.form == "dynamic-array":
        w("if (%s.n != 0 && %s.elem == 0) return VX_LOG_ERR(pctxt, RTERR_INVPARAM);" % (v, v))
    w("int stat = xmlGenStart(pctxt, out, name);")
    fail_pass(w)
    if t.form == "list":
        w("for (const VXRTDListNode* node = %s.head; node != 0; node = node->next) {" % v)
        elem = "(*(const %s*)node->data)" % et
        ptr = "(const %s*)node->data" % et
    else:
        w("for (uint64_t i = 0; i < %s.n; i++) {" % v)
        elem = "%s.elem[i]" % v
        ptr = None
    w.indent()
    w("stat = %s;" % call(site, elem, item, ptr))
    fail_pass(w)
    w.dedent()
    w("}")
    w("return xmlGenEnd(pctxt, out, name);")


# -- open types -------------------------------------------------------------------------

def enc_open(w, t, v, raw_ok=True):
    if not t.rows:
        w("return xmlGenOpenValue(pctxt, out, %s.data, %s.numocts, name);" % (v, v))
        return
    with w.block("switch (%s.t)" % v):
        w("case 0:")
        w.indent()
        if raw_ok:
            w("if (%s.u.openType == 0) return VX_LOG_ERR(pctxt, RTERR_INVOPT);" % v)
            w("return xmlGenOpenValue(pctxt, out, %s.u.openType->data, %s.u.openType->numocts, "
              "name);" % (v, v))
        else:
            # A raw value of a region whose type is known has no XML form.
            w("return VX_LOG_ERR(pctxt, RTERR_INVOPT);")
        w.dedent()
        for r in t.rows:
            member = "%s.u.%s" % (v, r.key_cid)
            w("case %d: {" % r.t)
            w.indent()
            # The known value as an element named with its type's ASN.1 name.
            w("if (%s == 0) return VX_LOG_ERR(pctxt, RTERR_INVOPT);" % member)
            w("int stat = xmlGenStart(pctxt, out, name);")
            fail_pass(w)
            w("stat = xmlEncIn_%s(pctxt, out, %s, %s);" % (r.type.cname, member, gen_name(r.type.xml_name)))
            fail_pass(w)
            w("return xmlGenEnd(pctxt, out, name);")
            w.dedent()
            w("}")
        w("default:")
        w("   return VX_LOG_ERR(pctxt, RTERR_INVOPT);")


# -- functions ---------------------------------------------------------------------------

RULES = {
    "INTEGER": enc_integer,
    "BOOLEAN": enc_boolean,
    "NULL": enc_null,
    "ENUMERATED": enc_enum,
    "BITSTRING": enc_bitstring,
    "OCTETSTRING": enc_octstring,
    "STRING": enc_string,
    "SEQUENCE": enc_sequence,
    "CHOICE": enc_choice,
    "SEQOF": enc_seqof,
}


def enc_body(w, t, v, site=None):
    if t.kind == "OPEN":
        enc_open(w, t, v, site.raw_ok if site is not None else True)
    else:
        RULES[t.kind](w, t, v)


def write_inline_encoder(w, site):
    t = site.t
    arg = "%s value" % site.argtype if byval(t) else "const %s* pvalue" % site.argtype
    with w.block("static int %s(VXCTXT* pctxt, XmlGenOut out, %s, XmlGenName name)" % (site.fn, arg)):
        enc_body(w, t, value_of(t), site)
    w()


def write_encoder(w, t):
    for s in inline_sites(t):
        write_inline_encoder(w, s)
    arg = "value" if byval(t) else "pvalue"
    with w.block(inner_sig(t)):
        if t.kind == "ALIAS":
            w("return xmlEncIn_%s(pctxt, out, %s, name);" % (t.target.cname, arg))
        else:
            enc_body(w, t, value_of(t))
    w()
    with w.block(enc_sig(t)):
        w("(void)nsPrefix;")
        w("return xmlEncIn_%s(pctxt, xmlGenOutput(pctxt), %s, xmlGenNameOf(elemName));" % (t.cname, arg))
    w()


def encode_branch(w, t, rec):
    """The XML branch of EncodeTo: the declaration and the root element are
    written here, the type's writer fills the root with the components."""
    arg = rec if byval(t) else "&" + rec
    root = c_string(t.xml_name)
    w("VXCTXT* pctxt = msgBuf.getCtxtPtr();")
    with w.block("if (pctxt->pXMLInfo == 0)"):
        w("rtErrXmlInit();")
        w("stat = rtXmlInitCtxtAppInfo(pctxt);")
        fail_pass(w)
    w("rtxCtxtSetFlag(pctxt, VXCTXT_FLAG_NOXMLNS);")
    w("stat = rtXmlEncStartDocument(pctxt);")
    fail_pass(w)
    w("VXXMLNamespace ns = {0, 0};")
    w("stat = rtXmlEncStartElement(pctxt, %s, &ns, 0, false);" % root)
    fail_pass(w)
    w("stat = XmlEnc_%s(pctxt, %s, \"\", 0);" % (t.cname, arg))
    fail_pass(w)
    w("return rtXmlEncEndElement(pctxt, %s, &ns);" % root)
