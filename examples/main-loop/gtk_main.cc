// main-loop-gtk: a view in a widget of GTK 4, on GLib's main loop.
#include <gtk/gtk.h>

#include <memory>

#include "demo_scene.h"
#include "glib_main_queue.h"
#include "gtk_native_window.h"

std::unique_ptr<DemoView> view;
guint timer = 0;

// Another size, or another screen.
void FitTo(GtkWidget* widget) {
  double x = 0, y = 0;
  GtkWidgetOrigin(widget, &x, &y);
  view->Fit(x, y, gtk_widget_get_width(widget), gtk_widget_get_height(widget), GtkPixelScale(*view, widget));
}

void OnFrame(GdkFrameClock* /*clock*/, gpointer widget) { FitTo(static_cast<GtkWidget*>(widget)); }

gboolean OnTimer(gpointer widget) {
  FitTo(static_cast<GtkWidget*>(widget));
  return G_SOURCE_CONTINUE;
}

void OnMap(GtkWidget* widget, gpointer /*data*/) {
  view = std::make_unique<DemoView>(GtkWindowInfo(widget), 0, 0);
  g_signal_connect(gtk_widget_get_frame_clock(widget), "after-paint", G_CALLBACK(OnFrame), widget);
  timer = g_timeout_add(100, &OnTimer, widget);  // A compositor tells of its scale when it likes.
  gtk_widget_queue_draw(widget);
}

void OnUnmap(GtkWidget* widget, gpointer /*data*/) {
  g_source_remove(timer);
  g_signal_handlers_disconnect_by_data(gtk_widget_get_frame_clock(widget), widget);
  view.reset();
}

gboolean OnClose(GtkWindow* /*window*/, gpointer loop) {
  g_main_loop_quit(static_cast<GMainLoop*>(loop));
  return FALSE;
}

int main() {
  if (!gtk_init_check()) return 1;
  if (!UseGtkDisplay()) return g_printerr("Views cannot be shown here\n"), 1;
  const GsDefaultDevice device;
  if (!device.valid()) return 1;
  const GLibMainQueue queue;
  GMainLoop* const loop = g_main_loop_new(nullptr, FALSE);
  GtkWidget* const window = gtk_window_new();
  gtk_window_set_title(GTK_WINDOW(window), "main-loop-gtk");
  gtk_window_set_default_size(GTK_WINDOW(window), 640, 360);
  GtkWidget* const area = gtk_drawing_area_new();
  gtk_window_set_child(GTK_WINDOW(window), area);
  // After GTK's own handlers, which make the surface.
  g_signal_connect_after(area, "map", G_CALLBACK(OnMap), nullptr);
  g_signal_connect(area, "unmap", G_CALLBACK(OnUnmap), nullptr);
  g_signal_connect(window, "close-request", G_CALLBACK(OnClose), loop);
  gtk_window_present(GTK_WINDOW(window));
  g_main_loop_run(loop);  // Until the window is closed.
  view.reset();
  g_main_loop_unref(loop);
}
