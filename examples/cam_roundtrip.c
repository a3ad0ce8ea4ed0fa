/* Converts a CAM from UPER to JSON and XML, reads each text back to UPER and
 * checks the bytes are the ones it started from.
 *
 *   cam_roundtrip [file]
 *
 * The file holds the CAM as hexadecimal digits (blanks and line ends are
 * skipped); without one, the CAM below is used. Prints the JSON and the XML
 * and exits with 0 when both round trips give the same bytes. */
#include <ctype.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <itscodec.h>

/* A captured CAM of protocol version 1. */
static const char sample_cam[] =
   "010204b39d85c41e005a97ac450dd00a399ffffffc23b7743e00d2afc14dfe3fe9ed0733c97f5fffb0";

/* Reads hexadecimal digits from text into bytes; returns the byte count, or
 * -1 for a character that is neither a digit nor a blank, or an odd count. */
static long hex_to_bytes(const char* text, unsigned char* out, size_t room)
{
   size_t n = 0;
   int high = -1;
   for (; *text; ++text) {
      int c = (unsigned char)*text, v;
      if (isspace(c)) continue;
      if (!isxdigit(c)) return -1;
      v = isdigit(c) ? c - '0' : tolower(c) - 'a' + 10;
      if (high < 0) {
         high = v;
         continue;
      }
      if (n == room) return -1;
      out[n++] = (unsigned char)(high << 4 | v);
      high = -1;
   }
   return high < 0 ? (long)n : -1;
}

static char* read_file(const char* path)
{
   FILE* f = fopen(path, "rb");
   char* text;
   long size;
   if (!f) return NULL;
   if (fseek(f, 0, SEEK_END) != 0 || (size = ftell(f)) < 0 || fseek(f, 0, SEEK_SET) != 0) {
      fclose(f);
      return NULL;
   }
   text = malloc((size_t)size + 1);
   if (text && fread(text, 1, (size_t)size, f) != (size_t)size) {
      free(text);
      text = NULL;
   }
   if (text) text[size] = '\0';
   fclose(f);
   return text;
}

typedef int (*to_text_fn)(const char*, unsigned long, char**, char**, bool);
typedef int (*from_text_fn)(const char*, char**, unsigned long*, char**, bool);

/* UPER -> text -> UPER; prints the text and returns 0 when the bytes match. */
static int round_trip(const char* form, to_text_fn to_text, from_text_fn from_text,
                      const unsigned char* cam, unsigned long len)
{
   char *text = NULL, *encoded = NULL, *error = NULL;
   unsigned long encoded_len = 0;
   int status = to_text((const char*)cam, len, &text, &error, false);
   if (status != 0) {
      fprintf(stderr, "UPER to %s failed with status %d:\n%s\n", form, status, error);
      etsi_delete_array(error);
      return 1;
   }
   printf("%s\n", text);
   status = from_text(text, &encoded, &encoded_len, &error, false);
   etsi_delete_array(text);
   if (status != 0) {
      fprintf(stderr, "%s to UPER failed with status %d:\n%s\n", form, status, error);
      etsi_delete_array(error);
      return 1;
   }
   status = encoded_len == len && memcmp(encoded, cam, len) == 0 ? 0 : 1;
   fprintf(stderr, "%s round trip: %s\n", form, status == 0 ? "same bytes" : "DIFFERENT bytes");
   etsi_delete_array(encoded);
   return status;
}

int main(int argc, char** argv)
{
   unsigned char cam[4096];
   char* file_text = NULL;
   long len;
   int failed;
   if (argc > 2) {
      fprintf(stderr, "usage: %s [file of hexadecimal digits]\n", argv[0]);
      return 2;
   }
   if (argc == 2 && !(file_text = read_file(argv[1]))) {
      perror(argv[1]);
      return 2;
   }
   len = hex_to_bytes(file_text ? file_text : sample_cam, cam, sizeof cam);
   free(file_text);
   if (len < 0) {
      fprintf(stderr, "not a message in hexadecimal digits\n");
      return 2;
   }
   fprintf(stderr, "itscodec %d.%d.%d, a CAM of %ld bytes\n", ITSCODEC_VERSION_MAJOR,
           ITSCODEC_VERSION_MINOR, ITSCODEC_VERSION_PATCH, len);
   failed = round_trip("JSON", etsi_CAM_to_json, etsi_CAM_from_json, cam, (unsigned long)len);
   failed |= round_trip("XML", etsi_CAM_to_xml, etsi_CAM_from_xml, cam, (unsigned long)len);
   return failed;
}
