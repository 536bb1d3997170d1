#include "record/options.h"

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "studio/error.h"
#include "studio/layer_options.h"
#include "studio/layer_text.h"
#include "studio/scene_file.h"
#include "studio/sound_text.h"

namespace studio {
namespace {

constexpr char kFooter[] = R"(
  quarn-record --color '#203040' --video clip.mp4,size=640x0,loop --picture logo.png,pos=400:-250,spin=20 -o film.mp4
  quarn-record --video clip.mp4,volume=0.3 --audio voice.wav@1,2.5 --audio music.ogg@0.2 -o film.mp4
  quarn-record --scene examples/scenes/demo.json --offline -o film.mp4

Stills have no sound, nor has every kind of film.

A film appears under its name once it is complete. Ctrl-C ends it early and keeps it.)";

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

std::optional<Description> ParseCommandLine(int argc, char** argv) {
  CLI::App app("Composites pictures, videos and colours with Quarn, and records them as a film.", "quarn-record");
  app.footer(std::string(kLayerHelp) + kSoundHelp + kFooter);
  app.get_formatter()->column_width(30);

  const LayerOptions layers(&app);
  std::string scene, canvas, fps, duration, output_size, format, output;
  double start_s = 0;
  bool offline = false, verbose = false;
  app.add_option("--scene", scene, "A scene file; options given beside it win, layers are added on top")
      ->type_name("FILE.json");
  std::vector<std::string> sounds;
  app.add_option("--audio", sounds, "A sound from anything that FFmpeg decodes")
      ->type_name("FILE[@GAIN[,START]][,...]")
      ->type_size(1)
      ->expected(1, 1 << 16)
      ->allow_extra_args(false);
  CLI::Option* canvas_option = app.add_option("--canvas", canvas, "The scene's size (1280x720)")->type_name("WxH");
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
  app.add_flag("--offline", offline, "Make every frame exactly once, as fast as possible (always so for a .png)");
  app.add_flag("--verbose", verbose, "Show the messages of Quarn and FFmpeg");
  app.add_option("-o,--output", output, "film.mp4, film.y4m, still.png, ... or a URL such as udp://127.0.0.1:1234")
      ->type_name("FILE");

  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& help) {
    app.exit(help);
    return std::nullopt;
  } catch (const CLI::ParseError& error) {
    throw UsageError(error.what());
  }

  Description description;
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
  description.output = output;
  description.offline = offline || description.IsStill();
  description.verbose = verbose;
  Validate(description);
  return description;
}

}  // namespace studio
