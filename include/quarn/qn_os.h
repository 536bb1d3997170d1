// The clock that every timestamp of the library is read from. Words and tags: quarn.h.
#ifndef QUARN_QN_OS_H_
#define QUARN_QN_OS_H_

#include <quarn/export.h>

extern "C" {

// Returns the monotonic clock in nanoseconds. It never fails.
//
// Thread: any.
QUARN_EXPORT unsigned long long qn_os_gettime_ns(void);

}  // extern "C"

#endif  // QUARN_QN_OS_H_
