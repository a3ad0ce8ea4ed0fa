// itsconv capture: every C-ITS message of a pcap or pcapng file, converted.
#ifndef ITSCONV_CAPTURE_H
#define ITSCONV_CAPTURE_H

namespace itsconv {

// `itsconv capture FILE [options]`: args[0] is "capture". Returns the exit
// status (0 all converted, 1 something failed, 2 bad command line).
int captureMain(int argc, char** argv);

// The lines of `itsconv --help` about it.
extern const char kCaptureHelp[];

}  // namespace itsconv

#endif
