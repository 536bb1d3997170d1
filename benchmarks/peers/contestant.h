// A contestant of the comparison with peers: a program of its own that makes frames or blocks of sound by one road, and
// is told on its standard input what to make and when.
//
//   picture 1920 1080 nv12 8    what to make, once, as scene.h has it; answered `ready`, or `no` and the reason
//   make 10                     makes so many more; answered with the processor time that it took, in microseconds
//   write PATH                  writes the latest that was made; answered `written`
//
// The end of its input ends it. A failure later on is an answer that begins with `no`, too.
#ifndef QUARN_BENCHMARKS_PEERS_CONTESTANT_H_
#define QUARN_BENCHMARKS_PEERS_CONTESTANT_H_

#include <functional>
#include <memory>
#include <string>
#include <vector>

// Members throw std::runtime_error, with the reason for people, for what cannot be done here.
class Contestant {
 public:
  virtual ~Contestant() = default;
  // Makes so many more, one after another, each of them whole in memory before the next is begun.
  virtual void Make(unsigned int count) = 0;
  // The latest one: its planes, tightly packed, one behind the other.
  virtual std::vector<unsigned char> Latest() = 0;
};

using Words = std::vector<std::string>;

// Answers the commands until the input ends. `prepare` gets the words of the first one.
//
// Returns the exit status of the program.
int Serve(const std::function<std::unique_ptr<Contestant>(const Words&)>& prepare);

// Appends rows of `row_size` bytes that lie `pitch` bytes apart.
void AppendRows(std::vector<unsigned char>* bytes, const void* first, std::size_t pitch, std::size_t row_size,
                std::size_t rows);

#endif  // QUARN_BENCHMARKS_PEERS_CONTESTANT_H_
