// Symbol visibility of the public interface.
#ifndef QUARN_EXPORT_H_
#define QUARN_EXPORT_H_

// Marks what leaves the shared library. Everything else is built hidden.
#define QUARN_EXPORT __attribute__((visibility("default")))

#endif  // QUARN_EXPORT_H_
