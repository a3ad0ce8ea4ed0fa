"""Schema compiler of itscodec: reads the ASN.1 modules in asn1/ and writes the
per-type C++ code (records, tables, control classes and, as back ends are
added, the codecs) into the build tree."""
