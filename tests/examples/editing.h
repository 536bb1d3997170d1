// Layers and gestures for tests of the editor.
#ifndef QUARN_TESTS_EXAMPLES_EDITING_H_
#define QUARN_TESTS_EXAMPLES_EDITING_H_

#include <gtest/gtest.h>

#include <vector>

#include "preview/editor.h"

namespace preview {

inline void ExpectPoint(studio::Vec point, float x, float y) {
  EXPECT_NEAR(point.x, x, 0.01f);
  EXPECT_NEAR(point.y, y, 0.01f);
}

inline studio::Layer MakeLayer(float x, float y, int width, int height, int z = 0) {
  studio::Layer layer;
  layer.pos = studio::Vec{x, y};
  layer.size = studio::Size{width, height};
  layer.z = z;
  return layer;
}

// Ids count from 1.
inline Editor MakeEditor(const std::vector<studio::Layer>& layers) {
  std::vector<Entry> entries;
  for (const studio::Layer& layer : layers)
    entries.push_back(Entry{static_cast<int>(entries.size()) + 1, layer, {640, 360}});
  return Editor(entries, {640, 360});
}

inline const studio::Layer& LayerOf(const Editor& editor, int id) {
  for (const Entry& entry : editor.entries()) {
    if (entry.id == id) return entry.layer;
  }
  static const studio::Layer none;
  ADD_FAILURE() << "no layer " << id;
  return none;
}

inline std::vector<int> Order(const Editor& editor) {
  std::vector<int> ids;
  for (const Entry& entry : editor.entries()) ids.push_back(entry.id);
  return ids;
}

inline std::vector<int> Zs(const Editor& editor) {
  std::vector<int> zs;
  for (const Entry& entry : editor.entries()) zs.push_back(entry.layer.z);
  return zs;
}

inline void Click(Editor* editor, studio::Vec point) {
  editor->MovePointer(point, {});
  editor->Press(point);
  editor->Release();
}

// Leaves the button pressed.
inline void DragTo(Editor* editor, studio::Vec from, studio::Vec to, Modifiers modifiers = {}) {
  editor->MovePointer(from, modifiers);
  editor->Press(from, modifiers);
  editor->MovePointer(to, modifiers);
}

}  // namespace preview

#endif  // QUARN_TESTS_EXAMPLES_EDITING_H_
