// A bad wire for the lab: carries Ethernet frames between two interfaces and drops, doubles,
// delays, reorders, corrupts and cuts the UDP datagrams among them, at given rates and from a given
// seed.
//
//     tamvo-impair [--loss P] [--duplicate P] [--reorder P] [--corrupt P] [--truncate P]
//                  [--delay MS] [--jitter MS] [--seed N] INTERFACE INTERFACE
//
// Rates are percentages. A reordered frame waits for 10 ms, so that those behind it overtake it.
// Everything that is not UDP over IPv4 passes untouched. Runs until SIGINT or SIGTERM and then
// prints what it did.

#include <getopt.h>
#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <utility>

#include "lab/road/road_end.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kFramesBetweenWakes = 64;
constexpr std::chrono::milliseconds kReorderHold(10);

struct Rates {
    double loss = 0;
    double duplicate = 0;
    double reorder = 0;
    double corrupt = 0;
    double truncate = 0;
    int delay_ms = 0;
    int jitter_ms = 0;
    unsigned seed = 1;
};

struct Counters {
    unsigned long passed = 0;
    unsigned long lost = 0;
    unsigned long duplicated = 0;
    unsigned long reordered = 0;
    unsigned long corrupted = 0;
    unsigned long truncated = 0;
};

class Wire {
  public:
    explicit Wire(const Rates& rates) : m_rates(rates), m_random(rates.seed) {}

    bool Open(int end, const char* interface) { return m_ends[end].Open(interface); }
    int Handle(int end) const { return m_ends[end].Handle(); }

    // Takes what waits at that end and decides its fate.
    void Receive(int end);
    // Sends what is due; the milliseconds until the next one is, or -1.
    int SendDue();
    void PrintCounters() const;

  private:
    struct Held {
        int end;
        Frame frame;
    };

    bool Happens(double percent) { return m_percent(m_random) < percent; }
    int UpTo(int limit) { return std::uniform_int_distribution<int>(0, limit)(m_random); }
    void Impair(int to, Frame frame);
    void Spoil(Frame& frame, size_t udp_offset);
    Clock::duration Delay();

    const Rates m_rates;
    std::mt19937 m_random;
    std::uniform_real_distribution<double> m_percent{0, 100};
    RoadEnd m_ends[2];
    std::multimap<Clock::time_point, Held> m_held;
    Counters m_counters;
};

void Wire::Receive(int end) {
    Frame frame;
    for (int i = 0; i < kFramesBetweenWakes && m_ends[end].Receive(frame); ++i)
        Impair(1 - end, std::move(frame));
}

void Wire::Impair(int to, Frame frame) {
    size_t udp_offset = UdpOffset(frame);
    if (udp_offset == 0) return m_ends[to].Send(frame);
    if (Happens(m_rates.loss)) {
        ++m_counters.lost;
        return;
    }
    Spoil(frame, udp_offset);
    ++m_counters.passed;
    int copies = 1;
    if (Happens(m_rates.duplicate)) {
        ++m_counters.duplicated;
        copies = 2;
    }
    for (int i = 0; i < copies; ++i)
        m_held.insert({Clock::now() + Delay(), Held{to, frame}});
}

void Wire::Spoil(Frame& frame, size_t udp_offset) {
    size_t begin = udp_offset + kUdpHeader;
    size_t payload = PayloadSize(frame, udp_offset);
    if (payload > 0 && Happens(m_rates.truncate)) {
        payload = static_cast<size_t>(UpTo(static_cast<int>(payload) - 1));
        ++m_counters.truncated;
    }
    SetPayload(frame, udp_offset, payload);
    if (payload > 0 && Happens(m_rates.corrupt)) {
        size_t at = begin + static_cast<size_t>(UpTo(static_cast<int>(payload) - 1));
        frame[at] = static_cast<uint8_t>(frame[at] ^ (1U << UpTo(7)));
        ++m_counters.corrupted;
    }
}

Clock::duration Wire::Delay() {
    Clock::duration delay = std::chrono::milliseconds(m_rates.delay_ms + UpTo(m_rates.jitter_ms));
    if (Happens(m_rates.reorder)) {
        ++m_counters.reordered;
        delay += kReorderHold;
    }
    return delay;
}

int Wire::SendDue() {
    Clock::time_point now = Clock::now();
    while (!m_held.empty() && m_held.begin()->first <= now) {
        m_ends[m_held.begin()->second.end].Send(m_held.begin()->second.frame);
        m_held.erase(m_held.begin());
    }
    if (m_held.empty()) return -1;
    auto wait = std::chrono::ceil<std::chrono::milliseconds>(m_held.begin()->first - now);
    return static_cast<int>(wait.count());
}

void Wire::PrintCounters() const {
    printf("passed %lu lost %lu duplicated %lu reordered %lu corrupted %lu truncated %lu\n",
           m_counters.passed, m_counters.lost, m_counters.duplicated, m_counters.reordered,
           m_counters.corrupted, m_counters.truncated);
}

// False for a command line that cannot be read.
bool ParseOptions(int argc, char** argv, Rates& rates) {
    constexpr option kOptions[] = {
        {"loss", required_argument, nullptr, 'l'},
        {"duplicate", required_argument, nullptr, 'u'},
        {"reorder", required_argument, nullptr, 'r'},
        {"corrupt", required_argument, nullptr, 'c'},
        {"truncate", required_argument, nullptr, 't'},
        {"delay", required_argument, nullptr, 'd'},
        {"jitter", required_argument, nullptr, 'j'},
        {"seed", required_argument, nullptr, 's'},
        {nullptr, 0, nullptr, 0},
    };
    for (int c; (c = getopt_long(argc, argv, "", kOptions, nullptr)) != -1;) {
        switch (c) {
            case 'l':
                rates.loss = atof(optarg);
                break;
            case 'u':
                rates.duplicate = atof(optarg);
                break;
            case 'r':
                rates.reorder = atof(optarg);
                break;
            case 'c':
                rates.corrupt = atof(optarg);
                break;
            case 't':
                rates.truncate = atof(optarg);
                break;
            case 'd':
                rates.delay_ms = std::max(0, atoi(optarg));
                break;
            case 'j':
                rates.jitter_ms = std::max(0, atoi(optarg));
                break;
            case 's':
                rates.seed = static_cast<unsigned>(atoi(optarg));
                break;
            default:
                return false;
        }
    }
    return argc - optind == 2;
}

}  // namespace

int main(int argc, char** argv) {
    Rates rates;
    if (!ParseOptions(argc, argv, rates)) {
        fprintf(stderr, "Usage: tamvo-impair [RATES] INTERFACE INTERFACE\n");
        return 2;
    }
    sigset_t mask;
    sigemptyset(&mask);
    sigaddset(&mask, SIGINT);
    sigaddset(&mask, SIGTERM);
    sigprocmask(SIG_BLOCK, &mask, nullptr);
    int signals = signalfd(-1, &mask, SFD_CLOEXEC);
    Wire wire(rates);
    if (signals < 0 || !wire.Open(0, argv[optind]) || !wire.Open(1, argv[optind + 1])) return 1;
    printf("ready\n");
    fflush(stdout);
    for (;;) {
        pollfd wait[] = {
            {wire.Handle(0), POLLIN, 0}, {wire.Handle(1), POLLIN, 0}, {signals, POLLIN, 0}};
        poll(wait, 3, wire.SendDue());
        if (wait[2].revents != 0) break;
        for (int end = 0; end < 2; ++end) {
            if (wait[end].revents != 0) wire.Receive(end);
        }
    }
    wire.PrintCounters();
    close(signals);
    return 0;
}
