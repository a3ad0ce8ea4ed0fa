// The writing steps of the generated XML encoders (xmlGenWrite.h): tags,
// numbers, enumerators, bit and octet strings, each against the general
// writer functions it stands for. Random programs of them must give the
// same text, state, level and element stack in every output setting,
// whether a step writes in place or hands over to the general writer; a
// fixed buffer holds the whole text or the call fails.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "rtxError.h"
#include "xmlGenWrite.h"

namespace {

enum class Op { Start, End, Empty, Int, UInt, Named, Bits, Hex };

struct Step {
   Op op;
   const char* name;
   int64_t value;
};

// Names of every length class a name is copied by: 1 to 3 bytes, 4 to 7,
// 8 to 16 (two overlapping words each) and longer.
const std::string kLong70(70, 'o');
const char* const kNames[] = {"a",
                              "id",
                              "lat",
                              "long",
                              "heading",
                              "abcdefgh",
                              "regExtValue",
                              "abcdefghijklmnop",
                              "Position3D-addGrpC",
                              kLong70.c_str()};

// A random well-nested program: elements open and close, leaves between,
// down to a depth where the indentation passes 16 blanks.
std::vector<Step> program(uint32_t seed)
{
   std::mt19937 rng(seed);
   std::vector<Step> steps;
   std::vector<const char*> open;
   const int64_t values[] = {0, 1, -1, 9, 10, 99, 100, -12345678, INT64_MIN, INT64_MAX};
   for (int i = 0; i < 120; i++) {
      const char* name = kNames[rng() % (sizeof kNames / sizeof kNames[0])];
      int64_t value = rng() % 3 == 0 ? values[rng() % 10] : (int64_t)(rng() % 100000) - 50000;
      switch (rng() % 7) {
         case 0:
         case 1:
            if (open.size() < 9) {
               steps.push_back({Op::Start, name, 0});
               open.push_back(name);
               break;
            }
            [[fallthrough]];
         case 2:
            if (!open.empty()) {
               steps.push_back({Op::End, open.back(), 0});
               open.pop_back();
            }
            break;
         case 3:
            steps.push_back({Op::Empty, name, 0});
            break;
         case 4:
            steps.push_back({Op::Int, name, value});
            break;
         case 5:
            steps.push_back({Op::UInt, name, value});
            break;
         default: {
            // An enumerator or boolean, a bit string, an octet string;
            // the value picks the length of the last two (0 included).
            const Op leaves[] = {Op::Named, Op::Bits, Op::Hex};
            steps.push_back({leaves[rng() % 3], name, (int64_t)(rng() % 41)});
            break;
         }
      }
   }
   while (!open.empty()) {
      steps.push_back({Op::End, open.back(), 0});
      open.pop_back();
   }
   return steps;
}

const uint8_t kData[40] = {0x82, 0x0a, 0xfe, 0x01, 0x7f, 0x80, 0x55, 0xaa, 0x00, 0xff};

int runGeneral(VXCTXT* pctxt, const Step& s)
{
   switch (s.op) {
      case Op::Named: {
         int st = rtXmlEncStartElement(pctxt, s.name, nullptr, nullptr, true);
         if (st == 0) st = rtXmlEncEmptyElement(pctxt, "alt-000-01", nullptr, nullptr, true);
         return st != 0 ? st : rtXmlEncEndElement(pctxt, s.name, nullptr);
      }
      case Op::Bits:
         return rtXmlEncBitString(pctxt, (uint64_t)s.value * 8 / 3, kData, s.name, nullptr);
      case Op::Hex:
         return rtXmlEncHexBinary(pctxt, (uint64_t)s.value, kData, s.name, nullptr);
      case Op::Start:
         return rtXmlEncStartElement(pctxt, s.name, nullptr, nullptr, true);
      case Op::End:
         return rtXmlEncEndElement(pctxt, s.name, nullptr);
      case Op::Empty:
         return rtXmlEncEmptyElement(pctxt, s.name, nullptr, nullptr, true);
      case Op::Int:
         return rtXmlEncInt64(pctxt, s.value, s.name, nullptr);
      default:
         return rtXmlEncUInt64(pctxt, (uint64_t)s.value, s.name, nullptr);
   }
}

// The in-place steps as the generated encoders call them, each name with
// its length.
int runGen(VXCTXT* pctxt, const Step& s)
{
   const XmlGenOut out = xmlGenOutput(pctxt);
   const XmlGenName name = xmlGenNameOf(s.name);
   switch (s.op) {
      case Op::Named:
         return xmlGenNamed(pctxt, out, "alt-000-01", 10, name);
      case Op::Bits:
         return xmlGenBits(pctxt, out, (uint64_t)s.value * 8 / 3, kData, name);
      case Op::Hex:
         return xmlGenHex(pctxt, out, (uint64_t)s.value, kData, name);
      case Op::Start:
         return xmlGenStart(pctxt, out, name);
      case Op::End:
         return xmlGenEnd(pctxt, out, name);
      case Op::Empty:
         return xmlGenEmpty(pctxt, out, name);
      case Op::Int:
         return xmlGenInt(pctxt, out, s.value, name);
      default:
         return xmlGenUInt(pctxt, out, (uint64_t)s.value, name);
   }
}

// An output setting: how a fresh writer context is prepared.
struct Setting {
   const char* what;
   void (*prepare)(VXCTXT*);
   bool declaration;  // a document (declaration and root) rather than a fragment
};

const Setting kSettings[] = {
   {"growing buffer", [](VXCTXT*) {}, true},
   {"no indentation", [](VXCTXT* c) { rtXmlSetFormatting(c, false); }, true},
   {"four blanks a level", [](VXCTXT* c) { rtXmlSetIndent(c, 4); }, true},
   {"two tabs a level",
    [](VXCTXT* c) {
       rtXmlSetIndent(c, 2);
       rtXmlSetIndentChar(c, '\t');
    },
    true},
   {"UTF-16 out", [](VXCTXT* c) { rtXmlSetEncoding(c, VXXMLUTF16); }, true},
   {"schema style (lower-case hexadecimal)", [](VXCTXT* c) { c->flags &= ~VXCTXT_FLAG_NOXMLNS; },
    true},
   {"fragment from nothing written", [](VXCTXT* c) { rtXmlSetEncDocHdr(c, false); }, false},
};

struct Writer {
   VXCTXT ctx;
   std::vector<uint8_t> fixed;
   // A growing buffer, or a fixed one of `size` bytes.
   Writer(const Setting& s, size_t size = 0) : fixed(size)
   {
      rtInitContext(&ctx);
      rtXmlInitCtxtAppInfo(&ctx);
      rtXmlSetEncBufPtr(&ctx, size != 0 ? fixed.data() : nullptr, size);
      ctx.flags |= VXCTXT_FLAG_NOXMLNS;  // value notation, as the exports write
      s.prepare(&ctx);
   }
   ~Writer() { rtFreeContext(&ctx); }
   Writer(const Writer&) = delete;
   Writer& operator=(const Writer&) = delete;
   std::string text() const
   {
      return std::string((const char*)ctx.buffer.data, ctx.buffer.byteIndex);
   }
   int open(const Setting& s)
   {
      if (!s.declaration) return 0;
      int stat = rtXmlEncStartDocument(&ctx);
      // The root's start tag left open, as a message's is.
      return stat != 0 ? stat : rtXmlEncStartElement(&ctx, "doc", nullptr, nullptr, false);
   }
   int close(const Setting& s)
   {
      return s.declaration ? rtXmlEncEndElement(&ctx, "doc", nullptr) : 0;
   }
};

// Runs the program on both writers; the index of the first failing step
// (or the size of the program) and its status.
struct Outcome {
   size_t failedAt;
   int status;
};

Outcome run(Writer& w, const Setting& s, const std::vector<Step>& steps, bool gen)
{
   int stat = w.open(s);
   if (stat != 0) return {0, stat};
   for (size_t i = 0; i < steps.size(); i++) {
      stat = gen ? runGen(&w.ctx, steps[i]) : runGeneral(&w.ctx, steps[i]);
      if (stat != 0) return {i, stat};
   }
   stat = w.close(s);
   return {steps.size(), stat};
}

TEST(XmlGenWrite, SameTextAsTheGeneralWriterInEverySetting)
{
   for (const Setting& s : kSettings) {
      for (uint32_t seed = 1; seed <= 40; seed++) {
         SCOPED_TRACE(std::string(s.what) + ", program " + std::to_string(seed));
         std::vector<Step> steps = program(seed);
         Writer general(s), gen(s);
         ASSERT_EQ(0, general.open(s));
         ASSERT_EQ(0, gen.open(s));
         for (size_t i = 0; i < steps.size(); i++) {
            ASSERT_EQ(0, runGeneral(&general.ctx, steps[i]));
            ASSERT_EQ(0, runGen(&gen.ctx, steps[i]));
            ASSERT_EQ(general.text(), gen.text()) << "after step " << i;
            ASSERT_EQ(general.ctx.state, gen.ctx.state);
            ASSERT_EQ(general.ctx.level, gen.ctx.level);
            ASSERT_EQ(general.ctx.elemNameStack.count, gen.ctx.elemNameStack.count);
            ASSERT_EQ(0, gen.ctx.buffer.data[gen.ctx.buffer.byteIndex]);
         }
         ASSERT_EQ(0, general.close(s));
         ASSERT_EQ(0, gen.close(s));
         EXPECT_EQ(general.text(), gen.text());
         EXPECT_EQ(0u, gen.ctx.elemNameStack.count);
         EXPECT_EQ(0, rtXmlGetCtxtInfo(&gen.ctx)->nsFrameCount);
         EXPECT_EQ(0u, rtxErrGetErrorCnt(&gen.ctx));
      }
   }
}

// A fixed buffer of every size up to past the whole text: the text comes
// out whole and as the general writer's, or the call fails with a
// negative status; a buffer a few bytes larger than the text always holds
// it. (Where exactly a nearly full buffer fails differs: the general
// number writer reserves for the longest number, then writes in pieces.)
TEST(XmlGenWrite, FixedBufferHoldsTheTextOrFails)
{
   const Setting& s = kSettings[0];
   std::vector<Step> steps = program(7);
   std::string whole;
   {
      Writer w(s);
      ASSERT_EQ(steps.size(), run(w, s, steps, false).failedAt);
      whole = w.text();
   }
   for (size_t size = 1; size <= whole.size() + 16;
        size += size < whole.size() ? 1 + size / 64 : 1) {
      SCOPED_TRACE("buffer of " + std::to_string(size) + " bytes");
      Writer gen(s, size);
      Outcome b = run(gen, s, steps, true);
      if (b.status == 0) {
         ASSERT_EQ(steps.size(), b.failedAt);
         ASSERT_EQ(whole, gen.text());
      } else {
         ASSERT_LT(b.status, 0);
         ASSERT_LT(size, whole.size() + 8);
      }
   }
}

TEST(XmlGenWrite, ElementNameStackNamesTheOpenElement)
{
   Writer w(kSettings[0]);
   ASSERT_EQ(0, w.open(kSettings[0]));
   const XmlGenOut out = xmlGenOutput(&w.ctx);
   ASSERT_NE(nullptr, out.info);
   ASSERT_EQ(0, xmlGenStart(&w.ctx, out, xmlGenNameOf("outer")));
   ASSERT_EQ(0, xmlGenStart(&w.ctx, out, xmlGenNameOf("inner")));
   EXPECT_STREQ("inner", (const char*)w.ctx.elemNameStack.tail->data);
   ASSERT_EQ(0, xmlGenEnd(&w.ctx, out, xmlGenNameOf("inner")));
   EXPECT_STREQ("outer", (const char*)w.ctx.elemNameStack.tail->data);
   // An end tag of another name is recorded and the element closed anyway,
   // as the general writer does.
   ASSERT_EQ(0, xmlGenEnd(&w.ctx, out, xmlGenNameOf("other")));
   EXPECT_EQ(RTERR_IDNOTFOU, rtxErrGetStatus(&w.ctx));
   EXPECT_STREQ("doc", (const char*)w.ctx.elemNameStack.tail->data);
   // The same text under another pointer is no mismatch.
   std::string again = "again";
   ASSERT_EQ(0, xmlGenStart(&w.ctx, out, xmlGenNameOf("again")));
   rtxErrResetErrInfo(&w.ctx);
   ASSERT_EQ(0, xmlGenEnd(&w.ctx, out, xmlGenNameOf(again.c_str())));
   EXPECT_EQ(0u, rtxErrGetErrorCnt(&w.ctx));
}

}  // namespace
