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
from .codec_common import (alloc_record, alt_lv, bitstr_count, by_pointer, construct, fail_log, fail_pass, is_pdu,
                           element_site_args, inline_site_args, list_finish, list_init,
                           list_store_item, reserved_names, size_test)
from .cwriter import Writer, c_string, codec_units

# The run-time header of the steps every generated JSON codec shares.
COMMON_HEADER = "jsonGen.h"

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
    """A SEQUENCE component or CHOICE alternative."""
    return Site(c.type, *inline_site_args(t, c))


def elem_site(t):
    return Site(t.elem, *element_site_args(t))


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

def enc_bitstring(w, t, v):
    count = bitstr_count(w, t, v)
    if count is None:
        w("return rtJsonEncBitStrValueExt(pctxt, %s.numbits, %s.data, %d, %s.extdata);"
          % (v, v, naming.nbytes(t.size.lo), v))
    elif layout.bitstr_form(t) == "var":
        w("return rtJsonEncBitStrValue(pctxt, %s, %s.data);" % (count, v))
    else:
        w("return rtJsonEncFixedBitStrValue(pctxt, %s, %s.data);" % (count, v))


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
    dynamic = t.form == "dynamic-array"
    if dynamic:
        w("int stat = jsonGenMatch(pctxt, '[');")
        fail_pass(w)
    else:
        w("const JsonGenIn in = jsonGenInput(pctxt);")
        # 1: an empty array, read whole.
        w("int stat = jsonGenOpenIn(pctxt, in, '[', ']');")
        w("if (stat < 0) return stat;")
    list_init(w, t, v)
    with w.block("if (jsonGenPeek(pctxt) != ']')" if dynamic else "if (stat == 0)"):
        with w.block("for (;;)"):
            # No size test here: the UPER encoder refuses the count.
            list_store_item(w, t, v, lambda lv: dec_call(site, lv), "return RTERR_NOMEM;",
                            "return VX_LOG_ERR(pctxt, RTERR_SEQOVFLW);", fail_pass, "return stat;")
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
    list_finish(w, t, v)
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
        w("return rtGenConsVioPending(pctxt);")
    w()


def emit(model):
    """{file name: text} of the JSON back end."""
    out = {}
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
    rank = 1

    def encode(self, w, t, rec):
        arg = rec if by_text(t) else "&" + rec
        w("return asn1JsonEnc_%s(msgBuf.getCtxtPtr(), %s);" % (t.cname, arg))

    def decode(self, w, t, rec):
        w("return asn1JsonDec_%s(msgBuf.getCtxtPtr(), &%s);" % (t.cname, rec))

    def includes(self, mod):
        return [mod.stem + "Json.h"]


if not any(isinstance(b, JsonBranch) for b in control.BRANCHES):
    control.BRANCHES.append(JsonBranch())
