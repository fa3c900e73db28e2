#pragma once

#include <compare>
#include <istream>
#include <map>
#include <string>
#include <vector>

// What one run of scripts/bench measured: a line each of
//
//     LINKS ROUND SYSTEM MEASURE VALUE        as "on 1 tamvo tcp1 812.5"
//
// LINKS is "on" for links as they are and "off" for those without UDP segmentation.
class BenchSamples {
  public:
    // Takes all lines; false, with a text that names the line, at the first that is none.
    bool Read(std::istream& in, std::string& fault);

    // In the order in which they were measured; empty when they were not.
    const std::vector<double>& Of(const std::string& links, const std::string& system,
                                  const std::string& measure) const;
    // Every system that has a sample.
    std::vector<std::string> Systems() const;
    bool IsEmpty() const { return m_values.empty(); }

  private:
    struct Key {
        std::string links;
        std::string system;
        std::string measure;
        auto operator<=>(const Key&) const = default;
    };

    std::map<Key, std::vector<double>> m_values;
};

// Of at least one value each. The spread is half the distance of the largest and the smallest.
double BenchMedian(std::vector<double> values);
double BenchSpread(const std::vector<double>& values);
