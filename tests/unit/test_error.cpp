// Error records, the report and the status text tables.
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "asn1ErrorHandler.h"
#include "rtContext.h"
#include "rtXmlErr.h"
#include "rtxError.h"
#include "rtxMemory.h"

namespace {

class ErrorTest : public ::testing::Test {
 protected:
   void SetUp() override
   {
      ASSERT_EQ(0, rtxInitContext(&ctx));
      rtErrASN1Init();
      rtErrXmlInit();
   }
   void TearDown() override { rtxFreeContext(&ctx); }

   VXRTErrInfo* last() { return static_cast<VXRTErrInfo*>(ctx.errInfo.tail->data); }

   std::string report()
   {
      char* text = rtxErrGetText(&ctx, nullptr, nullptr);
      EXPECT_NE(nullptr, text);
      std::string result = text != nullptr ? text : "";
      rtxMemFreePtr(&ctx, text);
      return result;
   }

   // The message of a record holding status and the collected parameters.
   std::string message(int status)
   {
      rtxErrSetData(&ctx, status, "t", 1);
      char buffer[200];
      char* text = rtxErrFmtMsg(last(), buffer, sizeof(buffer));
      return text != nullptr ? text : "(null)";
   }

   VXCTXT ctx;
};

TEST_F(ErrorTest, DifferentStatusesMakeMultipleErrors)
{
   EXPECT_EQ(-2, rtxErrSetData(&ctx, -2, "a", 1));
   EXPECT_EQ(-50, rtxErrSetData(&ctx, -3, "b", 2));
   EXPECT_EQ(2u, rtxErrGetErrorCnt(&ctx));
   // The caller passes -50 up: a third record with status -50.
   EXPECT_EQ(-50, rtxErrSetData(&ctx, -50, "c", 3));
   EXPECT_EQ(3u, rtxErrGetErrorCnt(&ctx));
   EXPECT_EQ(-2, rtxErrGetFirstError(&ctx));
   EXPECT_EQ(-50, rtxErrGetLastError(&ctx));
   EXPECT_EQ(-50, rtxErrGetStatus(&ctx));
}

TEST_F(ErrorTest, SameStatusStaysInOneRecordAndGainsPositions)
{
   rtxErrSetData(&ctx, -2, "rtxsrc/inner", 10);
   EXPECT_EQ(-2, rtxErrSetData(&ctx, -2, "rtxsrc/outer", 20));
   EXPECT_EQ(-2, rtxErrSetData(&ctx, -2, "", 30));  // empty path: no position
   ASSERT_EQ(1u, rtxErrGetErrorCnt(&ctx));
   ASSERT_EQ(2, last()->stackCount);
   EXPECT_STREQ("rtxsrc/inner", last()->stack[0].module);
   EXPECT_EQ(20, last()->stack[1].lineno);
   EXPECT_EQ(
      "ERROR: Status -2\nUnexpected end of buffer on decode\nStack trace:\n"
      "  Module: rtxsrc/outer Line 20\n  Module: rtxsrc/inner Line 10\n",
      report());
}

TEST_F(ErrorTest, ReportOfOneError)
{
   rtxErrSetData(&ctx, -2, "rtxsrc/rtxReadBytes", 67);
   size_t size = 0;
   char* text = rtxErrGetText(&ctx, nullptr, &size);
   ASSERT_NE(nullptr, text);
   EXPECT_STREQ(
      "ERROR: Status -2\n"
      "Unexpected end of buffer on decode\n"
      "Stack trace:\n"
      "  Module: rtxsrc/rtxReadBytes Line 67\n",
      text);
   EXPECT_EQ(200u + 100u * 3u, size);
}

TEST_F(ErrorTest, MultipleErrorsRepeatThePreviousMessage)
{
   rtxErrSetData(&ctx, -2, "a", 1);
   rtxErrAddStrParm(&ctx, "speed");
   rtxErrAddIntParm(&ctx, 300);
   EXPECT_EQ(-50, rtxErrSetData(&ctx, -16, "b", 2));
   EXPECT_EQ(-50, rtxErrSetData(&ctx, -50, "c", 3));
   EXPECT_EQ(
      "ERROR: Status -2\nUnexpected end of buffer on decode\n"
      "Stack trace:\n  Module: a Line 1\n"
      "ERROR: Status -16\nValue constraint violation: field speed, value 300\n"
      "Stack trace:\n  Module: b Line 2\n"
      "ERROR: Status -50\nValue constraint violation: field speed, value 300\n"
      "Stack trace:\n  Module: c Line 3\n",
      report());
}

TEST_F(ErrorTest, ElementNameInReport)
{
   rtxCtxtPushElemName(&ctx, "CAM");
   rtxCtxtPushElemName(&ctx, "cam");
   rtxErrSetData(&ctx, -4, "x", 5);
   EXPECT_EQ(
      "ERROR: Status -4\nEnumerated value ? not in defined set\n"
      "Element name: CAM.cam\nStack trace:\n  Module: x Line 5\n",
      report());
   size_t size = 0;
   rtxMemFreePtr(&ctx, rtxErrGetText(&ctx, nullptr, &size));
   EXPECT_EQ(200u + 100u * 3u + strlen("CAM.cam") + 20u, size);
}

TEST_F(ErrorTest, PlaceholderRules)
{
   EXPECT_EQ("Feature not supported: ?", message(-60));
   rtxErrReset(&ctx);
   rtxErrAddIntParm(&ctx, 42);
   EXPECT_EQ("Unknown information element received, ID = %d 42", message(-67));
   rtxErrReset(&ctx);
   rtxErrAddStrParm(&ctx, "x");
   rtxErrAddStrParm(&ctx, "y");
   EXPECT_EQ("Unexpected end of buffer on decode x y", message(-2));
   rtxErrReset(&ctx);
   rtxErrAddStrParm(&ctx, "a");
   EXPECT_EQ("Unexpected identifier encountered: expected = a, parsed = ?", message(-3));
   rtxErrReset(&ctx);
   EXPECT_EQ("unrecognized completion status", message(-40));
}

TEST_F(ErrorTest, ValueTooBigCarriesTheElementName)
{
   rtxErrSetNewData(&ctx, -23, "t", 1);
   ASSERT_EQ(1, last()->parmCount);
   EXPECT_STREQ("?", last()->parms[0]);
   EXPECT_EQ(nullptr, last()->elemName);
   EXPECT_EQ(
      "ERROR: Status -23\nValue will not fit in target variable: element '?'\n"
      "Stack trace:\n  Module: t Line 1\n",
      report());
   rtxErrReset(&ctx);
   rtxCtxtPushElemName(&ctx, "DENM");
   rtxCtxtPushElemName(&ctx, "management");
   rtxCtxtPushElemName(&ctx, "validityDuration");
   EXPECT_EQ(-23, rtxErrSetData(&ctx, -23, "t", 2));
   ASSERT_EQ(1, last()->parmCount);
   EXPECT_STREQ("DENM.management.validityDuration", last()->parms[0]);
   EXPECT_STREQ("DENM.management.validityDuration", last()->elemName);
}

TEST_F(ErrorTest, ResetClearsRecordsNamesAndCollectedParameters)
{
   rtxCtxtPushElemName(&ctx, "CAM");
   rtxErrAddStrParm(&ctx, "pending");
   rtxErrSetData(&ctx, -2, "t", 1);
   rtxErrAddStrParm(&ctx, "pending");
   rtxErrReset(&ctx);
   EXPECT_EQ(0u, rtxErrGetErrorCnt(&ctx));
   EXPECT_EQ(0u, ctx.elemNameStack.count);
   EXPECT_EQ(0, ctx.reservedErr.parmCount);
   EXPECT_EQ(0, rtxErrGetStatus(&ctx));
   EXPECT_EQ("Feature not supported: ?", message(-60));
}

TEST(ErrorAssertion, PrintsAndExits)
{
   EXPECT_EXIT(
      {
         dup2(2, 1);  // the message goes to standard output
         rtxErrAssertionFailed("pctxt->buffer.byteIndex > 0", 12, "rtxsrc/rtxTxtRead");
      },
      ::testing::ExitedWithCode(255),
      "Run-time assertion 'pctxt->buffer.byteIndex > 0' failed\\.  Line 12, File "
      "rtxsrc/rtxTxtRead");
}

bool g_failMalloc = false;
void* flakyMalloc(size_t n) { return g_failMalloc ? nullptr : malloc(n); }

TEST(ErrorExhaustion, ReservedRecordStandsInForNoMemory)
{
   VXCTXT c;
   ASSERT_EQ(0, rtxInitContextExt(&c, flakyMalloc, realloc, free));
   g_failMalloc = true;
   EXPECT_EQ(0, rtxErrAddStrParm(&c, "lost"));
   // The reserved record is not fatal: the status reads 0, the report has -10.
   EXPECT_EQ(0, rtxErrSetNewData(&c, -10, "m", 1));
   EXPECT_EQ(1u, rtxErrGetErrorCnt(&c));
   EXPECT_EQ(-10, rtxErrGetLastError(&c));
   EXPECT_EQ(-10, rtxErrSetData(&c, -2, "m", 2));      // no record for another status
   EXPECT_EQ(-10, rtxErrSetNewData(&c, -10, "m", 3));  // the reserve is taken
   EXPECT_EQ(1u, rtxErrGetErrorCnt(&c));
   char buffer[200];
   size_t size = sizeof(buffer);
   EXPECT_STREQ(
      "ERROR: Status -10\nNo dynamic memory available\nStack trace:\n"
      "  Module: m Line 1\n",
      rtxErrGetText(&c, buffer, &size));
   EXPECT_EQ(nullptr, rtxErrGetText(&c, nullptr, nullptr));
   g_failMalloc = false;
   rtxErrReset(&c);
   EXPECT_EQ(0u, rtxErrGetErrorCnt(&c));
   EXPECT_EQ(-2, rtxErrSetData(&c, -2, "m", 4));
   rtxFreeContext(&c);
}

struct StatusText {
   int status;
   const char* text;
};

// The templates of the statuses the run-time raises (their texts reach the
// reports), and the last template of each of the three tables.
const StatusText kTemplates[] = {
   {-1, "Encode buffer overflow"},
   {-2, "Unexpected end of buffer on decode"},
   {-3, "Unexpected identifier encountered: expected = %s, parsed = %s"},
   {-4, "Enumerated value %s not in defined set"},
   {-5, "Duplicate element in container object (SEQUENCE, SET, etc.)"},
   {-6, "Missing required element %s in container object (SEQUENCE, SET, etc.)"},
   {-7, "Element index %s not within bounds of ASN.1 SET or XSD all type"},
   {-8, "Max elements defined for repeating field exceeded"},
   {-9, "Element with identifier %s is an invalid option in choice"},
   {-10, "No dynamic memory available"},
   {-11, "Invalid hex string"},
   {-12, "Invalid real value"},
   {-13, "Max items in sized character or binary string field exceeded"},
   {-16, "Value constraint violation: field %s, value %s"},
   {-17, "Unexpected end of file detected"},
   {-18, "Invalid UTF-8 character at index %s"},
   {-19, "Array index out of bounds"},
   {-20, "Invalid parameter passed to function or method"},
   {-22, "Context is not initialized"},
   {-23, "Value will not fit in target variable: element '%s'"},
   {-24, "Character is not within the defined character set"},
   {-28, "File not found or can't be opened"},
   {-29, "Read error"},
   {-30, "Write error"},
   {-41, "Unexpected element \"%s\" found"},
   {-47, "Unexpected null pointer value: %s"},
   {-48, "General failure: %s"},
   {-50, "Multiple errors; see context error list for details on each error"},
   {-60, "Feature not supported: %s"},
   {-61, "Unbalanced structure detected"},
   {-62, "Expected name in name/value pair but encountered value instead"},
   {-63, "Invalid Unicode character encountered"},
   {-64, "Invalid Boolean value keyword encountered"},
   {-65, "Invalid null or nil value keyword encountered"},
   {-66, "Invalid field length detected"},
   {-81, "Error returned from MBEDTLS function %d, status = %d"},
   {-100, "Invalid object identifier"},
   {-101, "Invalid field length detected"},
   {-108, "Attempt to invoke encode or decode method on a non-PDU type"},
   {-119, "Value is not correctly fragmented as required by encoding rules"},
   {-220, "Element is not empty, as is required."},
};

TEST_F(ErrorTest, TemplatesOfRaisedStatusesAndTableEnds)
{
   for (const StatusText& entry : kTemplates) {
      const char* tmpl = rtxErrGetTemplate(entry.status);
      ASSERT_NE(nullptr, tmpl) << entry.status;
      EXPECT_STREQ(entry.text, tmpl) << entry.status;
   }
}

class CountingHandler : public Asn1ErrorHandler {
 public:
   int error(VXCTXT*, VexilCB* pCCB, int stat) override
   {
      calls++;
      lastStat = stat;
      lastLen = pCCB != nullptr ? pCCB->len : 99;
      return 0;
   }
   int calls = 0;
   int lastStat = 0;
   uint64_t lastLen = 0;
};

TEST_F(ErrorTest, ErrorHandlerDecidesOnFaults)
{
   EXPECT_EQ(-6, Asn1ErrorHandler::invoke(&ctx, nullptr, -6));
   CountingHandler handler;
   ASSERT_EQ(0, Asn1ErrorHandler::setErrorHandler(&ctx, &handler));
   ASSERT_NE(nullptr, ctx.pASN1Info);
   EXPECT_EQ(0, Asn1ErrorHandler::invoke(&ctx, nullptr, -4));
   EXPECT_EQ(-4, handler.lastStat);
   EXPECT_EQ(99u, handler.lastLen);
   const uint8_t bytes[4] = {};
   EXPECT_EQ(0, Asn1ErrorHandler::invoke(&ctx, bytes, 3, -6));
   EXPECT_EQ(3u, handler.lastLen);
   EXPECT_EQ(2, handler.calls);
   ASSERT_EQ(0, Asn1ErrorHandler::setErrorHandler(&ctx, nullptr));
   EXPECT_EQ(-6, Asn1ErrorHandler::invoke(&ctx, bytes, 3, -6));
}

}  // namespace
