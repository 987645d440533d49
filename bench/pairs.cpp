#include "bench/pairs.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <utility>

#include "bench/python_peers.h"

namespace bench {

namespace {

std::vector<Pair>& mutablePairs() {
    static std::vector<Pair> all;
    return all;
}

// One piece of work an iteration, timed where it is done.
void askForTime(benchmark::State& state, const std::string& work) {
    long long items = 0;
    for (auto _ : state) {
        const std::string answer = askPython(work);
        double seconds = 0;
        long long count = 0;
        if (std::sscanf(answer.c_str(), "%lf %lld", &seconds, &count) != 2)
            return state.SkipWithError(("bench/peers.py answers: " + answer).c_str());
        state.SetIterationTime(seconds);
        items += count;
    }
    state.SetItemsProcessed(items);
}

}  // namespace

const std::vector<Pair>& pairs() { return mutablePairs(); }

bool compare(Pair pair) {
    mutablePairs().push_back(std::move(pair));
    return true;
}

bool compareWithPython(const std::string& area, const std::string& name, const std::string& library, double limit) {
    const std::string work = library + "_" + name;
    benchmark::RegisterBenchmark(work.c_str(), askForTime, work)->UseManualTime();
    return compare({area, name, library, work, limit});
}

}  // namespace bench
