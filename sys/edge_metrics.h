#pragma once

#include <string>

#include "sys/edge_snapshot.h"

// The snapshot as metrics in the text format of Prometheus (docs/control.md). Every sample has the
// label "interface", so that the edges of one host can stand in one folder of the textfile
// collector.
std::string edge_metrics(const CTEdgeSnapshot& snapshot);
