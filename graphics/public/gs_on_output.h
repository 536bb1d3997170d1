// The bridges that lead an engine output's calls to the public outputs.
#ifndef QUARN_GRAPHICS_PUBLIC_GS_ON_OUTPUT_H_
#define QUARN_GRAPHICS_PUBLIC_GS_ON_OUTPUT_H_

#include "graphics/graphics_output.h"

class GsOutputRaw;
class GsOutputTex;

// Lives from the start of its output to the stop, or to the end of the call that stopped it.
//
// Calls come with the engine output's callback mutex held. Whoever retires a bridge has detached it, and so waited for
// that mutex: a call that is still running then is the caller's own.
class GsOnOutput : public GraphicsOutput::OutputCallback {
 public:
  using OutputCallback::OutputCallback;

  // Deletes the bridge: at once, or at the end of the call that it is called from.
  void Retire();

 protected:
  // What a host is called in. The bridge may be gone afterwards.
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
