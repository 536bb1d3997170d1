// Quarn's main-thread work on the event loop of an SDL 2 program. Copy it into your program.
//
//   SDL_Init(SDL_INIT_VIDEO);
//   SdlMainQueue queue;               // after SDL_Init, before the first view
//   while (SDL_WaitEvent(&event)) {
//     if (queue.Handle(event)) continue;
//     ...
//   }
//   ...                               // views go first, then the queue, then SDL_Quit
#ifndef QUARN_EXAMPLES_MAIN_LOOP_SDL_MAIN_QUEUE_H_
#define QUARN_EXAMPLES_MAIN_LOOP_SDL_MAIN_QUEUE_H_

#include <SDL.h>

#include <cstdint>

#include <quarn/qn_main_queue.h>

// Routes the work through SDL's event queue for as long as it lives. What is posted and not handled is dropped, and so
// is what finds the event queue full, which takes a loop that has stopped.
//
// SDL_PushEvent runs the filter of SDL_SetEventFilter and the watches of SDL_AddEventWatch where it is called: on
// Quarn's render thread, with locks of Quarn's held. It also holds a lock of SDL's meanwhile, on whatever thread it
// runs them. So no filter or watch of the program's may call Quarn, not even GsView::Resize on the main thread: that
// belongs into the loop. Nor may one wait for the main thread, or filter this class's events out.
class SdlMainQueue {
 public:
  SdlMainQueue() : type_(SDL_RegisterEvents(1)) { qn_set_main_queue(Post, this); }
  ~SdlMainQueue() { qn_set_main_queue(nullptr, nullptr); }  // From here on nobody posts.
  SdlMainQueue(const SdlMainQueue&) = delete;
  SdlMainQueue& operator=(const SdlMainQueue&) = delete;

  // For each event that the loop takes: runs the work that it carries and returns true, or returns false for an event
  // of somebody else's.
  bool Handle(const SDL_Event& event) const {
    if (event.type != type_) return false;
    reinterpret_cast<QnMainQueueFunction>(event.user.data1)(event.user.data2);
    return true;
  }

 private:
  static void Post(QnMainQueueFunction function, void* argument, void* user) {
    SDL_Event event = {};
    event.type = static_cast<SdlMainQueue*>(user)->type_;
    event.user.data1 = reinterpret_cast<void*>(function);
    event.user.data2 = argument;
    SDL_PushEvent(&event);
  }

  const std::uint32_t type_;
};

#endif  // QUARN_EXAMPLES_MAIN_LOOP_SDL_MAIN_QUEUE_H_
