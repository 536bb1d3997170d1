// A GsFilter that runs one shader program over a texture.
#ifndef QUARN_EXAMPLES_STUDIO_SHADER_FILTER_H_
#define QUARN_EXAMPLES_STUDIO_SHADER_FILTER_H_

#include <quarn/gs_constant_buffer.h>
#include <quarn/gs_filter.h>
#include <quarn/gs_texture.h>

#include "studio/description.h"
#include "studio/stage_times.h"

namespace studio {

// Attached from its construction to its destruction; it can be left out of the frames in between.
class ShaderFilter : public GsFilter {
 public:
  // `program` reads `input` as u_tex0 and `constants` as u_buf0. `input` must outlive the filter.
  ShaderFilter(Size size, const char* program, const float (&constants)[4], GsTexture* input, GsDevice* device,
               StageTimes* times);
  ~ShaderFilter() override;

  void Draw() override;
  // Whether the target holds a picture.
  bool drawn() const { return drawn_; }

 private:
  GsDevice* const device_;
  const char* const program_;
  GsConstantBuffer constants_;
  GsTexture* const input_;
  StageTimes* const times_;
  bool drawn_ = false;  // Render thread.
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_SHADER_FILTER_H_
