// The two loops that the frame benchmark compares: the same pictures, made by the engine and by bare GL calls.
#ifndef QUARN_BENCHMARKS_LOOPS_H_
#define QUARN_BENCHMARKS_LOOPS_H_

#include <cstdint>
#include <memory>
#include <vector>

#include <quarn/gs_frame.h>
#include <quarn/gs_types.h>

// What a frame consists of.
struct Workload {
  unsigned int width;  // Pixels, of the scene and of the output.
  unsigned int height;
  int items;
  GsFormat format;
};

constexpr unsigned int kImageSide = 64;  // Pixels of the image that every item draws.

// The image: RGBA, its rows top first.
std::vector<unsigned char> Image();
// Where an item lands: turned, overlapping its neighbours, a fifth of the scene's height.
gs_transform Placement(const Workload& workload, int item);

// One way of making the frames of a workload.
class FrameLoop {
 public:
  virtual ~FrameLoop() = default;
  // Makes one frame and waits until its pixels are in memory.
  virtual void MakeFrame() = 0;
  // A sum over the pixels of the latest frame: the two loops must agree.
  virtual std::uint64_t Checksum() const = 0;
};

std::unique_ptr<FrameLoop> MakeEngineLoop(const Workload& workload);
std::unique_ptr<FrameLoop> MakeBareLoop(const Workload& workload);

// The bytes of a tightly packed plane, summed with their positions.
std::uint64_t SumPlane(std::uint64_t sum, const unsigned char* data, unsigned int pitch, unsigned int row_size,
                       unsigned int rows);

#endif  // QUARN_BENCHMARKS_LOOPS_H_
