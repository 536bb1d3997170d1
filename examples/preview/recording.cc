#include "preview/recording.h"

#include <filesystem>
#include <memory>
#include <utility>

#include "studio/error.h"
#include "studio/film_writer.h"
#include "studio/output_name.h"

namespace preview {
namespace {

using studio::Description;

// It lasts until it is stopped, or for as long as a film may be.
Description FilmOf(Description description) {
  description.duration_s = studio::kMaxFilmSeconds;
  ValidateRecording(description);
  return description;
}

}  // namespace

void ValidateRecording(const Description& description) {
  if (description.IsStill() || !description.HasPicture() || studio::IsPipe(description.output)) {
    throw studio::UsageError("cannot record to " + description.output + ": it is no film");
  }
  studio::Validate(description);
}

Recording::Recording(GsScene* scene, const Description& description, GsDevice* device)
    : description_(FilmOf(description)),
      encoder_(std::make_unique<studio::FilmWriter>(description_), &times_),
      picture_(scene, description_, device, &times_),
      output_(picture_.scene(), description_, &encoder_, device, &times_) {
  output_.Start();
}

Recording::~Recording() = default;

double Recording::seconds() { return static_cast<double>(output_.counts().delivered) / description_.fps.fps(); }

bool Recording::running() { return !encoder_.failed() && output_.counts().delivered < description_.FrameCount(); }

void Recording::Finish() {
  output_.Stop();
  const studio::FilmCounts counts = output_.counts();
  if (counts.delivered == counts.dropped && !encoder_.failed()) {
    throw studio::Error("stopped before the first frame: no film");
  }
  encoder_.Finish();
}

std::string FreeName(const std::string& stem, const std::string& suffix, int first) {
  for (int number = first;; ++number) {
    std::string name = stem + "-" + std::to_string(number) + suffix;
    std::error_code ignored;
    if (!std::filesystem::exists(name, ignored)) return name;
  }
}

}  // namespace preview
