// Runs the benchmarks, the members of each pair interleaved, and prints the ratios of their medians.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "bench/ratios.h"

namespace bench {

namespace {

struct PairRow {
    std::string name, peer;
    double limit;
};

std::vector<PairRow>& pairs() {
    static std::vector<PairRow> rows;
    return rows;
}

// Keeps the nanoseconds an item of each repetition beside what the console shows.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            const auto items = run.counters.find("items_per_second");
            if (run.run_type == Run::RT_Iteration && items != run.counters.end())
                times_[run.run_name.function_name].push_back(1e9 / items->second.value);
        }
    }

    void printRatios() const {
        std::printf("\n%-34s %10s  %-34s %10s %7s %7s\n", "benchmark", "ns", "peer", "ns", "ratio", "limit");
        for (const PairRow& row : pairs()) printRow(row);
    }

 private:
    double medianOf(const std::string& name) const {
        std::vector<double> times = times_.at(name);
        std::nth_element(times.begin(), times.begin() + static_cast<long>(times.size() / 2), times.end());
        return times[times.size() / 2];
    }

    void printRow(const PairRow& row) const {
        if (times_.count(row.name) == 0 || (!row.peer.empty() && times_.count(row.peer) == 0)) return;
        const double time = medianOf(row.name);
        if (row.peer.empty()) {
            std::printf("%-34s %10.3f  %-34s %10s %7s %5.1f ns\n", row.name.c_str(), time, "", "", "", row.limit);
            return;
        }
        const double peer = medianOf(row.peer);
        std::printf("%-34s %10.3f  %-34s %10.3f %7.2f %7.2f\n", row.name.c_str(), time, row.peer.c_str(), peer,
                    time / peer, row.limit);
    }

    std::map<std::string, std::vector<double>> times_;
};

}  // namespace

Pair::Pair(std::string name, std::string peer, double limit) {
    pairs().push_back({std::move(name), std::move(peer), limit});
}

}  // namespace bench

int main(int count, char** words) {
    // Interleaved repetitions, unless the caller says otherwise: what comes later on the command line holds.
    std::vector<char*> all{words[0]};
    std::string defaults[] = {"--benchmark_repetitions=11", "--benchmark_enable_random_interleaving=true",
                              "--benchmark_min_time=0.05", "--benchmark_report_aggregates_only=false"};
    for (std::string& option : defaults) all.push_back(option.data());
    all.insert(all.end(), words + 1, words + count);
    int allCount = static_cast<int>(all.size());
    benchmark::Initialize(&allCount, all.data());
    if (benchmark::ReportUnrecognizedArguments(allCount, all.data())) return 2;
    bench::RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatios();
}
