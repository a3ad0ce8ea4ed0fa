"""Tests of the schema compiler (run by CTest through unittest discovery)."""
import os
import sys

sys.dont_write_bytecode = True
CODEGEN_DIR = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
if CODEGEN_DIR not in sys.path:
    sys.path.insert(0, CODEGEN_DIR)
ASN1_DIR = os.path.join(os.path.dirname(CODEGEN_DIR), "asn1")
