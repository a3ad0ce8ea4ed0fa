"""XML readers `XmlDec_<T>`, one rule per construct (XER style).

Not written yet: every reader returns -60 (not supported) until the rules
are in place."""


def dec_sig(t):
    return "int XmlDec_%s(VXCTXT* pctxt, %s* pvalue)" % (t.cname, t.record)


def write_decoder(w, t):
    with w.block(dec_sig(t)):
        w("(void)pctxt; (void)pvalue;")
        w("return RTERR_NOTSUPP;")
    w()


def decode_branch(w, t, rec):
    w("return RTERR_NOTSUPP;")
