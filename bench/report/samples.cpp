#include "bench/report/samples.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <sstream>

bool BenchSamples::Read(std::istream& in, std::string& fault) {
    std::string line;
    for (int number = 1; std::getline(in, line); ++number) {
        std::istringstream fields(line);
        Key key;
        int round;
        double value;
        std::string more;
        if (!(fields >> key.links >> round >> key.system >> key.measure >> value) ||
            !std::isfinite(value) || fields >> more) {
            fault = "line " + std::to_string(number) + ": \"" + line + "\" is no sample";
            return false;
        }
        m_values[key].push_back(value);
    }
    return true;
}

const std::vector<double>& BenchSamples::Of(const std::string& links, const std::string& system,
                                            const std::string& measure) const {
    static const std::vector<double> none;
    auto found = m_values.find({links, system, measure});
    return found == m_values.end() ? none : found->second;
}

std::vector<std::string> BenchSamples::Systems() const {
    std::set<std::string> systems;
    for (const auto& [key, values] : m_values)
        systems.insert(key.system);
    return {systems.begin(), systems.end()};
}

double BenchMedian(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    size_t half = values.size() / 2;
    return values.size() % 2 == 1 ? values[half] : (values[half - 1] + values[half]) / 2;
}

double BenchSpread(const std::vector<double>& values) {
    auto [least, most] = std::minmax_element(values.begin(), values.end());
    return (*most - *least) / 2;
}
