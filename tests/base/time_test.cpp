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

// Local time is that of the zone for the life of the object, then that of the machine again.
class LocalZone {
  public:
    explicit LocalZone(const char* zone) {
        setenv("TZ", zone, 1);
        tzset();
    }
    ~LocalZone() {
        unsetenv("TZ");
        tzset();
    }
    LocalZone(const LocalZone&) = delete;
    LocalZone& operator=(const LocalZone&) = delete;
};

constexpr time_t kNewYear2024 = 1704067200;  // 2024-01-01 00:00:00 UTC

TEST(Tick, IsCutTo32BitsByItsUsers) {
    MovedClock clock(0x1'8000'0005);
    EXPECT_EQ(pvu_get_current_tick(), 0x1'8000'0005U);
    EXPECT_EQ(CTThread::GetCurrentTick(), 0x80000005U);
    EXPECT_EQ(CTTime::GetCurrentMS(), 0x1'8000'0005);
    EXPECT_EQ(CTTime::GetCurrentTick(), -0x7FFF'FFFB);
}

TEST(Tick, AllReadingsAreOfOneClockInTheirUnits) {
    auto before = static_cast<int64_t>(pvu_get_current_tick());
    int64_t us = CTTime::GetCurrentUS();
    int64_t ns = CTTime::GetCurrentNS();
    timespec spec;
    EXPECT_EQ(CTTime::GetClockTime(CLOCK_MONOTONIC, &spec), 0);
    int64_t after = CTTime::GetCurrentMS();
    EXPECT_TRUE(before <= us / 1000 && us / 1000 <= ns / 1000000 && ns / 1000000 <= after);
    EXPECT_TRUE(ns / 1000000000 <= spec.tv_sec && spec.tv_sec <= after / 1000);
}

TEST(Time, CalendarTimesAreLocalAndFindDaylightSavingThemselves) {
    {
        LocalZone half_hours("XST-5:30");
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
    }
    LocalZone summer("EST5EDT,M3.2.0,M11.1.0");
    EXPECT_EQ(CTTime::MakeTime(2024, 7, 1, 12, 0, 0), kNewYear2024 + (182 * 24 + 16) * 3600);
    EXPECT_EQ(CTTime::MakeTime(2024, 12, 1, 12, 0, 0), kNewYear2024 + (335 * 24 + 17) * 3600);
}

TEST(Time, CurrentTimesShareOneBuffer) {
    auto now = [](const char* format) {
        char text[64];
        CTTime::FormatCurrentTime(text, sizeof text, format);
        return std::string(text);
    };
    struct {
        char* (*current)();
        const char* format;
    } cases[] = {{CTTime::CurrentDateToString, "%Y-%m-%d"},
                 {CTTime::CurrentTimeToString, "%H:%M:%S"},
                 {CTTime::CurrentDatetimeToString, "%Y-%m-%d %H:%M:%S"}};
    const char* shared = CTTime::CurrentDateToString();
    for (const auto& c : cases) {
        // Between two equal readings of the clock nothing has changed.
        std::string before;
        do {
            before = now(c.format);
            EXPECT_EQ(c.current(), shared);
        } while (now(c.format) != before);
        EXPECT_EQ(shared, before);
    }
}

TEST(Time, LeapYearsOfAStructureCountFrom1900) {
    for (int year : {2000, 2024, 1600})
        EXPECT_TRUE(CTTime::IsLeapYear(year)) << year;
    for (int year : {1900, 2023, 2100})
        EXPECT_FALSE(CTTime::IsLeapYear(year)) << year;
    tm broken_down = {};
    broken_down.tm_year = 100;  // 2000
    EXPECT_FALSE(CTTime::IsLeapYear(&broken_down));
    broken_down.tm_year = 124;
    EXPECT_TRUE(CTTime::IsLeapYear(&broken_down));
}

TEST(Time, TodayEndsAtMidnightOfUtcPlusEight) {
    struct {
        time_t of_day;
        int remaining;
        const char* printed;
    } cases[] = {{16 * 3600, 86400, "m = 0, ds = 86400, r=86400\n"},
                 {16 * 3600 - 1, 1, "m = 86399, ds = 86400, r=1\n"},
                 {0, 57600, "m = 28800, ds = 86400, r=57600\n"}};
    for (const auto& c : cases) {
        auto measure = [&] {
            EXPECT_EQ(CTTime::TodayRemainSecond(kNewYear2024 + c.of_day), c.remaining);
        };
        EXPECT_EQ(CapturedOutput(measure), c.printed);
    }
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
