"""XML writers `XmlEnc_<T>`, one rule per construct (XER style).

Not written yet: every writer returns -60 (not supported) until the rules
are in place."""
from .codec_common import byval


def enc_sig(t):
    arg = "%s value" % t.record if byval(t) else "const %s* pvalue" % t.record
    return "int XmlEnc_%s(VXCTXT* pctxt, %s, const char* elemName, const char* nsPrefix)" % (
        t.cname, arg)


def write_encoder(w, t):
    with w.block(enc_sig(t)):
        w("(void)pctxt; (void)elemName; (void)nsPrefix; (void)%s;" % ("value" if byval(t) else "pvalue"))
        w("return RTERR_NOTSUPP;")
    w()


def encode_branch(w, t, rec):
    w("return RTERR_NOTSUPP;")
