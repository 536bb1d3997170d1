// The whole public interface.
#ifndef QUARN_QUARN_H_
#define QUARN_QUARN_H_

#include <quarn/export.h>
#include <quarn/glsl_src.h>
#include <quarn/gs_constant_buffer.h>
#include <quarn/gs_context.h>
#include <quarn/gs_device.h>
#include <quarn/gs_filter.h>
#include <quarn/gs_frame.h>
#include <quarn/gs_frame_times.h>
#include <quarn/gs_item.h>
#include <quarn/gs_output.h>
#include <quarn/gs_scene.h>
#include <quarn/gs_screen_dup.h>
#include <quarn/gs_texture.h>
#include <quarn/gs_types.h>
#include <quarn/gs_view.h>
#include <quarn/qn_audio_input.h>
#include <quarn/qn_audio_mixer.h>
#include <quarn/qn_buffer.h>
#include <quarn/qn_event.h>
#include <quarn/qn_external_image.h>
#include <quarn/qn_log.h>
#include <quarn/qn_main_queue.h>
#include <quarn/qn_mutex.h>
#include <quarn/qn_os.h>
#include <quarn/ref_count.h>

#endif  // QUARN_QUARN_H_
