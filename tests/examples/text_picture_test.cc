// Texts of any length and size: they are set, or refused where they would be too large.
#include "studio/text_picture.h"

#include <gtest/gtest.h>

#include <string>

#include "studio/error.h"
#include "studio/log.h"

namespace studio {
namespace {

std::string SizeOf(std::size_t letters, float height, const std::string& letter) {
  Layer layer;
  layer.kind = LayerKind::kText;
  layer.letter_px = height;
  while (letters-- > 0) layer.text += letter;
  try {
    const Size size = TextSize(layer);
    return std::to_string(size.width) + "x" + std::to_string(size.height);
  } catch (const UsageError& error) {
    return error.what();
  }
}

// However many, and however large: 32 bits have no room for the 1024ths of a pixel of some of these.
TEST(TextPictureTest, NoTextIsTooLargeToBeRefused) {
  for (std::size_t letters = 100; letters <= 10000; letters += 450) {
    for (const char* const letter : {"W", "W\n", "m "}) {
      if (letters * std::string(letter).size() > 10000) continue;
      EXPECT_NE(SizeOf(letters, 2000, letter).find("each side must be at most 8192"), std::string::npos) << letters;
    }
  }
  EXPECT_EQ(SizeOf(3000, 1000, "\xcc\x81").find("each side"), std::string::npos);  // Accents, all on one place.
}

TEST(TextPictureTest, WhatIsPrintedTellsNoTerminalWhatToDo) {
  EXPECT_EQ(Printable("cannot open \x1b[31ma\rb\x7f.png: \xc3\xa4\xc2\x9b"
                      "1m\n"),
            "cannot open ?[31ma?b?.png: \xc3\xa4?1m\n");
  EXPECT_EQ(Printable("\xc2"), "\xc2");
  EXPECT_EQ(Printable(""), "");
}

}  // namespace
}  // namespace studio
