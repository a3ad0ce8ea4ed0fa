#!/usr/bin/env python3
"""Instructions per call of one message benchmark, split by where they go.

    tools/costsplit.py BUILD_DIR BENCH [BENCH ...]

BENCH is a benchmark of bench_messages, e.g. UperDecode/MAPEM or
UperToJson/CAM, UperToXml/CAM or XmlToUper/DENM, or of bench_xml, e.g. XmlWrite/doc,
XmlReadElems/doc or
JsonRead/doc (these also give the instructions per byte of text). The
benchmark runs under callgrind, counting only inside the function that
makes one call (decodeOnce/encodeOnce for the UPER benchmarks, the export
for the JSON ones). The exclusive counts of every function are then summed
by group and divided by the number of calls.
Instruction counts do not depend on machine load, so this can run while
the machine is busy. Needs valgrind (callgrind_annotate comes with it).
COSTSPLIT_OTHER=1 also lists the largest functions of no group.
"""
import os
import re
import subprocess
import sys
import tempfile

# Groups in order of test: the first matching pattern names the group.
GROUPS = [
    ("record free walk", r"^asn1Free_|^rtxDListFreeAll|^ASN1T_\w+::~ASN1T_"),
    ("heap (allocate, free)", r"^rtxMem|^allocGeneral|^allocNewBlock|^releaseRaw|^releaseEmptyBlock"
                              r"|^zeroFreed|^checkPtr|^growElem|^moveTo|^shrinkElem"),
    ("C library allocator", r"^malloc|^free|^cfree|^realloc|^_int_|^unlink_chunk|^malloc_consolidate"
                            r"|^operator new|^operator delete|^tcache|^sysmalloc|^systrim|^__libc_"),
    ("memset/memcpy", r"^__mem|^memset|^memcpy|^memmove"),
    ("contexts, buffers, errors", r"Context|^rtxInitContext|^rtxFreeContext|^rtCtxt|MessageBuffer"
                                  r"|EncodeBuffer|DecodeBuffer|^rtxErr|^rtErr|^rtxCtxt|^rtxStack|^rtxSList|^rand|^random|Stream|^Vexil|^VexilType"
                                  r"|^ASN1TPDU|^etsi_|^to_text|^from_text|^int to_text|^int from_text"),
    ("UPER codecs", r"^asn1P[DE]_|^uper(Trace)?P[DE]_|^p[deu]_|^rtxDec|^rtxEnc"),
    ("JSON codecs", r"^asn1Json|^rtJson|^jsonGen|^VXJSON|^rtxTxt|^rtxHex|^rtxCharStr"),
    ("XML codecs", r"^XmlDec_|^XmlEnc_|^XmlFast_|^xmlDec_|^xmlEnc_|^xmlFast|^xmlGen|^rtAsn1Xml"),
    ("XML writer and reader", r"^rtXml|^xml|^VXXML|^\(anonymous namespace\)::(process|peek|read|"
                              r"charsReference|deliver|setData|endElement|runDocument|preRead|"
                              r"makeRoom|putDecimal|escapeText|encValueElement|encNumberValue|"
                              r"tagPrefix|closeLevel|forEachNSAttr|lookupPrefix|findLink)"),
]

TOGGLE = {
    "UperDecode": "*decodeOnce<ASN1T_{m},*",
    "UperEncode": "*encodeOnce<ASN1T_{m},*",
    "UperToJson": "etsi_{m}_to_json",
    "JsonToUper": "etsi_{m}_from_json",
    "UperToXml": "etsi_{m}_to_xml",
    "XmlToUper": "etsi_{m}_from_xml",
    "XmlWrite": "*xmlWriteOnce*",
    "XmlWriteGeneral": "*xmlWriteGeneralOnce*",
    "JsonWrite": "*jsonWriteOnce*",
    "XmlRead": "*xmlReadOnce*",
    "XmlReadBuffered": "*xmlReadOnce*",
    "XmlReadElems": "*xmlReadElemsOnce*",
    "JsonRead": "*jsonReadOnce*",
}

# Benchmarks of their own executable; the others are bench_messages'.
EXECUTABLE = {kind: "bench_xml" for kind in
              ("XmlWrite", "XmlWriteGeneral", "JsonWrite", "XmlRead", "XmlReadBuffered", "XmlReadElems",
               "JsonRead")}


def calls_of(out_file, pattern):
    """Calls of the functions whose names match the toggle pattern."""
    rx = re.compile("^" + re.escape(pattern).replace(r"\*", ".*") + "$")
    names = {}
    wanted = set()
    total = 0
    current_callee = None
    with open(out_file) as f:
        for line in f:
            m = re.match(r"^c?fn=\((\d+)\)(?: (.*))?$", line.rstrip("\n"))
            if m:
                fid, name = m.group(1), m.group(2)
                if name is not None:
                    names[fid] = name
                    if rx.match(name):
                        wanted.add(fid)
                current_callee = fid if line.startswith("cfn=") else None
                continue
            if line.startswith("calls=") and current_callee in wanted:
                total += int(line.split("=")[1].split()[0])
                current_callee = None
    return total


def split(build, bench):
    kind, msg = bench.split("/")
    toggle = TOGGLE[kind].format(m=msg)
    exe = os.path.join(build, "bench", EXECUTABLE.get(kind, "bench_messages"))
    with tempfile.TemporaryDirectory() as tmp:
        out = os.path.join(tmp, "cg.out")
        run = subprocess.run(["valgrind", "--tool=callgrind", "--callgrind-out-file=" + out,
                              "--toggle-collect=" + toggle, exe, "--benchmark_filter=^" + bench + "$",
                              "--benchmark_min_time=0.5"],
                             stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, check=True)
        n = calls_of(out, toggle)
        text = subprocess.run(["callgrind_annotate", "--threshold=100", out],
                              capture_output=True, text=True, check=True).stdout
    if n == 0:
        sys.exit("costsplit: no call of %s counted" % toggle)
    sums = {name: 0 for name, _ in GROUPS}
    sums["other"] = 0
    others = []
    total = 0
    for line in text.splitlines():
        m = re.match(r"^\s*([\d,]+) \([ \d.]+%\)\s+\S*?:(.*?)(?: \[.*\])?$", line)
        if not m or "PROGRAM TOTALS" in line:
            continue
        count = int(m.group(1).replace(",", ""))
        func = m.group(2).strip()
        total += count
        group = classify(func)
        sums[group] += count
        if group == "other":
            others.append((count, func))
    print("%s: %d calls, %d instructions per call" % (bench, n, total // n))
    size = re.search(r"bytes=([\d.]+)(k?)", run.stdout)
    if size:
        nbytes = float(size.group(1)) * (1000 if size.group(2) else 1)
        print("  %.2f instructions per byte of text" % (total / n / nbytes))
    for name, count in sums.items():
        if count:
            print("  %-28s %9d  %5.1f%%" % (name, count // n, 100.0 * count / total))
    if os.environ.get("COSTSPLIT_OTHER"):
        for count, func in sorted(others, reverse=True)[:20]:
            print("    other: %7d  %s" % (count // n, func[:100]))


def classify(func):
    for name, pattern in GROUPS:
        if re.search(pattern, func):
            return name
    return "other"


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    for bench in sys.argv[2:]:
        split(sys.argv[1], bench)


if __name__ == "__main__":
    main()
