#pragma once

#include "tcr/announcement.h"
#include "tcr/topology.h"

// What the edge in that slot has to be sent next, sub type 0 for nothing; the number is still to be
// given. The order is what makes every address end up at its router:
//
//   1. router del   of every router that is gone
//   2. device del   of every device that is gone, where the edge surely takes it from that router
//   3. router add   of every router that the edge may not have in this version, or with devices
//                   that it must not have: a router add takes back all devices
//   4. device add   of what the edge may not have, when nothing is left to be taken back
//   5. device add   of everything, when it is time to refresh it; changes nothing where all is
//   right
TcrAnnouncement tcr_next_announcement(const TcrRoster& roster, const TcrTopology& topology,
                                      int slot, TcrTime now);
