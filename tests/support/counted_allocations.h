#pragma once

// Counts what threads allocate that were started after it: those of an edge, say, and none of the
// test's own. At most one at a time; of any use with the sanitizers' allocator only.
class CountedAllocations {
  public:
    CountedAllocations();
    ~CountedAllocations();
    CountedAllocations(const CountedAllocations&) = delete;
    CountedAllocations& operator=(const CountedAllocations&) = delete;

    // So far.
    long Get() const;
};
