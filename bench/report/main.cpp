// What scripts/bench makes of its samples:
//
//     bench-report SAMPLES FOLDER
//
// prints the table and every figure that misses its aim, and writes table.txt, results.json and,
// for each state of the links that was measured, chart-on.dat and chart-off.dat into the folder.
// Status 0 when every aim that was measured holds, 1 when one does not, 2 for samples that cannot
// be read and files that cannot be written.

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <iostream>
#include <sstream>

#include "bench/report/print.h"

namespace {

constexpr int kArguments = 3;
constexpr int kMissed = 1;
constexpr int kFault = 2;

int Fault(const std::string& text) {
    std::cerr << "bench-report: " << text << "\n";
    return kFault;
}

bool WriteFile(const std::string& path, const std::function<void(std::ostream&)>& print) {
    std::ofstream file(path);
    print(file);
    return static_cast<bool>(file.flush());
}

bool WriteChart(const BenchSamples& samples, const std::string& folder, const char* links) {
    std::ostringstream chart;
    std::string path = folder + "/chart-" + links + ".dat";
    std::remove(path.c_str());
    return !PrintBenchChart(chart, samples, links) ||
           WriteFile(path, [&](std::ostream& out) { out << chart.str(); });
}

// How many miss.
int PrintMissed(const std::vector<BenchVerdict>& verdicts) {
    int missed = 0;
    size_t unmeasured = 0;
    for (const BenchVerdict& verdict : verdicts) {
        if (!verdict.value) ++unmeasured;
        if (verdict.Holds()) continue;
        std::cout << "MISSED: " << BenchVerdictText(verdict) << "\n";
        ++missed;
    }
    std::cout << verdicts.size() - unmeasured << " aims measured, " << missed << " missed, "
              << unmeasured << " not measured\n";
    return missed;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != kArguments) return Fault("Usage: bench-report SAMPLES FOLDER");
    std::ifstream in(argv[1]);
    if (!in) return Fault(std::string(argv[1]) + ": " + strerror(errno));
    BenchSamples samples;
    std::string fault;
    if (!samples.Read(in, fault)) return Fault(std::string(argv[1]) + ": " + fault);
    if (samples.IsEmpty()) return Fault(std::string(argv[1]) + ": no samples");

    std::vector<BenchVerdict> verdicts = JudgeBench(samples);
    auto table = [&](std::ostream& out) { PrintBenchTable(out, samples, verdicts); };
    auto json = [&](std::ostream& out) { PrintBenchJson(out, samples, verdicts); };
    table(std::cout);
    std::string folder = argv[2];
    if (!WriteFile(folder + "/table.txt", table) || !WriteFile(folder + "/results.json", json) ||
        !WriteChart(samples, folder, "on") || !WriteChart(samples, folder, "off"))
        return Fault(folder + ": " + strerror(errno));
    return PrintMissed(verdicts) > 0 ? kMissed : 0;
}
