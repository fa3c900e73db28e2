// Holds the capture of a lab run against the protocol: every message in every field, and the
// conversation as a whole. Prints how many there were of each kind, and each deviation; exit status
// 1 when there is one.

#include <cstdio>

#include "tests/capture/capture_file.h"
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
    conversation.Finish();
    for (const auto& [name, count] : conversation.GetCounts())
        printf("%7d  %s\n", count, name.c_str());
    std::vector<std::string> deviations = conversation.GetDeviations();
    if (!wrong.empty()) deviations.push_back(wrong);
    for (const std::string& deviation : deviations)
        printf("deviation: %s\n", deviation.c_str());
    return deviations.empty() ? 0 : 1;
}
