// How premultiplied colours are drawn: what the library blends with is for colours that are not.
#ifndef QUARN_EXAMPLES_STUDIO_BLENDING_H_
#define QUARN_EXAMPLES_STUDIO_BLENDING_H_

namespace studio {

// Each leaves OpenGL as it was found. Render thread, in a Draw.

// What is drawn is blended over what is there, in all four channels: the alpha is then that of the whole.
class PremultipliedBlending {
 public:
  PremultipliedBlending();
  ~PremultipliedBlending();
  PremultipliedBlending(const PremultipliedBlending&) = delete;
  PremultipliedBlending& operator=(const PremultipliedBlending&) = delete;

 private:
  int before_[4];
};

// What is drawn replaces what is there.
class Unblended {
 public:
  Unblended();
  ~Unblended();
  Unblended(const Unblended&) = delete;
  Unblended& operator=(const Unblended&) = delete;
};

// Has nothing in the target, not even black.
void ClearToTransparent();

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_BLENDING_H_
