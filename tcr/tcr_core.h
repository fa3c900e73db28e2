#pragma once

#include "tcr/announcer.h"
#include "tcr/replies.h"
#include "tcr/state_journal.h"
#include "tcr/subnet_table.h"
#include "tcr/tcr_config.h"
#include "tcr/tcr_counters.h"
#include "tcr/tcr_log.h"

// What the parts of the central router share. Owned by CTCentralRouter; one thread.
struct TcrCore {
    TcrCore(const TcrConfig& served, TcrLink& way_out, TcrStateSink* sink)
        : config(served),
          link(way_out),
          log(way_out),
          journal(subnets, sink),
          replies(way_out, counters),
          announcer(way_out) {}

    // Bodies are read where an earlier request may have left bytes: only those that came now
    // count. False, and counted, when there are fewer.
    bool HoldsBody(CTSstpMessage& msg, int length) {
        if (msg.GetBodyLimit() >= length) return true;
        ++counters.malformed;
        return false;
    }

    TcrConfig config;
    TcrLink& link;
    TcrCounters counters;
    TcrLog log;
    TcrSubnetTable subnets;
    TcrStateJournal journal;
    TcrReplies replies;
    TcrAnnouncer announcer;
};
