// What the name of a film's output says about where it is: a file, a pipe, a stream, or a file for each picture.
#ifndef QUARN_EXAMPLES_STUDIO_OUTPUT_NAME_H_
#define QUARN_EXAMPLES_STUDIO_OUTPUT_NAME_H_

#include <cstdint>
#include <optional>
#include <set>
#include <string>

namespace studio {

// The URL of a stream, rather than a file.
bool IsUrl(const std::string& output);
// The name of a file, without the "file://" that it may be given with.
std::string FileName(const std::string& output);
// The descriptor that is meant by "-", "/dev/stdout", "/dev/fd/5" and the like.
std::optional<int> DescriptorOf(const std::string& output);
// A descriptor, a FIFO or a device: what is written to in one go, and as it is.
bool IsPipe(const std::string& output);
// Has one "%d" or "%04d", for the number of a picture.
bool IsPattern(const std::string& output);
// The file of a picture, whose number takes the place in a pattern.
std::string NumberedFile(const std::string& pattern, std::uint64_t number);
// The first of `count` files of a pattern, from the number `first` on, that is there; empty where none is. The folder
// is listed once, however many there might be.
std::string FirstNumberedFile(const std::string& pattern, std::uint64_t first, std::uint64_t count);
// The numbers that a file may have in a pattern: the digits in its path, or some of those that stand together.
std::set<int> NumbersIn(const std::string& path);
// The path of a file with a folder in front, so that no name is taken for a protocol, where FFmpeg's "file:" is in the
// way.
std::string LocalPath(const std::string& output);
// What stands behind the last dot of the file's name, in small letters; empty without one.
std::string SuffixOf(const std::string& output);

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_OUTPUT_NAME_H_
