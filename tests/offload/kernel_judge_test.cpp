// The kernel cuts the bursts, too, when it forwards them to a network card that cannot: what comes
// out there is what our own cutting has to give. In a network namespace of the test's own:
//
//   burst -> interface "judge" -> routed -> veth without any offload -> the other end, captured

#include <fcntl.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <thread>

#include "inet/tnet_ipv4_hdr.h"
#include "tests/offload/tcp_burst.h"
#include "tests/support/udp_peer.h"

namespace {

constexpr char kSetUp[] =
    "ip link add judge-out type veth peer name judge-in && ethtool -K judge-out tx off >/dev/null "
    "&& "
    "ethtool -K judge-in gro off >/dev/null && ip link set judge up && ip link set judge-out up && "
    "ip link set judge-in up && ip route add 192.168.15.11 dev judge && "
    "ip route add 192.168.15.12 dev judge-out && "
    "ip neigh add 192.168.15.12 lladdr 02:00:00:00:00:02 dev judge-out nud permanent && "
    "echo 1 >/proc/sys/net/ipv4/ip_forward && echo 0 >/proc/sys/net/ipv4/conf/all/rp_filter";
constexpr int kWaitMs = 10000;

// One's to the kernel's stack, and what leaves it.
class Judge {
  public:
    ~Judge() {
        close(m_in);
        close(m_out);
    }

    // In the thread's own namespace; whether it stands.
    bool SetUp() {
        m_in = open("/dev/net/tun", O_RDWR | O_CLOEXEC);
        ifreq request = {};
        strcpy(request.ifr_name, "judge");
        request.ifr_flags = IFF_TUN | IFF_NO_PI | IFF_VNET_HDR;
        if (m_in < 0 || ioctl(m_in, TUNSETIFF, &request) != 0) return false;
        if (system(kSetUp) != 0) return false;
        m_out = socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, htons(ETH_P_IP));
        int size = 1 << 22;
        setsockopt(m_out, SOL_SOCKET, SO_RCVBUFFORCE, &size, sizeof size);
        sockaddr_ll from = {};
        from.sll_family = AF_PACKET;
        from.sll_protocol = htons(ETH_P_IP);
        from.sll_ifindex = static_cast<int>(if_nametoindex("judge-in"));
        return bind(m_out, reinterpret_cast<sockaddr*>(&from), sizeof from) == 0;
    }

    // The packets that the kernel makes of it, as many as are expected.
    std::vector<WireBytes> Cut(const Burst& burst, size_t count) {
        WireBytes bytes(reinterpret_cast<const uint8_t*>(&burst.hdr),
                        reinterpret_cast<const uint8_t*>(&burst.hdr) + sizeof burst.hdr);
        bytes.insert(bytes.end(), burst.bytes.begin(), burst.bytes.end());
        EXPECT_EQ(write(m_in, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
        std::vector<WireBytes> packets;
        while (packets.size() < count) {
            std::optional<WireBytes> frame = ReceiveWithin(m_out, kWaitMs);
            if (!frame) break;
            packets.emplace_back(frame->begin() + ETH_HLEN, frame->end());
        }
        return packets;
    }

  private:
    int m_in = -1;
    int m_out = -1;
};

// As it is before the router that takes one off its time to live, with the sum that it is to have
// of its pseudo header.
Burst BeforeTheRouter(Burst burst) {
    ++burst.bytes[8];
    CIPv4Header::UpdateCheckSum(reinterpret_cast<tnet_ipv4_hdr*>(burst.bytes.data()));
    uint32_t sum = static_cast<uint32_t>(IPPROTO_TCP + burst.bytes.size() - 20);
    for (size_t at = 12; at < 20; at += 2)
        sum += tnet_load16(&burst.bytes[at]);
    while (sum > 0xFFFF)
        sum = (sum & 0xFFFF) + (sum >> 16);
    tnet_store16(&burst.bytes[36], static_cast<uint16_t>(sum));
    return burst;
}

void HoldAgainstTheKernel(bool& can_judge) {
    Judge judge;
    can_judge = unshare(CLONE_NEWNET) == 0 && judge.SetUp();
    if (!can_judge) return;
    std::mt19937 random(1);
    for (int i = 0; i < 300; ++i) {
        int mss = static_cast<int>(random() % 1349) + 100;
        int payload = static_cast<int>(random() % static_cast<uint32_t>(40 * mss)) + mss + 1;
        Burst burst(payload % 65400, static_cast<uint8_t>(random() & 0xFF), mss);
        for (size_t at : {4u, 5u, 24u, 25u, 26u, 27u})  // identification, sequence number
            burst.bytes[at] = static_cast<uint8_t>(random());
        if (payload % 65400 <= mss) continue;  // no burst
        // A connection's beginning and end by force are no bursts of the stack's.
        burst.bytes[33] &= static_cast<uint8_t>(~0x06);
        burst.hdr.hdr_len = 52;
        std::vector<WireBytes> ours = Burst(burst).Cut();
        std::vector<WireBytes> kernels = judge.Cut(BeforeTheRouter(burst), ours.size());
        ASSERT_EQ(kernels.size(), ours.size());
        for (size_t at = 0; at < ours.size(); ++at)
            ASSERT_EQ(kernels[at], ours[at]) << "packet " << at << " of burst " << i;
    }
}

TEST(KernelJudge, CutsBurstsIntoTheSamePackets) {
    bool can_judge = false;
    std::thread(HoldAgainstTheKernel, std::ref(can_judge)).join();
    if (!can_judge) GTEST_SKIP() << "needs root, /dev/net/tun, ip and ethtool";
}

}  // namespace
