// drag-host-gtk: a widget of GTK 3. The view is made where programs of that toolkit make such things, when the widget
// is realized: the server has not been told of its window then.
#include <gdk/gdkx.h>
#include <gtk/gtk.h>

#include <memory>

#include "drag_host.h"

std::unique_ptr<DragHostView> view;

void OnRealize(GtkWidget* widget, gpointer /*data*/) {
  GdkWindow* const window = gtk_widget_get_window(widget);
  if (gdk_window_ensure_native(window)) view = std::make_unique<DragHostView>(gdk_x11_window_get_xid(window));
}

void OnUnrealize(GtkWidget* /*widget*/, gpointer /*data*/) { view.reset(); }

gboolean OnButton(GtkWidget* /*widget*/, GdkEventButton* event, gpointer /*data*/) {
  Say(event->type == GDK_BUTTON_PRESS ? "press" : "release", static_cast<int>(event->x), static_cast<int>(event->y));
  if (event->type == GDK_BUTTON_RELEASE) gtk_main_quit();
  return TRUE;
}

gboolean OnMotion(GtkWidget* /*widget*/, GdkEventMotion* event, gpointer /*data*/) {
  Say("move", static_cast<int>(event->x), static_cast<int>(event->y));
  return TRUE;
}

int main(int argc, char** argv) {
  gdk_set_allowed_backends("x11");
  if (!gtk_init_check(&argc, &argv) || !StartEngine()) return 1;
  GtkWidget* const window = gtk_window_new(GTK_WINDOW_TOPLEVEL);
  gtk_window_set_title(GTK_WINDOW(window), "drag-host-gtk");
  gtk_window_set_default_size(GTK_WINDOW(window), kDragHostWidth, kDragHostHeight);
  GtkWidget* const area = gtk_drawing_area_new();
  gtk_widget_add_events(area, GDK_BUTTON_PRESS_MASK | GDK_BUTTON_RELEASE_MASK | GDK_POINTER_MOTION_MASK);
  g_signal_connect(area, "realize", G_CALLBACK(OnRealize), nullptr);
  g_signal_connect(area, "unrealize", G_CALLBACK(OnUnrealize), nullptr);
  g_signal_connect(area, "button-press-event", G_CALLBACK(OnButton), nullptr);
  g_signal_connect(area, "button-release-event", G_CALLBACK(OnButton), nullptr);
  g_signal_connect(area, "motion-notify-event", G_CALLBACK(OnMotion), nullptr);
  gtk_container_add(GTK_CONTAINER(window), area);
  gtk_widget_show_all(window);
  gtk_main();
  gtk_widget_destroy(window);
  GsDevice::DestroyDefaultDevice();
}
