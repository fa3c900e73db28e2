#pragma once

#include <sys/time.h>

#include <cstdint>
#include <ctime>

// Clock readings, sleeps and calendar operations, all static. Calendar operations work in local
// time.
class CTTime {
  public:
    // ---- Sleeps ----

    // Seconds x 1,000,000 in 32 bits: above 4294 s the sleep wraps to a shorter one.
    static void Sleep(int s);
    static void SleepMs(int ms);
    static void SleepUs(int us);
    static void SleepNs(int ns);

    // ---- Clocks ----

    // The monotonic clock.
    static int64_t GetCurrentMS();
    static int64_t GetCurrentUS();
    static int64_t GetCurrentNS();
    // GetCurrentMS cut to 32 bits: the tick of the whole system; wraps after about 24.8 days.
    static int32_t GetCurrentTick() { return static_cast<int32_t>(GetCurrentMS()); }

    // The system calls, with their results (0 on success, -1 on failure).
    static int GetClockTime(clockid_t clock, timespec* out);
    static int GetTimeOfDay(timeval* out, struct timezone* zone);

    static time_t GetUtcTime();

    // ---- The calendar, in local time ----

    // Null, and -1, for null and on failure.
    static tm* LocalTime(const time_t* t);
    static time_t MakeTime(tm* broken_down);
    static time_t MakeTime(int year, int month, int day);
    static time_t MakeTime(int year, int month, int day, int hour, int minute, int second);

    // The asctime text of a local time; null if the conversion fails.
    static char* AscTime(const time_t* t);
    static char* AscCurrentTime();

    // strftime: the length written, 0 if it does not fit or an argument is null.
    static size_t FormatTime(char* buf, int size, const char* format, const time_t* t);
    static size_t FormatTime(char* buf, int size, const char* format, tm* broken_down);
    static size_t FormatCurrentTime(char* buf, int size, const char* format);

    // "%Y-%m-%d %H:%M:%S", "%Y-%m-%d", "%H:%M:%S" of now in one shared buffer, which the next
    // call overwrites: one thread at a time.
    static char* CurrentDatetimeToString();
    static char* CurrentDateToString();
    static char* CurrentTimeToString();

    static bool IsLeapYear(int year);
    // Applies the rule to years since 1900 as they stand in the structure, so it disagrees with
    // the calendar for century years such as 2000; established behaviour. False for null.
    static bool IsLeapYear(const tm* broken_down);

    static time_t Yesterday();
    static time_t Tomorrow();
    // Seconds left in the day of a clock fixed at UTC+8; prints the figures to standard output.
    static int TodayRemainSecond();
    static int TodayRemainSecond(time_t now);

  private:
    static char* FormatShared(const char* format);

    static char m_datetime_str[64];
};
