"""Small capture files built in code: pcap and pcapng around GeoNetworking
packets, for the converter's tests, the fuzz seeds and the speed probe.

Everything is written field by field from the published layouts; nothing here
reads a capture."""
import struct

ETH, WIFI, SLL, RADIOTAP, SLL2 = 1, 105, 113, 127, 276
SRC_MAC = bytes.fromhex("0a1b2c3d4e5f")

# (HT, HST) of each packet type and its extended header length.
GN_TYPES = {
    "BEACON": (1, 0, 24), "GUC": (2, 0, 48), "GAC": (3, 0, 44), "GBC": (4, 0, 44),
    "SHB": (5, 0, 28), "TSB": (5, 1, 28), "LS-REQUEST": (6, 0, 36), "LS-REPLY": (6, 1, 48),
}


def btp(port, message, kind="B", info=0):
    """A BTP header (A: destination and source port, B: port and info) and the message."""
    return struct.pack(">HH", port, info) + message


def common(payload, gn="SHB", btp_kind="B", pl=None):
    """Common and extended header in front of a BTP payload."""
    ht, hst, ext = GN_TYPES[gn]
    nh = {"A": 1, "B": 2, None: 0}[btp_kind]
    pl = len(payload) if pl is None else pl
    head = bytes([nh << 4, ht << 4 | hst, 0x02, 0x00]) + struct.pack(">H", pl) + bytes([1, 0])
    return head + bytes(range(1, ext + 1)) + payload


def oer_length(n):
    if n < 128:
        return bytes([n])
    body = n.to_bytes((n.bit_length() + 7) // 8, "big")
    return bytes([0x80 | len(body)]) + body


def var_length(n):
    if n < 0x80:
        return bytes([n])
    if n < 0x4000:
        return bytes([0x80 | n >> 8, n & 0xFF])
    return bytes([0xC0 | n >> 16, n >> 8 & 0xFF, n & 0xFF])


def secured(inner, security):
    """The secured envelope around the common header onward."""
    if security == "unsecured-v3":
        return b"\x03\x80" + oer_length(len(inner)) + inner
    if security == "signed-v3":
        # hash algorithm, payload preamble (data present), data, then a
        # header info, signer and signature that are not read
        return (b"\x03\x81\x00\x40\x03\x80" + oer_length(len(inner)) + inner +
                bytes.fromhex("4003800102") + bytes(40))
    if security == "encrypted-v3":
        return b"\x03\x82" + bytes(30)
    header = bytes(range(16))
    kinds = {"unsecured-v2": 0, "signed-v2": 1, "encrypted-v2": 2}
    body = var_length(len(inner)) + inner if kinds[security] < 2 else var_length(8) + bytes(8)
    return b"\x02" + var_length(len(header)) + header + bytes([kinds[security]]) + body + b"\x00"


def gn(message, port=2001, gn_type="SHB", security="none", btp_kind="B"):
    """A whole GeoNetworking packet around a message."""
    inner = common(btp(port, message), gn_type, btp_kind)
    if security == "none":
        return bytes([0x11, 0, 0x1A, 1]) + inner
    return bytes([0x12, 0, 0x1A, 1]) + secured(inner, security)


def link(packet, linktype=ETH, src=SRC_MAC, ethertype=0x8947):
    if linktype == ETH:
        return b"\xff" * 6 + src + struct.pack(">H", ethertype) + packet
    if linktype == SLL:
        return struct.pack(">HHH", 0, 1, len(src)) + src.ljust(8, b"\0") + struct.pack(
            ">H", ethertype) + packet
    if linktype == SLL2:
        return struct.pack(">HHIHBB", ethertype, 0, 1, 1, 0, len(src)) + src.ljust(8, b"\0") + packet
    wifi = (bytes([0x88, 0x00, 0, 0]) + b"\xff" * 6 + src + b"\xff" * 6 + b"\0\0" + b"\0\0" +
            bytes.fromhex("aaaa03000000") + struct.pack(">H", ethertype) + packet)
    if linktype == WIFI:
        return wifi
    # radiotap: present = flags (bit 1), flags byte 0x10 = FCS at the end
    return struct.pack("<BBHIB", 0, 0, 9, 0x2, 0x10) + wifi + b"\xde\xad\xbe\xef"


def pcap(frames, linktype=ETH, nanos=False, little=True, start=1700000000):
    """frames: list of bytes, or (seconds, fraction, bytes)."""
    e = "<" if little else ">"
    out = [struct.pack(e + "IHHiIII", 0xA1B23C4D if nanos else 0xA1B2C3D4, 2, 4, 0, 0, 65535,
                       linktype)]
    for i, f in enumerate(frames):
        sec, frac, data = f if isinstance(f, tuple) else (start + i, 0, f)
        out.append(struct.pack(e + "IIII", sec, frac, len(data), len(data)) + data)
    return b"".join(out)


def pcapng_block(btype, body, e="<"):
    pad = (-len(body)) % 4
    n = 12 + len(body) + pad
    return struct.pack(e + "II", btype, n) + body + bytes(pad) + struct.pack(e + "I", n)


def pcapng(interfaces, packets, little=True):
    """interfaces: list of (linktype, tsresol byte or None); packets: list of
    (interface, ticks, bytes), or (None, None, bytes) for a simple packet block."""
    e = "<" if little else ">"
    out = [pcapng_block(0x0A0D0D0A, struct.pack(e + "IHHq", 0x1A2B3C4D, 1, 0, -1), e)]
    for linktype, tsresol in interfaces:
        opts = b""
        if tsresol is not None:
            opts = struct.pack(e + "HH", 9, 1) + bytes([tsresol, 0, 0, 0])
        opts += struct.pack(e + "HH", 0, 0)
        out.append(pcapng_block(1, struct.pack(e + "HHI", linktype, 0, 0) + opts, e))
    for itf, ticks, data in packets:
        if itf is None:
            out.append(pcapng_block(3, struct.pack(e + "I", len(data)) + data, e))
        else:
            head = struct.pack(e + "IIIII", itf, ticks >> 32, ticks & 0xFFFFFFFF, len(data),
                               len(data))
            out.append(pcapng_block(6, head + data + bytes((-len(data)) % 4), e))
    return b"".join(out)
