// The central router: datagrams from several sources, time that passes, and a state that is
// written, lost and taken up again. Whatever is written must be a state that a start takes.
//
// Input: steps. A byte below 16 is the source of a datagram, which follows as a record; 16 prints
// the table; 240 and above do something to the state or the configuration, see below; between, time
// passes: the byte minus 16 tenths of a second.

#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "tcr/central_router.h"
#include "tcr/state_check.h"
#include "tests/tcr/state_memory.h"

namespace {

constexpr uint8_t kSources = 16;
constexpr uint8_t kPrintTable = 16;
constexpr uint8_t kHold = 240;  // from now on writes are under way, or no longer
constexpr uint8_t kLose = 241;
constexpr uint8_t kRestart = 242;
constexpr uint8_t kReload = 243;  // and above: with another configuration each
constexpr TcrTime kTickMs = 100;
constexpr int64_t kUnixAtZero = 1'700'000'000;
constexpr int kLargestDatagram = 2048;

// Whatever goes out must be a whole message.
class CheckedLink : public TcrLink {
  public:
    bool Send(const TcrPath&, const void* data, int length) override {
        const uint8_t* bytes = static_cast<const uint8_t*>(data);
        if (length < 16 || length > kLargestDatagram) abort();
        if ((bytes[4] << 8 | bytes[5]) > length) abort();
        return (bytes[3] & 1) == 0;  // now and then the system refuses it
    }
    void Tell(const char* line) override {
        for (; *line != '\0'; ++line) {
            if (static_cast<unsigned char>(*line) < ' ') abort();
        }
    }
};

// The configurations differ in subnets and in what the second one is.
TcrConfig Config(int variant) {
    TcrConfig config;
    config.subnets.push_back({"second", "", 0x0A000001, 0xFFFFFFFC});
    if ((variant & 1) != 0) config.subnets[1].gateway = 0x0A000002;
    if ((variant & 2) != 0) config.subnets[1].edges = {0, 1, 2};
    if ((variant & 4) != 0) config.subnets.erase(config.subnets.begin());
    return config;
}

class Run {
  public:
    void Step(uint8_t step, FuzzInput& input) {
        if (step < kSources) {
            std::vector<uint8_t> datagram = input.TakeRecord();
            TcrPath from{CTSockAddr(0x0A000001U + step, static_cast<uint16_t>(1000 + step)), step};
            m_router->Receive(from, datagram.data(), static_cast<int>(datagram.size()), m_now);
        } else if (step == kPrintTable) {
            m_router->PrintTable(m_now);
        } else if (step < kHold) {
            m_now += (step - kPrintTable) * kTickMs;
            m_router->Tick(m_now);
        } else {
            Change(step);
        }
        m_router->EndOfWakeUp(m_now);
        if (!m_hold) Write();
    }

  private:
    void Change(uint8_t step) {
        if (step == kHold) {
            m_hold = !m_hold;
        } else if (step == kLose && m_state.IsWaiting()) {
            m_router->SaveFailed(m_state.Lose(), "lost", m_now);
        } else if (step == kRestart) {
            m_state.Restarted();
            m_router.emplace(Config(m_variant), m_link, &m_state);
            m_router->Restore(m_state.Image(), m_now, m_now / 1000 + kUnixAtZero);
        } else if (step >= kReload) {
            m_variant = step - kReload;
            m_router->Reload(Config(m_variant), m_now);
        }
    }

    void Write() {
        if (!m_state.IsWaiting()) return;
        m_router->Saved(m_state.Write(), m_now);
        std::string fault;
        if (!tcr_state_check(m_state.Image(), fault)) abort();
    }

    CheckedLink m_link;
    bool m_hold = false;
    MemoryState m_state;
    int m_variant = 0;
    TcrTime m_now = 0;
    std::optional<CTCentralRouter> m_router{std::in_place, Config(0), m_link, &m_state};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzInput input(data, size);
    Run run;
    while (!input.Empty())
        run.Step(input.Take8(), input);
    return 0;
}
