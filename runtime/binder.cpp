#include "runtime/binder.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <utility>

#include "runtime/binder_arguments.h"

namespace libzepl {

namespace {

using Diagnostics = std::vector<Diagnostic>;

void addError(Diagnostics& diagnostics, Place place, std::string message, std::string remedy = {}) {
    diagnostics.push_back({Severity::error, place, std::move(message), std::move(remedy)});
}

// Files that a procedure names are looked for in its own folder.
std::filesystem::path pathBeside(const Procedure& procedure, const std::string& name) {
    if (name == "-" || std::filesystem::path(name).is_absolute()) return name;
    return std::filesystem::path(procedure.source.name).parent_path() / name;
}

// One name for each file, however it is written.
std::string identityOf(const std::filesystem::path& path) {
    std::error_code error;
    const std::filesystem::path canonical = std::filesystem::weakly_canonical(path, error);
    return error ? path.string() : canonical.string();
}

// Makes the session, statement by statement.
class Binder {
 public:
    Binder(const Procedure& procedure, const CommandLibrary& library, BindOptions options, Diagnostics& diagnostics)
        : procedure_(procedure), library_(library), options_(std::move(options)), diagnostics_(diagnostics) {}

    BoundProcedure bind() {
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
    // Runs `step`; a Problem of it becomes a mistake at `place`.
    template <class Step>
    void guarded(Place place, Step step) {
        try {
            step();
        } catch (const Problem& problem) {
            addError(diagnostics_, place, problem.what(), problem.remedy());
        }
    }

    // The file that a channel reads or writes: the caller's, else the procedure's. Its mistakes stand at the procedure's
    // clause, or, for the caller's file, nowhere.
    std::optional<FileClause> clauseOf(const std::string& name, const std::optional<FileClause>& declared,
                                       const std::map<std::string, std::string>& replaced) {
        const auto given = replaced.find(name);
        if (given == replaced.end()) return declared;
        FileClause clause = declared.value_or(FileClause{});
        // A name from the command line is relative to where the caller is.
        clause.path = given->second == "-" ? "-" : std::filesystem::absolute(given->second).lexically_normal().string();
        clause.place = {};
        return clause;
    }

    void noteInput(const std::filesystem::path& path, Place place) {
        if (path == "-" && !inputFiles_.insert("-").second)
            return addError(diagnostics_, place, "standard input can feed one channel only",
                            "read the others from files");
        inputFiles_.insert(path == "-" ? "-" : identityOf(path));
    }

    ReadRequest readRequest(const FileClause& clause, ElementType type) {
        return {pathBeside(procedure_, clause.path), type, clause.channel, clause.column, clause.conversion};
    }

    void addPipe(const PipeDeclaration& declared) {
        PipeSettings settings{declared.name, declared.type, declared.capacity, {}};
        settings.starts = bytesOf(declared.type, declared.starts);
        const PipeId id = bound_.session->addPipe(std::move(settings));
        names_.pipes.emplace(declared.name, id);
        const std::optional<FileClause> from = clauseOf(declared.name, declared.from, options_.inputs);
        if (!from) return;
        guarded(from->place, [&] {
            const ReadRequest request = readRequest(*from, declared.type);
            noteInput(request.path, from->place);
            std::unique_ptr<Source> source = openSource(request);
            if (!inputRate_) inputRate_ = source->rate();
            bound_.session->setInput(id, std::move(source));
        });
    }

    void addTrigger(const TriggerDeclaration& declared) {
        const TriggerId id = bound_.session->addTrigger(declared.name);
        names_.triggers.emplace(declared.name, id);
        const std::optional<FileClause> from = clauseOf(declared.name, declared.from, options_.inputs);
        if (!from) return;
        guarded(from->place, [&] {
            const std::filesystem::path path = pathBeside(procedure_, from->path);
            noteInput(path, from->place);
            bound_.session->setInput(id, readTriggerRows(path));
        });
    }

    void addVariable(const VariableDeclaration& declared) {
        Number value = declared.value;
        const auto given = options_.values.find(declared.name);
        if (given != options_.values.end()) {
            const std::optional<Number> number = parseNumber(given->second);
            if (!number || !holds(declared.type, *number))
                return addError(diagnostics_, {},
                                "--set " + declared.name + "=" + given->second + ": " + libzepl::quoted(given->second) +
                                    " is no number that a variable of " + std::string(nameOf(declared.type)) +
                                    " holds");
            value = *number;
        }
        std::int64_t cell = 0;
        storeNumber(declared.type, value, &cell);
        names_.variables.emplace(declared.name, bound_.session->addVariable(declared.name, declared.type, &cell));
    }

    void addVector(const VectorDeclaration& declared) {
        std::vector<std::byte> bytes;
        if (declared.from) {
            guarded(declared.from->place, [&] { bytes = readVector(readRequest(*declared.from, declared.type)); });
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
        BoundArguments arguments =
            bindArguments(*command, use, names_, *bound_.session, library_, procedure_.source, diagnostics_);
        if (diagnostics_.size() != before) return;
        bound_.advice.back() = arguments.advice;
        bound_.session->addTask(
            {use.command, std::move(arguments.arguments), use.place.line, std::move(arguments.advice)});
    }

    void refuseUnknownOptions() {
        const auto refuse = [&](const std::map<std::string, std::string>& given, const std::string& option,
                                const std::vector<std::string>& known, const std::string& what) {
            for (const auto& [name, value] : given)
                if (std::find(known.begin(), known.end(), name) == known.end())
                    addError(diagnostics_, {},
                             option + " " + name + "=" + value + ": the procedure declares no " + what + " " +
                                 libzepl::quoted(name),
                             suggestion(name, known));
        };
        std::vector<std::string> channels, variables;
        for (const PipeDeclaration& pipe : procedure_.pipes) channels.push_back(pipe.name);
        for (const TriggerDeclaration& trigger : procedure_.triggers) channels.push_back(trigger.name);
        for (const VariableDeclaration& variable : procedure_.variables) variables.push_back(variable.name);
        refuse(options_.inputs, "--in", channels, "pipe or trigger");
        refuse(options_.outputs, "--out", channels, "pipe or trigger");
        refuse(options_.values, "--set", variables, "variable");
    }

    // False, with the mistake told, when the file is an input or the output of another channel.
    bool claimOutput(const std::filesystem::path& path, Place place) {
        const std::string identity = path == "-" ? "-" : identityOf(path);
        if (identity != "-" && inputFiles_.count(identity) != 0) {
            addError(diagnostics_, place, libzepl::quoted(path.string()) + " is also an input",
                     "write to another file");
            return false;
        }
        if (outputFiles_.insert(identity).second) return true;
        addError(
            diagnostics_, place,
            (identity == "-" ? "standard output" : libzepl::quoted(path.string())) + " is written by another channel",
            "give each output a file of its own");
        return false;
    }

    void addOutputs() {
        for (const PipeDeclaration& pipe : procedure_.pipes) {
            const std::optional<FileClause> to = clauseOf(pipe.name, pipe.to, options_.outputs);
            if (!to) continue;
            const WriteRequest request{pathBeside(procedure_, to->path), pipe.type,
                                       procedure_.rate.value_or(inputRate_.value_or(1000)), pipe.name, to->limit};
            if (!claimOutput(request.path, to->place)) continue;
            guarded(to->place,
                    [&] { bound_.session->setOutput(names_.pipes.at(pipe.name), createSink(request), to->limit); });
        }
        for (const TriggerDeclaration& trigger : procedure_.triggers) {
            const std::optional<FileClause> to = clauseOf(trigger.name, trigger.to, options_.outputs);
            if (!to) continue;
            const std::filesystem::path path = pathBeside(procedure_, to->path);
            if (!claimOutput(path, to->place)) continue;
            guarded(to->place, [&] {
                bound_.session->setOutput(names_.triggers.at(trigger.name), createTriggerSink(path), to->limit);
            });
        }
    }

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
        else if (!advice[i].empty())
            diagnostics.push_back({Severity::warning, use.place,
                                   use.command + " took a list that its signature does not describe", advice[i]});
    }
    for (const std::string& name : report.unwritten)
        for (const PipeDeclaration& pipe : procedure.pipes)
            if (pipe.name == name)
                diagnostics.push_back(
                    {Severity::warning, pipe.place, "nobody writes " + libzepl::quoted(name),
                     "whoever reads it waits for ever; give it a `from` file or a command that writes it"});
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
