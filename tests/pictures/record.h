// What a case shows, line by line: pictures by their digests, callbacks and log messages in their order.
#ifndef QUARN_TESTS_PICTURES_RECORD_H_
#define QUARN_TESTS_PICTURES_RECORD_H_

#include <cstddef>
#include <mutex>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

namespace pictures {

// Lines of the thread that drives the frames stand in the order in which they came; those of other threads, which come
// at no certain time, behind them in alphabetical order.
//
// Thread: any.
class Record {
 public:
  // `raw_folder`: where the bytes of every picture are written; empty for nowhere.
  Record(std::string case_name, std::string raw_folder);

  void Line(const std::string& text);
  // A message of the library's. What changes from run to run and with the place in the sources is left out.
  void Message(int level, std::string text);
  // A picture of `rows` rows, each `pitch` bytes long.
  void Picture(const std::string& name, const unsigned char* data, std::size_t pitch, std::size_t rows);
  void Write(std::ostream* out) const;

 private:
  const std::string case_name_;
  const std::string raw_folder_;
  const std::thread::id driver_ = std::this_thread::get_id();
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
  std::vector<std::string> elsewhere_;
};

}  // namespace pictures

#endif  // QUARN_TESTS_PICTURES_RECORD_H_
