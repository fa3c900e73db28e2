#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "bench/report/aims.h"
#include "bench/report/samples.h"

// The aligned table, for both states of the links: medians with their spread in per cent, the ratio
// to the plain floor and its aim, and the peers beside it.
void PrintBenchTable(std::ostream& out, const BenchSamples& samples,
                     const std::vector<BenchVerdict>& verdicts);

// Everything as one JSON object: "samples", with values, median and spread, and "aims".
void PrintBenchJson(std::ostream& out, const BenchSamples& samples,
                    const std::vector<BenchVerdict>& verdicts);

// What the chart is drawn from: a block for each state of the links, with a line for each measure
// of the chart and in it the ratio of every system's median to the plain floor's, "-" for none.
void PrintBenchChart(std::ostream& out, const BenchSamples& samples);
