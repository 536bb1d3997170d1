// The version: that of these headers, and that of the library which a program runs with. Words and tags: quarn.h.
#ifndef QUARN_VERSION_H_
#define QUARN_VERSION_H_

#include <quarn/export.h>

// The version of the headers.
#define QUARN_VERSION_MAJOR 0  // Hosts are rebuilt, and perhaps changed, for another.
#define QUARN_VERSION_MINOR 1  // While the major version is 0, as that; from 1 on something has been added.
#define QUARN_VERSION_PATCH 0  // Something has been mended; while the major version is 0, or added.
// A number to compare: QUARN_VERSION >= QUARN_VERSION_NUMBER(0, 2, 0). Each part is less than 1000.
#define QUARN_VERSION_NUMBER(major, minor, patch) ((major)*1000000 + (minor)*1000 + (patch))
// The version of the headers as such a number.
#define QUARN_VERSION QUARN_VERSION_NUMBER(QUARN_VERSION_MAJOR, QUARN_VERSION_MINOR, QUARN_VERSION_PATCH)

extern "C" {

// Returns the version of the library that runs, never 0, as QUARN_VERSION_NUMBER makes it: below QUARN_VERSION where it
// is older than the headers.
//
// Thread: any.
QUARN_EXPORT unsigned int quarn_version(void);

}  // extern "C"

#endif  // QUARN_VERSION_H_
