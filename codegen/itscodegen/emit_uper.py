"""UPER back end: `asn1PE_<T>` and `asn1PD_<T>` for every type.

Writes per module `<stem>Per.h` (declarations), `<stem>Enc.cpp` (encoders)
and `<stem>Dec.cpp` (decoders), plus `itsgen_per.h` with the few helpers
that every unit shares (unknown extension additions, open types with a
table constraint, the constraint-violation scan of top-level decoders).

The functions are straight-line code: widths, offsets and bounds are
written as literals. There is one rule per construct below; a type is
coded by the rule of its kind, never by its name. Components whose type is
written in place without a type of its own are coded inline in the parent
by the same rule.

Status conventions of the emitted code: a failure noticed by a primitive
(read past the end, no memory, bad length) is passed on with VX_LOG_ERR,
which adds this position to the record; the statuses the per-type rules
produce themselves (-16 for sizes and decoded ranges, -9 for selectors,
-4 for enumerations) are returned bare, and a status coming back from
another per-type function is passed on unchanged. A positive 2 from a
length (a fragmented count) is returned as it is: callers take it for a
failure.
"""
import re

from . import control, layout, naming
from .codec_common import alloc_record, alt_lv, by_pointer, byval, construct, fail_log, fail_pass, is_pdu
from .cwriter import Writer, c_string, codec_units, scope

# The run-time header of the steps every generated UPER codec shares.
COMMON_HEADER = "uperGen.h"
EV = "Asn1NamedEventHandler"
EV64 = "Asn1NamedEventHandler64"


# -- small helpers ------------------------------------------------------------

def bitlen(n):
    return int(n).bit_length()


def ulit(n):
    """An unsigned literal."""
    return "%dU" % n if n < (1 << 32) else "%dULL" % n


def writes_back(t, seen=None):
    """Whether encoding a record of type t changes it: a BIT STRING with
    named bits and a variable size is trimmed of its trailing zero bits in
    the record itself, and so is every record that holds one. All other
    encoders take their record as const."""
    seen = set() if seen is None else seen
    if id(t) in seen:
        return False
    seen.add(id(t))
    k = t.kind
    if k == "ALIAS":
        return writes_back(t.target, seen)
    if k == "BITSTRING":
        return bool(t.bits) and layout.bitstr_form(t) in ("var", "ext")
    if k in ("SEQUENCE", "CHOICE"):
        return any(writes_back(c.type, seen) for c in t.comps)
    if k == "SEQOF":
        return writes_back(t.elem, seen)
    if k == "OPEN":
        return any(writes_back(r.type, seen) for r in t.rows)
    return False


def enc_sig(t):
    if byval(t):
        arg = "%s value" % t.record
    elif writes_back(t):
        arg = "%s* pvalue" % t.record
    else:
        arg = "const %s* pvalue" % t.record
    return "int asn1PE_%s(VXCTXT* pctxt, %s)" % (t.cname, arg)


def dec_sig(t):
    return "int asn1PD_%s(VXCTXT* pctxt, %s* pvalue)" % (t.cname, t.record)


# -- the bit trace ------------------------------------------------------------------
#
# Every type gets its codec functions twice, from the same rules: uperPE_T
# and uperPD_T (units <stem>Enc, <stem>Dec) carry no trace code at all,
# uperTracePE_T and uperTracePD_T (units <stem>EncTrace, <stem>DecTrace)
# record each field they code by its kind (the name printed behind "data")
# and never take the one-load paths for runs of fields, and the plain
# asn1PE_T / asn1PD_T (in the trace units) pick one of the two by the
# context's trace flag. Inside, a function calls the functions of its own
# kind, so the flag is tested once per message. Fields that a run-time primitive codes (lengths,
# strings, open types) are recorded by the primitive. Which of the two is
# being written is w.traced.

def traced(w):
    return getattr(w, "traced", False)


def fname(w, kind, t):
    """The name of t's function of direction kind ("PE" or "PD") that a
    function of the variant being written calls."""
    return ("uperTrace%s_%s" if traced(w) else "uper%s_%s") % (kind, t.cname)


def int_field(t):
    """The trace name of a constrained whole number."""
    return "ConsInteger" if t.lo < 0 else "ConsUnsigned"


def trace(w, name, nbits):
    """Records the field of nbits just coded (nbits a literal or an
    expression); nothing for a field of no bits."""
    if traced(w) and nbits != 0:
        w("PU_ADDFIELD(pctxt, %s, %s);" % (c_string(name), nbits))


def trace_read(w, name, nbits):
    """After a read into stat, before its status is tested: the field
    read, or a field of no bits where the read failed, so that the trace
    of a failed decode ends with the kind of field it stopped at."""
    if traced(w):
        w("PU_ADDFIELD(pctxt, %s, stat == 0 ? %s : 0);" % (c_string(name), nbits))


def traced_read(w, call, name, nbits=1):
    """A read whose status the rule does not look at, recorded when it
    took place."""
    if traced(w):
        w("if (%s == 0) PU_ADDFIELD(pctxt, %s, %d);" % (call, c_string(name), nbits))
    else:
        w(call + ";")


def trace_open(w, name):
    """Opens a field of a width known only after coding it."""
    if traced(w):
        w("PU_NEWFIELD(pctxt, %s);" % c_string(name))


def trace_close(w):
    if traced(w):
        w("PU_SETBITCOUNT(pctxt);")


def small_number(w, side, arg, name):
    """The call coding a normally small number (the index of an unknown
    alternative or enumeration value); traced, one field over both of its
    forms."""
    if traced(w):
        return "uperGenTraced%sSmall(pctxt, %s, %s)" % (
            "Enc" if side == "pe" else "Dec", arg, c_string(name))
    return "%s_SmallNonNegWholeNumber(pctxt, %s)" % (side, arg)


def fail_length(w):
    """After a length decoder: a negative status gets this position, a
    positive 2 (fragment) goes up bare as a failure."""
    w("if (stat != 0) return stat < 0 ? VX_LOG_ERR(pctxt, stat) : stat;")


# -- encoders ------------------------------------------------------------------

def enc_value(w, t, v, parent=None):
    """Statements encoding the value lvalue v of type t (a component,
    alternative or element); a failure returns."""
    if t.owned:
        arg = v if byval(t) else "&" + v
        w("stat = %s(pctxt, %s);" % (fname(w, "PE", t), arg))
        fail_pass(w)
        return
    with scope(w):
        enc_body(w, t, v, parent)


def int_adjusted(v, lo):
    if lo == 0:
        return "(uint64_t)(%s)" % v
    if lo > 0:
        return "(uint64_t)(%s) - %s" % (v, ulit(lo))
    return "(uint64_t)((int64_t)(%s) - (%dLL))" % (v, lo)


def enc_int_root(w, t, v):
    width = bitlen(t.hi - t.lo)
    if width:
        w("pe_bits64(pctxt, %s, %d);" % (int_adjusted(v, t.lo), width))
        trace(w, int_field(t), width)


def enc_body(w, t, v, parent):
    k = t.kind
    if k == "INTEGER":
        if t.ext:
            # Extension bit, then the root field or the unconstrained number.
            outside = "%s > %s" % (v, ulit(t.hi))
            if t.lo > 0:
                outside = "%s < %s || %s" % (v, ulit(t.lo), outside)
            with w.block("if (%s)" % outside):
                w("rtxEncBit(pctxt, 1);")
                trace(w, "extension bit", 1)
                w("stat = pe_UnconsUInt32Unaligned(pctxt, %s);" % v)
                fail_log(w)
            with w.block("else"):
                def steps():
                    w("rtxEncBit(pctxt, 0);")
                    trace(w, "extension bit", 1)
                    enc_int_root(w, t, v)

                width = bitlen(t.hi - t.lo)
                if 0 < width < RUN_BITS and not traced(w):
                    # Extension bit 0 and the root field in one store
                    # when a word of room is there.
                    with w.block("if (VX_LIKELY(rtxEncHasWord(pctxt)))"):
                        w("rtxEncPutWord(pctxt, (%s) & %s, %d);"
                          % (int_adjusted(v, t.lo), ulit((1 << width) - 1), width + 1))
                    with w.block("else"):
                        steps()
                else:
                    steps()
        else:
            enc_int_root(w, t, v)
    elif k == "BOOLEAN":
        w("rtxEncBit(pctxt, (unsigned)(%s));" % v)
        trace(w, "Boolean", 1)
    elif k == "NULL":
        pass
    elif k == "ENUMERATED":
        n = len(t.items)
        with w.block("if (%s > %s)" % (v, ulit(n - 1))):
            w("stat = Asn1ErrorHandler::invoke(pctxt, (VexilCB*)0, RTERR_INVENUM);")
            fail_pass(w)
        if t.ext:
            w("rtxEncBit(pctxt, 0);")
            trace(w, "extension bit", 1)
        if bitlen(n - 1):
            w("pe_bits64(pctxt, %s, %d);" % (v, bitlen(n - 1)))
            trace(w, "Enumerated", bitlen(n - 1))
    elif k == "BITSTRING":
        enc_bitstring(w, t, v)
    elif k == "OCTETSTRING":
        f = layout.octstr_form(t)
        if f == "bytes":
            w("stat = rtxEncBitsFromByteArray(pctxt, %s.data, %d);" % (v, t.size.hi * 8))
        elif f == "var":
            w("pu_setSizeConstraint(pctxt, %d, %d, 0, 0);" % (t.size.lo, t.size.hi))
            w("stat = pe_OctetString(pctxt, %s.numocts, %s.data);" % (v, v))
        else:
            w("stat = pe_OctetString(pctxt, %s.numocts, %s.data);" % (v, v))
        fail_log(w)
        if f == "bytes":
            trace(w, "OctetString", t.size.hi * 8)
    elif k == "STRING":
        enc_string(w, t, v)
    elif k == "SEQUENCE":
        enc_sequence(w, t, v)
    elif k == "CHOICE":
        enc_choice(w, t, v)
    elif k == "SEQOF":
        enc_seqof(w, t, v)
    elif k == "OPEN":
        enc_open(w, t, v)
    else:
        raise AssertionError(k)


def trim_named_bits(w, t, v, cap):
    """Named bits: trailing zero bits are not sent. The record's count is
    replaced by the index of the last 1 bit + 1, never below the lower
    bound; the record being encoded changes on purpose."""
    lo = t.size.lo
    w("int last = rtxLastBitSet(%s.data, %s.numbits < %d ? %s.numbits : %d);" % (v, v, cap, v, cap))
    w("%s.numbits = (uint8_t)(last + 1 > %d ? last + 1 : %d);" % (v, lo, lo))


def enc_bitstring(w, t, v):
    f = layout.bitstr_form(t)
    s = t.size
    if f == "bytes":
        w("stat = rtxEncBitsFromByteArray(pctxt, %s.data, %d);" % (v, s.hi))
    elif f == "bitstr32":
        w("stat = pe_BitString32(pctxt, &%s, %d, %d);" % (v, s.lo, s.hi))
    elif f == "var":
        cap = naming.nbytes(s.hi) * 8
        w("pu_setSizeConstraint(pctxt, %d, %d, 0, 0);" % (s.lo, s.hi))
        if t.bits:
            trim_named_bits(w, t, v, cap)
        w("stat = pe_BitString(pctxt, %s.numbits < %d ? %s.numbits : %d, %s.data);" % (v, cap, v, cap, v))
    else:
        cap = naming.nbytes(s.lo) * 8
        w("pu_setSizeConstraint(pctxt, %d, %d, 0, 0xFFFFFFFFU);" % (s.lo, s.lo))
        with w.block("if (%s.extdata != 0 && %s.numbits > %d)" % (v, v, s.lo)):
            w("stat = pe_BitStringExt(pctxt, %s.numbits, %s.data, %d, %s.extdata);"
              % (v, v, cap // 8, v))
        with w.block("else"):
            if t.bits:
                trim_named_bits(w, t, v, cap)
            w("stat = pe_BitString(pctxt, %s.numbits < %d ? %s.numbits : %d, %s.data);"
              % (v, cap, v, cap, v))
    fail_log(w)
    if f == "bytes":
        trace(w, "BitString", s.hi)


def enc_string(w, t, v):
    s = t.size
    if t.strtype == "UTF8String":
        w("stat = pe_VarWidthCharString(pctxt, %s);" % v)
    elif s is None or s.hi is None:
        w("stat = uperEncConstrString(pctxt, %s, 0, 7, 7);" % v)
    elif s.lo == s.hi and not s.ext:
        # Fixed size: the characters alone, no length and no length test.
        w("if (%s == 0) return RTERR_CONSVIO;" % v)
        trace_open(w, "data")
        w("stat = pe_ConstrainedStringData(pctxt, %s, 0, 7, 7, %d);" % (v, s.hi))
        trace_close(w)
    else:
        w("size_t len = %s != 0 ? strlen(%s) : 0;" % (v, v))
        w("if (len < %d || len > %d) return RTERR_CONSVIO;" % (s.lo, s.hi))
        w("stat = rtxEncBitsFromSize(pctxt, (uint64_t)len - %d, %d);" % (s.lo, bitlen(s.hi - s.lo)))
        fail_log(w)
        trace(w, "length", bitlen(s.hi - s.lo))
        trace_open(w, "data")
        w("stat = pe_ConstrainedStringData(pctxt, %s, 0, 7, 7, len);" % v)
        trace_close(w)
    fail_log(w)


def present(v, c):
    return "%s.m.%sPresent" % (v, c.cid)


def comp_lv(v, c):
    return "%s.%s" % (v, c.cid)


# -- runs of fixed bit fields ----------------------------------------------------
#
# A SEQUENCE's extension bit, its presence bits and the mandatory components
# that are plain bit fields (BOOLEAN, a root-only INTEGER of at most 32 bits)
# follow one another on the wire. A run of two or more of them, RUN_BITS at
# most, is written with one store or read with one load when a word of the
# buffer lies ahead (and, reading, no event handler listens). Otherwise, as
# always near the end of the buffer, it goes field by field. Both ways give
# the same bits, record, cursor and statuses.

RUN_BITS = 57


def fixed_width(t):
    """Bits of a type coded as a plain bit field with no test on encoding,
    or None."""
    b = t.base
    if b.kind == "BOOLEAN":
        return 1
    if b.kind == "INTEGER" and not b.ext and b.lo is not None and b.hi is not None:
        if naming.int_ctype(b.lo, b.hi, False) not in ("uint64_t", "int64_t"):
            return bitlen(b.hi - b.lo) or None
    return None


def seq_items(t):
    """The SEQUENCE's wire items in order, as (width or None, kind, what):
    the extension bit, the presence bits, then the components; an optional
    component has no width (it may be absent)."""
    items = []
    if t.ext:
        items.append((1, "ext", None))
    for c in t.optionals:
        items.append((1, "opt", c))
    for c in t.comps:
        items.append((None if c.optional else fixed_width(c.type), "comp", c))
    return items


def runs(items):
    """Groups items into runs of consecutive fixed fields of RUN_BITS at
    most; an item without a width is a group of its own."""
    groups, cur, bits = [], [], 0
    for it in items:
        width = it[0]
        if width is None or bits + width > RUN_BITS:
            if cur:
                groups.append(cur)
            cur, bits = [], 0
        if width is None:
            groups.append([it])
        else:
            cur.append(it)
            bits += width
    if cur:
        groups.append(cur)
    return groups


def emit_groups(w, items, guard, fast, slow):
    """Writes each group of items: a run of two or more as fast(group)
    under guard with the items one by one (slow) as the other branch, any
    other group item by item."""
    for g in runs(items):
        if len(g) < 2 or traced(w):
            for it in g:
                slow(it)
            continue
        with w.block("if (VX_LIKELY(%s))" % guard):
            fast(g)
        with w.block("else"):
            for it in g:
                slow(it)


def enc_sequence(w, t, v):
    def slow(it):
        _, kind, c = it
        if kind == "ext":
            w("rtxEncBit(pctxt, %s.extElem1.count != 0);" % v)
            trace(w, "extension bit", 1)
        elif kind == "opt":
            w("rtxEncBit(pctxt, %s);" % present(v, c))
            if c is t.optionals[-1]:
                trace(w, "preamble", len(t.optionals))
        elif c.optional:
            with w.block("if (%s)" % present(v, c)):
                enc_value(w, c.type, comp_lv(v, c), v)
        else:
            enc_value(w, c.type, comp_lv(v, c), v)

    def fast(g):
        w("uint64_t run = 0;")
        for width, kind, c in g:
            if kind == "ext":
                bits = "%s.extElem1.count != 0" % v
            elif kind == "opt":
                bits = "%s != 0" % present(v, c)
            elif c.type.base.kind == "BOOLEAN":
                bits = "((unsigned)(%s) & 0xFFu) != 0" % comp_lv(v, c)
            else:
                bits = "(%s) & %s" % (int_adjusted(comp_lv(v, c), c.type.base.lo),
                                      ulit((1 << width) - 1))
            w("run = (run << %d) | (uint64_t)(%s);" % (width, bits))
        w("rtxEncPutWord(pctxt, run, %d);" % sum(it[0] for it in g))

    emit_groups(w, seq_items(t), "rtxEncHasWord(pctxt)", fast, slow)
    if t.ext:
        with w.block("if (%s.extElem1.count != 0)" % v):
            w("stat = uperGenEncExt(pctxt, &%s.extElem1);" % v)
            fail_pass(w)


def enc_choice(w, t, v):
    n = len(t.comps)
    if t.ext:
        w("rtxEncBit(pctxt, %s.t > %d);" % (v, n))
        trace(w, "extension bit", 1)
        with w.block("if (%s.t > %d)" % (v, n)):
            # An alternative this schema does not know: its index past the
            # root and its octets as they came.
            w("if (%s.u.extElem1 == 0) return RTERR_INVOPT;" % v)
            w("stat = %s;" % small_number(w, "pe", "%s.t - %d" % (v, n + 1), "choice index"))
            fail_log(w)
            w("stat = pe_OpenType(pctxt, %s.u.extElem1->numocts, %s.u.extElem1->data);" % (v, v))
            fail_log(w)
            w("return 0;")
    w("if (%s.t < 1 || %s.t > %d) return RTERR_INVOPT;" % (v, v, n))
    if bitlen(n - 1):
        w("rtxEncBits(pctxt, %s.t - 1, %d);" % (v, bitlen(n - 1)))
        trace(w, "choice index", bitlen(n - 1))
    with w.block("switch (%s.t)" % v):
        for i, c in enumerate(t.comps):
            w("case %d:" % (i + 1))
            w.indent()
            if c.type.base.kind != "NULL":
                if by_pointer(c):
                    w("if (%s.u.%s == 0) return RTERR_INVOPT;" % (v, c.cid))
                enc_value(w, c.type, alt_lv(v, c), v)
            w("break;")
            w.dedent()
        w("default:")
        w("   break;")


def size_test(v, s, count):
    conds = []
    if s.lo > 0:
        conds.append("%s < %d" % (count, s.lo))
    conds.append("%s > %d" % (count, s.hi))
    return " || ".join(conds)


def enc_count(w, t, v, count):
    """The count of a SEQUENCE OF: closed sizes refuse a count outside with
    a bare -16; extensible ones send it through the extension bit."""
    s = t.size
    width = bitlen(s.hi - s.lo)
    if s.ext:
        with w.block("if (%s)" % size_test(v, s, count)):
            w("rtxEncBit(pctxt, 1);")
            trace(w, "length extension", 1)
            w("stat = pe_UnconsLength(pctxt, %s);" % count)
            w("if (stat < 0) return VX_LOG_ERR(pctxt, stat);")
            # A count that would need fragments is not supported.
            w("if ((uint64_t)stat != (uint64_t)%s) return RTERR_CONSVIO;" % count)
        with w.block("else"):
            w("rtxEncBit(pctxt, 0);")
            trace(w, "length extension", 1)
            if width:
                w("rtxEncBitsFromSize(pctxt, (uint64_t)%s - %d, %d);" % (count, s.lo, width))
                trace(w, "length", width)
    else:
        w("if (%s) return RTERR_CONSVIO;" % size_test(v, s, count))
        if width:
            w("rtxEncBitsFromSize(pctxt, (uint64_t)%s - %d, %d);" % (count, s.lo, width))
            trace(w, "length", width)


def enc_seqof(w, t, v):
    e = t.elem
    if t.form == "list":
        enc_count(w, t, v, "%s.count" % v)
        et = layout.field_ctype(e)
        w("VXRTDListNode* node = %s.head;" % v)
        with w.block("for (uint64_t i = 0; i < %s.count && node != 0; i++, node = node->next)" % v):
            enc_value(w, e, "(*(%s*)node->data)" % et)
    else:
        enc_count(w, t, v, "%s.n" % v)
        if t.form == "dynamic-array":
            w("if (%s.n != 0 && %s.elem == 0) return RTERR_INVPARAM;" % (v, v))
        with w.block("for (uint64_t i = 0; i < %s.n; i++)" % v):
            enc_value(w, e, "%s.elem[i]" % v)


def enc_open(w, t, v):
    if not t.rows:
        w("stat = pe_OpenType(pctxt, %s.numocts, %s.data);" % (v, v))
        fail_log(w)
        return
    # Table constraint: a known value is encoded into a buffer of its own
    # and then written as an open type; a raw one goes out as it came.
    w("VXCTXT saved;")
    w("const uint8_t* data = 0;")
    w("uint64_t numocts = 0;")
    w("uint8_t* own = 0;")
    if traced(w):
        w("VXRTDiagBitFieldList* nested = 0;")
    with w.block("switch (%s.t)" % v):
        w("case 0:")
        w.indent()
        with w.block("if (%s.u.openType != 0)" % v):
            w("numocts = %s.u.openType->numocts;" % v)
            w("data = %s.u.openType->data;" % v)
        w("break;")
        w.dedent()
        for r in t.rows:
            w("case %d:" % r.t)
            w.indent()
            lv = "%s.u.%s" % (v, r.key_cid)
            w("if (%s == 0) return RTERR_INVOPT;" % lv)
            w("stat = uperGenOpenBegin(pctxt, &saved);")
            fail_pass(w)
            w("stat = %s(pctxt, %s);" % (fname(w, "PE", r.type), lv))
            w("own = pctxt->buffer.data;")
            w("numocts = pu_getMsgLen(pctxt);")
            w("%superGenOpenRestore(pctxt, &saved);" % ("nested = " if traced(w) else ""))
            with w.block("if (stat != 0)"):
                w("rtxMemFreePtr(pctxt, own);")
                w("return stat;")
            w("data = own;")
            w("break;")
            w.dedent()
        w("default:")
        w("   return RTERR_INVOPT;")
    w("stat = pe_OpenType(pctxt, numocts, data);")
    w("if (own != 0) rtxMemFreePtr(pctxt, own);")
    fail_log(w)
    if traced(w):
        w("uperGenOpenAttach(pctxt, nested);")


# -- decoders -------------------------------------------------------------------

def dec_value(w, t, lv, parent=None):
    """Statements decoding a value of type t into lvalue lv."""
    if t.owned:
        w("stat = %s(pctxt, &%s);" % (fname(w, "PD", t), lv))
        fail_pass(w)
        return
    with scope(w):
        dec_body(w, t, lv, parent)


def fills_field(lo, hi):
    """Whether every value of the root field's width lies in lo..hi, so
    that a decoded field needs no upper bound test."""
    return ((hi - lo + 1) & (hi - lo)) == 0


def dec_root_value(w, lo, hi, lv, ct, field, passed):
    """lv = a root field of a range with lo >= 0 taken from the expression
    field of a word already read: the upper bound test (which moves the
    cursor past the passed bits and fails) and the lower bound added."""
    w("%s = (%s)(%s);" % (lv, ct, field))
    if not fills_field(lo, hi):
        with w.block("if (%s > %s)" % (lv, ulit(hi - lo))):
            w("rtxDecPassBits(pctxt, %d);" % passed)
            w("return RTERR_CONSVIO;")
    if lo > 0:
        w("%s = (%s)(%s + %s);" % (lv, ct, lv, ulit(lo)))


def dec_int_root(w, t, lv, ct):
    """The root field of an INTEGER into lv (record field type ct); the
    value event is the caller's."""
    lo, hi = t.lo, t.hi
    width = bitlen(hi - lo)
    if ct == "uint64_t" or ct == "int64_t":
        # pd_ConsUInt64 records its field itself.
        w("stat = pd_ConsUInt64(pctxt, (uint64_t*)&%s, %s, %s);" % (lv, ulit(lo), ulit(hi)))
        fail_log(w)
        return
    if width == 0:
        w("%s = %d;" % (lv, lo))
        return
    reader = {"uint8_t": "rtxDecBitsToByte", "uint16_t": "rtxDecBitsToUInt16",
              "uint32_t": "rtxDecBits"}[ct]
    w("stat = %s(pctxt, &%s, %d);" % (reader, lv, width))
    trace_read(w, int_field(t), width)
    fail_log(w)
    if not fills_field(lo, hi):
        w("if (%s > %s) return RTERR_CONSVIO;" % (lv, ulit(hi - lo)))
    if lo > 0:
        w("%s = (%s)(%s + %s);" % (lv, ct, lv, ulit(lo)))


def dec_body(w, t, lv, parent):
    k = t.kind
    if k == "INTEGER":
        dec_integer(w, t, lv)
    elif k == "BOOLEAN":
        # The read status is not looked at: a missing bit leaves the value
        # as it was, and the next read reports the end of the message.
        traced_read(w, "rtxDecBit(pctxt, &%s)" % lv, "Boolean")
        w("%s::invokeBoolValue(pctxt, %s != 0);" % (EV, lv))
    elif k == "NULL":
        w("%s::invokeNullValue(pctxt);" % EV)
    elif k == "ENUMERATED":
        dec_enum(w, t, lv)
    elif k == "BITSTRING":
        dec_bitstring(w, t, lv)
    elif k == "OCTETSTRING":
        dec_octstring(w, t, lv)
    elif k == "STRING":
        dec_string(w, t, lv)
    elif k == "SEQUENCE":
        dec_sequence(w, t, lv)
    elif k == "CHOICE":
        dec_choice(w, t, lv)
    elif k == "SEQOF":
        dec_seqof(w, t, lv)
    elif k == "OPEN":
        dec_open(w, t, lv, parent)
    else:
        raise AssertionError(k)


def dec_integer(w, t, lv):
    ct = naming.int_ctype(t.lo, t.hi, t.ext)
    if t.ext:
        def steps():
            w("uint8_t ext = 0;")
            traced_read(w, "rtxDecBit(pctxt, &ext)", "extension bit")
            with w.block("if (ext)"):
                w("uint8_t len = 0;")
                w("stat = rtxDecBitsToByte(pctxt, &len, 8);")
                trace_read(w, "length", 8)
                fail_log(w)
                w("stat = rtxDecUInt32(pctxt, &%s, len);" % lv)
                # Named as the writer names the two forms of the number.
                if traced(w):
                    w('PU_ADDFIELD(pctxt, len == 5 ? "UnconsUnsigned" : "UnconsInteger", '
                      'stat == 0 ? (uint64_t)len * 8 : 0);')
                fail_log(w)
            with w.block("else"):
                dec_int_root(w, t, lv, ct)

        width = bitlen(t.hi - t.lo)
        if t.lo >= 0 and 0 < width <= 32 and not traced(w):
            # A clear extension bit and the root field in one load when a
            # word lies ahead (and no event handler listens, as for runs of
            # fields); the same steps one by one otherwise.
            w("const bool word = uperGenQuietWord(pctxt);")
            w("const uint64_t run = word ? rtxDecPeekWord(pctxt) : 0;")
            with w.block("if (VX_LIKELY(word && (run >> 63) == 0))"):
                dec_root_value(w, t.lo, t.hi, lv, ct,
                               "(run >> %d) & %s" % (63 - width, ulit((1 << width) - 1)),
                               width + 1)
                w("rtxDecPassBits(pctxt, %d);" % (width + 1))
            with w.block("else"):
                steps()
        else:
            steps()
        w("%s::invokeUIntValue(pctxt, %s);" % (EV, lv))
    elif t.lo < 0:
        # Negative lower bound: the field plus the bound, cut to the record's
        # width, without an upper bound test; the event comes in any case.
        width = bitlen(t.hi - t.lo)
        w("uint32_t tmp = 0;")
        w("stat = rtxDecBits(pctxt, &tmp, %d);" % width)
        w("if (stat == 0) %s = (%s)(int32_t)(tmp + %s);" % (lv, ct, ulit(t.lo & 0xFFFFFFFF)))
        trace_read(w, int_field(t), width)
        w("%s::invokeIntValue(pctxt, %s);" % (EV, lv))
        fail_log(w)
    else:
        dec_int_root(w, t, lv, ct)
        if ct == "uint64_t":
            w("%s::invokeUInt64Value(pctxt, %s);" % (EV, lv))
        else:
            w("%s::invokeUIntValue(pctxt, %s);" % (EV, lv))


def dec_enum(w, t, lv):
    n = len(t.items)
    width = bitlen(n - 1)

    def root():
        if width:
            w("stat = rtxDecBits(pctxt, &%s, %d);" % (lv, width))
            trace_read(w, "Enumerated", width)
            fail_log(w)
        else:
            w("%s = 0;" % lv)

    if t.ext:
        w("uint8_t ext = 0;")
        w("stat = rtxDecBit(pctxt, &ext);")
        trace_read(w, "extension bit", 1)
        fail_log(w)
        with w.block("if (ext)"):
            # A value of a newer version: skipped, and marked unknown.
            w("stat = %s;" % small_number(w, "pd", "0", "Enumerated"))
            fail_log(w)
            w("%s = 0x7FFFFFFFU;" % lv)
        with w.block("else"):
            root()
    else:
        root()
    w("%s::invokeEnumValue(pctxt, %s, %s_ToString((int32_t)%s));" % (EV, lv, t.record, lv))


def dec_bitstring(w, t, lv):
    f = layout.bitstr_form(t)
    s = t.size
    if f == "bytes":
        w("stat = rtxDecBitsToByteArray(pctxt, %s.data, sizeof(%s.data), %d);" % (lv, lv, s.hi))
        trace_read(w, "bits", s.hi)
        w("%s::invokeBitStrValue(pctxt, %d, %s.data);" % (EV64, s.hi, lv))
        fail_log(w)
    elif f == "bitstr32":
        w("stat = rtxDecBitsToByteArray(pctxt, %s.data, sizeof(%s.data), %d);" % (lv, lv, s.hi))
        trace_read(w, "bits", s.hi)
        fail_log(w)
        w("%s.numbits = %d;" % (lv, s.hi))
        w("%s::invokeBitStrValue(pctxt, %d, %s.data);" % (EV64, s.hi, lv))
    elif f == "var":
        w("uint64_t numbits = 0;")
        w("pu_setSizeConstraint(pctxt, %d, %d, 0, 0);" % (s.lo, s.hi))
        w("stat = pd_BitString64(pctxt, &numbits, %s.data, sizeof(%s.data));" % (lv, lv))
        fail_log(w)
        w("%s.numbits = (%s)numbits;" % (lv, naming.count_ctype(s.hi)))
        w("%s::invokeBitStrValue(pctxt, %s.numbits, %s.data);" % (EV64, lv, lv))
    else:
        root = naming.nbytes(s.lo)
        with w.block("if (%s.extdata != 0)" % lv):
            w("rtxMemFreePtr(pctxt, %s.extdata);" % lv)
            w("%s.extdata = 0;" % lv)
        w("uint64_t numbits = 0;")
        w("pu_setSizeConstraint(pctxt, %d, %d, 0, 0xFFFFFFFFU);" % (s.lo, s.lo))
        w("stat = pd_Length64(pctxt, &numbits);")
        fail_length(w)
        trace_open(w, "bits")
        with w.block("if (numbits <= %d)" % (root * 8)):
            w("stat = rtxDecBitsToByteArray(pctxt, %s.data, %d, numbits);" % (lv, root))
            fail_log(w)
        with w.block("else"):
            # The root bits into the record, the rest into a zeroed block.
            w("stat = rtxDecBitsToByteArray(pctxt, %s.data, %d, %d);" % (lv, root, root * 8))
            fail_log(w)
            w("uint64_t more = numbits - %d;" % (root * 8))
            w("if (more > uperGenBitsLeft(pctxt)) return VX_LOG_ERR(pctxt, RTERR_ENDOFBUF);")
            w("%s.extdata = (uint8_t*)rtxMemAllocZ(pctxt, more / 8 + 1);" % lv)
            w("if (%s.extdata == 0) return VX_LOG_ERR(pctxt, RTERR_NOMEM);" % lv)
            w("stat = rtxDecBitsToByteArray(pctxt, %s.extdata, more / 8 + 1, more);" % lv)
            fail_log(w)
        trace_close(w)
        w("%s.numbits = (uint8_t)numbits;" % lv)
        w("%s::invokeBitStrValue(pctxt, numbits, %s.data);" % (EV64, lv))


def dec_octstring(w, t, lv):
    f = layout.octstr_form(t)
    s = t.size
    if f == "bytes":
        w("stat = rtxDecBitsToByteArray(pctxt, %s.data, sizeof(%s.data), %d);" % (lv, lv, s.hi * 8))
        trace_read(w, "octets", s.hi * 8)
        w("%s::invokeOctStrValue(pctxt, %d, %s.data);" % (EV64, s.hi, lv))
        fail_log(w)
    elif f == "var":
        w("uint32_t count = 0;")
        w("stat = rtxDecBits(pctxt, &count, %d);" % bitlen(s.hi - s.lo))
        trace_read(w, "length", bitlen(s.hi - s.lo))
        fail_log(w)
        w("count += %d;" % s.lo)
        w("if (count > %d) return RTERR_CONSVIO;" % s.hi)
        w("%s.numocts = (%s)count;" % (lv, naming.count_ctype(s.hi)))
        w("stat = rtxDecBitsToByteArray(pctxt, %s.data, sizeof(%s.data), (uint64_t)count * 8);"
          % (lv, lv))
        trace_read(w, "octets", "(uint64_t)count * 8")
        fail_log(w)
        w("%s::invokeOctStrValue(pctxt, count, %s.data);" % (EV64, lv))
    else:
        w("stat = pd_DynOctetString64(pctxt, &%s);" % lv)
        fail_log(w)
        w("%s::invokeOctStrValue(pctxt, %s.numocts, %s.data);" % (EV64, lv, lv))


def dec_string(w, t, lv):
    s = t.size
    if t.strtype == "UTF8String":
        w("stat = pd_VarWidthCharString(pctxt, &%s);" % lv)
        fail_log(w)
        if s is not None and s.hi is not None:
            # The size counts characters, which the octet count of the wire
            # does not bound: tested after decoding.
            w("size_t nchars = rtxUTF8Len(%s);" % lv)
            w("if (nchars < %d || nchars > %d) return RTERR_CONSVIO;" % (s.lo, s.hi))
        w("%s::invokeCharStrValue(pctxt, %s);" % (EV, lv))
    elif s is None or s.hi is None:
        w("stat = uperDecConstrString(pctxt, &%s, 0, 7, 7);" % lv)
        fail_log(w)
        w("%s::invokeCharStrValue(pctxt, %s);" % (EV, lv))
    elif s.lo == s.hi and not s.ext:
        trace_open(w, "data")
        w("stat = pd_DynConstrainedStringData(pctxt, &%s, %d, 0, 7, 7);" % (lv, s.hi))
        trace_close(w)
        fail_log(w)
    else:
        w("uint64_t count = 0;")
        w("stat = pd_ConsLength64(pctxt, &count, %d, %d);" % (bitlen(s.hi - s.lo), s.lo))
        trace_read(w, "length", bitlen(s.hi - s.lo))
        fail_log(w)
        trace_open(w, "data")
        w("stat = pd_DynConstrainedStringData(pctxt, &%s, count, 0, 7, 7);" % lv)
        trace_close(w)
        fail_log(w)


def bracket(w, name, index="-1"):
    """Start and end events around the decoding written inside the block."""
    return _Events(w, name, index)


class _Events:
    def __init__(self, w, name, index):
        self.w, self.name, self.index = w, name, index

    def __enter__(self):
        self.w("%s::invokeStartElement(pctxt, %s, %s);" % (EV64, c_string(self.name), self.index))
        return self.w

    def __exit__(self, exc, *rest):
        if exc is None:
            self.w("%s::invokeEndElement(pctxt, %s, %s);" % (EV64, c_string(self.name), self.index))
        return False


def dec_fixed(w, t, lv, field, passed):
    """lv = the fixed field's bits (expression field) as the type's decoder
    would set it; a value above the range moves the cursor past the field
    (passed bits of the run) and fails as that decoder does."""
    b = t.base
    if b.kind == "BOOLEAN":
        w("%s = (uint8_t)(%s);" % (lv, field))
        return
    ct = naming.int_ctype(b.lo, b.hi, False)
    if b.lo < 0:
        w("%s = (%s)(int32_t)((uint32_t)(%s) + %s);" % (lv, ct, field, ulit(b.lo & 0xFFFFFFFF)))
        return
    dec_root_value(w, b.lo, b.hi, lv, ct, field, passed)


def dec_sequence(w, t, lv):
    opts = t.optionals
    if t.ext:
        w("uint8_t extbit = 0;")
    if opts:
        w("memset(&%s.m, 0, sizeof(%s.m));" % (lv, lv))
    if t.ext:
        w("rtxDListInit(&%s.extElem1);" % lv)
    if opts:
        w("uint8_t optbits[%d];" % len(opts))

    def slow(it):
        _, kind, c = it
        if kind == "ext":
            traced_read(w, "rtxDecBit(pctxt, &extbit)", "extension bit")
        elif kind == "opt":
            w("stat = rtxDecBit(pctxt, &optbits[%d]);" % c.opt_index)
            fail_log(w)
            if c is opts[-1]:
                trace(w, "preamble", len(opts))
        elif c.optional:
            with w.block("if (optbits[%d])" % c.opt_index):
                with bracket(w, c.name):
                    w("%s.m.%sPresent = 1;" % (lv, c.cid))
                    dec_value(w, c.type, comp_lv(lv, c), lv)
        else:
            with bracket(w, c.name):
                dec_value(w, c.type, comp_lv(lv, c), lv)

    def fast(g):
        w("const uint64_t run = rtxDecPeekWord(pctxt);")
        at = 0
        for width, kind, c in g:
            field = "(run >> %d) & %s" % (64 - at - width, ulit((1 << width) - 1))
            at += width
            if kind == "ext":
                w("extbit = (uint8_t)(%s);" % field)
            elif kind == "opt":
                w("optbits[%d] = (uint8_t)(%s);" % (c.opt_index, field))
            else:
                dec_fixed(w, c.type, comp_lv(lv, c), field, at)
        w("rtxDecPassBits(pctxt, %d);" % at)

    emit_groups(w, seq_items(t), "uperGenQuietWord(pctxt)", fast, slow)
    if t.ext:
        with w.block("if (extbit)"):
            w("stat = uperGenDecExt(pctxt, &%s.extElem1);" % lv)
            fail_pass(w)


def dec_choice(w, t, lv):
    n = len(t.comps)
    if t.ext:
        w("uint8_t extbit = 0;")
        traced_read(w, "rtxDecBit(pctxt, &extbit)", "extension bit")
        with w.block("if (extbit)"):
            # Unknown alternative: its index is kept in t (past the root) and
            # its octets in an open type, so that it is written back unchanged.
            w("uint32_t index = 0;")
            w("stat = %s;" % small_number(w, "pd", "&index", "choice index"))
            fail_log(w)
            w("%s.t = index + %d;" % (lv, n + 1))
            w("const uint8_t* data = 0;")
            w("uint64_t numocts = 0;")
            w("stat = pd_OpenType(pctxt, &data, &numocts);")
            fail_log(w)
            w("%s.u.extElem1 = rtxMemAllocTypeZ(pctxt, ASN1OpenType);" % lv)
            w("if (%s.u.extElem1 == 0) return VX_LOG_ERR(pctxt, RTERR_NOMEM);" % lv)
            w("%s.u.extElem1->numocts = numocts;" % lv)
            w("%s.u.extElem1->data = data;" % lv)
            w("return 0;")
    width = bitlen(n - 1)
    w("uint32_t index = 0;")
    if width == 1:
        w("uint8_t bit = 0;")
        w("stat = rtxDecBit(pctxt, &bit);")
        trace_read(w, "choice index", 1)
        fail_log(w)
        w("index = bit;")
    elif width:
        w("stat = rtxDecBits(pctxt, &index, %d);" % width)
        trace_read(w, "choice index", width)
        fail_log(w)
    if (1 << width) != n:
        w("if (index >= %d) return RTERR_INVOPT;" % n)
    w("%s.t = index + 1;" % lv)
    with w.block("switch (index)"):
        for i, c in enumerate(t.comps):
            w("case %d: {" % i)
            w.indent()
            with bracket(w, c.name):
                if c.type.base.kind == "NULL":
                    w("%s::invokeNullValue(pctxt);" % EV)
                else:
                    if by_pointer(c):
                        alloc_record(w, c.type, "%s.u.%s" % (lv, c.cid), layout.ptr_ctype(c.type))
                    dec_value(w, c.type, alt_lv(lv, c), lv)
            w("break;")
            w.dedent()
            w("}")
        w("default:")
        w("   return RTERR_INVOPT;")


def dec_count_constraint(w, t):
    s = t.size
    w("pu_setSizeConstraint(pctxt, %d, %d, 0, %s);" % (s.lo, s.hi, "0xFFFFFFFFU" if s.ext else "0"))


def dec_seqof(w, t, lv):
    e = t.elem
    s = t.size
    et = layout.field_ctype(e)
    if t.form == "list":
        dec_count_constraint(w, t)
        w("uint64_t count = 0;")
        w("stat = pd_Length64(pctxt, &count);")
        fail_length(w)
        w("rtxDListInit(&%s);" % lv)
        with w.block("for (uint64_t i = 0; i < count; i++)"):
            with bracket(w, "elem", "(int64_t)i"):
                # The node and its element are one allocation, the element
                # right behind the node; rtxDListFreeAll knows this form.
                w("VXRTDListNode* node = (VXRTDListNode*)rtxMemAllocZ(pctxt, sizeof(VXRTDListNode) + sizeof(%s));" % et)
                w("if (node == 0) return VX_LOG_ERR(pctxt, RTERR_NOMEM);")
                w("%s* elem = (%s*)(node + 1);" % (et, et))
                construct(w, e, "elem")
                w("node->data = elem;")
                w("rtxDListAppendNode(&%s, node);" % lv)
                dec_value(w, e, "(*elem)")
        return
    if t.form == "inline-array":
        # The count is read and tested here, with the element name and the
        # size as parameters of the -16.
        w("uint8_t count = 0;")
        width = bitlen(s.hi - s.lo)
        if width:
            w("stat = rtxDecBitsToByte(pctxt, &count, %d);" % width)
            trace_read(w, "length", width)
            fail_log(w)
        w("count = (uint8_t)(count + %d);" % s.lo)
        with w.block("if (%s)" % size_test(lv, s, "count")):
            w("rtxErrAddElemNameParm(pctxt);")
            w("rtxErrAddSizeParm(pctxt, count);")
            w("return VX_LOG_ERR(pctxt, RTERR_CONSVIO);")
    else:
        dec_count_constraint(w, t)
        w("uint64_t count = 0;")
        w("stat = pd_Length64(pctxt, &count);")
        fail_length(w)
        w("%s.n = 0;" % lv)
        w("%s.elem = 0;" % lv)
        with w.block("if (count != 0)"):
            w("%s.elem = (%s*)rtxMemAllocArray2(pctxt, count, sizeof(%s), 0);" % (lv, et, et))
            with w.block("if (%s.elem == 0)" % lv):
                w("stat = rtxErrGetStatus(pctxt);")
                w("return stat != 0 ? stat : RTERR_NOMEM;")
    w("%s.n = count;" % lv)
    with w.block("for (uint64_t i = 0; i < count; i++)"):
        with bracket(w, "elem", "(int64_t)i"):
            # After a failed element the count covers what was decoded.
            w("%s.n = i + 1;" % lv)
            dec_value(w, e, "%s.elem[i]" % lv)
    w("%s.n = count;" % lv)


def dec_open(w, t, lv, parent):
    if not t.rows:
        w("stat = pd_OpenType(pctxt, &%s.data, &%s.numocts);" % (lv, lv))
        fail_log(w)
        w("%s::invokeOpenTypeValue(pctxt, %s.numocts, %s.data);" % (EV64, lv, lv))
        return
    key = "%s.%s" % (parent, t.key_comp.cid)
    w("uint64_t len = 0, start = 0;")
    w("stat = uperGenOpenLength(pctxt, &len, &start);")
    fail_pass(w)
    with w.block("switch (%s)" % key):
        for r in t.rows:
            w("case %d: {" % r.key)
            w.indent()
            w("%s::invokeStartElement(pctxt, %s, -1);" % (EV64, c_string(r.tag)))
            w("%s.t = %d;" % (lv, r.t))
            ulv = "%s.u.%s" % (lv, r.key_cid)
            alloc_record(w, r.type, ulv, layout.ptr_ctype(r.type))
            if traced(w):
                w("VXRTDiagBitFieldList* outer = uperGenOpenNestBegin(pctxt);")
            w("stat = %s(pctxt, %s);" % (fname(w, "PD", r.type), ulv))
            if traced(w):
                w("uperGenOpenNestEnd(pctxt, outer, stat, len);")
            fail_pass(w)
            w("%s::invokeEndElement(pctxt, %s, -1);" % (EV64, c_string(r.tag)))
            w("break;")
            w.dedent()
            w("}")
        w("default:")
        w.indent()
        w("%s.t = 0;" % lv)
        w("stat = uperGenDecRawOpenType(pctxt, len, &%s.u.openType);" % lv)
        fail_pass(w)
        w("break;")
        w.dedent()
    w("stat = uperGenOpenEnd(pctxt, start, len);")
    fail_pass(w)


# -- functions ----------------------------------------------------------------------

def named(sig, name):
    """sig with the function's name replaced."""
    head, args = sig.split("(", 1)
    return "%s %s(%s" % (head.rsplit(" ", 1)[0], name, args)


def call_args(sig):
    """The argument names of a signature, as a call passes them on."""
    args = sig.split("(", 1)[1].rstrip(")")
    return ", ".join(a.split()[-1].lstrip("*") for a in args.split(", "))


def variant(w, kind, t, sig, write_body):
    """t's function of the variant w.traced; the traced unit also holds
    the plain function that picks between the two (kept out of the
    untraced unit, where a second caller of each function would change what
    the compiler inlines)."""
    with w.block(named(sig, fname(w, kind, t))):
        write_body()
    w()
    if traced(w):
        args = call_args(sig)
        with w.block(sig):
            w("return pu_isTraceOn(pctxt) ? uperTrace%s_%s(%s) : uper%s_%s(%s);"
              % (kind, t.cname, args, kind, t.cname, args))
        w()


def write_encoder(w, t):
    def body():
        if t.kind == "ALIAS":
            w("return %s(pctxt, %s);" % (fname(w, "PE", t.target), "value" if byval(t) else "pvalue"))
        else:
            w("int stat = 0;")
            enc_body(w, t, "value" if byval(t) else "(*pvalue)", None)
            w("(void)stat;")
            w("return 0;")

    if writes_back(t):
        w("// Writes back: trailing zero bits of named-bit strings are trimmed in the")
        w("// record itself, so the record is not const.")
    variant(w, "PE", t, enc_sig(t), body)


def write_decoder(w, t):
    def body():
        w("int stat = 0;")
        if t.kind == "ALIAS":
            w("stat = %s(pctxt, pvalue);" % fname(w, "PD", t.target))
            fail_pass(w)
        else:
            dec_body(w, t, "(*pvalue)", None)
        if is_pdu(t):
            w("return rtGenConsVioPending(pctxt);")
        else:
            w("(void)stat;")
            w("return 0;")

    variant(w, "PD", t, dec_sig(t), body)


def write_traced_encoder(w, t):
    w.traced = True
    write_encoder(w, t)


def write_traced_decoder(w, t):
    w.traced = True
    write_decoder(w, t)


def declare(t):
    """Per type: the plain encoder and decoder, and their untraced and
    traced forms."""
    lines = []
    for kind, sig in (("PE", enc_sig(t)), ("PD", dec_sig(t))):
        lines.append(sig + ";")
        lines.append(named(sig, "uper%s_%s" % (kind, t.cname)) + ";")
        lines.append(named(sig, "uperTrace%s_%s" % (kind, t.cname)) + ";")
    return lines


_PLAIN_HEAD = re.compile(r"^int (uperP[DE]_\w+)\(")
_TRACED_HEAD = re.compile(r"^int uperTrace(P[DE]_\w+)\(")
_LOG_ERR = re.compile(r"VX_LOG_ERR\(pctxt, (\w+)\)")


def twin_positions(plain, traced_unit):
    """The traced unit with each failure record at the line of the same
    record in the untraced twin function: the k-th VX_LOG_ERR of
    uperTracePD_T becomes VX_LOG_ERR_AT with the line of the k-th one of
    uperPD_T. Both functions come from the same rules and take their
    failing steps in the same order; the one-load paths that only the
    untraced form has record none."""
    where, cur = {}, None
    for number, line in enumerate(plain.split("\n"), 1):
        m = _PLAIN_HEAD.match(line)
        if m:
            cur = where.setdefault(m.group(1), [])
        elif line == "}":
            cur = None
        elif cur is not None:
            cur.extend([number] * len(_LOG_ERR.findall(line)))
    out, queue, name = [], None, None
    for line in traced_unit.split("\n"):
        m = _TRACED_HEAD.match(line)
        if m:
            name = "uper" + m.group(1)
            queue = list(where[name])
        elif line == "}":
            if queue:
                raise AssertionError("%s: %d failure records too many" % (name, len(queue)))
            queue = None
        elif queue is not None:
            def at(match):
                if not queue:
                    raise AssertionError("%s: failure records differ" % name)
                return "VX_LOG_ERR_AT(pctxt, %s, %d)" % (match.group(1), queue.pop(0))
            line = _LOG_ERR.sub(at, line)
        out.append(line)
    return "\n".join(out)


def emit(model):
    """{file name: text} of the UPER back end."""
    out = {}
    for mod in model.order:
        (out[mod.stem + "Per.h"], out[mod.stem + "Enc.cpp"],
         out[mod.stem + "Dec.cpp"]) = codec_units(
            mod, "UPER", "Per", COMMON_HEADER, enc_sig, dec_sig, write_encoder, write_decoder,
            declare=declare)
        # The traced forms in units of their own, so that the untraced
        # units, and what the compiler makes of them, stay as they are.
        _, enc, dec = codec_units(
            mod, "UPER bit-trace", "Per", COMMON_HEADER, enc_sig, dec_sig, write_traced_encoder,
            write_traced_decoder, declare=declare)
        out[mod.stem + "EncTrace.cpp"] = twin_positions(out[mod.stem + "Enc.cpp"], enc)
        out[mod.stem + "DecTrace.cpp"] = twin_positions(out[mod.stem + "Dec.cpp"], dec)
    return out


# -- the PER branch of the control classes ------------------------------------------

class PerBranch(control.FormatBranch):
    """`EncodeTo`/`DecodeFrom` on a PER buffer: the message's codec, then
    the buffer's byte-align step, whose result does not count."""

    enc_kind = "PEREncode"
    dec_kind = "PERDecode"

    def encode(self, w, t, rec):
        arg = rec if byval(t) else "&" + rec
        w("stat = asn1PE_%s(msgBuf.getCtxtPtr(), %s);" % (t.cname, arg))
        w("static_cast<ASN1PEREncodeBuffer&>(msgBuf).byteAlign();")
        w("return stat;")

    def decode(self, w, t, rec):
        w("stat = asn1PD_%s(msgBuf.getCtxtPtr(), &%s);" % (t.cname, rec))
        w("static_cast<ASN1PERDecodeBuffer&>(msgBuf).byteAlign();")
        w("return stat;")

    def includes(self, mod):
        return [mod.stem + "Per.h", "asn1PerCppTypes.h"]


if not any(isinstance(b, PerBranch) for b in control.BRANCHES):
    control.BRANCHES.append(PerBranch())
