#include "record/options.h"

#include <unistd.h>

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "record/film_options.h"
#include "studio/command_help.h"
#include "studio/error.h"
#include "studio/layer_options.h"
#include "studio/layer_text.h"
#include "studio/output_name.h"
#include "studio/scene_file.h"
#include "studio/sound_text.h"
#include "studio/version_text.h"

namespace studio {
namespace {

constexpr char kExamples[] = R"(
  quarn-record --color '#203040' --video clip.mp4,size=640x0,loop --picture logo.png,pos=400:-250,spin=20 -o film.mp4
  quarn-record --video clip.mp4,volume=0.3 --audio voice.wav@1,2.5 --audio music.ogg@0.2 -o film.mp4
  quarn-record --scene scene.json --offline -o film.mp4
  quarn-record --scene scene.json -o - --container y4m | ffplay -
)";

constexpr char kNotes[] = R"(
Stills have no sound, nor has every kind of film.

The name tells the kind: .mp4, .mov, .mkv, .webm, .ts, .avi, .nut, .y4m, .gif, .apng and .m3u8 (its segments beside
it) are films; .png, .jpg, .webp, .tiff and .bmp are stills, and with "%04d" in it a file for each picture, counted from
1; .wav, .flac, .mp3, .m4a, .ogg and .opus are sound alone, for which nothing is drawn. "--container webp" moves.

A film appears under its name once it is complete. Ctrl-C ends it early and keeps it. Into a pipe (-, /dev/stdout, a
FIFO) it goes as it is made, and what this program has to say goes to the error output; a reader that goes away ends it.)";

ProgressShown ParseProgress(const std::string& text) {
  if (text == "auto") return isatty(STDERR_FILENO) ? ProgressShown::kBar : ProgressShown::kNone;
  if (text == "bar") return ProgressShown::kBar;
  if (text == "lines") return ProgressShown::kLines;
  if (text == "none") return ProgressShown::kNone;
  throw UsageError("--progress " + text + ": must be auto, bar, lines or none");
}

void SetDuration(const std::string& text, Description* description) {
  description->duration_auto = text == "auto";
  if (description->duration_auto) return;
  try {
    description->duration_s = ParseNumber(text);
  } catch (const UsageError&) {
    description->duration_s = 0;  // Which Validate complains of, as of other numbers that are none of seconds.
  }
}

}  // namespace

std::optional<Options> ParseCommandLine(int argc, char** argv) {
  CLI::App app("Composites pictures, videos, texts and colours with Quarn, and records them as a film.",
               "quarn-record");
  AddHelp(&app,
          {{"Layers", kLayerHelp, LayerOptions::Names()},
           {"Sounds", kSoundHelp, {"--audio"}},
           {"Scene files", kSceneHelp, {}},
           {"Examples", kExamples, {}},
           {"Films", kNotes, {}}},
          [] {
            OptionWords words = FilmOptions::Words();
            words["--duration"] = {"auto"};
            words["--format"] = {"i420", "nv12", "rgba", "bgra"};
            words["--progress"] = {"auto", "bar", "lines", "none"};
            return words;
          });
  app.get_formatter()->column_width(30);

  app.option_defaults()->group("Scene");
  std::string scene, canvas, fps, duration, output_size, format, progress = "auto";
  double start_s = 0;
  bool offline = false, verbose = false;
  app.add_option("--scene", scene, "A scene file; options given beside it win, layers are added on top")
      ->type_name("FILE.json");
  const LayerOptions layers(&app);
  std::vector<std::string> sounds;
  app.add_option("--audio", sounds, "A sound from anything that FFmpeg decodes")
      ->type_name("FILE[@GAIN[,START]][,...]")
      ->type_size(1)
      ->expected(1, 1 << 16)
      ->allow_extra_args(false);
  CLI::Option* canvas_option = app.add_option("--canvas", canvas, "The scene's size (1280x720)")->type_name("WxH");

  app.option_defaults()->group("Film");
  CLI::Option* fps_option =
      app.add_option("--fps", fps, "Frames a second (30); 29.97 is 30000/1001")->type_name("RATE");
  CLI::Option* duration_option =
      app.add_option("--duration", duration, "The film's length (10); auto: that of the longest video or sound")
          ->type_name("SECONDS");
  CLI::Option* start_option =
      app.add_option("--start", start_s, "The scene's time at the film's first frame (0)")->type_name("SECONDS");
  CLI::Option* output_size_option =
      app.add_option("--output-size", output_size, "The film's size; the scene is fitted into it (the canvas)")
          ->type_name("WxH");
  CLI::Option* format_option =
      app.add_option("--format", format, "Pixels asked of the engine: i420, nv12, rgba or bgra")->type_name("FORMAT");
  app.add_flag("--offline", offline, "Make every frame exactly once, as fast as possible (always so for a still)");

  const FilmOptions film(&app);

  app.option_defaults()->group("Program");
  app.add_option("--progress", progress, "auto (a bar on terminals), bar, lines (one a second, of key=value) or none")
      ->type_name("HOW");
  app.add_flag("--verbose", verbose, "Show the messages of Quarn and FFmpeg");
  app.set_version_flag("--version", VersionText("quarn-record"),
                       "Print the versions of this program and its libraries");
  app.set_help_flag("-h,--help", "Print this and exit");

  if (!ParseCommandLine(&app, argc, argv)) return std::nullopt;

  Options options;
  Description& description = options.description;
  if (!scene.empty()) ReadSceneFile(scene, &description);
  layers.AppendTo(&description);
  for (const std::string& sound : sounds) description.sounds.push_back(ParseSound(sound));
  description.needs_sound = !sounds.empty();
  if (*canvas_option) description.canvas = ParseSize(canvas);
  if (*output_size_option) description.output_size = ParseSize(output_size);
  if (*fps_option) description.fps = ParseFrameRate(fps);
  if (*duration_option) SetDuration(duration, &description);
  if (*start_option) description.start_s = start_s;
  if (*format_option) description.format = ParseLayout(format);
  film.ApplyTo(&description);
  description.offline = offline || description.IsStill();
  description.verbose = verbose;
  options.progress = ParseProgress(progress);
  Validate(description);
  if (DescriptorOf(description.output) && isatty(*DescriptorOf(description.output))) {
    throw UsageError("cannot write " + description.output + ": it is a terminal");
  }
  return options;
}

}  // namespace studio
