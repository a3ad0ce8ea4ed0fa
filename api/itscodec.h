/* itscodec: translation of C-ITS messages (CAM, DENM, SPATEM, MAPEM, IVIM,
 * SREM, SSEM) between their UPER encoding and JSON or XML text.
 *
 * For each message MSG:
 *   etsi_MSG_to_json   UPER bytes in, NUL-terminated JSON text out
 *   etsi_MSG_from_json NUL-terminated JSON text in, UPER bytes out
 *   etsi_MSG_to_xml    UPER bytes in, NUL-terminated XML text out
 *   etsi_MSG_from_xml  NUL-terminated XML text in, UPER bytes out
 *
 * Every function returns 0 on success. Treat any other result as a failure:
 * it is a negative status, or 2 when a fragmented length stopped the codec.
 * On failure *errorText holds a NUL-terminated report and the other outputs
 * are null (and *encodedLen 0); on success *errorText is null. Everything
 * the library hands out is released with etsi_delete_array. Usable from C
 * and C++.
 */
#ifndef ITSCODEC_H
#define ITSCODEC_H

#include <stddef.h>
#ifndef __cplusplus
#include <stdbool.h>
#endif

/* The library's version. The build checks these against the project's
 * version and stops at configure time when they differ. */
#define ITSCODEC_VERSION_MAJOR 0
#define ITSCODEC_VERSION_MINOR 1
#define ITSCODEC_VERSION_PATCH 0

#define ITSCODEC_API __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

/* The seven messages, each as X(MSG, messageID, member): the name of its
 * functions, the messageID its header carries, and the member that holds
 * the message's own content after the header. */
#define ITSCODEC_MESSAGES(X) \
   X(CAM, 2, cam)            \
   X(DENM, 1, denm)          \
   X(SPATEM, 4, spat)        \
   X(MAPEM, 5, map)          \
   X(IVIM, 6, ivi)           \
   X(SREM, 9, srm)           \
   X(SSEM, 10, ssm)

#define ITSCODEC_DECLARE(MSG, ID, MEMBER)                                               \
   ITSCODEC_API int etsi_##MSG##_to_json(const char* encoded, unsigned long encodedLen, \
                                         char** text, char** errorText, bool verbose);  \
   ITSCODEC_API int etsi_##MSG##_from_json(const char* text, char** encoded,            \
                                           unsigned long* encodedLen, char** errorText, \
                                           bool verbose);

ITSCODEC_MESSAGES(ITSCODEC_DECLARE)

#undef ITSCODEC_DECLARE

#define ITSCODEC_DECLARE_TO_XML(MSG, ID, MEMBER)                                       \
   ITSCODEC_API int etsi_##MSG##_to_xml(const char* encoded, unsigned long encodedLen, \
                                        char** text, char** errorText, bool verbose);

ITSCODEC_MESSAGES(ITSCODEC_DECLARE_TO_XML)

#undef ITSCODEC_DECLARE_TO_XML
#define ITSCODEC_DECLARE_FROM_XML(MSG, ID, MEMBER)                                     \
   ITSCODEC_API int etsi_##MSG##_from_xml(const char* text, char** encoded,            \
                                          unsigned long* encodedLen, char** errorText, \
                                          bool verbose);

ITSCODEC_MESSAGES(ITSCODEC_DECLARE_FROM_XML)

#undef ITSCODEC_DECLARE_FROM_XML

/* Releases an array handed out by any of the functions above; null is fine. */
ITSCODEC_API void etsi_delete_array(void* p);

#ifdef __cplusplus
}
#endif

#endif
