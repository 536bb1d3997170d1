// When to try again what has failed.
#ifndef QUARN_GRAPHICS_OPENGL_TRY_AGAIN_H_
#define QUARN_GRAPHICS_OPENGL_TRY_AGAIN_H_

// For what is asked for again and again: after a first failure the next time, then every second, every fourth time and
// so on. So a driver that lacked memory for a moment is not given up, and one that goes on lacking it is not asked, and
// the log not written to, in every frame.
class TryAgain {
 public:
  // Whether this time is one to try.
  bool IsDue() {
    if (left_out_ == 0) return true;
    --left_out_;
    return false;
  }
  void NoteFailure() {
    left_out_ = next_;
    if (next_ < kMost) next_ = 2 * next_ + 1;
  }
  void NoteSuccess() { *this = TryAgain(); }

 private:
  static constexpr unsigned int kMost = 4095;

  unsigned int left_out_ = 0;  // So many times are left out.
  unsigned int next_ = 0;      // After the next failure.
};

#endif  // QUARN_GRAPHICS_OPENGL_TRY_AGAIN_H_
