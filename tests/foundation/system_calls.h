// Stands between foundation and the operating system: the linker's --wrap sends foundation's calls here, and a test may
// answer them. What no test answers goes on to the system.
//
// Answers are set while no other thread calls the function in question.
#ifndef QUARN_TESTS_FOUNDATION_SYSTEM_CALLS_H_
#define QUARN_TESTS_FOUNDATION_SYSTEM_CALLS_H_

#include <pthread.h>
#include <sched.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstddef>
#include <ctime>
#include <functional>

struct SystemCalls {
  std::function<int(timespec* now)> clock_gettime;
  std::function<int(timeval* now)> gettimeofday;
  std::function<void*(std::size_t size)> malloc;
  std::function<int(const timespec* request, timespec* remaining)> nanosleep;
  std::function<int(useconds_t us)> usleep;
  std::function<int(pthread_cond_t* condition)> pthread_cond_broadcast;
  std::function<int(pthread_cond_t* condition)> pthread_cond_signal;
  std::function<int(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline)>
      pthread_cond_timedwait;
  std::function<int(pthread_cond_t* condition, pthread_mutex_t* mutex)> pthread_cond_wait;
  std::function<int(pthread_t* thread, void* (*entry)(void*), void* arg)> pthread_create;
  std::function<int(pthread_t thread)> pthread_join;
  std::function<int(pthread_cond_t* condition)> pthread_cond_init;
  std::function<int(pthread_mutex_t* mutex)> pthread_mutex_init;
  std::function<int(int policy, const sched_param* parameters)> sched_setscheduler;
  std::function<int(pthread_mutexattr_t* attributes)> pthread_mutexattr_init;
  std::function<int(pthread_rwlock_t* lock)> pthread_rwlock_init;
  std::function<void*(std::size_t size)> new_nothrow;
};

// The answers in force; whoever sets one takes it back with ScopedSystemCalls.
SystemCalls& system_calls();

// Clears all answers at both ends of a test.
class ScopedSystemCalls {
 public:
  ScopedSystemCalls() { system_calls() = SystemCalls(); }
  ~ScopedSystemCalls() { system_calls() = SystemCalls(); }
  ScopedSystemCalls(const ScopedSystemCalls&) = delete;
  ScopedSystemCalls& operator=(const ScopedSystemCalls&) = delete;
};

// The system's own functions, behind those that the linker puts in their place.
extern "C" {
int __real_pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex);
int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*), void* arg);
int __real_pthread_join(pthread_t thread, void** result);
}

#endif  // QUARN_TESTS_FOUNDATION_SYSTEM_CALLS_H_
