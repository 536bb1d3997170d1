// The loss of the connection to the X server, or to the Wayland compositor.
#ifndef QUARN_TESTS_FAULTS_LOST_CONNECTIONS_H_
#define QUARN_TESTS_FAULTS_LOST_CONNECTIONS_H_

namespace faults {

// Before a call that counts as kX11Lost: loses the library's connection where it is to be lost there. The call itself
// goes on: false.
bool MayLoseX11(const char* name);
// The same for kWaylandLost, and the host's connection.
bool MayLoseWayland(const char* name);
// Before a call that may come to either.
inline bool MayLoseConnection(const char* name) { return MayLoseX11(name) || MayLoseWayland(name); }

}  // namespace faults

#endif  // QUARN_TESTS_FAULTS_LOST_CONNECTIONS_H_
