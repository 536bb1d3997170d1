// The host's view of the clock. Any thread enters.
#include <quarn/qn_os.h>

#include "foundation/os_time.h"

unsigned long long qn_os_gettime_ns(void) { return os::GetTimeNs(); }
