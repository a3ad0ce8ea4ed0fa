"""XML readers `XmlDec_<T>`, one rule per construct, in the XML value
notation (each component an element named by its identifier, a list item
an element named by the item's type, an enumerator or boolean value an
empty child element).

A reader reads the content of an element whose start tag its caller has
matched; the caller matches the end tag. Elements are found through static
tables: `elemtab` (one row per component, its position as identifier) and,
for a SEQUENCE, `groupDesc` (per position, the rows open there and the
identifier of an unknown element). An extensible type keeps elements it
does not know as their source text, to be written as extension additions.

Values are tested as the JSON readers test them: a number outside its
range, a string, bit string or octet string of a size outside its
constraint and a list of a count outside its constraint give a bare -16.
Each SEQUENCE passes a failure of a component on with its own position, so
the report shows the path; CHOICE and list readers pass their element's
failure on with theirs.

A component written in place without a type of its own gets a static
reader of the unit (`xmlDec_<parent>_<component>`), made by the rule of its
kind; numbers are read in the SEQUENCE reader itself.
"""
from . import layout, naming
from . import codec_common
from .codec_common import (alloc_record, alt_lv, by_pointer, construct, fail_log, fail_pass,
                           list_finish, list_init, list_store_item, size_test)
from .cwriter import c_string

# Field type -> (reader of the value, the reader's smallest and largest value).
INT_READERS = {
    "uint8_t": ("rtXmlpDecUInt64", "uint64_t", 0, (1 << 64) - 1),
    "uint16_t": ("rtXmlpDecUInt64", "uint64_t", 0, (1 << 64) - 1),
    "uint32_t": ("rtXmlpDecUInt64", "uint64_t", 0, (1 << 64) - 1),
    "uint64_t": ("rtXmlpDecUInt64", "uint64_t", 0, (1 << 64) - 1),
    "int8_t": ("rtXmlpDecInt64", "int64_t", -(1 << 63), (1 << 63) - 1),
    "int16_t": ("rtXmlpDecInt64", "int64_t", -(1 << 63), (1 << 63) - 1),
    "int32_t": ("rtXmlpDecInt64", "int64_t", -(1 << 63), (1 << 63) - 1),
    "int64_t": ("rtXmlpDecInt64", "int64_t", -(1 << 63), (1 << 63) - 1),
}
FIELD_BOUNDS = {
    "uint8_t": (0, (1 << 8) - 1),
    "uint16_t": (0, (1 << 16) - 1),
    "uint32_t": (0, (1 << 32) - 1),
    "uint64_t": (0, (1 << 64) - 1),
    "int8_t": (-(1 << 7), (1 << 7) - 1),
    "int16_t": (-(1 << 15), (1 << 15) - 1),
    "int32_t": (-(1 << 31), (1 << 31) - 1),
    "int64_t": (-(1 << 63), (1 << 63) - 1),
}


def dec_sig(t):
    return "int XmlDec_%s(VXCTXT* pctxt, %s* pvalue)" % (t.cname, t.record)


# -- where a value stands ---------------------------------------------------------

class Site(codec_common.Site):
    OWNED = "XmlDec_"
    INLINE = "xmlDec_"


comp_site = Site.of_comp
elem_site = Site.of_elem


def read_inline(c):
    """A number component is read in the SEQUENCE reader itself."""
    return c.type.base.kind == "INTEGER"


def inline_sites(t):
    out = []
    if t.kind in ("SEQUENCE", "CHOICE"):
        for c in t.comps:
            if t.kind == "SEQUENCE" and (read_inline(c) or c.type.kind == "OPEN"):
                continue
            if not c.type.owned and c.type.kind != "NULL":
                out.append(comp_site(t, c))
    elif t.kind == "SEQOF" and not t.elem.owned:
        out.append(elem_site(t))
    return out


def call(site, lv):
    return "%s(pctxt, &%s)" % (site.fn, lv)


def elem_rows(w, names, var="elemtab"):
    """The static table of element rows, the position of each as its identifier."""
    with w.block("static const XmlElemDescr %s[] =" % var, "};"):
        for i, name in enumerate(names):
            w("{%s, %d, 0, %d}," % (c_string(name), len(name.encode("utf-8")), i))


# -- numbers ------------------------------------------------------------------------

def number_bounds(t):
    """For INTEGER type t: its field type, the reader of the value and the
    reader's value type, and the tests of `number` that put it outside the
    range. An extensible INTEGER takes any number its field holds."""
    ct = naming.int_ctype(t.lo, t.hi, t.ext)
    reader, wide, rmin, rmax = INT_READERS[ct]
    fmin, fmax = FIELD_BOUNDS[ct]
    lo = fmin if t.ext or t.lo is None else max(t.lo, fmin)
    hi = fmax if t.ext or t.hi is None else min(t.hi, fmax)
    conds = []
    suffix = "LL" if wide == "int64_t" else "ULL"
    if lo > rmin:
        conds.append("number < %d%s" % (lo, suffix))
    if hi < rmax:
        conds.append("number > %d%s" % (hi, suffix))
    return ct, reader, wide, conds


def number_read(w, t, lv, stat_decl):
    """Reads the number of INTEGER type t into lv: `stat` is the reader's
    failure, or a bare -16 for a value outside the range; lv is set only on
    success."""
    ct, reader, wide, conds = number_bounds(t)
    w("%s number = 0;" % wide)
    w("%sstat = %s(pctxt, &number);" % ("int " if stat_decl else "", reader))
    if conds:
        w("if (stat == 0 && (%s)) stat = RTERR_CONSVIO;" % " || ".join(conds))
    w("if (stat == 0) %s = (%s)number;" % (lv, ct))


def dec_integer(w, t, lv):
    number_read(w, t, lv, True)
    w("return stat;")


# -- plain values ---------------------------------------------------------------------

def dec_boolean(w, t, lv):
    w("return xmlGenDecBool(pctxt, &%s);" % lv)


def dec_null(w, t, lv):
    # The element is empty: nothing to read; its end tag is the caller's.
    w("return 0;")


def dec_enum(w, t, lv):
    tab = t.record + "_ENUMTAB"
    w("return xmlGenDecEnum(pctxt, %s, %s_SIZE, &%s);" % (tab, tab, lv))


def dec_bitstring(w, t, lv):
    f = layout.bitstr_form(t)
    s = t.size
    if f == "ext":
        if s.lo % 8:
            raise AssertionError("%s: a root size that is not whole bytes" % t.cname)
        w("return xmlGenDecBitStrExt(pctxt, %s.data, %d, &%s.numbits, &%s.extdata);"
          % (lv, naming.nbytes(s.lo), lv, lv))
        return
    w("uint64_t numbits = 0;")
    w("int stat = rtXmlpDecBitString64(pctxt, %s.data, &numbits, sizeof(%s.data));" % (lv, lv))
    fail_pass(w)
    if f == "var":
        w("%s.numbits = (%s)numbits;" % (lv, naming.count_ctype(s.hi)))
        w("if (%s) return RTERR_CONSVIO;" % size_test(s, "numbits"))
    else:
        w("if (numbits != %d) return RTERR_CONSVIO;" % s.hi)
        if f == "bitstr32":
            w("%s.numbits = %d;" % (lv, s.hi))
    w("return 0;")


def dec_octstring(w, t, lv):
    f = layout.octstr_form(t)
    if f == "bytes":
        # Fewer octets than the size are taken as they come.
        w("uint64_t numocts = 0;")
        w("return rtXmlpDecHexStr64(pctxt, %s.data, &numocts, %d);" % (lv, t.size.hi))
    elif f == "var":
        w("uint64_t numocts = 0;")
        w("int stat = rtXmlpDecHexStr64(pctxt, %s.data, &numocts, %d);" % (lv, t.size.hi))
        fail_pass(w)
        w("%s.numocts = (%s)numocts;" % (lv, naming.count_ctype(t.size.hi)))
        w("if (%s) return RTERR_CONSVIO;" % size_test(t.size, "numocts"))
        w("return 0;")
    else:
        w("return rtXmlpDecDynHexStr64(pctxt, &%s);" % lv)


def dec_string(w, t, lv):
    w("const char* text = 0;")
    w("int stat = rtXmlpDecDynUTF8Str(pctxt, &text);")
    fail_pass(w)
    w("%s = text;" % lv)
    if t.strtype != "UTF8String":
        # A 7-bit string: a character above 0x7F would reach the wire cut.
        w("if (!rtxTextIs7Bit(text)) return VX_LOG_ERRNEW(pctxt, RTERR_INVCHAR);")
    test = size_test(t.size, "length")
    if test:
        w("size_t length = %s;" % ("rtxUTF8Len(text)" if t.strtype == "UTF8String" else "strlen(text)"))
        w("if (%s) return RTERR_CONSVIO;" % test)
    w("return 0;")


# -- SEQUENCE ---------------------------------------------------------------------------

def group_rows(t):
    """groupDesc rows (first row, open rows, identifier of an unknown
    element) per position, and one for the extension position."""
    n = len(t.comps)
    rows = []
    for i in range(n):
        j = i
        while j < n and t.comps[j].optional:
            j += 1
        count = (j - i + 1) if j < n else (n - i)
        any_id = n if t.ext and j >= n else -1
        rows.append((i, count, any_id))
    if t.ext:
        rows.append((n, 0, n))
    return rows


def last_required(t):
    req = [i for i, c in enumerate(t.comps) if not c.optional]
    return req[-1] if req else -1


def dec_open_comp(w, t, c, v):
    """The value of a table-constrained open type. With known rows, the key
    read before it selects the record, whose element stands inside; a key
    without a row is refused. Without rows the content is kept as it is
    (hexadecimal digits as octets, else the text)."""
    lv = "%s.%s" % (v, c.cid)
    ot = c.type
    if not ot.rows:
        w("stat = rtAsn1XmlpDecOpenType(pctxt, &%s);" % lv)
        return
    key = "%s.%s" % (v, ot.key_comp.cid)
    with w.block("switch (%s)" % key):
        for r in ot.rows:
            w("case %d: {" % r.key)
            w.indent()
            name = r.type.asn1name
            w("static const XmlElemDescr row = {%s, %d, 0, 0};"
              % (c_string(name), len(name.encode("utf-8"))))
            w("stat = xmlGenDecOpenElem(pctxt, &row);")
            w("if (stat != 0) break;")
            member = "%s.u.%s" % (lv, r.key_cid)
            w("%s = (%s)rtxMemAllocZ(pctxt, sizeof(*%s));" % (member, layout.ptr_ctype(r.type), member))
            with w.block("if (%s == 0)" % member):
                w("stat = RTERR_NOMEM;")
                w("break;")
            construct(w, r.type, member)
            w("%s.t = %d;" % (lv, r.t))
            w("stat = XmlDec_%s(pctxt, %s);" % (r.type.cname, member))
            w("if (stat == 0) stat = rtXmlpMatchEndTag(pctxt, -1);")
            w("break;")
            w.dedent()
            w("}")
        w("default:")
        w("   return VX_LOG_ERR(pctxt, rtxErrInvUIntOpt(pctxt, %s));" % key)


def dec_sequence(w, t, v):
    n = len(t.comps)
    rows = group_rows(t)
    if t.optionals:
        w("memset(&%s.m, 0, sizeof(%s.m));" % (v, v))
    if t.ext:
        w("rtxDListInit(&%s.extElem1);" % v)
    if not rows:
        w("return 0;")
        return
    if n:
        elem_rows(w, [c.name for c in t.comps])
    with w.block("static const XmlGroupDescr groupDesc[] =", "};"):
        for r in rows:
            w("{%d, %d, %d}," % r)
    w("int stat = 0;")
    with w.block("for (int32_t pos = 0; pos < %d;)" % len(rows)):
        w("int id = rtXmlpGetNextSeqElemID(pctxt, %s, groupDesc, pos, %d, true);"
          % ("elemtab" if n else "0", last_required(t)))
        w("if (id == XML_OK_EOB) break;")
        w("if (id < 0) return VX_LOG_ERR(pctxt, id);")
        with w.block("switch (id)"):
            for i, c in enumerate(t.comps):
                lv = "%s.%s" % (v, c.cid)
                w("case %d: {" % i)
                w.indent()
                if read_inline(c):
                    number_read(w, c.type.base, lv, False)
                elif c.type.kind == "OPEN":
                    dec_open_comp(w, t, c, v)
                else:
                    w("stat = %s;" % call(comp_site(t, c), lv))
                if c.optional:
                    w("if (stat == 0) %s.m.%sPresent = 1;" % (v, c.cid))
                w("break;")
                w.dedent()
                w("}")
            w("default:")
            w.indent()
            if t.ext:
                # Unknown elements from here on, kept; the element that ends
                # them is the parent's end tag, given back.
                w("stat = xmlGenDecExtElems(pctxt, &%s.extElem1);" % v)
                fail_log(w)
                w("pos = %d;" % (n + 1))
                w("continue;")
            else:
                w("return VX_LOG_ERRNEW(pctxt, RTERR_UNEXPELEM);")
            w.dedent()
        fail_log(w)
        w("stat = rtXmlpMatchEndTag(pctxt, -1);")
        fail_log(w)
        w("pos = id + 1;")
    w("return 0;")


# -- CHOICE ------------------------------------------------------------------------------

def dec_choice(w, t, v):
    n = len(t.comps)
    elem_rows(w, [c.name for c in t.comps])
    w("%s.t = 0;" % v)
    w("int id = rtXmlpGetNextElemID(pctxt, elemtab, %d, -1, false);" % n)
    w("if (id == XML_OK_EOB) return VX_LOG_ERRNEW(pctxt, RTERR_INVOPT);")
    if t.ext:
        w("if (id == RTERR_UNEXPELEM) id = %d;" % n)
    w("if (id < 0) return VX_LOG_ERR(pctxt, id);")
    w("int stat = 0;")
    with w.block("switch (id)"):
        for i, c in enumerate(t.comps):
            w("case %d:" % i)
            w.indent()
            if c.type.base.kind != "NULL":
                if by_pointer(c):
                    member = "%s.u.%s" % (v, c.cid)
                    alloc_record(w, c.type, member, layout.ptr_ctype(c.type))
                    w("stat = %s(pctxt, %s);" % (comp_site(t, c).fn, member))
                else:
                    w("stat = %s;" % call(comp_site(t, c), alt_lv(v, c)))
            w("break;")
            w.dedent()
        w("default:")
        w.indent()
        if t.ext:
            # An alternative this schema does not know, as its source text.
            w("stat = xmlGenDecExtAlt(pctxt, &%s.u.extElem1);" % v)
            fail_log(w)
            w("%s.t = %d;" % (v, n + 1))
            w("return 0;")
        else:
            w("return VX_LOG_ERRNEW(pctxt, RTERR_INVOPT);")
        w.dedent()
    fail_log(w)
    w("stat = rtXmlpMatchEndTag(pctxt, -1);")
    fail_log(w)
    w("%s.t = (uint32_t)id + 1;" % v)
    w("return 0;")


# -- SEQUENCE OF ---------------------------------------------------------------------------

def dec_seqof(w, t, v):
    site = elem_site(t)
    elem_rows(w, [t.item])
    list_init(w, t, v)
    w("int stat = 0;")
    with w.block("for (;;)"):
        w("int id = rtXmlpGetNextElemID(pctxt, elemtab, 1, -1, false);")
        w("if (id == XML_OK_EOB) break;")
        if t.form == "dynamic-array":
            with w.block("if (id < 0)"):
                w("rtxDListBufFreeAll(pctxt, &buf);")
                w("return VX_LOG_ERR(pctxt, id);")
        else:
            w("if (id < 0) return VX_LOG_ERR(pctxt, id);")
        # An inline array past its upper bound is outside the constraint
        # whatever follows.
        list_store_item(w, t, v, lambda lv: call(site, lv), "return VX_LOG_ERRNEW(pctxt, RTERR_NOMEM);",
                        "return RTERR_CONSVIO;", fail_log, "return VX_LOG_ERR(pctxt, stat);")
        w("stat = rtXmlpMatchEndTag(pctxt, -1);")
        if t.form == "dynamic-array":
            with w.block("if (stat != 0)"):
                w("rtxDListBufFreeAll(pctxt, &buf);")
                w("return VX_LOG_ERR(pctxt, stat);")
        else:
            fail_log(w)
    count = "%s.count" % v if t.form == "list" else "%s.n" % v
    list_finish(w, t, v)
    test = size_test(t.size, count)
    if test:
        w("if (%s) return RTERR_CONSVIO;" % test)
    w("return 0;")


def dec_open(w, t, lv):
    raise AssertionError("an open type is read by the SEQUENCE that holds its key")


def dec_sequence_fn(w, t, lv):
    dec_sequence(w, t, lv)


RULES = {
    "INTEGER": dec_integer,
    "BOOLEAN": dec_boolean,
    "NULL": dec_null,
    "ENUMERATED": dec_enum,
    "BITSTRING": dec_bitstring,
    "OCTETSTRING": dec_octstring,
    "STRING": dec_string,
    "SEQUENCE": dec_sequence_fn,
    "CHOICE": dec_choice,
    "SEQOF": dec_seqof,
    "OPEN": dec_open,
}


def dec_body(w, t, lv):
    RULES[t.kind](w, t, lv)


def write_inline_decoder(w, site):
    with w.block("static int %s(VXCTXT* pctxt, %s* pvalue)" % (site.fn, site.argtype)):
        dec_body(w, site.t, "(*pvalue)")
    w()


def write_decoder(w, t):
    for s in inline_sites(t):
        write_inline_decoder(w, s)
    with w.block(dec_sig(t)):
        if t.kind == "ALIAS":
            w("return XmlDec_%s(pctxt, pvalue);" % t.target.cname)
        else:
            dec_body(w, t, "(*pvalue)")
    w()


# -- the XML branch of DecodeFrom ----------------------------------------------------------

def decode_branch(w, t, rec):
    """The document: the root element named after the type, holding the
    type's content; its end tag; then the status of what was recorded."""
    w("stat = xmlGenDecStart(xctxt);")
    w("if (stat != 0) return VX_LOG_ERR(xctxt, stat);")
    w("stat = rtXmlpMatchStartTag(xctxt, %s, 0);" % c_string(t.xml_name))
    w("if (stat < 0) return VX_LOG_ERR(xctxt, stat);")
    w("stat = XmlDec_%s(xctxt, &%s);" % (t.cname, rec))
    fail_pass(w)
    w("stat = rtXmlpMatchEndTag(xctxt, -1);")
    w("if (stat < 0) return VX_LOG_ERR(xctxt, stat);")
    w("return xmlGenDecFinish(xctxt);")
