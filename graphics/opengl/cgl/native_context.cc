// What native contexts of every platform share. Entered by every thread that does GL work.
#include "graphics/opengl/cgl/native_context.h"

#include "foundation/no_memory.h"

bool NativeContext::Bind() {
  Lock();
  // Room for what is current comes first: without it Unbind could not give that back.
  if (!EvenWithoutMemory("Making a context current", [this] { previous_.emplace_back(); })) {
    Unlock();
    return false;
  }
  if (!MakeCurrent(&previous_.back())) {
    previous_.pop_back();
    Unlock();
    return false;
  }
  bound_thread_.store(std::this_thread::get_id(), std::memory_order_relaxed);
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
