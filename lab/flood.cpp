// A flood for the lab: sends datagrams of one kind at an address, for a time, at a rate or as fast
// as it can. Prints "floods" when each of that kind was sent once, and at the end how many were.
//
//     tamvo-flood [--seconds N] [--rate N] [--size N] [--seed N] KIND ADDRESS PORT
//
//     plain       datagrams of zeros: traffic for the tunnel, if ADDRESS lies behind it
//     garbage     random bytes, half of them with a header that is true about the length
//     fragments   halves of network packets whose partner never comes
//     commands    what a central router tells an edge, of a router that no edge of the lab is
//     requests    what an edge asks of a central router
//     heartbeats  peer heartbeats
//
// Rate is datagrams per second, size their bytes (of garbage: at most). Messages are made by the
// programs' own encoders and sent with a number that changes.

#include <getopt.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <thread>
#include <vector>

#include "base/pvu_sockaddr.h"
#include "base/pvu_udp.h"
#include "inet/tnet_splitter.h"
#include "sstp/sstp_add_device.h"
#include "sstp/sstp_add_router.h"
#include "sstp/sstp_del_device.h"
#include "sstp/sstp_del_router.h"
#include "sstp/sstp_dhcp.h"
#include "sstp/sstp_echo.h"
#include "sstp/sstp_get_device.h"
#include "sstp/sstp_get_router.h"
#include "sstp/sstp_login.h"
#include "sstp/sstp_p2p_heartbeat.h"
#include "sstp/sstp_subnet.h"

namespace {

using Clock = std::chrono::steady_clock;
using Datagram = std::vector<uint8_t>;

// A slot that no edge of the lab gets, and an address that none has.
constexpr uint32_t kStranger = 14;
constexpr uint32_t kStrangerAddr = 0xC0A80FC8;  // 192.168.15.200
constexpr uint8_t kStrangerMac[] = {2, 0, 0, 0, 0, 0xC8};

constexpr int kGarbageVariants = 1024;
constexpr int kLargestDatagram = 65507;
constexpr unsigned long kSentBetweenClocks = 32;

struct Options {
    double seconds = 10;
    double rate = 0;
    int size = 200;
    unsigned seed = 1;
    const char* kind = "";
    const char* address = "";
    int port = 0;
};

// A message of that class with what fill sets.
template <typename Message, typename Fill>
Datagram Make(Fill fill) {
    Message msg;
    msg.Create();
    msg.SetSrc(kStranger);
    fill(msg);
    return Datagram(msg.GetBufferPtr(), msg.GetBufferPtr() + msg.GetMessageLength());
}
template <typename Message>
Datagram Make() {
    return Make<Message>([](Message&) {});
}

std::vector<Datagram> Commands() {
    return {
        Make<CTSstpAddRouterMsg>([](CTSstpAddRouterMsg& msg) {
            msg.SetIdentifier(kStranger);
            msg.SetRouterLabel("stranger");
        }),
        Make<CTSstpAddDeviceMsg>([](CTSstpAddDeviceMsg& msg) {
            CTSstpGetDeviceAckParamList list;
            list.Create(1);
            list.Append();
            list.SetIPv4Addr(kStrangerAddr);
            list.SetEtherAddr(kStrangerMac);
            msg.SetIdentifier(kStranger);
            msg.FillParamList(list);
        }),
        Make<CTSstpDelDeviceMsg>([](CTSstpDelDeviceMsg& msg) {
            uint32_t addr = htonl(kStrangerAddr);
            msg.SetIdentifier(kStranger);
            msg.FillParamList(&addr, 1);
        }),
        Make<CTSstpDelRouterMsg>([](auto& msg) { msg.SetIdentifier(kStranger); }),
    };
}

std::vector<Datagram> Requests() {
    return {
        Make<CTSstpEchoMsg>(),
        Make<CTSstpLoginMsg>([](CTSstpLoginMsg& msg) {
            msg.SetSubnetName("qwop");
            msg.SetUserPwd("a guess");
        }),
        Make<CTSstpDhcpMsg>(),
        Make<CTSstpSubnetMsg>(),
        Make<CTSstpGetRouterMsg>(),
        Make<CTSstpGetDeviceMsg>(),
    };
}

// A first fragment of that many bytes.
Datagram Fragment(int size) {
    Datagram fragment(static_cast<size_t>(std::max(kSstpHeaderSize, size)));
    CTSstpMessage msg;
    msg.Attach(fragment.data(), static_cast<int>(fragment.size()));
    msg.SetType(kSstpNetPacket);
    msg.SetLength(static_cast<uint16_t>(fragment.size()));
    msg.SetFrameTotal(kFrameTotalPair);
    msg.SetFrameIndex(kFrameIndexFirst);
    msg.SetSrc(kStranger);
    return fragment;
}

// Commands are not among the garbage: anybody's command is carried out, and one by chance would
// take a router of the lab away.
std::vector<Datagram> Garbage(int size, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<Datagram> garbage(kGarbageVariants);
    bool truthful = false;
    for (Datagram& datagram : garbage) {
        datagram.resize(random() % static_cast<unsigned>(size + 1));
        for (uint8_t& byte : datagram)
            byte = static_cast<uint8_t>(random());
        CTSstpMessage msg;
        if (!msg.Attach(datagram.data(), static_cast<int>(datagram.size()))) continue;
        if (msg.GetType() == kSstpCommand) msg.SetType(kSstpNetPacket);
        truthful = !truthful;
        if (truthful) msg.SetLength(static_cast<uint16_t>(datagram.size()));
    }
    return garbage;
}

// What is sent in turn; nothing for a kind that does not exist.
std::vector<Datagram> Datagrams(const Options& options) {
    if (strcmp(options.kind, "plain") == 0) {
        return {Datagram(static_cast<size_t>(options.size))};
    }
    if (strcmp(options.kind, "garbage") == 0) return Garbage(options.size, options.seed);
    if (strcmp(options.kind, "fragments") == 0) return {Fragment(options.size)};
    if (strcmp(options.kind, "commands") == 0) return Commands();
    if (strcmp(options.kind, "requests") == 0) return Requests();
    if (strcmp(options.kind, "heartbeats") == 0) return {Make<CTSstpP2PHeartbeatMsg>()};
    return {};
}

bool IsNumbered(const char* kind) {
    return strcmp(kind, "plain") != 0 && strcmp(kind, "garbage") != 0;
}

double SecondsSince(Clock::time_point begin) {
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

void Flood(const Options& options, std::vector<Datagram> datagrams) {
    CTUdp udp;
    udp.Open();
    CTSockAddr to(options.address, static_cast<uint16_t>(options.port));
    bool numbered = IsNumbered(options.kind);
    Clock::time_point begin = Clock::now();
    unsigned long sent = 0;
    unsigned long refused = 0;
    for (unsigned long n = 0;; ++n) {
        // Looking at the clock costs as much as a datagram.
        if (n % kSentBetweenClocks == 0 || options.rate > 0) {
            double now = SecondsSince(begin);
            if (now >= options.seconds) break;
            double due = options.rate > 0 ? static_cast<double>(n) / options.rate : 0;
            if (due > now) std::this_thread::sleep_for(std::chrono::duration<double>(due - now));
        }
        Datagram& datagram = datagrams[n % datagrams.size()];
        int length = static_cast<int>(datagram.size());
        CTSstpMessage msg;
        if (numbered && msg.Attach(datagram.data(), length)) msg.SetSeq(static_cast<uint16_t>(n));
        // An empty datagram counts as sent.
        ++(udp.Write(to.GetSockAddrin(), datagram.data(), length) >= 0 ? sent : refused);
        if (n + 1 == datagrams.size()) {
            puts("floods");
            fflush(stdout);
        }
    }
    printf("sent %lu refused %lu in %.1f s\n", sent, refused, SecondsSince(begin));
}

// False for a command line that cannot be read.
bool ParseOptions(int argc, char** argv, Options& options) {
    constexpr option kOptions[] = {
        {"seconds", required_argument, nullptr, 's'},
        {"rate", required_argument, nullptr, 'r'},
        {"size", required_argument, nullptr, 'b'},
        {"seed", required_argument, nullptr, 'e'},
        {nullptr, 0, nullptr, 0},
    };
    for (int c; (c = getopt_long(argc, argv, "", kOptions, nullptr)) != -1;) {
        switch (c) {
            case 's':
                options.seconds = atof(optarg);
                break;
            case 'r':
                options.rate = atof(optarg);
                break;
            case 'b':
                options.size = std::clamp(atoi(optarg), 0, kLargestDatagram);
                break;
            case 'e':
                options.seed = static_cast<unsigned>(atoi(optarg));
                break;
            default:
                return false;
        }
    }
    if (argc - optind != 3) return false;
    options.kind = argv[optind];
    options.address = argv[optind + 1];
    options.port = atoi(argv[optind + 2]);
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    std::vector<Datagram> datagrams;
    if (ParseOptions(argc, argv, options)) datagrams = Datagrams(options);
    if (datagrams.empty()) {
        fprintf(stderr,
                "Usage: tamvo-flood [--seconds N] [--rate N] [--size N] [--seed N] KIND ADDRESS "
                "PORT\n");
        return 2;
    }
    Flood(options, std::move(datagrams));
    return 0;
}
