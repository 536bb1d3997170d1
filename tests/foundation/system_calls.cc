#include "tests/foundation/system_calls.h"

#include <new>

SystemCalls& system_calls() {
  static SystemCalls* const instance = new SystemCalls;
  return *instance;
}

extern "C" {

int __real_clock_gettime(clockid_t clock, timespec* now);
int __wrap_clock_gettime(clockid_t clock, timespec* now) {
  const auto& answer = system_calls().clock_gettime;
  return answer && clock == CLOCK_MONOTONIC ? answer(now) : __real_clock_gettime(clock, now);
}

int __real_sched_setscheduler(pid_t process, int policy, const sched_param* parameters);
int __wrap_sched_setscheduler(pid_t process, int policy, const sched_param* parameters) {
  const auto& answer = system_calls().sched_setscheduler;
  return answer ? answer(policy, parameters) : __real_sched_setscheduler(process, policy, parameters);
}

int __real_gettimeofday(timeval* now, void* zone);
int __wrap_gettimeofday(timeval* now, void* zone) {
  const auto& answer = system_calls().gettimeofday;
  return answer ? answer(now) : __real_gettimeofday(now, zone);
}

void* __real_malloc(std::size_t size);
void* __wrap_malloc(std::size_t size) {
  const auto& answer = system_calls().malloc;
  return answer ? answer(size) : __real_malloc(size);
}

int __real_nanosleep(const timespec* request, timespec* remaining);
int __wrap_nanosleep(const timespec* request, timespec* remaining) {
  const auto& answer = system_calls().nanosleep;
  return answer ? answer(request, remaining) : __real_nanosleep(request, remaining);
}

int __real_usleep(useconds_t us);
int __wrap_usleep(useconds_t us) {
  const auto& answer = system_calls().usleep;
  return answer ? answer(us) : __real_usleep(us);
}

int __real_pthread_cond_broadcast(pthread_cond_t* condition);
int __wrap_pthread_cond_broadcast(pthread_cond_t* condition) {
  const auto& answer = system_calls().pthread_cond_broadcast;
  return answer ? answer(condition) : __real_pthread_cond_broadcast(condition);
}

int __real_pthread_cond_signal(pthread_cond_t* condition);
int __wrap_pthread_cond_signal(pthread_cond_t* condition) {
  const auto& answer = system_calls().pthread_cond_signal;
  return answer ? answer(condition) : __real_pthread_cond_signal(condition);
}

int __real_pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline);
int __wrap_pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline) {
  const auto& answer = system_calls().pthread_cond_timedwait;
  return answer ? answer(condition, mutex, deadline) : __real_pthread_cond_timedwait(condition, mutex, deadline);
}

int __wrap_pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
  const auto& answer = system_calls().pthread_cond_wait;
  return answer ? answer(condition, mutex) : __real_pthread_cond_wait(condition, mutex);
}

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*), void* arg) {
  const auto& answer = system_calls().pthread_create;
  return answer ? answer(thread, entry, arg) : __real_pthread_create(thread, attributes, entry, arg);
}

int __wrap_pthread_join(pthread_t thread, void** result) {
  const auto& answer = system_calls().pthread_join;
  return answer ? answer(thread) : __real_pthread_join(thread, result);
}

int __real_pthread_cond_init(pthread_cond_t* condition, const pthread_condattr_t* attributes);
int __wrap_pthread_cond_init(pthread_cond_t* condition, const pthread_condattr_t* attributes) {
  const auto& answer = system_calls().pthread_cond_init;
  return answer ? answer(condition) : __real_pthread_cond_init(condition, attributes);
}

int __real_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes);
int __wrap_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) {
  const auto& answer = system_calls().pthread_mutex_init;
  return answer ? answer(mutex) : __real_pthread_mutex_init(mutex, attributes);
}

int __real_pthread_mutexattr_init(pthread_mutexattr_t* attributes);
int __wrap_pthread_mutexattr_init(pthread_mutexattr_t* attributes) {
  const auto& answer = system_calls().pthread_mutexattr_init;
  return answer ? answer(attributes) : __real_pthread_mutexattr_init(attributes);
}

int __real_pthread_rwlock_init(pthread_rwlock_t* lock, const pthread_rwlockattr_t* attributes);
int __wrap_pthread_rwlock_init(pthread_rwlock_t* lock, const pthread_rwlockattr_t* attributes) {
  const auto& answer = system_calls().pthread_rwlock_init;
  return answer ? answer(lock) : __real_pthread_rwlock_init(lock, attributes);
}

void* __real__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag);
void* __wrap__ZnwmRKSt9nothrow_t(std::size_t size, const std::nothrow_t& tag) {
  const auto& answer = system_calls().new_nothrow;
  return answer ? answer(size) : __real__ZnwmRKSt9nothrow_t(size, tag);
}

}  // extern "C"
