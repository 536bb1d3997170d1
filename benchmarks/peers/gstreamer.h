// What the two contestants that are pipelines of GStreamer have in common.
#ifndef QUARN_BENCHMARKS_PEERS_GSTREAMER_H_
#define QUARN_BENCHMARKS_PEERS_GSTREAMER_H_

#include <gst/app/gstappsink.h>
#include <gst/gst.h>

#include <memory>
#include <stdexcept>
#include <string>

struct Unref {
  void operator()(GstElement* element) const { gst_object_unref(element); }
  void operator()(GstSample* sample) const { gst_sample_unref(sample); }
};
using ElementPtr = std::unique_ptr<GstElement, Unref>;
using SamplePtr = std::unique_ptr<GstSample, Unref>;

// A pipeline of one mixer with what follows it, and a sink named "sink". Its inputs are pads of ours that are linked
// with the mixer's: buffers are pushed into them by the thread that waits for the outcome, without a thread for each.
class MixerPipeline {
 public:
  // `description`: as gst-launch has it.
  explicit MixerPipeline(const std::string& description) {
    GError* error = nullptr;
    pipeline_.reset(gst_parse_launch(description.c_str(), &error));
    if (error) {
      const std::string message = error->message;
      g_error_free(error);
      throw std::runtime_error(message);
    }
    sink_.reset(gst_bin_get_by_name(GST_BIN(pipeline_.get()), "sink"));
    mixer_.reset(gst_bin_get_by_name(GST_BIN(pipeline_.get()), "mixer"));
  }
  ~MixerPipeline() { gst_element_set_state(pipeline_.get(), GST_STATE_NULL); }
  MixerPipeline(const MixerPipeline&) = delete;
  MixerPipeline& operator=(const MixerPipeline&) = delete;

  GstElement* pipeline() { return pipeline_.get(); }

  void Start() {
    if (gst_element_set_state(pipeline_.get(), GST_STATE_PLAYING) == GST_STATE_CHANGE_FAILURE) Fail();
  }

  // An input of the running mixer: the pad of ours, and the mixer's.
  struct Input {
    GstPad* ours;
    GstPad* mixers;
  };
  Input AddInput(GstCaps* caps) {
    Input input;
    input.mixers = gst_element_request_pad_simple(mixer_.get(), "sink_%u");
    input.ours = gst_pad_new(nullptr, GST_PAD_SRC);
    gst_pad_set_active(input.ours, TRUE);
    if (!input.mixers || gst_pad_link(input.ours, input.mixers) != GST_PAD_LINK_OK) Fail();
    const std::string id = "input-" + std::to_string(inputs_++);
    GstSegment segment;
    gst_segment_init(&segment, GST_FORMAT_TIME);
    gst_pad_push_event(input.ours, gst_event_new_stream_start(id.c_str()));
    gst_pad_push_event(input.ours, gst_event_new_caps(caps));
    gst_pad_push_event(input.ours, gst_event_new_segment(&segment));
    return input;
  }

  // Takes the buffer over.
  void Push(const Input& input, GstBuffer* buffer) {
    if (gst_pad_push(input.ours, buffer) != GST_FLOW_OK) Fail();
  }

  SamplePtr Pull() {
    SamplePtr sample(gst_app_sink_try_pull_sample(GST_APP_SINK(sink_.get()), 60 * GST_SECOND));
    if (!sample) Fail();
    return sample;
  }

 private:
  [[noreturn]] void Fail() {
    GstBus* const bus = gst_element_get_bus(pipeline_.get());
    GstMessage* const message = gst_bus_pop_filtered(bus, GST_MESSAGE_ERROR);
    gst_object_unref(bus);
    std::string text = "the pipeline does not run";
    if (message) {
      GError* error = nullptr;
      gst_message_parse_error(message, &error, nullptr);
      text = error->message;
      g_error_free(error);
      gst_message_unref(message);
    }
    throw std::runtime_error(text);
  }

  ElementPtr pipeline_, sink_, mixer_;
  unsigned int inputs_ = 0;
};

// When something begins that is `unit` nanoseconds times `index` over `rate` away from the beginning.
inline GstClockTime TimeOf(guint64 index, guint64 rate) { return gst_util_uint64_scale(index, GST_SECOND, rate); }

#endif  // QUARN_BENCHMARKS_PEERS_GSTREAMER_H_
