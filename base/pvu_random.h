#pragma once

#include <cstdint>

// The process-wide random source: the standard generator, seeded once from the kernel's entropy
// while the program starts: hosts that start in the same moment are to draw different numbers.
// Not for secrets.
class CTRandom {
  public:
    static CTRandom* GetInstance();

    uint16_t Rand16();
    uint32_t Rand32();
    // The lower 32 bits from one value of the generator, the upper ones from the next.
    uint64_t Rand64();

  private:
    CTRandom();

    static CTRandom& m_rand;
};

uint16_t pvu_rand16();
uint32_t pvu_rand32();
uint64_t pvu_rand64();
