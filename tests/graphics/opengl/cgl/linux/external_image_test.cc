// Textures of external images, sampled as a host samples them.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <quarn/glsl_src.h>
#include <quarn/qn_external_image.h>

#include "graphics/internal_types.h"
#include "tests/support/gl_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

constexpr char kFailed[] = "E: CGLTexImageIOSurface2D failed";

// Memory that can be mapped, with these bytes in it.
class MemoryFile {
 public:
  MemoryFile(const std::vector<unsigned char>& bytes, std::size_t offset) : fd_(memfd_create("quarn-test", 0)) {
    EXPECT_EQ(pwrite(fd_, bytes.data(), bytes.size(), static_cast<off_t>(offset)), static_cast<ssize_t>(bytes.size()));
  }
  ~MemoryFile() { close(fd_); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  int fd() const { return fd_; }
  void Truncate(std::size_t size) { EXPECT_EQ(ftruncate(fd_, static_cast<off_t>(size)), 0); }

 private:
  int fd_;
};

class ExternalImageTest : public GlTest {
 protected:
  static constexpr unsigned int kWidth = 19;
  static constexpr unsigned int kHeight = 7;

  void SetUp() override {
    GlTest::SetUp();
    // A rectangle texture is addressed in pixels; the first row of an image is its top one.
    ASSERT_TRUE(device()->AddShader("rect", glsl_src[1], R"(
out vec4 FragColor;
in vec2 v_tex_coord;
uniform sampler2DRect u_tex0;
void main() {
  FragColor = texture(u_tex0, vec2(v_tex_coord.x, 1.0 - v_tex_coord.y) * vec2(textureSize(u_tex0)));
}
)"));
  }

  // The rows of a picture in the image's layout, `pitch` bytes apart. The last row ends with its last pixel.
  static std::vector<unsigned char> Pixels(const test::Picture& picture, std::uint32_t format, unsigned int pitch) {
    const auto width = static_cast<std::size_t>(picture.width);
    std::vector<unsigned char> bytes(pitch * (static_cast<std::size_t>(picture.height) - 1) + width * 4, 0xEE);
    for (int y = 0; y < picture.height; ++y) {
      for (int x = 0; x < picture.width; ++x) {
        const unsigned char* const rgba = picture.at(x, y);
        unsigned char* const out = bytes.data() + pitch * static_cast<std::size_t>(y) + 4 * static_cast<std::size_t>(x);
        std::uint32_t word = std::uint32_t{rgba[2]} | std::uint32_t{rgba[1]} << 8 | std::uint32_t{rgba[0]} << 16 |
                             std::uint32_t{rgba[3]} << 24;
        if (format == QnExternalImage::kPixelFormatL10R) {
          const auto ten = [](unsigned char value) { return std::uint32_t{value} * 1023 / 255; };
          word = ten(rgba[2]) | ten(rgba[1]) << 10 | ten(rgba[0]) << 20 | (std::uint32_t{rgba[3]} / 85) << 30;
        }
        std::memcpy(out, &word, 4);
      }
    }
    return bytes;
  }

  // The picture that a texture of this image shows.
  test::Picture Shown(QnExternalImage* image) {
    GraphicsTextureGL texture(context(), static_cast<void*>(image));
    EXPECT_TRUE(texture.Init(false));
    texture.Update(static_cast<void*>(image));
    return Drawn(&texture);
  }
  test::Picture Drawn(GraphicsTextureGL* texture) {
    const test::CurrentContext current(context());
    GraphicsTextureGL target(context(), texture->width(), texture->height());
    EXPECT_TRUE(target.Init(true));
    EXPECT_TRUE(target.BindRenderTarget());
    glClear(GL_COLOR_BUFFER_BIT);
    const internal_vec2 size(static_cast<float>(texture->width()), static_cast<float>(texture->height()));
    context()->SetViewPort(0, 0, texture->width(), texture->height());
    EXPECT_TRUE(context()->BindShader("rect"));
    EXPECT_TRUE(texture->BindShaderResource(0));
    context()->DrawRect(size, size);
    texture->ReleaseShaderResource();
    context()->UnbindShader();
    target.ReleaseRenderTarget();
    return test::ReadTarget(context(), &target);
  }

  const test::Picture card_ = test::TestCard(kWidth, kHeight);
};

struct LayoutCase {
  const char* name;
  std::uint32_t format;
  unsigned int pitch;
};

class ExternalImageLayoutTest : public ExternalImageTest, public ::testing::WithParamInterface<LayoutCase> {};

TEST_P(ExternalImageLayoutTest, ShowsMemory) {
  const std::vector<unsigned char> bytes = Pixels(card_, GetParam().format, GetParam().pitch);
  QnExternalImage image(kWidth, kHeight, GetParam().format, GetParam().pitch, bytes.data());
  EXPECT_TRUE(test::PicturesMatch(Shown(&image), card_, {1}));
}

TEST_P(ExternalImageLayoutTest, ShowsAFileFromAnOffset) {
  const std::vector<unsigned char> bytes = Pixels(card_, GetParam().format, GetParam().pitch);
  for (const std::size_t offset : {std::size_t{0}, std::size_t{5}, std::size_t{4096 + 333}}) {
    const MemoryFile file(bytes, offset);
    QnExternalImage image(kWidth, kHeight, GetParam().format, GetParam().pitch, file.fd(), offset);
    EXPECT_TRUE(test::PicturesMatch(Shown(&image), card_, {1})) << offset;
    EXPECT_EQ(fcntl(file.fd(), F_GETFD), 0) << "the file stays its owner's";
  }
}

INSTANTIATE_TEST_SUITE_P(All, ExternalImageLayoutTest,
                         ::testing::Values(LayoutCase{"BGRATight", QnExternalImage::kPixelFormatBGRA, 19 * 4},
                                           LayoutCase{"BGRAPadded", QnExternalImage::kPixelFormatBGRA, 19 * 4 + 52},
                                           LayoutCase{"BGRAOddPitch", QnExternalImage::kPixelFormatBGRA, 19 * 4 + 3},
                                           LayoutCase{"L10RTight", QnExternalImage::kPixelFormatL10R, 19 * 4},
                                           LayoutCase{"L10ROddPitch", QnExternalImage::kPixelFormatL10R, 19 * 4 + 1}),
                         [](const ::testing::TestParamInfo<LayoutCase>& param_info) {
                           return std::string(param_info.param.name);
                         });

TEST_F(ExternalImageTest, UpdateShowsTheImageAnew) {
  std::vector<unsigned char> bytes = Pixels(card_, QnExternalImage::kPixelFormatBGRA, kWidth * 4);
  QnExternalImage image(kWidth, kHeight, QnExternalImage::kPixelFormatBGRA, kWidth * 4, bytes.data());
  GraphicsTextureGL texture(context(), static_cast<void*>(&image));
  ASSERT_TRUE(texture.Init(false));
  EXPECT_EQ(texture.width(), kWidth);
  EXPECT_EQ(texture.height(), kHeight);
  texture.Update(static_cast<void*>(&image));
  EXPECT_TRUE(test::PicturesMatch(Drawn(&texture), card_, {1}));
  test::Picture other = test::Canvas(kWidth, kHeight, {0.2f, 0.4f, 0.6f, 1.0f}).picture();
  bytes = Pixels(other, QnExternalImage::kPixelFormatBGRA, kWidth * 4);
  QnExternalImage again(kWidth, kHeight, QnExternalImage::kPixelFormatBGRA, kWidth * 4, bytes.data());
  texture.Update(static_cast<void*>(&again));
  EXPECT_TRUE(test::PicturesMatch(Drawn(&texture), other, {1}));
}

TEST_F(ExternalImageTest, LargerImageGivesItsTopLeftPart) {
  const test::Picture large = test::TestCard(kWidth + 6, kHeight + 3);
  const std::vector<unsigned char> bytes = Pixels(large, QnExternalImage::kPixelFormatBGRA, (kWidth + 6) * 4);
  QnExternalImage small_image(kWidth, kHeight, QnExternalImage::kPixelFormatBGRA, kWidth * 4, bytes.data());
  QnExternalImage large_image(kWidth + 6, kHeight + 3, QnExternalImage::kPixelFormatBGRA, (kWidth + 6) * 4,
                              bytes.data());
  GraphicsTextureGL texture(context(), static_cast<void*>(&small_image));
  ASSERT_TRUE(texture.Init(false));
  texture.Update(static_cast<void*>(&large_image));
  const test::Picture part(large.pixels.data(), (kWidth + 6) * 4, kWidth, kHeight, 4);
  EXPECT_TRUE(test::PicturesMatch(Drawn(&texture), part, {1}));
}

TEST_F(ExternalImageTest, ImageWithoutALayoutIsReportedAndBoundAllTheSame) {
  const std::vector<unsigned char> bytes = Pixels(card_, QnExternalImage::kPixelFormatBGRA, kWidth * 4);
  QnExternalImage image(kWidth, kHeight, 0, kWidth * 4, bytes.data());
  const test::Picture shown = Shown(&image);
  EXPECT_THAT(TakeLog(), ElementsAre("E: Invalid IOSurface Buffer"));
  EXPECT_TRUE(test::PicturesMatch(shown, card_, {1}));
}

TEST_F(ExternalImageTest, UnknownLayoutIsReportedAndBoundAllTheSame) {
  const std::vector<unsigned char> bytes = Pixels(card_, QnExternalImage::kPixelFormatBGRA, kWidth * 4);
  QnExternalImage image(kWidth, kHeight, 0x34323076, kWidth * 4, bytes.data());
  const test::Picture shown = Shown(&image);
  EXPECT_THAT(TakeLog(), ElementsAre("E: Unexpected pixel format: 875704438 (420v)"));
  EXPECT_TRUE(test::PicturesMatch(shown, card_, {1}));
}

TEST_F(ExternalImageTest, UnknownLayoutIsASignedNumber) {
  const std::vector<unsigned char> bytes = Pixels(card_, QnExternalImage::kPixelFormatBGRA, kWidth * 4);
  QnExternalImage image(kWidth, kHeight, 0xFE414243, kWidth * 4, bytes.data());
  Shown(&image);
  EXPECT_THAT(TakeLog(), ElementsAre("E: Unexpected pixel format: -29277629 (\xFE"
                                     "ABC)"));
}

TEST_F(ExternalImageTest, FileThatIsTooShortIsRefused) {
  const std::vector<unsigned char> bytes = Pixels(card_, QnExternalImage::kPixelFormatBGRA, kWidth * 4);
  MemoryFile file(bytes, 0);
  QnExternalImage image(kWidth, kHeight, QnExternalImage::kPixelFormatBGRA, kWidth * 4, file.fd(), 0);
  QnExternalImage shifted(kWidth, kHeight, QnExternalImage::kPixelFormatBGRA, kWidth * 4, file.fd(), 1);
  QnExternalImage beyond(kWidth, kHeight, QnExternalImage::kPixelFormatBGRA, kWidth * 4, file.fd(), ~std::size_t{0});
  Shown(&shifted);
  EXPECT_THAT(TakeLog(), ElementsAre(kFailed));
  Shown(&beyond);
  EXPECT_THAT(TakeLog(), ElementsAre(kFailed));
  file.Truncate(bytes.size() - 1);
  Shown(&image);
  EXPECT_THAT(TakeLog(), ElementsAre(kFailed));
}

TEST_F(ExternalImageTest, FileThatCannotBeMappedIsRefused) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const int directory = open("/", O_RDONLY | O_DIRECTORY);
  for (const int fd : {-1, 1 << 20, ends[0], directory}) {
    QnExternalImage image(kWidth, kHeight, QnExternalImage::kPixelFormatBGRA, kWidth * 4, fd, 0);
    Shown(&image);
    EXPECT_THAT(TakeLog(), ElementsAre(kFailed)) << fd;
  }
  close(directory);
  close(ends[0]);
  close(ends[1]);
}

TEST_F(ExternalImageTest, RowsThatOverlapAreRefused) {
  const std::vector<unsigned char> bytes = Pixels(card_, QnExternalImage::kPixelFormatBGRA, kWidth * 4);
  QnExternalImage image(kWidth, kHeight, QnExternalImage::kPixelFormatBGRA, kWidth * 4 - 1, bytes.data());
  Shown(&image);
  EXPECT_THAT(TakeLog(), ElementsAre(kFailed));
}

TEST_F(ExternalImageTest, SmallerImageIsRefusedAndTheOldPictureStays) {
  const std::vector<unsigned char> bytes = Pixels(card_, QnExternalImage::kPixelFormatBGRA, kWidth * 4);
  QnExternalImage image(kWidth, kHeight, QnExternalImage::kPixelFormatBGRA, kWidth * 4, bytes.data());
  GraphicsTextureGL texture(context(), static_cast<void*>(&image));
  ASSERT_TRUE(texture.Init(false));
  texture.Update(static_cast<void*>(&image));
  QnExternalImage narrow(kWidth - 1, kHeight, QnExternalImage::kPixelFormatBGRA, kWidth * 4, bytes.data());
  QnExternalImage low(kWidth, kHeight - 1, QnExternalImage::kPixelFormatBGRA, kWidth * 4, bytes.data());
  texture.Update(static_cast<void*>(&narrow));
  texture.Update(static_cast<void*>(&low));
  EXPECT_THAT(TakeLog(), ElementsAre(kFailed, kFailed));
  EXPECT_TRUE(test::PicturesMatch(Drawn(&texture), card_, {1}));
}

// The texture was not made by a device, which would refuse the size.
TEST_F(ExternalImageTest, ImageThatGLRefusesIsReported) {
  const unsigned int width = context()->max_rectangle_size() + 1;
  const std::vector<unsigned char> bytes(std::size_t{width} * 4 + 1);
  const std::string refused = "W: INVALID_VALUE \\| graphics/opengl/cgl/linux/external_image\\.cc \\([0-9]+\\)";
  for (const unsigned int pitch : {width * 4, width * 4 + 1}) {
    QnExternalImage image(width, 1, QnExternalImage::kPixelFormatBGRA, pitch, bytes.data());
    GraphicsTextureGL texture(context(), static_cast<void*>(&image));
    ASSERT_TRUE(texture.Init(false));
    texture.Update(static_cast<void*>(&image));
    EXPECT_THAT(TakeLog(), ElementsAre(MatchesRegex(refused), kFailed)) << pitch;
  }
}

TEST_F(ExternalImageTest, ErrorsFromBeforeAreNotTheImages) {
  const std::vector<unsigned char> bytes = Pixels(card_, QnExternalImage::kPixelFormatBGRA, kWidth * 4);
  QnExternalImage image(kWidth, kHeight, QnExternalImage::kPixelFormatBGRA, kWidth * 4, bytes.data());
  GraphicsTextureGL texture(context(), static_cast<void*>(&image));
  ASSERT_TRUE(texture.Init(false));
  gl_spy::faults().errors = {GL_INVALID_ENUM, GL_INVALID_VALUE};
  texture.Update(static_cast<void*>(&image));
  EXPECT_EQ(TakeLog().size(), 2u);
  EXPECT_TRUE(test::PicturesMatch(Drawn(&texture), card_, {1}));
}

TEST_F(ExternalImageTest, EmptyFrameLeavesTheTextureAsItIs) {
  const std::vector<unsigned char> bytes = Pixels(card_, QnExternalImage::kPixelFormatBGRA, kWidth * 4);
  QnExternalImage image(kWidth, kHeight, QnExternalImage::kPixelFormatBGRA, kWidth * 4, bytes.data());
  GraphicsTextureGL texture(context(), static_cast<void*>(&image));
  ASSERT_TRUE(texture.Init(false));
  texture.Update(GraphicsFrame());
  texture.Update(static_cast<void*>(&image));
  EXPECT_TRUE(test::PicturesMatch(Drawn(&texture), card_, {1}));
}

TEST_F(ExternalImageTest, OtherTexturesTakeNone) {
  const std::vector<unsigned char> bytes = Pixels(card_, QnExternalImage::kPixelFormatBGRA, kWidth * 4);
  QnExternalImage image(kWidth, kHeight, QnExternalImage::kPixelFormatBGRA, kWidth * 4, bytes.data());
  GraphicsTextureGL texture(context(), GraphicsFrame(kFormatRGBA, kWidth, kHeight));
  ASSERT_TRUE(texture.Init(false));
  texture.Update(static_cast<void*>(&image));
  EXPECT_THAT(TakeLog(), ElementsAre("E: Only a texture made from an external image can be updated from one"));
}

TEST_F(ExternalImageTest, FileKeepsItsOffset) {
  const std::vector<unsigned char> bytes = Pixels(card_, QnExternalImage::kPixelFormatBGRA, kWidth * 4);
  MemoryFile file(bytes, 0);
  ASSERT_EQ(lseek(file.fd(), 5, SEEK_SET), 5);
  QnExternalImage image(kWidth, kHeight, QnExternalImage::kPixelFormatBGRA, kWidth * 4, file.fd(), 0);
  EXPECT_TRUE(test::PicturesMatch(Shown(&image), card_, {1}));
  EXPECT_EQ(lseek(file.fd(), 0, SEEK_CUR), 5);
}

TEST_F(ExternalImageTest, PixelStoreStateOfAHostDoesNotMatter) {
  const std::vector<unsigned char> bytes = Pixels(card_, QnExternalImage::kPixelFormatBGRA, kWidth * 4);
  QnExternalImage image(kWidth, kHeight, QnExternalImage::kPixelFormatBGRA, kWidth * 4, bytes.data());
  const test::CurrentContext current(context());
  GLuint buffer = 0;
  glGenBuffers(1, &buffer);
  glBindBuffer(GL_PIXEL_UNPACK_BUFFER, buffer);
  glPixelStorei(GL_UNPACK_ROW_LENGTH, 1 << 20);
  glPixelStorei(GL_UNPACK_SKIP_ROWS, 100);
  glPixelStorei(GL_UNPACK_SKIP_PIXELS, 100);
  EXPECT_TRUE(test::PicturesMatch(Shown(&image), card_, {1}));
  glDeleteBuffers(1, &buffer);
}

TEST_F(ExternalImageTest, NullImageIsIgnored) {
  const std::vector<unsigned char> bytes = Pixels(card_, QnExternalImage::kPixelFormatBGRA, kWidth * 4);
  QnExternalImage image(kWidth, kHeight, QnExternalImage::kPixelFormatBGRA, kWidth * 4, bytes.data());
  GraphicsTextureGL texture(context(), static_cast<void*>(&image));
  ASSERT_TRUE(texture.Init(false));
  texture.Update(static_cast<void*>(nullptr));
}

TEST_F(ExternalImageTest, ErrorsNameTheFile) {
  const std::vector<unsigned char> bytes = Pixels(card_, QnExternalImage::kPixelFormatBGRA, kWidth * 4);
  QnExternalImage image(kWidth, kHeight, QnExternalImage::kPixelFormatBGRA, kWidth * 4, bytes.data());
  GraphicsTextureGL texture(context(), static_cast<void*>(&image));
  ASSERT_TRUE(texture.Init(false));
  gl_spy::faults().errors = {GL_INVALID_ENUM};
  texture.Update(static_cast<void*>(&image));
  EXPECT_THAT(TakeLog(),
              ElementsAre(MatchesRegex(
                  "W: INVALID_ENUM \\| graphics/opengl/cgl/graphics_texture_gl_external\\.cc \\([0-9]+\\)")));
}

TEST_F(ExternalImageTest, NothingHappensWhenTheContextCannotBeMadeCurrent) {
  const std::vector<unsigned char> bytes = Pixels(card_, QnExternalImage::kPixelFormatBGRA, kWidth * 4);
  QnExternalImage image(kWidth, kHeight, 0, kWidth * 4, bytes.data());
  GraphicsTextureGL texture(context(), static_cast<void*>(&image));
  ASSERT_TRUE(texture.Init(false));
  gl_spy::faults().make_current = true;
  texture.Update(static_cast<void*>(&image));
  gl_spy::faults().make_current = false;
  EXPECT_THAT(TakeLog(), ElementsAre("E: Failed to make the context current (EGL error 0x3000)"));
}

}  // namespace
