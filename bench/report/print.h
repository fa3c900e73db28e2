#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "bench/report/aims.h"
#include "bench/report/samples.h"

// Aligned tables for both states of the links: medians with their spread in per cent, of Tamvo and
// the plain floor with ratio and aim, then of what was measured beside them; likewise of the sealed
// mode and the open one, and of the peers that encrypt.
void PrintBenchTable(std::ostream& out, const BenchSamples& samples,
                     const std::vector<BenchVerdict>& verdicts);

// Everything as one JSON object: "samples", with values, median and spread, and "aims".
void PrintBenchJson(std::ostream& out, const BenchSamples& samples,
                    const std::vector<BenchVerdict>& verdicts);

// What the chart of one state of the links is drawn from: a line for each of its measures, with the
// ratio of every measured system's median to the plain floor's, or to Tamvo's where no floor was
// measured, "-" for none. False, and nothing printed, when there is no such ratio at all.
bool PrintBenchChart(std::ostream& out, const BenchSamples& samples, const std::string& links);
