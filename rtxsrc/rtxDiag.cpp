// Diagnostic printing: the switches, the level filter and the printers.
#include "rtxDiag.h"

#include <cstdio>

#include "rtxPrintStream.h"

uint8_t g_DiagEnabled = 0;

bool rtxSetDiag(VXCTXT* pctxt, bool value)
{
   bool former = rtxDiagEnabled(pctxt);
   if (pctxt != nullptr) {
      if (value)
         pctxt->flags |= VXCTXT_FLAG_DIAG;
      else
         pctxt->flags &= ~VXCTXT_FLAG_DIAG;
   }
   return former;
}

bool rtxSetGlobalDiag(bool value)
{
   bool former = g_DiagEnabled != 0;
   g_DiagEnabled = value ? 1 : 0;
   return former;
}

void rtxDiagSetTraceLevel(VXCTXT* pctxt, uint8_t level)
{
   if (pctxt == nullptr) return;
   pctxt->flags |= VXCTXT_FLAG_DIAG;
   pctxt->diagLevel = level;
}

bool rtxDiagTraceLevelEnabled(VXCTXT* pctxt, uint8_t level)
{
   if (!rtxDiagEnabled(pctxt)) return false;
   return pctxt == nullptr || level <= pctxt->diagLevel;
}

bool checkDiagLevel(VXCTXT* pctxt, const char* fmtspec)
{
   if (fmtspec == nullptr || fmtspec[0] != '~') return true;
   // Letters admitted at each level; a null context counts as the highest.
   static const char* const admitted[] = {"Ee", "EeWw", "EeWwIi", "EeWwIiDd"};
   unsigned level = pctxt != nullptr ? pctxt->diagLevel : RTX_DIAG_DEBUG;
   if (level > RTX_DIAG_DEBUG) return true;
   char letter = fmtspec[1];
   return letter != '\0' && strchr(admitted[level], letter) != nullptr;
}

void(rtxDiagPrint)(VXCTXT* pctxt, const char* fmtspec, ...)
{
   if (!rtxDiagEnabled(pctxt) || fmtspec == nullptr || !checkDiagLevel(pctxt, fmtspec)) return;
   va_list arglist;
   va_start(arglist, fmtspec);
   vprintf(fmtspec, arglist);
   va_end(arglist);
}

void(rtxDiagStream)(VXCTXT* pctxt, const char* fmtspec, ...)
{
   if (!rtxDiagEnabled(pctxt) || fmtspec == nullptr || !checkDiagLevel(pctxt, fmtspec)) return;
   va_list arglist;
   va_start(arglist, fmtspec);
   rtxDiagToStream(pctxt, fmtspec, arglist);
   va_end(arglist);
}

// Sends one finished line to standard output or through the print stream.
static void emitLine(VXCTXT* pctxt, bool toStream, const char* line)
{
   if (toStream)
      rtxPrintToStream(pctxt, "%s\n", line);
   else
      printf("%s\n", line);
}

// 16 bytes a line: offset, hex pairs, and the printable characters.
static void hexDump(VXCTXT* pctxt, bool toStream, const uint8_t* data, size_t numocts)
{
   if (!rtxDiagEnabled(pctxt) || data == nullptr) return;
   static const char hexDigits[] = "0123456789abcdef";
   for (size_t off = 0; off < numocts; off += 16) {
      char line[80];
      int len = snprintf(line, sizeof(line), "%08zx ", off);
      size_t n = numocts - off < 16 ? numocts - off : 16;
      for (size_t i = 0; i < 16; i++) {
         line[len++] = ' ';
         line[len++] = i < n ? hexDigits[data[off + i] >> 4] : ' ';
         line[len++] = i < n ? hexDigits[data[off + i] & 15] : ' ';
      }
      line[len++] = ' ';
      line[len++] = ' ';
      for (size_t i = 0; i < n; i++) {
         uint8_t c = data[off + i];
         line[len++] = (c >= 32 && c <= 126) ? (char)c : '.';
      }
      line[len] = '\0';
      emitLine(pctxt, toStream, line);
   }
}

void rtxDiagHexDump(VXCTXT* pctxt, const uint8_t* data, size_t numocts)
{
   hexDump(pctxt, false, data, numocts);
}

void rtxDiagStreamHexDump(VXCTXT* pctxt, const uint8_t* data, size_t numocts)
{
   hexDump(pctxt, true, data, numocts);
}

static void printChars(VXCTXT* pctxt, bool toStream, const char* data, size_t nchars)
{
   if (!rtxDiagEnabled(pctxt) || data == nullptr) return;
   char line[81];
   size_t len = 0;
   for (size_t i = 0; i < nchars; i++) {
      uint8_t c = (uint8_t)data[i];
      line[len++] = (c >= 32 && c <= 126) ? (char)c : '.';
      if (len == sizeof(line) - 1 || i + 1 == nchars) {
         line[len] = '\0';
         emitLine(pctxt, toStream, line);
         len = 0;
      }
   }
}

void rtxDiagPrintChars(VXCTXT* pctxt, const char* data, size_t nchars)
{
   printChars(pctxt, false, data, nchars);
}

void rtxDiagStreamPrintChars(VXCTXT* pctxt, const char* data, size_t nchars)
{
   printChars(pctxt, true, data, nchars);
}

void rtxDiagStreamPrintBits(VXCTXT* pctxt, const char* prefix, const uint8_t* data,
                            size_t bitOffset, size_t bitCount)
{
   if (!rtxDiagEnabled(pctxt) || data == nullptr) return;
   rtxPrintToStream(pctxt, "%s", prefix != nullptr ? prefix : "");
   for (size_t i = 0; i < bitCount; i++) {
      size_t bit = bitOffset + i;
      char text[3] = {(data[bit / 8] & (0x80u >> (bit % 8))) ? '1' : '0', '\0', '\0'};
      if (i % 8 == 7 && i + 1 < bitCount) text[1] = ' ';
      rtxPrintToStream(pctxt, "%s", text);
   }
   rtxPrintToStream(pctxt, "\n");
}
