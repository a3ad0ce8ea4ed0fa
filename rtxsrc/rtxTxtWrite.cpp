#include "rtxBuffer.h"
#include "rtxCharStr.h"
#include "rtxError.h"

int rtxCopyAsciiText(VXCTXT* pctxt, const char* text) {
   if (text == nullptr || *text == 0) return 0;
   int stat = rtxWriteBytes(pctxt, reinterpret_cast<const uint8_t*>(text), strlen(text));
   if (stat != 0) VX_LOG_ERR(pctxt, stat);
   return stat;
}

int rtxCopyUTF8Text(VXCTXT* pctxt, const char* text) {
   return rtxCopyAsciiText(pctxt, text);
}

namespace {

// Numbers are converted into a scratch area wide enough for any 64-bit value.
template <class T, int (*toText)(T, char*, size_t, char)>
int writeNumber(VXCTXT* pctxt, T value) {
   char text[40];
   int len = toText(value, text, sizeof text, 0);
   if (len < 0) {
      VX_LOG_ERRNEW(pctxt, len);
      return len;
   }
   return rtxCopyAsciiText(pctxt, text);
}

}  // namespace

int rtxTxtWriteInt(VXCTXT* pctxt, int32_t value) {
   return writeNumber<int32_t, rtxIntToCharStr>(pctxt, value);
}

int rtxTxtWriteUInt(VXCTXT* pctxt, uint32_t value) {
   return writeNumber<uint32_t, rtxUIntToCharStr>(pctxt, value);
}

int rtxTxtWriteInt64(VXCTXT* pctxt, int64_t value) {
   return writeNumber<int64_t, rtxInt64ToCharStr>(pctxt, value);
}

int rtxTxtWriteUInt64(VXCTXT* pctxt, uint64_t value) {
   return writeNumber<uint64_t, rtxUInt64ToCharStr>(pctxt, value);
}
