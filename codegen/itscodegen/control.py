"""The encode/decode procedure of the top-level control classes.

`EncodeTo` and `DecodeFrom` of a control class test the kind of the message
buffer and call the codec of that format. Each back end (UPER, XML, JSON)
adds one `FormatBranch` to BRANCHES when its emitter is written; the
procedure below is the one template every control class is written from.
A buffer kind that no registered back end serves gets -60 (not supported),
which is what every kind gets until the back ends exist.
"""


class FormatBranch:
    """Interface of a back end's part of the procedure. `enc_kind` and
    `dec_kind` are the VXRTMessageBufferIF::Type names it serves; the
    methods write the body of the branch (ending in a return) for type t
    whose record is reachable as `rec` (an lvalue of type ASN1T_T)."""

    enc_kind = None
    dec_kind = None
    rank = 0  # place in the tests of a control class: UPER, JSON, XML

    def encode(self, w, t, rec):
        raise NotImplementedError

    def decode(self, w, t, rec):
        raise NotImplementedError

    def includes(self, mod):
        """Headers the type layer's unit of module mod needs for the branch."""
        return []


BRANCHES = []


def branches():
    """The registered branches in the order they are tested, whatever the
    order the back ends were imported in."""
    return sorted(BRANCHES, key=lambda b: b.rank)


def source_includes(mod):
    return [inc for b in branches() for inc in b.includes(mod)]

NOT_SUPPORTED = "RTERR_NOTSUPP"  # -60


def write_encode_to(w, t, cls, rec):
    with w.block("int %s::EncodeTo(VXRTMessageBufferIF& msgBuf)" % cls):
        w("int stat = setMsgBuf(msgBuf, 1);")
        w("if (stat != 0) return stat;")
        for b in branches():
            with w.block("if (msgBuf.isA(VXRTMessageBufferIF::%s))" % b.enc_kind):
                b.encode(w, t, rec)
        w("// Formats without a generated codec are not supported.")
        w("return %s;" % NOT_SUPPORTED)
    w()


def write_decode_from(w, t, cls, rec, init_call=None, set_context=False):
    with w.block("int %s::DecodeFrom(VXRTMessageBufferIF& msgBuf, unsigned char initFlag)" % cls):
        w("int stat = setMsgBuf(msgBuf, 1);")
        w("if (stat != 0) return stat;")
        if init_call:
            w(init_call)
        else:
            w("(void)initFlag;")
        if set_context:
            w("// From here on the record's parts belong to the buffer's context.")
            w("%s.setContext(msgBuf.getContext());" % rec)
        for b in branches():
            with w.block("if (msgBuf.isA(VXRTMessageBufferIF::%s))" % b.dec_kind):
                b.decode(w, t, rec)
        w("// Formats without a generated codec are not supported.")
        w("return %s;" % NOT_SUPPORTED)
    w()
