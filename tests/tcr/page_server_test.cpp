// The server of the page over real connections: what a browser, a hostile and a slow client get.

#include "tcr/page_server.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "tests/tcr/simulated_edge.h"

namespace {

using namespace std::string_literals;

constexpr int kPatienceMs = 30'000;

class Client {
  public:
    explicit Client(uint16_t port) : m_fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in to = {};
        to.sin_family = AF_INET;
        to.sin_port = htons(port);
        to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(connect(m_fd, reinterpret_cast<sockaddr*>(&to), sizeof to), 0);
    }
    ~Client() { close(m_fd); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    void Send(std::string_view text) { send(m_fd, text.data(), text.size(), MSG_NOSIGNAL); }
    // Everything up to the end of the connection, which has to come.
    std::string Rest() {
        std::string all;
        char buffer[4096];
        for (;;) {
            pollfd wait = {m_fd, POLLIN, 0};
            if (poll(&wait, 1, kPatienceMs) <= 0) {
                ADD_FAILURE() << "the connection stays open";
                return all;
            }
            ssize_t n = recv(m_fd, buffer, sizeof buffer, 0);
            if (n <= 0) return all;
            all.append(buffer, static_cast<size_t>(n));
        }
    }

  private:
    int m_fd;
};

class PageServer : public testing::Test {
  protected:
    void SetUp() override {
        std::string fault;
        ASSERT_TRUE(desk.Open(fault)) << fault;
        central = std::thread([this] {
            while (!ends) {
                pollfd wait = {desk.EventHandle(), POLLIN, 0};
                if (poll(&wait, 1, 10) > 0) desk.Serve(*rig.router, 0);
            }
        });
        ASSERT_TRUE(server.Start("127.0.0.1", 0, desk, fault)) << fault;
    }
    ~PageServer() override {
        ends = true;
        if (central.joinable()) central.join();
        desk.Close();
    }
    std::string Ask(std::string_view request) {
        Client client(server.Port());
        client.Send(request);
        return client.Rest();
    }

    CentralRouterRig rig;
    TcrDesk desk;
    std::atomic<bool> ends = false;
    std::thread central;
    TcrPageServer server;  // ends before what it asks
};

constexpr char kGetStatus[] = "GET /status.json HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n";

TEST_F(PageServer, AnswersWithHeadersThatLetNothingElseIn) {
    std::string page = Ask("GET / HTTP/1.1\r\nHost: localhost\r\n\r\n");
    EXPECT_TRUE(page.starts_with("HTTP/1.1 200 ")) << page;
    for (const char* header :
         {"\r\nContent-Security-Policy: default-src 'none'; script-src 'self'; style-src 'self';",
          "\r\nX-Content-Type-Options: nosniff\r\n", "\r\nConnection: close\r\n",
          "\r\nContent-Type: text/html; charset=utf-8\r\n"})
        EXPECT_NE(page.find(header), std::string::npos) << header << page;
    EXPECT_EQ(page.find("unsafe"), std::string::npos);
    EXPECT_NE(page.find("\r\n\r\n<!doctype html>"), std::string::npos);

    std::string status = Ask(kGetStatus);
    EXPECT_NE(status.find("\r\n\r\n{\"schema\":1,\"program\":\"tamvo-tcr\","), std::string::npos);
    std::string head = Ask("HEAD /status.json HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n");
    EXPECT_TRUE(head.starts_with("HTTP/1.1 200 ")) << head;
    EXPECT_TRUE(head.ends_with("\r\n\r\n")) << head;
    EXPECT_TRUE(Ask("GET /nothing HTTP/1.0\r\n\r\n").starts_with("HTTP/1.1 404 "));
}

TEST_F(PageServer, RefusesWhatIsNoRequestForItAndGoesOn) {
    std::string post =
        Ask("POST /status.json HTTP/1.1\r\nHost: 127.0.0.1\r\n"
            "Content-Length: 4000000000\r\n\r\nx");
    EXPECT_TRUE(post.starts_with("HTTP/1.1 405 ")) << post;
    EXPECT_NE(post.find("Allow: GET, HEAD"), std::string::npos);
    std::string endless(2 * TcrPageServer::kMaxRequest, 'a');
    std::vector<std::string> hostile = {
        "GET /" + endless + " HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n",
        "GET / HTTP/1.1\r\nHost: 127.0.0.1\r\nX: " + endless + "\r\n\r\n",
        endless,
        "GET / HTTP/9.9\r\n\r\n",
        "\r\n\r\n\r\n \r\n\r\n",
        "GET /\0 HTTP/1.1\r\nHost: \0\r\n\r\n"s,
        "GET /%00%ff%zz?%=%&edge=%00 HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n",
        "GET / HTTP/1.1\r\nHost: evil.example\r\n\r\n",
        "GET / HTTP/1.1\r\nHost: 127.0.0.1\r\nTransfer-Encoding: chunked\r\n\r\nfffffffffffff\r\n",
    };
    for (const std::string& request : hostile) {
        Client client(server.Port());
        client.Send(request);
        client.Send("\r\n\r\n");
        std::string reply = client.Rest();
        bool has_page = reply.starts_with("HTTP/1.1 200");
        EXPECT_EQ(has_page, request.find("chunked") != std::string::npos)
            << request.substr(0, 80) << "\n"
            << reply.substr(0, 80);
    }
    EXPECT_TRUE(Ask(kGetStatus).starts_with("HTTP/1.1 200 "));
}

// Whoever holds connections and says nothing is let go for those who ask.
TEST_F(PageServer, IsNotHeldUpByManyThatSayNothing) {
    std::list<Client> silent;
    for (size_t i = 0; i < 2 * TcrPageServer::kMaxClients; ++i) {
        silent.emplace_back(server.Port());
        silent.back().Send("GET /status.json HTTP/1.1\r\nX: ");
    }
    for (int i = 0; i < 5; ++i)
        EXPECT_TRUE(Ask(kGetStatus).starts_with("HTTP/1.1 200 "));
    EXPECT_EQ(silent.front().Rest(), "");
}

TEST_F(PageServer, TellsWhereItCannotListenAndEndsWithClientsAtWork) {
    TcrPageServer second;
    std::string fault;
    EXPECT_FALSE(second.Start("127.0.0.1", server.Port(), desk, fault));
    EXPECT_EQ(fault, "127.0.0.1:" + std::to_string(server.Port()) + ": Address already in use");
    EXPECT_FALSE(second.Start("192.0.2.1", 80, desk, fault));
    EXPECT_EQ(fault, "192.0.2.1:80: Cannot assign requested address");
    Client half(server.Port());
    half.Send("GET /");
    server.Stop();
    EXPECT_EQ(half.Rest(), "");
    ASSERT_TRUE(server.Start("127.0.0.1", 0, desk, fault)) << fault;
    EXPECT_TRUE(Ask(kGetStatus).starts_with("HTTP/1.1 200 "));
}

}  // namespace
