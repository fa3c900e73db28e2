#pragma once

#include <string>

#include "ops/json_reply.h"
#include "sys/edge_snapshot.h"
#include "tcr/snapshot.h"

// What the programs tell, of states in which everything is known, for comparison with what the
// documentation and the files of packaging/ say of it.

CTEdgeSnapshot ToldByEdge();
TcrSnapshot ToldByCentralRouter();
// The metrics of both.
std::string ToldMetrics();

// A file of the repository.
std::string SourceFile(const std::string& name);
// Of a document, what stands between that heading and the next one of the same depth or above.
std::string Section(const std::string& document, const std::string& heading);
// The first block of JSON in it, parsed; null, with a failure, when there is none.
CTJsonTree JsonBlock(const std::string& section);
