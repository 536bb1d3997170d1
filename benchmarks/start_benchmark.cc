// What it takes from a program's first line to its first frame in memory: the engine beside the bare calls for the same
// picture, with the driver's cache of programs empty, filled and switched off.
//
// Each measurement is a process of its own, which this program starts anew; they take turns in rounds. The time is
// split by what the process calls of EGL and OpenGL: the functions below stand in front of the driver's and add up what
// passes there.
#include <EGL/egl.h>
#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>
#define GL_GLEXT_PROTOTYPES 1
#include <EGL/eglext.h>
#include <GL/glcorearb.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include <glm/glm.hpp>
#include <glm/gtc/matrix_transform.hpp>
#include <glm/gtc/type_ptr.hpp>

#include <quarn/quarn.h>

namespace {

struct Time {
  double cpu_ms = 0;  // Of all threads of the process, from its beginning.
  double wall_ms = 0;
};

Time operator-(const Time& a, const Time& b) { return {a.cpu_ms - b.cpu_ms, a.wall_ms - b.wall_ms}; }
void operator+=(Time& a, const Time& b) {
  a.cpu_ms += b.cpu_ms;
  a.wall_ms += b.wall_ms;
}

Time Now() {
  timespec cpu;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &cpu);
  const std::chrono::duration<double, std::milli> wall = std::chrono::steady_clock::now().time_since_epoch();
  return {1e3 * static_cast<double>(cpu.tv_sec) + 1e-6 * static_cast<double>(cpu.tv_nsec), wall.count()};
}

// What a process spends in the driver, by what it is for.
enum Call { kDisplay, kContext, kPrograms, kCallCount };
Time in_driver[kCallCount];
int programs_linked = 0;

// Calls the function that `name` stands in front of.
template <class Function, class... Arguments>
auto Measured(Call call, const char* name, Function* /*type*/, Arguments... arguments) {
  auto* const function = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
  struct Clock {
    explicit Clock(Call measured) : measured_call(measured), begin(Now()) {}
    ~Clock() { in_driver[measured_call] += Now() - begin; }
    const Call measured_call;
    const Time begin;
  };
  const Clock clock(call);
  return function(arguments...);
}

}  // namespace

#define QUARN_IN_FRONT extern "C" __attribute__((visibility("default")))
QUARN_IN_FRONT EGLBoolean eglInitialize(EGLDisplay display, EGLint* major, EGLint* minor) {
  return Measured(kDisplay, "eglInitialize", &eglInitialize, display, major, minor);
}
QUARN_IN_FRONT EGLContext eglCreateContext(EGLDisplay display, EGLConfig config, EGLContext share, const EGLint* list) {
  return Measured(kContext, "eglCreateContext", &eglCreateContext, display, config, share, list);
}
QUARN_IN_FRONT void glCompileShader(GLuint shader) { Measured(kPrograms, "glCompileShader", &glCompileShader, shader); }
QUARN_IN_FRONT void glLinkProgram(GLuint program) {
  ++programs_linked;
  Measured(kPrograms, "glLinkProgram", &glLinkProgram, program);
}
QUARN_IN_FRONT void glGetShaderiv(GLuint shader, GLenum name, GLint* value) {
  Measured(kPrograms, "glGetShaderiv", &glGetShaderiv, shader, name, value);
}
QUARN_IN_FRONT void glGetProgramiv(GLuint program, GLenum name, GLint* value) {
  Measured(kPrograms, "glGetProgramiv", &glGetProgramiv, program, name, value);
}

namespace {

constexpr unsigned int kWidth = 640;
constexpr unsigned int kHeight = 360;
constexpr unsigned int kImageSide = 64;
constexpr float kItemWidth = 300;
constexpr float kItemHeight = 200;

std::vector<unsigned char> Image() {
  std::vector<unsigned char> pixels(std::size_t{kImageSide} * kImageSide * 4);
  for (std::size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<unsigned char>(i * 7 / 3);
  return pixels;
}

// What a process measures, in the order of the table's columns. Before the first there is the process itself: it was
// loaded and linked.
struct Start {
  Time begin = Now();
  Time device;            // The device is made: in the bare program, display, context and programs.
  Time objects;           // Scene, item, texture and output are made.
  Time first;             // The first frame is in memory.
  Time second;            // The second.
  std::uint64_t sum = 0;  // Over the bytes of the second, the top row first.
};

// Of rows of 4, 2 or 1 bytes a pixel, tightly packed.
std::uint64_t SumRows(std::uint64_t sum, const unsigned char* rows, std::size_t pitch, std::size_t count,
                      bool bottom_first) {
  for (std::size_t y = 0; y < count; ++y) {
    const unsigned char* const row = rows + pitch * (bottom_first ? count - 1 - y : y);
    for (std::size_t x = 0; x < pitch; ++x) sum = sum * 31 + row[x];
  }
  return sum;
}

class CountingOutput : public GsOutputRaw {
 public:
  using GsOutputRaw::GsOutputRaw;
  ~CountingOutput() override { Stop(); }
  void OnFrame(const GsFrame& frame) override {
    std::lock_guard<std::mutex> lock(mutex_);
    ++delivered_;
    latest_ = frame;  // Its memory stays as it is until six more have come.
    changed_.notify_one();
  }
  void WaitFor(int count) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] { return delivered_ >= count; });
  }
  std::uint64_t Sum() const {
    std::uint64_t sum = SumRows(0, latest_.data[0], latest_.linesize[0], kHeight, false);
    if (latest_.data[1]) sum = SumRows(sum, latest_.data[1], latest_.linesize[1], kHeight / 2, false);
    return sum;
  }

 private:
  GsFrame latest_ = {};
  std::mutex mutex_;
  std::condition_variable changed_;
  int delivered_ = 0;
};

class ImageItem : public GsItem {
 public:
  ImageItem(GsTexture* image, GsDevice* device) : GsItem(device), image_(image), device_(device) {}
  void Draw() override {
    GsContext context(device_);
    context.SetViewport(0, 0, kWidth, kHeight);
    if (!context.BindShader("rgba")) return;
    GsTextureBinder binder(image_);
    context.DrawRect(gs_transform(gs_vec2(), gs_vec2(kItemWidth, kItemHeight)), gs_vec2(kWidth, kHeight));
    context.UnbindShader();
  }

 private:
  GsTexture* const image_;
  GsDevice* const device_;
};

Start StartEngine(GsFormat format) {
  Start start;
  GsDevice device;
  device.Init();
  device.InitThreadContext();
  start.device = Now();
  {
    const std::vector<unsigned char> pixels = Image();
    GsTexture image(pixels.data(), kImageSide * 4, GsTexture::kTextureRGBA, kImageSide, kImageSide, &device);
    const auto scene = MakeRef<RefCounted<GsScene>>(kWidth, kHeight, &device);
    const auto item = MakeRef<RefCounted<ImageItem>>(&image, &device);
    scene->AddItem(item);
    CountingOutput output(scene, kWidth, kHeight, format, &device);
    if (scene->width() == 0 || !output.Start()) std::exit(EXIT_FAILURE);
    start.objects = Now();
    for (int frame = 1; frame <= 2; ++frame) {
      device.TickSource();
      device.HandleFilter();
      device.OutputFrame(1, 1);
      device.DrawDisplay();
      device.DoTask();
      output.WaitFor(frame);
      (frame == 1 ? start.first : start.second) = Now();
    }
    start.sum = output.Sum();
    output.Stop();
    scene->RemoveItem(item);
  }
  device.UninitThreadContext();
  return start;
}

GLuint Link(int row) {
  const GLuint program = glCreateProgram();
  for (const auto& [kind, source] :
       {std::pair<GLenum, const char*>{GL_VERTEX_SHADER, glsl_src[row + 1]}, {GL_FRAGMENT_SHADER, glsl_src[row + 2]}}) {
    const char* const texts[] = {"#version 150\n#define MACOSX\n", source};
    const GLuint shader = glCreateShader(kind);
    glShaderSource(shader, 2, texts, nullptr);
    glCompileShader(shader);
    glAttachShader(program, shader);
    glDeleteShader(shader);
  }
  glBindAttribLocation(program, 0, "a_pos");
  glBindAttribLocation(program, 1, "a_tex_coord");
  glLinkProgram(program);
  return program;
}

GLuint MakeTexture(GLenum format, GLsizei width, GLsizei height, const void* pixels) {
  GLuint texture = 0;
  glGenTextures(1, &texture);
  glBindTexture(GL_TEXTURE_2D, texture);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
  glTexImage2D(GL_TEXTURE_2D, 0, static_cast<GLint>(format), width, height, 0, format, GL_UNSIGNED_BYTE, pixels);
  return texture;
}

struct Matrices {
  glm::mat4 model, view, projection;
};

// Those of a rectangle in the middle of a target.
Matrices MatricesOf(float width, float height, float target_width, float target_height) {
  glm::mat4 model = glm::translate(glm::mat4(1.0f), glm::vec3(0, 0, 1));
  model = glm::scale(model, glm::vec3(width, height, 1));
  return {
      model, glm::lookAt(glm::vec3(0, 0, 10), glm::vec3(0, 0, 9), glm::vec3(0, 1, 0)),
      glm::ortho(-0.5f * target_width, 0.5f * target_width, -0.5f * target_height, 0.5f * target_height, 0.1f, 100.0f)};
}

// The rows of the conversion to limited-range BT.709: Y, U and V.
glm::mat4 Conversion() {
  const float kb = 0.0722f, kr = 0.2126f, kg = 1.0f - kb - kr;
  const float y = 255.0f / 219.0f, c = 255.0f / 112.0f;
  const glm::vec3 rows[] = {{y, 0.0f, c * (1.0f - kr)},
                            {y, c * (kb - 1.0f) * kb / kg, c * (kr - 1.0f) * kr / kg},
                            {y, c * (1.0f - kb), 0.0f}};
  glm::mat4 matrix(1.0f);
  for (int i = 0; i < 3; ++i) {
    const float offset = -16.0f / 255.0f * rows[i].x - 128.0f / 255.0f * rows[i].y - 128.0f / 255.0f * rows[i].z;
    matrix[i] = glm::vec4(rows[i], offset);
  }
  return glm::inverse(matrix);
}

void Upload(GLuint buffer, GLsizeiptr size, const void* data, GLuint point) {
  glBindBuffer(GL_UNIFORM_BUFFER, buffer);
  glBufferData(GL_UNIFORM_BUFFER, size, data, GL_STREAM_DRAW);
  glBindBufferBase(GL_UNIFORM_BUFFER, point, buffer);
}

struct Pass {
  GLuint program;
  GLuint source;
  GLuint target;
  GLenum format;
  GLsizei width;
  GLsizei height;
  Matrices matrices;
};

// Draws a texture into another, and reads that where `out` says where to.
void Run(const Pass& pass, GLuint matrices, void* out) {
  GLuint frame_buffer = 0;
  glGenFramebuffers(1, &frame_buffer);
  glBindFramebuffer(GL_FRAMEBUFFER, frame_buffer);
  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, pass.target, 0);
  glViewport(0, 0, pass.width, pass.height);
  glClearColor(0, 0, 0, 1);
  glClear(GL_COLOR_BUFFER_BIT);
  glBindTexture(GL_TEXTURE_2D, pass.source);
  glUseProgram(pass.program);
  glUniformBlockBinding(pass.program, glGetUniformBlockIndex(pass.program, "mvp"), 0);
  const GLuint constants = glGetUniformBlockIndex(pass.program, "u_buf0");
  if (constants != GL_INVALID_INDEX) glUniformBlockBinding(pass.program, constants, 1);
  Upload(matrices, sizeof(pass.matrices), &pass.matrices, 0);
  glDrawElements(GL_TRIANGLES, 6, GL_UNSIGNED_INT, nullptr);
  if (out) glReadPixels(0, 0, pass.width, pass.height, pass.format, GL_UNSIGNED_BYTE, out);
  glDeleteFramebuffers(1, &frame_buffer);
}

// The least that makes such a picture: a context on the display that the engine uses without a window system, the
// programs of these passes, and nothing checked.
Start StartBare(GsFormat format) {
  Start start;
  const auto get_display =
      reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(eglGetProcAddress("eglGetPlatformDisplayEXT"));
  const EGLDisplay display = get_display(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
  if (!eglInitialize(display, nullptr, nullptr)) std::exit(EXIT_FAILURE);
  eglBindAPI(EGL_OPENGL_API);
  const EGLint attributes[] = {
      EGL_CONTEXT_MAJOR_VERSION,           3,       EGL_CONTEXT_MINOR_VERSION, 2, EGL_CONTEXT_OPENGL_PROFILE_MASK,
      EGL_CONTEXT_OPENGL_CORE_PROFILE_BIT, EGL_NONE};
  const EGLContext context = eglCreateContext(display, EGL_NO_CONFIG_KHR, EGL_NO_CONTEXT, attributes);
  if (!eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, context)) std::exit(EXIT_FAILURE);
  const GLuint rgba = Link(kGsGlslRgba);
  const bool planar = format == kGsFormatNV12;
  const GLuint luma = planar ? Link(kGsGlslToY) : 0;
  const GLuint chroma = planar ? Link(kGsGlslToUv) : 0;
  start.device = Now();

  const float vertices[] = {-0.5f, -0.5f, 0, 0, 0, -0.5f, 0.5f, 0, 0, 1, 0.5f, 0.5f, 0, 1, 1, 0.5f, -0.5f, 0, 1, 0};
  const GLuint indices[] = {0, 1, 3, 1, 2, 3};
  GLuint buffers[4];
  GLuint vertex_array = 0;
  glGenBuffers(4, buffers);
  glGenVertexArrays(1, &vertex_array);
  glBindVertexArray(vertex_array);
  glBindBuffer(GL_ARRAY_BUFFER, buffers[0]);
  glBufferData(GL_ARRAY_BUFFER, sizeof(vertices), vertices, GL_STATIC_DRAW);
  glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, buffers[1]);
  glBufferData(GL_ELEMENT_ARRAY_BUFFER, sizeof(indices), indices, GL_STATIC_DRAW);
  glVertexAttribPointer(0, 3, GL_FLOAT, GL_FALSE, 20, nullptr);
  glEnableVertexAttribArray(0);
  glVertexAttribPointer(1, 2, GL_FLOAT, GL_FALSE, 20, reinterpret_cast<const void*>(12));
  glEnableVertexAttribArray(1);
  const std::vector<unsigned char> top_first = Image();
  std::vector<unsigned char> rows(top_first.size());
  constexpr std::ptrdiff_t kPitch = kImageSide * 4;
  for (std::ptrdiff_t y = 0; y < kImageSide; ++y) {  // GL's first row is the bottom one.
    std::copy_n(top_first.begin() + y * kPitch, kPitch, rows.end() - (y + 1) * kPitch);
  }
  const GLuint image = MakeTexture(GL_RGBA, kImageSide, kImageSide, rows.data());
  const GLuint canvas = MakeTexture(GL_RGBA, kWidth, kHeight, nullptr);
  const Matrices whole = MatricesOf(kWidth, kHeight, kWidth, kHeight);
  std::vector<Pass> planes;
  const GLenum format_of_first = planar ? GL_RED : GL_RGBA;
  planes.push_back({planar ? luma : rgba, canvas, MakeTexture(format_of_first, kWidth, kHeight, nullptr),
                    format_of_first, kWidth, kHeight, whole});
  if (planar) {
    planes.push_back({chroma, canvas, MakeTexture(GL_RG, kWidth / 2, kHeight / 2, nullptr), GL_RG, kWidth / 2,
                      kHeight / 2, MatricesOf(kWidth / 2, kHeight / 2, kWidth / 2, kHeight / 2)});
  }
  const Pass scene = {
      rgba, image, canvas, GL_RGBA, kWidth, kHeight, MatricesOf(kItemWidth, kItemHeight, kWidth, kHeight)};
  const glm::mat4 conversion = Conversion();
  std::vector<unsigned char> pixels(std::size_t{kWidth} * kHeight * 4);
  const auto draw_plane = [&](const Pass& plane) {
    // One row for Y, two for U and V.
    if (planar) Upload(buffers[3], 2 * sizeof(glm::vec4), &conversion[plane.program == luma ? 0 : 1], 1);
    Run(plane, buffers[2], pixels.data());
  };
  start.objects = Now();
  for (Time* const end : {&start.first, &start.second}) {
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    Run(scene, buffers[2], nullptr);
    glDisable(GL_BLEND);
    for (const Pass& plane : planes) draw_plane(plane);
    *end = Now();
  }
  for (const Pass& plane : planes) {
    draw_plane(plane);
    const std::size_t pitch = static_cast<std::size_t>(plane.width) * (planar ? (plane.format == GL_RG ? 2 : 1) : 4);
    start.sum = SumRows(start.sum, pixels.data(), pitch, static_cast<std::size_t>(plane.height), true);
  }
  eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
  eglDestroyContext(display, context);
  return start;
}

void DropLog(int, const char*, va_list, void*) {}

// The numbers of one start, a name and two times each.
int Measure(const std::string& which, GsFormat format) {
  qn_set_log_handle(&DropLog, nullptr);
  const Start start = which == "engine" ? StartEngine(format) : StartBare(format);
  const auto print = [](const char* name, const Time& time) {
    std::printf("%s %.4f %.4f\n", name, time.cpu_ms, time.wall_ms);
  };
  print("loaded", {start.begin.cpu_ms, 0});
  print("display", in_driver[kDisplay]);
  print("context", in_driver[kContext]);
  print("programs", in_driver[kPrograms]);
  print("device", start.device - start.begin);
  print("objects", start.objects - start.device);
  print("first", start.first - start.objects);
  print("second", start.second - start.first);
  print("start", start.first - start.begin);
  print("linked", {static_cast<double>(programs_linked), 0});
  print("picture", {static_cast<double>(start.sum % 1000000007), 0});  // Which a double has whole.
  return EXIT_SUCCESS;
}

using Numbers = std::map<std::string, Time>;

// Runs this program for one measurement.
Numbers RunProcess(const std::string& which, const std::string& format, const char* cache, const std::string& folder) {
  int ends[2];
  if (pipe(ends) != 0) std::exit(EXIT_FAILURE);
  const pid_t child = fork();
  if (child == 0) {
    dup2(ends[1], STDOUT_FILENO);
    unsetenv("DISPLAY");
    setenv("MESA_SHADER_CACHE_DIR", folder.c_str(), 1);
    setenv("MESA_SHADER_CACHE_DISABLE", std::strcmp(cache, "none") == 0 ? "true" : "false", 1);
    execl("/proc/self/exe", "quarn-start-benchmark", "--measure", which.c_str(), format.c_str(), nullptr);
    _exit(EXIT_FAILURE);
  }
  close(ends[1]);
  Numbers numbers;
  std::FILE* const in = fdopen(ends[0], "r");
  char name[32];
  Time time;
  while (std::fscanf(in, "%31s %lf %lf", name, &time.cpu_ms, &time.wall_ms) == 3) numbers[name] = time;
  std::fclose(in);
  int status = 0;
  waitpid(child, &status, 0);
  if (status != 0 || numbers.empty()) {
    std::fprintf(stderr, "the %s could not be started: is there no OpenGL 3.2?\n", which.c_str());
    std::exit(EXIT_FAILURE);
  }
  return numbers;
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

double MedianOf(const std::vector<Numbers>& rounds, const char* name, double Time::*which) {
  std::vector<double> values;
  for (const Numbers& numbers : rounds) values.push_back(numbers.at(name).*which);
  return Median(values);
}

}  // namespace

// Usage: quarn-start-benchmark [rounds]
int main(int argc, char** argv) {
  if (argc == 4 && !std::strcmp(argv[1], "--measure")) {
    return Measure(argv[2], std::strcmp(argv[3], "NV12") ? kGsFormatRGBA : kGsFormatNV12);
  }
  const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 15;
  std::string folder = (std::filesystem::temp_directory_path() / "quarn-start-XXXXXX").string();
  if (!mkdtemp(folder.data())) return EXIT_FAILURE;

  std::printf(
      "| cache | format | what   | programs | loaded | display | context | compiling | device | objects | 1st "
      "frame |  start | wall | 2nd frame |\n");
  std::printf(
      "|-------|--------|--------|----------|--------|---------|---------|-----------|--------|---------|-----"
      "------|--------|------|-----------|\n");
  for (const char* const cache : {"cold", "warm", "none"}) {
    for (const char* const format : {"RGBA", "NV12"}) {
      std::map<std::string, std::vector<Numbers>> results;
      for (int round = 0; round < rounds; ++round) {
        for (const char* const which : {"engine", "bare"}) {
          const std::string cache_folder = folder + "/" + which + format;
          if (!std::strcmp(cache, "cold")) std::filesystem::remove_all(cache_folder);
          std::filesystem::create_directories(cache_folder);
          // What a driver has not written when a process ends is missing for the next.
          if (!std::strcmp(cache, "warm") && round == 0) RunProcess(which, format, cache, cache_folder);
          results[which].push_back(RunProcess(which, format, cache, cache_folder));
        }
      }
      if (results["engine"][0].at("picture").cpu_ms != results["bare"][0].at("picture").cpu_ms) {
        std::fprintf(stderr, "the two make different pictures\n");
        return EXIT_FAILURE;
      }
      for (const char* const which : {"engine", "bare"}) {
        const std::vector<Numbers>& all = results[which];
        const auto cpu = [&](const char* name) { return MedianOf(all, name, &Time::cpu_ms); };
        std::printf(
            "| %-5s | %-6s | %-6s | %8.0f | %6.1f | %7.1f | %7.1f | %9.1f | %6.1f | %7.1f | %9.1f | %6.1f | "
            "%4.0f | %9.1f |\n",
            cache, format, which, cpu("linked"), cpu("loaded"), cpu("display"), cpu("context"), cpu("programs"),
            cpu("device"), cpu("objects"), cpu("first"), cpu("start"), MedianOf(all, "start", &Time::wall_ms),
            cpu("second"));
        std::fflush(stdout);
      }
      std::vector<double> ratios;
      for (int i = 0; i < rounds; ++i) {
        const auto at = static_cast<std::size_t>(i);
        ratios.push_back(results["engine"][at].at("start").cpu_ms / results["bare"][at].at("start").cpu_ms);
      }
      std::printf(
          "| %-5s | %-6s | ratio  |          |        |         |         |           |        |         |      "
          "     | %6.3f |      |           |\n",
          cache, format, Median(ratios));
    }
  }
  std::filesystem::remove_all(folder);
  return EXIT_SUCCESS;
}
