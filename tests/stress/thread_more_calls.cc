// The rest of a stress round's calls: views, the device, the flat functions, and the thread that drives a device.
#include <chrono>
#include <cstring>
#include <string>
#include <thread>

#include "tests/stress/thread_calls.h"

namespace stress {

void Caller::AskDevice() {
  GsDevice* const device = world_->device;
  switch (Below(8)) {
    case 0: device->SetFps(200 + Below(800)); break;
    case 1:
      if (!device->SetFrameRate(300000 + Below(300000), 1001)) findings.Add("a frame rate was refused");
      break;
    case 2: {
      const GsDeviceStats stats = device->stats();
      if (stats.frames > 1u << 30) findings.Add("more frames than there can be");
      break;
    }
    case 3: {
      GsFrameTime times[16];
      const unsigned int count = device->ReadFrameTimes(times, 16);
      for (unsigned int i = 1; i < count; ++i) {
        if (times[i].time_ns <= times[i - 1].time_ns) findings.Add("frame times are out of order");
      }
      break;
    }
    case 4:
      if (!device->AddShader(Below(2) ? "one name" : "another name", glsl_src[kGsGlslRgba + 1],
                             glsl_src[kGsGlslRgba + 2])) {
        findings.Add("a program was not built");
      }
      break;
    case 5: device->frame_time(); break;
    case 6: device->SetRealtime(Below(2) != 0); break;
    default:
      if (!device->valid() || device->frame_interval() == 0) findings.Add("the device is not valid");
  }
}

void Caller::UseView() {
  if (!view_) {
    view_ = std::make_unique<View>(world_->device);
    return;
  }
  switch (Below(10)) {
    case 0:
    case 1:
      view_->gate.Open();
      view_->Attch();
      break;
    case 2:
      view_->Detach();
      view_->gate.Shut();
      break;
    case 3:
    case 4: {
      GsScene* const scene = Below(4) ? AnyScene() : nullptr;
      if (view_->scene()) LetGo(view_->scene());
      view_->SetScene(scene);
      if (scene) Hold(scene);
      break;
    }
    case 5: view_->Resize(16 + Below(16), Below(4) ? 16 : 0); break;
    case 6: view_->Move(static_cast<int>(Below(9)), 3); break;
    case 7: {
      const GsHit hit = view_->HitTest(gs_vec2(8, 8));
      if (!hit.item != (hit.handle == kGsHandleNone)) findings.Add("a hit of nothing, or nothing that was hit");
      view_->ToScene(gs_vec2(3, 3));
      break;
    }
    case 8: view_->SetClampX(static_cast<float>(Below(8))); break;
    default:
      if (view_->scene()) LetGo(view_->scene());
      view_->Detach();
      view_->gate.Shut();
      view_.reset();
  }
}

void Caller::UseFlat() {
  const unsigned long long before = qn_os_gettime_ns();
  qn_log(kQnLogDebug, "thread %d", thread_);
  QNEvent event(false);
  event.Signal();
  if (!event.Try()) findings.Add("an event that was signalled is not");
  if (quarn_version() != QUARN_VERSION) findings.Add("another version");
  if (qn_os_gettime_ns() < before) findings.Add("the clock goes backwards");
}

void Caller::CheckReferences() {
  const auto number = static_cast<std::size_t>(thread_);
  if (item_) ExpectReferences("the item of thread", number, item_scene_ ? 2 : 1, [this] { return item_->count(); });
  if (own_scene_) {
    ExpectReferences("the scene of thread", number, hold_ ? 2 : 1, [this] { return own_scene_->count(); });
  }
}

void Caller::End() {
  for (Raw& raw : raw_) {
    if (!raw.output) continue;
    EndRaw(&raw);
    raw.output.reset();
    LetGo(raw.scene);
  }
  if (texture_output_) {
    texture_output_->End();
    texture_output_->Check();
    texture_output_.reset();
    LetGo(texture_scene_);
  }
  if (view_ && view_->scene()) LetGo(view_->scene());
  view_.reset();
  if (item_scene_) item_scene_->RemoveItem(item_);
  item_ = nullptr;
  item_scene_ = nullptr;
  hold_.reset();
  own_scene_ = nullptr;
  filter_.reset();
}

void Driver::Begin() {
  if (!world_->driven.InitThreadContext()) findings.Add("no thread context");
}

void Driver::End() {
  for (Output& output : outputs_) {
    StopOutput(&output);
    if (output.output) LetGo(world_->driven_scene);
    output.output.reset();
  }
  Caller::End();
  world_->driven.UninitThreadContext();
}

void Driver::Call() {
  const unsigned int what = Below(8);
  now_ = "the driven device";
  if (what < 4) {
    RunFrame();
  } else if (what < 7) {
    UseOutput(&outputs_[Below(3)]);
  } else {
    ChangeDrivenScene();
  }
  now_ = "nothing";
}

void Driver::RunFrame() {
  const unsigned int count = Below(4);
  time_ += 2000000 * (1 + count);
  world_->driven.RunFrame(time_, count);
  if (world_->driven.frame_time() != time_) findings.Add("a driven frame has another time");
  for (Output& output : outputs_) {
    if (output.started && count > 0) ++output.made;
  }
}

void Driver::StopOutput(Output* output) {
  if (!output->output) return;
  output->output->End();
  output->started = false;
  output->output->Check();
  // What a stop has taken out of the queue is counted by the output's thread, when it comes to it.
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  GsOutputStats stats = output->output->stats();
  while (stats.delivered - stats.repeated + stats.dropped != output->made && std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    stats = output->output->stats();
  }
  if (stats.delivered - stats.repeated + stats.dropped != output->made) {
    findings.Add("made " + std::to_string(output->made) + ", delivered " + std::to_string(stats.delivered) +
                 ", repeated " + std::to_string(stats.repeated) + ", dropped " + std::to_string(stats.dropped));
  }
}

void Driver::UseOutput(Output* output) {
  constexpr GsFormat kFormats[] = {kGsFormatRGBA, kGsFormatI420, kGsFormatNV12};
  if (!output->output) {
    const bool slow = Below(3) == 0;
    output->output = std::make_unique<RawOutput>(world_->driven_scene, 8, 8, kFormats[Below(3)], &world_->driven);
    output->made = 0;
    output->output->on_frame = [slow](unsigned long long call) {
      if (slow && call % 4 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(4));
    };
    Hold(world_->driven_scene);
    return;
  }
  switch (Below(8)) {
    case 0:
    case 1:
    case 2:
    case 3:
      output->output->Begin();  // One that is started already loses what is queued.
      output->started = true;
      break;
    case 4: StopOutput(output); break;
    case 5: output->output->WaitForRoom(Below(10)); break;
    case 6:
      if (output->output->Flush(10000)) {
        const GsOutputStats stats = output->output->stats();
        if (stats.delivered - stats.repeated + stats.dropped != output->made) {
          findings.Add("after a flush something is neither delivered nor dropped");
        }
      } else if (output->started) {
        findings.Add("a flush was in vain");
      }
      break;
    default:
      StopOutput(output);
      output->output.reset();
      LetGo(world_->driven_scene);
  }
}

}  // namespace stress
