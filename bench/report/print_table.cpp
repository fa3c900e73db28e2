#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include "bench/report/measures.h"
#include "bench/report/print.h"

namespace {

const std::vector<std::string> kFirst = {"floor", "tamvo"};
const std::vector<std::string> kOthers = {"batched", "tinc", "openvpn", "fastd"};
const std::vector<std::string> kModes = {"tamvo", "sealed"};
const std::vector<std::string> kEncrypting = {kBenchEncryptingPeers.begin(),
                                              kBenchEncryptingPeers.end()};
constexpr int kColumn = 8;
constexpr int kWideColumn = 12;  // for longer names
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
std::string MedianCell(const std::vector<double>& values, int decimals, int width) {
    if (values.empty()) return Cell("%*s %6s", width, "-", "");
    double median = BenchMedian(values);
    std::string cell = Cell("%*.*f ", width, decimals, median);
    if (values.size() == 1 || median == 0) return cell + Cell("%6s", "");
    double spread = kPerCent * BenchSpread(values) / median;
    if (spread > kMostSpread) return cell + ">999 %";
    return cell + Cell("%4.0f %%", spread);
}

// The aim of the first of both systems, in its ratio to the other or in itself.
std::string AimCell(const std::vector<BenchVerdict>& verdicts, const std::string& links,
                    const std::string& measure, const char* system, const char* to) {
    for (const BenchVerdict& verdict : verdicts) {
        const BenchAim& aim = verdict.aim;
        bool absolute = aim.against.empty();
        if (aim.links != links || aim.measure != measure || aim.system != system) continue;
        if (!absolute && aim.against != to) continue;
        const char* state = !verdict.value ? "" : verdict.Holds() ? "holds" : "MISSED";
        return Cell("%s %.3g%s %s", aim.at_least ? ">=" : "<=", aim.bound,
                    absolute ? " itself" : "", state);
    }
    return "";
}

std::string WithoutBlanks(const std::string& line) {
    return line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
}

std::string HeadOf(const std::vector<std::string>& systems, int width) {
    std::string head = Cell("%-22s %-9s", "", "");
    for (const std::string& system : systems)
        head += Cell(" %*s %6s", width, system.c_str(), "+-");
    return head;
}

std::string LineOf(const BenchSamples& samples, const std::string& links,
                   const BenchMeasure& measure, const std::vector<std::string>& systems,
                   int width) {
    std::string line = Cell("%-22s %-9s", measure.title, measure.unit);
    for (const std::string& system : systems)
        line += " " + MedianCell(samples.Of(links, system, measure.name), measure.decimals, width);
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
                const std::vector<std::string>& systems, int width, More more) {
    for (const BenchMeasure& measure : kBenchMeasures) {
        if (!IsMeasured(samples, links, measure.name, systems)) continue;
        out << WithoutBlanks(LineOf(samples, links, measure, systems, width) + more(measure));
    }
    out << "\n";
}

// Two systems, with the ratio of the one to the other and what is aimed at.
void PrintRatios(std::ostream& out, const BenchSamples& samples,
                 const std::vector<BenchVerdict>& verdicts, const std::string& links,
                 const std::vector<std::string>& systems, const char* system, const char* to) {
    out << HeadOf(systems, kColumn) << Cell(" %7s  %s", "ratio", "aim") << "\n\n";
    PrintLines(out, samples, links, systems, kColumn, [&](const BenchMeasure& measure) {
        std::optional<double> ratio = BenchRatio(samples, links, measure.name, system, to);
        return (ratio ? Cell(" %7.2f", *ratio) : Cell(" %7s", "-")) + "  " +
               AimCell(verdicts, links, measure.name, system, to);
    });
}

void PrintBeside(std::ostream& out, const BenchSamples& samples, const std::string& links,
                 const std::vector<std::string>& systems, int width) {
    out << HeadOf(systems, width) << "\n\n";
    PrintLines(out, samples, links, systems, width, [](const BenchMeasure&) { return ""; });
}

}  // namespace

void PrintBenchTable(std::ostream& out, const BenchSamples& samples,
                     const std::vector<BenchVerdict>& verdicts) {
    for (const std::string links : {"on", "off"}) {
        std::string title =
            links == "on" ? "links as they are\n\n" : "links without UDP segmentation\n\n";
        bool has_sealed = !MeasuredOf(samples, links, {"sealed"}).empty();
        std::vector<std::string> first = MeasuredOf(samples, links, kFirst);
        // The open mode's figures stand beside the sealed one's, where there is no floor.
        if (!first.empty() && (!has_sealed || first.front() == "floor")) {
            out << "Tamvo and its floor, " << title;
            PrintRatios(out, samples, verdicts, links, kFirst, "tamvo", "floor");
        }
        std::vector<std::string> others = MeasuredOf(samples, links, kOthers);
        if (!others.empty()) {
            out << "Beside them, " << title;
            PrintBeside(out, samples, links, others, kColumn);
        }
        if (has_sealed) {
            out << "Sealed and open, " << title;
            PrintRatios(out, samples, verdicts, links, kModes, "sealed", "tamvo");
        }
        std::vector<std::string> encrypting = MeasuredOf(samples, links, kEncrypting);
        if (encrypting.empty()) continue;
        out << "Tunnels that encrypt, " << title;
        PrintBeside(out, samples, links, encrypting, kWideColumn);
    }
}
