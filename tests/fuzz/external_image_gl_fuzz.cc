// Descriptions of external images: sizes, strides, layouts, files and offsets that fit or do not.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include <quarn/quarn.h>

#include "tests/fuzz/fuzz_check.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/gl_device.h"

namespace {

constexpr std::size_t kFileSize = 3 * 4096 + 100;

// A file that can be mapped, an empty one, one that cannot, one to write only, a pipe; and what is no file.
const std::vector<int>& Files() {
  static const std::vector<int> files = [] {
    std::vector<int> made;
    for (const std::size_t size : {kFileSize, std::size_t{0}}) {
      made.push_back(memfd_create("fuzz", 0));
      FUZZ_CHECK(made.back() >= 0 && ftruncate(made.back(), static_cast<off_t>(size)) == 0);
    }
    made.push_back(open("/", O_RDONLY | O_DIRECTORY));
    made.push_back(open("/dev/null", O_WRONLY));
    int ends[2] = {-1, -1};
    FUZZ_CHECK(pipe(ends) == 0);
    made.push_back(ends[0]);
    made.push_back(-1);
    made.push_back(1 << 20);
    return made;
  }();
  return files;
}

std::uint32_t PickLayout(FuzzInput* input) {
  const std::uint8_t kind = input->Byte();
  if (kind < 160) return QnExternalImage::kPixelFormatBGRA;
  return kind < 250 ? QnExternalImage::kPixelFormatL10R : input->Take<std::uint32_t>();
}

struct Description {
  explicit Description(FuzzInput* input) {
    width = input->Unsigned();
    height = input->Unsigned();
    layout = PickLayout(input);
    // Rows that follow each other, rows with bytes between them, or any.
    const std::uint8_t kind = input->Byte();
    stride = kind < 128 ? width * 4 : kind < 224 ? width * 4 + kind % 16 : input->Unsigned();
    in_file = input->Flag();
    file = Files()[input->UpTo(static_cast<unsigned int>(Files().size()) - 1)];
    const std::uint8_t at = input->Byte();
    offset = at < 64 ? at : at < 192 ? (at - 64u) * 97u : input->Take<std::size_t>();
  }

  unsigned int width;
  unsigned int height;
  std::uint32_t layout;
  unsigned int stride;
  bool in_file;
  int file;
  std::size_t offset;
};

// Has exactly the bytes that the description speaks of: one more that is read is a finding.
template <class Use>
void WithImage(const Description& description, Use use) {
  if (description.in_file) {
    use(QnExternalImage(description.width, description.height, description.layout, description.stride, description.file,
                        description.offset));
    return;
  }
  const std::uint64_t bytes =
      std::uint64_t{description.stride} * (std::max(description.height, 1u) - 1) + std::uint64_t{description.width} * 4;
  if (bytes > (1u << 20)) return;
  const std::vector<unsigned char> pixels(bytes, 0x33);
  use(QnExternalImage(description.width, description.height, description.layout, description.stride,
                      bytes > 0 ? pixels.data() : nullptr));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  GsDevice* const device = fuzz::GlDevice();
  FuzzInput input(data, size);
  GsTexture* texture = nullptr;
  WithImage(Description(&input), [&](QnExternalImage image) {
    texture = new GsTexture(&image, device);
    // Of a size that the driver has; a file is looked into by updates only.
    FUZZ_CHECK(!texture->valid() || (texture->width() == image.width() && texture->height() == image.height()));
    texture->Update(&image);
  });
  while (texture && !input.empty()) {
    WithImage(Description(&input), [&](QnExternalImage image) { texture->Update(&image); });
  }
  delete texture;
  fuzz::CheckGlDevice(device);
  return 0;
}
