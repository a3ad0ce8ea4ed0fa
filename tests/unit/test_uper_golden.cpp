// Generated UPER codecs against bit layouts worked out by hand from the
// construct rules, one group per rule, plus the real-world CAM encodings
// in tests/data that must decode and re-encode byte for byte.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "AVIAEINumberingAndDataStructuresPer.h"
#include "AddGrpCPer.h"
#include "DSRCPer.h"
#include "ElectronicRegistrationIdentificationVehicleDataModulePer.h"
#include "ITS-ContainerPer.h"
#include "IVIPer.h"
#include "asn1EventHandler.h"
#include "asn1PerCppTypes.h"
#include "itscodec.h"
#include "itsgen_all.h"
#include "rtxError.h"
#include "rtxMemory.h"

namespace {

// Fields written high bit first, as UPER puts them on the wire.
class Bits {
 public:
   Bits& put(uint64_t value, unsigned nbits)
   {
      for (unsigned i = nbits; i-- > 0;) push((value >> i) & 1u);
      return *this;
   }
   Bits& octets(std::initializer_list<uint8_t> list)
   {
      for (uint8_t b : list) put(b, 8);
      return *this;
   }
   Bits& chars(const char* text)
   {
      for (; *text; text++) put((uint8_t)*text, 7);
      return *this;
   }
   size_t size() const { return nbits_; }
   const std::vector<uint8_t>& bytes() const { return data_; }

 private:
   void push(unsigned bit)
   {
      if (nbits_ % 8 == 0) data_.push_back(0);
      if (bit) data_.back() |= (uint8_t)(0x80u >> (nbits_ % 8));
      nbits_++;
   }
   std::vector<uint8_t> data_;
   size_t nbits_ = 0;
};

struct Encoded {
   int stat;
   uint64_t bits;
   std::vector<uint8_t> bytes;
};

template <typename F>
Encoded encodeWith(F encode)
{
   ASN1PEREncodeBuffer buf(false);
   VXCTXT* pctxt = buf.getCtxtPtr();
   Encoded e;
   e.stat = encode(pctxt);
   e.bits = pu_getMsgLenBits(pctxt);
   e.bytes.assign(pctxt->buffer.data, pctxt->buffer.data + pu_getMsgLen(pctxt));
   return e;
}

// Encodes one value (a number or a record pointer) with a generated encoder.
template <typename A, typename V>
Encoded encodeValue(int (*encode)(VXCTXT*, A), V value)
{
   return encodeWith([&](VXCTXT* c) { return encode(c, (A)value); });
}

#define EXPECT_LAYOUT(enc, layout)              \
   do {                                         \
      EXPECT_EQ(0, (enc).stat);                 \
      EXPECT_EQ((layout).size(), (enc).bits);   \
      EXPECT_EQ((layout).bytes(), (enc).bytes); \
   } while (0)

// A decode buffer over a copy of the given bytes; decoded parts live in its
// context's heap, so it must outlive the record's inspection.
struct Input {
   explicit Input(const std::vector<uint8_t>& b) : bytes(b), buf(bytes.data(), bytes.size(), false)
   {
   }
   explicit Input(const Bits& b) : Input(b.bytes()) {}
   VXCTXT* ctx() { return buf.getCtxtPtr(); }
   uint64_t used() { return pu_getMsgLenBits(ctx()); }
   std::vector<uint8_t> bytes;
   ASN1PERDecodeBuffer buf;
};

// A number type decoded from bits: the status, the value and the count of
// error records.
struct Scalar {
   int stat;
   int64_t value;
   size_t errors;
};

template <typename T>
Scalar decodeScalar(int (*decode)(VXCTXT*, T*), const Bits& b)
{
   Input in(b);
   T v = 0;
   Scalar r;
   r.stat = decode(in.ctx(), &v);
   r.value = (int64_t)v;
   r.errors = rtxErrGetErrorCnt(in.ctx());
   return r;
}

// The status of decoding bits into a fresh record of type T.
template <typename T>
int decodeStatus(int (*decode)(VXCTXT*, T*), const Bits& b)
{
   Input in(b);
   T v{};
   return decode(in.ctx(), &v);
}

#define EXPECT_DECODES(decode, layout, expected) \
   do {                                          \
      Scalar s_ = decodeScalar(decode, layout);  \
      EXPECT_EQ(0, s_.stat);                     \
      EXPECT_EQ((int64_t)(expected), s_.value);  \
   } while (0)

std::vector<uint8_t> readHexFile(const std::string& name)
{
   std::ifstream in(std::string(VX_TEST_DATA_DIR) + "/" + name);
   std::string hex;
   in >> hex;
   std::vector<uint8_t> out;
   for (size_t i = 0; i + 1 < hex.size(); i += 2)
      out.push_back((uint8_t)std::stoul(hex.substr(i, 2), nullptr, 16));
   return out;
}

}  // namespace

// -- INTEGER ---------------------------------------------------------------------

TEST(UperInteger, FixedRangesByCase)
{
   // Lower bound 0, the whole 32 bits.
   EXPECT_LAYOUT(encodeValue(asn1PE_ITS_StationID, 0x89ABCDEFu), Bits().put(0x89ABCDEF, 32));
   // 0..86400 in 17 bits: a field above the bound is refused bare.
   Scalar above = decodeScalar(asn1PD_ITS_ValidityDuration, Bits().put(86401, 17));
   EXPECT_EQ(RTERR_CONSVIO, above.stat);
   EXPECT_EQ(0u, above.errors);
   EXPECT_DECODES(asn1PD_ITS_ValidityDuration, Bits().put(86400, 17), 86400);
   // 1..127 in 7 bits holds value - 1; all ones would be 128.
   EXPECT_LAYOUT(encodeValue(asn1PE_ITS_HeadingConfidence, 127), Bits().put(126, 7));
   EXPECT_EQ(RTERR_CONSVIO, decodeStatus(asn1PD_ITS_HeadingConfidence, Bits().put(0x7F, 7)));
   EXPECT_DECODES(asn1PD_ITS_HeadingConfidence, Bits().put(0, 7), 1);
   // 1..8 fills its 3 bits: nothing to refuse.
   EXPECT_DECODES(asn1PD_IVI_DFL, Bits().put(7, 3), 8);
   // 42 bits.
   EXPECT_LAYOUT(encodeValue(asn1PE_ITS_TimestampIts, 0x123456789ABull),
                 Bits().put(0x123456789ABull, 42));
   EXPECT_DECODES(asn1PD_ITS_TimestampIts, Bits().put(0x3FFFFFFFFFFull, 42), 0x3FFFFFFFFFFull);
}

TEST(UperInteger, NegativeLowerBoundWrapsAndIsNotTested)
{
   // 1000000000 is outside the range: it goes out as 1900000000 without error.
   EXPECT_LAYOUT(encodeValue(asn1PE_ITS_Latitude, 1000000000), Bits().put(1900000000, 31));
   EXPECT_LAYOUT(encodeValue(asn1PE_ITS_Latitude, -900000000), Bits().put(0, 31));
   EXPECT_DECODES(asn1PD_ITS_Latitude, Bits().put(0x7FFFFFFF, 31), 2147483647 - 900000000);
}

TEST(UperInteger, ExtensibleRange)
{
   EXPECT_LAYOUT(encodeValue(asn1PE_ITS_ProtectedZoneRadius, 10), Bits().put(0, 1).put(9, 8));
   Bits outside = Bits().put(1, 1).put(2, 8).put(300, 16);
   EXPECT_LAYOUT(encodeValue(asn1PE_ITS_ProtectedZoneRadius, 300), outside);
   Input in(outside);
   ASN1T_ITS_ProtectedZoneRadius v = 0;
   EXPECT_EQ(0, asn1PD_ITS_ProtectedZoneRadius(in.ctx(), &v));
   EXPECT_EQ(300u, v);
   EXPECT_EQ(outside.size(), in.used());
}

// -- fields read and written together -------------------------------------------
//
// With a word of the buffer ahead and no event handler, a run of fixed fields
// (and an extensible INTEGER's root) is read with one load; at the end of the
// buffer or with a handler, field by field. Each case decodes short, padded to
// a word and padded with a handler listening: status, record and cursor agree.

namespace {
class Listener : public Asn1NamedEventHandler {
 public:
   void startElement(const char*, int) override {}
   void endElement(const char*, int) override {}
};

template <typename T>
struct Decoded {
   int stat;
   uint64_t used;
   T value;
};

enum class Way { Short, Word, Heard };

template <typename T>
Decoded<T> decodeWay(int (*decode)(VXCTXT*, T*), const Bits& b, Way way)
{
   std::vector<uint8_t> bytes = b.bytes();
   if (way != Way::Short) bytes.resize(bytes.size() + 8, 0);
   Input in(bytes);
   Listener listener;
   if (way == Way::Heard) in.buf.addEventHandler(&listener);
   Decoded<T> d{0, 0, T{}};
   d.stat = decode(in.ctx(), &d.value);
   d.used = in.used();
   if (way == Way::Heard) in.buf.removeEventHandler(&listener);
   return d;
}
}  // namespace

TEST(UperFieldRuns, ExtensibleRootAboveItsRangeStopsAfterTheField)
{
   // 1..255 with extension marker: bit 0, then 255 in 8 bits is value 256.
   for (Way way : {Way::Short, Way::Word, Way::Heard}) {
      Decoded<ASN1T_ITS_ProtectedZoneRadius> d =
         decodeWay(asn1PD_ITS_ProtectedZoneRadius, Bits().put(0, 1).put(255, 8), way);
      EXPECT_EQ(RTERR_CONSVIO, d.stat) << (int)way;
      EXPECT_EQ(9u, d.used) << (int)way;
      d = decodeWay(asn1PD_ITS_ProtectedZoneRadius, Bits().put(0, 1).put(254, 8), way);
      EXPECT_EQ(0, d.stat) << (int)way;
      EXPECT_EQ(255u, d.value) << (int)way;
      EXPECT_EQ(9u, d.used) << (int)way;
   }
}

// -- BOOLEAN and ENUMERATED --------------------------------------------------------

TEST(UperBoolean, ReadPastTheEndIsLeftToTheNextField)
{
   EXPECT_LAYOUT(encodeValue(asn1PE_ITS_EmbarkationStatus, 1), Bits().put(1, 1));
   Input in(Bits().put(0xFF, 8));
   uint32_t skip = 0;
   ASSERT_EQ(0, rtxDecBits(in.ctx(), &skip, 8));
   ASN1T_ITS_EmbarkationStatus v = 1;
   EXPECT_EQ(0, asn1PD_ITS_EmbarkationStatus(in.ctx(), &v));
   EXPECT_EQ(1, v);
}

TEST(UperEnumerated, WithoutMarkerDecodesAnyFieldButEncodesOnlyTheRoot)
{
   EXPECT_LAYOUT(encodeValue(asn1PE_ETSI_DSRC_MovementPhaseState, 5), Bits().put(5, 4));
   EXPECT_DECODES(asn1PD_ETSI_DSRC_MovementPhaseState, Bits().put(15, 4), 15);
   EXPECT_EQ(RTERR_INVENUM, encodeValue(asn1PE_ETSI_DSRC_MovementPhaseState, 15).stat);
}

TEST(UperEnumerated, WithMarkerUnknownValueBecomesTheMarker)
{
   EXPECT_LAYOUT(encodeValue(asn1PE_ETSI_DSRC_AdvisorySpeedType, 2), Bits().put(0, 1).put(2, 2));
   // Extension bit 1, then a small number 3 (bit 0 and 6 bits).
   Input in(Bits().put(1, 1).put(0, 1).put(3, 6));
   ASN1T_ETSI_DSRC_AdvisorySpeedType v = 0;
   EXPECT_EQ(0, asn1PD_ETSI_DSRC_AdvisorySpeedType(in.ctx(), &v));
   EXPECT_EQ(0x7FFFFFFFu, v);
   EXPECT_EQ(8u, in.used());
   EXPECT_EQ(RTERR_INVENUM, encodeValue(asn1PE_ETSI_DSRC_AdvisorySpeedType, v).stat);
}

// -- BIT STRING and OCTET STRING ------------------------------------------------------

TEST(UperBitString, FixedSizes)
{
   ASN1T_ETSI_DSRC_IntersectionStatusObject iso = {{0xA5, 0x0F}};
   EXPECT_LAYOUT(encodeValue(asn1PE_ETSI_DSRC_IntersectionStatusObject, &iso),
                 Bits().put(0xA50F, 16));
   ASN1T_CountryCode cc = {10, {0xC0, 0x40, 0, 0}};
   Bits ccBits = Bits().put(0x301, 10);
   EXPECT_LAYOUT(encodeValue(asn1PE_CountryCode, &cc), ccBits);
   Input in(ccBits);
   ASN1T_CountryCode back = {0, {0, 0, 0, 0}};
   EXPECT_EQ(0, asn1PD_CountryCode(in.ctx(), &back));
   EXPECT_EQ(10u, back.numbits);
   EXPECT_EQ(0, memcmp(cc.data, back.data, 2));
}

TEST(UperBitString, NamedBitsAreTrimmedInTheRecord)
{
   // No bit set: a count of 1 (size field 0) and one bit 0.
   ASN1T_ITS_DrivingLaneStatus none = {14, {0, 0}};
   EXPECT_LAYOUT(encodeValue(asn1PE_ITS_DrivingLaneStatus, &none), Bits().put(0, 4).put(0, 1));
   EXPECT_EQ(1, none.numbits);
   // Last bit set is bit 2: three bits go out.
   ASN1T_ITS_DrivingLaneStatus third = {14, {0x20, 0}};
   Bits layout = Bits().put(2, 4).put(1, 3);
   EXPECT_LAYOUT(encodeValue(asn1PE_ITS_DrivingLaneStatus, &third), layout);
   EXPECT_EQ(3, third.numbits);
   Input in(layout);
   ASN1T_ITS_DrivingLaneStatus back = {0, {0, 0}};
   EXPECT_EQ(0, asn1PD_ITS_DrivingLaneStatus(in.ctx(), &back));
   EXPECT_EQ(3, back.numbits);
   EXPECT_EQ(0x20, back.data[0]);
}

TEST(UperBitString, ExtensibleSizeKeepsBitsBeyondTheRoot)
{
   // Root size 8: never trimmed below it.
   ASN1T_ETSI_DSRC_LaneAttributes_Vehicle root = {8, {0x80}, nullptr};
   EXPECT_LAYOUT(encodeValue(asn1PE_ETSI_DSRC_LaneAttributes_Vehicle, &root),
                 Bits().put(0, 1).put(0x80, 8));
   uint8_t more[1] = {0xA0};
   ASN1T_ETSI_DSRC_LaneAttributes_Vehicle ext = {12, {0xFF}, more};
   Bits layout = Bits().put(1, 1).put(12, 8).put(0xFF, 8).put(0xA, 4);
   EXPECT_LAYOUT(encodeValue(asn1PE_ETSI_DSRC_LaneAttributes_Vehicle, &ext), layout);
   Input in(layout);
   ASN1T_ETSI_DSRC_LaneAttributes_Vehicle back = {0, {0}, nullptr};
   EXPECT_EQ(0, asn1PD_ETSI_DSRC_LaneAttributes_Vehicle(in.ctx(), &back));
   EXPECT_EQ(12, back.numbits);
   EXPECT_EQ(0xFF, back.data[0]);
   ASSERT_NE(nullptr, back.extdata);
   EXPECT_EQ(0xA0, back.extdata[0]);
}

TEST(UperOctetString, ByCase)
{
   ASN1T_ITS_PtActivationData pt = {};
   pt.numocts = 3;
   pt.data[0] = 1;
   pt.data[1] = 2;
   pt.data[2] = 3;
   EXPECT_LAYOUT(encodeValue(asn1PE_ITS_PtActivationData, &pt), Bits().put(2, 5).octets({1, 2, 3}));
   // The 5-bit field can say 21: refused.
   EXPECT_EQ(RTERR_CONSVIO,
             decodeStatus(asn1PD_ITS_PtActivationData, Bits().put(20, 5).put(0, 24)));
   ASN1T_ETSI_DSRC_TemporaryID id = {{0xDE, 0xAD, 0xBE, 0xEF}};
   Bits idBits = Bits().octets({0xDE, 0xAD, 0xBE, 0xEF});
   EXPECT_LAYOUT(encodeValue(asn1PE_ETSI_DSRC_TemporaryID, &id), idBits);
}

// -- character strings -------------------------------------------------------------

TEST(UperCharString, SizeRangeAndFixedSize)
{
   EXPECT_LAYOUT(encodeValue(asn1PE_ETSI_DSRC_DescriptiveName, "AB"), Bits().put(1, 6).chars("AB"));
   EXPECT_EQ(RTERR_CONSVIO, encodeValue(asn1PE_ETSI_DSRC_DescriptiveName, "").stat);
   std::string tooLong(64, 'x');
   EXPECT_EQ(RTERR_CONSVIO, encodeValue(asn1PE_ETSI_DSRC_DescriptiveName, tooLong.c_str()).stat);
   Bits vds = Bits().chars("WVWZZZ");
   EXPECT_LAYOUT(encodeValue(asn1PE_ITS_VDS, "WVWZZZ"), vds);
   Input in(vds);
   ASN1T_ITS_VDS back = nullptr;
   EXPECT_EQ(0, asn1PD_ITS_VDS(in.ctx(), &back));
   EXPECT_STREQ("WVWZZZ", back);
}

TEST(UperCharString, CompanyNameCountsCharactersAfterDecoding)
{
   // 24 two-octet characters pass, 25 one-octet characters do not.
   std::string ok;
   for (int i = 0; i < 24; i++) ok += "\xC3\xA9";
   std::string bad(25, 'x');
   for (const std::string* name : {&ok, &bad}) {
      ASN1T_ITS_DangerousGoodsExtended rec;
      rec.dangerousGoodsType = 0;
      rec.elevatedTemperature = rec.tunnelsRestricted = rec.limitedQuantity = 0;
      rec.unNumber = 1234;
      rec.m.companyNamePresent = 1;
      rec.companyName = name->c_str();
      Encoded e = encodeValue(asn1PE_ITS_DangerousGoodsExtended, &rec);
      ASSERT_EQ(0, e.stat);
      Input in(e.bytes);
      ASN1T_ITS_DangerousGoodsExtended back;
      int stat = asn1PD_ITS_DangerousGoodsExtended(in.ctx(), &back);
      if (name == &ok) {
         EXPECT_EQ(0, stat);
         EXPECT_STREQ(ok.c_str(), back.companyName);
         EXPECT_EQ(1234, back.unNumber);
      } else {
         EXPECT_EQ(RTERR_CONSVIO, stat);
      }
   }
}

// -- SEQUENCE ----------------------------------------------------------------------

namespace {
// Position3D: extension bit, two presence bits, lat (31 bits), long (32 bits).
Bits position3DHead(bool ext)
{
   return Bits().put(ext, 1).put(0, 2).put(900000000 + 10, 31).put(1800000000 - 5, 32);
}
}  // namespace

TEST(UperSequence, UnknownAdditionsAreKeptInPlace)
{
   // Three additions, flags 1 0 1, then two open types.
   Bits layout = position3DHead(true)
                    .put(0, 1)
                    .put(2, 6)
                    .put(0b101, 3)
                    .put(1, 8)
                    .octets({0xAA})
                    .put(2, 8)
                    .octets({0xBB, 0xCC});
   Input in(layout);
   ASN1T_ETSI_DSRC_Position3D pos;
   ASSERT_EQ(0, asn1PD_ETSI_DSRC_Position3D(in.ctx(), &pos));
   EXPECT_EQ(10, pos.lat);
   EXPECT_EQ(-5, pos.long_);
   EXPECT_EQ(0u, pos.m.elevationPresent);
   ASSERT_EQ(3u, pos.extElem1.count);
   const ASN1OpenType* first = (const ASN1OpenType*)pos.extElem1.head->data;
   const ASN1OpenType* last = (const ASN1OpenType*)pos.extElem1.tail->data;
   EXPECT_EQ(nullptr, pos.extElem1.head->next->data);
   ASSERT_NE(nullptr, first);
   ASSERT_NE(nullptr, last);
   EXPECT_EQ(1u, first->numocts);
   EXPECT_EQ(0xAA, first->data[0]);
   EXPECT_EQ(2u, last->numocts);
   EXPECT_EQ(layout.size(), in.used());
   EXPECT_LAYOUT(encodeValue(asn1PE_ETSI_DSRC_Position3D, &pos), layout);
}

TEST(UperSequence, AdditionsOfOnlyAbsentNodesStillSetTheBit)
{
   ASN1PEREncodeBuffer buf(false);
   VXCTXT* pctxt = buf.getCtxtPtr();
   ASN1T_ETSI_DSRC_Position3D pos;
   pos.lat = 10;
   pos.long_ = -5;
   ASSERT_NE(nullptr, rtxDListAppend(pctxt, &pos.extElem1, nullptr));
   ASSERT_NE(nullptr, rtxDListAppend(pctxt, &pos.extElem1, nullptr));
   ASSERT_EQ(0, asn1PE_ETSI_DSRC_Position3D(pctxt, &pos));
   Bits layout = position3DHead(true).put(0, 1).put(1, 6).put(0, 2);
   EXPECT_EQ(layout.size(), pu_getMsgLenBits(pctxt));
   EXPECT_EQ(0, memcmp(layout.bytes().data(), pctxt->buffer.data, layout.bytes().size()));
}

// -- CHOICE ----------------------------------------------------------------------

TEST(UperChoice, UnknownAlternativeSurvivesInSelector)
{
   // Extension bit, small number 5, open type of one octet.
   Bits layout = Bits().put(1, 1).put(5, 7).put(1, 8).octets({0xAB});
   Input in(layout);
   ASN1T_HighFrequencyContainer hf;
   ASSERT_EQ(0, asn1PD_HighFrequencyContainer(in.ctx(), &hf));
   EXPECT_EQ(8u, hf.t);
   ASSERT_NE(nullptr, hf.u.extElem1);
   EXPECT_EQ(1u, hf.u.extElem1->numocts);
   EXPECT_LAYOUT(encodeValue(asn1PE_HighFrequencyContainer, &hf), layout);
   hf.t = 0;
   EXPECT_EQ(RTERR_INVOPT, encodeValue(asn1PE_HighFrequencyContainer, &hf).stat);
}

TEST(UperChoice, RootAlternativesWithAndWithoutMarker)
{
   // Second root alternative: an RSU container with no extension, nothing present.
   {
      Input in(Bits().put(0, 1).put(1, 1).put(0, 1).put(0, 1));
      ASN1T_HighFrequencyContainer hf;
      ASSERT_EQ(0, asn1PD_HighFrequencyContainer(in.ctx(), &hf));
      EXPECT_EQ(2u, hf.t);
      ASSERT_NE(nullptr, hf.u.rsuContainerHighFrequency);
      EXPECT_EQ(0u, hf.u.rsuContainerHighFrequency->m.protectedCommunicationZonesRSUPresent);
   }
   // Six alternatives in 3 bits, two of them NULL; 6 and 7 are no alternative.
   ASN1T_EuVehicleCategoryCode code;
   code.t = 2;
   code.u.euVehicleCategoryM = 2;
   EXPECT_LAYOUT(encodeValue(asn1PE_EuVehicleCategoryCode, &code), Bits().put(1, 3).put(2, 2));
   {
      Input in(Bits().put(5, 3));
      ASN1T_EuVehicleCategoryCode v;
      EXPECT_EQ(0, asn1PD_EuVehicleCategoryCode(in.ctx(), &v));
      EXPECT_EQ(6u, v.t);
      EXPECT_EQ(3u, in.used());
   }
   EXPECT_EQ(RTERR_INVOPT, decodeStatus(asn1PD_EuVehicleCategoryCode, Bits().put(6, 3)));
   code.t = 7;
   EXPECT_EQ(RTERR_INVOPT, encodeValue(asn1PE_EuVehicleCategoryCode, &code).stat);
}

// -- SEQUENCE OF --------------------------------------------------------------------

TEST(UperSequenceOf, ListArrayAndDynamicArray)
{
   ASN1TSeqOfList empty;
   rtxDListInit(&empty);
   EXPECT_EQ(RTERR_CONSVIO, encodeValue(asn1PE_ETSI_DSRC_MovementEventList, &empty).stat);

   // Inline array 1..16: one slot more than the bound, but 17 is refused.
   ASN1T_ETSI_DSRC_EnabledLaneList lanes = {};
   lanes.n = 2;
   lanes.elem[0] = 3;
   lanes.elem[1] = 200;
   Bits layout = Bits().put(1, 4).put(3, 8).put(200, 8);
   EXPECT_LAYOUT(encodeValue(asn1PE_ETSI_DSRC_EnabledLaneList, &lanes), layout);
   lanes.n = 17;
   EXPECT_EQ(RTERR_CONSVIO, encodeValue(asn1PE_ETSI_DSRC_EnabledLaneList, &lanes).stat);
   {
      Input in(layout);
      ASN1T_ETSI_DSRC_EnabledLaneList back = {};
      EXPECT_EQ(0, asn1PD_ETSI_DSRC_EnabledLaneList(in.ctx(), &back));
      EXPECT_EQ(2, back.n);
      EXPECT_EQ(200, back.elem[1]);
   }
   {
      // 1..5 in 3 bits: a count of 7 is refused with a recorded error.
      Input in(Bits().put(6, 3).put(0, 64));
      ASN1T_ETSI_DSRC_OverlayLaneList back = {};
      EXPECT_EQ(RTERR_CONSVIO, asn1PD_ETSI_DSRC_OverlayLaneList(in.ctx(), &back));
      EXPECT_EQ(RTERR_CONSVIO, rtxErrGetLastError(in.ctx()));
   }

   // Dynamic array of Zid (1..32, ...), size 1..8 with extension.
   ASN1T_IVI_Zid zones[9] = {1, 32, 2, 3, 4, 5, 6, 7, 8};
   ASN1T_IVI_GicPart_detectionZoneIds ids = {2, zones};
   Bits two = Bits().put(0, 1).put(1, 3).put(0, 1).put(0, 5).put(0, 1).put(31, 5);
   EXPECT_LAYOUT(encodeValue(asn1PE_IVI_GicPart_detectionZoneIds, &ids), two);
   ids.n = 9;
   Bits nine = Bits().put(1, 1).put(9, 8);
   for (int i = 0; i < 9; i++) nine.put(0, 1).put(zones[i] - 1, 5);
   EXPECT_LAYOUT(encodeValue(asn1PE_IVI_GicPart_detectionZoneIds, &ids), nine);
   {
      Input in(nine);
      ASN1T_IVI_GicPart_detectionZoneIds back = {0, nullptr};
      EXPECT_EQ(0, asn1PD_IVI_GicPart_detectionZoneIds(in.ctx(), &back));
      ASSERT_EQ(9u, back.n);
      EXPECT_EQ(0, memcmp(zones, back.elem, sizeof(zones)));
   }
   // A fragmented count comes back as 2, which callers take as a failure.
   EXPECT_EQ(2, decodeStatus(asn1PD_IVI_GicPart_detectionZoneIds,
                             Bits().put(1, 1).put(0xC1, 8).put(0, 64)));
}

// -- region-keyed open types -----------------------------------------------------------

namespace {
// Position3D-addGrpC: extension bit 0, altitude value (20 bits, offset
// 100000) and confidence (4 bits): 25 bits.
Bits& addGrpCAltitude(Bits& b, int altitude)
{
   return b.put(0, 1).put((uint64_t)(altitude + 100000), 20).put(2, 4);
}
}  // namespace

TEST(UperRegional, KnownRegionInsideItsLength)
{
   // Declared 5 octets, the value needs 4: the rest is skipped.
   Bits layout = Bits().put(3, 8).put(5, 8);
   addGrpCAltitude(layout, 1000).put(0, 15).put(0x5A, 8);
   Input in(layout);
   ASN1T_ETSI_DSRC_Position3D_regional_element el;
   ASSERT_EQ(0, asn1PD_ETSI_DSRC_Position3D_regional_element(in.ctx(), &el));
   EXPECT_EQ(1, el.regExtValue.t);
   ASSERT_NE(nullptr, el.regExtValue.u.addGrpC);
   EXPECT_EQ(1000, el.regExtValue.u.addGrpC->altitude.altitudeValue);
   EXPECT_EQ(56u, in.used());
   // Written back from the record: its own length, 4 octets.
   Bits again = Bits().put(3, 8).put(4, 8);
   addGrpCAltitude(again, 1000).put(0, 7);
   EXPECT_LAYOUT(encodeValue(asn1PE_ETSI_DSRC_Position3D_regional_element, &el), again);
}

TEST(UperRegional, KnownRegionPastItsLengthOrFragmentedFails)
{
   Bits layout = Bits().put(3, 8).put(2, 8);
   addGrpCAltitude(layout, 1000).put(0, 32);
   EXPECT_EQ(ASN_E_INVLEN, decodeStatus(asn1PD_ETSI_DSRC_Position3D_regional_element, layout));
   EXPECT_EQ(RTERR_NOTSUPP, decodeStatus(asn1PD_ETSI_DSRC_Position3D_regional_element,
                                         Bits().put(3, 8).put(0xC1, 8).put(0, 64)));
}

TEST(UperRegional, OtherRegionsKeepTheirOctets)
{
   Bits layout = Bits().put(200, 8).put(3, 8).octets({1, 2, 3});
   Input in(layout);
   ASN1T_ETSI_DSRC_Position3D_regional_element el;
   ASSERT_EQ(0, asn1PD_ETSI_DSRC_Position3D_regional_element(in.ctx(), &el));
   EXPECT_EQ(0, el.regExtValue.t);
   ASSERT_NE(nullptr, el.regExtValue.u.openType);
   EXPECT_EQ(3u, el.regExtValue.u.openType->numocts);
   EXPECT_LAYOUT(encodeValue(asn1PE_ETSI_DSRC_Position3D_regional_element, &el), layout);
   el.regExtValue.t = 2;
   EXPECT_EQ(RTERR_INVOPT, encodeValue(asn1PE_ETSI_DSRC_Position3D_regional_element, &el).stat);
}

TEST(UperRegional, RowlessRegionAndUnknownFrameKeepOctets)
{
   // A region-keyed type without a known row: a plain open type.
   Bits raw = Bits().put(3, 8).put(2, 8).octets({0x12, 0x34});
   Input in(raw);
   ASN1T_ETSI_DSRC_NodeOffsetPointXY_regional el;
   ASSERT_EQ(0, asn1PD_ETSI_DSRC_NodeOffsetPointXY_regional(in.ctx(), &el));
   EXPECT_EQ(2u, el.regExtValue.numocts);
   EXPECT_LAYOUT(encodeValue(asn1PE_ETSI_DSRC_NodeOffsetPointXY_regional, &el), raw);
   // The frame: extension bit, messageId in 15 bits, then the value; 20 is
   // not a known message.
   Bits frame = Bits().put(0, 1).put(20, 15).put(2, 8).octets({0xAB, 0xCD});
   Input fin(frame);
   ASN1T_ETSI_DSRC_MessageFrame mf;
   ASSERT_EQ(0, asn1PD_ETSI_DSRC_MessageFrame(fin.ctx(), &mf));
   EXPECT_EQ(0, mf.value.t);
   EXPECT_LAYOUT(encodeValue(asn1PE_ETSI_DSRC_MessageFrame, &mf), frame);
}

// -- events ------------------------------------------------------------------------

namespace {
class Recorder : public Asn1NamedEventHandler {
 public:
   void startElement(const char* name, int) override { log += std::string("<") + name; }
   void endElement(const char* name, int) override { log += std::string(">") + name; }
   void intValue(int32_t v) override { log += "=" + std::to_string(v); }
   std::string log;
};
}  // namespace

TEST(UperEvents, ComponentsAreBracketedWithTheirValues)
{
   Input in(position3DHead(false));
   Recorder rec;
   ASSERT_EQ(0, in.buf.addEventHandler(&rec));
   ASN1T_ETSI_DSRC_Position3D pos;
   ASSERT_EQ(0, asn1PD_ETSI_DSRC_Position3D(in.ctx(), &pos));
   EXPECT_EQ("<lat=10>lat<long=-5>long", rec.log);
   in.buf.removeEventHandler(&rec);
}

// -- messages ------------------------------------------------------------------------

namespace {
struct CamRun {
   int decodeStat = 0;
   int encodeStat = -1;
   int heapCheck = 0;
   std::vector<uint8_t> reencoded;
   uint32_t stationID = 0;
};

CamRun runCam(const std::vector<uint8_t>& bytes)
{
   CamRun r;
   ASN1PERDecodeBuffer in(bytes.data(), bytes.size(), false);
   ASN1T_CAM cam;
   Vexil_CAM decoder(in, cam);
   r.decodeStat = decoder.DecodeFrom(in);
   r.heapCheck = rtxMemHeapCheckQuiet(&in.getCtxtPtr()->pMemHeap);
   if (r.decodeStat != 0) return r;
   r.stationID = cam.header.stationID;
   ASN1PEREncodeBuffer out(false);
   Vexil_CAM encoder(out, cam);
   r.encodeStat = encoder.EncodeTo(out);
   if (r.encodeStat == 0) r.reencoded.assign(out.getMsgPtr(), out.getMsgPtr() + out.getMsgLen());
   return r;
}
}  // namespace

// The capture with protocol version 1 carries a 16-bit curvatureValue, the
// range of this schema (-30000..30001): it decodes and re-encodes exactly.
TEST(UperCam, CapturedMessageRoundTripsByteForByte)
{
   std::vector<uint8_t> bytes = readHexFile("cam_captured_protocol1.uper.hex");
   ASSERT_FALSE(bytes.empty());
   CamRun r = runCam(bytes);
   ASSERT_EQ(0, r.decodeStat);
   EXPECT_EQ(0, r.heapCheck);
   EXPECT_EQ(78880133u, r.stationID);
   ASSERT_EQ(0, r.encodeStat);
   EXPECT_EQ(bytes, r.reencoded);
}

// The two captures with protocol version 2 carry an 11-bit curvatureValue
// (-1023..1023), which this schema's range does not describe: decoding runs
// out of step after that field and must fail cleanly. The malformed capture
// must fail or pass cleanly as well.
TEST(UperCam, CapturesOfAnotherCurvatureRangeFailCleanly)
{
   for (const char* file : {"cam_captured_station55552.uper.hex", "cam_captured_station1.uper.hex",
                            "cam_malformed_yawrate.uper.hex"}) {
      SCOPED_TRACE(file);
      std::vector<uint8_t> bytes = readHexFile(file);
      ASSERT_FALSE(bytes.empty());
      CamRun r = runCam(bytes);
      EXPECT_EQ(0, r.heapCheck);
      // A failure is a negative status or a fragment (2); a success must
      // encode again.
      if (r.decodeStat == 0)
         EXPECT_EQ(0, r.encodeStat);
      else
         EXPECT_TRUE(r.decodeStat < 0 || r.decodeStat == 2) << r.decodeStat;
   }
   EXPECT_NE(0, runCam(readHexFile("cam_captured_station1.uper.hex")).decodeStat);
}

TEST(UperCam, RecordedConstraintViolationFailsTheMessage)
{
   std::vector<uint8_t> bytes = readHexFile("cam_captured_protocol1.uper.hex");
   for (bool preset : {false, true}) {
      ASN1PERDecodeBuffer in(bytes.data(), bytes.size(), false);
      if (preset) rtxErrSetData(in.getCtxtPtr(), RTERR_CONSVIO, "test", 1);
      ASN1T_CAM cam;
      cam.setContext(in.getContext());
      EXPECT_EQ(preset ? RTERR_CONSVIO : 0, asn1PD_CAM(in.getCtxtPtr(), &cam));
   }
   // Every truncation of a good message fails without touching what is not there.
   for (size_t n = 1; n < bytes.size(); n++) {
      std::vector<uint8_t> cut(bytes.begin(), bytes.begin() + (long)n);
      CamRun r = runCam(cut);
      EXPECT_NE(0, r.decodeStat) << n;
      EXPECT_EQ(0, r.heapCheck);
   }
}

// -- bad input -------------------------------------------------------------------------

namespace {
// Decodes bytes as message Rec through its control class; whatever decodes
// must encode again, unless a value outside the root came in (-4 for an
// enumeration, -16 for a size the encoder tests).
template <typename Rec, typename Ctl>
void decodeAnyBytes(const std::vector<uint8_t>& bytes)
{
   ASN1PERDecodeBuffer in(bytes.data(), bytes.size(), false);
   Rec rec;
   Ctl decoder(in, rec);
   int stat = decoder.DecodeFrom(in);
   ASSERT_TRUE(stat <= 0 || stat == 2) << stat;
   ASSERT_EQ(0, rtxMemHeapCheckQuiet(&in.getCtxtPtr()->pMemHeap));
   if (stat != 0) return;
   ASSERT_LE(in.getCtxtPtr()->buffer.byteIndex, bytes.size());
   ASN1PEREncodeBuffer out(false);
   Ctl encoder(out, rec);
   stat = encoder.EncodeTo(out);
   ASSERT_TRUE(stat == 0 || stat == RTERR_INVENUM || stat == RTERR_CONSVIO) << stat;
}

template <typename Rec, typename Ctl>
void randomMessages(uint8_t messageID, uint32_t seed, int count)
{
   uint32_t x = seed;
   auto next = [&x]() {
      x ^= x << 13;
      x ^= x >> 17;
      x ^= x << 5;
      return x;
   };
   for (int i = 0; i < count; i++) {
      std::vector<uint8_t> bytes(1 + next() % 160);
      for (uint8_t& b : bytes) b = (uint8_t)next();
      // A valid header half of the time, so that the payload is reached.
      if (i % 2 == 0 && bytes.size() > 2) {
         bytes[0] = 2;
         bytes[1] = messageID;
      }
      decodeAnyBytes<Rec, Ctl>(bytes);
      if (::testing::Test::HasFatalFailure()) return;
   }
}
}  // namespace

TEST(UperBadInput, RandomBytesIntoEveryMessageDecoder)
{
   uint32_t seed = 1;
#define VX_RANDOM_MESSAGES(MSG, ID, MEMBER) \
   randomMessages<ASN1T_##MSG, Vexil_##MSG>(ID, seed++, 3000);
   ITSCODEC_MESSAGES(VX_RANDOM_MESSAGES)
#undef VX_RANDOM_MESSAGES
}

TEST(UperBadInput, BitFlipsOfCapturedMessages)
{
   for (const char* file : {"cam_captured_protocol1.uper.hex", "cam_captured_station1.uper.hex"}) {
      std::vector<uint8_t> good = readHexFile(file);
      for (size_t bit = 0; bit < good.size() * 8; bit++) {
         std::vector<uint8_t> bytes = good;
         bytes[bit / 8] ^= (uint8_t)(0x80u >> (bit % 8));
         decodeAnyBytes<ASN1T_CAM, Vexil_CAM>(bytes);
         if (HasFatalFailure()) return;
      }
   }
}

TEST(UperRegional, FrameSelectsTheKnownMessageByItsId)
{
   // messageId 18: a MapData of 16 bits (extension bit, eight presence bits,
   // msgIssueRevision 5) in an open type of 2 octets.
   Bits layout = Bits().put(0, 1).put(18, 15).put(2, 8).put(0, 1).put(0, 8).put(5, 7);
   Input in(layout);
   ASN1T_ETSI_DSRC_MessageFrame mf;
   ASSERT_EQ(0, asn1PD_ETSI_DSRC_MessageFrame(in.ctx(), &mf));
   EXPECT_EQ(1, mf.value.t);
   ASSERT_NE(nullptr, mf.value.u.mapData);
   EXPECT_EQ(5, mf.value.u.mapData->msgIssueRevision);
   EXPECT_EQ(layout.size(), in.used());
   EXPECT_LAYOUT(encodeValue(asn1PE_ETSI_DSRC_MessageFrame, &mf), layout);
}
