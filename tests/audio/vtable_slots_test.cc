// The order of the virtual operations of the audio interfaces: it is their binary interface and must stay.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <type_traits>

#include <quarn/qn_audio_mixer.h>

#include "audio/audio_mixer.h"

#if defined(__x86_64__)

namespace {

// The slot of a virtual operation. Pointers to virtual members hold 1 + the offset in the table (the Itanium C++ ABI);
// a destructor has two entries there.
template <class Method>
std::ptrdiff_t Slot(Method method) {
  std::ptrdiff_t offset_and_one = 0;
  static_assert(sizeof(method) >= sizeof(offset_and_one), "not an Itanium member pointer");
  std::memcpy(&offset_and_one, &method, sizeof(offset_and_one));
  return (offset_and_one - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
}

TEST(AudioVtableSlotsTest, CallbacksHaveTheirDestructorFirst) {
  EXPECT_EQ(Slot(&AudioMixer::Callback::OnMixSamples), 2);
  EXPECT_EQ(Slot(&AudioMixer::Callback::OnMixPeak), 3);
  EXPECT_EQ(Slot(&QnAudioMixer::Callback::OnMixSamples), 2);
  EXPECT_EQ(Slot(&QnAudioMixer::Callback::OnMixPeak), 3);
}

TEST(AudioVtableSlotsTest, InputsAreCountedThroughTheirFirstTwo) {
  EXPECT_EQ(Slot(&RefCountInterface::AddRef), 0);
  EXPECT_EQ(Slot(&RefCountInterface::Release), 1);
  EXPECT_EQ(Slot(&QnAudioInput::AddRef), 0);
  EXPECT_EQ(Slot(&QnAudioInput::Release), 1);
}

static_assert(!std::is_polymorphic_v<QnAudioMixer>);

TEST(AudioVtableSlotsTest, MixerIsARunable) { EXPECT_EQ(Slot(&AudioMixer::Run), 2); }

#endif  // defined(__x86_64__)

}  // namespace
