// What the two contestants that are graphs of FFmpeg's filters have in common.
#ifndef QUARN_BENCHMARKS_PEERS_FFMPEG_H_
#define QUARN_BENCHMARKS_PEERS_FFMPEG_H_

#include <cstdint>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>

extern "C" {
#include <libavfilter/avfilter.h>
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/frame.h>
#include <libavutil/opt.h>
}

// The result of a call; throws where it is a failure.
inline int CheckFFmpeg(int result) {
  if (result >= 0) return result;
  char text[AV_ERROR_MAX_STRING_SIZE];
  av_strerror(result, text, sizeof(text));
  throw std::runtime_error(text);
}

struct FreeFrame {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
using FramePtr = std::unique_ptr<AVFrame, FreeFrame>;

inline FramePtr NewFrame() {
  FramePtr frame(av_frame_alloc());
  if (!frame) throw std::bad_alloc();
  return frame;
}

// A graph whose filters run in the caller's thread, and that ends in a sink.
class FilterGraph {
 public:
  FilterGraph() : graph_(avfilter_graph_alloc()) {
    if (!graph_) throw std::bad_alloc();
    graph_->nb_threads = 1;
  }
  ~FilterGraph() { avfilter_graph_free(&graph_); }
  FilterGraph(const FilterGraph&) = delete;
  FilterGraph& operator=(const FilterGraph&) = delete;

  AVFilterContext* Add(const char* filter, const std::map<std::string, std::string>& options) {
    const AVFilter* const found = avfilter_get_by_name(filter);
    if (!found) throw std::runtime_error(std::string("no filter ") + filter);
    AVFilterContext* const context = avfilter_graph_alloc_filter(graph_, found, nullptr);
    if (!context) throw std::bad_alloc();
    AVDictionary* dictionary = nullptr;
    for (const auto& option : options) av_dict_set(&dictionary, option.first.c_str(), option.second.c_str(), 0);
    const int result = avfilter_init_dict(context, &dictionary);
    const AVDictionaryEntry* const unknown = av_dict_get(dictionary, "", nullptr, AV_DICT_IGNORE_SUFFIX);
    const std::string name = unknown ? unknown->key : "";
    av_dict_free(&dictionary);
    CheckFFmpeg(result);
    if (!name.empty()) throw std::runtime_error(std::string("no option ") + name + " of " + filter);
    return context;
  }

  void Link(AVFilterContext* source, AVFilterContext* target, unsigned int pad) {
    CheckFFmpeg(avfilter_link(source, 0, target, pad));
  }

  void Configure() { CheckFFmpeg(avfilter_graph_config(graph_, nullptr)); }

 private:
  AVFilterGraph* graph_;
};

#endif  // QUARN_BENCHMARKS_PEERS_FFMPEG_H_
