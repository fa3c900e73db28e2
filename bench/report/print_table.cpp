#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include "bench/report/measures.h"
#include "bench/report/print.h"

namespace {

const std::vector<std::string> kFirst = {"floor", "tamvo"};
const std::vector<std::string> kOthers = {"batched", "tinc", "openvpn", "fastd"};
constexpr size_t kCellSize = 64;
constexpr double kPerCent = 100;
constexpr double kMostSpread = 999;  // that has room in its column

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
    if (values.empty()) return Cell("%8s %6s", "-", "");
    double median = BenchMedian(values);
    if (values.size() == 1 || median == 0) return Cell("%8.*f %6s", decimals, median, "");
    double spread = kPerCent * BenchSpread(values) / median;
    if (spread > kMostSpread) return Cell("%8.*f %6s", decimals, median, ">999 %");
    return Cell("%8.*f %4.0f %%", decimals, median, spread);
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

std::string WithoutBlanks(const std::string& line) {
    return line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
}

std::string HeadOf(const std::vector<std::string>& systems) {
    std::string head = Cell("%-22s %-9s", "", "");
    for (const std::string& system : systems)
        head += Cell(" %8s %6s", system.c_str(), "+-");
    return head;
}

std::string LineOf(const BenchSamples& samples, const std::string& links,
                   const BenchMeasure& measure, const std::vector<std::string>& systems) {
    std::string line = Cell("%-22s %-9s", measure.title, measure.unit);
    for (const std::string& system : systems)
        line += " " + MedianCell(samples.Of(links, system, measure.name), measure.decimals);
    return line;
}

bool IsMeasured(const BenchSamples& samples, const std::string& links, const char* measure,
                const std::vector<std::string>& systems) {
    return std::any_of(systems.begin(), systems.end(), [&](const std::string& system) {
        return !samples.Of(links, system, measure).empty();
    });
}

// Those of the systems that were measured at all in that state of the links.
std::vector<std::string> MeasuredOf(const BenchSamples& samples, const std::string& links,
                                    const std::vector<std::string>& systems) {
    std::vector<std::string> measured;
    for (const std::string& system : systems) {
        bool any = std::any_of(
            kBenchMeasures.begin(), kBenchMeasures.end(),
            [&](const BenchMeasure& m) { return IsMeasured(samples, links, m.name, {system}); });
        if (any) measured.push_back(system);
    }
    return measured;
}

// Lines of the measures that some of the systems have; what the last columns say is the caller's.
template <typename More>
void PrintLines(std::ostream& out, const BenchSamples& samples, const std::string& links,
                const std::vector<std::string>& systems, More more) {
    for (const BenchMeasure& measure : kBenchMeasures) {
        if (!IsMeasured(samples, links, measure.name, systems)) continue;
        out << WithoutBlanks(LineOf(samples, links, measure, systems) + more(measure));
    }
    out << "\n";
}

}  // namespace

void PrintBenchTable(std::ostream& out, const BenchSamples& samples,
                     const std::vector<BenchVerdict>& verdicts) {
    for (const std::string links : {"on", "off"}) {
        const char* title = links == "on" ? "links as they are" : "links without UDP segmentation";
        if (!MeasuredOf(samples, links, kFirst).empty()) {
            out << "Tamvo and its floor, " << title << "\n\n"
                << HeadOf(kFirst) << Cell(" %7s  %s", "ratio", "aim") << "\n\n";
            PrintLines(out, samples, links, kFirst, [&](const BenchMeasure& measure) {
                std::optional<double> ratio =
                    BenchRatio(samples, links, measure.name, "tamvo", "floor");
                return (ratio ? Cell(" %7.2f", *ratio) : Cell(" %7s", "-")) + "  " +
                       AimCell(verdicts, links, measure.name);
            });
        }
        std::vector<std::string> others = MeasuredOf(samples, links, kOthers);
        if (others.empty()) continue;
        out << "Beside them, " << title << "\n\n" << HeadOf(others) << "\n\n";
        PrintLines(out, samples, links, others, [](const BenchMeasure&) { return ""; });
    }
}
