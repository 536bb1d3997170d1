// The log, the wrappers of the foundation, the main queue and the audio classes with each of their allocations failing.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <quarn/quarn.h>

#include <string>
#include <vector>

#include "tests/support/failing_allocations.h"

using testing::ElementsAre;

// The others mean something only while this sees what the library asks for.
TEST(FailingAllocationsTest, SeesWhatTheLibraryAsksFor) {
  EXPECT_GT(FailingAllocations::Run([] { const QNEvent event(false); }), 1) << "new";
  const int buffers = FailingAllocations::Run([] {
    const auto buffer = MakeRef<RefCounted<QNBuffer>>(100ul);
    EXPECT_EQ(buffer->data() == nullptr, FailingAllocations::failed());
  });
  EXPECT_EQ(buffers, 1) << "malloc";
}

TEST(FailingAllocationsTest, GrantsWhatOthersAskFor) {
  const int failures = FailingAllocations::Run([] {
    EXPECT_EQ(std::string(1000, 'x').size(), 1000u);
    const FailingAllocations::Pause pause;
    EXPECT_TRUE(QNEvent(false).Signal());
  });
  EXPECT_EQ(failures, 0);
}

TEST(FailingAllocationsTest, FailsAnAllocationAloneAndWithAllThatFollow) {
  std::vector<std::string> calls;
  const int failures = FailingAllocations::Run([&calls] {
    std::string call;
    for (int i = 0; i < 2; ++i) call += MakeRef<RefCounted<QNBuffer>>(64ul)->data() ? '+' : '-';
    calls.push_back(call);
  });
  EXPECT_EQ(failures, 2);
  EXPECT_THAT(calls, ElementsAre("-+", "--", "+-", "+-", "++", "++"));
}
