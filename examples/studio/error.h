// How the programs report what they cannot do: one exception with one line for the user, caught in main.
#ifndef QUARN_EXAMPLES_STUDIO_ERROR_H_
#define QUARN_EXAMPLES_STUDIO_ERROR_H_

#include <stdexcept>

namespace studio {

// Never thrown out of a callback of the library.
struct Error : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// What the user asked for makes no sense.
struct UsageError : Error {
  using Error::Error;
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_ERROR_H_
