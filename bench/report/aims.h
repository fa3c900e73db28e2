#pragma once

#include <optional>
#include <string>
#include <vector>

#include "bench/report/samples.h"

// What Tamvo is to reach: in the ratio of its median to the plain floor's, in absolute figures, and
// ahead of every peer that was measured; and what its sealed mode is to reach, in the ratio to its
// open one and ahead of every peer that encrypts.
struct BenchAim {
    std::string links;
    std::string measure;
    std::string against;  // a system; empty for an absolute figure
    bool at_least;        // else at most
    double bound;
    std::string system = "tamvo";  // whose figure it is
};

struct BenchVerdict {
    BenchAim aim;
    std::optional<double> value;  // none: not measured
    bool Holds() const {
        return !value || (aim.at_least ? *value >= aim.bound : *value <= aim.bound);
    }
};

// A verdict for every aim, in the order of their list, those against the peers behind, the sealed
// mode's last.
std::vector<BenchVerdict> JudgeBench(const BenchSamples& samples);

// The ratio of both systems' medians; none when one was not measured or the second is 0.
std::optional<double> BenchRatio(const BenchSamples& samples, const std::string& links,
                                 const std::string& measure, const std::string& system,
                                 const std::string& to);

// "TCP, one stream: 0.76 of the floor, at least 4 is aimed at"
std::string BenchVerdictText(const BenchVerdict& verdict);
