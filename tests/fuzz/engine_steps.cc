// The steps of the host with scenes, items, filters, outputs and views, and what it draws.
#include <algorithm>
#include <cstdint>

#include "tests/fuzz/engine_host.h"
#include "tests/fuzz/fuzz_check.h"

namespace fuzz {

void EngineHost::StepOfScene(unsigned int what) {
  auto& scene = Pick(scenes_);
  if (what <= 1) {
    const Sides sides = PickSides();
    GsDevice* const device = PickDevice();
    Keep(scene);
    scene = scoped_refptr<FuzzScene>::Adopt(new FuzzScene(this, sides.width, sides.height, device));
    return;
  }
  if (what == 2) {
    Keep(scene);
    scene = nullptr;
    return;
  }
  if (what == 3) {
    GsSceneHold& hold = Pick(holds_);
    Keep(scoped_refptr<GsScene>(hold.scene()));
    hold = GsSceneHold(scene);
    return;
  }
  if (!scene) return;
  const scoped_refptr<FuzzScene> one = scene;  // Whatever callbacks do.
  Keep(one);
  switch (what) {
    case 4:
    case 5:
    case 6:
    case 7: one->AddItem(PickItem()); break;
    case 8:
    case 9: {
      const scoped_refptr<GsItem> item = PickItem();
      Keep(item);
      one->RemoveItem(item);
      break;
    }
    case 10: one->OrderItem(); break;
    case 11: {
      struct Walk {
        EngineHost* host;
        unsigned int seen;
      } walk{this, 0};
      const unsigned int count = one->item_count();
      const bool quiet = input_->Flag();
      one->EnumItems(
          [](GsItem* item, void* user) {
            auto* const its = static_cast<Walk*>(user);
            its->host->Keep(scoped_refptr<GsItem>(item));
            ++its->seen;
            if (its->host->input_) its->host->InCallback(1);
            return true;
          },
          &walk);
      if (quiet && !in_callback()) FUZZ_CHECK(walk.seen >= std::min(count, 1u));
      break;
    }
    case 12: one->Attach(); break;
    case 13: one->Detach(); break;
    case 14: one->EnumItems(nullptr, nullptr); break;
    default: FUZZ_CHECK((one->width() == 0) == (one->height() == 0)); break;
  }
}

void EngineHost::StepOfItem(unsigned int what) {
  if (what <= 1) {
    auto& item = Pick(items_);
    GsDevice* const device = PickDevice();
    Keep(item);
    item = scoped_refptr<FuzzItem>::Adopt(new FuzzItem(this, device));
    return;
  }
  if (what == 2) {
    auto& item = Pick(items_);
    Keep(item);
    item = nullptr;
    return;
  }
  const scoped_refptr<GsItem> item = PickItem();
  if (!item) return;
  Keep(item);
  switch (what) {
    case 3: item->MoveTo(PickVec()); break;
    case 4: item->Resize(PickVec()); break;
    case 5: item->SetRotation(input_->Float()); break;
    case 6: {
      const int z = input_->Signed();
      item->SetZ(z);
      FUZZ_CHECK(item->z() == z);
      break;
    }
    case 7: item->SetVisible(input_->Byte() < 192); break;
    case 8: item->SetHovered(input_->Flag()); break;
    case 9: item->SetSelected(input_->Flag()); break;
    case 10: item->Attach(); break;
    case 11: item->Detach(); break;
    case 12: item->SetScene(nullptr); break;
    default: StepOfPicture(what - 8); break;
  }
}

void EngineHost::StepOfPicture(unsigned int what) {
  auto& slot = Pick(pictures_);
  GsDevice* const device = what <= 3 ? PickDevice() : nullptr;
  if (what <= 3) {
    Keep(slot);
    slot = nullptr;
  }
  if (what <= 1) {
    slot = scoped_refptr<FuzzPictureItem>::Adopt(new FuzzPictureItem(device));
  } else if (what == 2) {
    const gs_vec2 size = PickVec();
    const float red = input_->Float();
    slot = scoped_refptr<FuzzPictureItem>::Adopt(new FuzzPictureItem(size, gs_vec3(red, 0.5f, 1.0f), device));
  } else if (what == 3) {
    const unsigned char pixels[4 * 4] = {};
    const Sides sides{input_->UpTo(2), input_->UpTo(2)};
    slot = scoped_refptr<FuzzPictureItem>::Adopt(new FuzzPictureItem(pixels, 8u, sides.width, sides.height, device));
  }
  const scoped_refptr<FuzzPictureItem> item = slot;
  if (!item) return;
  Keep(item);
  switch (what) {
    case 4:
    case 5:
      Keep(scoped_refptr<GsScene>(item->shown_scene()));
      item->SetTexture(PickTexture());
      break;
    case 6:
    case 7:
    case 8: {
      const scoped_refptr<FuzzScene> scene = Pick(scenes_);
      Keep(scoped_refptr<GsScene>(item->shown_scene()));
      item->ShowScene(scene);
      FUZZ_CHECK(item->shown_scene() == scene);
      break;
    }
    case 9: item->SetShader(PickName()); break;
    case 10: {
      const float opacity = input_->Float();
      item->SetOpacity(opacity);
      FUZZ_CHECK(item->opacity() >= 0 && item->opacity() <= 1);
      break;
    }
    case 11: item->SetFlip(input_->Flag(), input_->Flag()); break;
    case 12: {
      const gs_vec2 corner = PickVec();
      item->SetCrop(corner, PickVec());
      break;
    }
    case 13: {
      const unsigned char pixels[4 * 4] = {};
      item->Update(pixels, 8, input_->UpTo(2), input_->UpTo(2));
      break;
    }
    case 14: {
      const scoped_refptr<GsScene> before(item->shown_scene());
      Keep(before);
      item->SetTexture(nullptr);
      FUZZ_CHECK(!item->shown_scene());
      break;
    }
    default: break;
  }
}

void EngineHost::StepOfFilter(unsigned int what) {
  auto& filter = Pick(filters_);
  if (what <= 1) {
    if (in_callback()) return;
    const Sides sides = PickSides();
    GsDevice* const device = PickDevice();
    filter.reset();
    filter = std::make_unique<FuzzFilter>(this, sides.width, sides.height, device);
    return;
  }
  if (what == 2 && !in_callback()) filter.reset();
  if (!filter) return;
  if (what < 6) {
    filter->attached = true;
    filter->Attach();
  } else if (what < 9) {
    filter->Detach();
    filter->attached = false;
  } else if (what < 12) {
    // A texture that is bound must stay.
    if (std::find(bound_textures_.begin(), bound_textures_.end(), filter->texture()) != bound_textures_.end()) return;
    const Sides sides = PickSides();
    filter->Resize(sides.width, sides.height);
  } else {
    FUZZ_CHECK(!filter->valid() || filter->texture());
  }
}

void EngineHost::StepOfOutput(unsigned int what) {
  if (what % 2 == 0) {
    auto& output = Pick(raws_);
    if (what <= 2) {
      if (in_callback()) return;
      const scoped_refptr<FuzzScene> scene = Pick(scenes_);
      const Sides sides = PickPictureSides();
      const auto format = static_cast<GsFormat>(input_->Byte() < 250 ? input_->UpTo(6) : input_->Unsigned());
      GsDevice* const device = PickDevice();
      output = nullptr;
      output = std::make_unique<FuzzRawOutput>(scene, sides.width, sides.height, format, device);
    } else if (what == 4) {
      if (!in_callback()) output = nullptr;
    } else if (!output) {
      return;
    } else if (what <= 8) {
      output->started = true;
      output->Start();
    } else if (what == 10) {
      output->Stop();
      output->started = false;
    } else if (what == 12) {
      output->WaitForRoom(input_->UpTo(1));
    } else {
      output->Flush(input_->UpTo(1));
    }
    return;
  }
  auto& output = Pick(texture_outputs_);
  if (what <= 3) {
    if (in_callback()) return;
    const scoped_refptr<FuzzScene> scene = Pick(scenes_);
    const Sides sides = PickSides();
    GsDevice* const device = PickDevice();
    output = nullptr;
    output = std::make_unique<FuzzTextureOutput>(this, scene, sides.width, sides.height, device);
  } else if (what == 5) {
    if (!in_callback()) output = nullptr;
  } else if (output && what <= 9) {
    output->started = true;
    FUZZ_CHECK(output->Start());
  } else if (output && what <= 13) {
    output->Stop();
    output->started = false;
  } else if (output) {
    const GsOutputStats stats = output->stats();
    FUZZ_CHECK(stats.repeated <= stats.delivered);
  }
}

void EngineHost::StepOfView(unsigned int what) {
  auto& view = Pick(views_);
  if (what <= 1) {
    if (in_callback()) return;
    const Sides sides = PickSides();
    GsDevice* const device = PickDevice();
    GsWindowInfo info;
    view.reset();
    view = std::make_unique<FuzzView>(this, info, sides.width, sides.height, device);
    return;
  }
  if (what == 2 && !in_callback()) view.reset();
  if (!view) return;
  switch (what) {
    case 3:
    case 4:
      view->attached = true;
      view->Attch();
      break;
    case 5:
      view->Detach();
      view->attached = false;
      break;
    case 6:
    case 7:
    case 8: {
      Keep(view->scene_ptr());
      view->SetScene(Pick(scenes_));
      break;
    }
    case 9: {
      const Sides sides = PickSides();
      view->Resize(sides.width, sides.height);
      break;
    }
    case 10: {
      const GsHit hit = view->HitTest(PickVec());
      FUZZ_CHECK(!hit.item == (hit.handle == kGsHandleNone));
      Keep(hit.item);
      break;
    }
    case 11: view->SetClampX(input_->Float()), view->SetClampY(input_->Float()); break;
    case 12: view->Move(input_->Signed(), input_->Signed()); break;
    case 13: view->SetBackgroundColor(input_->Float(), 0, 1, input_->Float()); break;
    case 14: {
      const gs_vec2 point = PickVec();
      view->ToScene(view->ToView(point));
      view->WindowScale();
      break;
    }
    default: view->SetWindow(GsWindowInfo()); break;
  }
}

// Outside of a callback these change nothing.
void EngineHost::StepOfDrawing(unsigned int what) {
  GsDevice* const picked = PickDevice();
  GsContext context(picked ? picked : GsDevice::DefaultDevice());
  switch (what) {
    case 0: context.SetViewport(input_->Unsigned(), input_->Unsigned(), input_->Unsigned(), input_->Unsigned()); break;
    case 1: context.BindShader(PickName()); break;
    case 2: context.UnbindShader(); break;
    case 3: context.DrawRect(gs_transform(PickVec(), PickVec(), input_->Float())); break;
    case 4: context.DrawRect(gs_transform(PickVec(), PickVec(), input_->Float()), PickVec()); break;
    case 5: context.DrawVertexArray(nullptr, 0, nullptr, 0, gs_transform(PickVec(), PickVec()), PickVec()); break;
    case 6: {
      const std::shared_ptr<GsConstantBuffer> buffer = Pick(buffers_);
      if (!buffer || std::count(bound_buffers_.begin(), bound_buffers_.end(), buffer.get()) > 0) return;
      bound_buffers_.push_back(buffer.get());
      buffer->Bind(input_->Byte() < 224 ? static_cast<int>(input_->UpTo(11)) : input_->Signed());
      InCallback(3);
      buffer->Unbind();
      bound_buffers_.pop_back();
      break;
    }
    default: {
      const std::shared_ptr<GsTexture> first = PickTexture();
      const std::shared_ptr<GsTexture> second = what < 12 ? nullptr : PickTexture();
      FuzzFilter* const filter = what < 14 ? nullptr : Pick(filters_).get();
      GsTexture* const third = filter ? filter->texture() : nullptr;
      bound_textures_.push_back(third);
      const bool bound = context.BindShader("rgba");
      {
        const GsTextureBinder binder(first.get(), second.get(), third, first.get());
        InCallback(3);
        context.DrawRect(gs_transform(PickVec(), PickVec(), input_->Float()));
      }
      if (bound) context.UnbindShader();
      bound_textures_.pop_back();
      break;
    }
  }
}

}  // namespace fuzz
