"""Names and field widths: every rule that turns a schema name or a
constraint into a C++ name or type lives here.

Identifier mapping. A C++ identifier can not hold a hyphen, so every `-` of
an ASN.1 name becomes `_` (`month-day` -> `month_day`). An ASN.1 identifier
that is a C++ keyword (`long`, `class`, `default`, `private`, ...) gets a
trailing underscore in C++ (`long_`, `class_`); the schema's own spelling
stays unchanged in every text form. The mapping is applied to components,
alternatives, enumerator constants and union members alike.
"""

# Module prefixes of generated type names; modules not listed have none.
MODULE_PREFIX = {
    "ITS-Container": "ITS_",
    "DSRC": "ETSI_DSRC_",
    "AddGrpC": "ETSI_GrpC_",
    "IVI": "IVI_",
}

# Event tags of table rows are "_" + prefix + set name + "_" + key name. The
# sets of the regional extension class form a namespace of their own.
CLASS_TAG_PREFIX = {
    "REG-EXT-ID-AND-TYPE": "ETSI_REG_",
}

# Run-time record names used by the generated code.
ENUM_ITEM_TYPE = "VXEnumItem"
NAMED_BIT_ITEM_TYPE = "VXBitMapItem"

CPP_KEYWORDS = frozenset("""
alignas alignof and and_eq asm auto bitand bitor bool break case catch char
char8_t char16_t char32_t class compl concept const consteval constexpr
constinit const_cast continue co_await co_return co_yield decltype default
delete do double dynamic_cast else enum explicit export extern false float for
friend goto if inline int long mutable namespace new noexcept not not_eq
nullptr operator or or_eq private protected public register reinterpret_cast
requires return short signed sizeof static static_assert static_cast struct
switch template this thread_local throw true try typedef typeid typename union
unsigned using virtual void volatile wchar_t while xor xor_eq
NULL TRUE FALSE
""".split())


def cid(asn1_name):
    """C++ identifier of an ASN.1 identifier (component, alternative, enumerator)."""
    s = asn1_name.replace("-", "_")
    if s in CPP_KEYWORDS:
        s += "_"
    return s


def type_cname(module_name, asn1_name):
    """Code name of a type assignment: module prefix + name, `-` -> `_`."""
    return MODULE_PREFIX.get(module_name, "") + asn1_name.replace("-", "_")


def inline_cname(parent_cname, component):
    """Name of a type written inline as a component of its parent."""
    return parent_cname + "_" + component.replace("-", "_")


def element_cname(list_cname):
    """Name of the inline element type of a list."""
    return list_cname + "_element"


def record(cname):
    return "ASN1T_" + cname


def table_tag(cls_name, set_module, set_name, key_name):
    prefix = CLASS_TAG_PREFIX.get(cls_name, MODULE_PREFIX.get(set_module, ""))
    return "_" + prefix + set_name.replace("-", "_") + "_" + key_name.replace("-", "_")


def int_ctype(lo, hi, ext):
    """The narrowest field for an INTEGER range. An extensible INTEGER is
    32 bits unsigned whatever its range; a lower bound of 0 or above gives
    an unsigned field of 8, 16, 32 or 64 bits, a negative one a signed field
    of 8, 16 or 32 bits (64 beyond)."""
    if ext:
        return "uint32_t"
    if lo is None or hi is None:
        return "int64_t" if lo is None else "uint64_t"
    if lo >= 0:
        for bits in (8, 16, 32):
            if hi < (1 << bits):
                return "uint%d_t" % bits
        return "uint64_t"
    for bits in (8, 16, 32):
        if lo >= -(1 << (bits - 1)) and hi < (1 << (bits - 1)):
            return "int%d_t" % bits
    return "int64_t"


def count_ctype(hi):
    """Count field of a bounded octet or bit string: 8 bits where it fits."""
    for bits in (8, 16, 32):
        if hi < (1 << bits):
            return "uint%d_t" % bits
    return "uint64_t"


def nbytes(bits):
    return (bits + 7) // 8
