// Status texts of the XML engine.
#ifndef RTXMLERR_H
#define RTXMLERR_H

// Registers the XML status texts (-200 and below) once.
int rtErrXmlInit();

#endif
