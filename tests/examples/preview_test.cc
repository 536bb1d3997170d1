// quarn-preview from outside: somebody at an X server points, clicks and types; what the canvas shows, what is saved
// and what is recorded is the judge. Every wait is for something to be seen. The panels are preview_window_test's.
#include <X11/keysym.h>
#include <sys/wait.h>

#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/examples/example_program.h"
#include "tests/examples/preview_sight.h"
#include "tests/support/image_compare.h"
#include "tests/support/x_server.h"
#include "tests/support/x_user.h"
#include "tests/support/x_window.h"

namespace {

using Arguments = std::vector<std::string>;

// kScene with a white mark that goes 40 pixels a second while the film plays.
constexpr char kClockScene[] = R"({"canvas": [200, 120], "layers": [
  {"color": "#c08040", "size": [60, 40], "pos": [-50, -20]},
  {"color": "#40a0c0", "size": [50, 50], "pos": [-10, 10]},
  {"color": "#ffffff", "size": [4, 4], "pos": [-98, 56], "drift": [40, 0]}]})";

// With patience for a program that sanitizers and other tests slow down.
bool ComesTrue(const std::function<bool()>& condition) {
  for (int i = 0; i < 4; ++i) {
    if (test::ComesTrue(condition)) return true;
  }
  return false;
}

class PreviewTest : public ExampleTest {
 protected:
  PreviewTest() {
    if (server_.display().empty()) throw std::runtime_error("Xvfb did not start");
    setenv("DISPLAY", server_.display().c_str(), 1);
    setenv("DBUS_SESSION_BUS_ADDRESS", "disabled:", 1);  // The toolkit looks for the desktop's.
  }
  ~PreviewTest() override {
    if (program_ > 0) {
      kill(program_, SIGKILL);
      Wait(program_);
    }
    setenv("DISPLAY", "", 1);
  }

  void WriteScene(const std::string& json) { std::ofstream(Path("scene.json")) << json; }

  // Starts the program without its panels, with the pointer out of its way, waits for its window, and sits down at it.
  void Open(Arguments arguments, const std::string& name = "scene.json") {
    x11_ = std::make_unique<test::XConnection>();
    if (!x11_->ok()) throw std::runtime_error("no connection to " + server_.display());
    xcb_warp_pointer(x11_->get(), XCB_NONE, x11_->screen()->root, 0, 0, 0, 0, 0, 0);
    x11_->Sync();
    arguments.push_back("--no-panels");
    program_ = Start("quarn-preview", arguments);
    xcb_window_t id = 0;
    const bool opened =
        ComesTrue([&] { return (id = x11_->FindWindow(name + " - quarn-preview")) != 0 || kill(program_, 0) != 0; });
    if (!opened || id == 0) {
      kill(program_, SIGKILL);
      throw std::runtime_error("no window: " + Wait(std::exchange(program_, -1)).err);
    }
    window_ = std::make_unique<test::XWindow>(*x11_, id);
    user_ = std::make_unique<test::XUser>(*x11_, id);
    Settle();
  }

  // Waits until the program has taken all that was done: it prints its help when asked to.
  void Settle() {
    const std::size_t before = Printed().size();
    user_->Key(XK_Shift_L, XK_F1);
    ASSERT_TRUE(ComesTrue([&] { return Printed().size() > before; })) << "no answer to Shift+F1";
  }

  void OpenScene(const std::string& json, Arguments arguments = {}) {
    WriteScene(json);
    arguments.insert(arguments.begin(), {"--scene", "scene.json"});
    Open(arguments);
  }

  // Canvas positions, where the window has its first size.
  static int X(double x) { return static_cast<int>(x) + kCanvasWidth / 2 + kMargin; }
  static int Y(double y) { return static_cast<int>(y) + kCanvasHeight / 2 + kMargin; }
  void MoveTo(double x, double y) { user_->MoveTo(X(x), Y(y)); }
  void Click(double x, double y) { user_->Click(X(x), Y(y)); }
  void Drag(double from_x, double from_y, double to_x, double to_y) {
    user_->Drag(X(from_x), Y(from_y), X(to_x), Y(to_y));
  }

  // The keys are held once something is in hand.
  void DragHolding(const std::vector<std::uint32_t>& keys, double from_x, double from_y, double to_x, double to_y) {
    MoveTo(from_x, from_y);
    user_->Press();
    for (const std::uint32_t key : keys) user_->HoldKey(key);
    MoveTo(to_x, to_y);
    user_->Release();
    for (const std::uint32_t key : keys) user_->LetKeyGo(key);
  }
  // Without snapping; corners to any proportions.
  void DragFreely(double from_x, double from_y, double to_x, double to_y) {
    DragHolding({XK_Control_L, XK_Shift_L}, from_x, from_y, to_x, to_y);
  }

  void KeyWith(std::uint32_t held, std::uint32_t keysym) { user_->Key(held, keysym); }

  // What the program has printed so far, and what it has complained of.
  std::string Printed() const { return ReadFile(Path(".run-" + std::to_string(program_) + ".out")); }
  std::string Complained() const { return ReadFile(Path(".run-" + std::to_string(program_) + ".err")); }
  // Whether it comes to say that, by what it prints.
  testing::AssertionResult Says(const std::string& text) {
    if (ComesTrue([&] { return Printed().find(text) != std::string::npos; })) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "it said " << Printed();
  }
  testing::AssertionResult Complains(const std::string& text) {
    if (ComesTrue([&] { return Complained().find(text) != std::string::npos; })) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "it complained: " << Complained();
  }

  // Waits until the window shows just that.
  testing::AssertionResult Shows(const Sight& sight, double scale = 1, int width = 2 * kMargin + kCanvasWidth,
                                 int height = 2 * kMargin + kCanvasHeight) {
    const SightJudge judge(sight, scale, width, height);
    test::Picture seen;
    if (ComesTrue([&] { return judge.Likes(seen = window_->Read()); })) return testing::AssertionSuccess();
    return judge.Judge(seen) << "; titled " << user_->Title();
  }

  // Where the mark of kClockScene is: whether it has gone as far as it goes in that time.
  bool HasPlayed(double seconds) {
    return ComesTrue([&] { return !IsMarked(seconds); });
  }
  // Plays for that time at least, from the start, where the film stands.
  bool Play(double seconds) {
    if (!ComesTrue([&] { return IsMarked(0.1); })) return false;
    user_->Key(XK_space);
    return HasPlayed(seconds);
  }
  bool IsMarked(double before_seconds) {
    const test::Picture seen = window_->Read();
    for (int x = X(-100); x < X(-100 + 40 * before_seconds); ++x) {
      if (seen.at(x, Y(56))[0] > 128) return true;
    }
    return false;
  }

  testing::AssertionResult Titled(const std::string& title) {
    if (ComesTrue([&] { return user_->Title() == title + " - quarn-preview"; })) {
      return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << "titled " << user_->Title();
  }

  // Saves, and returns the scene file.
  std::string Saved() {
    const std::size_t before = Printed().size();
    KeyWith(XK_Control_L, XK_s);
    EXPECT_TRUE(ComesTrue([&] { return Printed().find("saved scene.json\n", before) != std::string::npos; }));
    return ReadFile(Path("scene.json"));
  }

  // Waits for the end of the program.
  Ended End() {
    const bool ended = ComesTrue([this] {
      siginfo_t info = {};
      return waitid(P_PID, static_cast<id_t>(program_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid != 0;
    });
    EXPECT_TRUE(ended) << "it goes on; titled " << user_->Title();
    if (!ended) kill(program_, SIGKILL);
    return Wait(std::exchange(program_, -1));
  }

  Ended Close() {
    window_->AskToClose();
    return End();
  }

  test::XServer server_;
  pid_t program_ = -1;
  std::unique_ptr<test::XConnection> x11_;
  std::unique_ptr<test::XWindow> window_;
  std::unique_ptr<test::XUser> user_;
};

TEST_F(PreviewTest, HoversSelectsAndDeselects) {
  OpenScene(kScene);
  EXPECT_TRUE(Shows({{kOrange, kBlue}}));
  MoveTo(-50, -20);
  EXPECT_TRUE(Shows({{kOrange, kBlue}, 0}));
  MoveTo(-25, -5);  // Where both are, the upper one.
  EXPECT_TRUE(Shows({{kOrange, kBlue}, 1}));
  MoveTo(60, 0);
  EXPECT_TRUE(Shows({{kOrange, kBlue}}));
  Click(-50, -20);
  EXPECT_TRUE(Shows({{kOrange, kBlue}, 0, 0}));
  EXPECT_TRUE(Titled("scene.json"));
  MoveTo(0, 20);
  EXPECT_TRUE(Shows({{kOrange, kBlue}, 1, 0}));
  Click(0, 20);
  EXPECT_TRUE(Shows({{kOrange, kBlue}, 1, 1}));
  Click(60, 0);
  EXPECT_TRUE(Shows({{kOrange, kBlue}}));
  EXPECT_TRUE(Titled("scene.json"));
  MoveTo(0, 20);
  EXPECT_TRUE(Shows({{kOrange, kBlue}, 1}));
  user_->MoveTo(-20, -20);  // Out of the window.
  EXPECT_TRUE(Shows({{kOrange, kBlue}}));
}

TEST_F(PreviewTest, DragsWithGuidesThatSnap) {
  OpenScene(kOneScene);
  MoveTo(-60, -25);
  user_->Press();
  MoveTo(-20, -35);
  EXPECT_TRUE(Shows({{At(kOrange, -10, -30)}, 0, 0}));
  MoveTo(-13, -35);
  EXPECT_TRUE(Shows({{At(kOrange, 0, -30)}, 0, 0, true}));
  MoveTo(-13, -8);
  EXPECT_TRUE(Shows({{At(kOrange, 0, 0)}, 0, 0, true, true}));
  MoveTo(30, -8);
  EXPECT_TRUE(Shows({{At(kOrange, 40, 0)}, 0, 0, false, true}));
  // Control lets go of the axis, without a move.
  user_->HoldKey(XK_Control_L);
  EXPECT_TRUE(Shows({{At(kOrange, 40, -3)}, 0, 0}));
  user_->LetKeyGo(XK_Control_L);
  EXPECT_TRUE(Shows({{At(kOrange, 40, 0)}, 0, 0, false, true}));
  user_->Release();
  EXPECT_TRUE(Shows({{At(kOrange, 40, 0)}, 0, 0}));
  EXPECT_TRUE(Titled("scene.json*"));
  EXPECT_NE(Saved().find(R"({"color": "#c08040", "size": [60, 40], "pos": [40, 0]})"), std::string::npos);
  EXPECT_TRUE(Titled("scene.json"));
}

// What is in hand follows the pointer out of the window, and is let go there.
TEST_F(PreviewTest, ADragGoesOnOutsideTheWindow) {
  OpenScene(kOneScene);
  MoveTo(-60, -25);
  user_->Press();
  MoveTo(-52, -35);
  EXPECT_TRUE(Shows({{At(kOrange, -42, -30)}, 0, 0}));
  user_->MoveTo(X(kCanvasWidth / 2 + 40), Y(kCanvasHeight / 2 + 60));
  EXPECT_TRUE(Shows({{At(kOrange, 150, 125)}, 0, 0}));
  user_->Release();
  MoveTo(0, 0);  // Nothing sticks to it.
  EXPECT_TRUE(Shows({{At(kOrange, 150, 125)}, -1, 0}));
  KeyWith(XK_Control_L, XK_z);
  EXPECT_TRUE(Shows({{kOrange}, -1, 0}));
  EXPECT_TRUE(Titled("scene.json"));
}

TEST_F(PreviewTest, EscapePutsBackWhatIsDragged) {
  OpenScene(kOneScene);
  MoveTo(-50, -20);
  user_->Press();
  MoveTo(2, 3);
  EXPECT_TRUE(Shows({{At(kOrange, 0, 0)}, 0, 0, true, true}));
  user_->Key(XK_Escape);
  EXPECT_TRUE(Shows({{kOrange}, -1, 0}));
  user_->Release();
  user_->Key(XK_Escape);
  EXPECT_TRUE(Shows({{kOrange}, -1}));
  EXPECT_TRUE(Titled("scene.json"));
}

TEST_F(PreviewTest, HandlesResizeAndTheOppositeOneStays) {
  OpenScene(kScene);
  Click(-50, -20);
  DragFreely(-80, -40, -90, -50);
  EXPECT_TRUE(Shows({{Sized(At(kOrange, -55, -25), 70, 50), kBlue}, 0, 0}));
  DragFreely(-20, -25, -40, 0);  // The right side's: it goes along its own way alone.
  EXPECT_TRUE(Shows({{Sized(At(kOrange, -65, -25), 50, 50), kBlue}, 0, 0}));
  DragHolding({XK_Control_L}, -40, 0, -30, 10);  // In proportion.
  EXPECT_TRUE(Shows({{Sized(At(kOrange, -60, -20), 60, 60), kBlue}, 0, 0}));
  EXPECT_NE(Saved().find(R"({"color": "#c08040", "size": [60, 60], "pos": [-60, -20]})"), std::string::npos);
}

TEST_F(PreviewTest, ZoomsAndPans) {
  OpenScene(kOneScene);
  KeyWith(XK_Control_L, XK_1);
  EXPECT_TRUE(Shows({{kOrange}}));
  window_->Resize(410, 250);  // At 100 % it stays as large as it is.
  EXPECT_TRUE(Shows({{kOrange}}, 1, 410, 250));
  KeyWith(XK_Control_L, XK_0);
  user_->MoveTo(1, 1);
  EXPECT_TRUE(Shows({{kOrange}}, 2, 410, 250));
}

TEST_F(PreviewTest, TurnedLayersAreHitFramedAndResizedAsTheyLie) {
  OpenScene(R"({"canvas": [200, 120], "layers": [
    {"color": "#c08040", "size": [100, 20], "rotation": 30}]})");
  const Box turned{0, 0, 100, 20, 30, 192, 128, 64};
  MoveTo(38, -14);  // The straight rectangle's end is empty.
  EXPECT_TRUE(Shows({{turned}}));
  MoveTo(38, 20);
  EXPECT_TRUE(Shows({{turned}, 0}));
  Click(38, 20);
  EXPECT_TRUE(Shows({{turned}, 0, 0}));
  // By the handle of its right end, 20 pixels along its own axis.
  const double cosine = std::cos(std::acos(-1.0) / 6), sine = 0.5;
  DragFreely(43, 25, 43 + 17, 25 + 10);
  EXPECT_TRUE(Shows({{Sized(At(turned, 10 * cosine, 10 * sine), 120, 20)}, 0, 0}));
  user_->Key(XK_period);
  EXPECT_TRUE(Shows({{Turned(Sized(At(turned, 10 * cosine, 10 * sine), 120, 20), 31)}, 0, 0}));
  KeyWith(XK_Shift_L, XK_comma);
  EXPECT_TRUE(Shows({{Turned(Sized(At(turned, 10 * cosine, 10 * sine), 120, 20), 16)}, 0, 0}));
}

TEST_F(PreviewTest, KeysMoveOrderHideDeleteAndUndo) {
  OpenScene(kScene);
  Click(-50, -20);
  user_->Key(XK_Right);
  user_->Key(XK_Down);
  KeyWith(XK_Shift_L, XK_Right);
  KeyWith(XK_Shift_L, XK_Up);
  EXPECT_TRUE(Shows({{At(kOrange, -39, -29), kBlue}, 0, 0}));
  user_->Key(XK_Left);
  user_->Key(XK_Prior);  // Raises it over the blue box.
  EXPECT_TRUE(Shows({{kBlue, At(kOrange, -40, -29)}, 1, 1}));
  user_->Key(XK_Next);
  EXPECT_TRUE(Shows({{At(kOrange, -40, -29), kBlue}, 0, 0}));
  KeyWith(XK_Shift_L, XK_Prior);
  EXPECT_TRUE(Shows({{kBlue, At(kOrange, -40, -29)}, 1, 1}));
  user_->Key(XK_h);
  EXPECT_TRUE(Shows({{kBlue}}));
  EXPECT_TRUE(Titled("scene.json*"));
  EXPECT_NE(Saved().find(R"({"color": "#c08040", "size": [60, 40], "pos": [-40, -29], "visible": false})"),
            std::string::npos);
  Click(-55, -20);  // What is not seen is not hit.
  EXPECT_TRUE(Titled("scene.json"));
  user_->Key(XK_Tab);
  EXPECT_TRUE(Shows({{kBlue}, -1, 0}));
  user_->Key(XK_Tab);
  EXPECT_TRUE(Titled("scene.json"));
  user_->Key(XK_h);
  EXPECT_TRUE(Shows({{kBlue, At(kOrange, -40, -29)}, 1, 1}));
  user_->Key(XK_Delete);
  EXPECT_TRUE(Shows({{kBlue}}));
  KeyWith(XK_Control_L, XK_z);
  EXPECT_TRUE(Shows({{kBlue, At(kOrange, -40, -29)}, 1, 1}));
  KeyWith(XK_Control_L, XK_z);
  EXPECT_TRUE(Titled("scene.json"));  // As it was saved.
  KeyWith(XK_Control_L, XK_y);
  EXPECT_TRUE(Shows({{kBlue, At(kOrange, -40, -29)}, 1, 1}));
  KeyWith(XK_Shift_L, XK_Tab);
  EXPECT_TRUE(Shows({{kBlue, At(kOrange, -40, -29)}, 1, 0}));
}

TEST_F(PreviewTest, AddsFilesByKeyAndByDropping) {
  Ffmpeg("-f lavfi -i color=0x00ff80:s=40x30 -frames:v 1 " + Path("small.png"));
  Ffmpeg("-f lavfi -i color=0xff8000:s=400x120 -frames:v 1 " + Path("large.png"));
  Ffmpeg("-f lavfi -i color=0xffff00:s=40x20:r=25:d=0.2 -c:v ffv1 " + Path("moves.mkv"));
  OpenScene(kScene, {"--add", "small.png", "large.png"});
  const Box small{0, 0, 40, 30, 0, 0, 255, 128}, large{0, 0, 120, 36, 0, 255, 128, 0};
  ASSERT_TRUE(Shows({{kOrange, kBlue}}));
  MoveTo(90, 50);
  user_->Key(XK_a);
  EXPECT_TRUE(Shows({{kOrange, kBlue, small}, -1, 2}));
  EXPECT_TRUE(Titled("scene.json*"));
  user_->Key(XK_a);  // It has no room in its own size.
  EXPECT_TRUE(Shows({{kOrange, kBlue, small, large}, -1, 3}));
  user_->Key(XK_Delete);
  EXPECT_TRUE(Shows({{kOrange, kBlue, small}}));
  user_->Key(XK_a);  // After the last file that may be added comes the first again.
  EXPECT_TRUE(Shows({{kOrange, kBlue, small, small}, -1, 3}));
  user_->Key(XK_Delete);
  ASSERT_TRUE(user_->DropFile(Path("moves.mkv"), X(60), Y(40)));
  const Box moves{60, 40, 40, 20, 0, 255, 255, 0};
  EXPECT_TRUE(Shows({{kOrange, kBlue, small, moves}, 3, 3}));
  ASSERT_TRUE(user_->DropFile(Path("small.png"), 1, 1));  // Beside the canvas: into its middle.
  EXPECT_TRUE(Shows({{kOrange, kBlue, small, moves, small}, -1, 4}));
  const std::string saved = Saved();
  EXPECT_NE(saved.find(R"({"picture": "small.png", "size": [40, 30]})"), std::string::npos) << saved;
  EXPECT_NE(saved.find(R"({"video": "moves.mkv", "size": [40, 20], "pos": [60, 40], "loop": true})"), std::string::npos)
      << saved;

  std::ofstream(Path("text.png")) << "no picture";
  ASSERT_TRUE(user_->DropFile(Path("text.png"), X(0), Y(0)));
  EXPECT_TRUE(Complains("cannot "));
  EXPECT_TRUE(Shows({{kOrange, kBlue, small, moves, small}, 4, 4}));
  const Ended ended = Close();
  EXPECT_EQ(ended.exit_code, 0);
  EXPECT_EQ(ended.err.rfind("quarn-preview: cannot ", 0), 0u) << ended.err;

  // What was saved opens as it was left.
  Open({"--scene", "scene.json"});
  EXPECT_TRUE(Shows({{kOrange, kBlue, small, moves, small}}));
}

// A picture is opened again at the size that it was given.
TEST_F(PreviewTest, ResizesAPicture) {
  Ffmpeg("-f lavfi -i color=0x00ff80:s=40x30 -frames:v 1 " + Path("small.png"));
  OpenScene(R"({"canvas": [200, 120], "layers": [{"picture": "small.png", "filter": "blur"}]})");
  const Box small{0, 0, 40, 30, 0, 0, 255, 128};
  EXPECT_TRUE(Shows({{small}}));
  Click(0, 0);
  DragFreely(20, 15, 80, 45);
  EXPECT_TRUE(Shows({{Sized(At(small, 30, 15), 100, 60)}, 0, 0}));
  KeyWith(XK_Control_L, XK_z);
  EXPECT_TRUE(Shows({{small}, -1, 0}));
}

TEST_F(PreviewTest, FollowsTheWindowsSize) {
  OpenScene(kScene);
  Click(-50, -20);
  EXPECT_TRUE(Shows({{kOrange, kBlue}, 0, 0}));
  window_->Resize(300, 130);  // Wider: the scene stays, in the middle.
  user_->MoveTo(295, 125);
  EXPECT_TRUE(Shows({{kOrange, kBlue}, -1, 0}, 1, 300, 130));
  window_->Resize(410, 250);  // Twice as large, with frames and handles as they were.
  EXPECT_TRUE(Shows({{kOrange, kBlue}, -1, 0}, 2, 410, 250));
  // Positions follow: the same drag on the screen is half as far on the canvas.
  const auto drag = [this](int from_x, int from_y, int to_x, int to_y, bool freely) {
    user_->MoveTo(from_x, from_y);
    user_->Press();
    user_->HoldKey(XK_Control_L);
    if (freely) user_->HoldKey(XK_Shift_L);
    user_->MoveTo(to_x, to_y);
    user_->Release();
    user_->LetKeyGo(XK_Control_L);
    user_->LetKeyGo(XK_Shift_L);
  };
  drag(205 - 100, 125 - 40, 205 + 60, 125 - 80, false);
  EXPECT_TRUE(Shows({{At(kOrange, 30, -40), kBlue}, 0, 0}, 2, 410, 250));
  drag(205 + 120, 125 - 40, 205 + 160, 125 - 20, true);  // The handle of the lower right corner.
  EXPECT_TRUE(Shows({{Sized(At(kOrange, 40, -35), 80, 50), kBlue}, 0, 0}, 2, 410, 250));
  window_->Resize(210, 130);
  user_->MoveTo(1, 1);
  EXPECT_TRUE(Shows({{Sized(At(kOrange, 40, -35), 80, 50), kBlue}, -1, 0}));
}

TEST_F(PreviewTest, OpensInTheSizeThatWasAskedFor) {
  OpenScene(kScene, {"--window", "300x130"});
  EXPECT_TRUE(Shows({{kOrange, kBlue}}, 1, 300, 130));
}

TEST_F(PreviewTest, RecordsWhileItIsEdited) {
  OpenScene(kClockScene);
  const auto seen = [this](double x, double y, int red) {
    return ComesTrue([&] { return window_->Read().at(X(x), Y(y))[0] == red; });
  };
  ASSERT_TRUE(seen(-70, -20, 192));
  user_->Key(XK_r);
  EXPECT_TRUE(Says("recording film-1.mp4\n"));
  EXPECT_TRUE(Play(0.5));
  Drag(-60, -20, 40, -20);
  EXPECT_TRUE(seen(60, -20, 192));
  EXPECT_TRUE(HasPlayed(1));
  user_->Key(XK_r);
  EXPECT_TRUE(Says("recorded film-1.mp4, 0:0"));
  user_->Key(XK_r);  // Begins a second film.
  EXPECT_TRUE(Says("recording film-2.mp4\n"));
  user_->Key(XK_space);
  user_->Key(XK_Home);
  EXPECT_TRUE(Play(0.3));
  user_->Key(XK_r);
  EXPECT_TRUE(Says("recorded film-2.mp4, 0:0"));
  EXPECT_EQ(Files(), (std::vector<std::string>{"film-1.mp4", "film-2.mp4", "scene.json"}));

  const std::string probed = Probe("film-1.mp4");
  EXPECT_EQ(probed.substr(0, probed.rfind(',')), "h264,200,120,30/1");
  const std::vector<RgbFrame> film = Decode("film-1.mp4", kCanvasWidth, kCanvasHeight);
  ASSERT_GE(film.size(), 10u);  // Of thirty and more: a machine that is busy leaves some out.
  // The scene without what the editor draws over it.
  const auto expect_pixel = [](const RgbFrame& frame, int x, int y, int r, int g, int b) {
    ExpectPixel(frame, x + kCanvasWidth / 2, y + kCanvasHeight / 2, r, g, b);
  };
  expect_pixel(film.front(), -50, -30, 192, 128, 64);
  expect_pixel(film.front(), 60, -30, 0, 0, 0);
  expect_pixel(film.back(), -70, -30, 0, 0, 0);
  expect_pixel(film.back(), 60, -30, 192, 128, 64);
  expect_pixel(film.back(), -10, 20, 64, 160, 192);
}

TEST_F(PreviewTest, RecordsToTheFilmThatWasNamed) {
  std::ofstream(Path("out.mkv")) << "older";
  OpenScene(kClockScene, {"-o", "out.mkv", "--output-size", "100x60", "--fps", "25"});
  user_->Key(XK_r);
  EXPECT_TRUE(Says("recording out.mkv\n"));
  EXPECT_TRUE(Play(0.3));
  user_->Key(XK_r);
  EXPECT_TRUE(Says("recorded out.mkv, 0:0"));
  user_->Key(XK_r);
  EXPECT_TRUE(Says("recording out-2.mkv\n"));
  user_->Key(XK_space);
  user_->Key(XK_Home);
  EXPECT_TRUE(Play(0.3));
  EXPECT_EQ(Close().exit_code, 0);  // To close the window completes the film.
  const auto kind = [this](const std::string& film) {
    const std::string probed = Probe(film);
    return probed.substr(0, probed.rfind(','));
  };
  EXPECT_EQ(kind("out.mkv"), "h264,100,60,25/1");
  EXPECT_EQ(kind("out-2.mkv"), "h264,100,60,25/1");
}

TEST_F(PreviewTest, SaysWhyItCannotRecord) {
  OpenScene(R"({"canvas": [201, 120]})");
  user_->Key(XK_r);
  EXPECT_TRUE(Complains("output size 201x120"));
  const Ended ended = Close();
  EXPECT_EQ(ended.exit_code, 0);
  EXPECT_EQ(ended.err, "quarn-preview: output size 201x120: films, and stills as i420 or nv12, need even sides\n");
}

TEST_F(PreviewTest, PlaysWhenAsked) {
  OpenScene(R"({"canvas": [200, 120], "layers": [
    {"color": "#c08040", "size": [60, 40], "pos": [-50, 0], "drift": [0, 40]}]})");
  const Box box = At(kOrange, -50, 0);
  EXPECT_TRUE(Shows({{box}}));
  user_->Key(XK_space);
  const auto covered = [this](int y) { return window_->Read().at(X(-50), Y(y))[0] == 192; };
  EXPECT_TRUE(ComesTrue([&] { return !covered(-10) && covered(25); }));
  user_->Key(XK_space);
  Settle();
  // It stands still: between two looks it would go two pixels.
  EXPECT_TRUE(ComesTrue([&] {
    const test::Picture before = window_->Read();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    return window_->Read().pixels == before.pixels;
  }));
  // What is dragged lands where it is dropped, wherever it had drifted to, and its place in the file is where it
  // starts.
  EXPECT_NE(Saved().find(R"("pos": [-50, 0], "drift": [0, 40])"), std::string::npos);
}

TEST_F(PreviewTest, PlaysVideosFromTheirStartAgain) {
  Ffmpeg("-f lavfi -i color=0xff0000:s=40x30:r=10:d=0.3 -f lavfi -i color=0x00ff00:s=40x30:r=10:d=0.3 " +
         std::string("-filter_complex concat=n=2 -c:v ffv1 -pix_fmt bgr0 ") + Path("clip.mkv"));
  OpenScene(R"({"canvas": [200, 120], "layers": [{"video": "clip.mkv"}]})");
  const Box red{0, 0, 40, 30, 0, 255, 0, 0}, green{0, 0, 40, 30, 0, 0, 255, 0};
  EXPECT_TRUE(Shows({{red}}));
  user_->Key(XK_space);
  EXPECT_TRUE(Shows({{green}}));
  user_->Key(XK_space);
  user_->Key(XK_Home);
  EXPECT_TRUE(Shows({{red}}));
  user_->Key(XK_space);
  EXPECT_TRUE(Shows({{green}}));
}

TEST_F(PreviewTest, PlaysFromTheStart) {
  WriteScene(R"({"canvas": [200, 120], "layers": [
    {"color": "#c08040", "size": [60, 40], "pos": [-50, 0], "drift": [0, 40]}]})");
  Open({"--scene", "scene.json", "--play"});
  EXPECT_TRUE(ComesTrue([&] { return window_->Read().at(X(-50), Y(-15))[0] == 0; }));
}

TEST_F(PreviewTest, ClosesAtOnceWithoutChanges) {
  OpenScene(kScene);
  Click(-50, -20);
  EXPECT_TRUE(Shows({{kOrange, kBlue}, 0, 0}));
  const Ended ended = Close();
  EXPECT_EQ(ended.exit_code, 0);
  EXPECT_EQ(ended.err, "");
  EXPECT_NE(ended.out.find("  R               start or stop recording\n"), std::string::npos);
  EXPECT_EQ(ReadFile(Path("scene.json")), kScene);
}

TEST_F(PreviewTest, AsksBeforeChangesAreLost) {
  OpenScene(kScene);
  Click(-50, -20);
  user_->Key(XK_Left);
  EXPECT_TRUE(Titled("scene.json*"));
  xcb_window_t question = 0;
  const auto asks = [&] { return ComesTrue([&] { return (question = x11_->FindWindow("quarn-preview")) != 0; }); };
  window_->AskToClose();
  ASSERT_TRUE(asks());
  test::XUser(*x11_, question).Key(XK_Escape);
  EXPECT_TRUE(ComesTrue([&] { return x11_->FindWindow("quarn-preview") == 0; }));
  EXPECT_EQ(ReadFile(Path("scene.json")), kScene);
  window_->AskToClose();
  ASSERT_TRUE(asks());
  test::XUser(*x11_, question).Key(XK_Return);  // To save is the first answer.
  EXPECT_EQ(End().exit_code, 0);
  EXPECT_NE(ReadFile(Path("scene.json")).find(R"("pos": [-51, -20])"), std::string::npos);
}

TEST_F(PreviewTest, ASignalEndsItAndKeepsTheFilm) {
  OpenScene(kClockScene);
  user_->Key(XK_r);
  EXPECT_TRUE(Says("recording film-1.mp4\n"));
  EXPECT_TRUE(Play(0.3));
  kill(program_, SIGTERM);
  const Ended ended = End();
  EXPECT_EQ(ended.exit_code, 0);
  EXPECT_NE(ended.out.find("recorded film-1.mp4, 0:0"), std::string::npos);
  EXPECT_EQ(Probe("film-1.mp4").rfind("h264,200,120,30/1,", 0), 0u);
}

TEST_F(PreviewTest, SavesWhereItWasTold) {
  WriteScene(kScene);
  Open({"--scene", "scene.json", "--save", "other.json"}, "other.json");
  user_->Key(XK_s);
  EXPECT_TRUE(Says("saved other.json\n"));
  EXPECT_EQ(ReadFile(Path("scene.json")), kScene);
  EXPECT_NE(ReadFile(Path("other.json")).find("\"#40a0c0\""), std::string::npos);
}

// A new scene never takes the place of a file that was not opened.
TEST_F(PreviewTest, SavesANewSceneUnderAFreeName) {
  WriteScene(kScene);
  Open({"--canvas", "200x120", "--color", "#c08040,size=60x40,pos=-50:-20"}, "new scene");
  EXPECT_TRUE(Shows({{kOrange}}));
  user_->Key(XK_s);
  EXPECT_TRUE(Says("saved scene-2.json\n"));
  EXPECT_TRUE(Titled("scene-2.json"));
  EXPECT_EQ(ReadFile(Path("scene.json")), kScene);
  EXPECT_NE(ReadFile(Path("scene-2.json")).find("\"#c08040\""), std::string::npos);
}

TEST_F(PreviewTest, SaysWhyItCannotSave) {
  WriteScene(kScene);
  Open({"--scene", "scene.json", "--save", "none/scene.json"});
  Click(-50, -20);
  user_->Key(XK_Left);
  user_->Key(XK_s);
  const std::string line = "cannot write none/scene.json: No such file or directory";
  EXPECT_TRUE(Complains(line));
  EXPECT_TRUE(Titled("scene.json*"));
  kill(program_, SIGINT);
  const Ended ended = End();
  EXPECT_EQ(ended.exit_code, 0);
  EXPECT_EQ(ended.err, "quarn-preview: " + line + "\n");
}

TEST_F(PreviewTest, ExplainsItself) {
  const Ended help = Run("quarn-preview", {"--help"});
  EXPECT_EQ(help.exit_code, 0);
  EXPECT_NE(help.out.find("--scene"), std::string::npos);
  EXPECT_NE(help.out.find("  Page Up, Down   raise, lower; with Shift to the top, the bottom\n"), std::string::npos);
  OpenScene(kScene);
  Settle();
  user_->Key(XK_Control_L, XK_q);
  const Ended ended = End();
  EXPECT_EQ(ended.exit_code, 0);
  // For every Shift+F1, and not unasked.
  const std::string line = "  F1              show this help; with Shift print it\n";
  int printed = 0;
  for (std::size_t at = ended.out.find(line); at != std::string::npos; at = ended.out.find(line, at + 1)) ++printed;
  EXPECT_EQ(printed, 2);
}

TEST_F(PreviewTest, RefusesBadArguments) {
  WriteScene(kScene);
  const auto expect_error = [this](const Arguments& arguments, int exit_code, const std::string& line) {
    const Ended ended = Run("quarn-preview", arguments);
    EXPECT_EQ(ended.exit_code, exit_code) << line;
    EXPECT_EQ(ended.err, "quarn-preview: " + line + "\n");
    EXPECT_EQ(ended.out, "");
  };
  expect_error({"--scene", "none.json"}, 1, "cannot read scene none.json: No such file or directory");
  expect_error({"--picture", "none.png"}, 1, "cannot open none.png: No such file or directory");
  expect_error({"--canvas", "0x90"}, 2, "canvas 0x90: each side must be 1 to 8192");
  expect_error({"--fps", "0"}, 2,
               "\"0\" is not a frame rate: must be 1 to 1000 frames a second, or a fraction such as 30000/1001");
  expect_error({"--window", "0x90"}, 2, "window 0x90: each side must be at least 1");
  expect_error({"--window", "wide"}, 2, "\"wide\" is not a size such as 640x360");
  expect_error({"-o", "still.png"}, 2, "cannot record to still.png: it is no film");
  expect_error({"--output-size", "33x20", "-o", "film.mp4"}, 2,
               "output size 33x20: films, and stills as i420 or nv12, need even sides");
  expect_error({"--color", "#000000,opacity=2"}, 2, "layer opacity: must be 0 to 1");
  const Ended unknown = Run("quarn-preview", {"--colour", "#000000"});
  EXPECT_EQ(unknown.exit_code, 2);
  EXPECT_NE(unknown.err.find("--colour"), std::string::npos) << unknown.err;
}

TEST_F(PreviewTest, SaysThatThereIsNoDisplay) {
  WriteScene(kScene);
  setenv("DISPLAY", ":59000", 1);  // Not one of a server that ended: others take its number.
  Ended ended = Run("quarn-preview", {"--scene", "scene.json"});
  EXPECT_EQ(ended.exit_code, 1);
  EXPECT_EQ(ended.err, "quarn-preview: cannot open a window on display :59000: no X server answers\n");
  setenv("DISPLAY", "", 1);
  ended = Run("quarn-preview", {"--scene", "scene.json"});
  EXPECT_EQ(ended.exit_code, 1);
  EXPECT_EQ(ended.err, "quarn-preview: cannot open a window: there is no X display (DISPLAY is not set)\n");
}

}  // namespace
