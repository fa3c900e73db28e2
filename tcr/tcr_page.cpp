#include "tcr/tcr_page.h"

#include <arpa/inet.h>

#include <charconv>

#include "tcr/page_asset.h"
#include "tcr/snapshot_json.h"
#include "tcr/tcr_metrics.h"
#include "tcr/traffic_history_json.h"

namespace {

constexpr unsigned kOk = 200;
constexpr unsigned kBadRequest = 400;
constexpr unsigned kNotFound = 404;
constexpr unsigned kMethodNotAllowed = 405;
constexpr unsigned kMisdirected = 421;
constexpr unsigned kUnavailable = 503;

constexpr char kStatusPath[] = "/status.json";
constexpr char kHistoryPath[] = "/history.json";
constexpr char kMetricsPath[] = "/metrics";

constexpr std::string_view kJson = "application/json";
constexpr std::string_view kMetricsType = "text/plain; version=0.0.4; charset=utf-8";

TcrPageReply Refusal(unsigned status, std::string_view text) {
    return {status, "text/plain; charset=utf-8", text, nullptr};
}

TcrPageReply Made(std::string_view type, const TcrPageReply::Body& body) {
    return {kOk, type, {}, body};
}

TcrPageReply::Body Keep(std::string text) {
    return std::make_shared<const std::string>(std::move(text));
}

std::optional<uint32_t> Number(std::string_view text) {
    uint32_t number = 0;
    auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (fault != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

bool IsAddressOrLocal(std::string_view host) {
    bool bracketed = host.starts_with('[');
    if (bracketed) {
        size_t end = host.find(']');
        if (end == std::string_view::npos) return false;
        std::string address(host.substr(1, end - 1));
        in6_addr parsed;
        return inet_pton(AF_INET6, address.c_str(), &parsed) == 1;
    }
    std::string name(host.substr(0, host.find(':')));
    in_addr parsed;
    return name == "localhost" || inet_pton(AF_INET, name.c_str(), &parsed) == 1;
}

}  // namespace

TcrPageReply TcrPage::Answer(const TcrPageRequest& request, int64_t now) {
    if (request.method != "GET" && request.method != "HEAD") {
        return Refusal(kMethodNotAllowed, "only GET and HEAD\n");
    }
    if (m_names_only_of_host && request.host && !IsAddressOrLocal(*request.host)) {
        return Refusal(kMisdirected, "ask by address, or as localhost\n");
    }
    for (const TcrPageAsset& asset : tcr_page_assets()) {
        if (request.path == asset.path) return {kOk, asset.type, asset.content, nullptr};
    }
    return Data(request, now);
}

TcrPageReply TcrPage::Data(const TcrPageRequest& request, int64_t now) {
    if (request.path == kHistoryPath) return History(request);
    bool wants_status = request.path == kStatusPath;
    if (!wants_status && request.path != kMetricsPath) {
        return Refusal(kNotFound, "no such page\n");
    }
    if (!Refresh(now)) return Refusal(kUnavailable, "the central router does not answer\n");
    if (wants_status) {
        if (!m_status) m_status = Keep(tcr_snapshot_json(m_snapshot));
        return Made(kJson, m_status);
    }
    if (!m_metrics) m_metrics = Keep(tcr_metrics(m_snapshot));
    return Made(kMetricsType, m_metrics);
}

TcrPageReply TcrPage::History(const TcrPageRequest& request) {
    TcrTrafficHistory::Samples samples;
    if (request.subnet || request.edge) {
        std::optional<uint32_t> number = Number(request.edge ? *request.edge : *request.subnet);
        if (!number) return Refusal(kBadRequest, "not a number\n");
        bool in_range = *number <= INT32_MAX;
        if (request.edge) {
            samples = m_history.OfEdge(*number);
        } else if (in_range) {
            samples = m_history.OfSubnet(static_cast<int>(*number));
        }
    } else {
        samples = m_history.OfAll();
    }
    return Made(kJson, Keep(tcr_history_json(samples, m_history.UnixMillis())));
}

// Also a snapshot that was not answered counts for its second: whoever asks would wait for each.
bool TcrPage::Refresh(int64_t now) {
    if (m_asked_at && now - *m_asked_at < kFreshMs) return m_has_snapshot;
    m_status.reset();
    m_metrics.reset();
    m_has_snapshot = m_source(m_snapshot);
    m_asked_at = now;
    return m_has_snapshot;
}

void TcrPage::Elapse(int64_t now) {
    if (now < m_next_sample) return;
    // One that was left out is not made up for.
    m_next_sample = now + TcrTrafficHistory::kStepMs;
    if (Refresh(now)) m_history.Add(m_snapshot);
}
