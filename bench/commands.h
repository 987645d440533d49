// Commands from a source in memory to a sink in memory, for benchmarks of them and of their peers.
#pragma once

#include <benchmark/benchmark.h>

#include <vector>

#include "runtime/session.h"

namespace bench {

template <class Element>
constexpr libzepl::ElementType typeOf = sizeof(Element) == 2          ? libzepl::ElementType::int16
                                        : sizeof(Element) == 8        ? libzepl::ElementType::float64
                                        : std::is_integral_v<Element> ? libzepl::ElementType::int32
                                                                      : libzepl::ElementType::float32;

constexpr std::size_t samples = 1 << 20;
constexpr std::size_t pieceSize = 1024;  // what an input gives at a time

// `samples` elements over the range of int16.
template <class Element>
const std::vector<Element>& recording() {
    static const std::vector<Element> elements = [] {
        std::vector<Element> made(samples);
        for (std::size_t i = 0; i < samples; ++i)
            made[i] = static_cast<Element>(static_cast<int>(i * 7919 % 65536) - 32768);
        return made;
    }();
    return elements;
}

inline const libzepl::CommandLibrary& library() {
    static libzepl::CommandLibrary loaded;
    if (loaded.commands().empty()) loaded.load(BENCH_MODULE_FILE);
    return loaded;
}

// Runs `command (source, given..., result, behind...)` over the recording, once an iteration; an item is a sample of the
// source.
template <class Element, class Result = Element>
void runCommand(benchmark::State& state, const char* command, const std::vector<libzepl::TaskArgument>& given = {},
                const std::vector<libzepl::TaskArgument>& behind = {}) {
    using namespace libzepl;
    const std::vector<Element>& source = recording<Element>();
    for (auto _ : state) {
        Session session(library());
        const PipeId in = session.addPipe({.name = "in", .type = typeOf<Element>});
        const PipeId out = session.addPipe({.name = "out", .type = typeOf<Result>});
        session.feedMemory(in, source.data(), source.size());
        session.collect(out, {}, samples);
        TaskSettings task{.command = command, .arguments = {session.use(in)}};
        task.arguments.insert(task.arguments.end(), given.begin(), given.end());
        task.arguments.push_back(session.use(out));
        task.arguments.insert(task.arguments.end(), behind.begin(), behind.end());
        session.addTask(std::move(task));
        if (session.run().status != Report::Status::ok) state.SkipWithError("the run failed");
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples));
}

}  // namespace bench
