#include "preview/options.h"

#include <CLI/CLI.hpp>

#include "preview/keys.h"
#include "preview/recording.h"
#include "studio/command_help.h"
#include "studio/error.h"
#include "studio/film_inputs.h"
#include "studio/layer_options.h"
#include "studio/layer_text.h"
#include "studio/scene_file.h"
#include "studio/version_text.h"

namespace preview {
namespace {

constexpr char kExamples[] = R"(
  quarn-preview --scene scene.json --play
  quarn-preview --color '#203040' --picture logo.png,size=320x0 --add photo.jpg title.png --save scene.json
)";

constexpr char kNotes[] = R"(
The film stands still until it is played. A layer that drifts or spins moves on from where it is put.)";

}  // namespace

std::optional<Options> ParseCommandLine(int argc, char** argv) {
  CLI::App app("Shows a scene in a window, edits it with the pointer and keys, and records it.", "quarn-preview");
  studio::AddHelp(&app,
                  {{"Layers", studio::kLayerHelp, studio::LayerOptions::Names()},
                   {"Pointer and keys", "\nIn the window:\n" + KeyHelp(), {}},
                   {"Scene files", studio::kSceneHelp, {}},
                   {"Examples", kExamples, {}},
                   {"Notes", kNotes, {}}},
                  [] { return studio::OptionWords{}; });
  app.get_formatter()->column_width(30);

  Options options;
  const studio::LayerOptions layers(&app);
  std::string canvas, fps, output_size, window;
  app.add_option("--scene", options.scene, "A scene file; options given beside it win, layers are added on top")
      ->type_name("FILE.json");
  CLI::Option* canvas_option = app.add_option("--canvas", canvas, "The scene's size (1280x720)")->type_name("WxH");
  CLI::Option* fps_option =
      app.add_option("--fps", fps, "Frames a second (30); 29.97 is 30000/1001")->type_name("RATE");
  app.add_option("--add", options.add, "Pictures and videos for the key A, one after the other")->type_name("FILE");
  app.add_option("--save", options.save, "Where the scene is saved (the scene file, else scene.json or scene-N.json)")
      ->type_name("FILE.json");
  app.add_option("-o,--output", options.description.output,
                 "Where R records to: film.mp4, then film-2.mp4, ..., or a URL (film-N.mp4)")
      ->type_name("FILE");
  CLI::Option* output_size_option =
      app.add_option("--output-size", output_size, "The film's size; the scene is fitted into it (the canvas)")
          ->type_name("WxH");
  CLI::Option* window_option =
      app.add_option("--window", window, "The window's size in pixels (what the canvas and the panels take)")
          ->type_name("WxH");
  app.add_flag_callback(
         "--no-panels", [&] { options.panels = false; }, "Show the canvas alone; F9 brings the panels")
      ->disable_flag_override();
  app.add_flag("--play", options.play, "Start playing at once");
  app.add_flag("--verbose", options.description.verbose, "Show the messages of Quarn and FFmpeg");

  app.set_version_flag("--version", studio::VersionText("quarn-preview"),
                       "Print the versions of this program and its libraries");

  if (!studio::ParseCommandLine(&app, argc, argv)) return std::nullopt;

  studio::Description& description = options.description;
  if (!options.scene.empty()) studio::ReadSceneFile(options.scene, &description);
  layers.AppendTo(&description);
  if (*canvas_option) description.canvas = studio::ParseSize(canvas);
  if (*output_size_option) description.output_size = studio::ParseSize(output_size);
  if (*fps_option) description.fps = studio::ParseFrameRate(fps);
  if (*window_option) {
    options.window = studio::ParseSize(window);
    if (options.window->width < 1 || options.window->height < 1) {
      throw studio::UsageError("window " + window + ": each side must be at least 1");
    }
  }
  if (options.save.empty()) options.save = options.scene;
  ValidateScene(description);
  studio::RefuseMedia(description, options.save);
  for (const std::string& file : options.add) {
    for (const std::string& output : {options.save, description.output}) {
      if (studio::IsSameFile(file, output)) throw studio::UsageError("cannot write " + output + ": --add reads it");
    }
  }
  if (!description.output.empty()) ValidateRecording(description);
  return options;
}

}  // namespace preview
