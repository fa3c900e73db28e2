#include "bench/report/measures.h"
#include "bench/report/print.h"

namespace {

constexpr const char* kSystems[] = {"tamvo", "batched", "tinc", "openvpn", "fastd"};

void PrintBlock(std::ostream& out, const BenchSamples& samples, const std::string& links) {
    out << "measure";
    for (const char* system : kSystems)
        out << " " << system;
    out << "\n";
    for (const BenchMeasure& measure : kBenchMeasures) {
        if (!measure.in_chart) continue;
        out << "\"" << measure.title << "\"";
        for (const char* system : kSystems) {
            std::optional<double> ratio = BenchRatio(samples, links, measure.name, system, "floor");
            ratio ? out << " " << *ratio : out << " -";
        }
        out << "\n";
    }
}

}  // namespace

void PrintBenchChart(std::ostream& out, const BenchSamples& samples) {
    PrintBlock(out, samples, "on");
    out << "\n\n";
    PrintBlock(out, samples, "off");
}
