#include <algorithm>

#include "bench/report/measures.h"
#include "bench/report/print.h"

namespace {

constexpr const char* kSystems[] = {"tamvo", "batched", "tinc", "openvpn", "fastd"};

std::vector<std::string> SystemsWithRatio(const BenchSamples& samples, const std::string& links) {
    std::vector<std::string> systems;
    for (const char* system : kSystems) {
        bool has = std::any_of(kBenchMeasures.begin(), kBenchMeasures.end(), [&](const auto& m) {
            return m.in_chart && BenchRatio(samples, links, m.name, system, "floor");
        });
        if (has) systems.push_back(system);
    }
    return systems;
}

}  // namespace

bool PrintBenchChart(std::ostream& out, const BenchSamples& samples, const std::string& links) {
    std::vector<std::string> systems = SystemsWithRatio(samples, links);
    if (systems.empty()) return false;
    out << "measure";
    for (const std::string& system : systems)
        out << " " << system;
    out << "\n";
    for (const BenchMeasure& measure : kBenchMeasures) {
        if (!measure.in_chart) continue;
        out << "\"" << measure.title << "\"";
        for (const std::string& system : systems) {
            std::optional<double> ratio = BenchRatio(samples, links, measure.name, system, "floor");
            ratio ? out << " " << *ratio : out << " -";
        }
        out << "\n";
    }
    return true;
}
