// The rare cases of the generated encoders' writing steps (xmlGenWrite.h).
#include "xmlGenWrite.h"

#include <cstring>

#include "rtxMemory.h"

VXRTDListNode* xmlGenNewNameNode(VXCTXT* pctxt) { return rtxMemAllocType(pctxt, VXRTDListNode); }

// As the general end tag: a name other than the open element's is recorded,
// and the element is closed all the same.
void xmlGenNameMismatch(VXCTXT* pctxt, const char* openName, const char* elemName)
{
   if (strcmp(openName, elemName) == 0) return;
   rtxErrAddStrParm(pctxt, openName);
   rtxErrAddStrParm(pctxt, elemName);
   VX_LOG_ERRNEW(pctxt, RTERR_IDNOTFOU);
}
