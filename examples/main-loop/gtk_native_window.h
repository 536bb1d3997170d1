// What a GTK 4 program tells Quarn of its display and its windows, under Wayland or X11, whichever GTK has picked. Copy
// it into your program.
//
//   gtk_init();
//   if (!UseGtkDisplay()) ...                   // before the first device
//   ...
//   GsView view(GtkWindowInfo(widget), ...);    // while the widget is mapped
//   gtk_widget_queue_draw(widget);              // once after that: a view appears with GTK's next frame
//
// Widgets have no windows of their own: a view is put where the widget lies, with GsView::Move. A window that is hidden
// loses its surface under Wayland, so a view goes with "unmap" and comes with "map".
#ifndef QUARN_EXAMPLES_MAIN_LOOP_GTK_NATIVE_WINDOW_H_
#define QUARN_EXAMPLES_MAIN_LOOP_GTK_NATIVE_WINDOW_H_

#include <gdk/wayland/gdkwayland.h>
#include <gdk/x11/gdkx.h>
#include <gtk/gtk.h>

#include <cstdint>

#include <quarn/gs_view.h>
#include <quarn/qn_native_display.h>

// Hands GTK's connection to a Wayland compositor to Quarn, where GTK has one. Returns whether views can be shown.
inline bool UseGtkDisplay() {
  GdkDisplay* const display = gdk_display_get_default();
  if (!GDK_IS_WAYLAND_DISPLAY(display)) return GDK_IS_X11_DISPLAY(display);
  return qn_set_native_display(kQnNativeDisplayWayland, gdk_wayland_display_get_wl_display(display));
}

inline GdkSurface* GtkSurfaceOf(GtkWidget* widget) { return gtk_native_get_surface(gtk_widget_get_native(widget)); }

inline GsWindowInfo GtkWindowInfo(GtkWidget* widget) {
  GdkSurface* const surface = GtkSurfaceOf(widget);
  if (GDK_IS_WAYLAND_SURFACE(surface)) return {gdk_wayland_surface_get_wl_surface(surface)};
  return {reinterpret_cast<void*>(static_cast<std::uintptr_t>(gdk_x11_surface_get_xid(surface)))};
}

// Where a widget lies in what GtkWindowInfo answers, in GTK's units: the frame and the shadow that GTK draws are a part
// of that.
inline void GtkWidgetOrigin(GtkWidget* widget, double* x, double* y) {
  GtkNative* const native = gtk_widget_get_native(widget);
  graphene_point_t point = GRAPHENE_POINT_INIT(0, 0);
  const graphene_point_t corner = GRAPHENE_POINT_INIT(0, 0);
  if (!gtk_widget_compute_point(widget, GTK_WIDGET(native), &corner, &point)) point = corner;  // Not in a window.
  gtk_native_get_surface_transform(native, x, y);
  *x += static_cast<double>(point.x);
  *y += static_cast<double>(point.y);
}

// Pixels of a view for each of GTK's units. GTK may know less of the scale of a Wayland compositor than the view does.
inline double GtkPixelScale(const GsView& view, GtkWidget* widget) {
  GdkSurface* const surface = GtkSurfaceOf(widget);
  if (GDK_IS_WAYLAND_SURFACE(surface)) return static_cast<double>(view.WindowScale());
  return gdk_surface_get_scale_factor(surface);
}

#endif  // QUARN_EXAMPLES_MAIN_LOOP_GTK_NATIVE_WINDOW_H_
