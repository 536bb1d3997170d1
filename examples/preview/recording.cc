#include "preview/recording.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <utility>

#include <quarn/qn_os.h>

#include "studio/error.h"
#include "studio/film_writer.h"
#include "studio/output_name.h"

namespace preview {
namespace {

using studio::Description;

constexpr std::int64_t kLeadNs = 500000000;

// It lasts until it is stopped, or for as long as a film may be.
Description FilmOf(Description description) {
  description.duration_s = studio::kMaxFilmSeconds;
  description.duration_auto = false;
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

Recording::Recording(GsScene* scene, const Description& description, std::vector<studio::LiveLayer> layers,
                     const studio::FilmClock& clock, GsDevice* device)
    : description_(FilmOf(description)),
      encoder_(std::make_unique<studio::FilmWriter>(description_, true), &times_),
      picture_(scene, description_, device, &times_),
      output_(picture_.scene(), description_, &encoder_, device, &times_),
      film_sound_(&output_, &encoder_) {
  if (encoder_.writer().has_sound()) {
    // From before the first picture on, which may show the frame in hand.
    const std::int64_t begin_ns = static_cast<std::int64_t>(qn_os_gettime_ns()) - kLeadNs;
    sound_ =
        std::make_unique<studio::LiveSound>(&film_sound_, &clock.timeline(), description_.sounds, std::move(layers),
                                            begin_ns, static_cast<std::int64_t>(description.EndSeconds() * 1e9));
  }
  output_.Start();
}

Recording::~Recording() = default;

void Recording::SetLayers(std::vector<studio::LiveLayer> layers) {
  if (sound_) sound_->SetLayers(std::move(layers));
}

std::vector<std::string> Recording::TakeSoundErrors() {
  return sound_ ? sound_->TakeErrors() : std::vector<std::string>();
}

double Recording::seconds() { return static_cast<double>(output_.counts().delivered) / description_.fps.fps(); }

bool Recording::running() { return !encoder_.failed() && output_.counts().delivered < description_.FrameCount(); }

void Recording::Finish() {
  output_.Stop();
  const studio::FilmCounts counts = output_.counts();
  if (counts.delivered == counts.dropped && !encoder_.failed()) {
    throw studio::Error("stopped before the first frame: no film");
  }
  if (sound_ && counts.delivered > 0) {
    const std::int64_t length_ns = description_.fps.TimeNs(static_cast<std::int64_t>(counts.delivered));
    sound_->Finish(static_cast<std::int64_t>(film_sound_.EndAfter(static_cast<std::uint64_t>(length_ns))));
  }
  encoder_.Finish();
}

std::string FreeName(const std::string& stem, const std::string& suffix, int first) {
  for (int number = first;; ++number) {
    std::string name = stem + "-" + std::to_string(number) + suffix;
    std::error_code ignored;
    // Pictures that are numbered begin with the first.
    const std::string first_picture = studio::NumberedFile(name, 1);
    if (!std::filesystem::exists(name, ignored) && !std::filesystem::exists(first_picture, ignored)) return name;
  }
}

}  // namespace preview
