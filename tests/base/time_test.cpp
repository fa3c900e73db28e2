#include "base/pvu_time.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
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
    clock.Set(0xFFFF'FFFF);
    uint32_t before = CTThread::GetCurrentTick();
    clock.Advance(200);
    EXPECT_EQ(CTThread::GetCurrentTick() - before, 200U);
}

TEST(Time, SleepsAtLeastTheirTime) {
    auto slept_ms = [](void (*sleep)(int), int amount) {
        int64_t before = CTTime::GetCurrentNS();
        sleep(amount);
        return (CTTime::GetCurrentNS() - before) / 1000000;
    };
    EXPECT_GE(slept_ms(CTTime::SleepMs, 1020), 1020);
    EXPECT_GE(slept_ms(CTTime::SleepUs, 20000), 20);
    EXPECT_GE(slept_ms(CTTime::SleepNs, 20000000), 20);
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
        EXPECT_EQ(CTTime::AscTime(nullptr), nullptr);
        EXPECT_EQ(CTTime::MakeTime(nullptr), -1);
    }
    LocalZone summer("EST5EDT,M3.2.0,M11.1.0");
    EXPECT_EQ(CTTime::MakeTime(2024, 7, 1, 12, 0, 0), kNewYear2024 + (182 * 24 + 16) * 3600);
    EXPECT_EQ(CTTime::MakeTime(2024, 12, 1, 12, 0, 0), kNewYear2024 + (335 * 24 + 17) * 3600);
}

TEST(Time, CurrentTimesShareOneBuffer) {
    // Texts of this form sort like the times they give.
    char before[64];
    char after[64];
    CTTime::FormatCurrentTime(before, sizeof before, "%Y-%m-%d %H:%M:%S");
    char* shared = CTTime::CurrentDatetimeToString();
    std::string now = shared;
    CTTime::FormatCurrentTime(after, sizeof after, "%Y-%m-%d %H:%M:%S");
    EXPECT_GE(now, before);
    EXPECT_LE(now, after);
    EXPECT_EQ(CTTime::CurrentTimeToString(), shared);
    EXPECT_EQ(strlen(shared), 8U);
    EXPECT_EQ(CTTime::CurrentDateToString(), shared);
    EXPECT_EQ(strlen(shared), 10U);
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
    auto remaining = [](time_t now, const char* printed) {
        int result = 0;
        EXPECT_EQ(CapturedOutput([&] { result = CTTime::TodayRemainSecond(now); }), printed);
        return result;
    };
    EXPECT_EQ(remaining(kNewYear2024 + 16 * 3600, "m = 0, ds = 86400, r=86400\n"), 86400);
    EXPECT_EQ(remaining(kNewYear2024 + 16 * 3600 - 1, "m = 86399, ds = 86400, r=1\n"), 1);
    EXPECT_EQ(remaining(kNewYear2024, "m = 28800, ds = 86400, r=57600\n"), 57600);
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
