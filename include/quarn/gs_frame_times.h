// Where the time of a device's frames went, one by one and in sum. Words and tags: quarn.h.
#ifndef QUARN_GS_FRAME_TIMES_H_
#define QUARN_GS_FRAME_TIMES_H_

// What a time of GsFrameTime is that was not measured: told apart from 0, which says that it was, and took no time.
constexpr unsigned long long kGsNotMeasured = ~0ull;

// One frame of a device's render loop, from the grid point that it stands on to the end of its sleep. All times are in
// nanoseconds; each may be kGsNotMeasured.
//
// The parts of a frame follow each other, in this order: start_delay_ns, tasks_ns, ticks_ns, filters_ns, scenes_ns,
// outputs_ns, views_ns, sleep_ns. They add up to the time until the next frame begins, but for the loop's own work
// between them, its lines in the log included. The waits lie inside of the parts, and are counted there as well.
struct GsFrameTime {
  // The frame's time, on the clock of qn_os_gettime_ns.
  unsigned long long time_ns;
  // How many periods of the loop it stood for: more than 1 when the frame after it had to skip points of the grid. One
  // that ran over by less than a period stands for 1, and shows in the next one's start_delay_ns.
  unsigned int periods;

  // How long after its time the frame began: because the frame before had run over, or the system woke the thread late.
  unsigned long long start_delay_ns;
  // The tasks that were queued with GsDevice::QueueTask during the frame before.
  unsigned long long tasks_ns;
  // The ticks of the items: GsItem::TickSource.
  unsigned long long ticks_ns;
  // The filters: GsFilter::Draw.
  unsigned long long filters_ns;
  // The scenes in use: GsScene::Draw, and GsItem::Draw for each of its items.
  unsigned long long scenes_ns;
  // The outputs: conversion and readback, and GsOutputTex::OnTexture. GsOutputRaw::OnFrame has a thread of its own.
  unsigned long long outputs_ns;
  // The views: their drawing, GsView::Draw, and handing the pictures to the thread that presents them.
  unsigned long long views_ns;
  // The sleep to the next point of the grid: what was left of the period.
  unsigned long long sleep_ns;

  // Waits for the lock of the drawing context, while a host's thread creates, changes or destroys objects.
  unsigned long long context_lock_wait_ns;
  // Waits for the driver to finish a picture that an output reads back.
  unsigned long long readback_wait_ns;
  // Waits for the window system: 0, for no frame waits for it. GsView::Counts tells of pictures that it was too slow
  // for.
  unsigned long long window_wait_ns;
};

// What the frames of a device come to since it was made: those of its render loop, and those that its host drove. Times
// are in nanoseconds, and are the sums of the fields of that name in GsFrameTime; what is not measured adds nothing.
struct GsDeviceStats {
  // The frames that were made: by the loop, or each GsDevice::OutputFrame and RunFrame of the host's.
  unsigned long long frames;
  // The periods that went by without a frame of their own: a frame that stands for three counts two. Of a host-driven
  // device, what the counts that the host gave were above 1.
  unsigned long long missed;

  // The stages.
  unsigned long long tasks_ns;
  unsigned long long ticks_ns;
  unsigned long long filters_ns;
  unsigned long long scenes_ns;
  unsigned long long outputs_ns;
  unsigned long long views_ns;
  // The sleep of the loop.
  unsigned long long sleep_ns;

  // Waits inside of the stages, and counted there as well.
  unsigned long long context_lock_wait_ns;
  unsigned long long readback_wait_ns;
};

#endif  // QUARN_GS_FRAME_TIMES_H_
