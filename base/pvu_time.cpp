#include "base/pvu_time.h"

#include <unistd.h>

#include <cstdio>

#include "base/pvu_tick.h"

namespace {

constexpr int kMillisPerSecond = 1000;
constexpr int kMicrosPerSecond = 1000000;
constexpr int kNanosPerMilli = 1000000;
constexpr int64_t kNanosPerSecond = 1000000000;
constexpr int kSecondsPerDay = 86400;
constexpr int kUtc8Offset = 28800;

int64_t MonotonicNanos() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * kNanosPerSecond + now.tv_nsec;
}

void SleepFor(time_t seconds, long nanos) {
    timespec duration;
    duration.tv_sec = seconds;
    duration.tv_nsec = nanos;
    nanosleep(&duration, nullptr);
}

}  // namespace

char CTTime::m_datetime_str[64];

void CTTime::Sleep(int s) {
    usleep(static_cast<unsigned>(s) * kMicrosPerSecond);
}

void CTTime::SleepMs(int ms) {
    SleepFor(ms / kMillisPerSecond, static_cast<long>(ms % kMillisPerSecond) * kNanosPerMilli);
}

void CTTime::SleepUs(int us) {
    usleep(static_cast<unsigned>(us));
}

void CTTime::SleepNs(int ns) {
    SleepFor(0, ns);
}

int64_t CTTime::GetCurrentMS() {
    return static_cast<int64_t>(pvu_get_current_tick());
}

int64_t CTTime::GetCurrentUS() {
    return MonotonicNanos() / 1000;
}

int64_t CTTime::GetCurrentNS() {
    return MonotonicNanos();
}

int CTTime::GetClockTime(clockid_t clock, timespec* out) {
    return clock_gettime(clock, out);
}

int CTTime::GetTimeOfDay(timeval* out, struct timezone* zone) {
    return gettimeofday(out, zone);
}

time_t CTTime::GetUtcTime() {
    return time(nullptr);
}

tm* CTTime::LocalTime(const time_t* t) {
    return t ? localtime(t) : nullptr;
}

time_t CTTime::MakeTime(tm* broken_down) {
    return broken_down ? mktime(broken_down) : -1;
}

time_t CTTime::MakeTime(int year, int month, int day) {
    return MakeTime(year, month, day, 0, 0, 0);
}

time_t CTTime::MakeTime(int year, int month, int day, int hour, int minute, int second) {
    tm broken_down = {};
    broken_down.tm_year = year - 1900;
    broken_down.tm_mon = month - 1;
    broken_down.tm_mday = day;
    broken_down.tm_hour = hour;
    broken_down.tm_min = minute;
    broken_down.tm_sec = second;
    broken_down.tm_isdst = -1;
    return mktime(&broken_down);
}

char* CTTime::AscTime(const time_t* t) {
    tm* broken_down = LocalTime(t);
    return broken_down ? asctime(broken_down) : nullptr;
}

char* CTTime::AscCurrentTime() {
    time_t now = GetUtcTime();
    return AscTime(&now);
}

size_t CTTime::FormatTime(char* buf, int size, const char* format, const time_t* t) {
    return t ? FormatTime(buf, size, format, LocalTime(t)) : 0;
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
size_t CTTime::FormatTime(char* buf, int size, const char* format, tm* broken_down) {
    if (!buf || size < 1 || !format || !broken_down) return 0;
    return strftime(buf, static_cast<size_t>(size), format, broken_down);
}
#pragma GCC diagnostic pop

size_t CTTime::FormatCurrentTime(char* buf, int size, const char* format) {
    time_t now = GetUtcTime();
    return FormatTime(buf, size, format, &now);
}

char* CTTime::CurrentDatetimeToString() {
    return FormatShared("%Y-%m-%d %H:%M:%S");
}

char* CTTime::CurrentDateToString() {
    return FormatShared("%Y-%m-%d");
}

char* CTTime::CurrentTimeToString() {
    return FormatShared("%H:%M:%S");
}

char* CTTime::FormatShared(const char* format) {
    FormatCurrentTime(m_datetime_str, sizeof m_datetime_str, format);
    return m_datetime_str;
}

bool CTTime::IsLeapYear(int year) {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

bool CTTime::IsLeapYear(const tm* broken_down) {
    return broken_down && IsLeapYear(broken_down->tm_year);
}

time_t CTTime::Yesterday() {
    return GetUtcTime() - kSecondsPerDay;
}

time_t CTTime::Tomorrow() {
    return GetUtcTime() + kSecondsPerDay;
}

int CTTime::TodayRemainSecond() {
    return TodayRemainSecond(GetUtcTime());
}

int CTTime::TodayRemainSecond(time_t now) {
    int m = static_cast<int>((now % kSecondsPerDay + kUtc8Offset) % kSecondsPerDay);
    int remaining = kSecondsPerDay - m;
    printf("m = %d, ds = %d, r=%d\n", m, kSecondsPerDay, remaining);
    return remaining;
}
