// cookbook-picture-in-picture: a camera, small and framed, in the corner of another, as picture-in-picture.png.
#include "film.h"

// What a camera shows: here a colour with a card before it.
scoped_refptr<GsScene> MakeCamera(const gs_vec3& color) {
  const auto camera = MakeRefCounted<GsScene>(320u, 180u);
  camera->AddItem(MakeRefCounted<GsPictureItem>(gs_vec2(320, 180), color));
  camera->AddItem(MakeRefCounted<GsPictureItem>(gs_vec2(80, 60), gs_vec3(1, 1, 0)));
  return camera;
}

int main() {
  const GsDefaultDevice device(false);
  const auto programme = MakeRefCounted<GsScene>(320u, 180u);
  const auto stage = MakeRefCounted<GsPictureItem>(), inset = MakeRefCounted<GsPictureItem>();
  stage->ShowScene(MakeCamera(gs_vec3(0, 0, 1)));  // Of its scene's size.
  inset->ShowScene(MakeCamera(gs_vec3(0, 0.5f, 0)));
  inset->Resize(gs_vec2(96, 54));
  inset->MoveTo(gs_vec2(100, -52));
  const auto frame = MakeRefCounted<GsPictureItem>(gs_vec2(100, 58), gs_vec3(1, 1, 1));
  frame->MoveTo(inset->pos());
  for (const auto& item : {stage, frame, inset}) programme->AddItem(item);  // The last lies on top.
  Film still(programme, "picture-in-picture.png", "-frames:v 1");
  still.Draw(0);
  return still.Close() ? 0 : 1;
}
