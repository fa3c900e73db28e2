#include "base/pvu_random.h"

#include <sys/random.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "base/pvu_time.h"

namespace {

// Waits for the kernel to have some, which is for a moment after its start at most. What takes its
// place on a kernel without the call tells two starts apart, if not two hosts for certain.
unsigned Entropy() {
    unsigned seed = 0;
    ssize_t n;
    do {
        n = getrandom(&seed, sizeof seed, 0);
    } while (n < 0 && errno == EINTR);
    if (n == sizeof seed) return seed;
    auto now = static_cast<uint64_t>(CTTime::GetCurrentNS());
    return static_cast<unsigned>(now ^ now >> 32) ^ static_cast<unsigned>(getpid());
}

}  // namespace

// Built on first use: other static objects draw their defaults from it before this file's own
// static initialisation has run, and must not draw unseeded values. The reference makes sure that
// it is built before main in any case.
CTRandom& CTRandom::m_rand = *CTRandom::GetInstance();

CTRandom::CTRandom() {
    srand(Entropy());
}

CTRandom* CTRandom::GetInstance() {
    static CTRandom instance;
    return &instance;
}

uint16_t CTRandom::Rand16() {
    return static_cast<uint16_t>(rand());
}

uint32_t CTRandom::Rand32() {
    return static_cast<uint32_t>(rand());
}

uint64_t CTRandom::Rand64() {
    uint64_t low = Rand32();
    uint64_t high = Rand32();
    return high << 32 | low;
}

uint16_t pvu_rand16() {
    return CTRandom::GetInstance()->Rand16();
}

uint32_t pvu_rand32() {
    return CTRandom::GetInstance()->Rand32();
}

uint64_t pvu_rand64() {
    return CTRandom::GetInstance()->Rand64();
}
