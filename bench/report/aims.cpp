#include "bench/report/aims.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "bench/report/measures.h"

namespace {

constexpr char kTamvo[] = "tamvo";
constexpr char kFloor[] = "floor";
constexpr char kSealed[] = "sealed";
constexpr size_t kTextSize = 200;
// Heartbeats and the like allocate now and then.
constexpr double kNone = 0.001;

const std::vector<BenchAim>& FixedAims() {
    static const std::vector<BenchAim> aims = {
        {"on", "tcp1", kFloor, true, 4},
        {"on", "tcp4", kFloor, true, 5},
        {"on", "both", kFloor, true, 4},
        {"on", "udp64.flood", kFloor, true, 1.8},
        {"on", "udp64.lossfree", kFloor, true, 1.8},
        {"on", "rtt.idle", kFloor, false, 1.1},
        {"on", "rtt.load", kFloor, false, 0.5},
        {"on", "tcp1.cpu", kFloor, false, 0.3},
        {"on", "memory", "", false, 32},
        {"on", "alloc.paced", "", false, kNone},
        {"on", "alloc.flood", "", false, kNone},
        {"on", "routers", "", false, 10},
        {"off", "tcp1", kFloor, true, 1.4},
        {"off", "udp64.flood", kFloor, true, 1.2},
        {"off", "udp64.lossfree", kFloor, true, 1.2},
        {"off", "rtt.idle", kFloor, false, 1.25},
    };
    return aims;
}

constexpr std::array kPeers = {"tinc", "openvpn", "fastd"};
constexpr std::array kAheadIfMore = {"tcp1",        "tcp4",           "both",
                                     "udp64.flood", "udp64.lossfree", "udp1372.flood"};
constexpr std::array kAheadIfLess = {"rtt.idle", "rtt.load", "tcp1.cpu", "udp64.cpu"};

constexpr std::array kSealedAhead = {"tcp1", "udp64.flood", "udp64.lossfree"};

void AddSealedAims(std::vector<BenchAim>& aims) {
    aims.push_back({"on", "tcp1", kTamvo, true, 0.4, kSealed});
    aims.push_back({"on", "udp64.flood", kTamvo, true, 0.5, kSealed});
    aims.push_back({"on", "udp64.lossfree", kTamvo, true, 0.5, kSealed});
    aims.push_back({"on", "rtt.idle", kTamvo, false, 1.25, kSealed});
    for (const char* peer : kBenchEncryptingPeers) {
        for (const char* measure : kSealedAhead)
            aims.push_back({"on", measure, peer, true, 1, kSealed});
    }
}

std::vector<BenchAim> AllAims() {
    std::vector<BenchAim> aims = FixedAims();
    for (const char* peer : kPeers) {
        for (const char* measure : kAheadIfMore)
            aims.push_back({"on", measure, peer, true, 1});
        for (const char* measure : kAheadIfLess)
            aims.push_back({"on", measure, peer, false, 1});
    }
    AddSealedAims(aims);
    return aims;
}

const char* TitleOf(const std::string& measure) {
    auto found = std::find_if(kBenchMeasures.begin(), kBenchMeasures.end(),
                              [&](const BenchMeasure& m) { return m.name == measure; });
    return found == kBenchMeasures.end() ? measure.c_str() : found->title;
}

}  // namespace

std::optional<double> BenchRatio(const BenchSamples& samples, const std::string& links,
                                 const std::string& measure, const std::string& system,
                                 const std::string& to) {
    const std::vector<double>& own = samples.Of(links, system, measure);
    const std::vector<double>& other = samples.Of(links, to, measure);
    if (own.empty() || other.empty() || BenchMedian(other) == 0) return std::nullopt;
    return BenchMedian(own) / BenchMedian(other);
}

std::vector<BenchVerdict> JudgeBench(const BenchSamples& samples) {
    std::vector<BenchVerdict> verdicts;
    for (const BenchAim& aim : AllAims()) {
        const std::vector<double>& own = samples.Of(aim.links, aim.system, aim.measure);
        BenchVerdict verdict{aim, std::nullopt};
        if (!aim.against.empty()) {
            verdict.value = BenchRatio(samples, aim.links, aim.measure, aim.system, aim.against);
        } else if (!own.empty()) {
            verdict.value = BenchMedian(own);
        }
        verdicts.push_back(verdict);
    }
    return verdicts;
}

std::string BenchVerdictText(const BenchVerdict& verdict) {
    const BenchAim& aim = verdict.aim;
    std::string of = aim.against.empty() ? "" : " of " + aim.against;
    std::string links = aim.links == "on" ? "" : ", links without UDP segmentation";
    if (aim.system != kTamvo) links = ", " + aim.system + links;
    char text[kTextSize];
    if (!verdict.value) {
        snprintf(text, sizeof text, "%s%s%s: not measured", TitleOf(aim.measure), of.c_str(),
                 links.c_str());
    } else {
        snprintf(text, sizeof text, "%s%s: %.3g%s, aim is at %s %.3g", TitleOf(aim.measure),
                 links.c_str(), *verdict.value, of.c_str(), aim.at_least ? "least" : "most",
                 aim.bound);
    }
    return text;
}
