// The loss of the connection to the X server.
#ifndef QUARN_TESTS_FAULTS_FAIL_X11_H_
#define QUARN_TESTS_FAULTS_FAIL_X11_H_

namespace faults {

// Before a call that counts as kX11Lost: loses the library's connection where it is to be lost there. The call itself
// goes on: false.
bool MayLoseConnection(const char* name);

}  // namespace faults

#endif  // QUARN_TESTS_FAULTS_FAIL_X11_H_
