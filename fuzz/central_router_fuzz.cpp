// The central router: datagrams from several sources, and time that passes.
//
// Input: steps. A byte below 16 is the source of a datagram, which follows as a record; 16 prints
// the table; above that, time passes: the byte minus 16 tenths of a second.

#include <cstdlib>
#include <cstring>

#include "fuzz/fuzz_input.h"
#include "tcr/central_router.h"

namespace {

constexpr uint8_t kSources = 16;
constexpr uint8_t kPrintTable = 16;
constexpr TcrTime kTickMs = 100;
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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzInput input(data, size);
    CheckedLink link;
    TcrConfig config;
    config.subnets.push_back({"second", "", 0x0A000001, 0xFFFFFFFC});
    CTCentralRouter router(config, link);
    TcrTime now = 0;
    while (!input.Empty()) {
        uint8_t step = input.Take8();
        if (step < kSources) {
            std::vector<uint8_t> datagram = input.TakeRecord();
            TcrPath from{CTSockAddr(0x0A000001U + step, static_cast<uint16_t>(1000 + step))};
            router.Receive(from, datagram.data(), static_cast<int>(datagram.size()), now);
        } else if (step == kPrintTable) {
            router.PrintTable(now);
        } else {
            now += (step - kPrintTable) * kTickMs;
            router.Tick(now);
        }
    }
    return 0;
}
