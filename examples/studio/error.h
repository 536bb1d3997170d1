// How the programs report what they cannot do: one exception with one line for the user, caught in main.
#ifndef QUARN_EXAMPLES_STUDIO_ERROR_H_
#define QUARN_EXAMPLES_STUDIO_ERROR_H_

#include <exception>
#include <new>
#include <stdexcept>
#include <string>

namespace studio {

// Never thrown out of a callback of the library.
struct Error : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// What the user asked for makes no sense.
struct UsageError : Error {
  using Error::Error;
};

// What the user is told of anything that was thrown.
inline std::string ErrorText(const std::exception& error) {
  return dynamic_cast<const std::bad_alloc*>(&error) ? "no memory" : error.what();
}

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_ERROR_H_
