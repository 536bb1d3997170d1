// The version that the library was built as.
#include <quarn/version.h>

unsigned int quarn_version() { return QUARN_VERSION; }
