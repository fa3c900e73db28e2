#include "bench/report/measures.h"
#include "bench/report/print.h"

namespace {

// Names have no character that JSON would want escaped.
std::string Quoted(const std::string& text) {
    return "\"" + text + "\"";
}

void PrintSample(std::ostream& out, const std::string& links, const std::string& system,
                 const BenchMeasure& measure, const std::vector<double>& values) {
    out << "    { \"links\": " << Quoted(links) << ", \"system\": " << Quoted(system)
        << ", \"measure\": " << Quoted(measure.name) << ", \"unit\": " << Quoted(measure.unit)
        << ", \"median\": " << BenchMedian(values) << ", \"spread\": " << BenchSpread(values)
        << ", \"values\": [";
    for (size_t i = 0; i < values.size(); ++i)
        out << (i > 0 ? ", " : "") << values[i];
    out << "] }";
}

void PrintAim(std::ostream& out, const BenchVerdict& verdict) {
    const BenchAim& aim = verdict.aim;
    out << "    { \"links\": " << Quoted(aim.links) << ", \"system\": " << Quoted(aim.system)
        << ", \"measure\": " << Quoted(aim.measure) << ", \"against\": " << Quoted(aim.against)
        << ", \"at least\": " << (aim.at_least ? "true" : "false") << ", \"bound\": " << aim.bound
        << ", \"value\": ";
    if (verdict.value) {
        out << *verdict.value << ", \"holds\": " << (verdict.Holds() ? "true" : "false") << " }";
    } else {
        out << "null, \"holds\": null }";
    }
}

}  // namespace

void PrintBenchJson(std::ostream& out, const BenchSamples& samples,
                    const std::vector<BenchVerdict>& verdicts) {
    out << "{\n  \"samples\": [\n";
    const char* between = "";
    for (const char* links : {"on", "off"}) {
        for (const std::string& system : samples.Systems()) {
            for (const BenchMeasure& measure : kBenchMeasures) {
                const std::vector<double>& values = samples.Of(links, system, measure.name);
                if (values.empty()) continue;
                out << between;
                between = ",\n";
                PrintSample(out, links, system, measure, values);
            }
        }
    }
    out << "\n  ],\n  \"aims\": [\n";
    between = "";
    for (const BenchVerdict& verdict : verdicts) {
        out << between;
        between = ",\n";
        PrintAim(out, verdict);
    }
    out << "\n  ]\n}\n";
}
