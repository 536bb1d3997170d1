// Threads. A Runable ends by returning from Run(); whoever owns the thread then joins it.
#ifndef QUARN_FOUNDATION_THREAD_H_
#define QUARN_FOUNDATION_THREAD_H_

// What a thread runs. Kept: C1.
class Runable {
 public:
  virtual ~Runable() = default;
  virtual void Run() = 0;
};

class Thread {
 public:
  // The destructor does not join.
  virtual ~Thread() = default;
  // Starts a thread that calls r->Run(); does nothing on a started thread. Nothing is reported: see started().
  virtual void Start(Runable* r) = 0;
  // Waits for the thread's end; does nothing when none was started.
  virtual void Join() = 0;
  // Whether a thread was started and not yet joined: false after a Start that could not create one.
  virtual bool started() const = 0;

  // A new platform thread, not started, owned by the caller.
  static Thread* Create();
};

// Names the calling thread, for those who look at the process from outside. At most 15 characters: a longer name is not
// taken.
void NameThisThread(const char* name);

// Has the system run the calling thread before all ordinary ones, or among them again; threads that it starts are
// ordinary. Returns 0, or the error (errno) where the system refuses: the thread stays what it was then.
int SetThisThreadRealtime(bool realtime);

// Has the calling thread do nothing any more until the process ends.
[[noreturn]] void HaltThisThread();

#endif  // QUARN_FOUNDATION_THREAD_H_
