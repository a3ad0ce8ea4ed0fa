"""JSON back end: `asn1JsonEnc_<T>` and `asn1JsonDec_<T>` for every type.

Writes per module `<stem>Json.h` (declarations), `<stem>JsonEnc.cpp`
(writers) and `<stem>JsonDec.cpp` (readers), plus `itsgen_json.h` with the
small steps every unit shares (punctuation, keys, unknown members, open
types read as text, reading a value from a text of its own).

The text form: an object per SEQUENCE keyed by component names, an object
with one key per CHOICE, an array per SEQUENCE OF, an ENUMERATED as its
identifier, bit and octet strings as lower-case hexadecimal. Objects and
arrays open a line and indent by three blanks; a comma ends the line of
every member but the last.

Both directions test every range and size: a value out of range gives a
bare -16 from the function of its type. Each SEQUENCE passes a failure of a
member on with its own position (VX_LOG_ERR), so the report shows the path;
CHOICE and list functions pass their element's status on unchanged.

One rule per construct. A component written in place without a type of its
own gets a static function of the unit, named after the inline naming rule
(`jsonEnc_<parent>_<component>`), coded by the rule of its kind like a type.
"""
from . import control, layout, naming
from .cwriter import Writer, c_string, codec_units
from .emit_uper import alloc_record, alt_lv, by_pointer, construct, is_pdu

COMMON_HEADER = "itsgen_json.h"

# Field type -> (text writer, text reader, smallest and largest value).
INT_FIELDS = {
    "uint8_t": ("rtxTxtWriteUInt", "rtxTxtReadUInt8", 0, (1 << 8) - 1),
    "uint16_t": ("rtxTxtWriteUInt", "rtxTxtReadUInt16", 0, (1 << 16) - 1),
    "uint32_t": ("rtxTxtWriteUInt", "rtxTxtReadUInt32", 0, (1 << 32) - 1),
    "uint64_t": ("rtxTxtWriteUInt64", "rtxTxtReadUInt64", 0, (1 << 64) - 1),
    "int8_t": ("rtxTxtWriteInt", "rtxTxtReadInt8", -(1 << 7), (1 << 7) - 1),
    "int16_t": ("rtxTxtWriteInt", "rtxTxtReadInt16", -(1 << 15), (1 << 15) - 1),
    "int32_t": ("rtxTxtWriteInt", "rtxTxtReadInt32", -(1 << 31), (1 << 31) - 1),
}


# -- values and the functions that code them ----------------------------------

class Site:
    """Where a value stands: its type, the function that codes it, and the
    argument type of that function when it is a static one of the unit."""

    def __init__(self, t, inline_name=None, argtype=None):
        self.t = t
        self.inline_name = inline_name
        self.argtype = argtype

    @property
    def enc_fn(self):
        return "asn1JsonEnc_" + self.t.cname if self.t.owned else "jsonEnc_" + self.inline_name

    @property
    def dec_fn(self):
        return "asn1JsonDec_" + self.t.cname if self.t.owned else "jsonDec_" + self.inline_name


def by_text(t):
    """A character string is passed to its writer as the pointer itself."""
    return t.base.kind == "STRING"


def enc_call(site, lv):
    arg = lv if by_text(site.t) else "&" + lv
    return "%s(pctxt, %s)" % (site.enc_fn, arg)


def dec_call(site, lv):
    return "%s(pctxt, &%s)" % (site.dec_fn, lv)


def comp_site(t, c):
    """A SEQUENCE component or CHOICE alternative. An inline component's
    field may be an unnamed struct: its function names it by decltype."""
    if c.type.owned:
        return Site(c.type)
    if t.kind == "SEQUENCE":
        arg = "decltype(%s::%s)" % (t.record, c.cid)
    else:
        arg = layout.field_ctype(c.type)
    return Site(c.type, naming.inline_cname(t.cname, c.name), arg)


def elem_site(t):
    e = t.elem
    if e.owned:
        return Site(e)
    return Site(e, naming.element_cname(t.cname), layout.field_ctype(e))


def inline_sites(t):
    """Static functions the functions of t call, in the order written (the
    numbers of a SEQUENCE are coded in its own functions)."""
    out = []
    if t.kind in ("SEQUENCE", "CHOICE"):
        for c in t.comps:
            if t.kind == "SEQUENCE" and read_inline(c):
                continue
            if not c.type.owned and c.type.kind != "NULL":
                out.append(comp_site(t, c))
    elif t.kind == "SEQOF" and not t.elem.owned:
        out.append(elem_site(t))
    return out


def enc_sig(t):
    arg = "%s value" % t.record if by_text(t) else "const %s* pvalue" % t.record
    return "int asn1JsonEnc_%s(VXCTXT* pctxt, %s)" % (t.cname, arg)


def dec_sig(t):
    return "int asn1JsonDec_%s(VXCTXT* pctxt, %s* pvalue)" % (t.cname, t.record)


def value_of(t):
    """The value inside a function of type t."""
    return "value" if by_text(t) else "(*pvalue)"


def fail_pass(w):
    w("if (stat != 0) return stat;")


def fail_log(w):
    w("if (stat != 0) return VX_LOG_ERR(pctxt, stat);")


# -- numbers --------------------------------------------------------------------

def int_field(t):
    ct = naming.int_ctype(t.lo, t.hi, t.ext)
    if ct not in INT_FIELDS:
        raise AssertionError("no text reader for a %s field (%s)" % (ct, t.cname))
    return ct


def range_test(t, v):
    """The condition under which a number in the field is out of range, or
    None when the field can hold nothing else (an extensible INTEGER takes
    any number)."""
    if t.ext:
        return None
    ct = int_field(t)
    fmin, fmax = INT_FIELDS[ct][2], INT_FIELDS[ct][3]
    conds = []
    signed = fmin < 0
    if t.lo is not None and t.lo > fmin:
        conds.append("(int64_t)%s < %dLL" % (v, t.lo) if signed else "%s < %dU" % (v, t.lo))
    if t.hi is not None and t.hi < fmax:
        conds.append("(int64_t)%s > %dLL" % (v, t.hi) if signed else "(uint64_t)%s > %dULL" % (v, t.hi))
    return " || ".join(conds) if conds else None


def put_integer(t, v):
    """The call that writes the number v of type t."""
    ct = int_field(t)
    writer = INT_FIELDS[ct][0]
    if ct.startswith("int") and ct != "int64_t":
        return "jsonGenPutInt(pctxt, %s, %s)" % (v, writer)
    arg = "uint64_t" if ct == "uint64_t" else "uint32_t"
    return "jsonGenPutUInt<%s>(pctxt, %s, %s)" % (arg, v, writer)


def enc_integer(w, t, v):
    test = range_test(t, v)
    if test:
        w("if (%s) return RTERR_CONSVIO;" % test)
    w("return %s;" % put_integer(t, v))


def read_inline(c):
    """Whether a SEQUENCE member is coded in the SEQUENCE's own functions
    (a number) rather than by a call of its type's function."""
    return c.type.base.kind == "INTEGER"


def dec_integer(w, t, lv):
    ct = int_field(t)
    w("%s number = 0;" % ct)
    w("int stat = %s(pctxt, &number);" % INT_FIELDS[ct][1])
    test = range_test(t, "number")
    # Out of range wins over the reader's own status.
    if test:
        w("if (%s) return RTERR_CONSVIO;" % test)
    fail_pass(w)
    w("%s = number;" % lv)
    w("return 0;")


def enc_enum(w, t, v):
    last = len(t.items) - 1
    tab = t.record + "_ENUMTAB"
    if not t.ext:
        with w.block("if (%s > %dU)" % (v, last)):
            w("VexilCB cb = {0, 0};")
            w("int stat = Asn1ErrorHandler::invoke(pctxt, &cb, RTERR_INVENUM);")
            fail_pass(w)
    w("if (%s > %dU) return VX_LOG_ERRNEW(pctxt, RTERR_INVENUM);" % (v, last))
    w("const VXEnumItem& item = %s[%s[%s].transidx];" % (tab, tab, v))
    w("return jsonGenPutName(pctxt, item.name, item.namelen);")


def dec_enum(w, t, lv):
    tab = t.record + "_ENUMTAB"
    w("JsonGenText text;")
    w("int stat = jsonGenReadText(pctxt, &text);")
    fail_log(w)
    # The row of the identifier in the table (sorted by name, as the table
    # is written), found by its length and bytes.
    rows = sorted((name for name, value in t.items), key=lambda name: name.encode("utf-8"))
    w("int row = -1;")
    name_switch(w, "text", "row", rows)
    w("jsonGenTextRelease(pctxt, &text);")
    w("if (row < 0) return VX_LOG_ERR(pctxt, RTERR_INVENUM);")
    w("%s = (uint32_t)%s[row].value;" % (lv, tab))
    w("return 0;")


# -- strings ----------------------------------------------------------------------

def size_test(s, count):
    """Condition for a count outside SIZE(lo..hi), or None."""
    if s is None or s.hi is None or s.ext:
        return None
    conds = []
    if s.lo:
        conds.append("%s < %d" % (count, s.lo))
    conds.append("%s > %d" % (count, s.hi))
    return " || ".join(conds)


def enc_bitstring(w, t, v):
    f = layout.bitstr_form(t)
    s = t.size
    if f == "bytes":
        w("return rtJsonEncFixedBitStrValue(pctxt, %d, %s.data);" % (s.hi, v))
    elif f == "bitstr32":
        w("if (%s.numbits != %d) return RTERR_CONSVIO;" % (v, s.hi))
        w("return rtJsonEncFixedBitStrValue(pctxt, %d, %s.data);" % (s.hi, v))
    elif f == "var":
        w("if (%s) return RTERR_CONSVIO;" % size_test(s, "%s.numbits" % v))
        w("return rtJsonEncBitStrValue(pctxt, %s.numbits, %s.data);" % (v, v))
    else:
        w("return rtJsonEncBitStrValueExt(pctxt, %s.numbits, %s.data, %d, %s.extdata);"
          % (v, v, naming.nbytes(s.lo), v))


def dec_bitstring(w, t, lv):
    f = layout.bitstr_form(t)
    s = t.size
    if f == "bytes":
        w("return rtJsonDecFixedBitStrValue(pctxt, %d, %s.data, sizeof(%s.data));" % (s.hi, lv, lv))
    elif f == "bitstr32":
        w("%s.numbits = %d;" % (lv, s.hi))
        w("return rtJsonDecFixedBitStrValue(pctxt, %d, %s.data, sizeof(%s.data));" % (s.hi, lv, lv))
    elif f == "var":
        w("uint64_t numbits = 0;")
        w("int stat = rtJsonDecBitStrValue64(pctxt, &numbits, %s.data, sizeof(%s.data));" % (lv, lv))
        fail_pass(w)
        w("%s.numbits = (%s)numbits;" % (lv, naming.count_ctype(s.hi)))
        w("if (%s) return RTERR_CONSVIO;" % size_test(s, "numbits"))
        w("return 0;")
    else:
        w("uint64_t numbits = 0;")
        w("ASN1TDynOctStr64 rest = {0, 0};")
        w("int stat = rtJsonDecBitStrValueExt64(pctxt, &numbits, %s.data, %d, &rest);"
          % (lv, naming.nbytes(s.lo)))
        fail_pass(w)
        # The count field is 8 bits: a longer string can not be held.
        w("if (numbits > 255) return RTERR_CONSVIO;")
        w("%s.numbits = (uint8_t)numbits;" % lv)
        w("%s.extdata = rest.data;" % lv)
        w("return 0;")


def enc_octstring(w, t, v):
    f = layout.octstr_form(t)
    if f == "bytes":
        w("return rtJsonEncHexStr(pctxt, %d, %s.data);" % (t.size.hi, v))
        return
    if f == "var":
        w("if (%s) return RTERR_CONSVIO;" % size_test(t.size, "%s.numocts" % v))
    w("return rtJsonEncHexStr(pctxt, %s.numocts, %s.data);" % (v, v))


def dec_octstring(w, t, lv):
    f = layout.octstr_form(t)
    if f == "bytes":
        # Fewer octets than the size are taken as they come.
        w("return rtJsonDecHexStr64(pctxt, %s.data, 0, %d);" % (lv, t.size.hi))
    elif f == "var":
        w("uint64_t numocts = 0;")
        w("int stat = rtJsonDecHexStr64(pctxt, %s.data, &numocts, %d);" % (lv, t.size.hi))
        fail_pass(w)
        w("%s.numocts = (%s)numocts;" % (lv, naming.count_ctype(t.size.hi)))
        w("if (%s) return RTERR_CONSVIO;" % size_test(t.size, "numocts"))
        w("return 0;")
    else:
        w("return rtJsonDecDynHexStr64(pctxt, &%s);" % lv)


def string_length(t, text):
    if t.strtype == "UTF8String":
        return "rtxUTF8Len(%s)" % text
    return "strlen(%s)" % text


def enc_string(w, t, v):
    test = size_test(t.size, "length")
    if test:
        w("size_t length = %s != 0 ? %s : 0;" % (v, string_length(t, v)))
        w("if (%s) return RTERR_CONSVIO;" % test)
    w("return rtJsonEncStringValue(pctxt, %s);" % v)


def dec_string(w, t, lv):
    w("char* text = 0;")
    w("int stat = rtJsonDecStringValue(pctxt, &text);")
    fail_pass(w)
    w("%s = text;" % lv)
    if t.strtype != "UTF8String":
        # A 7-bit string: a character above 0x7F would reach the wire cut.
        w("if (!rtxTextIs7Bit(text)) return VX_LOG_ERRNEW(pctxt, RTERR_INVCHAR);")
    test = size_test(t.size, "length")
    if test:
        w("size_t length = %s;" % string_length(t, "text"))
        w("if (%s) return RTERR_CONSVIO;" % test)
    w("return 0;")


# -- SEQUENCE -----------------------------------------------------------------------

def key_text(name):
    """The literal of a member's key: quote, identifier, quote, colon."""
    lit = '"' + name + '":'
    return "%s, %d" % (c_string(lit), len(lit.encode("utf-8")))


def enc_sequence(w, t, v):
    w("const JsonGenOut out = jsonGenOutput(pctxt);")
    # A required first member is written with the brace in one step.
    open_with_key = bool(t.comps) and not t.comps[0].optional
    if open_with_key:
        w("int stat;")
    else:
        w("int stat = jsonGenOpen(pctxt, out, '{');")
        fail_pass(w)
    # Whether a member was written before: "no", "yes", or "flag" (known
    # only at run time, kept in `written`).
    state = "no"
    if any(c.optional for c in t.comps[:1]):
        w("bool written = false;")
        w("(void)written;")
    for c in t.comps:
        site = comp_site(t, c)
        lv = "%s.%s" % (v, c.cid)
        cond = "%s.m.%sPresent" % (v, c.cid) if c.optional else None
        if cond:
            w("if (%s) {" % cond)
            w.indent()
        key = key_text(c.name)
        lead = None
        if read_inline(c) and state == "yes":
            lead = "Next"
        elif read_inline(c) and state == "no" and open_with_key:
            lead = "Open"
        if lead:
            # Key and number in one step when there is room, else one by one.
            b = c.type.base
            test = range_test(b, lv)
            one = "jsonGen%sKeyNumber(pctxt, out, %s, %s)" % (lead, key, lv)
            with w.block("if (%s)" % ("(%s) || !%s" % (test, one) if test else "!" + one)):
                w("stat = jsonGen%sKey(pctxt, out, %s);" % (lead, key))
                fail_pass(w)
                if test:
                    w("stat = (%s) ? RTERR_CONSVIO : %s;" % (test, put_integer(b, lv)))
                else:
                    w("stat = %s;" % put_integer(b, lv))
                fail_log(w)
        elif state == "yes":
            w("stat = jsonGenNextKey(pctxt, out, %s);" % key)
        elif state == "flag":
            w("stat = written ? jsonGenNextKey(pctxt, out, %s) : jsonGenPut(pctxt, %s);" % (key, key))
        elif open_with_key:
            w("stat = jsonGenOpenKey(pctxt, out, %s);" % key)
        else:
            w("stat = jsonGenPut(pctxt, %s);" % key)
        if not lead:
            fail_pass(w)
            if read_inline(c):
                # As the function of its type writes it: out of range is -16.
                test = range_test(c.type.base, lv)
                if test:
                    w("stat = (%s) ? RTERR_CONSVIO : %s;" % (test, put_integer(c.type.base, lv)))
                else:
                    w("stat = %s;" % put_integer(c.type.base, lv))
            else:
                w("stat = %s;" % enc_call(site, lv))
            fail_log(w)
        if cond:
            if state != "yes":
                w("written = true;")
            w.dedent()
            w("}")
            if state == "no":
                state = "flag"
        else:
            state = "yes"
    if t.ext:
        # Unknown additions after the members, on one line of their own.
        with w.block("if (rtxDListFindFirstData(&%s.extElem1) != 0)" % v):
            if state == "yes":
                w("stat = jsonGenNext(pctxt, out);")
            elif state == "flag":
                w("stat = written ? jsonGenNext(pctxt, out) : rtJsonEncIndent(pctxt);")
            else:
                w("stat = rtJsonEncIndent(pctxt);")
            fail_pass(w)
            w("stat = rtJsonAsn1EncOpenTypeExtIn(pctxt, &%s.extElem1, false, %s);"
              % (v, reserved_names(w, t)))
            fail_pass(w)
    w("return jsonGenClose(pctxt, out, '}');")


def reserved_names(w, t):
    """Declares the component names of t, which no kept unknown member may
    take, and returns the arguments naming them."""
    if not t.comps:
        return "0, 0"
    w("static const char* const names[] = {%s};"
      % ", ".join(c_string(c.name) for c in t.comps))
    return "names, %d" % len(t.comps)


def name_switch(w, text, out, names):
    """`out` = the position in `names` of the text just read into the
    JsonGenText `text`: a switch on its length, then a comparison of the
    bytes with each name of that length. `out` stays as it is for no name."""
    by_len = {}
    for i, name in enumerate(names):
        by_len.setdefault(len(name.encode("utf-8")), []).append((i, name))
    with w.block("switch (%s.len)" % text):
        for n in sorted(by_len):
            w("case %d:" % n)
            w.indent()
            for i, name in by_len[n]:
                w("if (memcmp(%s.text, %s, %d) == 0) %s = %d;" % (text, c_string(name), n, out, i))
            w("break;")
            w.dedent()
        w("default:")
        w("   break;")


def key_lookup(w, t, declare=True):
    """`index` from the key just read, by its identifier."""
    w("int index = -1;" if declare else "index = -1;")
    name_switch(w, "key", "index", [c.name for c in t.comps])


def open_comp_rows(t):
    c = t.open_comp
    return c if c is not None and c.type.rows else None


def dec_open_text(w, t, c, lv):
    """A table-constrained open component is first read as raw text; the
    known record is made from it once the key is known (after the object)."""
    if c.type.rows:
        w("%s.t = 0;" % lv)
        w("stat = jsonGenDecRawText(pctxt, &%s.u.openType);" % lv)
    else:
        w("stat = jsonGenDecRawTextTo(pctxt, &%s);" % lv)


def dec_member(w, t, c, v):
    lv = "%s.%s" % (v, c.cid)
    if c.type.kind == "OPEN":
        dec_open_text(w, t, c, lv)
        return
    call = dec_call(comp_site(t, c), lv)
    if c.optional:
        # `null` stands for an absent component.
        with w.block("if (jsonGenPeekIn(pctxt, in) == 'n')"):
            w("stat = rtJsonDecNull(pctxt);")
        with w.block("else"):
            dec_member_value(w, c, lv, call)
            w("if (stat == 0) %s.m.%sPresent = 1;" % (v, c.cid))
    else:
        dec_member_value(w, c, lv, call)


def dec_member_value(w, c, lv, call):
    """`stat` from decoding a member. A number is read here, with the
    input test of the object, as the function of its type reads it: out
    of range gives a bare -16 whatever the reader returned, and the field
    is set only on success."""
    b = c.type.base
    if not read_inline(c):
        w("stat = %s;" % call)
        return
    ct = int_field(b)
    with w.block(""):
        w("%s number = 0;" % ct)
        w("stat = jsonGenReadNumber(pctxt, in, &number);")
        test = range_test(b, "number")
        if test:
            w("if (%s) stat = RTERR_CONSVIO;" % test)
            w("else if (stat == 0) %s = number;" % lv)
        else:
            w("if (stat == 0) %s = number;" % lv)


def number_ahead(w, c, i, lv, v):
    """The member i expected next, a number, read in one step when the text
    allows (see jsonGenNumberAhead) and the number is in range; `fast` is
    then what follows it. Anything else goes the steps one by one."""
    b = c.type.base
    ct = int_field(b)
    with w.block("if (!seen[%d])" % i):
        w("%s number = 0;" % ct)
        w("uint64_t reads = 0;")
        w("uint64_t end = jsonGenNumberAhead(pctxt, at, %s, '}', %s, &number, &reads);"
          % (key_text(c.name), "true" if c.optional else "false"))
        test = range_test(b, "number")
        with w.block("if (end != 0%s)" % (" && !(%s)" % test if test else "")):
            w("%s = number;" % lv)
            if c.optional:
                w("%s.m.%sPresent = 1;" % (v, c.cid))
            w("seen[%d] = 1;" % i)
            w("expect = %d;" % (i + 1))
            w("fast = jsonGenAheadCommit(pctxt, in, end, reads);")
            w("break;")


def dec_sequence(w, t, v):
    n = len(t.comps)
    w("const JsonGenIn in = jsonGenInput(pctxt);")
    # 1: an empty object, read whole.
    w("int stat = jsonGenOpenIn(pctxt, in, '{', '}');")
    w("if (stat < 0) return stat;")
    if t.optionals:
        w("memset(&%s.m, 0, sizeof(%s.m));" % (v, v))
    if t.ext:
        w("rtxDListInit(&%s.extElem1);" % v)
    w("uint8_t seen[%d];" % n)
    w("memset(seen, 0, sizeof(seen));")
    # The member expected next: the one after the last, in schema order.
    w("int expect = 0;")
    with w.block("if (stat == 0)"):
        with w.block("for (;;)"):
            w("JsonGenText key;")
            w("key.heap = 0;")
            w("int index = -1;")
            # The expected key, with its quotes and colon, compared in place
            # first; any other key is read and looked up.
            w("uint64_t at = jsonGenKeyStart(pctxt, in);")
            ahead = any(read_inline(c) for c in t.comps)
            if ahead:
                w("int fast = -1;")
            with w.block("switch (expect)"):
                for i, c in enumerate(t.comps):
                    w("case %d:" % i)
                    w.indent()
                    if read_inline(c):
                        number_ahead(w, c, i, "%s.%s" % (v, c.cid), v)
                    w("if (jsonGenKeyIs(pctxt, in, at, %s)) index = %d;" % (key_text(c.name), i))
                    w("break;")
                    w.dedent()
                w("default:")
                w("   break;")
            if ahead:
                # The member was read ahead with the comma or brace behind it.
                w("if (fast == 0) break;")
                w("if (fast > 0) continue;")
            with w.block("if (index < 0)"):
                w("stat = jsonGenReadKeyIn(pctxt, in, &key);")
                fail_pass(w)
                key_lookup(w, t, declare=False)
            with w.block("if (index < 0)"):
                if t.ext:
                    # A member this schema does not know: kept as its text.
                    w("char* name = jsonGenTextTake(pctxt, &key);")
                    w("if (name == 0) return VX_LOG_ERR(pctxt, RTERR_NOMEM);")
                    w("stat = jsonGenDecExtMember(pctxt, name, &%s.extElem1);" % v)
                    fail_pass(w)
                else:
                    w("jsonGenTextRelease(pctxt, &key);")
                    w("return VX_LOG_ERR(pctxt, RTERR_NOTINSET);")
            with w.block("else"):
                w("jsonGenTextRelease(pctxt, &key);")
                w("if (seen[index]) return VX_LOG_ERR(pctxt, RTERR_SETDUPL);")
                w("seen[index] = 1;")
                w("expect = index + 1;")
                with w.block("switch (index)"):
                    for i, c in enumerate(t.comps):
                        w("case %d:" % i)
                        w.indent()
                        dec_member(w, t, c, v)
                        w("break;")
                        w.dedent()
                    w("default:")
                    w("   break;")
                fail_log(w)
            # 0: the closing brace, read.
            w("stat = jsonGenNextIn(pctxt, in, '}');")
            w("if (stat == 0) break;")
            w("if (stat < 0) return stat;")
    req = [i for i, c in enumerate(t.comps) if not c.optional]
    if req:
        with w.block("if (%s)" % " || ".join("!seen[%d]" % i for i in req)):
            w("VexilCB cb = {0, 0};")
            w("stat = Asn1ErrorHandler::invoke(pctxt, &cb, RTERR_SETMISRQ);")
            fail_log(w)
    oc = open_comp_rows(t)
    if oc is not None:
        dec_known_rows(w, t, oc, v)
    w("(void)stat;")


def dec_known_rows(w, t, c, v):
    """With the key known, a row's value is decoded from the text kept in
    the open type; the text and its holder are released after."""
    ot = c.type
    lv = "%s.%s" % (v, c.cid)
    with w.block("switch (%s.%s)" % (v, ot.key_comp.cid)):
        for r in ot.rows:
            w("case %d: {" % r.key)
            w.indent()
            w("ASN1OpenType* raw = %s.u.openType;" % lv)
            w("if (raw == 0) return RTERR_INVOPT;")
            w("VXCTXT saved;")
            w("stat = jsonGenTextBegin(pctxt, &saved, raw);")
            fail_pass(w)
            w("Asn1NamedEventHandler64::invokeStartElement(pctxt, %s, -1);" % c_string(r.tag))
            w("%s.t = %d;" % (lv, r.t))
            member = "%s.u.%s" % (lv, r.key_cid)
            w("%s = 0;" % member)
            # The context goes back to the outer text whatever happens.
            with w.block("do", "} while (0);"):
                w("%s = (%s)rtxMemAllocZ(pctxt, sizeof(*%s));" % (member, layout.ptr_ctype(r.type), member))
                with w.block("if (%s == 0)" % member):
                    w("stat = RTERR_NOMEM;")
                    w("break;")
                construct(w, r.type, member)
                w("stat = asn1JsonDec_%s(pctxt, %s);" % (r.type.cname, member))
            w("jsonGenTextEnd(pctxt, &saved);")
            fail_log(w)
            w("Asn1NamedEventHandler64::invokeEndElement(pctxt, %s, -1);" % c_string(r.tag))
            w("rtxMemFreePtr(pctxt, raw->data);")
            w("rtxMemFreePtr(pctxt, raw);")
            w("break;")
            w.dedent()
            w("}")
        w("default:")
        w("   break;")


# -- open types -------------------------------------------------------------------

def enc_open(w, t, v):
    if not t.rows:
        w("return rtJsonAsn1EncOpenType(pctxt, %s.data, %s.numocts);" % (v, v))
        return
    with w.block("switch (%s.t)" % v):
        w("case 0:")
        w.indent()
        w("if (%s.u.openType == 0) return RTERR_INVOPT;" % v)
        w("return rtJsonAsn1EncOpenType(pctxt, %s.u.openType->data, %s.u.openType->numocts);" % (v, v))
        w.dedent()
        for r in t.rows:
            member = "%s.u.%s" % (v, r.key_cid)
            w("case %d:" % r.t)
            w.indent()
            w("if (%s == 0) return RTERR_INVOPT;" % member)
            w("return asn1JsonEnc_%s(pctxt, %s);" % (r.type.cname, member))
            w.dedent()
        w("default:")
        w("   return RTERR_INVOPT;")


# -- CHOICE ---------------------------------------------------------------------------

def enc_choice(w, t, v):
    w("const JsonGenOut out = jsonGenOutput(pctxt);")
    n = len(t.comps)
    w("int stat;")
    with w.block("switch (%s.t)" % v):
        for i, c in enumerate(t.comps):
            w("case %d:" % (i + 1))
            w.indent()
            w("stat = jsonGenOpenKey(pctxt, out, %s);" % key_text(c.name))
            fail_pass(w)
            if c.type.base.kind == "NULL":
                w("stat = rtJsonEncStringNull(pctxt);")
            else:
                if by_pointer(c):
                    w("if (%s.u.%s == 0) return RTERR_INVOPT;" % (v, c.cid))
                w("stat = %s;" % enc_call(comp_site(t, c), alt_lv(v, c)))
            w("break;")
            w.dedent()
        w("default:")
        w.indent()
        w("stat = jsonGenOpen(pctxt, out, '{');")
        fail_pass(w)
        if t.ext:
            # An alternative this schema does not know, as it was received.
            with w.block("if (%s.t == %d && %s.u.extElem1 != 0)" % (v, n + 1, v)):
                w("stat = rtJsonAsn1EncExtElemIn(pctxt, %s.u.extElem1, %s);"
                  % (v, reserved_names(w, t)))
                w("break;")
        w("return VX_LOG_ERR(pctxt, RTERR_INVOPT);")
        w.dedent()
    fail_pass(w)
    w("return jsonGenClose(pctxt, out, '}');")


def dec_choice(w, t, v):
    n = len(t.comps)
    w("const JsonGenIn in = jsonGenInput(pctxt);")
    w("int stat = jsonGenMatchIn(pctxt, in, '{');")
    fail_pass(w)
    w("JsonGenText key;")
    w("stat = jsonGenReadKeyIn(pctxt, in, &key);")
    fail_pass(w)
    key_lookup(w, t)
    w("if (index >= 0) jsonGenTextRelease(pctxt, &key);")
    with w.block("switch (index)"):
        for i, c in enumerate(t.comps):
            w("case %d:" % i)
            w.indent()
            if c.type.base.kind == "NULL":
                w("rtxTxtSkipWhitespace(pctxt);")
                w("stat = rtJsonDecNull(pctxt);")
            else:
                if by_pointer(c):
                    alloc_record(w, c.type, "%s.u.%s" % (v, c.cid), layout.ptr_ctype(c.type))
                w("stat = %s;" % dec_call(comp_site(t, c), alt_lv(v, c)))
            w("%s.t = %d;" % (v, i + 1))
            w("break;")
            w.dedent()
        w("default:")
        w.indent()
        w("char* name = jsonGenTextTake(pctxt, &key);")
        w("if (name == 0) return VX_LOG_ERR(pctxt, RTERR_NOMEM);")
        if t.ext:
            # Kept as the member's text, under the first index past the root.
            w("stat = jsonGenDecMemberText(pctxt, name, &%s.u.extElem1);" % v)
            w("%s.t = %d;" % (v, n + 1))
            w("break;")
        else:
            w("rtxErrAddStrParm(pctxt, name);")
            w("rtxMemFreePtr(pctxt, name);")
            w("return VX_LOG_ERR(pctxt, RTERR_INVOPT);")
        w.dedent()
    fail_pass(w)
    # A second key meets this brace: -24.
    w("return jsonGenMatchIn(pctxt, in, '}');")


# -- SEQUENCE OF ------------------------------------------------------------------------

def enc_seqof(w, t, v):
    w("const JsonGenOut out = jsonGenOutput(pctxt);")
    site = elem_site(t)
    et = layout.field_ctype(t.elem)
    w("int stat = jsonGenOpen(pctxt, out, '[');")
    fail_pass(w)
    if t.form == "list":
        w("uint64_t i = 0;")
        w("for (const VXRTDListNode* node = %s.head; node != 0; node = node->next, i++) {" % v)
        elem = "(*(const %s*)node->data)" % et
    else:
        if t.form == "inline-array":
            # The array has one slot more than the upper bound; a count past
            # the slots can not be read.
            w("if (%s.n > %d) return RTERR_CONSVIO;" % (v, t.size.hi + 1))
        else:
            w("if (%s.n != 0 && %s.elem == 0) return RTERR_INVPARAM;" % (v, v))
        w("for (uint64_t i = 0; i < %s.n; i++) {" % v)
        elem = "%s.elem[i]" % v
    w.indent()
    with w.block("if (i != 0)"):
        w("stat = jsonGenNext(pctxt, out);")
        fail_pass(w)
    w("stat = %s;" % enc_call(site, elem))
    fail_pass(w)
    w.dedent()
    w("}")
    w("return jsonGenClose(pctxt, out, ']');")


def dec_seqof(w, t, v):
    site = elem_site(t)
    et = layout.field_ctype(t.elem)
    dynamic = t.form == "dynamic-array"
    if dynamic:
        w("int stat = jsonGenMatch(pctxt, '[');")
        fail_pass(w)
    else:
        w("const JsonGenIn in = jsonGenInput(pctxt);")
        # 1: an empty array, read whole.
        w("int stat = jsonGenOpenIn(pctxt, in, '[', ']');")
        w("if (stat < 0) return stat;")
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
    with w.block("if (jsonGenPeek(pctxt) != ']')" if dynamic else "if (stat == 0)"):
        with w.block("for (;;)"):
            if t.form == "list":
                # No size test here: the UPER encoder refuses the count.
                # The node and its element are one allocation, the element
                # right behind the node (the form rtxDListFreeAll knows);
                # the node joins the list once the element is decoded.
                w("VXRTDListNode* node = (VXRTDListNode*)rtxMemAllocZ(pctxt, sizeof(VXRTDListNode) + sizeof(%s));" % et)
                w("if (node == 0) return RTERR_NOMEM;")
                w("%s* elem = (%s*)(node + 1);" % (et, et))
                construct(w, t.elem, "elem")
                w("stat = %s;" % dec_call(site, "(*elem)"))
                fail_pass(w)
                w("node->data = elem;")
                w("rtxDListAppendNode(&%s, node);" % v)
            elif t.form == "inline-array":
                # One element past the upper bound still has a slot; the
                # UPER encoder refuses that count.
                w("if (%s.n > %d) return VX_LOG_ERR(pctxt, RTERR_SEQOVFLW);" % (v, t.size.hi))
                w("stat = %s;" % dec_call(site, "%s.elem[%s.n]" % (v, v)))
                fail_pass(w)
                w("%s.n++;" % v)
            else:
                with w.block("if (buf.n == buf.nMax)"):
                    w("stat = rtxDListBufExpand(pctxt, &buf);")
                    fail_log(w)
                with w.block("if ((stat = %s) != 0)" % dec_call(site, "array[buf.n]")):
                    w("rtxDListBufFreeAll(pctxt, &buf);")
                    w("return stat;")
                w("buf.n++;")
                w("buf.nAll++;")
            if dynamic:
                w("stat = jsonGenComma(pctxt);")
            else:
                # 0: the closing bracket, read.
                w("stat = jsonGenNextIn(pctxt, in, ']');")
            w("if (stat == 0) break;")
            w("if (stat < 0) return stat;")
    if dynamic:
        with w.block("if ((stat = jsonGenMatch(pctxt, ']')) != 0)"):
            w("rtxDListBufFreeAll(pctxt, &buf);")
            w("return stat;")
        w("stat = rtxDListBufToArray(pctxt, &buf);")
        fail_log(w)
        w("%s.n = buf.nAll;" % v)
        w("%s.elem = array;" % v)
    w("return 0;")


# -- functions -------------------------------------------------------------------------

def enc_boolean(w, t, v):
    w("return rtJsonEncBoolValue(pctxt, %s != 0);" % v)


def dec_boolean(w, t, lv):
    w("return rtJsonDecBool(pctxt, &%s);" % lv)


def enc_null(w, t, v):
    w("return rtJsonEncStringNull(pctxt);")


def dec_null(w, t, lv):
    # The reader of the keyword skips no blanks itself.
    w("rtxTxtSkipWhitespace(pctxt);")
    w("return rtJsonDecNull(pctxt);")


def dec_sequence_fn(w, t, lv):
    dec_sequence(w, t, lv)
    w("return 0;")


def dec_open(w, t, lv):
    raise AssertionError("an open type is read by the SEQUENCE that holds its key")


# The rule of each construct: (writer, reader) of a function body.
RULES = {
    "INTEGER": (enc_integer, dec_integer),
    "BOOLEAN": (enc_boolean, dec_boolean),
    "NULL": (enc_null, dec_null),
    "ENUMERATED": (enc_enum, dec_enum),
    "BITSTRING": (enc_bitstring, dec_bitstring),
    "OCTETSTRING": (enc_octstring, dec_octstring),
    "STRING": (enc_string, dec_string),
    "SEQUENCE": (enc_sequence, dec_sequence_fn),
    "CHOICE": (enc_choice, dec_choice),
    "SEQOF": (enc_seqof, dec_seqof),
    "OPEN": (enc_open, dec_open),
}


def enc_body(w, t, v):
    RULES[t.kind][0](w, t, v)


def dec_body(w, t, lv):
    RULES[t.kind][1](w, t, lv)


def write_inline_encoder(w, site):
    t = site.t
    arg = "%s value" % site.argtype if by_text(t) else "const %s* pvalue" % site.argtype
    with w.block("static int %s(VXCTXT* pctxt, %s)" % (site.enc_fn, arg)):
        enc_body(w, t, value_of(t))
    w()


def write_inline_decoder(w, site):
    t = site.t
    if t.kind == "OPEN":
        return  # read by the SEQUENCE that holds the key
    with w.block("static int %s(VXCTXT* pctxt, %s* pvalue)" % (site.dec_fn, site.argtype)):
        dec_body(w, t, "(*pvalue)")
    w()


def write_encoder(w, t):
    for s in inline_sites(t):
        write_inline_encoder(w, s)
    with w.block(enc_sig(t)):
        if t.kind == "ALIAS":
            w("return asn1JsonEnc_%s(pctxt, %s);" % (t.target.cname, "value" if by_text(t) else "pvalue"))
        else:
            enc_body(w, t, value_of(t))
    w()


def write_decoder(w, t):
    for s in inline_sites(t):
        write_inline_decoder(w, s)
    if not is_pdu(t):
        with w.block(dec_sig(t)):
            if t.kind == "ALIAS":
                w("return asn1JsonDec_%s(pctxt, pvalue);" % t.target.cname)
            else:
                dec_body(w, t, "(*pvalue)")
        w()
        return
    with w.block("static int jsonDecBody_%s(VXCTXT* pctxt, %s* pvalue)" % (t.cname, t.record)):
        dec_body(w, t, "(*pvalue)")
    w()
    with w.block(dec_sig(t)):
        # A top-level type: a constraint violation recorded on the way fails
        # the message even when every step returned 0.
        w("int stat = jsonDecBody_%s(pctxt, pvalue);" % t.cname)
        fail_pass(w)
        w("return uperGenConsVioPending(pctxt);")
    w()


COMMON_TEXT = r'''// itsgen_json.h: steps shared by the generated JSON codecs.
// Written by the itscodec schema compiler (codegen/); do not edit.
#ifndef ITSGEN_JSON_H
#define ITSGEN_JSON_H

#include <cstring>
#include <new>
#include <type_traits>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "asn1ErrorHandler.h"
#include "asn1EventHandler.h"
#include "itsgen_per.h"
#include "rtJson.h"
#include "rtxBuffer.h"
#include "rtxCharStr.h"
#include "rtxDList.h"
#include "rtxDListBuf.h"
#include "rtxEnum.h"
#include "rtxError.h"
#include "rtxIndent.h"
#include "rtxMemory.h"
#include "rtxReadBytes.h"
#include "rtxTxtRead.h"
#include "rtxUTF8.h"

// ---- writing ----

// Literal text (a key with its quotes and colon) with a NUL kept behind it.
inline int jsonGenPut(VXCTXT* pctxt, const char* text, size_t n)
{
   int stat = rtxCheckOutputBuffer(pctxt, n + 1);
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   uint8_t* p = pctxt->buffer.data + pctxt->buffer.byteIndex;
   memcpy(p, text, n);
   p[n] = 0;
   pctxt->buffer.byteIndex += n;
   pctxt->lastChar = (uint8_t)text[n - 1];
   return 0;
}

// A NUL behind the text written last (the number writers leave none).
inline int jsonGenTerminate(VXCTXT* pctxt)
{
   int stat = rtxCheckOutputBuffer(pctxt, 1);
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   pctxt->buffer.data[pctxt->buffer.byteIndex] = 0;
   return 0;
}

// Room for n more bytes in the buffer as it is, without a stream to write
// to: the writers below then write in place, and otherwise take the
// general steps (which grow the buffer, or fail).
VX_INLINE uint8_t* jsonGenRoom(VXCTXT* pctxt, size_t n)
{
   VXRTBuffer& buf = pctxt->buffer;
   size_t need = n + (buf.bitOffset != 8 ? 1u : 0u);
   if (pctxt->pStream != 0 || buf.byteIndex + need > buf.size) return 0;
   return buf.data + buf.byteIndex;
}

// What the writers of breaks need to know of the context, found once per
// encoder: whether breaks may be written in place at all (indentation on,
// no indentation state, no stream, whole bytes) and, if so, the room kept
// beyond the text: a growing buffer of the writer's own must hold 16 bytes
// more, as its blanks are stored 16 at a time and may run past the text
// (not into it). Writing changes none of this; `pad` is huge when writing
// in place is off, so that no room test passes.
struct JsonGenOut {
   size_t pad;
};

VX_INLINE JsonGenOut jsonGenOutput(const VXCTXT* pctxt)
{
   JsonGenOut out;
   const VXRTBuffer& buf = pctxt->buffer;
   bool inPlace = pctxt->state == 0 && (pctxt->flags & VXCTXT_FLAG_NOINDENT) == 0 &&
                  pctxt->pStream == 0 && buf.bitOffset == 8;
   out.pad = inPlace ? (buf.dynamic ? 16 : 0) : SIZE_MAX / 4;
   return out;
}

// Room for a line break of `indent` blanks and `extra` bytes around it.
VX_INLINE uint8_t* jsonGenBreakRoom(VXCTXT* pctxt, const JsonGenOut& out, size_t indent,
                                    size_t extra)
{
   VXRTBuffer& buf = pctxt->buffer;
   if (buf.byteIndex + indent + extra + out.pad > buf.size) return 0;
   return buf.data + buf.byteIndex;
}

// A line break and `indent` blanks at p; returns the end.
VX_INLINE uint8_t* jsonGenBreak(const JsonGenOut& out, uint8_t* p, size_t indent)
{
   *p++ = '\n';
#if defined(__SSE2__)
   if (out.pad != 0) {
      const __m128i blanks = _mm_set1_epi8(' ');
      // The empty asm hides the loop's pattern from the optimiser, which
      // would otherwise call memset (and save registers around the call)
      // for what is mostly one or two stores.
      for (size_t k = 0; k < indent; k += 16) {
         _mm_storeu_si128(reinterpret_cast<__m128i*>(p + k), blanks);
         __asm__("" : "+r"(k));
      }
      return p + indent;
   }
#endif
   for (; indent > 0; indent--) *p++ = ' ';
   return p;
}

// "00" to "99": the number writer below makes two digits per division.
inline constexpr char kJsonGenDigitPairs[] =
   "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
   "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
   "8081828384858687888990919293949596979899";

VX_INLINE size_t jsonGenDigitCount(uint64_t v)
{
   size_t n = 1;
   for (;;) {
      if (v < 10) return n;
      if (v < 100) return n + 1;
      if (v < 1000) return n + 2;
      if (v < 10000) return n + 3;
      v /= 10000;
      n += 4;
   }
}

// The n digits of a number at p, written from the last back, two at a time.
VX_INLINE void jsonGenDigits(uint8_t* p, size_t n, uint64_t magnitude)
{
   uint8_t* q = p + n;
   while (magnitude >= 100) {
      size_t pair = (size_t)(magnitude % 100) * 2;
      magnitude /= 100;
      q -= 2;
      q[0] = (uint8_t)kJsonGenDigitPairs[pair];
      q[1] = (uint8_t)kJsonGenDigitPairs[pair + 1];
   }
   if (magnitude >= 10) {
      q[-2] = (uint8_t)kJsonGenDigitPairs[magnitude * 2];
      q[-1] = (uint8_t)kJsonGenDigitPairs[magnitude * 2 + 1];
   } else {
      q[-1] = (uint8_t)('0' + magnitude);
   }
}

// A decimal number and the NUL behind it, as the number writers and
// jsonGenTerminate write them, straight into the buffer.
VX_INLINE bool jsonGenPutDecimal(VXCTXT* pctxt, uint64_t magnitude, bool minus)
{
   size_t n = jsonGenDigitCount(magnitude);
   size_t len = n + (minus ? 1 : 0);
   uint8_t* p = jsonGenRoom(pctxt, len + 1);
   if (p == 0) return false;
   if (minus) *p++ = '-';
   jsonGenDigits(p, n, magnitude);
   p[n] = 0;
   pctxt->buffer.byteIndex += len;
   pctxt->lastChar = p[n - 1];
   return true;
}

VX_INLINE int jsonGenPutInt(VXCTXT* pctxt, int64_t value, int (*general)(VXCTXT*, int32_t))
{
   uint64_t magnitude = value < 0 ? 0u - (uint64_t)value : (uint64_t)value;
   if (VX_LIKELY(jsonGenPutDecimal(pctxt, magnitude, value < 0))) return 0;
   int stat = general(pctxt, (int32_t)value);
   if (stat != 0) return stat;
   return jsonGenTerminate(pctxt);
}

template <class T>
VX_INLINE int jsonGenPutUInt(VXCTXT* pctxt, T value, int (*general)(VXCTXT*, T))
{
   if (VX_LIKELY(jsonGenPutDecimal(pctxt, (uint64_t)value, false))) return 0;
   int stat = general(pctxt, value);
   if (stat != 0) return stat;
   return jsonGenTerminate(pctxt);
}

// An identifier of an enumeration as a string. Identifiers need no escapes,
// so in place it is the quotes around the bytes; the room asked for is what
// the general string writer reserves (every byte doubled, the quotes, a
// mark and the NUL), so that the buffer grows exactly when it would.
VX_INLINE int jsonGenPutName(VXCTXT* pctxt, const char* name, size_t n)
{
   uint8_t* p;
   if (VX_LIKELY(n != 0 && name[0] != 0 && (pctxt->flags & VXCTXT_FLAG_JSONSTR) == 0 &&
                 (p = jsonGenRoom(pctxt, 2 * n + 4)) != 0)) {
      p[0] = '"';
      memcpy(p + 1, name, n);
      p[n + 1] = '"';
      p[n + 2] = 0;
      pctxt->buffer.byteIndex += n + 2;
      return 0;
   }
   return rtJsonEncStringValue2(pctxt, name, n);
}

// `{` or `[`, one level deeper, and the break before the first member.
VX_INLINE int jsonGenOpen(VXCTXT* pctxt, const JsonGenOut& out, char bracket)
{
   size_t indent = (size_t)pctxt->indent + VXRT_INDENT_SPACES;
   uint8_t* p;
   if (VX_LIKELY((p = jsonGenBreakRoom(pctxt, out, indent, 3)) != 0)) {
      *p++ = (uint8_t)bracket;
      p = jsonGenBreak(out, p, indent);
      *p = 0;
      pctxt->buffer.byteIndex += indent + 2;
      pctxt->lastChar = (uint8_t)bracket;
      pctxt->indent = (uint16_t)indent;
      return 0;
   }
   int stat = rtJsonEncChar(pctxt, bracket);
   if (stat != 0) return stat;
   rtxIndentIncr(pctxt);
   return rtJsonEncIndent(pctxt);
}

// One level up, the break, and `}` or `]`.
VX_INLINE int jsonGenClose(VXCTXT* pctxt, const JsonGenOut& out, char bracket)
{
   rtxIndentDecr(pctxt);
   size_t indent = pctxt->indent;
   uint8_t* p;
   if (VX_LIKELY((p = jsonGenBreakRoom(pctxt, out, indent, 3)) != 0)) {
      p = jsonGenBreak(out, p, indent);
      *p++ = (uint8_t)bracket;
      *p = 0;
      pctxt->buffer.byteIndex += indent + 2;
      pctxt->lastChar = (uint8_t)bracket;
      return 0;
   }
   int stat = rtJsonEncIndent(pctxt);
   if (stat != 0) return stat;
   return rtJsonEncChar(pctxt, bracket);
}

// The comma that ends a member's line, and the break.
VX_INLINE int jsonGenNext(VXCTXT* pctxt, const JsonGenOut& out)
{
   size_t indent = pctxt->indent;
   uint8_t* p;
   if (VX_LIKELY((p = jsonGenBreakRoom(pctxt, out, indent, 3)) != 0)) {
      *p++ = ',';
      p = jsonGenBreak(out, p, indent);
      *p = 0;
      pctxt->buffer.byteIndex += indent + 2;
      pctxt->lastChar = ',';
      return 0;
   }
   int stat = rtJsonEncChar(pctxt, ',');
   if (stat != 0) return stat;
   return rtJsonEncIndent(pctxt);
}

// The comma that ends a member's line, the break and the next member's key
// in one step; otherwise the two steps one after the other.
VX_INLINE int jsonGenNextKey(VXCTXT* pctxt, const JsonGenOut& out, const char* key, size_t n)
{
   size_t indent = pctxt->indent;
   uint8_t* p;
   if (VX_LIKELY((p = jsonGenBreakRoom(pctxt, out, indent, 3 + n)) != 0)) {
      *p++ = ',';
      p = jsonGenBreak(out, p, indent);
      memcpy(p, key, n);
      p[n] = 0;
      pctxt->buffer.byteIndex += indent + 2 + n;
      pctxt->lastChar = (uint8_t)key[n - 1];
      return 0;
   }
   int stat = jsonGenNext(pctxt, out);
   if (stat != 0) return stat;
   return jsonGenPut(pctxt, key, n);
}

// `{`, one level deeper, the break and the first member's key in one step;
// otherwise the two steps one after the other.
VX_INLINE int jsonGenOpenKey(VXCTXT* pctxt, const JsonGenOut& out, const char* key, size_t n)
{
   size_t indent = (size_t)pctxt->indent + VXRT_INDENT_SPACES;
   uint8_t* p;
   if (VX_LIKELY((p = jsonGenBreakRoom(pctxt, out, indent, 3 + n)) != 0)) {
      *p++ = '{';
      p = jsonGenBreak(out, p, indent);
      memcpy(p, key, n);
      p[n] = 0;
      pctxt->buffer.byteIndex += indent + 2 + n;
      pctxt->lastChar = (uint8_t)key[n - 1];
      pctxt->indent = (uint16_t)indent;
      return 0;
   }
   int stat = jsonGenOpen(pctxt, out, '{');
   if (stat != 0) return stat;
   return jsonGenPut(pctxt, key, n);
}

// A member that is a number, with what comes before its key: `lead` (a
// comma, or the brace that opens the object) and the break to `indent`,
// the key and the number, written in one step when the buffer has room
// for all of it; false, nothing written, otherwise. The text, last byte and
// NUL are those of jsonGenNextKey or jsonGenOpenKey and the number writer.
template <class T>
VX_INLINE bool jsonGenKeyNumber(VXCTXT* pctxt, const JsonGenOut& out, char lead, size_t indent,
                                const char* key, size_t n, T value)
{
   bool minus = std::is_signed<T>::value && value < 0;
   uint64_t magnitude = minus ? 0u - (uint64_t)(int64_t)value : (uint64_t)value;
   size_t digits = jsonGenDigitCount(magnitude);
   size_t len = digits + (minus ? 1 : 0);
   uint8_t* p = jsonGenBreakRoom(pctxt, out, indent, 3 + n + len);
   if (p == 0) return false;
   *p++ = (uint8_t)lead;
   p = jsonGenBreak(out, p, indent);
   memcpy(p, key, n);
   p += n;
   if (minus) *p++ = '-';
   jsonGenDigits(p, digits, magnitude);
   p[digits] = 0;
   pctxt->buffer.byteIndex += indent + 2 + n + len;
   pctxt->lastChar = p[digits - 1];
   return true;
}

template <class T>
VX_INLINE bool jsonGenNextKeyNumber(VXCTXT* pctxt, const JsonGenOut& out, const char* key,
                                     size_t n, T value)
{
   return jsonGenKeyNumber(pctxt, out, ',', pctxt->indent, key, n, value);
}

template <class T>
VX_INLINE bool jsonGenOpenKeyNumber(VXCTXT* pctxt, const JsonGenOut& out, const char* key,
                                     size_t n, T value)
{
   size_t indent = (size_t)pctxt->indent + VXRT_INDENT_SPACES;
   if (!jsonGenKeyNumber(pctxt, out, '{', indent, key, n, value)) return false;
   pctxt->indent = (uint16_t)indent;
   return true;
}

// ---- reading ----

// Where the text is read from, found once per object or array: whether the
// bytes from the cursor to the end of the buffer are the input
// (rtxInputIsBuffer) and the memory stream whose counts a read keeps, if
// any. Reading changes neither, except from not so to so (a stream put into
// context-buffer mode), so the steps of one decoder may use what its start
// found; each step still tests that the cursor is inside the buffer.
struct JsonGenIn {
   VXRTSTREAM* mem;
   bool direct;
};

VX_INLINE JsonGenIn jsonGenInput(const VXCTXT* pctxt)
{
   JsonGenIn in;
   in.direct = rtxInputIsBuffer(pctxt, &in.mem);
   return in;
}

VX_INLINE bool jsonGenInPlace(const VXCTXT* pctxt, const JsonGenIn& in)
{
   return in.direct && pctxt->buffer.byteIndex < pctxt->buffer.size;
}

__attribute__((noinline)) inline int jsonGenMatchGeneral(VXCTXT* pctxt, char ch)
{
   int stat = rtJsonDecMatchCharGeneral(pctxt, ch);
   return stat == 0 ? 0 : VX_LOG_ERR(pctxt, stat);
}

// The character `ch` behind white space, read; a failure is recorded.
VX_INLINE int jsonGenMatchIn(VXCTXT* pctxt, const JsonGenIn& in, char ch)
{
   if (VX_LIKELY(jsonGenInPlace(pctxt, in))) {
      const VXRTBuffer& buf = pctxt->buffer;
      uint64_t i = rtxTextSkipBlanks(buf, buf.byteIndex);
      if (i < buf.size && buf.data[i] == (uint8_t)ch) {
         rtxTextCommit(pctxt, in.mem, i + 1, i + 1 - buf.byteIndex, (uint8_t)ch);
         return 0;
      }
   }
   return jsonGenMatchGeneral(pctxt, ch);
}

VX_INLINE int jsonGenMatch(VXCTXT* pctxt, char ch)
{
   return jsonGenMatchIn(pctxt, jsonGenInput(pctxt), ch);
}

// The next character that is not blank, left unread; 0 at the end, which
// a memory stream records as -1 (the read that follows adds its own).
// In place when that character is in the buffer.
__attribute__((noinline)) inline char jsonGenPeekGeneral(VXCTXT* pctxt)
{
   rtxTxtSkipWhitespace(pctxt);
   uint8_t next = 0;
   return rtxPeekByte(pctxt, &next) == 1 ? (char)next : 0;
}

VX_INLINE char jsonGenPeekIn(VXCTXT* pctxt, const JsonGenIn& in)
{
   if (VX_LIKELY(jsonGenInPlace(pctxt, in))) {
      const VXRTBuffer& buf = pctxt->buffer;
      uint64_t i = rtxTextSkipBlanks(buf, buf.byteIndex);
      if (i < buf.size) {
         uint8_t next = buf.data[i];
         // The skip reads the character and puts it back.
         rtxTextCommit(pctxt, in.mem, i, i + 1 - buf.byteIndex, next);
         return (char)next;
      }
   }
   return jsonGenPeekGeneral(pctxt);
}

VX_INLINE char jsonGenPeek(VXCTXT* pctxt)
{
   return jsonGenPeekIn(pctxt, jsonGenInput(pctxt));
}

// The start of an object or array: `open` read, then a peek at what
// follows; when that is `close`, it is read too. 1 for the empty object
// or array read whole, 0 when members follow (the cursor on the first), or
// the failure of a read (recorded). The same steps as jsonGenMatch,
// jsonGenPeek and jsonGenMatch one after the other, in place when the
// characters lie in the buffer.
__attribute__((noinline)) inline int jsonGenOpenTail(VXCTXT* pctxt, char close)
{
   if (jsonGenPeek(pctxt) != close) return 0;
   int stat = jsonGenMatch(pctxt, close);
   return stat != 0 ? stat : 1;
}

__attribute__((noinline)) inline int jsonGenOpenGeneral(VXCTXT* pctxt, char open, char close)
{
   int stat = jsonGenMatch(pctxt, open);
   if (stat != 0) return stat;
   return jsonGenOpenTail(pctxt, close);
}

VX_INLINE int jsonGenOpenIn(VXCTXT* pctxt, const JsonGenIn& in, char open, char close)
{
   if (VX_LIKELY(jsonGenInPlace(pctxt, in))) {
      const VXRTBuffer& buf = pctxt->buffer;
      uint64_t start = buf.byteIndex;
      uint64_t i = rtxTextSkipBlanks(buf, start);
      if (i < buf.size && buf.data[i] == (uint8_t)open) {
         uint64_t j = rtxTextSkipBlanks(buf, i + 1);
         if (j >= buf.size) {
            rtxTextCommit(pctxt, in.mem, i + 1, i + 1 - start, (uint8_t)open);
            return jsonGenOpenTail(pctxt, close);
         }
         uint8_t next = buf.data[j];
         // The peek reads the next character and puts it back; the match
         // of `close` reads it again.
         if (next == (uint8_t)close) {
            rtxTextCommit(pctxt, in.mem, j + 1, j + 2 - start, next);
            return 1;
         }
         rtxTextCommit(pctxt, in.mem, j, j + 1 - start, next);
         return 0;
      }
   }
   return jsonGenOpenGeneral(pctxt, open, close);
}

// After a member or element: a comma read (1), or else `close` read (0),
// or the failure of reading the one or the other (recorded). The same
// steps as a peek and then jsonGenMatch of the comma or of `close`.
__attribute__((noinline)) inline int jsonGenNextGeneral(VXCTXT* pctxt, char close)
{
   int stat;
   if (jsonGenPeek(pctxt) != ',') {
      stat = jsonGenMatch(pctxt, close);
      return stat;
   }
   stat = jsonGenMatch(pctxt, ',');
   return stat != 0 ? stat : 1;
}

VX_INLINE int jsonGenNextIn(VXCTXT* pctxt, const JsonGenIn& in, char close)
{
   if (VX_LIKELY(jsonGenInPlace(pctxt, in))) {
      const VXRTBuffer& buf = pctxt->buffer;
      uint64_t i = rtxTextSkipBlanks(buf, buf.byteIndex);
      if (i < buf.size) {
         uint8_t next = buf.data[i];
         // Read twice: by the peek and by the match.
         if (next == ',') {
            rtxTextCommit(pctxt, in.mem, i + 1, i + 2 - buf.byteIndex, next);
            return 1;
         }
         if (next == (uint8_t)close) {
            rtxTextCommit(pctxt, in.mem, i + 1, i + 2 - buf.byteIndex, next);
            return 0;
         }
      }
   }
   return jsonGenNextGeneral(pctxt, close);
}

// A number of a member, read with the input test of the decoder that
// holds it (the field's reader otherwise).
template <class T>
VX_INLINE int jsonGenReadNumber(VXCTXT* pctxt, const JsonGenIn& in, T* pvalue)
{
   return rtxTxtReadNumberAt(pctxt, jsonGenInPlace(pctxt, in), in.mem, pvalue);
}

// After a member: 1 when a comma follows (read), 0 when anything else
// does (left unread, as jsonGenPeek leaves it), or the failure of reading
// the comma. In place when the next character is in the buffer.
__attribute__((noinline)) inline int jsonGenCommaGeneral(VXCTXT* pctxt)
{
   if (jsonGenPeek(pctxt) != ',') return 0;
   int stat = jsonGenMatch(pctxt, ',');
   return stat != 0 ? stat : 1;
}

VX_INLINE int jsonGenComma(VXCTXT* pctxt)
{
   VXRTSTREAM* pMemStream;
   if (VX_LIKELY(rtxTextInPlace(pctxt, &pMemStream))) {
      const VXRTBuffer& buf = pctxt->buffer;
      uint64_t i = rtxTextSkipBlanks(buf, buf.byteIndex);
      if (i < buf.size) {
         uint8_t next = buf.data[i];
         // The peek reads the character and puts it back; the match then
         // reads it again.
         if (next != ',') {
            rtxTextCommit(pctxt, pMemStream, i, i + 1 - buf.byteIndex, next);
            return 0;
         }
         rtxTextCommit(pctxt, pMemStream, i + 1, i + 2 - buf.byteIndex, next);
         return 1;
      }
   }
   return jsonGenCommaGeneral(pctxt);
}

// A string read for a lookup (a key, an identifier): len bytes at text,
// either in the input itself or, when it had to be read byte by byte, in
// the heap string `heap`.
struct JsonGenText {
   const char* text;
   size_t len;
   char* heap;
};

// A quoted string without escapes or NUL bytes whose closing quote, and
// `follow` behind it unless that is 0, lie in the buffer: taken in place,
// the cursor left behind the last of them. Otherwise false, nothing read.
VX_INLINE bool jsonGenTextInPlace(VXCTXT* pctxt, const JsonGenIn& in, JsonGenText* out,
                                  char follow)
{
   if (!jsonGenInPlace(pctxt, in) || (pctxt->flags & VXCTXT_FLAG_JSONSTR) != 0) return false;
   const VXRTBuffer& buf = pctxt->buffer;
   uint64_t i = rtxTextSkipBlanks(buf, buf.byteIndex);
   if (i >= buf.size || buf.data[i] != '"') return false;
   uint64_t start = ++i;
   i = rtxTextFindQuote(buf, i);
   if (i >= buf.size || buf.data[i] != '"') return false;
   uint64_t end = i + 1;
   if (follow != 0) {
      end = rtxTextSkipBlanks(buf, end);
      if (end >= buf.size || buf.data[end] != (uint8_t)follow) return false;
      end++;
   }
   out->text = (const char*)buf.data + start;
   out->len = (size_t)(i - start);
   out->heap = 0;
   rtxTextCommit(pctxt, in.mem, end, end - buf.byteIndex, buf.data[end - 1]);
   return true;
}

// A string value for a lookup.
__attribute__((noinline)) inline int jsonGenReadTextGeneral(VXCTXT* pctxt, JsonGenText* out)
{
   out->heap = 0;
   int stat = rtJsonDecStringValue(pctxt, &out->heap);
   if (stat != 0) return stat;
   out->text = out->heap;
   out->len = strlen(out->heap);
   return 0;
}

VX_INLINE int jsonGenReadText(VXCTXT* pctxt, JsonGenText* out)
{
   if (VX_LIKELY(jsonGenTextInPlace(pctxt, jsonGenInput(pctxt), out, 0))) return 0;
   return jsonGenReadTextGeneral(pctxt, out);
}

// A member's key and its colon. The key is kept as written, escapes and
// all: no identifier of the schema holds a character that needs one, so
// the lookup is unchanged, and an unknown member is kept exactly as it
// stood in the text.
__attribute__((noinline)) inline int jsonGenReadKeyGeneral(VXCTXT* pctxt, JsonGenText* key)
{
   key->heap = 0;
   int stat = rtJsonDecStringRaw(pctxt, &key->heap);
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   stat = rtJsonDecMatchChar(pctxt, ':');
   if (stat != 0) {
      rtxMemFreePtr(pctxt, key->heap);
      key->heap = 0;
      return VX_LOG_ERR(pctxt, stat);
   }
   key->text = key->heap;
   key->len = strlen(key->heap);
   return 0;
}

// Where a key would start if it lies in place (white space skipped, the
// string mode off), or UINT64_MAX.
VX_INLINE uint64_t jsonGenKeyStart(VXCTXT* pctxt, const JsonGenIn& in)
{
   if (!jsonGenInPlace(pctxt, in) || (pctxt->flags & VXCTXT_FLAG_JSONSTR) != 0) return UINT64_MAX;
   return rtxTextSkipBlanks(pctxt->buffer, pctxt->buffer.byteIndex);
}

// Whether the n bytes at `at` are `lit`, a key with its quotes and colon
// and nothing to unescape: then it is read as jsonGenReadKeyIn reads it in
// place (cursor behind the colon, the same counts and last byte).
VX_INLINE bool jsonGenKeyIs(VXCTXT* pctxt, const JsonGenIn& in, uint64_t at, const char* lit,
                            size_t n)
{
   const VXRTBuffer& buf = pctxt->buffer;
   if (at > buf.size || n > buf.size - at || memcmp(buf.data + at, lit, n) != 0) return false;
   rtxTextCommit(pctxt, in.mem, at + n, at + n - buf.byteIndex, (uint8_t)':');
   return true;
}

// A member that is a number, read ahead in place in one step: at `at`
// (from jsonGenKeyStart) the key `lit` of n bytes, with its quotes and
// colon, then the number as its field's reader takes it, then white space
// and a comma or `close`. Returns the index of that comma or `close`, or 0
// when the text is not so (nothing is read; the steps one by one follow).
// *reads is what those steps count as read: the key match, the number
// reader and jsonGenNextIn add up to the bytes passed and four more; the
// peek for `null` before an optional member's value (`peeked`), which
// passes the blanks before the value for the number reader, adds one.
template <class T>
VX_INLINE uint64_t jsonGenNumberAhead(const VXCTXT* pctxt, uint64_t at, const char* lit, size_t n,
                                      char close, bool peeked, T* pvalue, uint64_t* reads)
{
   const VXRTBuffer& buf = pctxt->buffer;
   if (at > buf.size || n > buf.size - at || memcmp(buf.data + at, lit, n) != 0) return 0;
   uint64_t from = at + n;
   uint64_t end = rtxTextNumberFrom(buf, from, pvalue);
   if (end == 0) return 0;
   uint64_t k = rtxTextSkipBlanks(buf, end);
   if (k >= buf.size || (buf.data[k] != ',' && buf.data[k] != (uint8_t)close)) return 0;
   *reads = k + (peeked ? 5 : 4) - buf.byteIndex;
   return k;
}

// Takes what jsonGenNumberAhead found: the cursor behind the comma or
// `close` at k, which is the last byte read; 1 for a comma, 0 for `close`.
VX_INLINE int jsonGenAheadCommit(VXCTXT* pctxt, const JsonGenIn& in, uint64_t k, uint64_t reads)
{
   uint8_t c = pctxt->buffer.data[k];
   rtxTextCommit(pctxt, in.mem, k + 1, reads, c);
   return c == ',' ? 1 : 0;
}

VX_INLINE int jsonGenReadKeyIn(VXCTXT* pctxt, const JsonGenIn& in, JsonGenText* key)
{
   if (VX_LIKELY(jsonGenTextInPlace(pctxt, in, key, ':'))) return 0;
   return jsonGenReadKeyGeneral(pctxt, key);
}

VX_INLINE int jsonGenReadKey(VXCTXT* pctxt, JsonGenText* key)
{
   return jsonGenReadKeyIn(pctxt, jsonGenInput(pctxt), key);
}

inline void jsonGenTextRelease(VXCTXT* pctxt, JsonGenText* t)
{
   if (t->heap != 0) rtxMemFreePtr(pctxt, t->heap);
   t->heap = 0;
}

// The string as a heap string of the caller's (a copy when it was taken in
// place); null, recorded, when memory is exhausted.
inline char* jsonGenTextTake(VXCTXT* pctxt, JsonGenText* t)
{
   char* s = t->heap;
   t->heap = 0;
   if (s != 0) return s;
   s = static_cast<char*>(rtxMemAlloc(pctxt, t->len + 1));
   if (s == 0) {
      VX_LOG_ERRNEW(pctxt, RTERR_NOMEM);
      return 0;
   }
   memcpy(s, t->text, t->len);
   s[t->len] = 0;
   return s;
}

// A member not known to the type, kept whole as the text "key":value with
// its NUL counted in numocts. The key is released here.
inline int jsonGenDecMemberText(VXCTXT* pctxt, char* key, ASN1OpenType** pout)
{
   char* value = 0;
   int stat = rtJsonDecAnyType(pctxt, &value);
   if (stat != 0) {
      rtxMemFreePtr(pctxt, key);
      return VX_LOG_ERR(pctxt, stat);
   }
   char* text = rtxUTF8StrJoin(pctxt, "\"", key, "\":", value, 0);
   rtxMemFreePtr(pctxt, key);
   rtxMemFreePtr(pctxt, value);
   ASN1OpenType* item = text != 0 ? rtxMemAllocTypeZ(pctxt, ASN1OpenType) : 0;
   if (item == 0) return VX_LOG_ERR(pctxt, RTERR_NOMEM);
   item->numocts = strlen(text) + 1;
   item->data = (const uint8_t*)text;
   *pout = item;
   return 0;
}

// The same, appended to the unknown additions of a SEQUENCE.
inline int jsonGenDecExtMember(VXCTXT* pctxt, char* key, ASN1TSeqExt* ext)
{
   ASN1OpenType* item = 0;
   int stat = jsonGenDecMemberText(pctxt, key, &item);
   if (stat != 0) return stat;
   if (rtxDListAppend(pctxt, ext, item) == 0) return VX_LOG_ERR(pctxt, RTERR_NOMEM);
   return 0;
}

// The value of an open type as raw text (numocts without the NUL).
inline int jsonGenDecRawTextTo(VXCTXT* pctxt, ASN1OpenType* out)
{
   char* text = 0;
   int stat = rtJsonDecAnyType(pctxt, &text);
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   out->numocts = strlen(text);
   out->data = (const uint8_t*)text;
   return 0;
}

// The same into a new open type.
inline int jsonGenDecRawText(VXCTXT* pctxt, ASN1OpenType** pout)
{
   ASN1OpenType* item = rtxMemAllocTypeZ(pctxt, ASN1OpenType);
   if (item == 0) return VX_LOG_ERR(pctxt, RTERR_NOMEM);
   *pout = item;
   return jsonGenDecRawTextTo(pctxt, item);
}

// Reading a value from a text of its own: *saved keeps the input the
// context was on, given back by jsonGenTextEnd.
inline int jsonGenTextBegin(VXCTXT* pctxt, VXCTXT* saved, const ASN1OpenType* text)
{
   rtxCopyContext(saved, pctxt);
   pctxt->pStream = 0;
   memset(&pctxt->buffer, 0, sizeof(pctxt->buffer));
   int stat = rtxInitContextBuffer(pctxt, (uint8_t*)text->data, text->numocts);
   if (stat != 0) {
      rtxCopyContext(pctxt, saved);
      return VX_LOG_ERR(pctxt, stat);
   }
   return 0;
}

inline void jsonGenTextEnd(VXCTXT* pctxt, VXCTXT* saved)
{
   rtxCopyContext(pctxt, saved);
}

#endif
'''


def emit(model):
    """{file name: text} of the JSON back end."""
    out = {COMMON_HEADER: COMMON_TEXT}
    for mod in model.order:
        (out[mod.stem + "Json.h"], out[mod.stem + "JsonEnc.cpp"],
         out[mod.stem + "JsonDec.cpp"]) = codec_units(
            mod, "JSON", "Json", COMMON_HEADER, enc_sig, dec_sig, write_encoder, write_decoder)
    return out


# -- the JSON branch of the control classes ----------------------------------------------

class JsonBranch(control.FormatBranch):
    """`EncodeTo`/`DecodeFrom` on a JSON buffer: the message's codec; the
    decoder of a top-level type ends with the scan for -16 itself."""

    enc_kind = "JSONEncode"
    dec_kind = "JSONDecode"

    def encode(self, w, t, rec):
        arg = rec if by_text(t) else "&" + rec
        w("return asn1JsonEnc_%s(msgBuf.getCtxtPtr(), %s);" % (t.cname, arg))

    def decode(self, w, t, rec):
        w("return asn1JsonDec_%s(msgBuf.getCtxtPtr(), &%s);" % (t.cname, rec))

    def includes(self, mod):
        return [mod.stem + "Json.h"]


if not any(isinstance(b, JsonBranch) for b in control.BRANCHES):
    control.BRANCHES.append(JsonBranch())
