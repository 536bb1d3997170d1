#include "studio/version_text.h"

#include <quarn/version.h>

#include "studio/av.h"

namespace studio {
namespace {

std::string Dotted(unsigned int major, unsigned int minor, unsigned int patch) {
  return std::to_string(major) + "." + std::to_string(minor) + "." + std::to_string(patch);
}

std::string Line(const char* library, unsigned int version) {
  return std::string("\n  ") + library + " " +
         Dotted(AV_VERSION_MAJOR(version), AV_VERSION_MINOR(version), AV_VERSION_MICRO(version));
}

}  // namespace

std::string VersionText(const std::string& program) {
  const unsigned int version = quarn_version();
  return program + " " + Dotted(QUARN_VERSION_MAJOR, QUARN_VERSION_MINOR, QUARN_VERSION_PATCH) + "\n  libquarn " +
         Dotted(version / 1000000, version / 1000 % 1000, version % 1000) + Line("libavformat", avformat_version()) +
         Line("libavcodec", avcodec_version()) + Line("libavfilter", avfilter_version()) +
         Line("libavutil", avutil_version()) + Line("libswscale", swscale_version()) +
         Line("libswresample", swresample_version());
}

}  // namespace studio
