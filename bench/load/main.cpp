// UDP load with exact counts, for scripts/bench:
//
//     bench-load sink PORT
//     bench-load flood ADDRESS PORT SIZE SECONDS         as fast as it can
//     bench-load paced ADDRESS PORT SIZE SECONDS RATE    so many datagrams a second
//     bench-load search ADDRESS PORT SIZE SECONDS        the highest rate without loss
//
// flood and paced print "sent N received N rate R", R in datagrams a second as they arrived; search
// floods first, and prints "loss-free R" from runs of that many seconds each. Status 1 when the
// sink does not answer.

#include <arpa/inet.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "bench/load/load_sender.h"
#include "bench/load/load_sink.h"

namespace {

constexpr int kSinkArguments = 3;
constexpr int kSendArguments = 6;
constexpr int kHalvings = 6;
// What a flood pushes through may be less than what goes at a steady pace.
constexpr double kAboveFlood = 1.5;

int NoAnswer(const char* address) {
    fprintf(stderr, "bench-load: %s: the sink does not answer\n", address);
    return 1;
}

int Send(LoadSender& sender, char** argv, double rate, double seconds) {
    std::optional<LoadResult> result = sender.Run(rate, seconds);
    if (!result) return NoAnswer(argv[2]);
    printf("sent %llu received %llu rate %.0f\n", static_cast<unsigned long long>(result->sent),
           static_cast<unsigned long long>(result->received), result->rate);
    return 0;
}

int Search(LoadSender& sender, char** argv, double seconds) {
    std::optional<LoadResult> flood = sender.Run(0, seconds);
    std::optional<double> best;
    if (flood) best = sender.SearchLossFree(flood->rate * kAboveFlood, kHalvings, seconds);
    if (!best) return NoAnswer(argv[2]);
    printf("loss-free %.0f\n", *best);
    return 0;
}

int Usage() {
    fprintf(stderr,
            "Usage: bench-load sink PORT\n"
            "       bench-load flood|search ADDRESS PORT SIZE SECONDS\n"
            "       bench-load paced ADDRESS PORT SIZE SECONDS RATE\n");
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == kSinkArguments && strcmp(argv[1], "sink") == 0)
        return RunLoadSink(static_cast<uint16_t>(atoi(argv[2])));
    if (argc < kSendArguments) return Usage();
    sockaddr_in to = {};
    to.sin_family = AF_INET;
    to.sin_port = htons(static_cast<uint16_t>(atoi(argv[3])));
    if (inet_pton(AF_INET, argv[2], &to.sin_addr) != 1) return Usage();
    LoadSender sender(to, atoi(argv[4]));
    double seconds = atof(argv[5]);
    if (argc == kSendArguments && strcmp(argv[1], "flood") == 0)
        return Send(sender, argv, 0, seconds);
    if (argc == kSendArguments && strcmp(argv[1], "search") == 0)
        return Search(sender, argv, seconds);
    if (argc == kSendArguments + 1 && strcmp(argv[1], "paced") == 0)
        return Send(sender, argv, atof(argv[6]), seconds);
    return Usage();
}
