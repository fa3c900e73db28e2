#include "base/pvu_random.h"

#include <cstdlib>
#include <ctime>

// Built on first use: other static objects draw their defaults from it before this file's own
// static initialisation has run, and must not draw unseeded values. The reference makes sure that
// it is built before main in any case.
CTRandom& CTRandom::m_rand = *CTRandom::GetInstance();

CTRandom::CTRandom() {
    srand(static_cast<unsigned>(time(nullptr)));
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
