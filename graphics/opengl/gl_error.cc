// How often GL has run out of memory. Any thread enters.
#include "graphics/opengl/gl_error.h"

#include <atomic>

namespace {

std::atomic<unsigned int> out_of_memory_count{0};

}  // namespace

unsigned int GLOutOfMemoryCount() { return out_of_memory_count.load(std::memory_order_relaxed); }

void NoteGLOutOfMemory() { out_of_memory_count.fetch_add(1, std::memory_order_relaxed); }
