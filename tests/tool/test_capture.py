#!/usr/bin/env python3
"""`itsconv capture` run as a process on capture files built in code.

    test_capture.py ITSCONV

The messages are real encodings: the JSON samples of tests/data and
bench/data turned to UPER by the converter itself, and captured CAMs.
"""
import json
import os
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import capbuild as cb  # noqa: E402

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
TESTS = os.path.join(ROOT, "tests", "data")
BENCH = os.path.join(ROOT, "bench", "data")
CONV = None

SAMPLES = {
    "CAM": (2001, os.path.join(TESTS, "cam_containers.json")),
    "DENM": (2002, os.path.join(BENCH, "denm.json")),
    "SPATEM": (2004, os.path.join(TESTS, "spatem_sample.json")),
    "MAPEM": (2003, os.path.join(BENCH, "mapem.json")),
    "IVIM": (2006, os.path.join(BENCH, "ivim.json")),
    "SREM": (2007, os.path.join(TESTS, "srem_sample.json")),
    "SSEM": (2008, os.path.join(TESTS, "ssem_sample.json")),
}
FRAME = os.path.join(TESTS, "cam_captured_station1.ethernet-frame.hex")
BARE = os.path.join(TESTS, "cam_captured_station1.uper.hex")
T0 = "2023-11-14T22:13:2"  # the builder's first second, 1700000000


def run(*args, stdin=b""):
    if isinstance(stdin, str):
        stdin = stdin.encode()
    p = subprocess.run([CONV, *args], input=stdin, capture_output=True, timeout=300)
    return p.returncode, p.stdout.decode("utf-8", "replace"), p.stderr.decode("utf-8", "replace")


def read(path):
    with open(path) as f:
        return f.read().strip()


class CaptureTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        # Each message's UPER, and its JSON as `to-json --lines` writes it.
        cls.uper, cls.json = {}, {}
        for msg, (_, path) in SAMPLES.items():
            rc, out, err = run(msg, "from-json", path)
            assert rc == 0, err
            cls.uper[msg] = bytes.fromhex(out.strip())
            rc, out, err = run(msg, "to-json", "--lines", stdin=out)
            assert rc == 0, err
            cls.json[msg] = out.strip()

    def capture(self, data, *args):
        f = tempfile.NamedTemporaryFile(delete=False, suffix=".pcap")
        f.write(data)
        f.close()
        self.addCleanup(os.unlink, f.name)
        rc, out, err = run("capture", f.name, *args)
        return rc, out, err, f.name

    def lines(self, out):
        return [json.loads(line) for line in out.splitlines()]


class Messages(CaptureTest):
    def test_every_message_with_every_fact(self):
        """Seven messages on their ports, over every link layer, packet
        type, envelope and BTP kind in turn: each line carries them all."""
        links = [cb.ETH, cb.SLL, cb.WIFI, cb.RADIOTAP, cb.SLL2, cb.ETH, cb.SLL]
        gns = ["SHB", "TSB", "GBC", "GAC", "GUC", "SHB", "GBC"]
        secs = ["none", "unsecured-v3", "signed-v3", "unsecured-v2", "signed-v2", "signed-v3",
                "signed-v2"]
        for i, msg in enumerate(SAMPLES):
            with self.subTest(msg):
                port = SAMPLES[msg][0]
                btp = "A" if i % 2 else "B"
                packet = cb.gn(self.uper[msg], port, gns[i], secs[i], btp)
                frame = cb.link(packet, links[i])
                rc, out, err, name = self.capture(cb.pcap([(1700000000, 250000, frame)], links[i]))
                self.assertEqual(rc, 0, err)
                [line] = self.lines(out)
                self.assertEqual(list(line), ["frame", "time", "source", "gn", "btp", "port",
                                              "security", "type", "message"])
                self.assertEqual(line["frame"], 1)
                self.assertEqual(line["time"], "2023-11-14T22:13:20.250000Z")
                self.assertEqual(line["source"], "0a:1b:2c:3d:4e:5f")
                self.assertEqual(line["gn"], gns[i])
                self.assertEqual(line["btp"], btp)
                self.assertEqual(line["port"], port)
                self.assertEqual(line["security"], secs[i])
                self.assertEqual(line["type"], msg)
                self.assertEqual(line["message"], json.loads(self.json[msg]))
                # The message is written as the converter's own JSON Lines.
                self.assertTrue(out.rstrip("\n").endswith(',"message":' + self.json[msg] + "}"))
                self.assertEqual(err, f"itsconv: {name}: 1 frames, 1 converted ({msg} 1), "
                                      "0 failed\n")

    def test_pcapng_interfaces_and_skipped_frames(self):
        cam, denm = self.uper["CAM"], self.uper["DENM"]
        data = cb.pcapng([(cb.ETH, None), (cb.RADIOTAP, 9)], [
            (0, 1700000000123456, cb.link(cb.gn(cam), cb.ETH)),
            (0, 1700000000200000, cb.link(b"\x45" + bytes(40), cb.ETH, ethertype=0x0800)),
            (1, 1700000001987654321, cb.link(cb.gn(denm, 2002, "GBC", "signed-v3"), cb.RADIOTAP)),
            (None, None, cb.link(cb.gn(cam, gn_type="TSB", btp_kind="A"), cb.ETH)),
            (1, 1700000002000000000, cb.link(cb.gn(cam, security="encrypted-v3"), cb.RADIOTAP)),
        ])
        rc, out, err, name = self.capture(data)
        self.assertEqual(rc, 1)
        lines = self.lines(out)
        self.assertEqual([(x["frame"], x.get("type"), x["time"]) for x in lines], [
            (1, "CAM", "2023-11-14T22:13:20.123456Z"),
            (3, "DENM", "2023-11-14T22:13:21.987654321Z"),
            (4, "CAM", None),
            (5, None, "2023-11-14T22:13:22.000000000Z")])
        self.assertEqual((lines[1]["gn"], lines[1]["security"]), ("GBC", "signed-v3"))
        self.assertEqual((lines[2]["gn"], lines[2]["btp"]), ("TSB", "A"))
        # The encrypted frame: what is known, the error and why.
        self.assertEqual(lines[3], {"frame": 5, "time": "2023-11-14T22:13:22.000000000Z",
                                    "source": "0a:1b:2c:3d:4e:5f", "security": "encrypted-v3",
                                    "error": "encrypted",
                                    "report": "encrypted payload: it can not be read without keys"})
        self.assertEqual(err.splitlines(), [
            f"itsconv: {name}: 5 frames, 3 converted (CAM 2, DENM 1), 1 failed (encrypted 1)",
            f"itsconv: {name}: skipped: 1 not GeoNetworking"])

    def test_the_real_frame_gives_its_cam_and_the_cams_failure(self):
        frame = bytes.fromhex(read(FRAME))
        bare = read(BARE)
        rc, out, err, name = self.capture(cb.pcap([frame]), "--to", "hex")
        self.assertEqual(rc, 0, err)
        [line] = self.lines(out)
        self.assertEqual(line["message"], bare)
        self.assertEqual((line["gn"], line["btp"], line["port"], line["security"], line["type"],
                          line["source"]),
                         ("SHB", "B", 2001, "signed-v2", "CAM", "00:00:00:00:00:00"))
        # Converting fails as the bare CAM does alone (at its curvatureValue,
        # -66, with the same report): one error line.
        rc_alone, _, err_alone = run("CAM", "to-json", BARE)
        self.assertEqual(rc_alone, 1)
        prefix = f"itsconv: {BARE}:1: "
        alone = [x[len(prefix):] for x in err_alone.splitlines() if x.startswith(prefix)]
        self.assertEqual(alone[0], "CAM to-json failed with status -66")
        rc, out, err, name = self.capture(cb.pcap([frame, frame]))
        self.assertEqual(rc, 1)
        lines = self.lines(out)
        self.assertEqual(len(lines), 2)
        self.assertEqual(lines[0]["error"], "decode")
        self.assertEqual(lines[0]["status"], -66)
        self.assertEqual(lines[0]["type"], "CAM")
        self.assertEqual(lines[0]["report"].splitlines(), alone)
        self.assertEqual(lines[1], dict(lines[0], frame=2, time=lines[1]["time"]))
        self.assertNotIn("message", lines[0])
        self.assertEqual(err, f"itsconv: {name}: 2 frames, 0 converted, 2 failed (decode 2)\n")

    def test_header_names_the_message_and_the_port_cross_checks(self):
        cam, denm = self.uper["CAM"], self.uper["DENM"]
        frames = [cb.link(cb.gn(cam, port=2002)),      # a DENM's port
                  cb.link(cb.gn(denm, port=4242)),     # a port of no message: header decides
                  cb.link(cb.gn(b"\x02\x63" + cam[2:])),  # messageID 99
                  cb.link(cb.gn(b"\x02", port=2001))]  # one byte
        rc, out, err, _ = self.capture(cb.pcap(frames))
        self.assertEqual(rc, 1)
        lines = self.lines(out)
        self.assertEqual([x.get("error") for x in lines],
                         ["port-mismatch", None, "unknown-message", "short-message"])
        self.assertEqual(lines[0]["report"], "BTP port 2002 is DENM's, but the header's "
                                             "messageID 2 names CAM")
        self.assertEqual((lines[1]["type"], lines[1]["port"]), ("DENM", 4242))

    def test_only_xml_and_hex(self):
        frames = [cb.link(cb.gn(self.uper[m], SAMPLES[m][0])) for m in ["CAM", "DENM", "IVIM"]]
        data = cb.pcap(frames, nanos=True)
        rc, out, err, name = self.capture(data, "--only", "denm,IVIM")
        self.assertEqual(rc, 0, err)
        self.assertEqual([x["type"] for x in self.lines(out)], ["DENM", "IVIM"])
        self.assertIn("skipped: 1 left out by --only", err)
        rc, out, err, _ = self.capture(data, "--to", "xml", "--only", "CAM,DENM")
        self.assertEqual(rc, 0, err)
        docs = out.split("\n\n")
        self.assertEqual(docs[-1], "")
        self.assertEqual(len(docs), 3)
        for doc, msg, n in zip(docs, ["CAM", "DENM"], [1, 2]):
            _, alone, _ = run(msg, "to-xml", stdin=self.uper[msg].hex())
            head, body = alone.split("\n", 1)
            self.assertEqual(doc, f"{head}\n<!-- frame {n}, time {T0}{n - 1}.000000000Z, source "
                                  f"0a:1b:2c:3d:4e:5f, gn SHB, btp B, port {SAMPLES[msg][0]}, "
                                  f"security none, type {msg} -->\n{body.rstrip(chr(10))}")
        rc, out, err, _ = self.capture(data, "--to", "hex")
        self.assertEqual([x["message"] for x in self.lines(out)],
                         [self.uper[m].hex() for m in ["CAM", "DENM", "IVIM"]])

    def test_xml_failures_go_to_standard_error(self):
        frame = bytes.fromhex(read(FRAME))
        rc, out, err, name = self.capture(cb.pcap([frame]), "--to", "xml")
        self.assertEqual((rc, out), (1, ""))
        where = (f"itsconv: {name}: frame 1, time 2023-11-14T22:13:20.000000Z, source "
                 "00:00:00:00:00:00, gn SHB, btp B, port 2001, security signed-v2, type CAM: ")
        lines = err.splitlines()
        self.assertEqual(lines[0], where + "decode: CAM to-xml failed with status -66")
        _, _, err_alone = run("CAM", "to-xml", BARE)
        prefix = f"itsconv: {BARE}:1: "
        self.assertEqual([x[len(where):] for x in lines[1:-1]],
                         [x[len(prefix):] for x in err_alone.splitlines()[1:-1]])
        self.assertEqual(lines[-1], f"itsconv: {name}: 1 frames, 0 converted, 1 failed (decode 1)")

    def test_jobs_keep_the_order(self):
        frames = []
        for i in range(3000):
            m = list(SAMPLES)[i % 7]
            frames.append(cb.link(cb.gn(self.uper[m], SAMPLES[m][0])) if i % 11 else
                          bytes.fromhex(read(FRAME)))
        data = cb.pcap(frames)
        rc1, out1, err1, name1 = self.capture(data)
        rc2, out2, err2, name2 = self.capture(data, "--jobs", "2")
        self.assertEqual(rc1, 1)
        self.assertEqual((rc2, out2, err2.replace(name2, "")), (rc1, out1, err1.replace(name1, "")))
        self.assertEqual([x["frame"] for x in self.lines(out1)], list(range(1, 3001)))


class BadCaptures(CaptureTest):
    def test_cut_file_is_reported_at_its_offset_and_the_rest_kept(self):
        cam = self.uper["CAM"]
        frame = cb.link(cb.gn(cam))
        data = cb.pcap([frame, frame])
        rc, out, err, name = self.capture(data[:-3])
        self.assertEqual(rc, 1)
        lines = self.lines(out)
        self.assertEqual(lines[0]["type"], "CAM")
        offset = 24 + 16 + len(frame)
        self.assertEqual(lines[1], {
            "frame": 2, "error": "truncated-file",
            "report": f"frame 2 at offset {offset} announces {len(frame)} captured bytes, "
                      f"the file has {len(frame) - 3} left"})
        self.assertIn("2 frames, 1 converted (CAM 1), 1 failed (truncated-file 1)", err)
        # A pcapng block running past the end: reported at its length field.
        ng = cb.pcapng([(cb.ETH, None)], [(0, 1, frame)])
        rc, out, err, _ = self.capture(ng[:-1])
        [line] = self.lines(out)
        epb = 32 + len(frame) + (-len(frame)) % 4
        self.assertEqual((line["offset"], line["error"]), (len(ng) - epb + 4, "truncated-file"))

    def test_lying_lengths_each_spoil_their_frame(self):
        cam = self.uper["CAM"]
        good = cb.link(cb.gn(cam))
        lying_pl = cb.link(bytes([0x11, 0, 0x1A, 1]) + cb.common(cb.btp(2001, cam), pl=200))
        lying_oer = cb.link(bytes([0x12, 0, 0x1A, 1, 3, 0x80, 0x82, 0x40, 0x00]) + bytes(20))
        rc, out, err, _ = self.capture(cb.pcap([lying_pl, b"", lying_oer, good[:10], good]))
        self.assertEqual(rc, 1)
        lines = self.lines(out)
        self.assertEqual([(x["frame"], x.get("error")) for x in lines],
                         [(1, "gn-length"), (2, "empty-frame"), (3, "length-past-packet"),
                          (4, "short-link-header"), (5, None)])
        self.assertEqual(lines[0]["gn"], "SHB")
        self.assertIn("payload length 200 runs past the packet", lines[0]["report"])
        self.assertIn("OER length 16384", lines[2]["report"])

    def test_not_a_capture_and_command_line(self):
        rc, out, err, name = self.capture(b"0202000000013731")
        self.assertEqual((rc, out), (1, ""))
        self.assertEqual(err, f"itsconv: {name}: neither a pcap nor a pcapng file "
                              "(unknown magic number)\n")
        self.assertEqual(run("capture", "/nonexistent/x.pcap")[0], 1)
        for args, why in [([], "capture needs a FILE"),
                          (["x.pcap", "--to", "yaml"], "--to takes json, xml or hex"),
                          (["x.pcap", "--only", "CAM,XAM"], "unknown message XAM"),
                          (["x.pcap", "--jobs", "x"], "--jobs needs a count"),
                          (["x.pcap", "y.pcap"], "one capture file at a time")]:
            with self.subTest(why):
                rc, out, err = run("capture", *args)
                self.assertEqual((rc, out), (2, ""))
                self.assertIn(why, err.splitlines()[0])
        rc, out, err = run("--help")
        self.assertIn("itsconv capture FILE", out)
        # A link type the reader does not know: skipped, and named.
        rc, out, err, name = self.capture(cb.pcap([cb.link(cb.gn(self.uper["CAM"]))], 147))
        self.assertEqual((rc, out), (0, ""))
        self.assertEqual(err.splitlines()[1], f"itsconv: {name}: skipped: 1 of link type 147, "
                                              "not read")

    def test_standard_input(self):
        data = cb.pcap([cb.link(cb.gn(self.uper["SSEM"], 2008), cb.SLL)], cb.SLL)
        rc, out, err = run("capture", "-", stdin=data)
        self.assertEqual(rc, 0, err)
        self.assertEqual(self.lines(out)[0]["type"], "SSEM")
        self.assertTrue(err.startswith("itsconv: stdin: 1 frames"))


if __name__ == "__main__":
    CONV = sys.argv[1]
    unittest.main(argv=sys.argv[:1], verbosity=1)
