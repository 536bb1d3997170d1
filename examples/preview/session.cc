#include "preview/session.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <utility>

#include "preview/import.h"
#include "studio/error.h"
#include "studio/log.h"
#include "studio/media_length.h"
#include "studio/scene_file.h"

namespace preview {
namespace {

using studio::Description;
using studio::Error;
using studio::Layer;
using studio::LayerKind;
using studio::LayerSource;
using studio::Size;
using studio::Vec;

// A scene that is to be as long as its media gets their length, or that of a new scene where none has one. It stays
// such a scene: it is saved as one.
void MeasureLength(Description* description) {
  if (!description->duration_auto) return;
  const double end_s = studio::MediaEndSeconds(*description);
  description->duration_s = end_s > 0 ? std::min(end_s, studio::kMaxFilmSeconds) : Description().duration_s;
}

Options Measured(Options options) {
  MeasureLength(&options.description);
  return options;
}

std::vector<LayerSource> OpenLayers(const std::vector<Layer>& layers, const Description& description) {
  std::vector<LayerSource> sources;
  for (const Layer& layer : layers) sources.emplace_back(layer, description);
  return sources;
}

std::vector<Entry> EntriesOf(const std::vector<Layer>& layers, const std::vector<LayerSource>& sources) {
  std::vector<Entry> entries;
  for (std::size_t i = 0; i < layers.size(); ++i) {
    entries.push_back(Entry{static_cast<int>(i) + 1, layers[i], sources[i].natural_size()});
  }
  return entries;
}

std::string Clock(double seconds) {
  char text[32];
  const int whole = static_cast<int>(seconds);
  std::snprintf(text, sizeof(text), "%d:%02d", whole / 60, whole % 60);
  return text;
}

}  // namespace

Session::Session(Options options)
    : options_(Measured(std::move(options))),
      sources_(OpenLayers(options_.description.layers, options_.description)),
      device_(options_.description.fps, true) {
  // Not before the device is made: it calls its success an error.
  if (!options_.description.verbose) studio::ShowLog(studio::LogShown::kProblems);
  Show(options_.description);
  if (options_.play) TogglePlay();
}

Session::~Session() = default;

// Throws before anything has changed.
void Session::Show(Description description) {
  auto items = std::make_unique<SceneItems>(description, device_.get());
  auto editor = std::make_unique<Editor>(EntriesOf(description.layers, sources_), description.canvas);
  for (std::size_t i = 0; i < sources_.size(); ++i) {
    items->Make(static_cast<int>(i) + 1, description.layers[i], std::move(sources_[i]), false);
  }
  sources_.clear();  // Their pictures are textures now.
  const studio::FrameRate fps = description.fps;
  device_.get()->SetFrameRate(static_cast<unsigned int>(fps.num), static_cast<unsigned int>(fps.den));
  options_.description = std::move(description);
  editor_.swap(editor);
  items_.swap(items);
  playing_ = false;
  if (shown_) shown_();
}

void Session::Tell(const std::string& message) {
  if (tell_) tell_(message, false);
  std::printf("%s\n", studio::Printable(message).c_str());
  std::fflush(stdout);
}

void Session::TellError(const std::string& message) {
  if (tell_) tell_(message, true);
  std::fprintf(stderr, "quarn-preview: %s\n", studio::Printable(message).c_str());
}

std::string Session::SceneName() const {
  return options_.save.empty() ? "new scene" : options_.save.substr(options_.save.rfind('/') + 1);
}

void Session::Refresh(float scale) {
  editor_->SetScale(scale);
  editor_->SetTime(seconds());
  items_->Show(*editor_);
  if (const std::string problem = items_->TakeProblem(); !problem.empty()) TellError(problem);
  if (!recording_) return;
  recording_->SetLayers(items_->LiveLayers(*editor_));
  for (const std::string& error : recording_->TakeSoundErrors()) TellError(error);
  if (recording_->running()) return;
  try {
    FinishRecording();
  } catch (const Error& error) {
    TellError(error.what());
  }
}

void Session::New() {
  try {
    FinishRecording();
    Description description;
    description.canvas = options_.description.canvas;
    description.fps = options_.description.fps;
    description.output = options_.description.output;
    description.output_size = options_.description.output_size;
    description.verbose = options_.description.verbose;
    Show(std::move(description));
    options_.save.clear();
    Tell("a new scene");
  } catch (const Error& error) {
    TellError(error.what());
  }
}

void Session::Open(const std::string& file) {
  try {
    Description description;
    description.verbose = options_.description.verbose;
    studio::ReadSceneFile(file, &description);
    studio::ValidateScene(description);
    description.output = options_.description.output;
    if (!description.output_size) description.output_size = options_.description.output_size;
    MeasureLength(&description);
    sources_ = OpenLayers(description.layers, description);
    FinishRecording();
    Show(std::move(description));
    options_.save = file;
    Tell("opened " + file);
  } catch (const Error& error) {
    sources_.clear();
    TellError(error.what());
  }
}

bool Session::Save() {
  if (!options_.save.empty()) return WriteScene(options_.save);
  std::error_code ignored;
  return SaveAs(std::filesystem::exists("scene.json", ignored) ? FreeName("scene", ".json", 2) : "scene.json");
}

bool Session::SaveAs(const std::string& file) {
  if (!WriteScene(file)) return false;
  options_.save = file;
  return true;
}

bool Session::WriteScene(const std::string& file) {
  Description description = options_.description;
  description.layers = editor_->Layers();
  try {
    studio::WriteSceneFile(file, description);
    editor_->MarkSaved();
    Tell("saved " + file);
    return true;
  } catch (const Error& error) {
    TellError(error.what());
    return false;
  }
}

void Session::AddFile(const std::string& file, Vec pos) {
  try {
    Layer layer = ImportLayer(file, options_.description.canvas);
    layer.pos = pos;
    AddLayer(std::move(layer));
  } catch (const Error& error) {
    TellError(error.what());
  }
}

bool Session::AddNext() {
  if (options_.add.empty()) return false;
  AddFile(options_.add[next_to_add_ % options_.add.size()], Vec());
  ++next_to_add_;
  return true;
}

void Session::AddColor(studio::Color color) {
  Layer layer;
  layer.kind = LayerKind::kColor;
  layer.color = color;
  const Size canvas = options_.description.canvas;
  layer.size = Size{std::max(1, canvas.width / 2), std::max(1, canvas.height / 2)};
  AddLayer(std::move(layer));
}

void Session::AddLayer(Layer layer) {
  LayerSource source(layer, options_.description);
  const int id = editor_->Add(layer, source.natural_size());
  items_->Make(id, layer, std::move(source), true);
}

std::string Session::CopyText() {
  const std::vector<Layer> layers = editor_->CopyLayers();
  try {
    return layers.empty() ? "" : studio::LayersText(layers);
  } catch (const Error& error) {
    TellError(error.what());
    return "";
  }
}

void Session::Paste(const std::string& text) {
  try {
    const std::vector<Layer> layers = studio::ParseLayersText(text);
    std::vector<LayerSource> sources = OpenLayers(layers, options_.description);
    const std::vector<int> ids = editor_->AddAll(EntriesOf(layers, sources));
    for (std::size_t i = 0; i < ids.size(); ++i) {
      items_->Make(ids[i], editor_->Find(ids[i])->layer, std::move(sources[i]), true);
    }
  } catch (const Error& error) {
    TellError(error.what());
  }
}

void Session::TogglePlay() {
  playing_ = !playing_;
  playing_ ? items_->clock()->Run() : items_->clock()->Pause();
}

void Session::Seek(double seconds, bool looking) {
  const auto film_ns = static_cast<std::int64_t>(seconds * 1e9);
  looking ? items_->clock()->Set(film_ns) : items_->Seek(film_ns);
}

void Session::ToggleRecording() {
  try {
    if (recording_) {
      FinishRecording();
      return;
    }
    Description description = options_.description;
    description.output = NextFilm();
    description.layers = editor_->Layers();
    recording_ = std::make_unique<Recording>(items_->scene(), description, items_->LiveLayers(*editor_),
                                             *items_->clock(), device_.get());
    film_ = description.output;
    Tell("recording " + film_);
  } catch (const Error& error) {
    TellError(error.what());
  }
}

// The name that was asked for, then others like it: no film is written over but the one that was named.
std::string Session::NextFilm() const {
  const std::string& named = options_.description.output;
  if (named.empty()) return FreeName("film", ".mp4", 1);
  if (film_.empty() || named.find("://") != std::string::npos) return named;
  const std::filesystem::path path(named);
  return FreeName((path.parent_path() / path.stem()).string(), path.extension().string(), 2);
}

void Session::FinishRecording() {
  const std::unique_ptr<Recording> recording = std::move(recording_);
  if (!recording) return;
  const std::string length = Clock(recording->seconds());
  recording->Finish();
  Tell("recorded " + recording->name() + ", " + length + ", " + std::to_string(recording->counts().dropped) +
       " frames dropped");
}

}  // namespace preview
