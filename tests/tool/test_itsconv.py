#!/usr/bin/env python3
"""The converter run as a process, the way a user runs it.

    test_itsconv.py ITSCONV VERSION

Sample messages come from tests/data and bench/data.
"""
import base64
import json
import os
import re
import subprocess
import sys
import tempfile
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
TESTS = os.path.join(ROOT, "tests", "data")
BENCH = os.path.join(ROOT, "bench", "data")
CONV = VERSION = None

# Each message: its header messageID and its JSON/XML sample (without extension).
SAMPLES = {
    "CAM": (2, os.path.join(TESTS, "cam_containers")),
    "DENM": (1, os.path.join(BENCH, "denm")),
    "SPATEM": (4, os.path.join(TESTS, "spatem_sample")),
    "MAPEM": (5, os.path.join(BENCH, "mapem")),
    "IVIM": (6, os.path.join(BENCH, "ivim")),
    "SREM": (9, os.path.join(TESTS, "srem_sample")),
    "SSEM": (10, os.path.join(TESTS, "ssem_sample")),
}
CAPTURED = os.path.join(TESTS, "cam_captured_protocol1.uper.hex")
MALFORMED = os.path.join(TESTS, "cam_malformed_yawrate.uper.hex")


def run(*args, stdin=b"", env=None):
    if isinstance(stdin, str):
        stdin = stdin.encode()
    p = subprocess.run([CONV, *args], input=stdin, capture_output=True, timeout=300,
                       env=dict(os.environ, **(env or {})))
    return p.returncode, p.stdout.decode("utf-8", "replace"), p.stderr.decode("utf-8", "replace")


def read(path, mode="r"):
    with open(path, mode) as f:
        return f.read()


def hex_of(msg):
    """The UPER hex of a message's JSON sample."""
    rc, out, err = run(msg, "from-json", SAMPLES[msg][1] + ".json")
    assert rc == 0, err
    return out.strip()


def without_strings(text):
    return re.sub(r'"(?:[^"\\]|\\.)*"', '""', text)


class ConvTest(unittest.TestCase):
    def tmp(self, content, suffix=""):
        f = tempfile.NamedTemporaryFile(delete=False, suffix=suffix)
        f.write(content.encode() if isinstance(content, str) else content)
        f.close()
        self.addCleanup(os.unlink, f.name)
        return f.name


class InputForms(ConvTest):
    """Every way of writing the UPER side gives the same conversion."""

    @classmethod
    def setUpClass(cls):
        cls.hex = read(CAPTURED).strip()
        cls.bytes = bytes.fromhex(cls.hex)
        rc, cls.json, err = run("CAM", "to-json", CAPTURED)
        assert rc == 0 and err == "", err

    def test_reference_is_the_captured_cam(self):
        self.assertEqual(json.loads(self.json)["header"]["messageID"], 2)
        rc, out, _ = run("CAM", "from-json", stdin=self.json)
        self.assertEqual((rc, out.strip()), (0, self.hex))

    def test_hex_spellings(self):
        pairs = [self.hex[i:i + 2] for i in range(0, len(self.hex), 2)]
        spellings = {
            "0x prefixes": " ".join("0x" + p for p in pairs),
            "one 0X prefix, upper case": "0X" + self.hex.upper(),
            "colons": ":".join(pairs),
            "dashes, mixed case": "-".join(p.upper() if i % 2 else p for i, p in enumerate(pairs)),
            "blanks and tabs, CRLF": "\t".join(" ".join(pairs[i:i + 4]) for i in range(0, len(pairs), 4)) + "\r\n",
            "C array": ", ".join("0x" + p for p in pairs) + "\n",
        }
        for name, text in spellings.items():
            with self.subTest(name):
                rc, out, err = run("CAM", "to-json", stdin=text)
                self.assertEqual((rc, err), (0, ""))
                self.assertEqual(out, self.json)

    def test_binary_and_base64(self):
        b64 = base64.b64encode(self.bytes).decode()
        url = base64.urlsafe_b64encode(self.bytes).decode().rstrip("=")
        for name, args, data in [
            ("raw bytes recognised", [], self.bytes),
            ("--binary", ["--binary"], self.bytes),
            ("--base64", ["--base64"], b64 + "\n"),
            ("--base64 URL alphabet, no padding", ["--base64"], url),
        ]:
            with self.subTest(name):
                rc, out, err = run("CAM", "to-json", *args, stdin=data)
                self.assertEqual((rc, err, out), (0, "", self.json))

    def test_wrapped_dump_with_whole(self):
        wrapped = "\n".join(self.hex[i:i + 30] for i in range(0, len(self.hex), 30)) + "\n"
        rc, out, err = run("CAM", "to-json", "--whole", stdin=wrapped)
        self.assertEqual((rc, err, out), (0, "", self.json))

    def test_uper_written_as_hex_base64_or_bytes(self):
        cam = SAMPLES["CAM"][1] + ".json"
        wire = bytes.fromhex(hex_of("CAM"))
        rc, out, _ = run("CAM", "from-json", "--base64", cam)
        self.assertEqual(base64.b64decode(out.strip()), wire)
        p = subprocess.run([CONV, "CAM", "from-json", "--binary", cam], capture_output=True)
        self.assertEqual(p.stdout, wire)
        # Raw bytes back in.
        rc, out, _ = run("CAM", "to-xml", stdin=wire)
        rc2, back, _ = run("CAM", "from-xml", stdin=out)
        self.assertEqual((rc, rc2, back.strip()), (0, 0, wire.hex()))


class Auto(ConvTest):
    """`auto` picks each message by its header, its member or its root."""

    def test_seven_messages_both_ways(self):
        hexes = {m: hex_of(m) for m in SAMPLES}
        for msg, (mid, base) in SAMPLES.items():
            with self.subTest(msg):
                for form in ("json", "xml"):
                    rc, out, err = run("auto", "from-" + form, base + "." + form)
                    self.assertEqual((rc, err, out.strip()), (0, "", hexes[msg]))
                rc, out, err = run("auto", "to-json", stdin=hexes[msg])
                self.assertEqual((rc, err), (0, ""))
                self.assertEqual(json.loads(out)["header"]["messageID"], mid)
                rc, out, err = run("auto", "to-xml", stdin=hexes[msg])
                self.assertEqual((rc, err), (0, ""))
                self.assertRegex(out, r"^<\?xml[^>]*>\s*<%s>" % msg)

    def test_mixed_batch_round_trip(self):
        # All seven as one hex batch to XML documents, and back.
        hexes = [hex_of(m) for m in SAMPLES]
        rc, xml, err = run("auto", "to-xml", stdin="\n".join(hexes) + "\n")
        self.assertEqual((rc, err), (0, "itsconv: 7 converted, 0 failed\n"))
        self.assertEqual(xml.count("<?xml"), 7)
        rc, back, _ = run("auto", "from-xml", stdin=xml)
        self.assertEqual((rc, back.split()), (0, hexes))
        # The JSON samples as one sequence of objects.
        text = "".join(read(base + ".json") for _, base in SAMPLES.values())
        rc, back, _ = run("auto", "from-json", stdin=text)
        self.assertEqual((rc, back.split()), (0, hexes))

    def test_text_without_messageID(self):
        # The member names the message, then the XML root does.
        cam_json = re.sub(r'"messageID"\s*:\s*2\s*,', "", read(SAMPLES["CAM"][1] + ".json"))
        rc, _, err = run("auto", "from-json", stdin=cam_json)
        self.assertEqual(rc, 1)
        self.assertIn("itsconv: stdin:1: CAM from-json failed", err)
        xml = read(SAMPLES["CAM"][1] + ".xml").replace("<messageID>2</messageID>", "")
        xml = xml.replace("<cam>", "<kam>").replace("</cam>", "</kam>")
        rc, _, err = run("auto", "from-xml", stdin=xml)
        self.assertEqual(rc, 1)
        self.assertIn("itsconv: stdin:1: CAM from-xml failed", err)
        rc, _, err = run("auto", "from-json", stdin='{"header":{"messageID":3},"x":{}}')
        self.assertEqual(rc, 1)
        self.assertIn("stdin:1: cannot tell the message: the header's messageID 3 names none", err)

    def test_uper_header_that_names_nothing(self):
        rc, out, err = run("auto", "to-json", stdin="0107000000\n02\n")
        self.assertEqual((rc, out), (1, ""))
        self.assertIn("stdin:1: the header's messageID 7 names none of the seven messages\n", err)
        self.assertIn("stdin:2: 1 byte is too short for a message header\n", err)


class Batches(ConvTest):
    def test_mixed_hex_lines(self):
        good = read(CAPTURED).strip()
        lines = [
            good,                          # 1
            "",                            # 2 blank: skipped
            "0102030",                     # 3 odd digit count
            hex_of("MAPEM"),               # 4
            "01 02 zz",                    # 5 not hexadecimal
            read(MALFORMED).strip(),       # 6 the library fails
            "0x" + good,                   # 7
            "::",                          # 8 no bytes at all
        ]
        path = self.tmp("\n".join(lines) + "\n", ".hex")
        rc, out, err = run("auto", "to-json", "--lines", path)
        self.assertEqual(rc, 1)
        self.assertEqual([json.loads(l)["header"]["messageID"] for l in out.splitlines()], [2, 5, 2])
        self.assertIn(f"itsconv: {path}:3: odd number of hexadecimal digits (7)\n", err)
        self.assertIn(f"itsconv: {path}:5: not hexadecimal: 'z' at column 7\n", err)
        self.assertIn(f"itsconv: {path}:6: CAM to-json failed with status -2\n", err)
        self.assertIn(f"itsconv: {path}:6: ERROR: Status -2\n", err)
        self.assertIn(f"itsconv: {path}:8: no message bytes\n", err)
        self.assertTrue(err.endswith("itsconv: 3 converted, 4 failed\n"), err)
        self.assertNotRegex(err, r":(1|2|4|7): ")
        # Named as CAM, the MAPEM fails and the header is pointed out.
        rc, out, err = run("CAM", "to-json", "--lines", path)
        self.assertEqual((rc, len(out.splitlines())), (1, 2))
        self.assertIn(f"itsconv: {path}:4: the header's messageID 5 names MAPEM, not CAM (2)\n", err)
        self.assertTrue(err.endswith("itsconv: 2 converted, 5 failed\n"), err)

    def test_json_sequence(self):
        cam = read(SAMPLES["CAM"][1] + ".json")
        srem = read(SAMPLES["SREM"][1] + ".json")
        parts = [cam, "\n", "garbage\n", srem, "\n", '{"header":{"messageID":2},\n"cam":{"x":"}"\n']
        text = "".join(parts)
        line = lambda k: "".join(parts[:k]).count("\n") + 1
        rc, out, err = run("auto", "from-json", stdin=text)
        self.assertEqual(rc, 1)
        self.assertEqual(out.split(), [hex_of("CAM"), hex_of("SREM")])
        self.assertIn(f"itsconv: stdin:{line(2)}: text outside a JSON object\n", err)
        self.assertIn(f"itsconv: stdin:{line(5)}: JSON object not closed at the end of the input\n", err)
        self.assertTrue(err.endswith("itsconv: 2 converted, 2 failed\n"), err)

    def test_xml_sequence(self):
        docs = [read(SAMPLES[m][1] + ".xml") for m in ("SSEM", "CAM", "SPATEM")]
        text = docs[0] + "\n<!-- next -->\n" + docs[1] + docs[2] + "\n"
        rc, out, err = run("auto", "from-xml", stdin=text)
        self.assertEqual((rc, out.split()), (0, [hex_of(m) for m in ("SSEM", "CAM", "SPATEM")]))
        rc, out, err = run("auto", "from-xml", stdin=docs[0] + "stray text\n<CAM><header>")
        self.assertEqual((rc, out.split()), (1, [hex_of("SSEM")]))
        n = docs[0].count("\n") + 1
        self.assertIn(f"stdin:{n}: text outside an XML document\n", err)
        self.assertIn(f"stdin:{n + 1}: XML document not closed at the end of the input\n", err)


class Jobs(ConvTest):
    def test_threads_keep_input_order(self):
        good = [read(CAPTURED).strip(), hex_of("CAM"), hex_of("DENM"), hex_of("SSEM")]
        bad = ["abc", read(MALFORMED).strip()]
        lines = [bad[i % 2] if i % 97 == 5 else good[i % 4] for i in range(3000)]
        data = "\n".join(lines) + "\n"
        ref = run("auto", "to-json", "--lines", "--jobs", "1", stdin=data)
        self.assertEqual(ref[0], 1)
        self.assertEqual(len(ref[1].splitlines()), 3000 - 31)
        for jobs in (["--jobs", "2"], ["-j3"], ["--jobs=8"]):
            with self.subTest(jobs):
                self.assertEqual(run("auto", "to-json", "--lines", *jobs, stdin=data), ref)

    def test_threads_on_text(self):
        text = "".join(read(base + ".json") for _, base in SAMPLES.values()) * 12
        ref = run("auto", "from-json", stdin=text)
        self.assertEqual(len(ref[1].split()), 84)
        self.assertEqual(run("auto", "from-json", "--jobs", "3", stdin=text), ref)


# The JSON Lines writer takes the widest instructions the processor has;
# ITSCONV_SIMD holds it to narrower ones.
STEPS = [{}, {"ITSCONV_SIMD": "ssse3"}, {"ITSCONV_SIMD": "scalar"}]


class JsonLines(ConvTest):
    def check_compact(self, pretty, compact):
        self.assertEqual(compact.count("\n"), 1)
        self.assertEqual(json.loads(compact), json.loads(pretty))
        self.assertNotRegex(without_strings(compact), r"\s(?!$)")

    def test_same_content_for_every_message(self):
        for msg in SAMPLES:
            h = hex_of(msg)
            _, pretty, _ = run(msg, "to-json", stdin=h)
            for env in STEPS:
                with self.subTest(msg=msg, env=env):
                    _, compact, _ = run(msg, "to-json", "--lines", stdin=h, env=env)
                    self.check_compact(pretty, compact)

    def test_strings_with_blanks_and_escapes(self):
        odd = 'Road \\"works ahead\\" \\\\ x : {x}, [y]  \\t end'
        text = read(SAMPLES["IVIM"][1] + ".json").replace("Roadworks ahead, keep right", odd)
        rc, h, err = run("IVIM", "from-json", stdin=text)
        self.assertEqual(rc, 0, err)
        _, pretty, _ = run("IVIM", "to-json", stdin=h)

        def values(node, key):
            if isinstance(node, dict):
                return [v for k, v in node.items() if k == key] + \
                    [x for v in node.values() for x in values(v, key)]
            return [x for v in node for x in values(v, key)] if isinstance(node, list) else []
        for env in STEPS:
            with self.subTest(env=env):
                _, compact, _ = run("IVIM", "to-json", "--lines", stdin=h, env=env)
                self.check_compact(pretty, compact)
                self.assertEqual(values(json.loads(compact), "textContent"),
                                 [json.loads('"%s"' % odd)])
                self.assertIn('"textContent":"%s"' % odd, compact)


class Failures(ConvTest):
    def test_unusable_inputs(self):
        empty = self.tmp("")
        blank = self.tmp("\n  \n\t\n")
        for args, line in [
            ([empty], f"{empty}: empty input"),
            (["/dev/null"], "/dev/null: empty input"),
            ([blank], f"{blank}: no message in the input"),
            ([os.path.dirname(empty)], f"{os.path.dirname(empty)}: is a directory"),
            (["/nonexistent/x.hex"], "/nonexistent/x.hex: cannot open: No such file or directory"),
        ]:
            with self.subTest(line):
                rc, out, err = run("CAM", "to-json", *args)
                self.assertEqual((rc, out), (1, ""))
                self.assertEqual(err, f"itsconv: {line}\nitsconv: 0 converted, 1 failed\n")
        rc, out, err = run("CAM", "from-json", stdin="")
        self.assertEqual((rc, err), (1, "itsconv: stdin: empty input\nitsconv: 0 converted, 1 failed\n"))

    def test_other_files_still_convert(self):
        rc, out, err = run("CAM", "to-json", "--lines", CAPTURED, "/nonexistent", "-", CAPTURED,
                           stdin=read(CAPTURED))
        self.assertEqual((rc, len(out.splitlines())), (1, 3))
        self.assertEqual(err, "itsconv: /nonexistent: cannot open: No such file or directory\n"
                              "itsconv: 3 converted, 1 failed\n")

    def test_bad_base64(self):
        rc, _, err = run("CAM", "to-json", "--base64", stdin="AQID\nA@==\nAQIDB\n")
        self.assertIn("stdin:2: not base64: '@' at column 2\n", err)
        self.assertIn("stdin:3: base64 of 5 symbols is cut short\n", err)
        self.assertIn("stdin:1: CAM to-json failed", err)

    def test_command_line(self):
        rc, out, err = run("--help")
        self.assertEqual((rc, err), (0, ""))
        self.assertTrue(out.startswith("usage: itsconv MSG"))
        self.assertEqual(run("--version"), (0, f"itsconv (itscodec) {VERSION}\n", ""))
        for args, why in [
            ([], "MSG and a direction are needed"),
            (["XAM", "to-json"], "unknown message XAM"),
            (["CAM", "to-yaml"], "unknown direction to-yaml"),
            (["CAM", "to-json", "--jobs", "many"], "--jobs needs a count"),
            (["CAM", "to-json", "--base64", "--binary"], "exclude each other"),
            (["CAM", "to-json", "--fast"], "unknown option --fast"),
        ]:
            with self.subTest(why):
                rc, out, err = run(*args)
                self.assertEqual((rc, out), (2, ""))
                self.assertIn(why, err.splitlines()[0])

    def test_verbose_keeps_the_result(self):
        _, ref, _ = run("CAM", "to-json", CAPTURED)
        rc, out, err = run("CAM", "to-json", "--verbose", CAPTURED)
        self.assertEqual((rc, err), (0, ""))
        self.assertTrue(out.endswith(ref), out[-200:])


if __name__ == "__main__":
    CONV, VERSION = sys.argv[1], sys.argv[2]
    unittest.main(argv=sys.argv[:1], verbosity=1)
