#include "preview/display.h"

#include <xcb/xcb.h>

#include <cstdlib>
#include <string>

#include <QFile>
#include <QLibraryInfo>
#include <QPluginLoader>
#include <QStringList>

#include "studio/error.h"

namespace preview {
namespace {

using studio::Error;

void ReachServer() {
  const char* const display = std::getenv("DISPLAY");
  if (!display || !*display) throw Error("cannot open a window: there is no X display (DISPLAY is not set)");
  xcb_connection_t* const connection = xcb_connect(nullptr, nullptr);
  const bool reached = xcb_connection_has_error(connection) == 0;
  xcb_disconnect(connection);
  if (!reached) throw Error("cannot open a window on display " + std::string(display) + ": no X server answers");
}

// Where the toolkit looks for it.
QStringList PluginFolders() {
  QStringList folders = {qEnvironmentVariable("QT_QPA_PLATFORM_PLUGIN_PATH")};
  for (const QString& path : qEnvironmentVariable("QT_PLUGIN_PATH").split(':')) folders << path + "/platforms";
  return folders << QLibraryInfo::path(QLibraryInfo::PluginsPath) + "/platforms";
}

void FindPlugin() {
  QString problem = "Qt's plugin for X11 (xcb) is not installed";
  for (const QString& folder : PluginFolders()) {
    const QString file = folder + "/libqxcb.so";
    if (!QFile::exists(file)) continue;
    QPluginLoader loader(file);
    if (loader.load()) return;
    problem = loader.errorString();
  }
  throw Error("cannot open a window: " + problem.toStdString());
}

}  // namespace

void PrepareDisplay() {
  ReachServer();
  FindPlugin();
  qputenv("QT_QPA_PLATFORM", "xcb");
}

}  // namespace preview
