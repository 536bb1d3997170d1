// cookbook-cross-fade: one scene gives way to another within a second, as cross-fade.mp4.
#include "film.h"

scoped_refptr<GsScene> MakeScene(const gs_vec3& color) {
  const auto scene = MakeRefCounted<GsScene>(320u, 180u);
  scene->AddItem(MakeRefCounted<GsPictureItem>(gs_vec2(320, 180), color));
  return scene;
}

int main() {
  const GsDefaultDevice device(false);
  const auto programme = MakeRefCounted<GsScene>(320u, 180u);
  const auto before = MakeRefCounted<GsPictureItem>(), after = MakeRefCounted<GsPictureItem>();
  programme->AddItem(before);
  programme->AddItem(after);
  before->ShowScene(MakeScene(gs_vec3(1, 0, 0)));
  after->ShowScene(MakeScene(gs_vec3(0, 0, 1)));
  Film film(programme, "cross-fade.mp4");
  for (unsigned int n = 0; n <= 30; ++n) {
    after->SetOpacity(static_cast<float>(n) / 30);
    film.Draw(n);
  }
  before->ShowScene(nullptr);  // Nobody sees it any more, so it is not drawn any more.
  film.Draw(31);
  return film.Close() ? 0 : 1;
}
