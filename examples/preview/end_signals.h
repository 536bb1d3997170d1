// SIGINT, SIGTERM and SIGHUP on the event loop.
#ifndef QUARN_EXAMPLES_PREVIEW_END_SIGNALS_H_
#define QUARN_EXAMPLES_PREVIEW_END_SIGNALS_H_

#include <functional>
#include <memory>

#include <QSocketNotifier>

namespace preview {

// Calls `end` on the event loop when one of them comes. A second one ends the process as if this were not there. One
// object a process.
class EndSignals {
 public:
  explicit EndSignals(std::function<void()> end);
  ~EndSignals();
  EndSignals(const EndSignals&) = delete;
  EndSignals& operator=(const EndSignals&) = delete;

 private:
  std::unique_ptr<QSocketNotifier> notifier_;
};

}  // namespace preview

#endif  // QUARN_EXAMPLES_PREVIEW_END_SIGNALS_H_
