"""Test-support back end: code compiled into the test programs only.

Writes `itsgen_test.h` and, per module, `<stem>Test.cpp` with, for every
type T:
  fill_T(pctxt, pvalue, rng)   a random record inside all constraints of T
                               (root values only, no unknown additions);
  equal_T(a, b)                deep comparison of two records;
and `itsgen_testtable.cpp` with one row per type (names and function
pointers of the codecs, set-up, release, fill and compare), so that a test
can walk every type.

One rule per construct, as in the codecs. Records stay small: list counts
and optional components are drawn from a range that narrows with depth.
A BIT STRING with named bits and a variable size is filled already trimmed
(its last bit set when above the lower bound), so encoding does not change it.
"""
from . import codec_common, layout, naming
from .cwriter import Writer, c_string, schema_header, scope

HEADER = "itsgen_test.h"
TABLE = "itsgen_testtable.cpp"

# Characters drawn for each string type (UTF-8 strings add two characters
# of more than one octet).
ASCII = "".join(chr(c) for c in range(0x20, 0x7F))
UTF8_EXTRA = ["\\xC3\\xA9", "\\xE2\\x82\\xAC"]


def lit(n):
    if -(1 << 31) <= n < (1 << 31):
        return "%dLL" % n
    return "%dLL" % n if n >= 0 else "(%dLL - 1)" % (n + 1)


def fill_sig(t):
    return "void fill_%s(VXCTXT* pctxt, %s* pvalue, ItsTestRng& rng)" % (t.cname, t.record)


def equal_sig(t):
    return "bool equal_%s(const %s* a, const %s* b)" % (t.cname, t.record, t.record)


# -- fill -------------------------------------------------------------------------

def fill_value(w, t, lv, parent=None):
    if t.owned:
        w("fill_%s(pctxt, &%s, rng);" % (t.cname, lv))
        return
    with scope(w):
        fill_body(w, t, lv, parent)


def fill_bits(w, data, nbits, cap_bytes):
    """Random bits 0..nbits-1 in data, zero after them."""
    w("itsTestRandomBits(rng, %s, %s, %d);" % (data, nbits, cap_bytes))


def fill_body(w, t, lv, parent=None):
    k = t.kind
    if k == "ALIAS":
        w("fill_%s(pctxt, &%s, rng);" % (t.target.cname, lv))
    elif k == "INTEGER":
        w("%s = (%s)rng.pick(%s, %s);" % (lv, naming.int_ctype(t.lo, t.hi, t.ext), lit(t.lo), lit(t.hi)))
    elif k == "ENUMERATED":
        w("%s = (uint32_t)rng.below(%d);" % (lv, len(t.items)))
    elif k == "BOOLEAN":
        w("%s = (uint8_t)rng.below(2);" % lv)
    elif k == "NULL":
        w("(void)%s;" % lv if t.owned else "")
    elif k == "BITSTRING":
        f = layout.bitstr_form(t)
        s = t.size
        if f == "bytes":
            fill_bits(w, lv + ".data", s.hi, naming.nbytes(s.hi))
        elif f == "bitstr32":
            w("%s.numbits = %d;" % (lv, s.lo))
            fill_bits(w, lv + ".data", s.lo, 4)
        elif f == "var":
            w("%s.numbits = (%s)rng.pick(%d, %d);" % (lv, naming.count_ctype(s.hi), s.lo, s.hi))
            fill_bits(w, lv + ".data", lv + ".numbits", naming.nbytes(s.hi))
            if t.bits:
                with w.block("if (%s.numbits > %d)" % (lv, s.lo)):
                    w("%s.data[(%s.numbits - 1) / 8] |= (uint8_t)(0x80u >> ((%s.numbits - 1) %% 8));"
                      % (lv, lv, lv))
        else:
            w("%s.numbits = %d;" % (lv, s.lo))
            w("%s.extdata = 0;" % lv)
            fill_bits(w, lv + ".data", s.lo, naming.nbytes(s.lo))
    elif k == "OCTETSTRING":
        f = layout.octstr_form(t)
        s = t.size
        if f == "bytes":
            w("itsTestRandomBytes(rng, %s.data, %d);" % (lv, s.hi))
        elif f == "var":
            w("%s.numocts = (%s)rng.pick(%d, %d);" % (lv, naming.count_ctype(s.hi), s.lo, s.hi))
            w("itsTestRandomBytes(rng, %s.data, %s.numocts);" % (lv, lv))
        else:
            lo = s.lo if s is not None and s.lo is not None else 0
            w("%s.numocts = (uint64_t)rng.pick(%d, %d);" % (lv, lo, lo + 6))
            w("%s.data = (uint8_t*)rtxMemAlloc(pctxt, %s.numocts + 1);" % (lv, lv))
            w("itsTestRandomBytes(rng, %s.data, %s.numocts);" % (lv, lv))
    elif k == "STRING":
        s = t.size
        lo = s.lo if s is not None and s.lo is not None else 0
        hi = s.hi if s is not None and s.hi is not None else lo + 8
        hi = min(hi, lo + 8)
        utf8 = "true" if t.strtype == "UTF8String" else "false"
        w("%s = itsTestRandomString(pctxt, rng, (size_t)rng.pick(%d, %d), %s);" % (lv, lo, hi, utf8))
    elif k == "SEQUENCE":
        fill_sequence(w, t, lv)
    elif k == "CHOICE":
        fill_choice(w, t, lv)
    elif k == "SEQOF":
        fill_seqof(w, t, lv)
    elif k == "OPEN":
        fill_open(w, t, lv)
    else:
        raise AssertionError(k)


def fill_sequence(w, t, v):
    oc = t.open_comp
    keyed = oc is not None and oc.type.rows
    w("rng.depth++;")
    if keyed:
        # A known row: its key goes into the key component.
        w("unsigned row = (unsigned)rng.below(%d);" % len(oc.type.rows))
        w("(void)row;")
    for c in t.comps:
        lv = "%s.%s" % (v, c.cid)
        if c.type.base.kind == "NULL" and not c.type.owned:
            if c.optional:
                w("%s.m.%sPresent = rng.below(2);" % (v, c.cid))
            continue
        if c.optional:
            w("%s.m.%sPresent = rng.optional();" % (v, c.cid))
            block = w.block("if (%s.m.%sPresent)" % (v, c.cid))
        else:
            block = scope(w)
        with block:
            if keyed and c is oc.type.key_comp:
                with w.block("switch (row)"):
                    for i, r in enumerate(oc.type.rows):
                        w("case %d: %s = %d; break;" % (i, lv, r.key))
                    w("default: break;")
            elif keyed and c is oc:
                fill_rows(w, oc.type, lv, "row")
            else:
                fill_value(w, c.type, lv, v)
    w("rng.depth--;")


def fill_rows(w, t, lv, row):
    with w.block("switch (%s)" % row):
        for i, r in enumerate(t.rows):
            w("case %d: {" % i)
            w.indent()
            ulv = "%s.u.%s" % (lv, r.key_cid)
            w("%s.t = %d;" % (lv, r.t))
            alloc(w, r.type, ulv, layout.ptr_ctype(r.type))
            w("fill_%s(pctxt, %s, rng);" % (r.type.cname, ulv))
            w("break;")
            w.dedent()
            w("}")
        w("default: break;")


def alloc(w, t, lv, ctype):
    w("%s = (%s)rtxMemAllocZ(pctxt, sizeof(*%s));" % (lv, ctype, lv))
    codec_common.construct(w, t, lv)


def fill_open(w, t, lv):
    if t.rows:
        # Outside a SEQUENCE that names the key: a known row chosen at random.
        fill_rows(w, t, lv, "(unsigned)rng.below(%d)" % len(t.rows))
        return
    # The octets of a value without a known type are carried as they are in
    # UPER, and in JSON they must be the text of one JSON value: a quoted
    # string of hexadecimal digits serves both.
    w("%s.data = itsTestRandomOpenText(pctxt, rng, &%s.numocts);" % (lv, lv))


def fill_choice(w, t, v):
    n = len(t.comps)
    w("rng.depth++;")
    w("%s.t = (uint32_t)rng.below(%d) + 1;" % (v, n))
    with w.block("switch (%s.t)" % v):
        for i, c in enumerate(t.comps):
            w("case %d: {" % (i + 1))
            w.indent()
            if c.type.base.kind != "NULL":
                if codec_common.by_pointer(c):
                    alloc(w, c.type, "%s.u.%s" % (v, c.cid), layout.ptr_ctype(c.type))
                fill_value(w, c.type, codec_common.alt_lv(v, c), v)
            w("break;")
            w.dedent()
            w("}")
        w("default: break;")
    w("rng.depth--;")


def fill_seqof(w, t, v):
    e = t.elem
    s = t.size
    lo = s.lo if s is not None and s.lo is not None else 0
    hi = s.hi if s is not None and s.hi is not None else lo + 4
    et = layout.field_ctype(e)
    w("rng.depth++;")
    w("uint64_t count = rng.count(%d, %d);" % (lo, hi))
    if t.form == "list":
        w("rtxDListInit(&%s);" % v)
        with w.block("for (uint64_t i = 0; i < count; i++)"):
            w("%s* elem = (%s*)rtxMemAllocZ(pctxt, sizeof(%s));" % (et, et, et))
            w("VXRTDListNode* node = (VXRTDListNode*)rtxMemAlloc(pctxt, sizeof(VXRTDListNode));")
            codec_common.construct(w, e, "elem")
            w("node->data = elem;")
            w("rtxDListAppendNode(&%s, node);" % v)
            fill_value(w, e, "(*elem)")
    else:
        if t.form == "inline-array":
            w("%s.n = (uint8_t)count;" % v)
        else:
            w("%s.n = count;" % v)
            w("%s.elem = count != 0 ? (%s*)rtxMemAllocZ(pctxt, count * sizeof(%s)) : 0;" % (v, et, et))
        with w.block("for (uint64_t i = 0; i < count; i++)"):
            fill_value(w, e, "%s.elem[i]" % v)
    w("rng.depth--;")


# -- equal ------------------------------------------------------------------------------

def eq_value(w, t, a, b):
    """Statements returning false when the values a and b of type t differ."""
    if t.owned:
        w("if (!equal_%s(&%s, &%s)) return false;" % (t.cname, a, b))
        return
    with scope(w):
        eq_body(w, t, a, b)


def eq_open_raw(a, b):
    return "itsTestBytesEqual(%s.data, %s.numocts, %s.data, %s.numocts)" % (a, a, b, b)


def eq_body(w, t, a, b):
    k = t.kind
    if k == "ALIAS":
        w("if (!equal_%s(&%s, &%s)) return false;" % (t.target.cname, a, b))
    elif k in ("INTEGER", "ENUMERATED", "BOOLEAN"):
        w("if (%s != %s) return false;" % (a, b))
    elif k == "NULL":
        pass
    elif k == "BITSTRING":
        f = layout.bitstr_form(t)
        if f == "bytes":
            w("if (!itsTestBitsEqual(%s.data, %s.data, %d)) return false;" % (a, b, t.size.hi))
        else:
            w("if (%s.numbits != %s.numbits) return false;" % (a, b))
            cap = 32 if f == "bitstr32" else naming.nbytes(t.size.lo if f == "ext" else t.size.hi) * 8
            w("if (!itsTestBitsEqual(%s.data, %s.data, %s.numbits < %d ? %s.numbits : %d)) return false;"
              % (a, b, a, cap, a, cap))
            if f == "ext":
                with w.block("if (%s.numbits > %d)" % (a, cap)):
                    w("if ((%s.extdata == 0) != (%s.extdata == 0)) return false;" % (a, b))
                    w("if (%s.extdata != 0 && !itsTestBitsEqual(%s.extdata, %s.extdata, %s.numbits - %d))"
                      " return false;" % (a, a, b, a, cap))
    elif k == "OCTETSTRING":
        f = layout.octstr_form(t)
        if f == "bytes":
            w("if (memcmp(%s.data, %s.data, %d) != 0) return false;" % (a, b, t.size.hi))
        else:
            w("if (!%s) return false;" % eq_open_raw(a, b))
    elif k == "STRING":
        w("if (!itsTestStringEqual(%s, %s)) return false;" % (a, b))
    elif k == "SEQUENCE":
        for c in t.comps:
            ca, cb = "%s.%s" % (a, c.cid), "%s.%s" % (b, c.cid)
            null_inline = c.type.base.kind == "NULL" and not c.type.owned
            if c.optional:
                pa, pb = "%s.m.%sPresent" % (a, c.cid), "%s.m.%sPresent" % (b, c.cid)
                w("if (%s != %s) return false;" % (pa, pb))
                if null_inline:
                    continue
                with w.block("if (%s)" % pa):
                    eq_value(w, c.type, ca, cb)
            elif not null_inline:
                eq_value(w, c.type, ca, cb)
        if t.ext:
            w("if (!itsTestExtEqual(&%s.extElem1, &%s.extElem1)) return false;" % (a, b))
    elif k == "CHOICE":
        n = len(t.comps)
        w("if (%s.t != %s.t) return false;" % (a, b))
        if t.ext:
            with w.block("if (%s.t > %d)" % (a, n)):
                w("return itsTestOpenEqual(%s.u.extElem1, %s.u.extElem1);" % (a, b))
        with w.block("switch (%s.t)" % a):
            for i, c in enumerate(t.comps):
                w("case %d: {" % (i + 1))
                w.indent()
                if c.type.base.kind != "NULL":
                    if codec_common.by_pointer(c):
                        w("if (%s.u.%s == 0 || %s.u.%s == 0) return %s.u.%s == %s.u.%s;"
                          % (a, c.cid, b, c.cid, a, c.cid, b, c.cid))
                    eq_value(w, c.type, codec_common.alt_lv(a, c), codec_common.alt_lv(b, c))
                w("break;")
                w.dedent()
                w("}")
            w("default: break;")
    elif k == "SEQOF":
        e = t.elem
        et = layout.field_ctype(e)
        if t.form == "list":
            w("if (%s.count != %s.count) return false;" % (a, b))
            w("const VXRTDListNode* na = %s.head;" % a)
            w("const VXRTDListNode* nb = %s.head;" % b)
            with w.block("for (; na != 0 && nb != 0; na = na->next, nb = nb->next)"):
                eq_value(w, e, "(*(const %s*)na->data)" % et, "(*(const %s*)nb->data)" % et)
            w("if (na != nb) return false;")
        else:
            w("if (%s.n != %s.n) return false;" % (a, b))
            with w.block("for (uint64_t i = 0; i < %s.n; i++)" % a):
                eq_value(w, e, "%s.elem[i]" % a, "%s.elem[i]" % b)
    elif k == "OPEN":
        if not t.rows:
            w("if (!%s) return false;" % eq_open_raw(a, b))
            return
        w("if (%s.t != %s.t) return false;" % (a, b))
        with w.block("switch (%s.t)" % a):
            w("case 0:")
            w("   if (!itsTestOpenEqual(%s.u.openType, %s.u.openType)) return false;" % (a, b))
            w("   break;")
            for r in t.rows:
                ma, mb = "%s.u.%s" % (a, r.key_cid), "%s.u.%s" % (b, r.key_cid)
                w("case %d:" % r.t)
                w("   if (%s == 0 || %s == 0) return %s == %s;" % (ma, mb, ma, mb))
                w("   if (!equal_%s(%s, %s)) return false;" % (r.type.cname, ma, mb))
                w("   break;")
            w("default: break;")
    else:
        raise AssertionError(k)


# -- units ------------------------------------------------------------------------------

def write_fill(w, t):
    with w.block(fill_sig(t)):
        w("(void)pctxt;")
        w("(void)rng;")
        if t.kind == "ALIAS":
            w("fill_%s(pctxt, pvalue, rng);" % t.target.cname)
        else:
            fill_body(w, t, "(*pvalue)")
    w()


def write_equal(w, t):
    with w.block(equal_sig(t)):
        if t.kind == "ALIAS":
            w("return equal_%s(a, b);" % t.target.cname)
        else:
            eq_body(w, t, "(*a)", "(*b)")
            w("return true;")
    w()




def emit_header(model):
    w = Writer()
    schema_header(w, "itsgen_test.h", "random records and deep comparison for every type (tests only)",
                  "ITSGEN_TEST_H")
    w("#include <stddef.h>")
    w("#include <stdint.h>")
    w("#include <string.h>")
    w()
    for m in model.order:
        w('#include "%s.h"' % m.stem)
        w('#include "%sPer.h"' % m.stem)
        w('#include "%sJson.h"' % m.stem)
        w('#include "%sXml.h"' % m.stem)
    w('#include "itstest.h"')
    w()
    for t in model.types:
        w(fill_sig(t) + ";")
        w(equal_sig(t) + ";")
    w()
    w("#endif")
    return w.text()


def emit_unit(mod):
    w = Writer()
    w("// %sTest: random records and comparison of the types of module %s (tests only)."
      % (mod.stem, mod.name))
    w("// Generated from the schema in asn1/ by the itscodec schema compiler (codegen/); do not edit.")
    w('#include "%s"' % HEADER)
    w()
    for t in mod.types:
        write_fill(w, t)
        write_equal(w, t)
    return w.text()


def raw_open(t, seen=None):
    """Whether a record of type t can hold an open type without rows."""
    seen = set() if seen is None else seen
    if id(t) in seen:
        return False
    seen.add(id(t))
    if t.kind == "ALIAS":
        return raw_open(t.target, seen)
    if t.kind == "OPEN":
        return not t.rows or any(raw_open(r.type, seen) for r in t.rows)
    if t.kind in ("SEQUENCE", "CHOICE"):
        return any(raw_open(c.type, seen) for c in t.comps)
    if t.kind == "SEQOF":
        return raw_open(t.elem, seen)
    return False


def emit_table(model):
    w = Writer()
    w("// itsgen_testtable: one row per type for the generic tests.")
    w("// Generated from the schema in asn1/ by the itscodec schema compiler (codegen/); do not edit.")
    w("#include <new>")
    w('#include "%s"' % HEADER)
    w()
    w("namespace {")
    w()
    for t in model.types:
        r = t.record
        with w.block("void* make_%s(VXCTXT* pctxt)" % t.cname):
            w("%s* p = new %s();" % (r, r))
            if layout.has_init(t):
                w("asn1Init_%s(p, 0, pctxt);" % t.cname)
            else:
                w("(void)pctxt;")
            w("return p;")
        with w.block("void release_%s(VXCTXT* pctxt, void* pvalue)" % t.cname):
            w("%s* p = (%s*)pvalue;" % (r, r))
            if layout.has_free(t):
                w("asn1Free_%s(pctxt, p);" % t.cname)
            elif layout.is_string(t):
                w("if (*p != 0) rtxMemFreePtr(pctxt, *p);")
            else:
                w("(void)pctxt;")
            w("delete p;")
        arg = "*(%s*)pvalue" % r if codec_common.byval(t) else "(%s*)pvalue" % r
        w("int pe_%s(VXCTXT* pctxt, void* pvalue) { return asn1PE_%s(pctxt, %s); }"
          % (t.cname, t.cname, arg))
        w("int pd_%s(VXCTXT* pctxt, void* pvalue) { return asn1PD_%s(pctxt, (%s*)pvalue); }"
          % (t.cname, t.cname, r))
        jarg = "*(const %s*)pvalue" % r if t.base.kind == "STRING" else "(const %s*)pvalue" % r
        w("int je_%s(VXCTXT* pctxt, const void* pvalue) { return asn1JsonEnc_%s(pctxt, %s); }"
          % (t.cname, t.cname, jarg))
        w("int jd_%s(VXCTXT* pctxt, void* pvalue) { return asn1JsonDec_%s(pctxt, (%s*)pvalue); }"
          % (t.cname, t.cname, r))
        xarg = "*(const %s*)pvalue" % r if codec_common.byval(t) else "(const %s*)pvalue" % r
        w("int xe_%s(VXCTXT* pctxt, const void* pvalue, const char* elemName) "
          "{ return XmlEnc_%s(pctxt, %s, elemName, 0); }" % (t.cname, t.cname, xarg))
        w("int xd_%s(VXCTXT* pctxt, void* pvalue) { return XmlDec_%s(pctxt, (%s*)pvalue); }"
          % (t.cname, t.cname, r))
        w("int xf_%s(XmlFastIn* in, void* pvalue) { return XmlFast_%s(in, (%s*)pvalue); }"
          % (t.cname, t.cname, r))
        w("void fl_%s(VXCTXT* pctxt, void* pvalue, ItsTestRng& rng) { fill_%s(pctxt, (%s*)pvalue, rng); }"
          % (t.cname, t.cname, r))
        w("bool eq_%s(const void* a, const void* b) { return equal_%s((const %s*)a, (const %s*)b); }"
          % (t.cname, t.cname, r, r))
        if t.kind == "SEQUENCE" and t.ext:
            w("ASN1TSeqExt* ext_%s(void* pvalue) { return &((%s*)pvalue)->extElem1; }"
              % (t.cname, r))
        if t.kind == "CHOICE" and t.ext:
            with w.block("void alt_%s(void* pvalue, ASN1OpenType* ot)" % t.cname):
                w("((%s*)pvalue)->t = %d;" % (r, len(t.comps) + 1))
                w("((%s*)pvalue)->u.extElem1 = ot;" % r)
        w()
    w("}  // namespace")
    w()
    with w.block("const ItsTestType itsTestTypes[] =", "};"):
        for t in model.types:
            c = t.cname
            ext = "ext_" + c if t.kind == "SEQUENCE" and t.ext else "nullptr"
            alt = "alt_" + c if t.kind == "CHOICE" and t.ext else "nullptr"
            w("{%s, make_%s, release_%s, pe_%s, pd_%s, je_%s, jd_%s, fl_%s, eq_%s, %s, %s, %s, xe_%s, "
              "xd_%s, xf_%s}," % (c_string(c), c, c, c, c, c, c, c, c, "true" if raw_open(t) else "false",
                                  ext, alt, c, c, c))
    w("const size_t itsTestTypeCount = sizeof(itsTestTypes) / sizeof(itsTestTypes[0]);")
    return w.text()


def emit(model):
    out = {HEADER: emit_header(model), TABLE: emit_table(model)}
    for m in model.order:
        out["%sTest.cpp" % m.stem] = emit_unit(m)
    return out
