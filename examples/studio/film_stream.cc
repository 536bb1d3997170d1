#include "studio/film_stream.h"

#include <algorithm>
#include <iterator>

#include "studio/error.h"

namespace studio {
namespace {

struct Protocol {
  const char* scheme;
  const char* format;           // FFmpeg's name of the muxer.
  bool by_suffix;               // The suffix of the URL's path may ask for another.
  const char* needs = nullptr;  // FFmpeg's protocol, where it is not the scheme.
};

constexpr Protocol kProtocols[] = {
    {"udp", "mpegts", true},        {"udplite", "mpegts", true},  {"tcp", "mpegts", true},
    {"tls", "mpegts", true},        {"unix", "mpegts", true},     {"sctp", "mpegts", true},
    {"srt", "mpegts", true},        {"rist", "mpegts", true},     {"http", "mpegts", true},
    {"https", "mpegts", true},      {"ftp", "mpegts", true},      {"sftp", "mpegts", true},
    {"icecast", "webm", true},      {"rtmp", "flv", false},       {"rtmps", "flv", false},
    {"rtmpe", "flv", false},        {"rtmpt", "flv", false},      {"rtmpte", "flv", false},
    {"rtmpts", "flv", false},       {"rtp", "rtp_mpegts", false}, {"srtp", "rtp_mpegts", false},
    {"rtsp", "rtsp", false, "rtp"},
};

std::string SchemeOf(const std::string& url) { return url.substr(0, url.find("://")); }

bool CanSend(const std::string& protocol) {
  void* state = nullptr;
  for (const char* name = nullptr; (name = avio_enum_protocols(&state, 1)) != nullptr;) {
    if (protocol == name) return true;
  }
  return false;
}

// The URL's path, which ends before the query.
std::string PathOf(const std::string& url) { return url.substr(0, url.find('?')); }

}  // namespace

const AVOutputFormat* StreamFormat(const std::string& url) {
  const std::string scheme = SchemeOf(url);
  const auto* protocol = std::find_if(std::begin(kProtocols), std::end(kProtocols),
                                      [&scheme](const Protocol& known) { return scheme == known.scheme; });
  if (protocol == std::end(kProtocols)) {
    throw UsageError("cannot write " + url + ": films are not sent with \"" + scheme + "\"");
  }
  const auto fail = [&url](const std::string& what) { throw Error("cannot write " + url + ": FFmpeg has no " + what); };
  const std::string needs = protocol->needs ? protocol->needs : protocol->scheme;
  if (!CanSend(needs)) fail("protocol " + needs);
  const AVOutputFormat* format = nullptr;
  if (protocol->by_suffix) format = av_guess_format(nullptr, PathOf(url).c_str(), nullptr);
  if (!format) format = av_guess_format(protocol->format, nullptr, nullptr);
  if (!format) fail(protocol->format);
  return format;
}

void AddProtocolOptions(const std::string& url, const AVOutputFormat* format, AVDictionary** options) {
  const std::string scheme = SchemeOf(url);
  if (scheme == "udp") av_dict_set(options, "pkt_size", "1316", 0);  // Seven packets of MPEG-TS.
  if (scheme == "icecast" && format->mime_type) av_dict_set(options, "content_type", format->mime_type, 0);
}

}  // namespace studio
