// The stages of a frame that a host runs itself.
#ifndef QUARN_GRAPHICS_DRIVEN_STAGE_H_
#define QUARN_GRAPHICS_DRIVEN_STAGE_H_

#include <cstdint>
#include <optional>

#include "graphics/frame_times.h"

class FrameClock;
class GraphicsDevice;
class GraphicsDeviceImpl;

// While it lives, the calling thread runs a stage of a device for its host: the clock and the statistics of the device
// know. A device whose own loop runs takes no notice.
class DrivenStage {
 public:
  // `part`: as what the time is counted; none where the stage tells its parts apart by itself.
  DrivenStage(GraphicsDevice* device, std::optional<FramePart> part);
  DrivenStage(const DrivenStage&) = delete;
  DrivenStage& operator=(const DrivenStage&) = delete;

  // The stage is one that comes before the outputs.
  void BeforeOutput();
  // The stage outputs the pictures, with that stamp for the first of `count` periods.
  void Output(std::uint64_t timestamp, unsigned int count);

 private:
  GraphicsDeviceImpl* const device_;  // Null where no notice is taken.
  std::optional<MeasuredFrames> measured_;
  std::optional<FrameSpan> span_;  // After what it is measured for.
};

// Has the stages that follow belong to a frame of that stamp. False, with an error in the log, where the device has a
// loop of its own.
bool BeginDrivenFrame(GraphicsDevice* device, std::uint64_t timestamp);

#endif  // QUARN_GRAPHICS_DRIVEN_STAGE_H_
