#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

// How far the numbers of those sources have come whose fragments wait. Numbers have 16 bits, so
// from a stored fragment's own number nobody can tell whether its source went on by ten or by
// 65,546 since; this counts.
//
// Owned by the fragment store and used by its thread only. It knows a source from its first stored
// fragment to its last one's end, so it needs no more entries than the store has fragments; all of
// them are here, and an operation is a look-up by hash.
class CTNetSourceProgress {
  public:
    static constexpr int kMaxSources = 1024;

    CTNetSourceProgress() { Clear(); }

    // A fragment of the source is stored: the count of numbers passed so far, to be handed to
    // PassedSince. Each call needs its Release. At most kMaxSources sources are held at once.
    uint32_t Hold(uint32_t src, uint16_t seq);
    // The fragment is gone; with the last one of a source its entry.
    void Release(uint32_t src);
    // A message of the source with that number arrived. A number up to 4,096 behind the last one
    // is a late one, any other is taken as that many numbers further on. Other sources: nothing.
    void Note(uint32_t src, uint16_t seq);
    // How many numbers of a source that is held have passed since that count; 0 for any other.
    uint32_t PassedSince(uint32_t src, uint32_t count) const;
    void Clear();

  private:
    static constexpr int kHeads = 2048;
    static constexpr int16_t kNone = -1;

    struct Source {
        uint32_t src;
        uint32_t passed;
        int fragments;
        uint16_t last;  // its furthest number
        int16_t next;   // in the same chain, or of the free ones
    };

    static size_t HeadOf(uint32_t src);
    Source* Find(uint32_t src);
    const Source* Find(uint32_t src) const;
    Source* Insert(uint32_t src, uint16_t seq);

    std::array<int16_t, kHeads> m_heads;
    std::array<Source, kMaxSources> m_sources;
    int16_t m_free = kNone;
    int m_held = 0;
};
