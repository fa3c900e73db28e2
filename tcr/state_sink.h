#pragma once

#include <cstdint>

#include "tcr/state_record.h"

// Where the central router hands over what changed. It is told of the outcome later, by the ticket,
// through CTCentralRouter::Saved and SaveFailed.
class TcrStateSink {
  public:
    virtual ~TcrStateSink() = default;
    // Takes the batch to be written; never waits for the disk. Tickets rise; a batch is applied
    // after all that were given before it. Called on the central router's thread.
    virtual void Save(TcrStateBatch&& batch, uint64_t ticket) = 0;
};
