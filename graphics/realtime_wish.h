// Whether the render thread is to be a real-time one, and whether it is.
#ifndef QUARN_GRAPHICS_REALTIME_WISH_H_
#define QUARN_GRAPHICS_REALTIME_WISH_H_

#include <atomic>

// Any thread wishes and asks; the render thread fulfils the wish between its frames.
class RealtimeWish {
 public:
  void Set(bool wished) { wished_.store(wished, std::memory_order_relaxed); }
  // Whether the render thread runs as a real-time one now.
  bool fulfilled() const { return fulfilled_.load(std::memory_order_relaxed); }

  // What the render thread does, at its begin and after each frame: where the wish has changed, it follows. A refusal
  // is told of once a wish.
  void Fulfil();
  // The render thread ends; the next one begins as an ordinary one.
  void End();

 private:
  std::atomic<bool> wished_{false};
  std::atomic<bool> fulfilled_{false};
  bool taken_ = false;  // The last wish that the render thread has looked at.
};

#endif  // QUARN_GRAPHICS_REALTIME_WISH_H_
