// The bridges that lead an engine output's calls to the public outputs.
#ifndef QUARN_GRAPHICS_PUBLIC_GS_ON_OUTPUT_H_
#define QUARN_GRAPHICS_PUBLIC_GS_ON_OUTPUT_H_

#include "graphics/graphics_output.h"

class GsOutputRaw;
class GsOutputTex;

// A bridge lives from the start of its output to the stop or, when a host stops the output from inside a call, to the
// end of that call.
//
// The engine's output calls with its callback mutex held. Detaching waits for that mutex, and comes before Retire: if a
// call is running when Retire is called, it is the one that Retire is called from.
class GsOnOutput : public GraphicsOutput::OutputCallback {
 public:
  using OutputCallback::OutputCallback;

  // Deletes the bridge: at once or, from inside a call, when that call ends.
  void Retire();

 protected:
  // Calls function(), which calls the host. The bridge may be gone when it returns.
  template <class Function>
  void Call(Function function) {
    ++running_calls_;
    function();
    if (--running_calls_ == 0 && retired_) delete this;
  }

 private:
  int running_calls_ = 0;  // More than one when a host drives a frame from inside a call.
  bool retired_ = false;
};

class GsOnOutputRaw : public GsOnOutput {
 public:
  GsOnOutputRaw(GraphicsOutput::OutputFormat format, GsOutputRaw* output);
  void OnOutputRawData(const GraphicsFrame& frame, unsigned long long timestamp) override;

 private:
  GsOutputRaw* output_;
};

class GsOnOutputTex : public GsOnOutput {
 public:
  explicit GsOnOutputTex(GsOutputTex* output);
  void OnOutputTexture(GraphicsTexture* texture, unsigned long long timestamp) override;

 private:
  GsOutputTex* output_;
};

#endif  // QUARN_GRAPHICS_PUBLIC_GS_ON_OUTPUT_H_
