#include "studio/film_copy.h"

#include <algorithm>
#include <memory>

#include "studio/av.h"

namespace studio {
namespace {

struct Closer {
  void operator()(AVFormatContext* film) const { avformat_close_input(&film); }
};
using Input = std::unique_ptr<AVFormatContext, Closer>;

// Null when the file cannot be read; `error` says why.
Input OpenFilm(const std::string& path, int* error) {
  AVFormatContext* film = nullptr;
  *error = avformat_open_input(&film, AvUrl(path).c_str(), nullptr, nullptr);
  Input input(film);
  if (*error >= 0) *error = avformat_find_stream_info(film, nullptr);
  if (*error < 0) input.reset();
  return input;
}

int AddStreamLike(const AVStream* stream, AVFormatContext* film) {
  AVStream* copy = avformat_new_stream(film, nullptr);
  if (!copy) return AVERROR(ENOMEM);
  copy->time_base = stream->time_base;
  copy->avg_frame_rate = stream->avg_frame_rate;
  copy->sample_aspect_ratio = stream->sample_aspect_ratio;
  copy->disposition = stream->disposition;
  return avcodec_parameters_copy(copy->codecpar, stream->codecpar);
}

int CopyPackets(AVFormatContext* from, AVFormatContext* to) {
  const AvPacket packet(av_packet_alloc());
  for (;;) {
    int result = av_read_frame(from, packet.get());
    if (result == AVERROR_EOF) return from->pb->error;
    if (result < 0) return result;
    const auto index = static_cast<unsigned>(packet->stream_index);
    av_packet_rescale_ts(packet.get(), from->streams[index]->time_base, to->streams[index]->time_base);
    packet->pos = -1;
    result = av_interleaved_write_frame(to, packet.get());
    if (result < 0) return result;
  }
}

int WriteCopy(AVFormatContext* from, AVFormatContext* to, bool index_in_front) {
  for (unsigned i = 0; i < from->nb_streams; ++i) {
    const int added = AddStreamLike(from->streams[i], to);
    if (added < 0) return added;
  }
  to->flags |= AVFMT_FLAG_BITEXACT;
  AVDictionary* options = nullptr;
  if (index_in_front) av_dict_set(&options, "movflags", "faststart", 0);
  int result = avformat_write_header(to, &options);
  av_dict_free(&options);
  if (result >= 0) {
    result = CopyPackets(from, to);
    const int ended = av_write_trailer(to);
    if (result >= 0) result = ended;
  }
  avio_flush(to->pb);
  return result < 0 ? result : to->pb->error;
}

}  // namespace

int CopyFilm(const std::string& from, const std::string& to, const std::string& container, bool index_in_front) {
  int result = 0;
  const Input film = OpenFilm(from, &result);
  if (!film) return result;
  AVFormatContext* copy = nullptr;
  result = avformat_alloc_output_context2(&copy, nullptr, container.c_str(), AvUrl(to).c_str());
  if (result < 0) return result;
  result = avio_open(&copy->pb, copy->url, AVIO_FLAG_WRITE);
  if (result >= 0) {
    result = WriteCopy(film.get(), copy, index_in_front);
    const int closed = avio_closep(&copy->pb);
    if (result >= 0) result = closed;
  }
  avformat_free_context(copy);
  return std::min(result, 0);
}

double FilmSeconds(const std::string& path) {
  int error = 0;
  const Input film = OpenFilm(path, &error);
  if (!film) return 0;
  int index = av_find_best_stream(film.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  if (index < 0) index = av_find_best_stream(film.get(), AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
  if (index < 0) return 0;
  const AVStream* stream = film->streams[index];
  const AVRational rate = stream->avg_frame_rate;
  const std::int64_t frame = rate.num > 0 ? av_rescale_q(1, av_inv_q(rate), stream->time_base) : 0;
  std::int64_t begin = INT64_MAX, end = INT64_MIN;
  const AvPacket packet(av_packet_alloc());
  for (; av_read_frame(film.get(), packet.get()) >= 0; av_packet_unref(packet.get())) {
    // Some containers have no other time than that of decoding.
    const std::int64_t time = packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts;
    if (packet->stream_index != index || time == AV_NOPTS_VALUE) continue;
    begin = std::min(begin, time);
    end = std::max(end, time + (packet->duration > 0 ? packet->duration : frame));
  }
  return end > begin ? static_cast<double>(end - begin) * av_q2d(stream->time_base) : 0;
}

}  // namespace studio
