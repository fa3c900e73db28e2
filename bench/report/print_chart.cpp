#include <algorithm>
#include <cstring>

#include "bench/report/measures.h"
#include "bench/report/print.h"

namespace {

std::vector<const char*> AllSystems() {
    std::vector<const char*> systems = {"tamvo", "sealed", "batched", "tinc", "openvpn", "fastd"};
    systems.insert(systems.end(), kBenchEncryptingPeers.begin(), kBenchEncryptingPeers.end());
    return systems;
}

std::vector<std::string> SystemsWithRatio(const BenchSamples& samples, const std::string& links,
                                          const char* base) {
    std::vector<std::string> systems;
    for (const char* system : AllSystems()) {
        bool has = std::any_of(kBenchMeasures.begin(), kBenchMeasures.end(), [&](const auto& m) {
            return m.in_chart && BenchRatio(samples, links, m.name, system, base);
        });
        if (has && strcmp(system, base) != 0) systems.push_back(system);
    }
    return systems;
}

}  // namespace

bool PrintBenchChart(std::ostream& out, const BenchSamples& samples, const std::string& links) {
    const char* base = "floor";
    std::vector<std::string> systems = SystemsWithRatio(samples, links, base);
    if (systems.empty()) systems = SystemsWithRatio(samples, links, base = "tamvo");
    if (systems.empty()) return false;
    out << "measure";
    for (const std::string& system : systems)
        out << " " << system;
    out << "\n";
    for (const BenchMeasure& measure : kBenchMeasures) {
        if (!measure.in_chart) continue;
        out << "\"" << measure.title << "\"";
        for (const std::string& system : systems) {
            std::optional<double> ratio = BenchRatio(samples, links, measure.name, system, base);
            ratio ? out << " " << *ratio : out << " -";
        }
        out << "\n";
    }
    return true;
}
