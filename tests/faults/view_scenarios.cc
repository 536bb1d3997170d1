// Views in windows of an X server.
#include <algorithm>

#include "tests/faults/view_host.h"
#include "tests/support/x_window.h"

namespace faults {
namespace {

class View : public ViewHost {
 public:
  ~View() override { Clear(); }

 protected:
  void* MakeWindow() override {
    window_ = std::make_unique<test::XWindow>(x11_, kWidth, kHeight);
    return window_->handle();
  }
  bool Shows(const unsigned char (&colour)[4], bool smaller) override {
    const test::Picture picture = window_->Read();
    if (picture.width != kWidth) return false;
    const unsigned char* const middle = picture.at(kWidth / 2, kHeight / 2);
    const unsigned char* const edge = picture.at(kWidth - 2, kHeight / 2);
    return std::equal(colour, colour + 3, middle) && (edge[0] == 255) == !smaller;
  }

 private:
  test::XConnection x11_;
  std::unique_ptr<test::XWindow> window_;
};

}  // namespace

std::vector<Scenario> ViewScenarios() { return {MakeScenario<View>("view", "window")}; }

}  // namespace faults
