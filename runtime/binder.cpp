#include "runtime/binder.h"

#include <unistd.h>

#include <algorithm>
#include <set>
#include <utility>

#include "runtime/binder_arguments.h"
#include "runtime/binder_files.h"
#include "runtime/files/stream_wait.h"

namespace libzepl {

namespace {

using Diagnostics = std::vector<Diagnostic>;

void addError(Diagnostics& diagnostics, Place place, std::string message, std::string remedy = {}) {
    diagnostics.push_back({Severity::error, place, std::move(message), std::move(remedy)});
}

// "the procedure declares `a`, `b`", for a name that is none of them.
std::string declaredOnes(const std::vector<std::string>& names) {
    std::string list;
    for (const std::string& name : names) list += (list.empty() ? "" : ", ") + libzepl::quoted(name);
    return list.empty() ? "it declares none" : "it declares " + list;
}

// Makes the session, statement by statement.
class Binder {
 public:
    Binder(const Procedure& procedure, const CommandLibrary& library, BindOptions options, Diagnostics& diagnostics)
        : procedure_(procedure), library_(library), options_(std::move(options)), diagnostics_(diagnostics) {}

    BoundProcedure bind() {
        std::optional<WaitScope> waiting;
        if (options_.session.stop != nullptr) waiting.emplace(*options_.session.stop);
        options_.session.rate = procedure_.rate;
        bound_.session = std::make_unique<Session>(library_, options_.session);
        for (const PipeDeclaration& pipe : procedure_.pipes) guarded(pipe.place, [&] { addPipe(pipe); });
        for (const TriggerDeclaration& trigger : procedure_.triggers)
            guarded(trigger.place, [&] { addTrigger(trigger); });
        for (const VariableDeclaration& variable : procedure_.variables) addVariable(variable);
        for (const VectorDeclaration& vector : procedure_.vectors) guarded(vector.place, [&] { addVector(vector); });
        for (const CommandUse& use : procedure_.commands) addCommand(use);
        // Outputs come last: their rate can be that of an input, and nothing is created beside a mistake.
        refuseUnknownOptions();
        if (!hasErrors(diagnostics_)) addOutputs();
        if (hasErrors(diagnostics_)) bound_.session.reset();
        return std::move(bound_);
    }

 private:
    void refuse(const ChannelFile& file, const std::string& message, std::string remedy) {
        addError(diagnostics_, file.clause.place, (file.option.empty() ? "" : file.option + ": ") + message,
                 std::move(remedy));
    }

    // Runs `step`; a Problem of it becomes a mistake at the place, or at the file's. False when there was one.
    template <class Step>
    bool guarded(Place place, Step step) {
        try {
            step();
            return true;
        } catch (const Interrupted&) {
            throw;
        } catch (const Problem& problem) {
            addError(diagnostics_, place, problem.what(), problem.remedy());
            return false;
        }
    }
    template <class Step>
    void guarded(const ChannelFile& file, Step step) {
        try {
            step();
        } catch (const Interrupted&) {
            throw;
        } catch (const Problem& problem) {
            refuse(file, problem.what(), problem.remedy());
        }
    }

    void noteInput(const ChannelFile& file) {
        if (!inputFiles_.insert(identityOf(file.path)).second && file.path == "-")
            refuse(file, "standard input can feed one channel only", "read the others from files");
        if (file.path == "-") inputFiles_.insert(identityOf(STDIN_FILENO));
    }

    static ReadRequest readRequest(const ChannelFile& file, ElementType type) {
        return {file.path, type, file.clause.channel, file.clause.column, file.clause.conversion};
    }

    void addPipe(const PipeDeclaration& declared) {
        PipeSettings settings{declared.name, declared.type, declared.capacity, {}};
        settings.starts = bytesOf(declared.type, declared.starts);
        // The name is known also where the pipe is refused, so that its uses are no mistakes.
        PipeId id{};
        if (!guarded(declared.capacity ? declared.capacityPlace : declared.place,
                     [&] { id = bound_.session->addPipe(std::move(settings)); }))
            id = bound_.session->addPipe({.name = declared.name, .type = declared.type});
        names_.pipes.emplace(declared.name, id);
        const std::optional<ChannelFile> from = inputFile(procedure_, options_, declared.name, declared.from);
        if (!from) return;
        guarded(*from, [&] {
            noteInput(*from);
            std::unique_ptr<Source> source = openSource(readRequest(*from, declared.type));
            if (!inputRate_) inputRate_ = source->rate();
            bound_.session->setInput(id, std::move(source));
        });
    }

    void addTrigger(const TriggerDeclaration& declared) {
        const TriggerId id = bound_.session->addTrigger(declared.name);
        names_.triggers.emplace(declared.name, id);
        const std::optional<ChannelFile> from = inputFile(procedure_, options_, declared.name, declared.from);
        if (!from) return;
        guarded(*from, [&] {
            noteInput(*from);
            bound_.session->setInput(id, readTriggerRows(from->path));
        });
    }

    void addVariable(const VariableDeclaration& declared) {
        Number value = declared.value;
        const auto given = options_.values.find(declared.name);
        if (given != options_.values.end()) {
            const std::optional<Number> number = parseNumber(given->second);
            if (!number || !holds(declared.type, *number))
                return addError(
                    diagnostics_, {},
                    "--set " + declared.name + ": " +
                        (number ? notHeld(declared.type, *number, given->second).message : whyNoNumber(given->second)),
                    "give a number that " + std::string(nameOf(declared.type)) + " holds");
            value = *number;
        }
        std::int64_t cell = 0;
        storeNumber(declared.type, value, &cell);
        names_.variables.emplace(declared.name, bound_.session->addVariable(declared.name, declared.type, &cell));
    }

    void addVector(const VectorDeclaration& declared) {
        std::vector<std::byte> bytes;
        if (declared.from) {
            const ChannelFile file{*declared.from, pathBeside(procedure_, declared.from->path), {}};
            guarded(file, [&] {
                noteInput(file);
                bytes = readVector(readRequest(file, declared.type));
            });
        } else {
            bytes = bytesOf(declared.type, declared.values);
        }
        names_.vectors.emplace(declared.name,
                               bound_.session->addVector(declared.name, declared.type, std::move(bytes)));
    }

    std::vector<std::byte> bytesOf(ElementType type, const std::vector<Number>& numbers) {
        std::vector<std::byte> bytes(numbers.size() * widthOf(type));
        for (std::size_t i = 0; i < numbers.size(); ++i)
            storeNumber(type, numbers[i], bytes.data() + i * widthOf(type));
        return bytes;
    }

    void addCommand(const CommandUse& use) {
        bound_.advice.emplace_back();
        const Command* command = library_.find(use.command);
        if (command == nullptr) {
            std::vector<std::string> known;
            for (const Command& each : library_.commands()) known.push_back(each.name);
            std::string remedy = suggestion(use.command, known);
            if (remedy.empty()) remedy = "zepl commands lists the commands";
            return addError(diagnostics_, use.place, "unknown command " + libzepl::quoted(use.command),
                            std::move(remedy));
        }
        const std::size_t before = diagnostics_.size();
        BoundArguments arguments = bindArguments(*command, use, names_, *bound_.session, library_, diagnostics_);
        if (diagnostics_.size() != before) return;
        bound_.advice.back() = arguments.advice;
        bound_.session->addTask(
            {use.command, std::move(arguments.arguments), use.place.line, std::move(arguments.advice)});
    }

    void refuseUnknownOptions() {
        const auto refuseUnknown = [&](const std::map<std::string, std::string>& given, const std::string& option,
                                       const std::vector<std::string>& known, const std::string& what) {
            for (const auto& [name, value] : given)
                if (std::find(known.begin(), known.end(), name) == known.end()) {
                    const std::string near = suggestion(name, known);
                    addError(diagnostics_, {},
                             option + " " + name + "=" + value + ": the procedure declares no " + what + " " +
                                 libzepl::quoted(name),
                             near.empty() ? declaredOnes(known) : near);
                }
        };
        std::vector<std::string> channels, variables;
        for (const PipeDeclaration& pipe : procedure_.pipes) channels.push_back(pipe.name);
        for (const TriggerDeclaration& trigger : procedure_.triggers) channels.push_back(trigger.name);
        for (const VariableDeclaration& variable : procedure_.variables) variables.push_back(variable.name);
        refuseUnknown(options_.inputs, "--in", channels, "pipe or trigger");
        refuseUnknown(options_.outputs, "--out", channels, "pipe or trigger");
        refuseUnknown(options_.values, "--set", variables, "variable");
    }

    // False, with the mistake told, when the file is an input or the output of another channel.
    bool claimOutput(const ChannelFile& file) {
        const bool standard = file.path == "-";
        const std::string identity = standard ? identityOf(STDOUT_FILENO) : identityOf(file.path);
        const std::string name = standard ? "standard output" : libzepl::quoted(file.path.string());
        if (!identity.empty() && inputFiles_.count(identity) != 0) {
            refuse(file, name + " is also an input", "write to another file");
            return false;
        }
        const bool first = !standard || outputFiles_.insert("-").second;
        if (first && (identity.empty() || outputFiles_.insert(identity).second)) return true;
        refuse(file, name + " is written by another channel", "give each output a file of its own");
        return false;
    }

    void addOutputs() {
        for (const PipeDeclaration& pipe : procedure_.pipes) {
            const std::optional<ChannelFile> to = outputFile(procedure_, options_, pipe.name, pipe.to);
            if (!to || !claimOutput(*to)) continue;
            const std::optional<std::uint64_t> limit = to->clause.limit;
            const WriteRequest request{to->path,  pipe.type, procedure_.rate.value_or(inputRate_.value_or(1000)),
                                       pipe.name, limit,     outputOptions()};
            guarded(*to, [&] { bound_.session->setOutput(names_.pipes.at(pipe.name), createSink(request), limit); });
        }
        for (const TriggerDeclaration& trigger : procedure_.triggers) {
            const std::optional<ChannelFile> to = outputFile(procedure_, options_, trigger.name, trigger.to);
            if (!to || !claimOutput(*to)) continue;
            guarded(*to, [&] {
                bound_.session->setOutput(names_.triggers.at(trigger.name),
                                          createTriggerSink(to->path, outputOptions()), to->clause.limit);
            });
        }
    }

    OutputOptions outputOptions() const { return {.sync = options_.sync, .checkOnly = options_.session.setUpOnly}; }

    const Procedure& procedure_;
    const CommandLibrary& library_;
    BindOptions options_;
    Diagnostics& diagnostics_;
    BoundProcedure bound_;
    DeclaredNames names_;
    std::optional<double> inputRate_;
    std::set<std::string> inputFiles_, outputFiles_;
};

Place placeOf(const CommandUse& use, std::optional<std::int32_t> index) {
    if (index && *index >= 1 && static_cast<std::size_t>(*index) <= use.arguments.size())
        return use.arguments[static_cast<std::size_t>(*index - 1)].place;
    return use.place;
}

// Where a channel is declared; no place for an unknown one.
Place placeOf(const Procedure& procedure, const std::string& channel) {
    for (const PipeDeclaration& pipe : procedure.pipes)
        if (pipe.name == channel) return pipe.place;
    for (const TriggerDeclaration& trigger : procedure.triggers)
        if (trigger.name == channel) return trigger.place;
    return {};
}

}  // namespace

BoundProcedure bindProcedure(const Procedure& procedure, const CommandLibrary& library, BindOptions options,
                             std::vector<Diagnostic>& diagnostics) {
    return Binder(procedure, library, std::move(options), diagnostics).bind();
}

std::vector<Diagnostic> diagnose(const Procedure& procedure, const Report& report,
                                 const std::vector<std::string>& advice) {
    std::vector<Diagnostic> diagnostics;
    for (std::size_t i = 0; i < report.tasks.size() && i < procedure.commands.size(); ++i) {
        const TaskReport& task = report.tasks[i];
        const CommandUse& use = procedure.commands[i];
        const bool runs = task.state == TaskReport::State::waiting || task.state == TaskReport::State::running;
        if (!runs)
            addError(diagnostics, placeOf(use, task.index), use.command + ": " + task.text, task.remedy);
        else if (i < advice.size() && !advice[i].empty())
            diagnostics.push_back({Severity::warning, use.place,
                                   use.command + " took a list that its signature does not describe", advice[i]});
    }
    for (const std::string& name : report.unwritten)
        diagnostics.push_back({Severity::warning, placeOf(procedure, name), "nobody writes " + libzepl::quoted(name),
                               "whoever reads it waits for ever; give it a `from` file or a command that writes it"});
    if (!report.reason.empty()) addError(diagnostics, placeOf(procedure, report.channel), report.reason, report.remedy);
    return diagnostics;
}

Report refusalReport(const Procedure& procedure, const std::vector<Diagnostic>& diagnostics) {
    Report report;
    report.procedure = procedure.source.name;
    report.status = Report::Status::refused;
    for (const CommandUse& use : procedure.commands) {
        TaskReport& task = report.tasks.emplace_back();
        task.line = use.place.line;
        task.command = use.command;
    }
    for (const Diagnostic& diagnostic : diagnostics) {
        const std::string line =
            diagnostic.place.line > 0 ? "line " + std::to_string(diagnostic.place.line) + ": " : "";
        report.notes.push_back(line + diagnostic.message);
        for (TaskReport& task : report.tasks) {
            if (diagnostic.severity != Severity::error || task.line != diagnostic.place.line) continue;
            task.state = TaskReport::State::refused;
            task.text = diagnostic.message;
        }
    }
    return report;
}

}  // namespace libzepl
