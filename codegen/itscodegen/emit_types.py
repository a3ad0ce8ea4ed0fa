"""Emitter of the type layer: for each module `<stem>.h` and `<stem>.cpp`
with the records, value tables, constructors, asn1Init_/asn1Free_/new_ASN1T_
and the control classes. The row types of the value tables are the
run-time's (`rtsrc/asn1Gen.h`)."""
from . import control, layout, naming
from .cwriter import Writer, c_string, header_banner
from .errors import SchemaError

# The run-time header with the row types of the value tables.
COMMON_HEADER = "asn1Gen.h"


def guard(stem):
    return "ITSGEN_" + "".join(c if c.isalnum() else "_" for c in stem).upper() + "_H"


def sorted_types(mod):
    """Types of a module in an order where every record held by value is
    defined before its holder (source order otherwise)."""
    done, out, busy = set(), [], set()

    def visit(t):
        if id(t) in done:
            return
        if id(t) in busy:
            raise SchemaError(t.pos, "%s contains itself" % t.cname)
        busy.add(id(t))
        for d in layout.value_deps(t):
            if d.module is mod:
                visit(d)
        busy.discard(id(t))
        done.add(id(t))
        out.append(t)

    for t in mod.types:
        visit(t)
    return out


def header_deps(mod):
    """Modules whose headers this module's header includes (by-value use)."""
    out = set()
    for t in mod.types:
        for d in layout.value_deps(t):
            if d.module is not mod:
                out.add(d.module)
    return out


def check_include_cycles(model):
    state = {}

    def visit(m, path):
        if state.get(m.name) == 1:
            raise SchemaError(m.node.pos, "modules hold each other's records by value: %s"
                              % " -> ".join(x.name for x in path + [m]))
        if state.get(m.name) == 2:
            return
        state[m.name] = 1
        for d in sorted(header_deps(m), key=lambda x: x.name):
            visit(d, path + [m])
        state[m.name] = 2

    for m in model.order:
        visit(m, [])


# -- records ---------------------------------------------------------------------

def write_record(w, t):
    kind, d = layout.record_def(t)
    if kind == "typedef":
        w("typedef %s %s;" % (d, t.record))
        return
    base = " : public ASN1TPDU" if t.is_pdu else ""
    with w.block("struct %s%s" % (t.record, base), "};"):
        if t.kind == "SEQUENCE" and t.optionals:
            with w.block("struct", "} m;"):
                for c in t.optionals:
                    w("unsigned %sPresent : 1;" % c.cid)
        for ctype, name in d:
            w("%s %s;" % (ctype, name))
        if t.kind == "CHOICE":
            write_union(w, layout.union_members(t))
        if layout.has_ctor(t):
            w("%s();" % t.record)
        if t.is_pdu:
            w("~%s() override;" % t.record)


def write_union(w, members):
    with w.block("union", "} u;"):
        for ctype, name in members:
            w("%s %s;" % (ctype, name))


def write_enum_decls(w, t):
    w("extern const %s %s_ENUMTAB[%d];" % (naming.ENUM_ITEM_TYPE, t.record, len(t.items)))
    w("const size_t %s_ENUMTAB_SIZE = %d;" % (t.record, len(t.items)))
    w("const char* %s_ToString(int32_t value);" % t.record)


def write_enum_defs(w, t):
    rows = sorted(t.items, key=lambda it: it[0].encode("utf-8"))
    row_of_value = {v: i for i, (n, v) in enumerate(rows)}
    with w.block("const %s %s_ENUMTAB[%d] =" % (naming.ENUM_ITEM_TYPE, t.record, len(rows)), "};"):
        for i, (name, value) in enumerate(rows):
            w("{ %s, %d, %d, %d }," % (c_string(name), value, len(name.encode("utf-8")),
                                        row_of_value[i]))
    w()
    with w.block("const char* %s_ToString(int32_t value)" % t.record):
        w("if (value < 0 || value >= %d) return \"_UNKNOWN_\";" % len(rows))
        w("return %s_ENUMTAB[%s_ENUMTAB[value].transidx].name;" % (t.record, t.record))
    w()


def write_bits_defs(w, t):
    with w.block("const %s g_%s_NAMEDBITTAB[%d] =" % (naming.NAMED_BIT_ITEM_TYPE, t.record,
                                                       len(t.bits) + 1), "};"):
        for name, bit in sorted(t.bits, key=lambda b: b[1]):
            w("{ %s, %d, %d }," % (c_string(name), bit, len(name.encode("utf-8"))))
        w("{ 0, 0, 0 }")
    w()


# -- init and free walks ------------------------------------------------------------

def field_init(w, t, lv):
    """Statements that reset a field of type t for decoding."""
    if t.owned and layout.has_init(t):
        w("asn1Init_%s(&%s, initFlag, pctxt);" % (t.cname, lv))
    elif layout.is_string(t):
        w("%s = 0;" % lv)
    elif t.kind == "OPEN" and not t.rows:
        w("%s.numocts = 0;" % lv)
        w("%s.data = 0;" % lv)
    elif t.kind == "OPEN":
        w("%s.t = 0;" % lv)
        w("%s.u.openType = 0;" % lv)
    elif t.kind == "OCTETSTRING" and layout.octstr_form(t) == "dyn":
        w("%s.numocts = 0;" % lv)
        w("%s.data = 0;" % lv)


def free_ptr(w, lv):
    w("rtxMemFreePtr(pctxt, %s);" % lv)
    w("%s = 0;" % lv)


def field_free(w, t, lv):
    """Statements that free what a field of type t owns."""
    if layout.is_string(t):
        with w.block("if (%s != 0)" % lv):
            w("rtxMemHeapFreePtr(&pctxt->pMemHeap, (void*)%s);" % lv)
            w("%s = 0;" % lv)
    elif t.owned:
        if layout.has_free(t):
            w("asn1Free_%s(pctxt, &%s);" % (t.cname, lv))
    elif t.kind == "OPEN" and not t.rows:
        # Under fast copy the bytes belong to the input buffer.
        with w.block("if (%s.data != 0 && (pctxt->flags & VXCTXT_FLAG_FASTCOPY) == 0)" % lv):
            w("rtxMemFreePtr(pctxt, %s.data);" % lv)
            w("%s.data = 0;" % lv)
    elif t.kind == "OPEN":
        # The known record of a row; a raw value (t 0) stays for the heap's release.
        for r in t.rows:
            member = "%s.u.%s" % (lv, r.key_cid)
            with w.block("if (%s.t == %d && %s != 0)" % (lv, r.t, member)):
                if layout.has_free(r.type):
                    w("asn1Free_%s(pctxt, %s);" % (r.type.cname, member))
                free_ptr(w, member)
    elif t.kind == "OCTETSTRING" and layout.octstr_form(t) == "dyn":
        with w.block("if (%s.data != 0)" % lv):
            free_ptr(w, "%s.data" % lv)


def write_init(w, t):
    sig = "int asn1Init_%s(%s* pvalue, unsigned char initFlag, VXCTXT* pctxt)" % (t.cname, t.record)
    with w.block(sig):
        if t.kind == "ALIAS":
            w("return asn1Init_%s(pvalue, initFlag, pctxt);" % t.target.cname)
            return
        w("if (pvalue == 0) return 0;")
        k = t.kind
        if k == "SEQUENCE":
            w("(void)initFlag;")
            w("(void)pctxt;")
            if t.optionals:
                w("memset(&pvalue->m, 0, sizeof(pvalue->m));")
            for c in t.comps:
                field_init(w, c.type, "pvalue->" + c.cid)
            if t.ext:
                w("rtxDListInit(&pvalue->extElem1);")
        elif k == "CHOICE":
            if layout.has_free(t):
                with w.block("if (initFlag != 0)"):
                    w("asn1Free_%s(pctxt, pvalue);" % t.cname)
                    w("return 0;")
            else:
                w("(void)initFlag;")
                w("(void)pctxt;")
            w("pvalue->t = 0;")
            w("memset(&pvalue->u, 0, sizeof(pvalue->u));")
        elif k == "SEQOF" and t.form == "list":
            w("(void)initFlag;")
            w("(void)pctxt;")
            w("rtxDListInit(pvalue);")
        elif k == "SEQOF":
            w("(void)initFlag;")
            w("(void)pctxt;")
            w("pvalue->n = 0;")
            w("pvalue->elem = 0;")
        elif k == "BITSTRING":
            w("(void)initFlag;")
            w("(void)pctxt;")
            w("pvalue->numbits = 0;")
            w("pvalue->extdata = 0;")
        elif k == "OCTETSTRING":
            w("(void)initFlag;")
            w("(void)pctxt;")
            w("pvalue->numocts = 0;")
            w("pvalue->data = 0;")
        w("return 0;")
    w()


def write_free(w, t):
    with w.block("void asn1Free_%s(VXCTXT* pctxt, %s* pvalue)" % (t.cname, t.record)):
        if t.kind == "ALIAS":
            w("asn1Free_%s(pctxt, pvalue);" % t.target.cname)
            return
        w("if (pvalue == 0) return;")
        k = t.kind
        if k == "SEQUENCE":
            for c in t.comps:
                if not layout.field_frees(c.type):
                    continue
                lv = "pvalue->" + c.cid
                if c.optional:
                    with w.block("if (pvalue->m.%sPresent)" % c.cid):
                        field_free(w, c.type, lv)
                else:
                    field_free(w, c.type, lv)
            if t.ext:
                # An empty list is already in its cleared state.
                w("if (pvalue->extElem1.count != 0) rtxMemFreeOpenSeqExt(pctxt, &pvalue->extElem1);")
        elif k == "CHOICE":
            with w.block("switch (pvalue->t)"):
                for i, c in enumerate(t.comps):
                    if layout.choice_by_value(c.type) or c.type.base.kind == "NULL":
                        continue
                    lv = "pvalue->u." + c.cid
                    w("case %d:" % (i + 1))
                    w.indent()
                    w("if (%s == 0) return;" % lv)
                    if layout.is_string(c.type):
                        w("rtxMemHeapFreePtr(&pctxt->pMemHeap, (void*)%s);" % lv)
                        w("%s = 0;" % lv)
                    else:
                        if layout.has_free(c.type):
                            w("asn1Free_%s(pctxt, %s);" % (c.type.cname, lv))
                        free_ptr(w, lv)
                    w("break;")
                    w.dedent()
                w("default:")
                w.indent()
                if t.ext:
                    # An alternative this schema does not know, kept as an open type.
                    with w.block("if (pvalue->t > %d && pvalue->u.extElem1 != 0)" % len(t.comps)):
                        w("if ((pctxt->flags & VXCTXT_FLAG_FASTCOPY) == 0)")
                        w("   rtxMemFreePtr(pctxt, (void*)pvalue->u.extElem1->data);")
                        free_ptr(w, "pvalue->u.extElem1")
                w("break;")
                w.dedent()
        elif k == "SEQOF" and t.form == "list":
            e = t.elem
            if layout.has_free(e):
                with w.block("for (VXRTDListNode* node = pvalue->head; node != 0; node = node->next)"):
                    w("asn1Free_%s(pctxt, (%s*)node->data);" % (e.cname, e.record))
            w("rtxDListFreeAll(pctxt, pvalue);")
        elif k == "SEQOF":
            with w.block("if (pvalue->elem != 0)"):
                free_ptr(w, "pvalue->elem")
        elif k == "BITSTRING":
            with w.block("if (pvalue->extdata != 0)"):
                free_ptr(w, "pvalue->extdata")
        elif k == "OCTETSTRING":
            with w.block("if (pvalue->data != 0)"):
                free_ptr(w, "pvalue->data")
    w()


def write_ctor(w, t):
    with w.block("%s::%s()" % (t.record, t.record)):
        if t.kind == "CHOICE":
            w("t = 0;")
            w("memset(&u, 0, sizeof(u));")
            return
        if t.kind == "SEQOF":
            w("n = 0;")
            if t.form == "dynamic-array":
                w("elem = 0;")
        if t.optionals:
            w("memset(&m, 0, sizeof(m));")
        for c in t.comps:
            ct = c.type
            if layout.needs_member_init(ct) and not layout.has_ctor(ct):
                if layout.is_list(ct):
                    w("rtxDListInit(&%s);" % c.cid)
                elif ct.kind == "OPEN" and ct.rows:
                    w("%s.t = 0;" % c.cid)
                    w("%s.u.openType = 0;" % c.cid)
                elif ct.kind == "OPEN":
                    w("%s.numocts = 0;" % c.cid)
                    w("%s.data = 0;" % c.cid)
        if t.kind == "SEQUENCE" and t.ext:
            w("rtxDListInit(&extElem1);")
    w()


def write_pdu_dtor(w, t):
    with w.block("%s::~%s()" % (t.record, t.record)):
        if layout.has_free(t):
            w("VXCTXT* pctxt = getCtxtPtr();")
            w("if (pctxt != 0 && !rtxMemHeapIsEmpty(&pctxt->pMemHeap)) asn1Free_%s(pctxt, this);"
              % t.cname)
    w()


def write_new(w, t):
    with w.block("%s* new_%s(VexilType& ctl)" % (t.record, t.record)):
        w("void* mem = ctl.memAlloc(sizeof(%s));" % t.record)
        w("if (mem == 0) return 0;")
        if layout.is_struct(t):
            w("return new (mem) %s();" % t.record)
        else:
            w("return (%s*)mem;" % t.record)
    w()


# -- control classes -------------------------------------------------------------

def vexil(t):
    return "Vexil_" + t.cname


def write_class_decl(w, t):
    fam = t.family
    cls = vexil(t)
    if fam in ("message", "number", "array"):
        base = "VexilType"
    elif fam in ("list", "region list"):
        base = "VexilSeqOfList"
    else:
        base = "VexilBitStr"
    rec = "ASN1TSeqOfList" if fam in ("list", "region list") else t.record
    with w.block("class %s : public %s" % (cls, base), "};"):
        w.dedent()
        w(" protected:")
        w.indent()
        w("%s* msgData;" % rec)
        w()
        w.dedent()
        w(" public:")
        w.indent()
        w("explicit %s(%s& data);" % (cls, rec))
        w("%s(VXRTMessageBufferIF& msgBuf, %s& data);" % (cls, rec))
        if fam in ("list", "region list", "array") or t.cname == "AttributeIdList":
            w("%s(VexilType& ctl, %s& data);" % (cls, rec))
        w("~%s() override {}" % cls)
        if fam in ("message", "number"):
            w("int EncodeTo(VXRTMessageBufferIF& msgBuf) override;")
            w("int DecodeFrom(VXRTMessageBufferIF& msgBuf, unsigned char initFlag = 0) override;")
        if fam == "message":
            w("void MemFree() override;")
            for r in frame_rows(t):
                w("void setTC_%s(%s* value);" % (setter_suffix(t, r), r.type.base.record))
        if fam in ("list", "region list"):
            e = t.elem
            w("void Append(%s* elem);" % e.record)
            if layout.has_new(e):
                w("%s* NewElement();" % e.record)
                w("%s* AppendNewElement();" % e.record)
            w("void freeMemory() override;")
        if fam == "region list":
            key = region_key(t)
            w("%s* GetIE(%s regionId);" % (t.elem.record, key.type.record))
            w("int GetAllIEs(%s regionId, ASN1TSeqOfList* pList);" % key.type.record)
        w("%s& getData() { return *msgData; }" % rec)
    w()


def region_key(t):
    e = t.elem.base
    return e.open_comp.type.key_comp


def frame_rows(t):
    """Rows of a message record's table-constrained open component: those
    get setters (asn1SetTC_...)."""
    if t.kind != "SEQUENCE" or not t.is_pdu:
        return []
    c = t.open_comp
    return c.type.rows if c is not None else []


def setter_suffix(t, r):
    c = t.open_comp
    return "%s%s_%s" % (t.module.prefix, c.type.objset.replace("-", "_"), r.key_cid)


def write_setter_decls(w, t):
    for r in frame_rows(t):
        w("void asn1SetTC_%s_%s(%s* pvalue, %s* value);" % (
            t.cname, setter_suffix(t, r), t.record, r.type.base.record))


def write_setter_defs(w, t):
    c = t.open_comp
    for r in frame_rows(t):
        with w.block("void asn1SetTC_%s_%s(%s* pvalue, %s* value)" % (
                t.cname, setter_suffix(t, r), t.record, r.type.base.record)):
            w("pvalue->%s = %d;" % (c.type.key_comp.cid, r.key))
            w("pvalue->%s.t = %d;" % (c.cid, r.t))
            w("pvalue->%s.u.%s = value;" % (c.cid, r.key_cid))
        w()


def write_class_defs(w, t):
    fam = t.family
    cls = vexil(t)
    rec = "ASN1TSeqOfList" if fam in ("list", "region list") else t.record
    if fam in ("message", "number", "array"):
        base = "VexilType"
        w("%s::%s(%s& data) : VexilType(), msgData(&data) {}" % (cls, cls, rec))
        w("%s::%s(VXRTMessageBufferIF& msgBuf, %s& data) : VexilType(msgBuf), msgData(&data) {}"
          % (cls, cls, rec))
        if fam == "array" or t.cname == "AttributeIdList":
            w("%s::%s(VexilType& ctl, %s& data) : VexilType(ctl), msgData(&data) {}" % (cls, cls, rec))
        w()
    elif fam in ("list", "region list"):
        w("%s::%s(ASN1TSeqOfList& data) : VexilSeqOfList(data), msgData(&data) {}" % (cls, cls))
        w("%s::%s(VXRTMessageBufferIF& msgBuf, ASN1TSeqOfList& data)" % (cls, cls))
        w("   : VexilSeqOfList(msgBuf, data), msgData(&data) {}")
        w("%s::%s(VexilType& ctl, ASN1TSeqOfList& data) : VexilSeqOfList(ctl, data), msgData(&data) {}"
          % (cls, cls))
        w()
    else:
        args = bitstr_base_args(t)
        w("%s::%s(%s& data) : VexilBitStr(%s), msgData(&data) {}" % (cls, cls, rec, args))
        w("%s::%s(VXRTMessageBufferIF& msgBuf, %s& data)" % (cls, cls, rec))
        w("   : VexilBitStr(msgBuf, %s), msgData(&data) {}" % args)
        w()
    if fam == "message":
        init = None
        if layout.has_init(t):
            init = "asn1Init_%s(msgData, initFlag, getCtxtPtr());" % t.cname
        control.write_encode_to(w, t, cls, "(*msgData)")
        control.write_decode_from(w, t, cls, "(*msgData)", init, set_context=True)
        with w.block("void %s::MemFree()" % cls):
            if layout.has_free(t):
                w("asn1Free_%s(getCtxtPtr(), msgData);" % t.cname)
        w()
        for r in frame_rows(t):
            with w.block("void %s::setTC_%s(%s* value)" % (cls, setter_suffix(t, r), r.type.base.record)):
                w("asn1SetTC_%s_%s(msgData, value);" % (t.cname, setter_suffix(t, r)))
            w()
    elif fam == "number":
        control.write_encode_to(w, t, cls, "(*msgData)")
        control.write_decode_from(w, t, cls, "(*msgData)")
    elif fam in ("list", "region list"):
        e = t.elem
        with w.block("void %s::Append(%s* elem)" % (cls, e.record)):
            w("append((void*)elem);")
        w()
        if layout.has_new(e):
            with w.block("%s* %s::NewElement()" % (e.record, cls)):
                w("return new_%s(*this);" % e.record)
            w()
            with w.block("%s* %s::AppendNewElement()" % (e.record, cls)):
                w("%s* elem = NewElement();" % e.record)
                w("if (elem != 0) Append(elem);")
                w("return elem;")
            w()
        with w.block("void %s::freeMemory()" % cls):
            w("VXCTXT* pctxt = getCtxtPtr();")
            w("if (pctxt != 0) asn1Free_%s(pctxt, msgData);" % t.cname)
        w()
        if fam == "region list":
            kt = region_key(t).type.record
            ek = region_key(t).cid
            with w.block("%s* %s::GetIE(%s regionId)" % (e.record, cls, kt)):
                with w.block("for (VXRTDListNode* node = msgData->head; node != 0; node = node->next)"):
                    w("%s* elem = (%s*)node->data;" % (e.record, e.record))
                    w("if (elem != 0 && elem->%s == regionId) return elem;" % ek)
                w("return 0;")
            w()
            with w.block("int %s::GetAllIEs(%s regionId, ASN1TSeqOfList* pList)" % (cls, kt)):
                with w.block("for (VXRTDListNode* node = msgData->head; node != 0; node = node->next)"):
                    w("%s* elem = (%s*)node->data;" % (e.record, e.record))
                    w("if (elem == 0 || elem->%s != regionId) continue;" % ek)
                    w("if (rtxDListAppend(getCtxtPtr(), pList, elem) == 0)")
                    w("   return rtxErrSetData(getCtxtPtr(), RTERR_NOMEM, VX_MODULE, __LINE__);")
                w("return 0;")
            w()


def bitstr_base_args(t):
    """Arguments of the VexilBitStr constructor: a fixed string gives the
    bytes and the capacity in bits rounded up to whole bytes; a variable one
    also the count and the extension pointer."""
    b = t.base
    f = layout.bitstr_form(b)
    if f in ("bytes", "bitstr32"):
        return "data.data, %d" % (naming.nbytes(b.size.hi) * 8)
    if f == "var":
        return "data.data, &data.numbits, %d, 0" % (naming.nbytes(b.size.hi) * 8)
    return "data.data, &data.numbits, %d, &data.extdata" % (naming.nbytes(b.size.lo) * 8)


# -- units -----------------------------------------------------------------------------

def emit_header(model, mod):
    w = Writer()
    for line in header_banner(mod.stem, "records, value tables and control classes").splitlines():
        w(line)
    g = guard(mod.stem)
    w("#ifndef " + g)
    w("#define " + g)
    w()
    w("#include <cstring>")
    w()
    w('#include "asn1type.h"')
    w('#include "rtxDList.h"')
    w('#include "rtxMemory.h"')
    w('#include "VexilType.h"')
    w('#include "VexilSeqOfList.h"')
    w('#include "VexilBitStr.h"')
    w('#include "%s"' % COMMON_HEADER)
    for d in sorted(header_deps(mod), key=lambda m: m.stem):
        w('#include "%s.h"' % d.stem)
    w()
    fwd = set()
    for t in mod.types:
        for p in layout.ptr_deps(t):
            fwd.add(p.record)
    for t in mod.types:
        if layout.is_struct(t):
            fwd.add(t.record)
    for name in sorted(fwd):
        w("struct %s;" % name)
    w()
    for t in sorted_types(mod):
        w("// %s" % describe(t))
        write_record(w, t)
        if t.kind == "ENUMERATED":
            write_enum_decls(w, t)
        if t.kind == "BITSTRING" and t.bits:
            w("extern const %s g_%s_NAMEDBITTAB[%d];" % (naming.NAMED_BIT_ITEM_TYPE, t.record,
                                                         len(t.bits) + 1))
        if layout.has_init(t):
            w("int asn1Init_%s(%s* pvalue, unsigned char initFlag, VXCTXT* pctxt);" % (t.cname, t.record))
        if layout.has_free(t):
            w("void asn1Free_%s(VXCTXT* pctxt, %s* pvalue);" % (t.cname, t.record))
        if layout.has_new(t):
            w("%s* new_%s(VexilType& ctl);" % (t.record, t.record))
        write_setter_decls(w, t)
        w()
    for t in mod.types:
        if t.family:
            write_class_decl(w, t)
    w("#endif")
    return w.text()


def describe(t):
    k = t.kind
    if k == "ALIAS":
        return "%s: same as %s" % (t.cname, t.target.cname)
    if k == "SEQOF":
        return "%s: SEQUENCE OF %s, %s" % (t.cname, t.elem.cname or t.elem.kind, t.form)
    if k == "INTEGER":
        return "%s: INTEGER (%s..%s%s)" % (t.cname, t.lo, t.hi, ", ..." if t.ext else "")
    if t.region_keyed:
        return "%s: region-keyed SEQUENCE" % t.cname
    return "%s: %s%s" % (t.cname, k, ", extensible" if t.ext else "")


def emit_source(model, mod):
    w = Writer()
    for line in header_banner(mod.stem, "constructors, init/free walks, tables and control classes").splitlines():
        w(line)
    w('#include "%s.h"' % mod.stem)
    w()
    w("#include <new>")
    w()
    w('#include "rtxError.h"')
    for inc in control.source_includes(mod):
        w('#include "%s"' % inc)
    for d in sorted(mod.deps - header_deps(mod) - {mod}, key=lambda m: m.stem):
        w('#include "%s.h"' % d.stem)
    w()
    for t in sorted_types(mod):
        if t.kind == "ENUMERATED":
            write_enum_defs(w, t)
        if t.kind == "BITSTRING" and t.bits:
            write_bits_defs(w, t)
        if layout.has_ctor(t):
            write_ctor(w, t)
        if t.is_pdu:
            write_pdu_dtor(w, t)
        if layout.has_init(t):
            write_init(w, t)
        if layout.has_free(t):
            write_free(w, t)
        if layout.has_new(t):
            write_new(w, t)
        write_setter_defs(w, t)
    for t in mod.types:
        if t.family:
            write_class_defs(w, t)
    return w.text()


def emit(model):
    """{file name: text} of the type layer."""
    check_include_cycles(model)
    out = {}
    for mod in model.order:
        out[mod.stem + ".h"] = emit_header(model, mod)
        out[mod.stem + ".cpp"] = emit_source(model, mod)
    return out
