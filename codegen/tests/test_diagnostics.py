"""Malformed schema snippets must be reported at the right file:line:col."""
import unittest

from . import CODEGEN_DIR  # noqa: F401  (puts itscodegen on the path)
from itscodegen import model
from itscodegen.errors import SchemaError

HEAD = "M DEFINITIONS AUTOMATIC TAGS ::= BEGIN\n"


def error_of(body, name="M.asn", others=None):
    texts = {name: HEAD + body + "\nEND\n"}
    texts.update(others or {})
    try:
        model.load_texts(texts)
    except SchemaError as e:
        return str(e)
    return None


class SyntaxErrors(unittest.TestCase):
    def test_missing_comma_between_components(self):
        self.assertEqual(error_of("A ::= SEQUENCE { a INTEGER (0..1) b BOOLEAN }"),
                         "M.asn:2:35: error: expected ',' or '}', found 'b'")

    def test_missing_assignment_operator(self):
        self.assertEqual(error_of("A INTEGER (0..1)\nB ::= BOOLEAN"),
                         "M.asn:2:3: error: expected '::=' after A, found 'INTEGER'")

    def test_unclosed_constraint(self):
        self.assertEqual(error_of("A ::= INTEGER (0..1\nB ::= BOOLEAN"),
                         "M.asn:3:1: error: expected ')', found 'B'")

    def test_end_missing(self):
        msg = None
        try:
            model.load_texts({"M.asn": HEAD + "A ::= BOOLEAN\n"})
        except SchemaError as e:
            msg = str(e)
        self.assertEqual(msg, "M.asn:3:1: error: expected 'END' at the end of module M")

    def test_unterminated_block_comment(self):
        self.assertEqual(error_of("A ::= BOOLEAN /* open\n"),
                         "M.asn:2:15: error: unterminated comment")

    def test_stray_character(self):
        self.assertEqual(error_of("A ::= BOOLEAN $"), "M.asn:2:15: error: unexpected character '$'")

    def test_upper_case_component_name(self):
        self.assertEqual(error_of("A ::= CHOICE { a BOOLEAN, B NULL }"),
                         "M.asn:2:27: error: expected an alternative identifier, found 'B' "
                         "(an identifier starts with a lower-case letter)")

    def test_addition_after_marker(self):
        self.assertEqual(error_of("A ::= SEQUENCE { a BOOLEAN, ..., b NULL }"),
                         "M.asn:2:34: error: extension additions are not supported: "
                         "nothing may follow '...'")


class ReferenceErrors(unittest.TestCase):
    def test_undefined_type(self):
        self.assertEqual(error_of("A ::= SEQUENCE {\n   a Missing OPTIONAL }"),
                         "M.asn:3:6: error: undefined type Missing")

    def test_undefined_value_in_range(self):
        self.assertEqual(error_of("A ::= INTEGER (0..maxA)"), "M.asn:2:19: error: undefined value maxA")

    def test_import_from_unknown_module(self):
        self.assertEqual(error_of("IMPORTS X FROM Other;\nA ::= BOOLEAN"),
                         "M.asn:2:16: error: unknown module Other")

    def test_import_of_name_not_in_module(self):
        other = {"Other.asn": "Other DEFINITIONS ::= BEGIN\nY ::= NULL\nEND\n"}
        self.assertEqual(error_of("IMPORTS Y, X FROM Other;\nA ::= BOOLEAN", others=other),
                         "M.asn:2:12: error: X is not defined in module Other")

    def test_imported_names_resolve(self):
        other = {"Other.asn": "Other DEFINITIONS ::= BEGIN\nY ::= INTEGER (0..3)\nEND\n"}
        self.assertIsNone(error_of("IMPORTS Y FROM Other;\nA ::= SEQUENCE { y Y }", others=other))

    def test_value_used_as_type(self):
        self.assertEqual(error_of("v INTEGER ::= 3\nA ::= SEQUENCE { a v }"),
                         "M.asn:3:20: error: expected a type, found 'v'")

    def test_unknown_object_set(self):
        body = ("C ::= CLASS { &id INTEGER, &Type } WITH SYNTAX {&Type IDENTIFIED BY &id}\n"
                "R {C : S} ::= SEQUENCE { id C.&id({S}), v C.&Type({S}{@id}) }\n"
                "A ::= SEQUENCE { r R {{Nope}} }")
        self.assertEqual(error_of(body), "M.asn:4:24: error: undefined object set Nope")

    def test_file_named_after_other_module(self):
        self.assertEqual(error_of("A ::= BOOLEAN", name="N.asn"),
                         "N.asn:1:1: error: module M must be in a file named M.asn")


class DuplicateNames(unittest.TestCase):
    def test_duplicate_type(self):
        self.assertEqual(error_of("A ::= BOOLEAN\n\n  A ::= NULL"),
                         "M.asn:4:3: error: duplicate definition of A (first defined at 2:1)")

    def test_duplicate_component(self):
        self.assertEqual(error_of("A ::= SEQUENCE {\n a BOOLEAN,\n a NULL }"),
                         "M.asn:4:2: error: duplicate component a in A")

    def test_duplicate_enumerator(self):
        self.assertEqual(error_of("A ::= ENUMERATED { x(0), y(1), x(2) }"),
                         "M.asn:2:32: error: duplicate enumerator x")

    def test_enumerator_gap(self):
        self.assertEqual(error_of("A ::= ENUMERATED { x(0), y(2) }"),
                         "M.asn:2:26: error: enumerator values must run from 0 without gaps "
                         "(y is 2, expected 1)")

    def test_bit_named_twice(self):
        self.assertEqual(error_of("A ::= BIT STRING { a(0), b(0) } (SIZE(2))"),
                         "M.asn:2:26: error: bit 0 is named twice")

    def test_duplicate_key_in_object_set(self):
        body = ("C ::= CLASS { &id INTEGER, &Type } WITH SYNTAX {&Type IDENTIFIED BY &id}\n"
                "S C ::= { {B IDENTIFIED BY 1} | {B IDENTIFIED BY 1} }\n"
                "B ::= BOOLEAN\n"
                "A ::= SEQUENCE { id C.&id({S}), v C.&Type({S}{@id}) }")
        self.assertEqual(error_of(body), "M.asn:3:50: error: key 1 appears twice in S")


class Annotations(unittest.TestCase):
    def test_unknown_annotation(self):
        self.assertEqual(error_of("A ::= SEQUENCE {\n   a INTEGER (0..9), --@frobnicate\n   b NULL }"),
                         "M.asn:3:22: error: unknown annotation '--@frobnicate'")

    def test_annotation_alone_on_its_line(self):
        self.assertEqual(error_of("--@inline\nA ::= BOOLEAN"),
                         "M.asn:2:1: error: annotation '--@inline' does not follow a component, "
                         "alternative or type on its line")

    def test_bad_form_argument(self):
        self.assertEqual(error_of("A ::= SEQUENCE (SIZE(1..4)) OF INTEGER (0..7) --@form linked"),
                         "M.asn:2:55: error: '--@form' takes one of list, inline-array, "
                         "dynamic-array, not 'linked'")

    def test_inline_on_a_reference(self):
        self.assertEqual(error_of("B ::= BOOLEAN\nA ::= SEQUENCE { b B --@inline\n }"),
                         "M.asn:3:22: error: '--@inline' applies to a type written inline, "
                         "not to a reference")

    def test_argument_where_none_is_taken(self):
        self.assertEqual(error_of("A ::= SEQUENCE { a INTEGER (0..9) --@inline yes\n }"),
                         "M.asn:2:45: error: annotation '--@inline' takes no argument")

    def test_form_on_a_sequence(self):
        self.assertEqual(error_of("A ::= SEQUENCE { a BOOLEAN } --@form list"),
                         "M.asn:2:30: error: '--@form' applies to a SEQUENCE OF only")

    def test_annotations_take_effect(self):
        m = model.load_texts({"M.asn": HEAD + (
            "A ::= SEQUENCE {\n"
            "   n INTEGER (0..9999), --@inline\n"
            "   f BOOLEAN --@type\n"
            "}\n"
            "L ::= SEQUENCE (SIZE(1..4)) OF INTEGER (0..7) --@inline\n"
            "K ::= SEQUENCE (SIZE(1..4)) OF A --@form dynamic-array\n"
            "J ::= SEQUENCE (SIZE(1..4)) OF A --@item Thing\n") + "END\n"})
        a = m.type("A")
        self.assertFalse(a.comps[0].type.owned)
        self.assertTrue(a.comps[1].type.owned)
        self.assertEqual(a.comps[1].type.cname, "A_f")
        self.assertFalse(m.type("L").elem.owned)
        self.assertEqual(m.type("L").item, "INTEGER")
        self.assertEqual(m.type("K").form, "dynamic-array")
        self.assertEqual(m.type("J").item, "Thing")
        self.assertEqual(m.type("J").form, "list")
        self.assertEqual(sorted(t.cname for t in m.types), ["A", "A_f", "J", "K", "L"])


if __name__ == "__main__":
    unittest.main()
