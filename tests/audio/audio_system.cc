// The system of the audio layer's tests. Any thread enters.
#include "tests/audio/audio_system.h"

#include <pthread.h>
#include <sys/mman.h>

#include <cerrno>
#include <cstdint>
#include <new>

#include "foundation/os_time.h"

namespace audio_system {

thread_local Calls calls;
thread_local int mappings_until_failure = -1;
thread_local std::vector<std::size_t>* mapping_sizes = nullptr;
thread_local std::atomic<bool>* lock_waits = nullptr;

std::atomic<int> thread_creations{0};
std::atomic<bool> refuse_threads{false};
std::atomic<bool> refuse_callocs{false};
std::function<void()> on_join;
std::function<void()> on_sleep;

namespace {

constexpr std::uint64_t kStart = 1000;
std::atomic<std::uint64_t> now{kStart};

thread_local int news_until_failure = -1;
thread_local bool news_failed = false;

bool Fails(int* until_failure) {
  if (*until_failure < 0) return false;
  return (*until_failure)-- == 0;
}

}  // namespace

bool NewFailed() { return news_failed; }

void FailNewAfter(int n) {
  news_failed = false;
  news_until_failure = n;
}

void Test::SetUp() { now = kStart; }

void Test::TearDown() {
  on_sleep = nullptr;
  on_join = nullptr;
  refuse_threads = false;
  refuse_callocs = false;
  mappings_until_failure = -1;
}

}  // namespace audio_system

namespace os {

std::uint64_t GetTimeNs() { return audio_system::now; }
bool SleepToNs(unsigned long long) { return true; }
bool SleepToNsFast(unsigned long long target) {
  if (audio_system::on_sleep) audio_system::on_sleep();
  audio_system::now = target;
  return true;
}

}  // namespace os

extern "C" {

int __real_pthread_mutex_trylock(pthread_mutex_t* mutex);
int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
  ++audio_system::calls.locks;
  if (audio_system::lock_waits) {
    if (__real_pthread_mutex_trylock(mutex) == 0) return 0;
    *audio_system::lock_waits = true;
  }
  return __real_pthread_mutex_lock(mutex);
}

int __wrap_pthread_mutex_trylock(pthread_mutex_t* mutex) {
  ++audio_system::calls.locks;
  return __real_pthread_mutex_trylock(mutex);
}

int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*), void* arg);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*), void* arg) {
  ++audio_system::thread_creations;
  return audio_system::refuse_threads ? EAGAIN : __real_pthread_create(thread, attributes, entry, arg);
}

int __real_pthread_join(pthread_t thread, void** result);
int __wrap_pthread_join(pthread_t thread, void** result) {
  if (audio_system::on_join) audio_system::on_join();
  return __real_pthread_join(thread, result);
}

void* __real_calloc(std::size_t count, std::size_t size);
void* __wrap_calloc(std::size_t count, std::size_t size) {
  ++audio_system::calls.callocs;
  return audio_system::refuse_callocs ? nullptr : __real_calloc(count, size);
}

void* __real_mmap(void* address, std::size_t size, int protection, int flags, int file, off_t offset);
void* __wrap_mmap(void* address, std::size_t size, int protection, int flags, int file, off_t offset) {
  ++audio_system::calls.mappings;
  if (audio_system::mapping_sizes) audio_system::mapping_sizes->push_back(size);
  if (audio_system::Fails(&audio_system::mappings_until_failure)) return MAP_FAILED;
  return __real_mmap(address, size, protection, flags, file, offset);
}

void* __real__Znwm(std::size_t size);
void* __wrap__Znwm(std::size_t size) {
  if (audio_system::Fails(&audio_system::news_until_failure)) {
    audio_system::news_failed = true;
    throw std::bad_alloc();
  }
  return __real__Znwm(size);
}

}  // extern "C"
