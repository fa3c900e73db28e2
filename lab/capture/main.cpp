// tamvo-capture: looks at a capture (tcpdump -w FILE udp) of the tunnel's datagrams with a decoder
// that shares nothing with the programs.

#include <getopt.h>

#include <cstdio>
#include <set>

#include "lab/capture/conversation.h"

namespace {

constexpr char kUsage[] =
    "Usage: tamvo-capture [-u USER] FILE\n"
    "       tamvo-capture -l [-p PORT] FILE\n"
    "\n"
    "Holds the capture of a whole lab run, from the first join to the last stop, against the\n"
    "protocol: every field, and the conversation as a whole. Prints how many messages there were\n"
    "of each kind, and each deviation; exit status 1 when there is one.\n"
    "\n"
    "  -u USER   the user name in the edges' configuration (qwop)\n"
    "  -l        only list the messages, of any run, with what is wrong in each by itself\n"
    "  -p PORT   the central router's (1922)\n";
constexpr int kUsageFault = 2;

// Lists the messages of those who are known to speak the protocol, as they have spoken with the
// central router.
class Listing {
  public:
    explicit Listing(uint16_t central_port) : m_central_port(central_port) {}

    void Show(const Datagram& datagram) {
        if (datagram.to.port == m_central_port) m_edges.insert(datagram.from);
        if (datagram.from.port == m_central_port) m_edges.insert(datagram.to);
        if (!m_edges.count(datagram.from) && !m_edges.count(datagram.to)) return;
        if (m_began == 0) m_began = datagram.at;
        WireFaults faults;
        WireMessage message = WireMessage::Decode(datagram.bytes, faults);
        const WireKind* kind = CheckWireKind(message, faults);
        std::string part;
        if (message.frame_total != 0) {
            part = ", index " + std::to_string(message.frame_index) + " of " +
                   std::to_string(message.frame_total);
        }
        printf("%zu %.3f %s > %s %s%s, seq %u, src 0x%08x, dst 0x%08x, body %zu%s\n",
               datagram.frame, static_cast<double>(datagram.at - m_began) / 1000,
               datagram.from.Text().c_str(), datagram.to.Text().c_str(),
               kind ? kind->name : "unknown", message.IsReply() ? " reply" : "", message.seq,
               message.src, message.dst, message.body.size(), part.c_str());
        for (const std::string& fault : faults)
            printf("    %s\n", fault.c_str());
    }

  private:
    uint16_t m_central_port;
    std::set<Endpoint> m_edges;
    int64_t m_began = 0;
};

int List(const char* path, uint16_t central_port) {
    Listing listing(central_port);
    std::string wrong =
        ReadCapture(path, [&](const Datagram& datagram) { listing.Show(datagram); });
    if (!wrong.empty()) fprintf(stderr, "tamvo-capture: %s: %s\n", path, wrong.c_str());
    return wrong.empty() ? 0 : 1;
}

int Check(const char* path, const LabPlan& plan) {
    Conversation conversation(plan);
    std::string wrong =
        ReadCapture(path, [&](const Datagram& datagram) { conversation.Follow(datagram); });
    if (!wrong.empty()) conversation.deviations.push_back(wrong);
    conversation.Finish();
    for (const auto& [name, count] : conversation.counts)
        printf("%7d  %s\n", count, name.c_str());
    for (const std::string& deviation : conversation.deviations)
        printf("deviation: %s\n", deviation.c_str());
    return conversation.deviations.empty() ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    LabPlan plan;
    bool list = false;
    uint16_t central_port = plan.central.port;
    for (int c; (c = getopt(argc, argv, "u:lp:h")) != -1;) {
        if (c == 'u') plan.user = optarg;
        if (c == 'l') list = true;
        if (c == 'p') central_port = static_cast<uint16_t>(atoi(optarg));
        if (c == 'h' || c == '?') optind = argc;
    }
    if (optind != argc - 1) {
        fputs(kUsage, stderr);
        return kUsageFault;
    }
    return list ? List(argv[optind], central_port) : Check(argv[optind], plan);
}
