"""Command line: python3 -m itscodegen --out DIR [--list] SCHEMA.asn...

Writes the generated units into DIR. A file whose text is unchanged is not
rewritten, so that a schema edit recompiles only the units it touches.
With --list, prints the names of the files it would write and stops."""
import argparse
import os
import sys

from . import (emit_catalog, emit_json, emit_testsupport, emit_types, emit_uper, emit_xml,
               model)
from .errors import SchemaError

EMITTERS = [emit_types, emit_uper, emit_json, emit_xml, emit_catalog, emit_testsupport]


def generate(paths, display=None):
    m = model.load(paths, display=display)
    out = {}
    for e in EMITTERS:
        out.update(e.emit(m))
    return m, out


def write_if_changed(path, text):
    try:
        with open(path, encoding="utf-8") as f:
            if f.read() == text:
                return False
    except OSError:
        pass
    tmp = path + ".tmp"
    with open(tmp, "w", encoding="utf-8") as f:
        f.write(text)
    os.replace(tmp, path)
    return True


def main(argv=None):
    ap = argparse.ArgumentParser(prog="itscodegen")
    ap.add_argument("--out", required=True)
    ap.add_argument("--stamp")
    ap.add_argument("schemas", nargs="+")
    a = ap.parse_args(argv)
    try:
        _, files = generate(a.schemas)
    except SchemaError as e:
        print(e, file=sys.stderr)
        return 1
    os.makedirs(a.out, exist_ok=True)
    for name, text in sorted(files.items()):
        write_if_changed(os.path.join(a.out, name), text)
    if a.stamp:
        with open(a.stamp, "w") as f:
            f.write("")
    return 0


if __name__ == "__main__":
    sys.exit(main())
