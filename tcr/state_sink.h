#pragma once

#include <cstdint>

#include "tcr/state_record.h"

// Where the central router hands over what changed. It learns of the outcome later, through
// CTCentralRouter::Saved and SaveFailed. Batches that wait are written as one: one outcome stands
// for its ticket and for every lower one that is still open.
class TcrStateSink {
  public:
    virtual ~TcrStateSink() = default;
    // Takes the batch to be written; never waits for the disk. Tickets rise; a batch is applied
    // after all that were given before it. Called on the central router's thread.
    virtual void Save(TcrStateBatch&& batch, uint64_t ticket) = 0;
};
