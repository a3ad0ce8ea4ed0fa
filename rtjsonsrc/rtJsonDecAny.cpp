// JSON reader: the free-form parser. A table-driven machine that validates
// exactly one JSON value (objects, arrays, strings, numbers, keywords, with
// /* */ comments) and hands it back as the raw text it consumed. It serves
// wherever the type is not known: open types and unknown keys.
#include "rtJson.h"
#include "rtJsonInternal.h"

#include "rtxIntStack.h"
#include "rtxMemBuf.h"

namespace {

// The machine's tables keep their hand-made layout.
// clang-format off
enum Mode { MODE_ARRAY = 1, MODE_DONE = 2, MODE_KEY = 3, MODE_OBJECT = 4 };

enum Action {
   A_ERR = -1, A_OBJ = -2, A_ARR = -3, A_OBJEMPTY = -4, A_OBJEND = -5, A_ARREND = -6,
   A_STREND = -7, A_COMMA = -8, A_COLON = -9, A_CMT = -10, A_CMTEND = -11, A_UNI = -12
};

enum Class {
   C_SP, C_WS, C_LCURB, C_RCURB, C_LSQRB, C_RSQRB, C_COLON, C_COMMA, C_QUOTE, C_BACKS, C_SLASH,
   C_PLUS, C_MINUS, C_POINT, C_ZERO, C_DIGIT, C_LOW_A, C_LOW_B, C_LOW_C, C_LOW_D, C_LOW_E,
   C_LOW_F, C_LOW_L, C_LOW_N, C_LOW_R, C_LOW_S, C_LOW_T, C_LOW_U, C_E, C_ABCDF, C_ETC, C_STAR,
   C_NONE = -1
};

// Character classes of the bytes 0x00..0x7F; bytes from 0x80 up are C_ETC.
const int8_t kAsciiClass[128] = {
   C_NONE, C_NONE, C_NONE, C_NONE, C_NONE, C_NONE, C_NONE, C_NONE,
   C_NONE, C_WS,   C_WS,   C_NONE, C_NONE, C_WS,   C_NONE, C_NONE,
   C_NONE, C_NONE, C_NONE, C_NONE, C_NONE, C_NONE, C_NONE, C_NONE,
   C_NONE, C_NONE, C_NONE, C_NONE, C_NONE, C_NONE, C_NONE, C_NONE,

   C_SP,    C_ETC,   C_QUOTE, C_ETC,   C_ETC,   C_ETC,   C_ETC,   C_ETC,
   C_ETC,   C_ETC,   C_STAR,  C_PLUS,  C_COMMA, C_MINUS, C_POINT, C_SLASH,
   C_ZERO,  C_DIGIT, C_DIGIT, C_DIGIT, C_DIGIT, C_DIGIT, C_DIGIT, C_DIGIT,
   C_DIGIT, C_DIGIT, C_COLON, C_ETC,   C_ETC,   C_ETC,   C_ETC,   C_ETC,

   C_ETC,   C_ABCDF, C_ABCDF, C_ABCDF, C_ABCDF, C_E,     C_ABCDF, C_ETC,
   C_ETC,   C_ETC,   C_ETC,   C_ETC,   C_ETC,   C_ETC,   C_ETC,   C_ETC,
   C_ETC,   C_ETC,   C_ETC,   C_ETC,   C_ETC,   C_ETC,   C_ETC,   C_ETC,
   C_ETC,   C_ETC,   C_ETC,   C_LSQRB, C_BACKS, C_RSQRB, C_ETC,   C_ETC,

   C_ETC,   C_LOW_A, C_LOW_B, C_LOW_C, C_LOW_D, C_LOW_E, C_LOW_F, C_ETC,
   C_ETC,   C_ETC,   C_ETC,   C_ETC,   C_LOW_L, C_ETC,   C_LOW_N, C_ETC,
   C_ETC,   C_ETC,   C_LOW_R, C_LOW_S, C_LOW_T, C_LOW_U, C_ETC,   C_ETC,
   C_ETC,   C_ETC,   C_ETC,   C_LCURB, C_ETC,   C_RCURB, C_ETC,   C_ETC
};

// state x class; values >= 0 are next states, negative values actions
const int8_t kStateTable[36][32] = {
   /*  0 */ {0, 0, -2, -1, -3, -1, -1, -1, 7, -1, -10, -1, 13, -1, 14, 15, -1, -1, -1, -1, -1, 23, -1, 27, -1, -1, 20, -1, -1, -1, -1, -1},
   /*  1 */ {1, 1, -1, -5, -1, -6, -1, -8, -1, -1, -10, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1},
   /*  2 */ {2, 2, -1, -4, -1, -1, -1, -1, 7, -1, -10, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1},
   /*  3 */ {3, 3, -1, -1, -1, -1, -1, -1, 7, -1, -10, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1},
   /*  4 */ {4, 4, -1, -1, -1, -1, -9, -1, -1, -1, -10, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1},
   /*  5 */ {5, 5, -2, -1, -3, -1, -1, -1, 7, -1, -10, -1, 13, -1, 14, 15, -1, -1, -1, -1, -1, 23, -1, 27, -1, -1, 20, -1, -1, -1, -1, -1},
   /*  6 */ {6, 6, -2, -1, -3, -6, -1, -1, 7, -1, -10, -1, 13, -1, 14, 15, -1, -1, -1, -1, -1, 23, -1, 27, -1, -1, 20, -1, -1, -1, -1, -1},
   /*  7 */ {7, -1, 7, 7, 7, 7, 7, 7, -7, 8, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7, 7},
   /*  8 */ {-1, -1, -1, -1, -1, -1, -1, -1, 7, 7, 7, -1, -1, -1, -1, -1, -1, 7, -1, -1, -1, 7, -1, 7, 7, -1, 7, 9, -1, -1, -1, -1},
   /*  9 */ {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 10, 10, 10, 10, 10, 10, 10, 10, -1, -1, -1, -1, -1, -1, 10, 10, -1, -1},
   /* 10 */ {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 11, 11, 11, 11, 11, 11, 11, 11, -1, -1, -1, -1, -1, -1, 11, 11, -1, -1},
   /* 11 */ {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 12, 12, 12, 12, 12, 12, 12, 12, -1, -1, -1, -1, -1, -1, 12, 12, -1, -1},
   /* 12 */ {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -12, -12, -12, -12, -12, -12, -12, -12, -1, -1, -1, -1, -1, -1, -12, -12, -1, -1},
   /* 13 */ {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 14, 15, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1},
   /* 14 */ {1, 1, -1, -5, -1, -6, -1, -8, -1, -1, -10, -1, -1, 33, -1, -1, -1, -1, -1, -1, 17, -1, -1, -1, -1, -1, -1, -1, 17, -1, -1, -1},
   /* 15 */ {1, 1, -1, -5, -1, -6, -1, -8, -1, -1, -10, -1, -1, 33, 15, 15, -1, -1, -1, -1, 17, -1, -1, -1, -1, -1, -1, -1, 17, -1, -1, -1},
   /* 16 */ {1, 1, -1, -5, -1, -6, -1, -8, -1, -1, -10, -1, -1, -1, 16, 16, -1, -1, -1, -1, 17, -1, -1, -1, -1, -1, -1, -1, 17, -1, -1, -1},
   /* 17 */ {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 18, 18, -1, 19, 19, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1},
   /* 18 */ {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 19, 19, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1},
   /* 19 */ {1, 1, -1, -5, -1, -6, -1, -8, -1, -1, -1, -1, -1, -1, 19, 19, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1},
   /* 20 */ {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 21, -1, -1, -1, -1, -1, -1, -1},
   /* 21 */ {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 22, -1, -1, -1, -1},
   /* 22 */ {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -10, -1, -1, -1, -1, -1, -1, -1, -1, -1, 1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1},
   /* 23 */ {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 24, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1},
   /* 24 */ {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 25, -1, -1, -1, -1, -1, -1, -1, -1, -1},
   /* 25 */ {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 26, -1, -1, -1, -1, -1, -1},
   /* 26 */ {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -10, -1, -1, -1, -1, -1, -1, -1, -1, -1, 1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1},
   /* 27 */ {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 28, -1, -1, -1, -1},
   /* 28 */ {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 29, -1, -1, -1, -1, -1, -1, -1, -1, -1},
   /* 29 */ {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -10, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 1, -1, -1, -1, -1, -1, -1, -1, -1, -1},
   /* 30 */ {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 31},
   /* 31 */ {31, 31, 31, 31, 31, 31, 31, 31, 31, 31, 31, 31, 31, 31, 31, 31, 31, 31, 31, 31, 31, 31, 31, 31, 31, 31, 31, 31, 31, 31, 31, 32},
   /* 32 */ {31, 31, 31, 31, 31, 31, 31, 31, 31, 31, -11, 31, 31, 31, 31, 31, 31, 31, 31, 31, 31, 31, 31, 31, 31, 31, 31, 31, 31, 31, 31, 32},
   /* 33 */ {1, 1, -1, -5, -1, -6, -1, -8, -1, -1, -1, -1, -1, -1, 16, 16, -1, -1, -1, -1, 17, -1, -1, -1, -1, -1, -1, -1, 17, -1, -1, -1},
   /* 34 */ {-1, -1, -1, -1, -1, -1, -1, -1, -1, 35, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1},
   /* 35 */ {-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 9, -1, -1, -1, -1},
};

// clang-format on

bool isNumberState(int s) { return s == 14 || s == 15 || s == 16 || s == 19; }

struct Parser {
   VXCTXT* pctxt;
   VXRTIntStack stack;
   VXRTMEMBUF* membuf;  // null: validation only
   int state;
   int cmtReturn;
   bool surrogatePending;

   int top()
   {
      int v = 0;
      return rtxIntStackPeek(&stack, &v) == 0 ? v : 0;
   }

   // Takes back the byte just read: it belongs to whatever follows the value.
   void stepBack()
   {
      rtJsonStepBack(pctxt);
      if (membuf && membuf->usedcnt > membuf->startidx) membuf->usedcnt--;
   }

   int errCode()
   {
      int stat;
      switch (state) {
         case 0: {
            uint8_t c = pctxt->lastChar;
            stat = (c == '{' || c == '}' || c == '[' || c == ']') ? RTERR_UNBAL : RTERR_INVCHAR;
            break;
         }
         case 2:
         case 3:
            stat = RTERR_EXPNAME;
            break;
         case 4: {
            char found[2] = {(char)pctxt->lastChar, 0};
            rtxErrAddStrParm(pctxt, ":");
            rtxErrAddStrParm(pctxt, found);
            stat = RTERR_IDNOTFOU;
            break;
         }
         case 6:
            stat = RTERR_UNBAL;
            break;
         case 9:
         case 10:
         case 11:
         case 12:
         case 34:
         case 35:
            stat = RTERR_UNICODE;
            break;
         case 13:
         case 14:
         case 15:
         case 16:
         case 17:
         case 18:
         case 19:
            stat = RTERR_INVREAL;
            break;
         case 20:
         case 21:
         case 22:
         case 23:
         case 24:
         case 25:
         case 26:
            stat = RTERR_INVBOOL;
            break;
         case 27:
         case 28:
         case 29:
            stat = RTERR_INVNULL;
            break;
         default:
            stat = RTERR_INVCHAR;
            break;
      }
      return VX_LOG_ERRNEW(pctxt, stat);
   }

   // Checks the four digits of a \u escape at the end of the text for a
   // well-formed surrogate pair. Without a text (validation only) no test.
   int parseUnicodeChar()
   {
      if (!membuf) return 0;
      int len = (int)rtxMemBufGetDataLen(membuf);
      if (len < 6) return VX_LOG_ERRNEW(pctxt, RTERR_ENDOFBUF);
      const uint8_t* p = rtxMemBufGetData(membuf, &len) + len - 4;
      unsigned code = 0;
      for (int i = 0; i < 4; i++) {
         int nib = rtJsonHexNibble(p[i]);
         if (nib < 0) return VX_LOG_ERRNEW(pctxt, RTERR_INVCHAR);
         code = (code << 4) | (unsigned)nib;
      }
      bool high = code >= 0xD800 && code <= 0xDBFF;
      bool low = code >= 0xDC00 && code <= 0xDFFF;
      if (!surrogatePending) {
         if (low) return VX_LOG_ERRNEW(pctxt, RTERR_UNICODE);
         surrogatePending = high;
      } else {
         if (!low) return VX_LOG_ERRNEW(pctxt, RTERR_UNICODE);
         surrogatePending = false;
      }
      return 0;
   }

   int action(int act)
   {
      int mode = top();
      switch (act) {
         case A_OBJ:
            state = 2;
            return rtxIntStackPush(&stack, MODE_KEY);
         case A_ARR:
            state = 6;
            return rtxIntStackPush(&stack, MODE_ARRAY);
         case A_OBJEMPTY:
            if (mode != MODE_KEY) return VX_LOG_ERRNEW(pctxt, RTERR_IDNOTFOU);
            rtxIntStackPop(&stack, nullptr);
            state = 1;
            return 0;
         case A_OBJEND:
         case A_ARREND: {
            if (mode == MODE_DONE && isNumberState(state)) {
               stepBack();
               state = 1;
               return 0;
            }
            int want = (act == A_OBJEND) ? MODE_OBJECT : MODE_ARRAY;
            if (mode != want) return VX_LOG_ERRNEW(pctxt, RTERR_UNBAL);
            rtxIntStackPop(&stack, nullptr);
            state = 1;
            return 0;
         }
         case A_STREND:
            if (mode == MODE_KEY) {
               state = 4;
            } else if (mode == MODE_ARRAY || mode == MODE_DONE || mode == MODE_OBJECT) {
               state = 1;
            } else {
               return VX_LOG_ERRNEW(pctxt, RTERR_UNEXPELEM);
            }
            return 0;
         case A_COMMA:
            if (mode == MODE_DONE) {
               if (!isNumberState(state)) return VX_LOG_ERRNEW(pctxt, RTERR_UNEXPELEM);
               stepBack();
               state = 1;
            } else if (mode == MODE_OBJECT) {
               rtxIntStackPop(&stack, nullptr);
               state = 3;
               return rtxIntStackPush(&stack, MODE_KEY);
            } else if (mode == MODE_ARRAY) {
               state = 5;
            } else {
               return VX_LOG_ERRNEW(pctxt, RTERR_UNEXPELEM);
            }
            return 0;
         case A_COLON:
            rtxIntStackPop(&stack, nullptr);
            state = 5;
            return rtxIntStackPush(&stack, MODE_OBJECT);
         case A_CMT:
            cmtReturn = ((mode == MODE_ARRAY || mode == MODE_OBJECT) && state != 5 && state != 6)
                           ? 1
                           : state;
            state = 30;
            return 0;
         case A_CMTEND:
            state = cmtReturn;
            return 0;
         case A_UNI: {
            int stat = parseUnicodeChar();
            if (stat != 0) return stat;
            state = surrogatePending ? 34 : 7;
            return 0;
         }
         default:
            return errCode();
      }
   }

   int run()
   {
      for (;;) {
         uint8_t b;
         int stat = rtxReadBytes(pctxt, &b, 1);
         if (stat != 0) return VX_LOG_ERR(pctxt, stat);
         pctxt->lastChar = b;
         int cls = b >= 0x80 ? (int)C_ETC : (int)kAsciiClass[b];
         if (cls == C_NONE) return errCode();
         if (membuf && (stat = rtxMemBufAppend(membuf, &b, 1)) != 0) return VX_LOG_ERR(pctxt, stat);
         int next = kStateTable[state][cls];
         if (next >= 0) {
            if (isNumberState(state) && next == 1 && top() == MODE_DONE) stepBack();
            state = next;
         } else if ((stat = action(next)) != 0) {
            return stat;
         }
         if ((state == 0 || state == 1) && top() == MODE_DONE) {
            rtxIntStackPop(&stack, nullptr);
            return 0;
         }
      }
   }
};

}  // namespace

int rtJsonDecAnyType(VXCTXT* pctxt, char** ppvalue)
{
   VXRTMEMBUF membuf;
   Parser parser;
   parser.pctxt = pctxt;
   parser.membuf = nullptr;
   parser.cmtReturn = 0;
   parser.surrogatePending = false;
   if (ppvalue) {
      *ppvalue = nullptr;
      rtxMemBufInit(pctxt, &membuf, 128);
      parser.membuf = &membuf;
   }
   int stat = rtxIntStackInit(pctxt, &parser.stack, 100);
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   rtxTxtSkipWhitespace(pctxt);
   uint8_t savedState = pctxt->state;
   parser.state = 0;
   pctxt->state = 0;
   stat = rtxIntStackPush(&parser.stack, MODE_DONE);
   if (stat == 0) stat = parser.run();
   rtxIntStackFree(&parser.stack);
   if (stat != 0) {
      pctxt->state = (uint8_t)parser.state;  // the failing state stays
      if (ppvalue) rtxMemBufFree(&membuf);
      return stat;
   }
   pctxt->state = savedState;
   if (ppvalue) {
      uint8_t nul = 0;
      stat = rtxMemBufAppend(&membuf, &nul, 1);
      if (stat != 0) {
         rtxMemBufFree(&membuf);
         return VX_LOG_ERR(pctxt, stat);
      }
      int len;
      *ppvalue = (char*)rtxMemBufGetData(&membuf, &len);
   }
   return 0;
}
