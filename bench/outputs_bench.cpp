// Files that several pipes are written to, beside a file for each, and beside NumPy.

#include <unistd.h>

#include <filesystem>

#include "bench/commands.h"
#include "bench/pairs.h"

namespace {

using namespace libzepl;

const std::string area = "Files of several pipes (ns a sample)";

constexpr std::size_t pipes = 4;
constexpr std::size_t rows = std::size_t{1} << 17;  // of tables, as the work of the peer has

std::filesystem::path fileNamed(const std::string& name) {
    return std::filesystem::temp_directory_path() / ("zepl_bench." + std::to_string(::getpid()) + "." + name);
}

WriteRequest requestFor(const std::string& name, ElementType type) {
    WriteRequest request{.path = fileNamed(name), .type = type};
    request.output.sync = false;
    return request;
}

template <class Element>
std::vector<PipeId> fedPipes(Session& session, std::size_t samples) {
    std::vector<PipeId> fed;
    for (std::size_t i = 0; i < pipes; ++i) {
        fed.push_back(session.addPipe({.name = "pipe", .type = bench::typeOf<Element>}));
        session.feedMemory(fed.back(), bench::recording<Element>().data(), samples);
    }
    return fed;
}

void runAndRemove(benchmark::State& state, Session& session) {
    const Report report = session.run();
    if (report.status != Report::Status::ok) state.SkipWithError("the run failed");
    for (const OutputReport& output : report.outputs) std::filesystem::remove(output.file);
}

template <class Element>
void writeJointly(benchmark::State& state, const std::string& name, std::size_t samples) {
    const std::vector<ColumnRequest> columns(pipes, {.heading = "pipe", .type = bench::typeOf<Element>});
    for (auto _ : state) {
        Session session(bench::library());
        JointOutputSettings settings{.name = name};
        for (const PipeId pipe : fedPipes<Element>(session, samples)) settings.members.push_back({pipe});
        session.setOutput(std::move(settings), createJointSink(requestFor(name, bench::typeOf<Element>), columns));
        runAndRemove(state, session);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(pipes * samples));
}

void oneWavFile(benchmark::State& state) { writeJointly<float>(state, "joint.wav", bench::samples); }

void aWavFileEach(benchmark::State& state) {
    for (auto _ : state) {
        Session session(bench::library());
        int number = 0;
        for (const PipeId pipe : fedPipes<float>(session, bench::samples))
            session.setOutput(pipe, createSink(requestFor(std::to_string(number++) + ".wav", ElementType::float32)));
        runAndRemove(state, session);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(pipes * bench::samples));
}

void tableOfDoubles(benchmark::State& state) { writeJointly<double>(state, "table.csv", rows); }

BENCHMARK(oneWavFile);
BENCHMARK(aWavFileEach);
BENCHMARK(tableOfDoubles);

const bool added = bench::compare({area, "oneWavFile", "a file each", "aWavFileEach", 1.25}) &&
                   bench::compareWithPython(area, "tableOfDoubles", bench::numpyPeer, 0.2);

}  // namespace
