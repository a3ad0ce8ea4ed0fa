"""The element group tables of the XML readers: which rows are open at each
position of a SEQUENCE and where unknown elements are kept."""
import unittest

from itscodegen import emit_xml_dec, model

SCHEMA = """
M DEFINITIONS AUTOMATIC TAGS ::= BEGIN
Lanes ::= SEQUENCE {
    hardShoulderStatus  INTEGER (0..3) OPTIONAL,
    drivingLaneStatus   BIT STRING (SIZE(1..13)),
    ...
}
Pair ::= SEQUENCE { a INTEGER (0..1), b INTEGER (0..1) }
Tail ::= SEQUENCE { a INTEGER (0..1), b INTEGER (0..1) OPTIONAL, c BOOLEAN OPTIONAL, ... }
Opts ::= SEQUENCE { a INTEGER (0..1) OPTIONAL, ... }
END
"""


class GroupTables(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.m = model.load_texts({"M.asn": SCHEMA})

    def rows(self, name):
        t = self.m.type(name)
        return emit_xml_dec.group_rows(t), emit_xml_dec.last_required(t)

    def test_optional_before_required_with_extension(self):
        self.assertEqual(([(0, 2, -1), (1, 1, -1), (2, 0, 2)], 1), self.rows("Lanes"))

    def test_two_required_without_extension(self):
        self.assertEqual(([(0, 1, -1), (1, 1, -1)], 1), self.rows("Pair"))

    def test_optional_tail_keeps_unknown_elements_behind_the_last_required(self):
        self.assertEqual(([(0, 1, -1), (1, 2, 3), (2, 1, 3), (3, 0, 3)], 0), self.rows("Tail"))
        self.assertEqual(([(0, 1, 1), (1, 0, 1)], -1), self.rows("Opts"))


if __name__ == "__main__":
    unittest.main()
