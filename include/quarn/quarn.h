// The whole public interface, and the words that its comments use.
//
// Quarn makes pictures out of pictures on the GPU, frame by frame, and mixes sound on the same clock. It has two
// halves, which know nothing of each other but the clock (qn_os.h):
//
// - The engine. A host puts GsItems into GsScenes: GsPictureItems, or what it derives, which draws by itself
//   (GsContext, GsTexture, GsConstantBuffer, GsFilter). A GsDevice composites the scenes on a steady grid of frames,
//   hands the pictures to outputs (GsOutputRaw, GsOutputTex) and shows them in views (GsView, GsViewImpl).
// - The mixer. A QnAudioMixer adds up the sound of QnAudioInputs, in blocks of 50 ms.
//
// Nothing is thrown across the interface. What cannot be done says so in the log (qn_log.h) and answers false, null or
// 0; so does what finds no memory.
//
// WORDS, which the other headers use without saying again what they mean:
//
// - The default device is the process's own, GsDevice::DefaultDevice. A null `device` means the default device,
//   wherever a class does not say otherwise.
// - An inert object has nothing behind it: its operations do nothing and answer 0, null or false, where they do not say
//   otherwise (an inert output starts, for one). Every object is inert that finds no device, no memory, or arguments
//   that it cannot be made with. An object that is not inert is valid, until its device goes: valid() tells.
// - A frame is one round of the engine. Its stages are, in this order: the items are ticked, the filters run, the
//   scenes are drawn and the pictures handed to the outputs, the views are drawn; after a sleep the queued tasks run.
//   The period is the time from one frame to the next, one second divided by the frame rate, and the frames lie on a
//   grid of whole periods: points of it that a slow frame has missed are skipped.
// - A scene is in use while an output, a view or a GsSceneHold holds it, or a GsPictureItem that shows it. Only then is
//   it drawn, and are its items ticked.
// - The render thread is the one that the frames run on: a thread of the library's own where the device was started.
// - A host-driven device was not started: the host makes the frames itself (GsDevice::RunFrame, or stage by stage),
//   from one thread, which is then the render thread (GsDevice::InitThreadContext).
// - A frame callback is code of the host's that a stage runs: Draw of a scene, an item, a filter or a view, TickSource,
//   OnTexture, a queued task.
//
// TAGS, which end a comment, each on a line of its own:
//
// - "Thread:" tells which thread may call, or calls. "any": each thread at any time, also several at once.
//   "caller-serialised": any thread, one call at a time. "render": the render thread only.
// - "Callback safety:" tells what a host may do in a callback. "frame callback": it runs with the engine's lock held,
//   so it must not wait for a thread that creates, attaches or detaches objects; it must not destroy a scene (by its
//   last reference either), a filter, a view or the device; it must not start, stop or destroy a raw output whose
//   OnFrame calls into the engine; and GL of the host's own leaves the state as it found it: pixel store, bindings,
//   current context. It binds what it draws with itself: in a Draw, a program and textures that were given back may
//   stay bound until something else is, until a rectangle that would read them is drawn, or until the scene, filter or
//   view has been drawn.
// - "Blocks:" tells what a call waits for; without it, and with "no", the call waits for nothing of length. "stage":
//   for the running stage of a frame, whose lock the call takes.
// - "Ownership:" tells who owns what is handed over, and how long it must last.
//
// The tags of a class hold for every member that does not say otherwise, those of a virtual function for what overrides
// it.
//
// THREADS, and what runs on them:
//
//   the host's     what is tagged "any" or "caller-serialised"
//   render         frame callbacks; the `post` of qn_set_main_queue; the stages of a host-driven device
//   output         one an output: OnFrame
//   mixer          one a started mixer: OnMixSamples, OnMixPeak (of a driven one, on the host's, in MixBlock)
//   main queue     the second stage of a view's resize: the host's main loop, or else a thread of the library's
//   window         presents the pictures of views; runs nothing of the host's but the log handler
//   wayland        listens to the connection of qn_set_native_display while there are views; runs nothing of the host's
//   any of these   the log handler
//
// LIFETIMES:
//
// - Set the log's handler, the main queue and, under Wayland, the native display first, then make the device: the
//   default one, once for the process (GsDevice::CreateDefaultDevice), and others where they are wanted. Objects of
//   different devices cannot be mixed: a scene's items, outputs, views, textures and constant buffers belong to its
//   device.
// - Make scenes, items and the rest on any thread, while frames run. GL work done on a host thread (creating and
//   updating objects) leaves current on that thread what was current before: nothing, or a GL context of the host's
//   own, made through EGL or GLX.
// - Shut down in this order: stop and destroy outputs, destroy views, release scenes, items, filters, textures and
//   constant buffers, then destroy the device. Objects that outlive their device are named in one error line; their
//   calls then do nothing and answer as without a device, but for sizes, which stay, and they may be destroyed at any
//   time.
// - In a process that is forked from the host, the engine of the parent is not to be used: there a device, and what
//   belongs to it, may be destroyed, and leaves the parent's alone.
// - A process that ends while its device draws stops drawing first, and waits a quarter of a second at most for
//   the last frame. The library itself stays loaded until then, also where a plugin that brought it goes.
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
#include <quarn/gs_picture_item.h>
#include <quarn/gs_scene.h>
#include <quarn/gs_screen_dup.h>
#include <quarn/gs_texture.h>
#include <quarn/gs_types.h>
#include <quarn/gs_video_texture.h>
#include <quarn/gs_view.h>
#include <quarn/qn_audio_input.h>
#include <quarn/qn_audio_mixer.h>
#include <quarn/qn_buffer.h>
#include <quarn/qn_event.h>
#include <quarn/qn_external_image.h>
#include <quarn/qn_log.h>
#include <quarn/qn_main_queue.h>
#include <quarn/qn_mutex.h>
#include <quarn/qn_native_display.h>
#include <quarn/qn_os.h>
#include <quarn/ref_count.h>
#include <quarn/version.h>

#endif  // QUARN_QUARN_H_
