#include "runtime/binder/outputs.h"

#include <unistd.h>

#include <map>
#include <utility>

#include "runtime/files/stream_wait.h"

namespace libzepl {

namespace {

class DiscardingSink final : public Sink {
 public:
    explicit DiscardingSink(int channels) : channels_(channels) {}
    void write(const void*, std::size_t) override {}
    void finish() override {}
    int channels() const override { return channels_; }

 private:
    int channels_;
};

class DiscardingJointSink final : public JointSink {
 public:
    void write(const void* const*, std::size_t) override {}
    void finish() override {}
};

class DiscardingTriggerSink final : public TriggerSink {
 public:
    void write(const TriggerRow&) override {}
    void finish() override {}
};

}  // namespace

std::vector<JointOutput> arrayOutputs(const Procedure& procedure, const BindOptions& options) {
    std::vector<JointOutput> outputs = procedure.jointOutputs;
    std::map<std::string, JointOutput> named;
    for (const PipeDeclaration& pipe : procedure.pipes) {
        const std::string& array = pipe.array.name;
        if (!pipe.array.isElement() || (!options.outputs.contains(array) && !options.collected.contains(array)))
            continue;
        JointOutput& joint = named[array];
        joint.name = array;
        joint.place = pipe.place;
        joint.type = pipe.type;
        if (const auto collected = options.collected.find(array); collected != options.collected.end())
            joint.to.limit = collected->second;
        joint.elements.push_back(pipe.name);
    }
    for (const JointOutput& declared : outputs) named.erase(declared.name);
    for (auto& each : named) outputs.push_back(std::move(each.second));
    return outputs;
}

void OutputBinder::add(std::vector<BoundTable>& tables) {
    const auto fileOf = [&](const auto& channel) {
        auto file = outputFile(context_.procedure, context_.options, channel);
        const auto collected = context_.options.collected.find(channel.name);
        if (collected == context_.options.collected.end()) return file;
        if (!file) file.emplace();
        if (!file->clause.limit) file->clause.limit = collected->second;
        return file;
    };
    for (const PipeDeclaration& pipe : context_.procedure.pipes)
        if (const auto to = fileOf(pipe); to && claim(pipe.name, *to)) guarded(*to, [&] { addPipe(pipe, *to); });
    for (const TriggerDeclaration& trigger : context_.procedure.triggers)
        if (const auto to = fileOf(trigger); to && claim(trigger.name, *to))
            guarded(*to, [&] { addTrigger(trigger, *to); });
    for (const JointOutput& joint : arrayOutputs(context_.procedure, context_.options)) addArray(joint);
    for (BoundTable& table : tables) addTable(table);
}

// One that the caller only collects has no path.
bool OutputBinder::isWritten(const ChannelFile& file) const {
    return !file.clause.path.empty() && context_.options.outputMode != OutputMode::collect;
}

bool OutputBinder::isCollected(const ChannelFile& file, const std::string& name) const {
    const bool asAll = !file.clause.path.empty() && context_.options.outputMode != OutputMode::write;
    return asAll || context_.options.collected.contains(name);
}

CollectedOutput& OutputBinder::addCollected(CollectedOutput::Kind kind, const std::string& name,
                                            const ChannelFile& to) {
    return bound_.collected.emplace_back(CollectedOutput{.kind = kind, .name = name, .rate = rateOf(to)});
}

// False, with the mistake reported, when the file is an input or the output of another channel.
bool OutputBinder::claim(const std::string& output, const ChannelFile& file) {
    if (isDiscarded(output) || !isWritten(file)) return true;
    const bool standard = isStandardStream(file.path);
    const std::string identity = standard ? identityOf(STDOUT_FILENO) : identityOf(file.path);
    const std::string name = standard ? "standard output" : libzepl::quoted(file.path.string());
    if (!identity.empty() && context_.inputFiles.contains(identity)) {
        refuse(file, name + " is also an input", "write to another file");
        return false;
    }
    const bool first = !standard || files_.insert("-").second;
    if (first && (identity.empty() || files_.insert(identity).second)) return true;
    refuse(file, name + " is written by another channel", "give each output a file of its own");
    return false;
}

void OutputBinder::refuse(const ChannelFile& file, const std::string& message, std::string remedy) {
    diagnostics_.push_back({Severity::error, file.clause.place,
                            (file.option.empty() ? "" : file.option + ": ") + message, std::move(remedy)});
}

template <class Step>
void OutputBinder::guarded(const ChannelFile& file, Step step) {
    try {
        step();
    } catch (const Interrupted&) {
        throw;
    } catch (const Problem& problem) {
        refuse(file, problem.what(), problem.remedy());
    }
}

void OutputBinder::addPipe(const PipeDeclaration& pipe, const ChannelFile& to) {
    const PipeId id = context_.names.pipes.at(pipe.name);
    if (isDiscarded(pipe.name))
        return session_.setOutput(id, std::make_unique<DiscardingSink>(static_cast<int>(pipe.interleaved.value_or(1))),
                                  to.clause.limit);
    WriteRequest request = writeRequest(to, pipe, rateOf(to));
    request.output = outputOptions(to, request);
    std::unique_ptr<Sink> sink = isWritten(to) ? createSink(request) : nullptr;
    if (isCollected(to, pipe.name)) {
        session_.setCollectedOutput(id, std::move(sink), request.limit, request.channels);
        CollectedOutput& collected = addCollected(CollectedOutput::Kind::pipe, pipe.name, to);
        collected.pipe = id;
        collected.columns = {{.heading = pipe.name, .type = pipe.type, .channels = request.channels}};
    } else {
        session_.setOutput(id, std::move(sink), request.limit);
    }
    if (isWritten(to) && !to.clause.rate && statesRate(request.path, request.format))
        session_.noteRate(id, {to.path.string(), request.rate, !context_.rates.rate()});
}

void OutputBinder::addTrigger(const TriggerDeclaration& trigger, const ChannelFile& to) {
    const FileClause& clause = to.clause;
    const TriggerId id = context_.names.triggers.at(trigger.name);
    if (isDiscarded(trigger.name))
        return session_.setOutput(id, std::make_unique<DiscardingTriggerSink>(), clause.limit);
    const auto secondsRate = clause.withSeconds ? std::optional(rateOf(to)) : std::nullopt;
    const std::string format = clause.format.empty() && isAddress(to.path) ? "csv" : clause.format;
    const OutputOptions options = outputOptions(to, {.path = to.path, .format = format});
    std::unique_ptr<TriggerSink> sink;
    if (isWritten(to)) sink = createTriggerSink(to.path, options, format, secondsRate);
    if (isCollected(to, trigger.name)) {
        session_.setCollectedOutput(id, std::move(sink), clause.limit);
        addCollected(CollectedOutput::Kind::trigger, trigger.name, to).trigger = id;
    } else {
        session_.setOutput(id, std::move(sink), clause.limit);
    }
    if (isWritten(to) && clause.withSeconds && !context_.rates.rate())
        session_.addNote(to.path.string() +
                         " counts seconds by 1000 frames a second, which is assumed, since no input states a rate: "
                         "`rate R` in the procedure states the right one");
}

// Each element takes as many channels as its own frames have.
void OutputBinder::addArray(const JointOutput& joint) {
    const std::optional<ChannelFile> to = outputFile(context_.procedure, context_.options, joint);
    if (!to || !claim(joint.name, *to)) return;
    int channels = 1;
    for (const PipeDeclaration& pipe : context_.procedure.pipes)
        if (pipe.name == joint.elements.front()) channels = static_cast<int>(pipe.interleaved.value_or(1));
    JointOutputSettings settings{.name = joint.name, .limit = to->clause.limit};
    if (settings.limit) *settings.limit /= static_cast<std::uint64_t>(channels);
    std::vector<ColumnRequest> columns;
    for (const std::string& name : joint.elements) {
        settings.members.push_back({context_.names.pipes.at(name), static_cast<std::uint64_t>(channels)});
        columns.push_back({.heading = name, .type = joint.type, .channels = channels});
    }
    guarded(*to, [&] { addJoint(*to, std::move(settings), columns, false); });
}

void OutputBinder::addTable(BoundTable& table) {
    const FileClause& declared = table.declared->to;
    const std::optional<ChannelFile> to = outputFile(context_.procedure, context_.options, *table.declared);
    if (!to || !claim(declared.path, *to)) return;
    JointOutputSettings settings{.name = declared.path, .isTable = true, .limit = to->clause.limit};
    settings.members = table.members;
    const bool countsSeconds = table.setRate(rateOf(*to));
    guarded(*to, [&] { addJoint(*to, std::move(settings), table.columns, countsSeconds); });
}

void OutputBinder::addJoint(const ChannelFile& to, JointOutputSettings settings,
                            const std::vector<ColumnRequest>& columns, bool countsSeconds) {
    if (isDiscarded(settings.name))
        return session_.setOutput(std::move(settings), std::make_unique<DiscardingJointSink>());
    WriteRequest request{.path = to.path, .rate = rateOf(to)};
    request.limit = settings.limit;
    request.format = to.clause.format;
    WriteRequest whole = request;
    whole.type = columns.front().type;
    whole.channels = 0;
    for (const ColumnRequest& column : columns) whole.channels += column.channels;
    request.output = outputOptions(to, whole);
    std::unique_ptr<JointSink> sink = isWritten(to) ? createJointSink(request, columns) : nullptr;
    const std::string name = settings.name;
    if (isCollected(to, name)) {
        const auto kind = settings.isTable ? CollectedOutput::Kind::table : CollectedOutput::Kind::array;
        const FramesId frames = session_.setCollectedOutput(std::move(settings), std::move(sink));
        CollectedOutput& collected = addCollected(kind, name, to);
        collected.frames = frames;
        collected.columns = columns;
    } else {
        session_.setOutput(std::move(settings), std::move(sink));
    }
    if (isWritten(to) && !to.clause.rate && (countsSeconds || statesRate(request.path, request.format)))
        session_.noteJointRate({to.path.string(), request.rate, !context_.rates.rate(), countsSeconds});
}

bool OutputBinder::isDiscarded(const std::string& output) const { return context_.options.discarded.contains(output); }

double OutputBinder::rateOf(const ChannelFile& to) const {
    return to.clause.rate.value_or(context_.rates.rate().value_or(1000));
}

OutputOptions OutputBinder::outputOptions(const ChannelFile& to, const WriteRequest& request) const {
    OutputOptions options{.sync = context_.options.sync, .checkOnly = context_.options.session.setUpOnly};
    if (isWritten(to) && isAddress(to.path))
        options.stream = openLiveStream(request, liveSettings(to, context_.options, context_.rates.rate()));
    return options;
}

}  // namespace libzepl
