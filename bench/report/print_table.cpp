#include <cstdarg>
#include <cstdio>

#include "bench/report/measures.h"
#include "bench/report/print.h"

namespace {

constexpr const char* kFirst[] = {"floor", "tamvo"};
constexpr const char* kOthers[] = {"batched", "tinc", "openvpn", "fastd"};
constexpr size_t kCellSize = 64;
constexpr double kPerCent = 100;

__attribute__((format(printf, 1, 2))) std::string Cell(const char* format, ...) {
    char text[kCellSize];
    va_list values;
    va_start(values, format);
    vsnprintf(text, sizeof text, format, values);
    va_end(values);
    return text;
}

// "812   4 %", or blanks where nothing was measured.
std::string MedianCell(const std::vector<double>& values, int decimals) {
    if (values.empty()) return Cell("%10s %6s", "-", "");
    double median = BenchMedian(values);
    if (values.size() == 1 || median == 0) return Cell("%10.*f %6s", decimals, median, "");
    double spread = kPerCent * BenchSpread(values) / median;
    return Cell("%10.*f %4.0f %%", decimals, median, spread);
}

std::string AimCell(const std::vector<BenchVerdict>& verdicts, const std::string& links,
                    const std::string& measure) {
    for (const BenchVerdict& verdict : verdicts) {
        const BenchAim& aim = verdict.aim;
        bool absolute = aim.against.empty();
        if (aim.links != links || aim.measure != measure) continue;
        if (!absolute && aim.against != "floor") continue;
        const char* state = !verdict.value ? "" : verdict.Holds() ? "holds" : "MISSED";
        return Cell("%s %.3g%s %s", aim.at_least ? ">=" : "<=", aim.bound,
                    absolute ? " itself" : "", state);
    }
    return "";
}

void PrintHead(std::ostream& out, const std::string& links) {
    out << (links == "on" ? "Links as they are\n\n" : "Links without UDP segmentation\n\n");
    out << Cell("%-22s %-10s", "", "");
    for (const char* system : kFirst)
        out << Cell(" %10s %6s", system, "+-");
    out << Cell(" %7s  %-18s", "ratio", "aim");
    for (const char* system : kOthers)
        out << Cell(" %10s %6s", system, "+-");
    out << "\n\n";
}

void PrintLine(std::ostream& out, const BenchSamples& samples, const std::string& links,
               const BenchMeasure& measure, const std::vector<BenchVerdict>& verdicts) {
    std::string line = Cell("%-22s %-10s", measure.title, measure.unit);
    for (const char* system : kFirst)
        line += " " + MedianCell(samples.Of(links, system, measure.name), measure.decimals);
    std::optional<double> ratio = BenchRatio(samples, links, measure.name, "tamvo", "floor");
    line += ratio ? Cell(" %7.2f", *ratio) : Cell(" %7s", "-");
    line += Cell("  %-18s", AimCell(verdicts, links, measure.name).c_str());
    for (const char* system : kOthers)
        line += " " + MedianCell(samples.Of(links, system, measure.name), measure.decimals);
    out << line.substr(0, line.find_last_not_of(' ') + 1) << "\n";
}

bool IsMeasured(const BenchSamples& samples, const std::string& links, const char* measure) {
    for (const std::string& system : samples.Systems()) {
        if (!samples.Of(links, system, measure).empty()) return true;
    }
    return false;
}

}  // namespace

void PrintBenchTable(std::ostream& out, const BenchSamples& samples,
                     const std::vector<BenchVerdict>& verdicts) {
    for (const char* links : {"on", "off"}) {
        bool headed = false;
        for (const BenchMeasure& measure : kBenchMeasures) {
            if (!IsMeasured(samples, links, measure.name)) continue;
            if (!headed) PrintHead(out, links);
            headed = true;
            PrintLine(out, samples, links, measure, verdicts);
        }
        if (headed) out << "\n";
    }
}
