#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cstdint>
#include <optional>
#include <random>

#include "bench/load/load_message.h"

// What became of one run.
struct LoadResult {
    uint64_t sent = 0;
    uint64_t received = 0;
    double seconds = 0;  // of sending
    double rate = 0;     // received in a second, by the sink's clock

    uint64_t Lost() const { return sent - received; }
};

// Sends UDP datagrams of one size to a sink, at a rate or as fast as it can, and asks the sink what
// arrived. One thread.
class LoadSender {
  public:
    // Size within kLoadSmallest and kLoadLargest.
    LoadSender(const sockaddr_in& to, int size);
    ~LoadSender();
    LoadSender(const LoadSender&) = delete;
    LoadSender& operator=(const LoadSender&) = delete;

    // Rate in datagrams a second, 0 for as many as go. A sender that was held up does not catch up
    // by more than a millisecond's worth: the rate that counts is the result's. Nothing when the
    // sink does not answer for ten seconds.
    std::optional<LoadResult> Run(double rate, double seconds);
    // The highest rate at which nothing was lost, between nothing and the given one, in so many
    // halvings with a run of that length each, and a second one where the first lost little. 0 when
    // every one lost something; nothing as above.
    std::optional<double> SearchLossFree(double highest, int halvings, double seconds);

  private:
    static constexpr unsigned kTogether = 32;

    uint64_t SendAll(double seconds);
    uint64_t SendPaced(double rate, double seconds);
    unsigned Send(unsigned count);
    std::optional<LoadAnswer> Ask();
    bool WaitAnswer(LoadAnswer& answer);

    const int m_udp;
    std::mt19937 m_random{std::random_device{}()};
    uint32_t m_run = 0;
    sockaddr_in m_to;
    std::array<uint8_t, kLoadLargest> m_data{};
    iovec m_buffer;
    std::array<mmsghdr, kTogether> m_messages{};
};
