#include "ops/traffic.h"

#include <algorithm>

#include "ops/json_reply.h"

namespace {

constexpr double kMillisPerSecond = 1000;

}  // namespace

void CTTrafficWindow::Sample(int64_t now, const CTTraffic& count) {
    m_samples[m_next] = {now, count};
    m_next = (m_next + 1) % kSamples;
    m_count = std::min(m_count + 1, kSamples);
}

CTTrafficRate CTTrafficWindow::Rate(int64_t now, const CTTraffic& count) const {
    if (m_count == 0) return {};
    const Entry& oldest = m_samples[(m_next + kSamples - m_count) % kSamples];
    bool fell = count.packets < oldest.count.packets || count.bytes < oldest.count.bytes;
    if (fell || now <= oldest.at) return {};
    double seconds = static_cast<double>(now - oldest.at) / kMillisPerSecond;
    return {static_cast<double>(count.packets - oldest.count.packets) / seconds,
            static_cast<double>(count.bytes - oldest.count.bytes) / seconds};
}

void control_add_traffic(cJSON* parent, const char* key, const CTTraffic& count,
                         const CTTrafficRate& rate) {
    cJSON* traffic = control_add_object(parent, key);
    control_add_count(traffic, "packets", count.packets);
    control_add_count(traffic, "bytes", count.bytes);
    control_add_decimal(traffic, "packets_per_second", rate.packets_per_second, 1);
    control_add_decimal(traffic, "bytes_per_second", rate.bytes_per_second, 1);
}
