// What native contexts of every platform share. Entered by every thread that does GL work.
#include "graphics/opengl/cgl/native_context.h"

bool NativeContext::Bind() {
  Lock();
  Current previous;
  if (!MakeCurrent(&previous)) {
    Unlock();
    return false;
  }
  bound_thread_.store(std::this_thread::get_id(), std::memory_order_relaxed);
  previous_.push_back(previous);
  return true;
}

void NativeContext::Unbind() {
  // Only the thread that holds the lock may give it back.
  if (!IsBound()) return;
  Restore(previous_.back());
  previous_.pop_back();
  if (previous_.empty()) bound_thread_.store(std::thread::id(), std::memory_order_relaxed);
  Unlock();
}
