// Lets calls fail that the library makes of libwayland-client, and the making of threads. For tests that link the
// library's layers, with --wrap for pthread_create, wl_display_flush and wl_proxy_marshal_flags.
#ifndef QUARN_TESTS_SUPPORT_FAILING_WAYLAND_H_
#define QUARN_TESTS_SUPPORT_FAILING_WAYLAND_H_

#include <string>

namespace test {

// While one lives, objects of that interface cannot be made. One at a time.
class NoneOfInterface {
 public:
  explicit NoneOfInterface(const std::string& name);
  ~NoneOfInterface();
  NoneOfInterface(const NoneOfInterface&) = delete;
  NoneOfInterface& operator=(const NoneOfInterface&) = delete;
};

// How many objects of that interface there are whose end is a request.
int Living(const std::string& interface);

// While one lives, as many calls that send requests find the connection full. One at a time.
class FullConnection {
 public:
  explicit FullConnection(int calls);
  ~FullConnection();
  FullConnection(const FullConnection&) = delete;
  FullConnection& operator=(const FullConnection&) = delete;
};

// While one lives, no thread can be made. One at a time.
class NoThreads {
 public:
  NoThreads();
  ~NoThreads();
  NoThreads(const NoThreads&) = delete;
  NoThreads& operator=(const NoThreads&) = delete;
};

}  // namespace test

#endif  // QUARN_TESTS_SUPPORT_FAILING_WAYLAND_H_
