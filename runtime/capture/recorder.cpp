#include "runtime/capture/recorder.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "runtime/files/output_file.h"

namespace libzepl {

namespace {

template <class Objects, class Object>
std::uint64_t placeIn(const Objects& objects, const Object* object) {
    std::uint64_t place = 0;
    while (&objects[place] != object) ++place;
    return place;
}

CapturedOutput outputOf(const Graph& graph, const PipeOutput& output) {
    const Pipe& pipe = *output.port.channel;
    CapturedOutput captured{.kind = CapturedOutput::Kind::pipe, .name = pipe.name, .limit = output.limit};
    captured.isKept = output.sink == nullptr;
    captured.members.push_back({placeIn(graph.pipes, &pipe), pipe.name, pipe.type});
    return captured;
}

CapturedOutput outputOf(const Graph& graph, const FrameOutput& output) {
    CapturedOutput captured{.kind = CapturedOutput::Kind::frames, .name = output.name, .limit = output.limit};
    captured.isTable = output.isTable;
    for (const FrameOutput::Member& member : output.members) {
        const Pipe& pipe = *member.port.channel;
        captured.members.push_back({placeIn(graph.pipes, &pipe), pipe.name, pipe.type, member.channels});
    }
    return captured;
}

CapturedOutput outputOf(const Graph& graph, const TriggerOutput& output) {
    const Trigger& trigger = *output.port.channel;
    CapturedOutput captured{.kind = CapturedOutput::Kind::trigger, .name = trigger.name, .limit = output.limit};
    captured.members.push_back({placeIn(graph.triggers, &trigger), trigger.name, ElementType::int32});
    return captured;
}

std::uint8_t shortcutsOf(const Engine& e) {
    return static_cast<std::uint8_t>((e.feed.inputsInMemory ? 1 : 0) | (e.streams.drainsSmall ? 2 : 0));
}

// The session, as it stands before anything runs.
void describe(const Engine& e, CapturedRun& run) {
    const Graph& graph = e.graph;
    run.build = hostBuildVersion;
    run.interfaceVersion = hostInterfaceVersion;
    for (const LoadedModule& module : e.library.modules())
        run.modules.push_back({module.name, module.buildVersion, module.interfaceVersion});
    run.options = e.options;
    run.shortcuts = shortcutsOf(e);
    for (const PipeInput& input : graph.pipeInputs) {
        CapturedInput captured{.pipe = placeIn(graph.pipes, input.pipe), .name = input.pipe->name};
        captured.type = input.pipe->type;
        captured.channels = input.channels;
        captured.length = input.length;
        if (input.source != nullptr) captured.rate = input.source->rate();
        captured.isMemory = input.memory != nullptr || input.source == nullptr;
        run.inputs.push_back(std::move(captured));
    }
    for (const TriggerInput& input : graph.triggerInputs)
        run.rows.push_back({placeIn(graph.triggers, input.trigger), input.trigger->name, input.rows});
    for (std::size_t i = 0; i < run.variables.size(); ++i) {
        const auto cell = std::bit_cast<std::uint64_t>(graph.variables[i].cell);
        run.variables[i].isSet = cell != std::exchange(run.variables[i].cell, cell);
    }
    for (CapturedVector& vector : run.vectors)
        for (const Vector& each : graph.vectors)
            if (each.name == vector.name)
                vector.bytes.assign(each.elements.get(), each.elements.get() + each.length * widthOf(each.type));
    run.outputs = outputsOf(e);
}

}  // namespace

std::vector<CapturedOutput> outputsOf(const Engine& e) {
    std::vector<CapturedOutput> outputs;
    e.graph.forEachOutput([&](const auto& output) { outputs.push_back(outputOf(e.graph, output)); });
    return outputs;
}

OutputSum sumFor(const CapturedOutput& output) {
    std::vector<std::size_t> frameBytes;
    for (const CapturedOutput::Member& member : output.members)
        frameBytes.push_back(widthOf(member.type) * static_cast<std::size_t>(member.channels));
    return OutputSum(frameBytes);
}

void KeptOutputs::begin(Engine& e) {
    for (const PipeOutput& output : e.graph.pipeOutputs)
        if (output.sink == nullptr) kept_.push_back({output.port.channel, output.place});
}

Recorder::Recorder(std::filesystem::path folder, CapturedRun run, const std::optional<std::string>& procedure)
    : folder_(std::move(folder)), run_(std::move(run)) {
    std::error_code error;
    isFolderNew_ = std::filesystem::create_directories(folder_, error);
    if (error)
        throw Problem(folder_.string() + ": the folder of the capture cannot be made: " + error.message(),
                      captureRemedy(error.value()));
    try {
        makeFiles(procedure);
    } catch (const Problem&) {
        discard();
        throw;
    }
}

Recorder::~Recorder() {
    if (files_ != nullptr && !hasBegun_) discard();
}

void Recorder::makeFiles(const std::optional<std::string>& procedure) {
    files_ = std::make_unique<LogFiles>(folder_);
    if (!procedure) return;
    OutputFile text(folder_ / procedureName, {.sync = false});
    text.write(*procedure);
    text.finish();
}

// A folder without a run is no capture.
void Recorder::discard() noexcept {
    if (files_ != nullptr) files_->discard();
    files_.reset();
    std::error_code error;
    std::filesystem::remove(folder_ / procedureName, error);
    if (isFolderNew_) std::filesystem::remove(folder_, error);
}

std::optional<Problem> Recorder::failure() const {
    return failure_ || files_ == nullptr ? failure_ : files_->failure();
}

void Recorder::begin(Engine& e) {
    hasBegun_ = true;
    describe(e, run_);
    try {
        writeRun(folder_ / runName, run_);
    } catch (const Problem& problem) {
        failure_ = problem;
        return discard();
    }
    events_.emplace(*files_, run_.inputs.size(), run_.outputs.size());
    for (const CapturedOutput& output : run_.outputs) outputs_.push_back({sumFor(output)});
    kept_.begin(e);
}

void Recorder::know(std::uint64_t round) noexcept {
    if (round <= known_ || files_->hasDropped()) return;
    known_ = round;
    files_->setKnown(round);
}

void Recorder::elements(const std::byte* from, std::uint64_t bytes) noexcept {
    if (events_) files_->append(LogStream::elements, from, bytes);
}

void Recorder::delivered(std::uint64_t round, std::size_t input, std::uint64_t count, bool ended) noexcept {
    if (!events_) return;
    know(round);
    if (count > 0) events_->delivery(round, input, count);
    if (ended) events_->inputEnd(round, input);
}

void Recorder::value(std::uint64_t round, std::size_t variable, const Cell& cell) noexcept {
    if (!events_) return;
    know(round);
    events_->value(round, variable, std::bit_cast<std::uint64_t>(cell));
}

void Recorder::served(std::uint64_t round) noexcept {
    if (!events_) return;
    lookAtKept(round);
    know(round + 1);
}

void Recorder::lookAtKept(std::uint64_t round) noexcept {
    kept_.look([&](std::size_t place, const void* const* column, std::uint64_t n) { taken(round, place, column, n); });
}

void Recorder::taken(std::uint64_t round, std::size_t output, const void* const* columns,
                     std::uint64_t count) noexcept {
    if (!events_) return;
    know(round);
    Output& at = outputs_[output];
    for (std::uint64_t first = 0; first < count;) {
        const std::uint64_t n = std::min(pointFrames - at.sincePoint, count - first);
        at.sum.add(columns, first, n);
        at.sincePoint += n;
        first += n;
        if (at.sincePoint == pointFrames || count < fewFrames) point(round, output);
    }
}

void Recorder::point(std::uint64_t round, std::size_t output) noexcept {
    Output& at = outputs_[output];
    events_->point(round, output, std::exchange(at.sincePoint, 0), at.sum.value());
}

void Recorder::failed(std::uint64_t round, const std::string& reason, const std::string& remedy) noexcept {
    if (!events_) return;
    know(round);
    events_->failure(round, reason, remedy);
}

// What its sources say of themselves, when they have stopped.
void Recorder::keepNotes(const Engine& e) noexcept {
    std::size_t place = 0;
    for (const PipeInput& input : e.graph.pipeInputs) {
        const std::size_t at = place++;
        if (input.source == nullptr) continue;
        const InputNotes notes{input.source->losses(), input.source->notes()};
        if (notes.losses.frames > 0 || !notes.notes.empty()) events_->inputNotes(e.scheduler.round, at, notes);
    }
}

// A stop before the first round is one of round 0.
void Recorder::end(Engine& e) noexcept {
    if (!events_) return;
    const std::uint64_t round = e.scheduler.round;
    know(round);
    lookAtKept(round);
    for (std::size_t i = 0; i < outputs_.size(); ++i)
        if (outputs_[i].sincePoint > 0) point(round, i);
    keepNotes(e);
    const bool hasBegun = e.setUpDone || e.outcome.end != RunEnd::stopped;
    events_->end(round, hasBegun ? 1 + static_cast<std::uint64_t>(e.outcome.end) : 0);
    know(~std::uint64_t{0});
    files_->finish();
    events_.reset();
}

void Recorder::crashed(std::uint64_t round) noexcept {
    if (events_) know(round);
}

}  // namespace libzepl
