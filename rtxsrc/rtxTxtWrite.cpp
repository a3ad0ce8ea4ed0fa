#include "rtxBuffer.h"
#include "rtxCharStr.h"
#include "rtxError.h"

int rtxCopyAsciiText(VXCTXT* pctxt, const char* text)
{
   if (text == nullptr || *text == 0) return 0;
   int stat = rtxWriteBytes(pctxt, reinterpret_cast<const uint8_t*>(text), strlen(text));
   if (stat != 0) VX_LOG_ERR(pctxt, stat);
   return stat;
}

int rtxCopyUTF8Text(VXCTXT* pctxt, const char* text) { return rtxCopyAsciiText(pctxt, text); }

namespace {

template <class T>
int writeNumber(VXCTXT* pctxt, T value)
{
   VXDecimalText d(value);
   if (d.length < 0) {
      VX_LOG_ERRNEW(pctxt, d.length);
      return d.length;
   }
   return rtxCopyAsciiText(pctxt, d.text);
}

}  // namespace

int rtxTxtWriteInt(VXCTXT* pctxt, int32_t value) { return writeNumber(pctxt, value); }

int rtxTxtWriteUInt(VXCTXT* pctxt, uint32_t value) { return writeNumber(pctxt, value); }

int rtxTxtWriteInt64(VXCTXT* pctxt, int64_t value) { return writeNumber(pctxt, value); }

int rtxTxtWriteUInt64(VXCTXT* pctxt, uint64_t value) { return writeNumber(pctxt, value); }
