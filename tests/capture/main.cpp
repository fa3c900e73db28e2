// Holds the capture of a lab run against the protocol: every message in every field, and the
// conversation as a whole. Prints how many there were of each kind, and each deviation; exit status
// 1 when there is one.

#include <cstdio>

#include "tests/capture/conversation.h"

int main(int argc, char** argv) {
    if (argc != 3) {
        fprintf(stderr, "Usage: %s FILE USER-NAME\n", argv[0]);
        return 2;
    }
    LabPlan plan;
    plan.user = argv[2];
    Conversation conversation(plan);
    std::string wrong =
        ReadCapture(argv[1], [&](const Datagram& datagram) { conversation.Follow(datagram); });
    if (!wrong.empty()) conversation.deviations.push_back(wrong);
    conversation.Finish();
    for (const auto& [name, count] : conversation.counts)
        printf("%7d  %s\n", count, name.c_str());
    for (const std::string& deviation : conversation.deviations)
        printf("deviation: %s\n", deviation.c_str());
    return conversation.deviations.empty() ? 0 : 1;
}
