// One run of a scenario in a process of its own, with one call failing, and what is to be said of it.
#ifndef QUARN_TESTS_FAULTS_TRIAL_H_
#define QUARN_TESTS_FAULTS_TRIAL_H_

#include <string>

#include "tests/faults/faults.h"
#include "tests/faults/scenario.h"

namespace faults {

// In the order of the table. From kSilent on they are wrong.
enum Outcome {
  kNotReached,  // There were fewer calls, for threads do not run alike each time.
  kUnnoticed,   // Everything came out as ever, and nothing was said.
  kTold,        // Everything came out as ever, and the log says what is different.
  kNextRound,   // Something did not come out; the log has it, and the next round was right.
  kNewObjects,  // The same, with objects made anew.
  kNewDevice,   // The same, with a device made anew: the fault came while it was made.
  kNoWindows,   // The process shows no windows any more, which the log says; all else is right.
  kSilent,      // Something did not come out, and the log has nothing.
  kStuck,       // It did not come out again, though only one call had failed.
  kCrash,
  kHang,
  kLeak,
  kOutcomes,
};

inline constexpr const char* kOutcomeNames[kOutcomes] = {"not reached", "unnoticed",  "told",       "next round",
                                                         "new objects", "new device", "no windows", "SILENT",
                                                         "STUCK",       "CRASH",      "HANG",       "LEAK"};
inline bool IsWrong(Outcome outcome) { return outcome >= kSilent; }

// What comes out where nothing fails, and how many calls there are.
struct Expected {
  Digest digest = kNothing;
  int calls = 0;
  std::string log;  // What is said all the same.
};

struct Verdict {
  Outcome outcome = kCrash;
  Expected found;
  std::string failed;  // The function that did.
  std::string log;     // The warnings and errors, and what else there is to say.
};

// Runs the scenario in a fork of this process. `number` 0: nothing fails.
Verdict Try(const Scenario& scenario, Kind kind, int number, const Expected& expected);
// The same in this process, for a debugger.
Verdict TryHere(const Scenario& scenario, Kind kind, int number, const Expected& expected);

}  // namespace faults

#endif  // QUARN_TESTS_FAULTS_TRIAL_H_
