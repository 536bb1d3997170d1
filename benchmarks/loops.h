// The loops that the benchmarks compare: the same pictures, made by the engine and by bare GL calls, of which there are
// two: one makes the engine's passes, the other the least that make the same bytes.
#ifndef QUARN_BENCHMARKS_LOOPS_H_
#define QUARN_BENCHMARKS_LOOPS_H_

#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

#include <quarn/gs_frame.h>
#include <quarn/gs_types.h>

// What a frame consists of. In every scene each item draws a picture of its own: the first ones those of the filters,
// the next ones those of the images that are updated, and the rest share one image.
struct Workload {
  unsigned int width = 0;  // Pixels, of the scenes and of the outputs.
  unsigned int height = 0;
  int items = 0;  // In each scene.
  GsFormat format = kGsFormatNV12;
  int scenes = 1;
  int outputs = 1;  // Of each scene.
  int filters = 0;  // Each draws the image once, turned.
  int updates = 0;  // Images whose pixels are replaced in every frame.
};

constexpr unsigned int kImageSide = 64;  // Pixels of an image, and of a filter.

// The image: RGBA, its rows top first. The pixels of an image that is updated change from frame to frame.
std::vector<unsigned char> Image(unsigned int frame = 0);
// How many images there are to update with: frame n shows number n modulo that.
constexpr unsigned int kImageCount = 4;

// Where an item lands in the first frame: turned, overlapping its neighbours, a fifth of the scene's height.
gs_transform Placement(const Workload& workload, int item);
// Where it is in a later frame: items turn and drift. The scenes of a workload are a frame apart from one another.
gs_transform Moved(const gs_transform& placement, unsigned int frame);

// What a filter draws.
gs_transform FilterPlacement(unsigned int frame);

// A plane of a frame, tightly packed.
struct PlaneShape {
  std::size_t row_size;  // Bytes.
  std::size_t rows;
};
std::vector<PlaneShape> PlanesOf(const Workload& workload);

// One way of making the frames of a workload.
class FrameLoop {
 public:
  virtual ~FrameLoop() = default;
  // Makes one frame and waits until its pixels are in memory.
  virtual void MakeFrame() = 0;
  // The planes of the latest frame, the top row first, one behind the other, output after output, scene after scene.
  virtual std::vector<unsigned char> Pixels() const = 0;
};

// Null where there is no OpenGL 3.2, or the workload is none for the loop; standard error says which.
std::unique_ptr<FrameLoop> MakeEngineLoop(const Workload& workload);
std::unique_ptr<FrameLoop> MakeSamePassesLoop(const Workload& workload);
std::unique_ptr<FrameLoop> MakeLeastLoop(const Workload& workload);

// Other layers for the least loop than a workload's: each with an image of its own, drawn unturned, unscaled and on
// whole pixels, so that it need not be filtered.
struct Layers {
  unsigned int width;  // Pixels of each image.
  unsigned int height;
  std::function<std::vector<unsigned char>(int item)> image;  // RGBA, its rows bottom first.
  std::function<gs_transform(int item, unsigned int frame)> placement;
};
std::unique_ptr<FrameLoop> MakeLeastLoop(const Workload& workload, const Layers& layers);

#endif  // QUARN_BENCHMARKS_LOOPS_H_
