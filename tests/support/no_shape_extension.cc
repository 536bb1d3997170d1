// Makes the X server one without the SHAPE extension, to code that is linked with --wrap=xcb_get_extension_data.
#include <xcb/shape.h>

extern "C" {

// The linker's names: __real_X is X, and whoever calls X gets __wrap_X.
// NOLINTBEGIN(bugprone-reserved-identifier)

const xcb_query_extension_reply_t* __real_xcb_get_extension_data(xcb_connection_t* connection,
                                                                 xcb_extension_t* extension);
const xcb_query_extension_reply_t* __wrap_xcb_get_extension_data(xcb_connection_t* connection,
                                                                 xcb_extension_t* extension);
const xcb_query_extension_reply_t* __wrap_xcb_get_extension_data(xcb_connection_t* connection,
                                                                 xcb_extension_t* extension) {
  static const xcb_query_extension_reply_t absent = {};
  return extension == &xcb_shape_id ? &absent : __real_xcb_get_extension_data(connection, extension);
}

// NOLINTEND(bugprone-reserved-identifier)

}  // extern "C"
