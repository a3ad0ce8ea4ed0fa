#include "rtxBuffer.h"
#include "rtxCharStr.h"
#include "rtxError.h"

int rtxCopyAsciiText(VXCTXT* pctxt, const char* text) {
   if (text == nullptr || *text == 0) return 0;
   int stat = rtxWriteBytes(pctxt, reinterpret_cast<const uint8_t*>(text), strlen(text));
   return stat == 0 ? 0 : VX_LOG_ERR(pctxt, stat);
}

int rtxCopyUTF8Text(VXCTXT* pctxt, const char* text) {
   return rtxCopyAsciiText(pctxt, text);
}

namespace {

// Numbers are converted into a scratch area wide enough for any 64-bit value.
int writeNumberText(VXCTXT* pctxt, int len, const char* text) {
   if (len < 0) return VX_LOG_ERRNEW(pctxt, len);
   return rtxCopyAsciiText(pctxt, text);
}

}  // namespace

int rtxTxtWriteInt(VXCTXT* pctxt, int32_t value) {
   char text[40];
   return writeNumberText(pctxt, rtxIntToCharStr(value, text, sizeof text, 0), text);
}

int rtxTxtWriteUInt(VXCTXT* pctxt, uint32_t value) {
   char text[40];
   return writeNumberText(pctxt, rtxUIntToCharStr(value, text, sizeof text, 0), text);
}

int rtxTxtWriteInt64(VXCTXT* pctxt, int64_t value) {
   char text[40];
   return writeNumberText(pctxt, rtxInt64ToCharStr(value, text, sizeof text, 0), text);
}

int rtxTxtWriteUInt64(VXCTXT* pctxt, uint64_t value) {
   char text[40];
   return writeNumberText(pctxt, rtxUInt64ToCharStr(value, text, sizeof text, 0), text);
}
