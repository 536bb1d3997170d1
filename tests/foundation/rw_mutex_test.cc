#include "foundation/rw_mutex.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

// Locks are taken and dropped step by step here, which the thread-safety analysis cannot follow.
void ReadLock(RWMutex& mutex) QUARN_NO_THREAD_SAFETY_ANALYSIS { mutex.ReadLock(); }
void ReadUnlock(RWMutex& mutex) QUARN_NO_THREAD_SAFETY_ANALYSIS { mutex.ReadUnlock(); }
void WriteLock(RWMutex& mutex) QUARN_NO_THREAD_SAFETY_ANALYSIS { mutex.WriteLock(); }
void WriteUnlock(RWMutex& mutex) QUARN_NO_THREAD_SAFETY_ANALYSIS { mutex.WriteUnlock(); }
bool TryReadLock(RWMutex& mutex) QUARN_NO_THREAD_SAFETY_ANALYSIS { return mutex.TryReadLock(); }
bool TryWriteLock(RWMutex& mutex) QUARN_NO_THREAD_SAFETY_ANALYSIS { return mutex.TryWriteLock(); }

// What another thread is answered; it gives back what it obtained.
bool OtherTryReadLock(RWMutex& mutex) {
  bool answer = false;
  std::thread other([&] {
    answer = TryReadLock(mutex);
    if (answer) ReadUnlock(mutex);
  });
  other.join();
  return answer;
}

bool OtherTryWriteLock(RWMutex& mutex) {
  bool answer = false;
  std::thread other([&] {
    answer = TryWriteLock(mutex);
    if (!answer) WriteUnlock(mutex);
  });
  other.join();
  return answer;
}

TEST(RWMutexTest, TryReadLockReturnsTrueWhenObtained) {
  RWMutex mutex;
  EXPECT_TRUE(TryReadLock(mutex));
  EXPECT_TRUE(OtherTryWriteLock(mutex));  // Held: a writer is kept out.
  ReadUnlock(mutex);
  EXPECT_FALSE(OtherTryWriteLock(mutex));
}

TEST(RWMutexTest, TryReadLockReturnsFalseWhileWritten) {
  RWMutex mutex;
  WriteLock(mutex);
  EXPECT_FALSE(OtherTryReadLock(mutex));
  WriteUnlock(mutex);
  EXPECT_TRUE(OtherTryReadLock(mutex));
}

TEST(RWMutexTest, TryWriteLockReturnsFalseWhenObtained) {
  RWMutex mutex;
  EXPECT_FALSE(TryWriteLock(mutex));
  EXPECT_FALSE(OtherTryReadLock(mutex));  // Held: a reader is kept out.
  WriteUnlock(mutex);
  EXPECT_TRUE(OtherTryReadLock(mutex));
}

TEST(RWMutexTest, TryWriteLockReturnsTrueWhileReadOrWritten) {
  RWMutex mutex;
  ReadLock(mutex);
  EXPECT_TRUE(OtherTryWriteLock(mutex));
  ReadUnlock(mutex);
  WriteLock(mutex);
  EXPECT_TRUE(OtherTryWriteLock(mutex));
  WriteUnlock(mutex);
}

TEST(RWMutexTest, ReadersShare) {
  RWMutex mutex;
  ReadLock(mutex);
  EXPECT_TRUE(OtherTryReadLock(mutex));
  ReadUnlock(mutex);
}

TEST(RWMutexTest, WritersExcludeEachOtherAndReaders) {
  RWMutex mutex;
  int first = 0;
  int second = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 2; ++i) {
    threads.emplace_back([&] {
      for (int n = 0; n < 2000; ++n) {
        WriteLock(mutex);
        ++first;
        ++second;
        WriteUnlock(mutex);
      }
    });
  }
  int torn = 0;
  for (int n = 0; n < 2000; ++n) {
    ReadLock(mutex);
    torn += first != second;
    ReadUnlock(mutex);
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(torn, 0);
  EXPECT_EQ(first, 4000);
}

TEST(ReadLockerTest, ReadsBesideOthersWhileItLives) {
  RWMutex mutex;
  {
    const ReadLocker lock(mutex);
    EXPECT_TRUE(OtherTryReadLock(mutex));
    EXPECT_TRUE(OtherTryWriteLock(mutex));  // Not obtained.
  }
  EXPECT_FALSE(OtherTryWriteLock(mutex));
}

TEST(WriteLockerTest, WritesAloneWhileItLives) {
  RWMutex mutex;
  {
    const WriteLocker lock(mutex);
    EXPECT_FALSE(OtherTryReadLock(mutex));
    EXPECT_TRUE(OtherTryWriteLock(mutex));  // Not obtained.
  }
  EXPECT_TRUE(OtherTryReadLock(mutex));
  EXPECT_FALSE(OtherTryWriteLock(mutex));
}

}  // namespace
