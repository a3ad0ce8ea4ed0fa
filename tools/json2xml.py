#!/usr/bin/env python3
"""Rewrites the JSON text of a message as its XML text, by the schema.

    tools/json2xml.py MSG [FILE]      JSON in (FILE or standard input), XML out

The XML is the form etsi_<MSG>_from_xml reads: the root element named
after the message, each component an element named by its identifier, an
enumerator or boolean as an empty child element, bit strings as 0/1 digits,
octet strings as hexadecimal, list items as elements named after the item's
type, a known regional value as the element of its type inside regExtValue.
The schema comes from asn1/ through the schema compiler's model, so the
JSON alone decides nothing the schema does not confirm: a key the type does
not have, or a value of the wrong kind, stops the conversion.

Used to make the XML twins of JSON test and benchmark data; the tests check
that both texts give the same UPER bytes.
"""
import glob
import json
import os
import sys
from collections import OrderedDict

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(HERE)
sys.path.insert(0, os.path.join(ROOT, "codegen"))

from itscodegen import layout, model  # noqa: E402


class ConvertError(Exception):
    pass


def escape(text):
    return text.replace("&", "&amp;").replace("<", "&lt;").replace(">", "&gt;")


def bits_of(hexdigits, nbits):
    value = bytes.fromhex(hexdigits) if hexdigits else b""
    digits = "".join(format(b, "08b") for b in value)
    if len(digits) < nbits:
        raise ConvertError("bit string of %d bits with %d digits" % (nbits, len(hexdigits)))
    return digits[:nbits]


class Converter:
    def __init__(self, m):
        self.m = m
        self.out = []

    def line(self, depth, text):
        self.out.append("   " * depth + text)

    def element(self, name, t, v, depth):
        """<name>value</name> for a value v of type t."""
        b = t.base
        k = b.kind
        if k == "INTEGER":
            if not isinstance(v, int) or isinstance(v, bool):
                raise ConvertError("%s: a number expected" % name)
            self.line(depth, "<%s>%d</%s>" % (name, v, name))
        elif k == "BOOLEAN":
            if not isinstance(v, bool):
                raise ConvertError("%s: a boolean expected" % name)
            self.wrap(name, depth, lambda: self.line(depth + 1, "<%s/>" % ("true" if v else "false")))
        elif k == "NULL":
            self.line(depth, "<%s/>" % name)
        elif k == "ENUMERATED":
            if v not in [n for n, _ in b.items]:
                raise ConvertError("%s: no enumerator %r" % (name, v))
            self.wrap(name, depth, lambda: self.line(depth + 1, "<%s/>" % v))
        elif k == "BITSTRING":
            f = layout.bitstr_form(b)
            if f in ("bytes", "bitstr32"):
                digits = bits_of(v, b.size.hi)
            else:
                digits = bits_of(v["value"], v["length"])
            self.text_element(name, digits, depth)
        elif k == "OCTETSTRING":
            self.text_element(name, v.upper(), depth)
        elif k == "STRING":
            self.text_element(name, escape(v), depth)
        elif k == "SEQUENCE":
            self.sequence(name, b, v, depth)
        elif k == "CHOICE":
            if not isinstance(v, dict) or len(v) != 1:
                raise ConvertError("%s: an object of one key expected" % name)
            (key, value), = v.items()
            comp = self.comp(b, key)
            self.wrap(name, depth, lambda: self.element(key, comp.type, value, depth + 1))
        elif k == "SEQOF":
            if not isinstance(v, list):
                raise ConvertError("%s: an array expected" % name)
            if not v:
                self.line(depth, "<%s/>" % name)
                return
            self.line(depth, "<%s>" % name)
            for item in v:
                self.element(b.item, b.elem, item, depth + 1)
            self.line(depth, "</%s>" % name)
        else:
            raise ConvertError("%s: no rule for a %s" % (name, k))

    def text_element(self, name, text, depth):
        self.line(depth, "<%s/>" % name if text == "" else "<%s>%s</%s>" % (name, text, name))

    def wrap(self, name, depth, inner):
        self.line(depth, "<%s>" % name)
        inner()
        self.line(depth, "</%s>" % name)

    def comp(self, t, key):
        for c in t.comps:
            if c.name == key:
                return c
        raise ConvertError("%s has no component %r" % (t.cname, key))

    def sequence(self, name, t, v, depth):
        if not isinstance(v, dict):
            raise ConvertError("%s: an object expected" % name)
        if not v:
            self.line(depth, "<%s/>" % name)
            return
        self.line(depth, "<%s>" % name)
        for c in t.comps:
            if c.name not in v:
                continue
            value = v[c.name]
            if c.type.kind == "OPEN":
                self.open_value(c, t, v, value, depth + 1)
            else:
                self.element(c.name, c.type, value, depth + 1)
        for key in v:
            self.comp(t, key)
        self.line(depth, "</%s>" % name)

    def open_value(self, c, t, v, value, depth):
        ot = c.type
        key = v.get(ot.key_comp.name) if ot.rows else None
        for r in ot.rows:
            if r.key == key:
                self.wrap(c.name, depth, lambda: self.element(r.type.asn1name, r.type, value, depth + 1))
                return
        raise ConvertError("%s: a value of no known type" % c.name)


def convert(m, msg, text):
    t = m.type(msg)
    conv = Converter(m)
    conv.line(0, '<?xml version="1.0" encoding="UTF-8"?>')
    conv.element(t.xml_name, t, json.loads(text, object_pairs_hook=OrderedDict), 0)
    return "\n".join(conv.out)


def main(argv):
    if len(argv) not in (2, 3):
        sys.stderr.write(__doc__)
        return 2
    text = open(argv[2], encoding="utf-8").read() if len(argv) == 3 else sys.stdin.read()
    m = model.load(sorted(glob.glob(os.path.join(ROOT, "asn1", "*.asn"))))
    try:
        sys.stdout.write(convert(m, argv[1], text))
    except ConvertError as e:
        sys.stderr.write("json2xml: %s\n" % e)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
