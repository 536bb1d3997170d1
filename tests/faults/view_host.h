// What the hosts have in common that show a view in a window of theirs.
#ifndef QUARN_TESTS_FAULTS_VIEW_HOST_H_
#define QUARN_TESTS_FAULTS_VIEW_HOST_H_

#include <memory>

#include "tests/faults/hosts.h"

namespace faults {

// A view of a scene, which fills its height and leaves the background to be seen on both sides. Whoever derives from it
// has the window, and calls Clear before that goes.
class ViewHost : public Host {
 public:
  ~ViewHost() override;
  void MakeDevice() override;
  void MakeObjects() override;
  // Another colour, and another size, which the window comes to show.
  Digest Work() override;
  bool WorksWithoutWindows() override;

 protected:
  static constexpr int kWidth = 64;
  static constexpr int kHeight = 48;
  static constexpr int kSmaller = 8;  // By how much the view is, every other time.

  // A window anew, as GsWindowInfo wants it.
  virtual void* MakeWindow() = 0;
  // Whether it shows that colour in the middle of a view that is `smaller` or not.
  virtual bool Shows(const unsigned char (&colour)[4], bool smaller) = 0;

  // Ends the view and what it shows.
  void Clear();

 private:
  SceneRef scene_;
  scoped_refptr<GsPictureItem> item_;
  std::unique_ptr<GsViewImpl> view_;
  int rounds_ = 0;
  std::uint64_t time_ = 0;
};

}  // namespace faults

#endif  // QUARN_TESTS_FAULTS_VIEW_HOST_H_
