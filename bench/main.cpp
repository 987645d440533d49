// Runs the pairs of benchmarks, one member after the other in turns, so that a drift of the machine meets both.

#include <benchmark/benchmark.h>
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "bench/pairs.h"
#include "bench/python_peers.h"
#include "bench/report.h"

namespace bench {

namespace {

struct Options {
    bool quick = false;
    bool oursAlone = false;
    std::string python, markdown, filter;
};

// The time of one repetition, and why there is none.
class Time : public benchmark::BenchmarkReporter {
 public:
    double nanoseconds = 0;  // of an item
    std::string failure = "no such benchmark";

    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            failure = run.error_message;
            const auto items = run.counters.find("items_per_second");
            if (items != run.counters.end()) nanoseconds = 1e9 / items->second.value;
        }
    }
};

Time measured(const std::string& name) {
    Time time;
    // A benchmark's full name goes on with its arguments and how its time is taken.
    benchmark::RunSpecifiedBenchmarks(&time, "^" + name + "(/.*)?$");
    return time;
}

// The first turn brings memory, plans and peers up to speed, and does not count.
Row measuredPair(const Pair& pair, int repetitions) {
    std::vector<double> ours, theirs;
    for (int i = 0; i <= repetitions; ++i) {
        const Time own = measured(pair.name);
        if (!own.failure.empty()) return {pair, own.failure};
        if (i > 0) ours.push_back(own.nanoseconds);
        if (pair.peer.empty()) continue;
        const Time peer = measured(pair.peerBenchmark);
        if (!peer.failure.empty()) return {pair, pair.peer + ": " + peer.failure};
        if (i > 0) theirs.push_back(peer.nanoseconds);
    }
    return rowOf(pair, ours, theirs);
}

bool isInstalled(const std::string& peer) {
    const std::pair<std::string, bool> built[] = {{fftwPeer, BENCH_FFTW},
                                                  {gslPeer, BENCH_GSL},
                                                  {kissfftPeer, BENCH_KISSFFT},
                                                  {volkPeer, BENCH_VOLK},
                                                  {liquidPeer, BENCH_LIQUID}};
    for (const auto& [name, is] : built)
        if (name == peer) return is;
    return (peer != numpyPeer && peer != scipyPeer && peer != gnuRadioPeer) || pythonHas(peer);
}

// Those that the filter finds by area, name or peer, area by area.
std::vector<Pair> selectedPairs(const std::string& filter) {
    const std::regex expression(filter, std::regex::icase);
    std::vector<Pair> selected;
    std::vector<std::string> areas;
    for (const Pair& pair : pairs()) {
        if (!std::regex_search(pair.area + " " + pair.name + " " + pair.peer, expression)) continue;
        selected.push_back(pair);
        if (std::find(areas.begin(), areas.end(), pair.area) == areas.end()) areas.push_back(pair.area);
    }
    const auto place = [&areas](const Pair& pair) { return std::find(areas.begin(), areas.end(), pair.area); };
    std::stable_sort(selected.begin(), selected.end(),
                     [&](const Pair& a, const Pair& b) { return place(a) < place(b); });
    return selected;
}

void showProgress(const Pair& pair, std::size_t done, std::size_t all, double seconds) {
    if (isatty(STDERR_FILENO) == 0) return;
    std::fprintf(stderr, "\r\033[K%zu of %zu: %s", done + 1, all, (pair.name + " " + pair.peer).c_str());
    if (done > 10)
        std::fprintf(stderr, ", %.0f s left", seconds / static_cast<double>(done) * static_cast<double>(all - done));
}

void clearProgress() {
    if (isatty(STDERR_FILENO) != 0) std::fputs("\r\033[K", stderr);
}

int runPairs(const Options& options) {
    std::map<std::string, int> leftOut;
    std::vector<Pair> selected;
    for (Pair& pair : selectedPairs(options.filter)) {
        if (isInstalled(pair.library()))
            selected.push_back(std::move(pair));
        else
            ++leftOut[pair.library()];
    }
    if (selected.empty() && leftOut.empty())
        std::fprintf(stderr, "nothing that is measured matches %s\n", options.filter.c_str());
    const auto start = std::chrono::steady_clock::now();
    std::vector<Row> rows;
    for (const Pair& pair : selected) {
        const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
        showProgress(pair, rows.size(), selected.size(), taken.count());
        Row row = measuredPair(pair, options.quick ? 3 : 9);
        clearProgress();
        if (rows.empty() || rows.back().pair.area != pair.area) printArea(pair.area);
        printRow(row);
        rows.push_back(std::move(row));
    }
    printSummary(rows, leftOut);
    if (!options.markdown.empty()) writeMarkdown(options.markdown, rows, leftOut);
    const bool failed = std::any_of(rows.begin(), rows.end(), [](const Row& row) { return !row.failure.empty(); });
    return rows.empty() || failed ? 1 : 0;
}

int runOursAlone(const Options& options) {
    std::set<std::string> names;
    for (const Pair& pair : selectedPairs(options.filter)) names.insert(pair.name);
    for (const std::string& name : names) {
        const Time time = measured(name);
        std::printf("%-32s %9.3f ns %s\n", name.c_str(), time.nanoseconds, time.failure.c_str());
    }
    return names.empty() ? 1 : 0;
}

// This process and those that it starts keep to one core, the last that they may use.
void keepToOneCore() {
    cpu_set_t allowed, one;
    CPU_ZERO(&one);
    if (sched_getaffinity(0, sizeof allowed, &allowed) != 0) return;
    int last = CPU_SETSIZE - 1;
    while (last > 0 && !CPU_ISSET(last, &allowed)) --last;
    CPU_SET(last, &one);
    sched_setaffinity(0, sizeof one, &one);
}

Options optionsOf(int count, char** words) {
    Options options;
    const std::string python = "--python=", markdown = "--markdown=";
    for (int i = 1; i < count; ++i) {
        const std::string word = words[i];
        if (word == "--quick")
            options.quick = true;
        else if (word == "--ours")
            options.oursAlone = true;
        else if (word.starts_with(python))
            options.python = word.substr(python.size());
        else if (word.starts_with(markdown))
            options.markdown = word.substr(markdown.size());
        else
            options.filter = word;
    }
    return options;
}

}  // namespace

}  // namespace bench

// zepl_bench [--quick] [--ours] [--python=INTERPRETER] [--markdown=FILE] [FILTER]: bench/run is the way to call it.
int main(int count, char** words) {
    const bench::Options options = bench::optionsOf(count, words);
    std::string shortest = options.oursAlone ? "1" : options.quick ? "0.002" : "0.02";
    std::string minimum = "--benchmark_min_time=" + shortest;
    char* given[] = {words[0], minimum.data()};
    int givenCount = 2;
    benchmark::Initialize(&givenCount, given);
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    bench::keepToOneCore();
    bench::startPython(options.python);
    try {
        return options.oursAlone ? bench::runOursAlone(options) : bench::runPairs(options);
    } catch (const std::regex_error&) {
        std::fprintf(stderr, "%s is no regular expression\n", options.filter.c_str());
        return 2;
    }
}
