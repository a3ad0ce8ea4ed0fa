"""XML back end: `XmlEnc_<T>` and `XmlDec_<T>` for every type.

Writes per module `<stem>Xml.h` (declarations), `<stem>XmlEnc.cpp` (the
writers, rules in emit_xml_enc) and `<stem>XmlDec.cpp` (the event-driven
readers, rules in emit_xml_dec, and the direct readers that take the plain
form first, rules in emit_xml_fast), and adds the XML branch to the control
classes.
"""
from . import control, emit_xml_dec, emit_xml_enc, emit_xml_fast
from .cwriter import codec_units

# The run-time header of the steps every generated XML codec shares.
COMMON_HEADER = "xmlGen.h"


def write_decoders(w, t):
    """Both readers of a type: the event-driven one and the direct one."""
    emit_xml_dec.write_decoder(w, t)
    emit_xml_fast.write_fast(w, t)


def emit(model):
    """{file name: text} of the XML back end."""
    out = {}
    for mod in model.order:
        (out[mod.stem + "Xml.h"], out[mod.stem + "XmlEnc.cpp"],
         out[mod.stem + "XmlDec.cpp"]) = codec_units(
            mod, "XML", "Xml", COMMON_HEADER, emit_xml_enc.enc_sig, emit_xml_dec.dec_sig,
            emit_xml_enc.write_encoder, write_decoders,
            (emit_xml_enc.inner_sig, emit_xml_fast.fast_sig),
            ("struct XmlFastIn;", "struct XmlGenOut;", "struct XmlGenName;"))
    return out


class XmlBranch(control.FormatBranch):
    """`EncodeTo`/`DecodeFrom` on an XML buffer."""

    enc_kind = "XMLEncode"
    dec_kind = "XMLDecode"
    rank = 2

    def encode(self, w, t, rec):
        emit_xml_enc.encode_branch(w, t, rec)

    def decode(self, w, t, rec):
        w("VXCTXT* xctxt = msgBuf.getCtxtPtr();")
        emit_xml_fast.decode_attempt(w, t, rec)
        emit_xml_dec.decode_branch(w, t, rec)

    def includes(self, mod):
        return [mod.stem + "Xml.h", COMMON_HEADER]


if not any(isinstance(b, XmlBranch) for b in control.BRANCHES):
    control.BRANCHES.append(XmlBranch())
