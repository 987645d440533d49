#include "bench/report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>

namespace bench {

namespace {

// Three digits that count, as far as nanoseconds need them.
std::string number(double x) {
    char text[32];
    std::snprintf(text, sizeof text, "%.*f", x >= 100 ? 0 : x >= 10 ? 1 : x >= 1 ? 2 : 3, x);
    return text;
}

std::string limitOf(const Pair& pair) {
    if (pair.limit == 0) return "";
    return number(pair.limit) + (pair.peer.empty() ? " ns" : "");
}

std::string quartilesOf(const Row& row) { return number(row.lower) + " to " + number(row.upper); }

std::vector<std::string> cellsOf(const Row& row) {
    if (!row.failure.empty()) return {row.pair.name, "", row.pair.peer, "", "", "", "", "failed: " + row.failure};
    const std::string mark = row.isAboveLimit() ? "ABOVE" : "";
    if (row.pair.peer.empty()) return {row.pair.name, number(row.ours), "", "", "", "", limitOf(row.pair), mark};
    return {row.pair.name,     number(row.ours), row.pair.peer,     number(row.theirs),
            number(row.ratio), quartilesOf(row), limitOf(row.pair), mark};
}

const std::vector<std::string> heads = {"what", "ns", "peer", "its ns", "ratio", "quartiles", "limit", ""};

void printCells(const std::vector<std::string>& cells) {
    std::printf("%-32s %9s  %-13s %9s %7s  %-16s %7s %s\n", cells[0].c_str(), cells[1].c_str(), cells[2].c_str(),
                cells[3].c_str(), cells[4].c_str(), cells[5].c_str(), cells[6].c_str(), cells[7].c_str());
}

struct Summary {
    std::string peer;
    std::vector<double> ratios;
    int faster = 0, above = 0;
};

// By peer, in the order of their names; pairs without a peer come under the empty name.
std::vector<Summary> summariesOf(const std::vector<Row>& rows) {
    std::map<std::string, Summary> byPeer;
    for (const Row& row : rows) {
        if (!row.failure.empty()) continue;
        Summary& summary = byPeer[row.pair.library()];
        summary.peer = row.pair.peer.empty() ? "a limit in ns" : row.pair.library();
        summary.ratios.push_back(row.ratio);
        summary.faster += !row.pair.peer.empty() && row.ratio < 1;
        summary.above += row.isAboveLimit();
    }
    std::vector<Summary> all;
    for (auto& [peer, summary] : byPeer) all.push_back(std::move(summary));
    return all;
}

// "0.42 (0.11 to 2.1)": the median and the extremes; nothing for limits in ns.
std::string rangeOf(const Summary& summary) {
    const auto [least, most] = std::minmax_element(summary.ratios.begin(), summary.ratios.end());
    if (*most == 0) return "";
    return number(quantile(summary.ratios, 0.5)) + " (" + number(*least) + " to " + number(*most) + ")";
}

}  // namespace

double quantile(std::vector<double> values, double part) {
    std::sort(values.begin(), values.end());
    const double place = part * static_cast<double>(values.size() - 1);
    const auto below = static_cast<std::size_t>(place), above = std::min(below + 1, values.size() - 1);
    return values[below] + (place - std::floor(place)) * (values[above] - values[below]);
}

Row rowOf(const Pair& pair, const std::vector<double>& ours, const std::vector<double>& theirs) {
    Row row{.pair = pair, .failure = {}, .ours = quantile(ours, 0.5)};
    if (theirs.empty()) return row;
    std::vector<double> ratios;
    for (std::size_t i = 0; i < ours.size(); ++i) ratios.push_back(ours[i] / theirs[i]);
    row.theirs = quantile(theirs, 0.5);
    row.ratio = quantile(ratios, 0.5);
    row.lower = quantile(ratios, 0.25);
    row.upper = quantile(ratios, 0.75);
    return row;
}

void printArea(const std::string& area) {
    std::printf("\n%s\n", area.c_str());
    printCells(heads);
}

void printRow(const Row& row) { printCells(cellsOf(row)); }

void printSummary(const std::vector<Row>& rows, const std::map<std::string, int>& leftOut) {
    std::printf("\n%-14s %11s %7s %12s  %s\n", "peer", "comparisons", "faster", "above limit", "ratio");
    for (const Summary& summary : summariesOf(rows))
        std::printf("%-14s %11zu %7d %12d  %s\n", summary.peer.c_str(), summary.ratios.size(), summary.faster,
                    summary.above, rangeOf(summary).c_str());
    for (const auto& [peer, count] : leftOut)
        std::printf("%s is not installed, which leaves %d of the comparisons out; bench/run --install installs it\n",
                    peer.c_str(), count);
    for (const Row& row : rows)
        if (row.isAboveLimit())
            std::printf("above its limit: %s %s %s\n", row.pair.name.c_str(), row.pair.peer.empty() ? "" : "beside",
                        row.pair.peer.c_str());
}

void writeMarkdown(const std::string& file, const std::vector<Row>& rows, const std::map<std::string, int>& leftOut) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> to(std::fopen(file.c_str(), "w"), std::fclose);
    if (to == nullptr) return std::perror(file.c_str());
    const auto line = [&to](const std::vector<std::string>& cells) {
        for (const std::string& cell : cells) std::fprintf(to.get(), "| %s ", cell.c_str());
        std::fputs("|\n", to.get());
    };
    line({"peer", "comparisons", "faster than it", "above the limit", "ratio: median (extremes)"});
    std::fputs("|---|--:|--:|--:|---|\n", to.get());
    for (const Summary& summary : summariesOf(rows))
        line({summary.peer, std::to_string(summary.ratios.size()), std::to_string(summary.faster),
              std::to_string(summary.above), rangeOf(summary)});
    for (const auto& [peer, count] : leftOut)
        std::fprintf(to.get(), "\n%s was not installed, which left %d of the comparisons out.\n", peer.c_str(), count);
    std::string area;
    for (const Row& row : rows) {
        if (row.pair.area != area) {
            area = row.pair.area;
            std::fprintf(to.get(), "\n### %s\n\n", area.c_str());
            line(heads);
            std::fputs("|---|--:|---|--:|--:|---|--:|---|\n", to.get());
        }
        line(cellsOf(row));
    }
}

}  // namespace bench
