#include "runtime/binder.h"

#include <unistd.h>

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "runtime/binder/arguments.h"
#include "runtime/binder/files.h"
#include "runtime/binder/option_names.h"
#include "runtime/binder/outputs.h"
#include "runtime/binder/tables.h"
#include "runtime/expressions/expression.h"
#include "runtime/files/memory_source.h"
#include "runtime/files/output_place.h"
#include "runtime/files/stream_wait.h"
#include "runtime/wording.h"

namespace libzepl {

namespace {

using Diagnostics = std::vector<Diagnostic>;

void addError(Diagnostics& diagnostics, Place place, std::string message, std::string remedy = {}) {
    diagnostics.push_back({Severity::error, place, std::move(message), std::move(remedy)});
}

// Whether each part of it can be read once.
bool flows(const std::filesystem::path& path) { return isStandardStream(path) || isStream(path); }

// Makes the session, statement by statement.
class Binder {
 public:
    Binder(const Procedure& procedure, const CommandLibrary& library, BindOptions options, Diagnostics& diagnostics)
        : procedure_(procedure), library_(library), options_(std::move(options)), diagnostics_(diagnostics) {}

    BoundProcedure bind() {
        const std::optional<double> given = std::exchange(options_.session.rate, procedure_.rate);
        FeedPolicy& feed = options_.session.feed;
        if (procedure_.lockstep && !options_.feedGiven) feed.kind = FeedPolicy::Kind::lockstep;
        bound_.session = std::make_unique<Session>(library_, options_.session);
        refuseUnknownOptions(procedure_, options_, diagnostics_);
        if (given && *given != procedure_.rate) warnOfRate(*given);
        forEach(procedure_.pipes, [&](const PipeDeclaration& pipe) { declare(pipe, [&] { addPipe(pipe); }); });
        forEach(procedure_.triggers,
                [&](const TriggerDeclaration& trigger) { declare(trigger, [&] { addTrigger(trigger); }); });
        forEach(procedure_.variables,
                [&](const VariableDeclaration& variable) { declare(variable, [&] { addVariable(variable); }); });
        forEach(procedure_.vectors,
                [&](const VectorDeclaration& vector) { declare(vector, [&] { addVector(vector); }); });
        for (const ConstantDeclaration& constant : procedure_.constants) names_.constants.insert(constant.name);
        ArgumentBinder binder(names_, *bound_.session, library_, diagnostics_);
        forEach(procedure_.commands,
                [&](const CommandUse& use) { guarded(use.place, [&] { addCommand(use, binder); }); });
        forEach(procedure_.pipes, [&](const PipeDeclaration& pipe) {
            if (pipe.definition) guarded(pipe.place, [&] { addDefinition(pipe); });
        });
        TableBinder tables(procedure_, names_, diagnostics_);
        forEach(procedure_.tables, [&](const TableDeclaration& table) {
            if (std::optional<BoundTable> bound = tables.bind(table)) tables_.push_back(std::move(*bound));
        });
        warnOfNothing();
        // Outputs come last: their rate can be that of an input, and nothing is created beside a mistake.
        OutputBinder outputs({procedure_, options_, names_, rates_, inputFiles_}, bound_, diagnostics_);
        if (!hasErrors(diagnostics_)) outputs.add(tables_);
        if (hasErrors(diagnostics_)) bound_.session.reset();
        if (!options_.fed.empty() || options_.recorded != nullptr) bound_.canBeRepeated = false;
        return std::move(bound_);
    }

 private:
    // Adds statement after statement, up to as many mistakes as anybody reads.
    template <class Statements, class Add>
    void forEach(const Statements& statements, Add add) {
        for (const auto& statement : statements) {
            if (isFull_) return;
            isFull_ = diagnostics_.size() >= maxDiagnostics;
            if (isFull_) return addError(diagnostics_, statement.place, "too many mistakes: the rest is not checked");
            add(statement);
        }
    }

    // Runs `add`, which declares the statement's name. Where it fails, uses of the name are no mistakes of their own, and
    // the other elements of its array, which would fail alike, are not looked at.
    template <class Statement, class Add>
    void declare(const Statement& statement, Add add) {
        const std::size_t before = diagnostics_.size();
        const std::string& array = statement.array.name;
        const bool isRefused = statement.array.isWhole() || (!array.empty() && names_.refused.contains(array));
        if (!isRefused) guarded(statement.place, add);
        if (!isRefused && !hasErrorsSince(before)) return;
        names_.refused.insert(statement.name);
        if (!array.empty()) names_.refused.insert(array);
    }

    bool hasErrorsSince(std::size_t before) const {
        return std::any_of(diagnostics_.begin() + static_cast<std::ptrdiff_t>(before), diagnostics_.end(),
                           [](const Diagnostic& each) { return each.severity == Severity::error; });
    }

    void refuse(const ChannelFile& file, const std::string& message, std::string remedy) {
        addError(diagnostics_, file.clause.place, (file.option.empty() ? "" : file.option + ": ") + message,
                 std::move(remedy));
    }

    // A warning is a note of the report, too.
    void warn(const std::optional<Diagnostic>& warning) {
        if (!warning) return;
        diagnostics_.push_back(*warning);
        bound_.session->addNote(warning->message, true);
    }

    // The procedure's own rate differs from that of the caller's samples.
    void warnOfRate(double given) {
        const std::string stated = rateText(*procedure_.rate);
        warn(Diagnostic{
            Severity::warning,
            {},
            "the samples come at " + rateText(given) + " frames a second, and the procedure's `rate` is " + stated,
            "the run goes by `rate " + stated + "`; correct it, or leave it out"});
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
        if (flows(file.path) || isAddress(file.path)) bound_.canBeRepeated = false;
        const std::string identity = identityOf(file.path);
        bool isRead = !inputFiles_.insert(identity).second && !identity.empty();
        if (!isStandardStream(file.path)) {
            if (isRead && flows(file.path))
                refuse(file,
                       file.path.string() +
                           ": another channel reads this stream, and each would miss what the other takes",
                       "read each from a stream or file of its own");
            return;
        }
        const std::string itself = identityOf(STDIN_FILENO);
        isRead |= !inputFiles_.insert(itself).second && !itself.empty() && flows(file.path);
        if (isRead) refuse(file, "standard input can feed one channel only", "read the others from files");
    }

    void addPipe(const PipeDeclaration& declared) {
        PipeSettings settings{declared.name, declared.type, declared.capacity, {}};
        // The starts of a defined pipe are the past of its first sample.
        if (!declared.definition) settings.starts = bytesOf(declared.type, declared.starts);
        // The name is known also where the pipe is refused, so that its uses are no mistakes.
        PipeId id{};
        if (!guarded(declared.capacity ? declared.capacityPlace : declared.place,
                     [&] { id = bound_.session->addPipe(std::move(settings)); }))
            id = bound_.session->addPipe({.name = declared.name, .type = declared.type});
        names_.pipes.emplace(declared.name, id);
        if (const std::optional<ChannelFile> from = inputFile(procedure_, options_, declared))
            guarded(*from, [&] { addInput(declared, id, *from); });
        if (declared.array.index == declared.array.count) guarded(declared.place, [&] { endStream(); });
    }

    void addInput(const PipeDeclaration& declared, PipeId id, const ChannelFile& from) {
        const bool sharesFile = declared.array.isElement() && !options_.inputs.contains(declared.name) &&
                                !options_.samples.contains(declared.name);
        const bool isFirst = !sharesFile || !arrayRead_ || *arrayRead_ != declared.array.name;
        if (sharesFile) arrayRead_ = declared.array.name;
        if (sharesFile && declared.interleaved)
            throw Problem("the elements of an array take a channel each, and `interleaved` keeps channels together",
                          "leave out `interleaved`");
        ReadRequest request = readRequest(from, declared.type, declared.interleaved);
        if (from.samples != nullptr) return addSamples(*from.samples, request, id);
        if (isFirst) noteInput(from);
        if (sharesFile && flows(from.path)) return addStreamed(std::move(request), id, isFirst ? &from : nullptr);
        std::unique_ptr<Source> source = open(request, from);
        if (isFirst) warn(rates_.add(from, source->rate()));
        bound_.session->setInput(id, std::move(source));
    }

    void addSamples(const MemorySamples& samples, const ReadRequest& request, PipeId id) {
        std::unique_ptr<Source> source = memorySource(samples, request);
        const std::uint64_t elements = *source->length();
        const void* const inPlace = elementsInPlace(samples, request);
        if (inPlace == nullptr) return bound_.session->setInput(id, std::move(source));
        bound_.session->feedMemory(id, inPlace, elements, source->channels());
    }

    std::unique_ptr<Source> open(const ReadRequest& request, const ChannelFile& from) const {
        if (!isAddress(request.path)) return openSource(request);
        return openLiveSource(request, liveSettings(from, options_, rates_.rate()));
    }

    // A stream is read once for all elements of an array: the first of them, which comes with the file, opens it.
    void addStreamed(ReadRequest request, PipeId id, const ChannelFile* first) {
        const std::int64_t* column = request.column ? std::get_if<std::int64_t>(&*request.column) : nullptr;
        const std::int64_t channel = column != nullptr ? *column : request.channel.value_or(1);
        if (first != nullptr) {
            streamed_.clear();
            request.channel.reset();
            request.column.reset();
            request.isSplit = true;
            stream_ = open(request, *first);
            warn(rates_.add(*first, stream_->rate()));
        }
        const std::int64_t there = stream_->channels();
        if (channel < 1 || channel > there)
            throw Problem(request.path.string() + ": there is no channel " + std::to_string(channel),
                          "the recording has " + counted(static_cast<std::uint64_t>(there), "channel"));
        streamed_.push_back({id, static_cast<int>(channel)});
    }

    // After the last element of an array.
    void endStream() {
        if (stream_ != nullptr && !streamed_.empty()) bound_.session->setInputs(streamed_, std::move(stream_));
        stream_.reset();
        streamed_.clear();
    }

    void addTrigger(const TriggerDeclaration& declared) {
        const TriggerId id = bound_.session->addTrigger(declared.name);
        names_.triggers.emplace(declared.name, id);
        if (const auto given = options_.events.find(declared.name); given != options_.events.end())
            return bound_.session->setInput(id, given->second);
        const std::optional<ChannelFile> from = inputFile(procedure_, options_, declared);
        if (!from) return;
        guarded(*from, [&] {
            noteInput(*from);
            bound_.session->setInput(id, readTriggerRows(from->path, from->clause.format));
        });
    }

    void addVariable(const VariableDeclaration& declared) {
        std::int64_t cell = 0;
        storeNumber(declared.type, declared.value, &cell);
        names_.variables.emplace(declared.name, bound_.session->addVariable(declared.name, declared.type, &cell));
    }

    void addVector(const VectorDeclaration& declared) {
        std::vector<std::byte> bytes;
        std::optional<std::vector<std::byte>> recorded;
        if (options_.recorded != nullptr) recorded = options_.recorded->vector(declared.name);
        if (recorded) {
            bytes = std::move(*recorded);
        } else if (const auto given = options_.samples.find(declared.name); given != options_.samples.end()) {
            guarded(declared.place, [&] { bytes = elementsOf(given->second, declared); });
        } else if (declared.from) {
            const ChannelFile file{*declared.from, pathBeside(procedure_, declared.from->path), {}};
            guarded(file, [&] {
                if (declared.array.index <= 1 || flows(file.path)) noteInput(file);
                std::vector<std::string> notes;
                bytes = readVector(readRequest(file, declared.type, declared.interleaved), notes,
                                   options_.session.memoryLimit);
                if (declared.array.index <= 1)
                    for (const std::string& note : notes) bound_.session->addNote(note);
            });
        } else {
            bytes = bytesOf(declared.type, declared.values);
        }
        names_.vectors.emplace(declared.name,
                               bound_.session->addVector(declared.name, declared.type, std::move(bytes)));
    }

    static std::vector<std::byte> elementsOf(const MemorySamples& samples, const VectorDeclaration& declared) {
        ReadRequest request{.path = libzepl::quoted(declared.name), .type = declared.type};
        request.interleaved = declared.interleaved;
        if (declared.from) request.conversion = declared.from->conversion;
        const std::unique_ptr<Source> source = memorySource(samples, request);
        std::vector<std::byte> bytes(*source->length() * widthOf(declared.type));
        source->read(bytes.data(), *source->length());
        return bytes;
    }

    std::vector<std::byte> bytesOf(ElementType type, const std::vector<Number>& numbers) {
        std::vector<std::byte> bytes(numbers.size() * widthOf(type));
        for (std::size_t i = 0; i < numbers.size(); ++i)
            storeNumber(type, numbers[i], bytes.data() + i * widthOf(type));
        return bytes;
    }

    void addCommand(const CommandUse& use, ArgumentBinder& binder) {
        bound_.advice.emplace_back();
        if (use.isRefused || (use.array.index > 1 && isFirstRefused_)) return;
        isFirstRefused_ = true;
        const Command* command = library_.find(use.command);
        if (command == nullptr) return refuseCommand(use);
        std::optional<BoundArguments> bound = binder.bind(*command, use);
        if (!bound) return;
        bound_.advice.back() = bound->advice;
        bound_.session->addTask(
            {use.command, std::move(bound->arguments), use.place.line, use.array.index, std::move(bound->advice)});
        isFirstRefused_ = false;
    }

    void addDefinition(const PipeDeclaration& declared) {
        const auto pipe = names_.pipes.find(declared.name);
        if (pipe == names_.pipes.end()) return;  // it is refused
        DefinitionSettings settings{.pipe = pipe->second, .tree = declared.definition};
        if (!collectNames(*declared.definition, settings)) return;
        std::string written;
        for (char c : declared.definedAs) {
            const bool isBlank = c == ' ' || c == '\t' || c == '\r' || c == '\n';
            if (!isBlank || !written.ends_with(' ')) written += isBlank ? ' ' : c;
        }
        constexpr std::size_t most = 60;
        if (written.size() > most) written = written.substr(0, most - 3) + "...";
        settings.text = declared.name + " = " + written;
        settings.line = declared.place.line;
        bound_.session->addDefinition(std::move(settings));
    }

    // False where one of them is refused.
    bool collectNames(const Expression& tree, DefinitionSettings& settings) {
        for (const Expression& operand : tree.operands)
            if (!collectNames(operand, settings)) return false;
        if (tree.form != Expression::Form::name && tree.form != Expression::Form::index) return true;
        if (!settings.pasts.try_emplace(tree.name).second) return true;
        TaskArgument& object = settings.names.emplace_back();
        if (const auto pipe = names_.pipes.find(tree.name); pipe != names_.pipes.end()) {
            object = bound_.session->use(pipe->second);
            for (const PipeDeclaration& each : procedure_.pipes)
                if (each.name == tree.name && each.definition)
                    for (const Number& start : each.starts) settings.pasts[tree.name].push_back(start.real);
        } else if (const auto variable = names_.variables.find(tree.name); variable != names_.variables.end()) {
            object = bound_.session->use(variable->second);
        } else {
            return false;
        }
        object.name = tree.name;
        return true;
    }

    void refuseCommand(const CommandUse& use) {
        if (!knownCommands_) {
            std::vector<std::string> known;
            for (const Command& each : library_.commands()) known.push_back(each.name);
            knownCommands_.emplace(known);
        }
        std::string remedy = knownCommands_->suggestion(use.command);
        if (remedy.empty()) remedy = "zepl commands lists the commands";
        addError(diagnostics_, use.place, "unknown command " + libzepl::quoted(use.command), std::move(remedy));
    }

    // Without commands only files are copied, from an input to an output of the same channel or to a table.
    void warnOfNothing() {
        if (options_.recorded != nullptr) return;
        const auto copies = [&](const auto& channel) {
            return inputFile(procedure_, options_, channel) && outputFile(procedure_, options_, channel);
        };
        const auto anyCopies = [&](const auto& channels) {
            return std::any_of(channels.begin(), channels.end(), copies);
        };
        if (!options_.collected.empty()) return;
        const auto isDefined = [](const PipeDeclaration& pipe) { return pipe.definition != nullptr; };
        if (std::any_of(procedure_.pipes.begin(), procedure_.pipes.end(), isDefined)) return;
        if (!procedure_.commands.empty() || !procedure_.tables.empty() || !arrayOutputs(procedure_, options_).empty())
            return;
        if (hasErrors(diagnostics_)) return;
        if (anyCopies(procedure_.pipes) || anyCopies(procedure_.triggers)) return;
        diagnostics_.push_back({Severity::warning,
                                {},
                                "the procedure has no command, so it does nothing",
                                "add one, COMMAND ( argument, ... ); zepl commands lists them"});
    }

    const Procedure& procedure_;
    const CommandLibrary& library_;
    BindOptions options_;
    Diagnostics& diagnostics_;
    BoundProcedure bound_;
    DeclaredNames names_;
    bool isFull_ = false;
    std::vector<BoundTable> tables_;
    std::optional<KnownNames> knownCommands_;  // when one was first looked for in vain
    InputRates rates_{options_.recorded != nullptr && !procedure_.rate ? options_.recorded->rate() : procedure_.rate};
    bool isFirstRefused_ = false;           // of the tasks that one command makes
    std::optional<std::string> arrayRead_;  // whose elements take channels of one file, and come one after the other
    std::unique_ptr<Source> stream_;        // that such elements share
    std::vector<ChannelInput> streamed_;
    std::set<std::string> inputFiles_;
};

}  // namespace

BoundProcedure bindProcedure(const Procedure& procedure, const CommandLibrary& library, BindOptions options,
                             std::vector<Diagnostic>& diagnostics) {
    std::optional<WaitScope> waiting;
    if (options.session.stop != nullptr) waiting.emplace(*options.session.stop);
    EvaluationSettings settings{.values = options.values, .words = library.words(), .frames = {}};
    std::map<std::string, std::uint64_t> lengths;
    settings.frames = [&](const Procedure& read, const PipeDeclaration& pipe) {
        return lengths[pipe.name] =
                   options.recorded != nullptr ? options.recorded->frames(pipe.name) : framesOf(read, options, pipe);
    };
    const auto isRate = [](const Formula& formula) { return formula.goes == Formula::Goes::rate; };
    Procedure rated = procedure;
    if (std::none_of(procedure.formulas.begin(), procedure.formulas.end(), isRate) && !rated.rate)
        rated.rate = options.session.rate;
    Procedure elements = expanded(evaluated(std::move(rated), settings, diagnostics), diagnostics);
    BoundProcedure bound = Binder(elements, library, std::move(options), diagnostics).bind();
    bound.procedure = std::move(elements);
    bound.lengths = std::move(lengths);
    return bound;
}

}  // namespace libzepl
