// Sealed channels, both ends: an edge's link and the central router's channels shake hands and
// exchange messages over a road on which the input does harm. Datagrams that they sent are
// delivered, changed, cut, doubled, withheld, sent once more or sent from elsewhere, and others
// come out of nowhere. What an end takes must be what the other end sealed, byte for byte.
//
// Input: steps, each a byte, the low bit of which says to which end; see Run::Step.

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <set>
#include <string>
#include <unordered_set>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "sstp/sealed_link.h"
#include "sstp/sstp_login.h"
#include "tcr/channels.h"

namespace {

using Bytes = std::vector<uint8_t>;

constexpr int kMostSteps = 64;
constexpr size_t kMostKept = 256;
constexpr size_t kRoom = 2048;  // of a receiver
constexpr TcrTime kTickMs = 100;
constexpr uint32_t kLoopback = 0x7F000001;
constexpr uint32_t kElsewhere = 0x0A000001;

// A key costs more than all the rest of a run.
const CTSealKey& Key() {
    static const CTSealKey* key = [] {
        auto* made = new CTSealKey;
        std::string fault;
        if (!made->Make(fault)) abort();
        return made;
    }();
    return *key;
}

// A socket on loopback, where the edge's datagrams are picked up.
class Loopback {
  public:
    Loopback() : m_fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
        CTSockAddr any(kLoopback, 0);
        socklen_t size = sizeof m_addr;
        bind(m_fd, reinterpret_cast<sockaddr*>(any.GetSockAddrin()), sizeof(sockaddr_in));
        getsockname(m_fd, reinterpret_cast<sockaddr*>(&m_addr), &size);
    }
    int Handle() const { return m_fd; }
    CTSockAddr Address() const { return CTSockAddr(&m_addr); }

  private:
    int m_fd;
    sockaddr_in m_addr = {};
};

class Run {
  public:
    Run() {
        Drain(nullptr);
        m_link.TurnOn(Key(), {Key().GetFingerprint()});
        m_link.Attach(Edge().Handle(), Central().Address());
        CTSstpLoginMsg login;
        if (!login.Create()) abort();
        m_link.SetLogin(login.GetBufferPtr(), login.GetMessageLength());
        m_link.Begin(m_now);
        Drain(&m_road[0]);
    }

    void Step(uint8_t step, FuzzInput& input) {
        bool down = (step & 1) != 0;
        std::vector<Bytes>& road = m_road[down ? 1 : 0];
        switch (step >> 1) {
            case 0:
                return Deliver(down, input.TakeRecord());
            case 1:  // everything that is on its way, in both directions, as long as there is any
                for (int i = 0; i < 8; ++i)
                    Pass();
                return;
            case 2:
                return Deliver(down, Take(road));
            case 3: {
                Bytes datagram = Take(road);
                size_t at = input.Take16();
                if (!datagram.empty()) datagram[at % datagram.size()] ^= input.Take8();
                return Deliver(down, datagram);
            }
            case 4: {
                Bytes datagram = Take(road);
                datagram.resize(datagram.size() * input.Take8() / 255);
                return Deliver(down, datagram);
            }
            case 5:  // twice
                if (!road.empty()) Deliver(down, road.front());
                return Deliver(down, Take(road));
            case 6:
                Take(road);
                return;
            case 7:
                return DeliverKept(down, input.Take8());
            case 8: {
                Bytes datagram = Take(road);
                return Deliver(down, datagram, kElsewhere + (input.Take8() & 3));
            }
            case 9:
                return Wait(input.Take8() * kTickMs);
            case 10:
                return Send(down, input.TakeRecord());
            case 11:
                m_link.Renew();
                return m_link.Step(m_now);
            case 12:
                return m_channels.EndBut({});
            default:
                return Pass();
        }
    }

  private:
    static Loopback& Edge() {
        static Loopback edge;
        return edge;
    }
    static Loopback& Central() {
        static Loopback central;
        return central;
    }

    void Keep(const Bytes& datagram) {
        if (m_kept.size() < kMostKept) m_kept.push_back(datagram);
    }
    // What the edge has sent.
    void Drain(std::vector<Bytes>* road) {
        uint8_t buffer[kRoom];
        for (;;) {
            ssize_t n = recv(Central().Handle(), buffer, sizeof buffer, 0);
            if (n < 0) return;
            if (!road) continue;
            road->emplace_back(buffer, buffer + n);
            Keep(road->back());
        }
    }
    static Bytes Take(std::vector<Bytes>& road) {
        if (road.empty()) return {};
        Bytes first = road.front();
        road.erase(road.begin());
        return first;
    }
    void Pass() {
        for (bool down : {false, true}) {
            std::vector<Bytes> all;
            all.swap(m_road[down ? 1 : 0]);
            for (const Bytes& datagram : all)
                Deliver(down, datagram);
        }
        m_link.Step(m_now);
        Drain(&m_road[0]);
    }
    void DeliverKept(bool down, uint8_t which) {
        if (!m_kept.empty()) Deliver(down, Bytes(m_kept[which % m_kept.size()]));
    }

    void Deliver(bool down, Bytes datagram, uint32_t from = 0) {
        if (datagram.empty() || datagram.size() > kRoom) return;
        down ? ToEdge(datagram, from) : ToRouter(datagram, from);
    }
    void ToEdge(Bytes& datagram, uint32_t from) {
        CTSockAddr source = Central().Address();
        if (from != 0) source = CTSockAddr(from, 1922);
        CTReceivedDatagram received = {datagram.data(), static_cast<int>(datagram.size()),
                                       source.GetSockAddrin()};
        bool is_sealed = TcrChannels::IsSealed(datagram.data(), received.length);
        if (m_link.Take(received, m_now) == CTSealedLink::Taken::kMessage) {
            Bytes message(received.data, received.data + received.length);
            if (from == 0 && m_down.count(message) == 0) abort();
            if (from != 0 && is_sealed) abort();
        }
        Drain(&m_road[0]);
    }
    void ToRouter(Bytes& datagram, uint32_t from) {
        int length = static_cast<int>(datagram.size());
        TcrPath path{Edge().Address()};
        if (from != 0) path.remote = CTSockAddr(from, 1000);
        if (!TcrChannels::IsSealed(datagram.data(), length)) return;
        if (!m_channels.Receive(path, datagram.data(), length, m_now)) return;
        Bytes message(datagram.data(), datagram.data() + length);
        if (from != 0) abort();
        if (message.size() > CTSealSession::kMaxMessage) abort();
        m_channel = path.channel;
        m_channels.Keep(m_channel);
        // A login in a next channel gets its reply there; what the edge says else was sealed here.
        if (m_up.count(message) != 0) return;
        CTSstpMessage msg;
        bool is_login = msg.Attach(message.data(), length) && msg.GetSubType() == kSstpCmmLogin;
        if (!is_login) abort();
        CTSstpLoginAck reply;
        if (!reply.Create()) abort();
        Send(true, Bytes(reply.GetBufferPtr(), reply.GetBufferPtr() + reply.GetMessageLength()));
    }

    void Send(bool down, const Bytes& message) {
        int length = static_cast<int>(message.size());
        if (down) {
            Bytes record(CTSealSession::kMaxRecord);
            int sealed = m_channels.Seal(m_channel, message.data(), length, record.data());
            if (sealed == 0) return;
            record.resize(static_cast<size_t>(sealed));
            m_down.insert(message);
            ToRoad(1, record);
            return;
        }
        CTSockAddr central = Central().Address();
        CTDatagram datagram = {message.data(), length, central.GetSockAddrin()};
        if (m_link.Seal(&datagram, 1, m_now) == 0) return;
        m_up.insert(message);
        ToRoad(0, Bytes(datagram.data, datagram.data + datagram.length));
    }
    void ToRoad(size_t way, const Bytes& datagram) {
        m_road[way].push_back(datagram);
        Keep(datagram);
    }

    void Wait(TcrTime ms) {
        m_now += ms;
        m_channels.Tick(m_now);
        m_link.Step(m_now);
        Drain(&m_road[0]);
        if (m_channels.CountStrangers() > TcrChannels::kMaxStrangers) abort();
    }

    TcrTime m_now = 0;
    std::vector<Bytes> m_road[2];  // on their way to the central router, and to the edge
    std::vector<Bytes> m_kept;
    std::set<Bytes> m_up, m_down;  // messages that were sealed
    uint64_t m_channel = 0;
    TcrChannels m_channels{Key(), [this](const TcrPath& to, const uint8_t* data, int length) {
                               if (to.remote == Edge().Address()) {
                                   ToRoad(1, Bytes(data, data + length));
                               }
                           }};
    CTSealedLink m_link;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzInput input(data, size);
    Run run;
    for (int i = 0; i < kMostSteps && !input.Empty(); ++i) {
        uint8_t step = input.Take8();
        run.Step(step, input);
    }
    return 0;
}
