#include "tcr/tcr_page.h"

#include <gtest/gtest.h>

#include "tcr/page_asset.h"

namespace {

class Page : public testing::Test {
  protected:
    Page() {
        snapshot.subnets.push_back({.index = 2, .name = "net", .edge_count = 1});
        snapshot.edges.emplace_back().identifier = 0x203;
    }
    TcrPage Make(bool names_only_of_host = false) {
        return {[this](TcrSnapshot& taken) {
                    ++asked;
                    taken = snapshot;
                    return answers;
                },
                names_only_of_host};
    }
    static TcrPageReply Get(TcrPage& page, std::string_view path, int64_t now = 0) {
        return page.Answer({.method = "GET", .path = path}, now);
    }

    TcrSnapshot snapshot;
    bool answers = true;
    int asked = 0;
};

TEST_F(Page, ServesItsFilesAsTheyAreAndNothingElse) {
    TcrPage page = Make();
    TcrPageReply whole = Get(page, "/");
    EXPECT_EQ(whole.status, 200u);
    EXPECT_EQ(whole.type, "text/html; charset=utf-8");
    EXPECT_TRUE(whole.fixed.starts_with("<!doctype html>"));
    EXPECT_TRUE(Get(page, "/page.css").type.starts_with("text/css"));
    EXPECT_TRUE(Get(page, "/map.js").type.starts_with("text/javascript"));
    for (const char* path : {"", "/page", "//", "/../tcr.json", "/page.js/", "/status.json/x"})
        EXPECT_EQ(Get(page, path).status, 404u) << path;
    EXPECT_EQ(asked, 0);
}

// What the policy that is sent with the page would keep from working.
TEST_F(Page, HasNoScriptAndNoStyleInItAndNeedsNobodyElse) {
    for (const TcrPageAsset& asset : tcr_page_assets()) {
        for (const char* text : {"://", "<style", "style=", "onclick", "onload", "innerHTML",
                                 "insertAdjacentHTML", "document.write", "eval("}) {
            if (std::string_view(text) == "://" && asset.path != "/page.css") continue;
            EXPECT_EQ(asset.content.find(text), std::string_view::npos)
                << asset.path << " " << text;
        }
    }
}

TEST_F(Page, OnlyReads) {
    TcrPage page = Make();
    for (const char* method : {"POST", "PUT", "DELETE", "OPTIONS", "CONNECT", "get", ""})
        EXPECT_EQ(page.Answer({.method = method, .path = "/"}, 0).status, 405u) << method;
    EXPECT_EQ(page.Answer({.method = "HEAD", .path = "/"}, 0).status, 200u);
}

TEST_F(Page, AsksTheCentralRouterOnceASecondHoweverManyAskIt) {
    TcrPage page = Make();
    page.Elapse(0);
    EXPECT_EQ(asked, 1);
    TcrPageReply first = Get(page, "/status.json", 10);
    EXPECT_EQ(first.type, "application/json");
    EXPECT_NE(first.body->find("\"name\":\"net\""), std::string::npos);
    EXPECT_EQ(Get(page, "/status.json", 999).body, first.body);
    EXPECT_NE(Get(page, "/metrics", 999).body->find("tamvo_tcr_edge_up{"), std::string::npos);
    EXPECT_EQ(asked, 1);
    snapshot.subnets[0].name = "later";
    EXPECT_NE(Get(page, "/status.json", 1000).body->find("later"), std::string::npos);
    EXPECT_EQ(first.body->find("later"), std::string::npos) << "it may be on its way still";

    answers = false;
    EXPECT_EQ(Get(page, "/status.json", 2000).status, 503u);
    EXPECT_EQ(Get(page, "/metrics", 2999).status, 503u);
    EXPECT_EQ(asked, 3) << "nobody waits for what was not answered just before";
}

TEST_F(Page, TellsTheHistoryOfAllOfASubnetAndOfAnEdge) {
    TcrPage page = Make();
    auto ask = [&](std::optional<std::string_view> subnet, std::optional<std::string_view> edge) {
        return page.Answer(
            {.method = "GET", .path = "/history.json", .subnet = subnet, .edge = edge}, 0);
    };
    EXPECT_NE(ask({}, {}).body->find("\"round_trip_ms\":[]"), std::string::npos);
    page.Elapse(0);
    page.Elapse(page.NextSample() - 1);
    EXPECT_NE(ask({}, {}).body->find("\"round_trip_ms\":[null]"), std::string::npos);
    page.Elapse(page.NextSample());
    EXPECT_NE(ask({}, {}).body->find("\"round_trip_ms\":[null,null]"), std::string::npos);
    EXPECT_EQ(ask("2", {}).status, 200u);
    EXPECT_EQ(ask({}, "515").status, 200u);
    for (const char* none : {"3", "4294967295"}) {
        EXPECT_NE(ask(none, {}).body->find("\"round_trip_ms\":[]"), std::string::npos) << none;
        EXPECT_NE(ask({}, none).body->find("\"round_trip_ms\":[]"), std::string::npos) << none;
    }
    for (const char* wrong : {"", "-1", "2x", " 2", "4294967296", "0x2"}) {
        EXPECT_EQ(ask(wrong, {}).status, 400u) << wrong;
        EXPECT_EQ(ask({}, wrong).status, 400u) << wrong;
    }
}

TEST_F(Page, IsReadOnAHostItselfUnderNoNameOfSomebodyElse) {
    TcrPage local = Make(true);
    TcrPage open = Make(false);
    auto status = [](TcrPage& page, std::string_view host) {
        return page.Answer({.method = "GET", .path = "/status.json", .host = host}, 0).status;
    };
    for (const char* host : {"127.0.0.1", "127.0.0.1:8080", "localhost:8080", "[::1]:8080"})
        EXPECT_EQ(status(local, host), 200u) << host;
    for (const char* host : {"evil.example", "127.0.0.1.evil.example:8080", "localhost.evil",
                             "[::1", "", "127.0.0.1@evil"}) {
        EXPECT_EQ(status(local, host), 421u) << host;
        EXPECT_EQ(status(open, host), 200u) << host;
    }
    EXPECT_EQ(Get(local, "/").status, 200u) << "of HTTP/1.0, without the header";
}

}  // namespace
