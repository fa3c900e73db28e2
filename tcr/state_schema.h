#pragma once

#include <span>
#include <string>

#include "tcr/state_database.h"

// The tables of the state file, version by version. The file's user_version says which it has, its
// application_id that it is a state file at all.

constexpr int64_t kTcrApplicationId = 0x54435231;  // "TCR1"

// Statements that bring a file from each version to the next one; the first makes version 1 of an
// empty database. A new version is a new entry: those before it stay as they are, since files that
// they made are in the field.
using TcrStateSteps = std::span<const char* const>;
extern const TcrStateSteps kTcrStateSteps;

// Brings the tables from that version to the latest of the steps and marks the database so. False
// with the reason in the database. Precondition: version is from 0 to the number of steps, and a
// transaction is open if a kill in the middle must leave nothing.
bool tcr_state_migrate(TcrDatabase& database, TcrStateSteps steps, int64_t version);

// Whether the database holds the tables of its version and nothing else: no table, index, trigger
// or view that somebody added.
bool tcr_state_has_schema(TcrDatabase& database, TcrStateSteps steps, int64_t version);
