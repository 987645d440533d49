#include <algorithm>
#include <bit>
#include <utility>

#include "runtime/capture.h"
#include "runtime/capture/capture_folder.h"
#include "runtime/capture/replay_check.h"
#include "runtime/capture/replay_script.h"
#include "runtime/capture/sums.h"
#include "runtime/session/session_ids.h"

namespace libzepl {

namespace {

// Outputs that nobody keeps.
class NoSink final : public Sink {
 public:
    void write(const void*, std::size_t) override {}
    void finish() override {}
};
class NoTriggerSink final : public TriggerSink {
 public:
    void write(const TriggerRow&) override {}
    void finish() override {}
};
class NoJointSink final : public JointSink {
 public:
    void write(const void* const*, std::size_t) override {}
    void finish() override {}
};

// What the run had of files.
class FilesOfRun final : public RecordedFiles {
 public:
    explicit FilesOfRun(std::shared_ptr<const CaptureFolder> folder) : folder_(std::move(folder)) {}

    std::uint64_t frames(const std::string& pipe) const override {
        const auto found = folder_->run.lengths.find(pipe);
        if (found != folder_->run.lengths.end()) return found->second;
        throw Problem("the capture does not have the length of " + libzepl::quoted(pipe),
                      "leave out what asks for it: the captured run did not");
    }
    std::optional<std::vector<std::byte>> vector(const std::string& name) const override {
        for (const CapturedVector& each : folder_->run.vectors)
            if (each.name == name) return each.bytes;
        return std::nullopt;
    }
    std::optional<double> rate() const override {
        for (const CapturedInput& input : folder_->run.inputs)
            if (input.rate) return input.rate;
        return std::nullopt;
    }

 private:
    std::shared_ptr<const CaptureFolder> folder_;
};

template <class Objects>
std::optional<std::size_t> findPlace(const Objects& objects, const CapturedOutput::Member& member) {
    if (member.channel < objects.size() && objects[member.channel].name == member.name) return member.channel;
    for (std::size_t i = 0; i < objects.size(); ++i)
        if (objects[i].name == member.name) return i;
    return std::nullopt;
}

template <class Objects>
std::size_t placeOf(const Objects& objects, const CapturedOutput& output, const CapturedOutput::Member& member) {
    if (const std::optional<std::size_t> place = findPlace(objects, member)) return *place;
    throw Problem("the capture has the output " + libzepl::quoted(output.name) + ", and the session has no " +
                      libzepl::quoted(member.name),
                  "replay it in a session like the one that was captured");
}

// Puts the outputs of a session into the order that they had, and adds those that it lacks.
class OutputRestorer {
 public:
    OutputRestorer(Session& session, Engine& e) : session_(session), e_(e) {
        std::swap(givenPipes_, e.graph.pipeOutputs);
        std::swap(givenFrames_, e.graph.frameOutputs);
        std::swap(givenTriggers_, e.graph.triggerOutputs);
    }

    void add(const CapturedOutput& output) {
        switch (output.kind) {
            case CapturedOutput::Kind::pipe:
                return addPipe(output, placeOf(e_.graph.pipes, output, output.members[0]));
            case CapturedOutput::Kind::trigger:
                return addTrigger(output, placeOf(e_.graph.triggers, output, output.members[0]));
            default:
                return addFrames(output);
        }
    }

    void finish() {
        for (PipeOutput& output : givenPipes_) e_.graph.pipeOutputs.push_back(std::move(output));
        for (FrameOutput& output : givenFrames_) e_.graph.frameOutputs.push_back(std::move(output));
        for (TriggerOutput& output : givenTriggers_) e_.graph.triggerOutputs.push_back(std::move(output));
    }

 private:
    // Moves the first of the outputs that were given and that fits; false where none does.
    template <class Outputs, class Fits>
    static bool take(Outputs& given, Outputs& outputs, const CapturedOutput& captured, Fits fits) {
        const auto found = std::find_if(given.begin(), given.end(), fits);
        if (found == given.end()) return false;
        outputs.push_back(std::move(*found));
        outputs.back().limit = captured.limit;
        given.remove(*found);
        return true;
    }

    void addPipe(const CapturedOutput& output, std::size_t place) {
        const Pipe* pipe = &e_.graph.pipes[place];
        if (take(givenPipes_, e_.graph.pipeOutputs, output,
                 [&](const PipeOutput& given) { return given.port.channel == pipe; }))
            return;
        const auto id = idAt<PipeId>(e_, place);
        if (output.isKept)
            session_.collect(id, output.limit);
        else
            session_.setOutput(id, std::make_unique<NoSink>(), output.limit);
    }

    void addTrigger(const CapturedOutput& output, std::size_t place) {
        const Trigger* trigger = &e_.graph.triggers[place];
        if (!take(givenTriggers_, e_.graph.triggerOutputs, output,
                  [&](const TriggerOutput& given) { return given.port.channel == trigger; }))
            session_.setOutput(idAt<TriggerId>(e_, place), std::make_unique<NoTriggerSink>(), output.limit);
    }

    void addFrames(const CapturedOutput& output) {
        if (take(givenFrames_, e_.graph.frameOutputs, output, [&](const FrameOutput& given) {
                return given.name == output.name && given.isTable == output.isTable &&
                       given.members.size() == output.members.size();
            }))
            return;
        JointOutputSettings settings{.name = output.name, .isTable = output.isTable, .limit = output.limit};
        for (const CapturedOutput::Member& member : output.members)
            settings.members.push_back({idAt<PipeId>(e_, placeOf(e_.graph.pipes, output, member)), member.channels});
        session_.setOutput(std::move(settings), std::make_unique<NoJointSink>());
    }

    Session& session_;
    Engine& e_;
    ObjectList<PipeOutput> givenPipes_;
    ObjectList<FrameOutput> givenFrames_;
    ObjectList<TriggerOutput> givenTriggers_;
};

OutputReport::Unit unitOf(const ReplayCheck::Output& output) {
    if (output.kind == CapturedOutput::Kind::trigger) return OutputReport::Unit::events;
    if (output.kind == CapturedOutput::Kind::pipe) return OutputReport::Unit::samples;
    return output.isTable ? OutputReport::Unit::rows : OutputReport::Unit::frames;
}

// Whether the caller gives the variable a value, by its name or by that of its array.
bool isGiven(const std::map<std::string, std::string>& values, const std::string& variable) {
    return values.contains(variable) || values.contains(variable.substr(0, variable.find('[')));
}

void noteVersion(std::vector<std::string>& notes, const std::string& what, std::uint32_t was, std::uint32_t is) {
    if (was != is)
        notes.push_back(what + " is version " + versionText(is) + ", and the run was captured with " +
                        versionText(was));
}

}  // namespace

Replay::Replay(std::filesystem::path folder) : folder_(std::make_shared<CaptureFolder>(std::move(folder))) {}

Replay::~Replay() = default;

bool Replay::hasProcedure() const { return folder_->run.hasProcedure; }

SourceText Replay::procedure() const {
    const std::filesystem::path file = folder_->path / procedureName;
    return {file.string(), readTextFile(file)};
}

BindOptions Replay::bindOptions(const ReplaySettings& settings) const {
    BindOptions options;
    options.session = folder_->run.options;
    options.feedGiven = true;
    options.values = folder_->run.values;
    for (const auto& [name, value] : settings.values) options.values[name] = value;
    options.outputs = settings.outputs;
    options.recorded = std::make_shared<FilesOfRun>(folder_);
    return options;
}

std::vector<std::string> Replay::notes(const CommandLibrary& library) const {
    const CapturedRun& run = folder_->run;
    std::vector<std::string> notes;
    noteVersion(notes, "the runtime", run.build, hostBuildVersion);
    noteVersion(notes, "the runtime's interface", run.interfaceVersion, hostInterfaceVersion);
    for (const ReportModule& module : run.modules) {
        const auto& loaded = library.modules();
        const auto found = std::find_if(loaded.begin(), loaded.end(),
                                        [&](const LoadedModule& each) { return each.name == module.name; });
        if (found == loaded.end()) {
            notes.push_back("the run had the module " + module.name + ", which is not loaded: --module FILE loads it");
            continue;
        }
        noteVersion(notes, "the module " + module.name, module.build, found->buildVersion);
        noteVersion(notes, "the interface of the module " + module.name, module.interfaceVersion,
                    found->interfaceVersion);
    }
    if (run.hasProcedure) {
        const std::string text = procedure().text;
        if (sumOf(text.data(), text.size()) != run.textSum)
            notes.push_back((folder_->path / procedureName).string() + " was changed since the run was captured");
    }
    if (folder_->isCut)
        notes.push_back("the capture is cut off at round " + std::to_string(folder_->known) + ": " + folder_->cause);
    return notes;
}

std::vector<std::string> Replay::unfedNotes(const Procedure& procedure) const {
    const CapturedRun& run = folder_->run;
    std::vector<std::string> notes;
    const auto lookAt = [&](const auto& channels, const auto& captured) {
        for (const auto& channel : channels) {
            const auto isIt = [&](const auto& input) { return input.name == channel.name; };
            if (channel.from && std::none_of(captured.begin(), captured.end(), isIt))
                notes.push_back(libzepl::quoted(channel.name) + " gets nothing: the captured run had no such input");
        }
    };
    lookAt(procedure.pipes, run.inputs);
    lookAt(procedure.triggers, run.rows);
    return notes;
}

std::uint64_t Replay::lastRound() const { return folder_->isCut ? folder_->known : folder_->summary.end->round; }

void Replay::attach(Session& session, const ReplaySettings& settings) {
    Engine& e = engineOf(session);
    if (script_ != nullptr)
        throw Problem("a replay is attached that another session has", "make a Replay for each session");
    if (e.recorder != nullptr)
        throw Problem("a run is to be replayed in a session that has a capture or a replay already",
                      "attach one of them");
    if (e.started) throw Problem("a run is to be replayed in a session that has run", "make another session");
    script_ = std::make_shared<ReplayScript>(*folder_, settings.until);
    check_ = std::make_shared<ReplayCheck>(*folder_, settings.until);
    script_->attachInputs(session, e);
    OutputRestorer outputs(session, e);
    for (const CapturedOutput& output : folder_->run.outputs) outputs.add(output);
    outputs.finish();
    for (std::size_t i = 0; i < folder_->run.variables.size(); ++i) {
        const CapturedVariable& captured = folder_->run.variables[i];
        if (isGiven(settings.values, captured.name))
            script_->leaveOut(i);
        else if (captured.isSet && i < e.graph.variables.size() && e.graph.variables[i].name == captured.name)
            e.graph.variables[i].cell = std::bit_cast<Cell>(captured.cell);
    }
    e.script = script_;
    e.recorder = check_;
}

ReplayResult Replay::result() const {
    ReplayResult result;
    if (check_ == nullptr || !check_->hasEnded())
        throw Problem("a replay's result is asked for before its run has ended",
                      "run the session that it is attached to");
    result.isCut = folder_->isCut;
    result.lastRound = check_->lastRound();
    const auto roundOf = [](const ReplayedOutput& output) {
        return output.round > 0 ? output.round : output.replayRound;
    };
    for (const ReplayCheck::Output& each : check_->outputs()) {
        const bool isFirst = each.differs && result.isSame;
        result.outputs.push_back({each.name, unitOf(each), each.count, each.expected, each.compared, each.isCompared,
                                  each.differs, each.first, each.last, each.round, each.replayRound});
        const ReplayedOutput& output = result.outputs.back();
        if (isFirst || (each.differs && roundOf(output) < roundOf(result.outputs[result.firstDifferent])))
            result.firstDifferent = result.outputs.size() - 1;
        result.isSame = result.isSame && !each.differs;
    }
    return result;
}

ReplayFailure Replay::failureOf(const Report& report) const {
    return check_ == nullptr ? ReplayFailure::none : check_->failureOf(report);
}

}  // namespace libzepl
