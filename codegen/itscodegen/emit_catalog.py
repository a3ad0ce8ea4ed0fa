"""Emitters of the whole-schema headers: `itsgen_catalog.h`, X-macro lists
of the generated records and classes by construct, so that tests can walk
every record, enumeration table and region list without naming them one by
one (nothing in the library includes it); and `itsgen_all.h`, the headers
of every module and codec, which the exports and the programs over them
include instead of naming the message modules."""
from . import layout
from .cwriter import Writer, schema_header

NAME = "itsgen_catalog.h"
ALL = "itsgen_all.h"


def xlist(w, name, entries):
    w("#define %s(X) \\" % name)
    for e in entries:
        w("   X(%s) \\" % e)
    w("   /* end */")
    w()


def emit(model):
    types = model.types
    w = Writer()
    schema_header(w, "itsgen_catalog.h", "lists of the generated records by construct (tests only)",
                  "ITSGEN_CATALOG_H")
    for m in model.order:
        w('#include "%s.h"' % m.stem)
    w()
    w("#define ITSGEN_TYPE_COUNT %d" % len(types))
    w("#define ITSGEN_CONTROL_CLASS_COUNT %d" % len(model.control_types()))
    w()
    xlist(w, "ITSGEN_FLAGGED_RECORDS",
          [t.record for t in types if t.kind == "SEQUENCE" and t.optionals])
    xlist(w, "ITSGEN_CHOICE_RECORDS", [t.record for t in types if t.kind == "CHOICE"])
    xlist(w, "ITSGEN_EXTENSIBLE_SEQUENCES",
          [t.record for t in types if t.kind == "SEQUENCE" and t.ext])
    xlist(w, "ITSGEN_SELECTOR_RECORDS",
          ["%s, %s" % (t.record, t.open_comp.cid) for t in types
           if t.kind == "SEQUENCE" and t.open_comp is not None and t.open_comp.type.rows])
    xlist(w, "ITSGEN_ENUM_TYPES", [t.record for t in types if t.kind == "ENUMERATED"])
    xlist(w, "ITSGEN_REGION_LISTS", ["Vexil_%s, %s, %s" % (t.cname, t.elem.record,
                                                           t.elem.base.open_comp.type.key_comp.cid)
                                     for t in types if t.family == "region list"])
    xlist(w, "ITSGEN_LIST_CLASSES", ["Vexil_%s, %s" % (t.cname, t.elem.record) for t in types
                                     if t.family in ("list", "region list") and layout.has_new(t.elem)])
    w("#endif")
    a = Writer()
    schema_header(a, ALL, "the records, control classes and codecs of every module", "ITSGEN_ALL_H")
    for m in model.order:
        for suffix in ("", "Per", "Json"):
            a('#include "%s%s.h"' % (m.stem, suffix))
    a()
    a("#endif")
    return {NAME: w.text(), ALL: a.text()}
