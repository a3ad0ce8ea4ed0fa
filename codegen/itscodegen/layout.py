"""Record layout: how each kind of type is held in C++. Every emitter asks
these functions rather than deciding a field form itself, so the rules of
the record table stand in one place:

  INTEGER          narrowest integer field (naming.int_ctype)
  ENUMERATED       uint32_t, the enumerator's number
  BOOLEAN          uint8_t
  NULL             nothing (an empty record; no union member in a CHOICE)
  character string const char*, NUL-terminated, on the heap
  BIT STRING       fixed size with named bits, or above 32 bits: the bytes
                   alone; fixed size without named bits: ASN1TBitStr32;
                   SIZE(lo..hi): numbits then the bytes; SIZE(n, ...):
                   numbits, the root bytes and extdata
  OCTET STRING     fixed: the bytes; SIZE(lo..hi): numocts then hi bytes;
                   unbounded: ASN1TDynOctStr64
  SEQUENCE         m (one-bit flags in a 32-bit word), components by value,
                   extElem1 if extensible
  CHOICE           t (from 1) and the union u: plain kinds by value, all
                   others by pointer; extElem1 (an ASN1OpenType*) if
                   extensible
  SEQUENCE OF      list: ASN1TSeqOfList; inline array: 8-bit n and one slot
                   more than the upper bound; dynamic array: 64-bit n and a
                   heap pointer elem
  open type        without a known row: ASN1OpenType; with rows: selector t
                   (16 bits; 0 raw, i for row i) and a pointer union u
"""
from . import naming

PLAIN_CHOICE_KINDS = ("INTEGER", "ENUMERATED", "BOOLEAN", "NULL")


def bitstr_form(t):
    """'bytes', 'bitstr32', 'var' or 'ext' for a BIT STRING type."""
    s = t.size
    if s.ext:
        return "ext"
    if s.lo == s.hi:
        if t.bits or s.hi > 32:
            return "bytes"
        return "bitstr32"
    return "var"


def octstr_form(t):
    s = t.size
    if s is None or s.hi is None or s.ext:
        return "dyn"
    if s.lo == s.hi:
        return "bytes"
    return "var"


def is_fixed_string(t):
    b = t.base
    if b.kind == "BITSTRING":
        return bitstr_form(b) in ("bytes", "bitstr32")
    if b.kind == "OCTETSTRING":
        return octstr_form(b) == "bytes"
    return False


def choice_by_value(alt):
    """Whether a CHOICE holds the alternative in the union by value."""
    b = alt.base
    return b.kind in PLAIN_CHOICE_KINDS or is_fixed_string(b)


def is_string(t):
    return t.base.kind == "STRING"


def is_list(t):
    b = t.base
    return b.kind == "SEQOF" and b.form == "list"


def open_rows(t):
    return t.kind == "OPEN" and bool(t.rows)


def record_def(t):
    """('typedef', ctype) or ('struct', [(ctype, member)]) for type t."""
    k = t.kind
    if k == "ALIAS":
        return "typedef", t.target.record
    if k == "INTEGER":
        return "typedef", naming.int_ctype(t.lo, t.hi, t.ext)
    if k == "ENUMERATED":
        return "typedef", "uint32_t"
    if k == "BOOLEAN":
        return "typedef", "uint8_t"
    if k == "NULL":
        return "struct", []
    if k == "STRING":
        return "typedef", "const char*"
    if k == "BITSTRING":
        f = bitstr_form(t)
        n = naming.nbytes(t.size.lo if f == "ext" else t.size.hi)
        if f == "bitstr32":
            return "typedef", "ASN1TBitStr32"
        if f == "bytes":
            return "struct", [("uint8_t", "data[%d]" % n)]
        if f == "var":
            return "struct", [(naming.count_ctype(t.size.hi), "numbits"), ("uint8_t", "data[%d]" % n)]
        return "struct", [("uint8_t", "numbits"), ("uint8_t", "data[%d]" % n), ("uint8_t*", "extdata")]
    if k == "OCTETSTRING":
        f = octstr_form(t)
        if f == "dyn":
            return "typedef", "ASN1TDynOctStr64"
        if f == "bytes":
            return "struct", [("uint8_t", "data[%d]" % t.size.hi)]
        return "struct", [(naming.count_ctype(t.size.hi), "numocts"), ("uint8_t", "data[%d]" % t.size.hi)]
    if k == "SEQUENCE":
        mem = []
        for c in t.comps:
            if c.type.base.kind == "NULL" and not c.type.owned:
                continue
            mem.append((field_ctype(c.type), c.cid))
        if t.ext:
            mem.append(("ASN1TSeqExt", "extElem1"))
        return "struct", mem
    if k == "CHOICE":
        return "struct", [("uint32_t", "t")]
    if k == "SEQOF":
        et = field_ctype(t.elem)
        if t.form == "list":
            return "typedef", "ASN1TSeqOfList"
        if t.form == "inline-array":
            return "struct", [("uint8_t", "n"), (et, "elem[%d]" % (t.size.hi + 1))]
        return "struct", [("uint64_t", "n"), (et + "*", "elem")]
    if k == "OPEN":
        if not t.rows:
            return "typedef", "ASN1OpenType"
        return "struct", [("uint16_t", "t")]
    raise AssertionError(k)


def union_members(t):
    """Members of the union u of a CHOICE or of an open type with rows."""
    out = []
    if t.kind == "CHOICE":
        for c in t.comps:
            if c.type.base.kind == "NULL":
                continue
            out.append((field_ctype(c.type) if choice_by_value(c.type) else ptr_ctype(c.type), c.cid))
        if t.ext:
            out.append(("ASN1OpenType*", "extElem1"))
    else:
        out.append(("ASN1OpenType*", "openType"))
        for r in t.rows:
            out.append((ptr_ctype(r.type), r.key_cid))
    return out


def field_ctype(t):
    """C type of a field (component, array element) holding type t."""
    if t.owned:
        return t.record
    kind, d = record_def(t)
    if kind == "typedef":
        return d
    mem = "".join(" %s %s;" % m for m in d)
    if t.kind == "OPEN":
        mem += " union {%s } u;" % "".join(" %s %s;" % m for m in union_members(t))
    return "struct {%s }" % mem


def ptr_ctype(t):
    """C type of a union member that holds type t through a pointer."""
    b = t.base
    if b.kind == "STRING":
        return "const char*"
    if b.owned and record_def(b)[0] == "struct":
        return b.record + "*"
    if b.owned:
        # a typedef'd record (list holder, unbounded octets): its base name,
        # which needs no forward declaration
        return record_def(b)[1] + "*"
    return field_ctype(b) + "*"


def is_struct(t):
    return t.owned and record_def(t)[0] == "struct"


def needs_member_init(t):
    """A field of type t that its parent's constructor must set up because
    its own record has no constructor (lists, open types with rows)."""
    return is_list(t) or open_rows(t) or (t.kind == "OPEN")


def has_ctor(t):
    if t.kind == "ALIAS":
        return False
    if t.kind == "SEQUENCE":
        return bool(t.optionals) or t.ext or t.is_pdu or \
            any(needs_member_init(c.type) and not has_ctor(c.type) for c in t.comps)
    if t.kind == "CHOICE":
        return True
    return t.is_pdu


def has_init(t):
    """Whether asn1Init_T exists: records holding flags, lists or pointers."""
    b = t
    if b.kind == "ALIAS":
        return has_init(b.target)
    k = b.kind
    if k == "SEQUENCE":
        return bool(b.optionals) or b.ext or any(field_init_needed(c.type) for c in b.comps)
    if k == "CHOICE":
        return True
    if k == "SEQOF":
        return b.form in ("list", "dynamic-array")
    if k == "BITSTRING":
        return bitstr_form(b) == "ext"
    if k == "OCTETSTRING":
        return octstr_form(b) == "dyn"
    return False


def field_init_needed(t):
    if t.owned:
        return has_init(t) or is_string(t)
    return t.kind in ("STRING", "OPEN") or (t.kind == "OCTETSTRING" and octstr_form(t) == "dyn")


def has_free(t):
    """Whether asn1Free_T exists: records owning heap memory below them."""
    if t.kind == "ALIAS":
        return has_free(t.target)
    k = t.kind
    if k == "SEQUENCE":
        return t.ext or any(field_frees(c.type) for c in t.comps)
    if k == "CHOICE":
        return t.ext or any(not choice_by_value(c.type) and c.type.base.kind != "NULL" for c in t.comps)
    if k == "SEQOF":
        return t.form in ("list", "dynamic-array")
    if k == "BITSTRING":
        return bitstr_form(t) == "ext"
    if k == "OCTETSTRING":
        return octstr_form(t) == "dyn"
    return False


def field_frees(t):
    if t.owned:
        return has_free(t) or is_string(t)
    return t.kind in ("STRING", "OPEN") or (t.kind == "OCTETSTRING" and octstr_form(t) == "dyn")


def has_new(t):
    """new_ASN1T_T exists for every type but lists and character strings."""
    return t.owned and not is_list(t) and not is_string(t)


def value_deps(t):
    """Owned types whose complete record t needs (held by value)."""
    out = []

    def add(x):
        if x.owned:
            out.append(x)
        elif x.kind == "OPEN":
            pass
        else:
            for d in value_deps(x):
                out.append(d)

    if t.kind == "ALIAS":
        add(t.target)
    elif t.kind == "SEQUENCE":
        for c in t.comps:
            add(c.type)
    elif t.kind == "CHOICE":
        for c in t.comps:
            if choice_by_value(c.type):
                add(c.type)
            elif is_string(c.type) and c.type.owned:
                add(c.type)
    elif t.kind == "SEQOF" and t.form != "list":
        add(t.elem)
    return out


def ptr_deps(t):
    """Struct records that t reaches through pointers only."""
    out = []
    if t.kind == "CHOICE":
        for c in t.comps:
            if not choice_by_value(c.type) and c.type.base.kind != "NULL" and is_struct(c.type.base):
                out.append(c.type.base)
    if t.kind == "SEQOF" and t.form == "dynamic-array" and is_struct(t.elem):
        out.append(t.elem)
    for c in t.comps if t.kind == "SEQUENCE" else []:
        if c.type.kind == "OPEN":
            out += [r.type.base for r in c.type.rows if is_struct(r.type.base)]
        elif not c.type.owned:
            out += ptr_deps(c.type)
    return out
