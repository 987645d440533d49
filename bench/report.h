// What the benchmarks came to: a table on the terminal, and the same in Markdown.
#pragma once

#include <array>
#include <map>
#include <string>
#include <vector>

#include "bench/pairs.h"

namespace bench {

// The quantile of the values that are there, between neighbours in proportion; `values` is not empty.
double quantile(std::vector<double> values, double part);

struct Row {
    Pair pair;
    std::string failure;                                           // why there are no times
    double ours = 0, theirs = 0, ratio = 0, lower = 0, upper = 0;  // medians, and the quartiles of the ratios

    bool isAboveLimit() const { return pair.limit != 0 && (pair.peer.empty() ? ours : ratio) > pair.limit; }
};

// Of the times of the repetitions, taken in turns: the ratio is the median of the repetitions' own ratios. `theirs` is empty
// for a pair without a peer.
Row rowOf(const Pair& pair, const std::vector<double>& ours, const std::vector<double>& theirs);

void printArea(const std::string& area);
void printRow(const Row& row);

// How each peer compares as a whole, and what is above its limit. `leftOut` counts the pairs of peers that are missing.
void printSummary(const std::vector<Row>& rows, const std::map<std::string, int>& leftOut);
void writeMarkdown(const std::string& file, const std::vector<Row>& rows, const std::map<std::string, int>& leftOut);

}  // namespace bench
