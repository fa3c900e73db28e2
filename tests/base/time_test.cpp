#include "base/pvu_time.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "base/pvu_random.h"
#include "base/pvu_thread.h"
#include "base/pvu_tick.h"
#include "tests/support/captured_output.h"
#include "tests/support/moved_clock.h"

namespace {

void SetZone(const char* zone) {
    setenv("TZ", zone, 1);
    tzset();
}

constexpr time_t kNewYear2024 = 1704067200;  // 2024-01-01 00:00:00 UTC

TEST(Tick, IsCutTo32BitsByItsUsers) {
    MovedClock clock(0x1'8000'0005);
    EXPECT_EQ(pvu_get_current_tick(), 0x1'8000'0005U);
    EXPECT_EQ(CTThread::GetCurrentTick(), 0x80000005U);
    EXPECT_EQ(CTTime::GetCurrentMS(), 0x1'8000'0005);
    EXPECT_EQ(CTTime::GetCurrentTick(), -0x7FFF'FFFB);
}

TEST(Tick, EveryReadingIsOfOneClock) {
    auto before = static_cast<int64_t>(pvu_get_current_tick());
    int64_t us = CTTime::GetCurrentUS();
    int64_t ns = CTTime::GetCurrentNS();
    int64_t after = CTTime::GetCurrentMS();
    EXPECT_TRUE(before <= us / 1000 && us / 1000 <= ns / 1000000 && ns / 1000000 <= after);
}

TEST(Time, CalendarTimesAreLocalAndFindDaylightSavingThemselves) {
    SetZone("XST-5:30");
    EXPECT_EQ(CTTime::MakeTime(2024, 1, 1), kNewYear2024 - 19800);
    EXPECT_EQ(CTTime::MakeTime(2024, 1, 1, 5, 30, 7), kNewYear2024 + 7);
    time_t t = kNewYear2024;
    EXPECT_STREQ(CTTime::AscTime(&t), "Mon Jan  1 05:30:00 2024\n");
    char text[32];
    EXPECT_EQ(CTTime::FormatTime(text, sizeof text, "%Y-%m-%d %H:%M", &t), 16U);
    EXPECT_STREQ(text, "2024-01-01 05:30");
    EXPECT_EQ(CTTime::MakeTime(CTTime::LocalTime(&t)), t);
    t = INT64_MAX;
    EXPECT_EQ(CTTime::AscTime(&t), nullptr);

    SetZone("EST5EDT,M3.2.0,M11.1.0");
    EXPECT_EQ(CTTime::MakeTime(2024, 7, 1, 12, 0, 0), kNewYear2024 + (182 * 24 + 16) * 3600);
    EXPECT_EQ(CTTime::MakeTime(2024, 12, 1, 12, 0, 0), kNewYear2024 + (335 * 24 + 17) * 3600);
    unsetenv("TZ");
    tzset();
}

TEST(Time, CurrentTimesShareOneBuffer) {
    time_t before = CTTime::GetUtcTime();
    const char* shared = CTTime::CurrentDatetimeToString();
    tm now = {};
    now.tm_isdst = -1;
    ASSERT_NE(strptime(shared, "%Y-%m-%d %H:%M:%S", &now), nullptr);
    time_t read_back = mktime(&now);
    time_t yesterday = CTTime::Yesterday() + 86400;
    time_t tomorrow = CTTime::Tomorrow() - 86400;
    EXPECT_TRUE(before <= read_back && read_back <= yesterday && yesterday <= tomorrow &&
                tomorrow <= CTTime::GetUtcTime());
    EXPECT_EQ(CTTime::CurrentTimeToString(), shared);
    EXPECT_EQ(std::string(shared).find_first_not_of("0123456789:"), std::string::npos);
    EXPECT_EQ(CTTime::CurrentDateToString(), shared);
    EXPECT_EQ(std::string(shared).find_first_not_of("0123456789-"), std::string::npos);
}

TEST(Time, LeapYearsOfAStructureCountFrom1900) {
    for (int year : {2000, 2024, 1900, 2023}) {
        tm broken_down = {};
        broken_down.tm_year = year - 1900;
        EXPECT_EQ(CTTime::IsLeapYear(year), year == 2000 || year == 2024) << year;
        EXPECT_EQ(CTTime::IsLeapYear(&broken_down), year == 1900 || year == 2024) << year;
    }
}

TEST(Time, TodayEndsAtMidnightOfUtcPlusEight) {
    auto measure = [] {
        EXPECT_EQ(CTTime::TodayRemainSecond(kNewYear2024 + 16 * 3600), 86400);
        EXPECT_EQ(CTTime::TodayRemainSecond(kNewYear2024 + 16 * 3600 - 1), 1);
        EXPECT_EQ(CTTime::TodayRemainSecond(kNewYear2024), 57600);
    };
    EXPECT_EQ(CapturedOutput(measure),
              "m = 0, ds = 86400, r=86400\n"
              "m = 86399, ds = 86400, r=1\n"
              "m = 28800, ds = 86400, r=57600\n");
}

TEST(Random, ValuesComeFromTheStandardGeneratorLowHalfFirst) {
    srand(7);
    auto first = static_cast<uint32_t>(rand());
    auto second = static_cast<uint32_t>(rand());
    srand(7);
    EXPECT_EQ(pvu_rand64(), static_cast<uint64_t>(second) << 32 | first);
    srand(7);
    EXPECT_EQ(pvu_rand16(), static_cast<uint16_t>(first));
    // Reaching the one object again does not seed again.
    EXPECT_EQ(CTRandom::GetInstance()->Rand32(), second);
}

}  // namespace
