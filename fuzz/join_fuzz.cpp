// Every reply of the join, through the client and its list walk: a central router on loopback
// answers each request of a whole edge with the next record of the input. The header's type, dst
// and seq are made to match, as a reply that does not only costs an attempt; sub type, length and
// body are the input's. Behind the last record every reply is an empty datagram.
//
// Input: replies as records.

#include <arpa/inet.h>
#include <sys/socket.h>

#include <cstring>
#include <mutex>
#include <thread>

#include "base/pvu_sockaddr.h"
#include "base/pvu_udp.h"
#include "fuzz/fuzz_input.h"
#include "sys/tsdw_sys.h"

namespace {

constexpr int kBufSize = 2048;
constexpr size_t kHeaderSize = 16;

// Answers in a thread of its own for as long as the process lives.
class Answerer {
  public:
    Answerer() {
        m_udp.Open(0);
        std::thread([this] { Run(); }).detach();
    }
    uint16_t Port() const {
        sockaddr_in addr = {};
        socklen_t size = sizeof addr;
        getsockname(m_udp.GetHandle(), reinterpret_cast<sockaddr*>(&addr), &size);
        return ntohs(addr.sin_port);
    }
    void SetReplies(FuzzInput input) {
        std::lock_guard<std::mutex> guard(m_mutex);
        m_input = input;
    }

  private:
    void Run() {
        uint8_t request[kBufSize];
        sockaddr_in from;
        for (;;) {
            socklen_t size = sizeof from;
            ssize_t n = recvfrom(m_udp.GetHandle(), request, sizeof request, 0,
                                 reinterpret_cast<sockaddr*>(&from), &size);
            if (n < static_cast<ssize_t>(kHeaderSize)) continue;
            std::vector<uint8_t> reply = NextReply();
            if (reply.size() >= kHeaderSize) {
                reply[0] = static_cast<uint8_t>(request[0] + 1);
                memcpy(&reply[2], &request[2], 2);
                memcpy(&reply[12], &request[8], 4);
            }
            const void* bytes = reply.empty() ? "" : static_cast<const void*>(reply.data());
            m_udp.Write(&from, bytes, static_cast<int>(reply.size()));
        }
    }
    std::vector<uint8_t> NextReply() {
        std::lock_guard<std::mutex> guard(m_mutex);
        return m_input.TakeRecord();
    }

    CTUdp m_udp;
    std::mutex m_mutex;
    FuzzInput m_input{nullptr, 0};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static Answerer* answerer = new Answerer;  // outlives every input
    answerer->SetReplies(FuzzInput(data, size));
    CTsdwSys edge;
    edge.GetConfig().SetCentralRouterIPAddr(CIPv4Addr(127, 0, 0, 1).GetIP());
    edge.GetConfig().SetCentralRouterPort(answerer->Port());
    edge.SstpConnect();
    edge.SstpDisConnect();
    answerer->SetReplies(FuzzInput(nullptr, 0));  // the bytes end with this call
    return 0;
}
