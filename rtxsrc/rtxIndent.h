// Indentation of text output: 3 spaces per level, held in ctx->indent.
#ifndef RTXINDENT_H
#define RTXINDENT_H

#include "rtxContext.h"

#define VXRT_INDENT_SPACES 3

int rtxWriteIndent(VXCTXT* pctxt);
inline void rtxIndentIncr(VXCTXT* pctxt) { pctxt->indent += VXRT_INDENT_SPACES; }
inline void rtxIndentDecr(VXCTXT* pctxt)
{
   if (pctxt->indent > 0) pctxt->indent -= VXRT_INDENT_SPACES;
}
inline void rtxIndentReset(VXCTXT* pctxt) { pctxt->indent = 0; }
inline int rtxGetIndentLevels(VXCTXT* pctxt) { return pctxt->indent / VXRT_INDENT_SPACES; }

#endif
