#include "studio/shader_filter.h"

#include <quarn/gs_context.h>
#include <quarn/gs_device.h>

#include "studio/blending.h"

namespace studio {

ShaderFilter::ShaderFilter(Size size, const char* program, const float (&constants)[4], GsTexture* input,
                           GsDevice* device, StageTimes* times)
    : GsFilter(static_cast<unsigned int>(size.width), static_cast<unsigned int>(size.height), device),
      device_(device),
      program_(program),
      constants_(constants, sizeof(constants), device),
      input_(input),
      times_(times) {
  Attach();
}

ShaderFilter::~ShaderFilter() { Detach(); }

void ShaderFilter::Draw() {
  const StageTimer timer(&times_->filter);
  GsContext context(device_);
  context.SetViewport(0, 0, width(), height());
  if (!context.BindShader(program_)) return;
  constants_.Bind(0);
  {
    const Unblended unblended;
    const GsTextureBinder binder(input_);
    const gs_vec2 size(static_cast<float>(width()), static_cast<float>(height()));
    context.DrawRect(gs_transform(gs_vec2(), size), size);
  }
  constants_.Unbind();
  context.UnbindShader();
  drawn_ = true;
}

}  // namespace studio
