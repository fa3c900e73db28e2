#include "ctl/figures.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <iterator>

namespace {

constexpr double kKibi = 1024;
constexpr int kMinute = 60;
constexpr int kHour = 60 * kMinute;
constexpr int kDay = 24 * kHour;
constexpr double kMost = 1e15;

__attribute__((format(printf, 1, 2))) std::string Format(const char* format, ...) {
    char text[64];
    va_list values;
    va_start(values, format);
    vsnprintf(text, sizeof text, format, values);
    va_end(values);
    return text;
}

// What is no figure, or none that makes sense, is nothing.
double Sane(double value) {
    return std::isfinite(value) ? std::clamp(value, 0.0, kMost) : 0;
}

// Three significant places.
std::string Scaled(double value, const char* unit) {
    int digits = value < 10 ? 2 : value < 100 ? 1 : 0;
    return Format("%.*f %s", digits, value, unit);
}

}  // namespace

std::string ctl_bytes(double bytes) {
    constexpr const char* kUnits[] = {"KiB", "MiB", "GiB", "TiB"};
    bytes = Sane(bytes);
    if (bytes < kKibi) return Format("%.0f B", bytes);
    size_t unit = 0;
    for (bytes /= kKibi; bytes >= kKibi && unit + 1 < std::size(kUnits); bytes /= kKibi)
        ++unit;
    return Scaled(bytes, kUnits[unit]);
}

std::string ctl_rate(double per_second) {
    return ctl_bytes(per_second) + "/s";
}

std::string ctl_duration(double seconds) {
    seconds = Sane(seconds);
    if (seconds < 10) return Format("%.1f s", seconds);
    auto whole = static_cast<int64_t>(seconds);
    auto part = [&](int unit, int of) { return static_cast<int>(whole % of / unit); };
    if (whole < kMinute) return Format("%d s", static_cast<int>(whole));
    if (whole < kHour) return Format("%dm %02ds", part(kMinute, kHour), part(1, kMinute));
    if (whole < kDay) return Format("%dh %02dm", part(kHour, kDay), part(kMinute, kHour));
    return Format("%lldd %02dh", static_cast<long long>(whole / kDay), part(kHour, kDay));
}

std::string ctl_millis(double ms) {
    return Scaled(Sane(ms), "ms");
}

std::string ctl_hex(uint32_t number) {
    return Format("0x%08x", number);
}
