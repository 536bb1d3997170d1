// A host's own classes under names that the library uses inside. They are what the host's linker finds first: were the
// library's to go by the same symbols, its threads would run into these and end the process.
#include <cstdlib>

class Mutex {
 public:
  Mutex();
  ~Mutex();
  void Lock();
  void Unlock();
};
Mutex::Mutex() { std::abort(); }
Mutex::~Mutex() { std::abort(); }
void Mutex::Lock() { std::abort(); }
void Mutex::Unlock() { std::abort(); }

class Event {
 public:
  explicit Event(bool manual_reset);
  ~Event();
  bool Signal();
  bool TimedWait(unsigned long ms);
};
Event::Event(bool) { std::abort(); }
Event::~Event() { std::abort(); }
bool Event::Signal() { std::abort(); }
bool Event::TimedWait(unsigned long) { std::abort(); }

class Thread {
 public:
  ~Thread();
  bool started() const;
};
Thread::~Thread() { std::abort(); }
bool Thread::started() const { std::abort(); }

class Logger {
 public:
  static Logger* default_logger();
};
Logger* Logger::default_logger() { std::abort(); }
