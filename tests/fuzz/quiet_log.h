// Takes the log's messages: each is formatted, as whoever prints it would, and thrown away.
#ifndef QUARN_TESTS_FUZZ_QUIET_LOG_H_
#define QUARN_TESTS_FUZZ_QUIET_LOG_H_

// For the rest of the process. With QUARN_FUZZ_LOG set in the environment, messages go to standard error.
void KeepLogQuiet();

#endif  // QUARN_TESTS_FUZZ_QUIET_LOG_H_
