// The engine's side of an output: where the picture of a scene goes.
#ifndef QUARN_GRAPHICS_GRAPHICS_OUTPUT_H_
#define QUARN_GRAPHICS_GRAPHICS_OUTPUT_H_

#include <cstdint>

class GraphicsFrame;
class GraphicsOutputImpl;
class GraphicsTexture;

class GraphicsOutput {
 public:
  enum OutputFormat : std::uint32_t {
    kOutputNone = 0,
    kOutputTexture = 1,  // The scene's texture itself, on the render thread.
    kOutputRGBA = 2,
    kOutputBGRA = 3,
    kOutputI420 = 4,
    kOutputNV12 = 5,
  };

  // The receiver of an output.
  class OutputCallback {
   public:
    explicit OutputCallback(OutputFormat format) : format_(format) {}
    virtual ~OutputCallback() = default;
    virtual void OnOutputTexture(GraphicsTexture* /*texture*/, unsigned long long /*timestamp*/) {}
    virtual void OnOutputRawData(const GraphicsFrame& /*frame*/, unsigned long long /*timestamp*/) {}

    OutputFormat format() const { return format_; }

   private:
    OutputFormat format_;
  };

  virtual ~GraphicsOutput() = default;
  virtual bool Init() = 0;
  virtual void Output(unsigned long long timestamp, int count) = 0;
  virtual void Attach(OutputCallback* callback) = 0;
  virtual void Detach() = 0;
};

// Keeps a raw output from calling its receiver, and from producing anything for it, for as long as it lives: no call
// runs then but the one that it is made in. For whoever attaches what a running call might exchange. Texture outputs
// call under the lock of their context instead.
class OutputPause {
 public:
  // Null for no output.
  explicit OutputPause(GraphicsOutput* output);
  ~OutputPause();
  OutputPause(const OutputPause&) = delete;
  OutputPause& operator=(const OutputPause&) = delete;

 private:
  GraphicsOutputImpl* const output_;
};

// What became of the pictures that were made for an output since it was made: GsOutput::stats. Thread: any.
struct OutputStats {
  std::uint64_t delivered = 0;
  std::uint64_t repeated = 0;
  std::uint64_t dropped = 0;
};
// 0 for null.
OutputStats ReadOutputStats(const GraphicsOutput* output);

// Whether the delivery that is being made repeats a picture. False for null. Thread: any.
bool RepeatsDelivery(const GraphicsOutput* output);

// Waits until a picture finds room in the pool of an output, or until the pool has nothing to deliver any more. Returns
// false when that did not come to pass in time, without a receiver for frames, and in a call of the output's own; and
// for null.
bool WaitForRoom(GraphicsOutput* output, unsigned int timeout_ms);
bool WaitForDeliveries(GraphicsOutput* output, unsigned int timeout_ms);

// What the output's thread has delivered so far, as GsOutputRaw::Counts answers it. Thread: any.
struct OutputCounts {
  std::uint32_t delivered = 0;  // Deliveries that are over.
  // Deliveries that repeat a picture because the pool was full when another was to be stored. Each is counted before it
  // is made, and so one sooner here than above.
  std::uint32_t repeated = 0;
};
// 0 for null, and for an output without a thread.
OutputCounts ReadOutputCounts(const GraphicsOutput* output);

#endif  // QUARN_GRAPHICS_GRAPHICS_OUTPUT_H_
