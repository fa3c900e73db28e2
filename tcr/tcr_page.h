#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tcr/snapshot.h"
#include "tcr/traffic_history.h"

// What a browser asks for. The texts are as they came; an argument is absent where it was not
// given.
struct TcrPageRequest {
    std::string_view method;
    std::string_view path;  // without arguments
    std::optional<std::string_view> host = {};
    std::optional<std::string_view> subnet = {};  // ?subnet=INDEX
    std::optional<std::string_view> edge = {};    // ?edge=IDENTIFIER
};

struct TcrPageReply {
    using Body = std::shared_ptr<const std::string>;

    unsigned status = 0;
    std::string_view type;
    std::string_view fixed;  // the body where it is part of the program
    Body body;               // null: it is
};

// What the central router's page shows (docs/page.md): the files of the page, the state, the
// history of the last hour, and the metrics. It only reads. However many ask, the central router's
// thread takes a snapshot once a second at most. One thread.
class TcrPage {
  public:
    static constexpr int64_t kFreshMs = 1000;

    // False where there is no answer from the central router's thread.
    using Source = std::function<bool(TcrSnapshot&)>;

    // With names_only_of_host, requests are refused that name another host than an address or
    // "localhost": a page from elsewhere could otherwise have a visitor's browser read this one, by
    // a name of its own that leads here.
    TcrPage(Source source, bool names_only_of_host)
        : m_source(std::move(source)), m_names_only_of_host(names_only_of_host) {}

    // Times are milliseconds of a clock that never goes back.
    TcrPageReply Answer(const TcrPageRequest& request, int64_t now);
    // Takes the samples of the history, to be called at NextSample at the latest.
    void Elapse(int64_t now);
    int64_t NextSample() const { return m_next_sample; }

  private:
    bool Refresh(int64_t now);
    TcrPageReply Data(const TcrPageRequest& request, int64_t now);
    TcrPageReply History(const TcrPageRequest& request);

    const Source m_source;
    const bool m_names_only_of_host;
    TcrTrafficHistory m_history;
    int64_t m_next_sample = INT64_MIN;

    // The last snapshot, and what was made of it; null: nobody asked yet.
    TcrSnapshot m_snapshot;
    bool m_has_snapshot = false;
    std::optional<int64_t> m_asked_at;
    TcrPageReply::Body m_status;
    TcrPageReply::Body m_metrics;
};
