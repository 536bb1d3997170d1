#include "preview/app.h"

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <utility>

#include "preview/import.h"
#include "studio/error.h"
#include "studio/log.h"
#include "studio/scene_file.h"

namespace preview {
namespace {

using studio::Error;
using studio::Layer;
using studio::LayerKind;
using studio::LayerSource;
using studio::Size;
using studio::Vec;

constexpr char kNotSaved[] = "not saved: S saves, closing again discards";
constexpr int kMargin = 10;     // What a view leaves free around the canvas, both sides together.
constexpr int kRefreshMs = 15;  // Between two looks at what changes by itself.
constexpr float kNudgePx = 1, kFarNudgePx = 10;
constexpr float kTurnDeg = 1, kFarTurnDeg = 15;

std::vector<LayerSource> OpenLayers(const studio::Description& description) {
  std::vector<LayerSource> sources;
  for (const Layer& layer : description.layers) sources.emplace_back(layer, description);
  return sources;
}

std::vector<Entry> EntriesOf(const std::vector<Layer>& layers, const std::vector<LayerSource>& sources) {
  std::vector<Entry> entries;
  for (std::size_t i = 0; i < layers.size(); ++i) {
    entries.push_back(Entry{static_cast<int>(i) + 1, layers[i], sources[i].natural_size()});
  }
  return entries;
}

Size WindowSize(const Options& options) {
  const Size canvas = options.description.canvas;
  return options.window.value_or(Size{canvas.width + kMargin, canvas.height + kMargin});
}

std::string LayerName(const Layer& layer) {
  const std::string name = layer.kind == LayerKind::kColor ? "color" : layer.file.substr(layer.file.rfind('/') + 1);
  return layer.visible ? name : name + " (hidden)";
}

std::string Clock(double seconds) {
  char text[32];
  const int whole = static_cast<int>(seconds);
  std::snprintf(text, sizeof(text), "%d:%02d", whole / 60, whole % 60);
  return text;
}

}  // namespace

App::App(Options options)
    : options_(std::move(options)),
      sources_(OpenLayers(options_.description)),
      window_(WindowSize(options_)),
      device_(options_.description.fps, true),
      editor_(EntriesOf(options_.description.layers, sources_), options_.description.canvas),
      items_(options_.description, device_.get()) {
  // Not before the device is made: it calls its success an error.
  if (!options_.description.verbose) studio::ShowLog(studio::LogShown::kProblems);
  for (std::size_t i = 0; i < sources_.size(); ++i) {
    items_.Make(static_cast<int>(i) + 1, options_.description.layers[i], std::move(sources_[i]), false);
  }
  sources_.clear();  // Their pictures are textures now.
  const Size size = window_.size();
  view_ = std::make_unique<GsViewImpl>(GsWindowInfo{window_.handle()}, static_cast<unsigned int>(size.width),
                                       static_cast<unsigned int>(size.height), device_.get());
  view_->SetBackgroundColor(0.12f, 0.13f, 0.15f, 1);
  view_->SetScene(items_.scene());
  if (options_.play) Do(Command::kPlay, false, false);
  Refresh();
  view_->Attch();
}

App::~App() { view_->Detach(); }

void App::Run() {
  while (!quit_) {
    SDL_Event event;
    if (SDL_WaitEventTimeout(&event, kRefreshMs) != 0) {
      do Handle(event);
      while (SDL_PollEvent(&event) != 0);
    }
    Refresh();
  }
  if (recording_) FinishRecording();
}

void App::Handle(const SDL_Event& event) {
  if (main_queue_.Handle(event)) return;
  switch (event.type) {
    case SDL_QUIT: quit_ = true; break;  // SDL makes it of SIGINT and SIGTERM, too.
    case SDL_WINDOWEVENT: HandleWindow(event.window); break;
    case SDL_KEYDOWN:
    case SDL_KEYUP: HandleKey(event.key); break;
    case SDL_MOUSEMOTION: MovePointer(window_.ToPixels(event.motion.x, event.motion.y)); break;
    case SDL_MOUSEBUTTONDOWN:
      if (event.button.button != SDL_BUTTON_LEFT) break;
      message_.clear();
      quit_refused_ = false;
      MovePointer(window_.ToPixels(event.button.x, event.button.y));
      if (const auto point = ToCanvas(pointer_)) editor_.Press(*point, modifiers_);
      break;
    case SDL_MOUSEBUTTONUP:
      if (event.button.button != SDL_BUTTON_LEFT) break;
      MovePointer(window_.ToPixels(event.button.x, event.button.y));
      editor_.Release();
      break;
    case SDL_DROPFILE:
      DropFile(event.drop.file);
      SDL_free(event.drop.file);
      break;
    default: break;
  }
}

void App::HandleWindow(const SDL_WindowEvent& event) {
  switch (event.event) {
    case SDL_WINDOWEVENT_SIZE_CHANGED:
      view_->Resize(static_cast<unsigned int>(window_.size().width), static_cast<unsigned int>(window_.size().height));
      break;
    case SDL_WINDOWEVENT_LEAVE: editor_.PointerLeft(); break;
    case SDL_WINDOWEVENT_CLOSE: RequestQuit(); break;
    default: break;
  }
}

void App::HandleKey(const SDL_KeyboardEvent& key) {
  const bool shift = (key.keysym.mod & KMOD_SHIFT) != 0;
  modifiers_ = Modifiers{shift, (key.keysym.mod & KMOD_CTRL) != 0, (key.keysym.mod & KMOD_ALT) != 0};
  if (editor_.dragging()) MovePointer(pointer_);
  const Command command = CommandOf(key.keysym);
  if (key.type != SDL_KEYDOWN || command == Command::kNone) return;
  if (command != Command::kQuit) {
    message_.clear();
    quit_refused_ = false;
  }
  Do(command, shift, key.repeat != 0);
}

void App::Do(Command command, bool shift, bool repeated) {
  const float nudge = shift ? kFarNudgePx : kNudgePx;
  const float turn = shift ? kFarTurnDeg : kTurnDeg;
  switch (command) {
    case Command::kNudgeLeft: editor_.Nudge(-nudge, 0, repeated); break;
    case Command::kNudgeRight: editor_.Nudge(nudge, 0, repeated); break;
    case Command::kNudgeUp: editor_.Nudge(0, -nudge, repeated); break;
    case Command::kNudgeDown: editor_.Nudge(0, nudge, repeated); break;
    case Command::kTurnLeft: editor_.Rotate(-turn, repeated); break;
    case Command::kTurnRight: editor_.Rotate(turn, repeated); break;
    case Command::kSelectNext: editor_.SelectNext(shift ? -1 : 1); break;
    case Command::kUndo: editor_.Undo(); break;
    case Command::kRedo: editor_.Redo(); break;
    default:
      if (!repeated) DoUnrepeated(command, shift);
  }
}

void App::DoUnrepeated(Command command, bool shift) {
  switch (command) {
    case Command::kRaise: editor_.Raise(shift); break;
    case Command::kLower: editor_.Lower(shift); break;
    case Command::kToggleVisible: editor_.ToggleVisible(); break;
    case Command::kDelete: editor_.Delete(); break;
    case Command::kAdd: AddNext(); break;
    case Command::kEscape: editor_.Escape(); break;
    case Command::kPlay:
      playing_ = !playing_;
      playing_ ? items_.clock()->Run() : items_.clock()->Pause();
      break;
    case Command::kRewind: items_.Rewind(); break;
    case Command::kRecord: ToggleRecording(); break;
    case Command::kSave: Save(); break;
    case Command::kHelp:
      std::fputs(KeyHelp().c_str(), stdout);
      std::fflush(stdout);
      break;
    case Command::kQuit: RequestQuit(); break;
    default: break;
  }
}

void App::Refresh() {
  editor_.SetScale(view_->scale());
  editor_.SetTime(static_cast<double>(items_.clock()->now_ns()) * 1e-9);
  items_.Show(editor_);
  constexpr float kNoGuide = std::numeric_limits<float>::quiet_NaN();
  view_->SetClampX(editor_.guide_x().value_or(kNoGuide) * view_->scale());
  view_->SetClampY(editor_.guide_y().value_or(kNoGuide) * view_->scale());
  if (recording_ && !recording_->running()) {
    try {
      FinishRecording();
    } catch (const Error& error) {
      TellError(error.what());
    }
  }
  window_.SetTitle(Title());
  window_.SetCursor(Cursor());
}

std::optional<Vec> App::ToCanvas(Vec pixels) const {
  if (!(view_->scale() > 0)) return std::nullopt;
  const gs_vec2 point = view_->ToScene(gs_vec2(pixels.x, pixels.y));
  return Vec{point.x, point.y};
}

void App::MovePointer(Vec pixels) {
  pointer_ = pixels;
  if (const auto point = ToCanvas(pixels)) editor_.MovePointer(*point, modifiers_);
}

void App::AddFile(const std::string& file, Vec pos) {
  try {
    Layer layer = ImportLayer(file, options_.description.canvas);
    layer.pos = pos;
    LayerSource source(layer, options_.description);
    const int id = editor_.Add(layer, source.natural_size());
    items_.Make(id, layer, std::move(source), true);
  } catch (const Error& error) {
    TellError(error.what());
  }
}

void App::DropFile(const std::string& file) {
  const Size canvas = options_.description.canvas;
  const std::optional<Vec> point = ToCanvas(window_.PointerPixels());
  const bool on_canvas = point && std::fabs(point->x) * 2 <= canvas.width && std::fabs(point->y) * 2 <= canvas.height;
  AddFile(file, on_canvas ? Vec{std::floor(point->x), std::floor(point->y)} : Vec());
}

void App::AddNext() {
  if (options_.add.empty()) {
    TellError("nothing to add: name files with --add, or drop them on the window");
    return;
  }
  AddFile(options_.add[next_to_add_ % options_.add.size()], Vec());
  ++next_to_add_;
}

void App::Save() {
  if (options_.save.empty()) {
    std::error_code ignored;
    options_.save = std::filesystem::exists("scene.json", ignored) ? FreeName("scene", ".json", 2) : "scene.json";
  }
  studio::Description description = options_.description;
  description.layers = editor_.Layers();
  try {
    studio::WriteSceneFile(options_.save, description);
    editor_.MarkSaved();
    Tell("saved " + options_.save);
  } catch (const Error& error) {
    TellError(error.what());
  }
}

void App::ToggleRecording() {
  try {
    if (recording_) {
      FinishRecording();
      return;
    }
    studio::Description description = options_.description;
    description.output = NextFilm();
    recording_ = std::make_unique<Recording>(items_.scene(), description, device_.get());
    film_ = description.output;
  } catch (const Error& error) {
    TellError(error.what());
  }
}

// The name that was asked for, then others like it: no film is written over but the one that was named.
std::string App::NextFilm() const {
  const std::string& named = options_.description.output;
  if (named.empty()) return FreeName("film", ".mp4", 1);
  if (film_.empty() || named.find("://") != std::string::npos) return named;
  const std::filesystem::path path(named);
  return FreeName((path.parent_path() / path.stem()).string(), path.extension().string(), 2);
}

void App::FinishRecording() {
  const std::unique_ptr<Recording> recording = std::move(recording_);
  const std::string length = Clock(recording->seconds());
  recording->Finish();
  Tell("recorded " + recording->name() + ", " + length + ", " + std::to_string(recording->counts().dropped) +
       " frames dropped");
}

void App::RequestQuit() {
  if (!editor_.changed() || quit_refused_) {
    quit_ = true;
  } else {
    quit_refused_ = true;
    Tell(kNotSaved);
  }
}

void App::Tell(const std::string& message) {
  message_ = message;
  std::printf("%s\n", message.c_str());
  std::fflush(stdout);
}

void App::TellError(const std::string& message) {
  message_ = message;
  std::fprintf(stderr, "quarn-preview: %s\n", message.c_str());
}

std::string App::SceneName() const {
  return options_.save.empty() ? "new scene" : options_.save.substr(options_.save.rfind('/') + 1);
}

std::string App::Title() {
  std::string title = SceneName() + (editor_.changed() ? "*" : "");
  const auto add = [&title](const std::string& part) { title += " - " + part; };
  if (const Entry* entry = editor_.SelectedEntry()) add(LayerName(entry->layer));
  if (playing_) add("playing");
  if (recording_) {
    add("recording " + recording_->name() + " " + Clock(recording_->seconds()) + ", " +
        std::to_string(recording_->counts().dropped) + " dropped");
  }
  if (!message_.empty()) add(message_);
  add("quarn-preview");
  return title;
}

// Along the line on which a handle moves, as it lies on the screen.
SDL_SystemCursor App::Cursor() const {
  const auto handle = editor_.active_handle();
  if (!handle) return editor_.dragging() ? SDL_SYSTEM_CURSOR_SIZEALL : SDL_SYSTEM_CURSOR_ARROW;
  const Entry* const entry = editor_.SelectedEntry();
  const double angle = std::atan2(handle->y, handle->x) * 180 / 3.14159265 + editor_.ShapeOf(*entry).rotation_deg;
  constexpr SDL_SystemCursor kCursors[] = {SDL_SYSTEM_CURSOR_SIZEWE, SDL_SYSTEM_CURSOR_SIZENWSE,
                                           SDL_SYSTEM_CURSOR_SIZENS, SDL_SYSTEM_CURSOR_SIZENESW};
  return kCursors[((std::lround(angle / 45) % 4) + 4) % 4];
}

}  // namespace preview
