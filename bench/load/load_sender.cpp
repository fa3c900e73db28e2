#include "bench/load/load_sender.h"

#include <poll.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr int kSocketBuffer = 1024 * 1024;
constexpr std::chrono::microseconds kTick(200);
constexpr Seconds kCatchUp(0.001);
// Queues on the road empty themselves meanwhile: 4096 packets at the slowest system's rate.
constexpr std::chrono::milliseconds kQuiet(60);
constexpr int kAnswerMs = 100;
constexpr int kQuestions = 100;
constexpr double kLittle = 0.01;

double Since(Clock::time_point begin) {
    return Seconds(Clock::now() - begin).count();
}

}  // namespace

LoadSender::LoadSender(const sockaddr_in& to, int size)
    : m_udp(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)),
      m_to(to),
      m_buffer{m_data.data(), static_cast<size_t>(std::clamp(size, kLoadSmallest, kLoadLargest))} {
    setsockopt(m_udp, SOL_SOCKET, SO_SNDBUF, &kSocketBuffer, sizeof kSocketBuffer);
    // Ticks are shorter than what a sleep may be late by default.
    prctl(PR_SET_TIMERSLACK, 1);
    for (mmsghdr& message : m_messages) {
        message.msg_hdr.msg_name = &m_to;
        message.msg_hdr.msg_namelen = sizeof m_to;
        message.msg_hdr.msg_iov = &m_buffer;
        message.msg_hdr.msg_iovlen = 1;
    }
}

LoadSender::~LoadSender() {
    close(m_udp);
}

std::optional<LoadResult> LoadSender::Run(double rate, double seconds) {
    m_run = static_cast<uint32_t>(m_random());
    LoadHeader header = {kLoadMagic, m_run, kLoadData};
    memcpy(m_data.data(), &header, sizeof header);
    Clock::time_point begin = Clock::now();
    LoadResult result;
    result.sent = rate > 0 ? SendPaced(rate, seconds) : SendAll(seconds);
    result.seconds = Since(begin);
    std::optional<LoadAnswer> answer = Ask();
    if (!answer) return std::nullopt;
    result.received = answer->received;
    if (answer->nanoseconds > 0)
        result.rate =
            static_cast<double>(answer->received) * 1e9 / static_cast<double>(answer->nanoseconds);
    return result;
}

uint64_t LoadSender::SendAll(double seconds) {
    uint64_t sent = 0;
    for (Clock::time_point begin = Clock::now(); Since(begin) < seconds;)
        sent += Send(kTogether);
    return sent;
}

uint64_t LoadSender::SendPaced(double rate, double seconds) {
    uint64_t sent = 0;
    Clock::time_point begin = Clock::now();
    Clock::time_point due = begin;
    Clock::duration step = std::chrono::duration_cast<Clock::duration>(Seconds(1 / rate));
    while (Since(begin) < seconds) {
        Clock::time_point now = Clock::now();
        due = std::max(due, now - std::chrono::duration_cast<Clock::duration>(kCatchUp));
        unsigned count = 0;
        for (; due <= now && count < kTogether; due += step)
            ++count;
        sent += Send(count);
        if (due > now) std::this_thread::sleep_until(std::max(due, now + kTick));
    }
    return sent;
}

// How many the system took; what it refuses for want of room was not sent.
unsigned LoadSender::Send(unsigned count) {
    int n = sendmmsg(m_udp, m_messages.data(), count, 0);
    return n > 0 ? static_cast<unsigned>(n) : 0;
}

std::optional<LoadAnswer> LoadSender::Ask() {
    std::this_thread::sleep_for(kQuiet);
    LoadHeader question = {kLoadMagic, m_run, kLoadQuestion};
    for (int i = 0; i < kQuestions; ++i) {
        sendto(m_udp, &question, sizeof question, 0, reinterpret_cast<const sockaddr*>(&m_to),
               sizeof m_to);
        LoadAnswer answer;
        if (WaitAnswer(answer)) return answer;
    }
    return std::nullopt;
}

bool LoadSender::WaitAnswer(LoadAnswer& answer) {
    pollfd wait = {m_udp, POLLIN, 0};
    while (poll(&wait, 1, kAnswerMs) > 0) {
        uint8_t data[sizeof answer];
        ssize_t n = recv(m_udp, data, sizeof data, 0);
        if (n > 0 && ReadLoad(data, static_cast<size_t>(n), answer) && answer.run == m_run)
            return true;
    }
    return false;
}

std::optional<double> LoadSender::SearchLossFree(double highest, int halvings, double seconds) {
    double good = 0;
    double low = 0;
    for (int i = 0; i < halvings; ++i) {
        double rate = (low + highest) / 2;
        std::optional<LoadResult> result = Run(rate, seconds);
        if (result && result->Lost() > 0 &&
            static_cast<double>(result->Lost()) < kLittle * static_cast<double>(result->sent))
            result = Run(rate, seconds);
        if (!result) return std::nullopt;
        (result->Lost() == 0 ? low : highest) = rate;
        if (result->Lost() == 0) good = std::max(good, result->rate);
    }
    return good;
}
