"""Tests of the Python package against the built library.

ITSCODEC_LIBRARY names the library; the sample messages are read from the
source tree (ITSCODEC_SOURCE_DIR, else two folders above this file).
"""

import json
import os
import unittest
import xml.etree.ElementTree as ET
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import itscodec

ROOT = Path(os.environ.get("ITSCODEC_SOURCE_DIR", Path(__file__).resolve().parents[2]))

# One JSON and one XML text of the same message, for each of the seven.
SAMPLES = {
    "CAM": "bench/data/cam",
    "DENM": "bench/data/denm",
    "SPATEM": "tests/data/spatem_sample",
    "MAPEM": "bench/data/mapem",
    "IVIM": "bench/data/ivim",
    "SREM": "tests/data/srem_sample",
    "SSEM": "tests/data/ssem_sample",
}


def sample(msg: str, form: str) -> str:
    return (ROOT / f"{SAMPLES[msg]}.{form}").read_text(encoding="utf-8")


def canonical_xml(text: str) -> str:
    return ET.canonicalize(text, strip_text=True)


def captured_cam() -> bytes:
    return bytes.fromhex((ROOT / "tests/data/cam_captured_protocol1.uper.hex").read_text())


class FourDirections(unittest.TestCase):
    def test_every_message(self):
        for msg in itscodec.MESSAGES:
            with self.subTest(msg=msg):
                json_text, xml_text = sample(msg, "json"), sample(msg, "xml")
                uper = itscodec.from_json(msg, json_text)
                self.assertIsInstance(uper, bytes)
                self.assertGreater(len(uper), 4)
                self.assertEqual(itscodec.from_xml(msg, xml_text), uper)
                # Written back: the same values as the samples (their layout
                # may differ), and read again to the same bytes.
                written_json = itscodec.to_json(msg, uper)
                self.assertEqual(json.loads(written_json), json.loads(json_text))
                self.assertEqual(itscodec.from_json(msg, written_json), uper)
                written_xml = itscodec.to_xml(msg, uper)
                self.assertEqual(canonical_xml(written_xml), canonical_xml(xml_text))
                self.assertEqual(itscodec.from_xml(msg, written_xml), uper)

    def test_captured_cam_round_trips(self):
        uper = captured_cam()
        json_text = itscodec.to_json("CAM", bytearray(uper))
        self.assertIn('"messageID":2', json_text)
        self.assertEqual(itscodec.from_json("CAM", json_text), uper)
        xml_text = itscodec.to_xml("CAM", memoryview(uper))
        self.assertTrue(xml_text.startswith("<?xml"))
        self.assertEqual(itscodec.from_xml("CAM", xml_text), uper)


class Failures(unittest.TestCase):
    def test_error_carries_status_and_report(self):
        cut = captured_cam()[:16]
        cases = [
            (lambda: itscodec.to_json("CAM", cut), -2, "Unexpected end of buffer"),
            (lambda: itscodec.to_xml("CAM", cut), -2, "Unexpected end of buffer"),
            (lambda: itscodec.from_json("CAM", '{"header":'), None, None),
            (
                lambda: itscodec.from_xml("CAM", sample("CAM", "xml").replace(">0<", ">x<", 1)),
                None,
                None,
            ),
        ]
        for i, (call, status, text) in enumerate(cases):
            with self.subTest(case=i):
                with self.assertRaises(itscodec.Error) as caught:
                    call()
                e = caught.exception
                self.assertNotEqual(e.status, 0)
                if status is not None:
                    self.assertEqual(e.status, status)
                self.assertIn(f"ERROR: Status {e.status}\n", e.report)
                if text:
                    self.assertIn(text, e.report)
                    self.assertIn(text, str(e))

    def test_caller_mistakes(self):
        with self.assertRaises(ValueError):
            itscodec.to_json("cam", captured_cam())
        with self.assertRaises(ValueError):
            itscodec.from_json("CAM", sample("CAM", "json") + "\0")

    def test_every_array_is_released(self):
        lib = itscodec.Library()
        released = []
        real = lib._delete

        def counting(p):
            released.append(p.value)
            real(p)

        lib._delete = counting
        lib.to_json("CAM", captured_cam())
        lib.from_xml("CAM", sample("CAM", "xml"))
        self.assertEqual(len(released), 2)
        for call in (lambda: lib.to_xml("CAM", b"\x02"), lambda: lib.from_json("CAM", "[")):
            with self.assertRaises(itscodec.Error):
                call()
        self.assertEqual(len(released), 4)
        self.assertNotIn(None, released)


class Loading(unittest.TestCase):
    def test_path_then_environment(self):
        path = os.environ["ITSCODEC_LIBRARY"]
        bogus = os.environ["ITSCODEC_LIBRARY"] = "/nonexistent/libitscodec.so.0"
        try:
            with self.assertRaises(OSError) as caught:
                itscodec.Library()
            self.assertIn(bogus, str(caught.exception))
            lib = itscodec.Library(path)
            self.assertEqual(lib.path, path)
            self.assertEqual(lib.from_json("CAM", lib.to_json("CAM", captured_cam())), captured_cam())
        finally:
            os.environ["ITSCODEC_LIBRARY"] = path


class Threads(unittest.TestCase):
    def test_parallel_results_equal_serial(self):
        work = []
        for msg in itscodec.MESSAGES:
            uper = itscodec.from_json(msg, sample(msg, "json"))
            work += [(msg, "to_json", uper), (msg, "to_xml", uper)]
            work += [(msg, "from_json", sample(msg, "json")), (msg, "from_xml", sample(msg, "xml"))]
        work *= 20

        def run(item):
            msg, name, arg = item
            return getattr(itscodec, name)(msg, arg)

        serial = [run(item) for item in work]
        with ThreadPoolExecutor(max_workers=4) as pool:
            parallel = list(pool.map(run, work))
        self.assertEqual(parallel, serial)


if __name__ == "__main__":
    unittest.main()
