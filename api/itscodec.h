/* itscodec: translation of C-ITS messages (CAM, DENM, SPATEM, MAPEM, IVIM,
 * SREM, SSEM) between their UPER encoding and JSON or XML text.
 *
 * Every function returns 0 on success. Any other result is a failure: a
 * negative status, or 2 when a fragmented length stopped the codec. On
 * failure *errorText holds a NUL-terminated report and the other outputs are
 * null (and *encodedLen 0); on success *errorText is null. Whatever the
 * library hands out is released with etsi_delete_array. Usable from C and C++.
 */
#ifndef ITSCODEC_H
#define ITSCODEC_H

#include <stddef.h>
#ifndef __cplusplus
#include <stdbool.h>
#endif

#ifdef __cplusplus
extern "C" {
#endif

#define ITSCODEC_DECLARE(MSG)                                                          \
   int etsi_##MSG##_to_json(const char* encoded, unsigned long encodedLen, char** text, \
                            char** errorText, bool verbose);                            \
   int etsi_##MSG##_from_json(const char* text, char** encoded, unsigned long* encodedLen,\
                              char** errorText, bool verbose);                          \
   int etsi_##MSG##_to_xml(const char* encoded, unsigned long encodedLen, char** text,  \
                           char** errorText, bool verbose);                             \
   int etsi_##MSG##_from_xml(const char* text, char** encoded, unsigned long* encodedLen,\
                             char** errorText, bool verbose);

ITSCODEC_DECLARE(CAM)
ITSCODEC_DECLARE(DENM)
ITSCODEC_DECLARE(SPATEM)
ITSCODEC_DECLARE(MAPEM)
ITSCODEC_DECLARE(IVIM)
ITSCODEC_DECLARE(SREM)
ITSCODEC_DECLARE(SSEM)

#undef ITSCODEC_DECLARE

/* Releases an array handed out by any of the functions above; null is fine. */
void etsi_delete_array(void* p);

#ifdef __cplusplus
}
#endif

#endif
