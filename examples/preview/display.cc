#include "preview/display.h"

#include <wayland-client-core.h>
#include <xcb/xcb.h>

#include <cstdlib>
#include <string>
#include <vector>

#include <QFile>
#include <QLibraryInfo>
#include <QPluginLoader>
#include <QStringList>

#include <quarn/qn_native_display.h>

#include "studio/error.h"

namespace preview {
namespace {

using studio::Error;

std::string Variable(const char* name) {
  const char* const value = std::getenv(name);
  return value ? value : "";
}

void ReachServer() {
  const std::string display = Variable("DISPLAY");
  if (display.empty()) throw Error("cannot open a window: there is no X display (DISPLAY is not set)");
  xcb_connection_t* const connection = xcb_connect(nullptr, nullptr);
  const bool reached = xcb_connection_has_error(connection) == 0;
  xcb_disconnect(connection);
  if (!reached) throw Error("cannot open a window on display " + display + ": no X server answers");
}

void ReachCompositor() {
  const std::string display = Variable("WAYLAND_DISPLAY");
  if (display.empty()) throw Error("cannot open a window: there is no Wayland display (WAYLAND_DISPLAY is not set)");
  wl_display* const connection = wl_display_connect(nullptr);
  if (!connection) throw Error("cannot open a window on display " + display + ": no Wayland compositor answers");
  const bool taken = qn_set_native_display(kQnNativeDisplayWayland, connection);
  qn_set_native_display(kQnNativeDisplayNone, nullptr);  // The window will have a connection of its own.
  wl_display_disconnect(connection);
  if (!taken) throw Error("cannot show pictures under Wayland on display " + display);
}

// Where the toolkit looks for it.
QStringList PluginFolders() {
  QStringList folders = {qEnvironmentVariable("QT_QPA_PLATFORM_PLUGIN_PATH")};
  for (const QString& path : qEnvironmentVariable("QT_PLUGIN_PATH").split(':')) folders << path + "/platforms";
  return folders << QLibraryInfo::path(QLibraryInfo::PluginsPath) + "/platforms";
}

struct Platform {
  const char* name;
  const char* system;
  void (*reach)();
  std::vector<const char*> plugins;  // One of them has it, as the toolkit was packed.
};

const Platform kX11{"xcb", "X11", &ReachServer, {"libqxcb.so"}};
const Platform kWayland{"wayland", "Wayland", &ReachCompositor, {"libqwayland-generic.so", "libqwayland.so"}};

void FindPlugin(const Platform& platform) {
  QString problem = QString("Qt's plugin for %1 (%2) is not installed").arg(platform.system, platform.name);
  for (const QString& folder : PluginFolders()) {
    for (const char* const plugin : platform.plugins) {
      const QString file = folder + "/" + plugin;
      if (!QFile::exists(file)) continue;
      QPluginLoader loader(file);
      if (loader.load()) return;
      problem = loader.errorString();
    }
  }
  throw Error("cannot open a window: " + problem.toStdString());
}

// In the order in which they are to be tried.
std::vector<const Platform*> Platforms() {
  const std::string chosen = Variable("QT_QPA_PLATFORM");
  const std::size_t wayland = chosen.find("wayland"), x11 = chosen.find("xcb");
  if (wayland != std::string::npos && x11 == std::string::npos) return {&kWayland};
  if (wayland == std::string::npos && x11 != std::string::npos) return {&kX11};
  // What is not there at all is not worth a word.
  if (Variable("WAYLAND_DISPLAY").empty()) return {&kX11};
  const bool wayland_first = wayland != x11 ? wayland < x11 : Variable("XDG_SESSION_TYPE") == "wayland";
  if (Variable("DISPLAY").empty()) return {&kWayland};
  if (wayland_first) return {&kWayland, &kX11};
  return {&kX11, &kWayland};
}

void Use(const Platform& platform) {
  platform.reach();
  FindPlugin(platform);
  qputenv("QT_QPA_PLATFORM", platform.name);
}

}  // namespace

void PrepareDisplay() {
  const std::vector<const Platform*> platforms = Platforms();
  try {
    Use(*platforms.front());
  } catch (const Error&) {
    if (platforms.size() == 1) throw;
    Use(*platforms.back());
  }
}

}  // namespace preview
