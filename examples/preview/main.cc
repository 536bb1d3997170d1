// quarn-preview: a host program of Quarn that edits a scene in a window and records it.
//
// Threads: main (events, and what they make of the scene), the device's render thread (CanvasView::Draw), and one for
// each video; while recording also the output's own (FilmOutput::OnFrame), the encoder's, the one that mixes
// (LiveSound) and one for each sound.

#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <optional>
#include <utility>

#include <QApplication>

#include "main-loop/qt_main_queue.h"
#include "main-loop/qt_native_window.h"
#include "preview/display.h"
#include "preview/end_signals.h"
#include "preview/look.h"
#include "preview/main_window.h"
#include "preview/options.h"
#include "preview/session.h"
#include "studio/error.h"
#include "studio/log.h"

namespace {

bool verbose = false;

// What the toolkit has to say of the desktop is for those who look for a fault.
void ShowToolkitMessage(QtMsgType type, const QMessageLogContext& /*context*/, const QString& message) {
  if (verbose || type == QtFatalMsg) std::fprintf(stderr, "Qt: %s\n", message.toUtf8().constData());
}

int Run(int argc, char** argv) {
  std::optional<preview::Options> options = preview::ParseCommandLine(argc, argv);
  if (!options) return EXIT_SUCCESS;
  studio::ShowLog(options->description.verbose ? studio::LogShown::kEverything : studio::LogShown::kNothing);
  std::signal(SIGPIPE, SIG_IGN);  // Streams outlive their receivers.
  std::signal(SIGXFSZ, SIG_IGN);  // A film that may not get larger ends.
  verbose = options->description.verbose;
  qInstallMessageHandler(&ShowToolkitMessage);
  preview::PrepareDisplay();
  int own_argc = 1;  // The toolkit has options of its own, which are not this program's.
  QApplication application(own_argc, argv);
  std::setlocale(LC_NUMERIC, "C");  // The toolkit takes the user's; scene files have points.
  QApplication::setQuitOnLastWindowClosed(false);
  if (!UseQtDisplay()) throw studio::Error("cannot show pictures under Wayland here (QT_QPA_PLATFORM=xcb uses X11)");
  preview::SetLook(&application);
  preview::Session session(std::move(*options));
  const QtMainQueue main_queue;
  preview::MainWindow window(&session, [] { QApplication::exit(0); });
  window.Open();
  const preview::EndSignals end_signals([] { QApplication::exit(0); });
  QApplication::exec();
  session.FinishRecording();
  return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run(argc, argv);
  } catch (const studio::UsageError& error) {
    std::fprintf(stderr, "quarn-preview: %s\n", studio::Printable(error.what()).c_str());
    return 2;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "quarn-preview: %s\n", studio::Printable(studio::ErrorText(error)).c_str());
    return 1;
  }
}
