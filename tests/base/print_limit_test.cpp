#include "base/pvu_print_limit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "tests/support/captured_output.h"
#include "tests/support/moved_clock.h"

namespace {

constexpr int kBurst = 1000;

class PrintLimit : public testing::Test {
  protected:
    // How many of so many texts are printed.
    int Printed(int texts, const std::string& text) {
        std::string printed = CapturedOutput([&] {
            for (int i = 0; i < texts; ++i)
                limit.Print(text.c_str(), from);
        });
        EXPECT_EQ(printed.size() % text.size(), 0u) << "texts are printed whole";
        return static_cast<int>(printed.size() / text.size());
    }

    MovedClock clock{0xFFFFFFF0};  // its low 32 bits wrap on the way
    CTSockAddr from{"10.0.0.9", 999};
    CTPrintLimit limit;
};

TEST_F(PrintLimit, ABurstIsPrintedAndThenAHundredLinesASecond) {
    EXPECT_EQ(Printed(2000, "one\n"), kBurst);
    clock.Advance(9);
    EXPECT_EQ(Printed(5, "one\n"), 0);
    clock.Advance(1);
    EXPECT_EQ(Printed(5, "one\n"), 1);
    clock.Advance(1000);
    EXPECT_EQ(Printed(500, "one\n"), 100);
    clock.Advance(1000);
    EXPECT_EQ(Printed(500, "one\ntwo\nthree\n"), 33);
    clock.Advance(3600 * 1000);
    EXPECT_EQ(Printed(2000, "one\n"), kBurst) << "no more than a burst is saved";
    EXPECT_EQ(limit.GetLeftOut(), 1000u + 5 + 4 + 400 + 3 * 467 + 1000);
}

TEST_F(PrintLimit, WhatIsLeftOutIsMentionedOnceASecond) {
    EXPECT_EQ(CapturedOutput([&] { limit.Mention(true); }), "") << "nothing was left out";
    Printed(1005, "one\n");
    EXPECT_EQ(CapturedOutput([&] { limit.Mention(); }),
              "5 lines left out, caused by others than the central router, last from "
              "10.0.0.9:999\n");
    Printed(2, "one\n");
    clock.Advance(999);
    EXPECT_EQ(CapturedOutput([&] { limit.Mention(); }), "");
    clock.Advance(1);
    EXPECT_EQ(CapturedOutput([&] { limit.Mention(); }).substr(0, 17), "2 lines left out,");
    Printed(150, "one\n");
    EXPECT_EQ(CapturedOutput([&] { limit.Mention(true); }).substr(0, 18), "50 lines left out,")
        << "the end waits for nothing";
    EXPECT_EQ(CapturedOutput([&] { limit.Mention(true); }), "");
}

}  // namespace
