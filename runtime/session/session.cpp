#include "runtime/session.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <utility>

#include "runtime/engine/flow.h"
#include "runtime/engine/rounds.h"
#include "runtime/engine/run.h"
#include "runtime/live.h"
#include "runtime/live/ring_source.h"
#include "runtime/report/run_report.h"
#include "runtime/session/session_ids.h"
#include "runtime/session/session_thread.h"
#include "runtime/session/task_arguments.h"

namespace libzepl {

namespace {

template <class Id>
TaskArgument objectArgument(zepl::ParamMask kind, Id id, const std::string& name) {
    TaskArgument argument;
    argument.kind = kind;
    argument.object = static_cast<std::uint64_t>(id);
    argument.name = name;
    return argument;
}

// An empty name becomes one, so that messages can use it.
std::string nameFor(std::string given, const char* what, std::size_t number) {
    return given.empty() ? what + (" " + std::to_string(number)) : given;
}

// What a task's record takes, its stack and what it allocates apart: three deques of a node each among it.
std::uint64_t costOfTask(const TaskSettings& settings) {
    constexpr std::uint64_t deque = 768, perArgument = sizeof(Parameter) + sizeof(PipePort) + 64;
    std::uint64_t cost = sizeof(Task) + 3 * deque + 512 + settings.signatureAdvice.size();
    for (const TaskArgument& argument : settings.arguments)
        cost += perArgument + argument.name.size() + argument.text.size();
    return cost;
}

// A pipe's starts and a vector come as bytes.
void checkWhole(const std::string& name, ElementType type, std::size_t bytes) {
    if (bytes % widthOf(type) == 0) return;
    throw Problem(libzepl::quoted(name) + " is given " + std::to_string(bytes) +
                      " bytes, which are no whole number of its " + std::string(nameOf(type)) + " elements",
                  "give the bytes of whole elements");
}

// Storage for a capacity is a power of two of elements.
void checkCapacity(const Engine& e, const std::string& name, const PipeSettings& settings) {
    const std::uint64_t most = std::min(std::bit_floor(e.graph.memory.limit() / widthOf(settings.type)), maxElements);
    if (settings.capacity.value_or(0) <= most) return;
    throw Problem("a capacity of " + std::to_string(*settings.capacity) + " elements for " + libzepl::quoted(name) +
                      " is more than the memory limit of " + std::to_string(e.graph.memory.limit()) +
                      " bytes has room for, at most " + std::to_string(most),
                  "ask for less, or raise --memory");
}

void checkBlock(const std::string& what, std::uint32_t block) {
    if (block >= 1 && block <= maxBlock) return;
    throw Problem(what + " is 1 to " + std::to_string(maxBlock) + " elements, and not " + std::to_string(block),
                  "take a block in that range, such as 1024");
}

SessionOptions checked(SessionOptions options) {
    checkBlock("the default block", options.block);
    const auto told = options.info.find(static_cast<std::uint32_t>(zepl::SysInfo::defaultBlock));
    if (told != options.info.end()) checkBlock("the answer of selector 17, the default block,", told->second);
    if (options.rate && !(*options.rate > 0 && std::isfinite(*options.rate)))
        throw Problem(
            "a rate is a positive, finite number of frames a second, and not " + std::to_string(*options.rate),
            "leave it out for that of the first recording");
    if (!(options.pace >= 0 && std::isfinite(options.pace)))
        throw Problem("a pace is a positive, finite number, and not " + std::to_string(options.pace),
                      "1 keeps to the wall clock, 10 is ten times as fast");
    if (options.pace > 0 && options.feed.kind == FeedPolicy::Kind::whole)
        throw Problem("a feed of everything at once leaves nothing for a pace to hold", "leave out one of the two");
    return options;
}

template <class Id, class Objects>
Id idNamed(const Engine& e, const Objects& objects, std::string_view name) {
    std::vector<std::string> names;
    for (const auto& object : objects) names.push_back(object.name);
    const auto found = std::find(names.begin(), names.end(), name);
    if (found == names.end())
        throw Problem("the session has no " + libzepl::quoted(name) + " of this sort", suggestion(name, names));
    return idAt<Id>(e, static_cast<std::size_t>(found - names.begin()));
}

template <class ChannelType>
void claimInput(ChannelType& channel) {
    if (channel.writer != nullptr)
        throw Problem(libzepl::quoted(channel.name) + " is defined by an expression, so that no input feeds it",
                      "give each pipe one source");
    if (channel.inputWrites)
        throw Problem(libzepl::quoted(channel.name) + " has an input already", "give each channel one input");
    channel.inputWrites = true;
}

PipeInput& addInput(Engine& e, Pipe& pipe, std::optional<std::uint64_t> length, int channels) {
    if (channels < 1)
        throw Problem("the input of " + libzepl::quoted(pipe.name) + " has " + std::to_string(channels) +
                          " channels, and 1 is the least",
                      "give the elements of a frame");
    if (length.value_or(0) > maxElements)
        throw Problem("the input of " + libzepl::quoted(pipe.name) + " has " + std::to_string(*length) +
                          " elements, more than any memory holds",
                      "give the number of elements, not of bytes; none where it is unknown");
    claimInput(pipe);
    PipeInput& input = e.graph.pipeInputs.emplace_back();
    input.place = e.graph.pipeInputs.size() - 1;
    input.pipe = &pipe;
    input.length = length;
    input.ended = length == std::uint64_t{0};
    input.channels = static_cast<std::uint64_t>(channels);
    return input;
}

// What other threads have of the run, while it lasts.
class LiveRun {
 public:
    explicit LiveRun(Engine& e) : e_(e) { e_.outside.serve(e_); }
    LiveRun(const LiveRun&) = delete;
    LiveRun& operator=(const LiveRun&) = delete;
    ~LiveRun() {
        for (const auto& ring : e_.liveRings) ring->close();
        e_.outside.end(e_);
        finishTaps(e_);
    }

 private:
    Engine& e_;
};

}  // namespace

Session::Session(const CommandLibrary& library, SessionOptions options)
    : engine_(std::make_unique<Engine>(library, checked(std::move(options)))) {}

Session::~Session() {
    if (thread_ != nullptr) requestStop();
}

Engine& Session::unstarted() const {
    if (!engine_->started) return *engine_;
    throw Problem("the session has run: it takes nothing more and runs once", "make another session");
}

PipeId Session::addPipe(PipeSettings settings) {
    Engine& e = unstarted();
    std::string name = nameFor(std::move(settings.name), "pipe", e.graph.pipes.size() + 1);
    checkWhole(name, settings.type, settings.starts.size());
    checkCapacity(e, name, settings);
    Pipe pipe;
    pipe.name = std::move(name);
    pipe.type = settings.type;
    pipe.widthShift = settings.type == ElementType::int16 ? 1 : settings.type == ElementType::float64 ? 3 : 2;
    const std::uint64_t starts = settings.starts.size() >> pipe.widthShift;
    pipe.capacity = std::max<std::uint64_t>(settings.capacity.value_or(4 * std::uint64_t{e.options.block}), 1);
    pipe.capacity = std::max(pipe.capacity, starts);
    if (starts > 0) {
        if (!makeStorage(e.graph.memory, pipe))
            throw Problem("no memory is left for the pipe " + libzepl::quoted(pipe.name), "raise --memory");
        pipe.copyIn(settings.starts.data(), starts);
        pipe.writePosition = starts;
        pipe.hasInitialElements = true;
    }
    e.graph.pipes.push_back(std::move(pipe));
    return idOfLast<PipeId>(e, e.graph.pipes);
}

TriggerId Session::addTrigger(std::string name) {
    Engine& e = unstarted();
    Trigger& trigger = e.graph.triggers.emplace_back();
    trigger.name = nameFor(std::move(name), "trigger", e.graph.triggers.size());
    trigger.capacity = triggerCapacity;
    trigger.storageLimit = ~std::uint64_t{0};
    return idOfLast<TriggerId>(e, e.graph.triggers);
}

VariableId Session::addVariable(std::string name, ElementType type, const void* value) {
    Engine& e = unstarted();
    name = nameFor(std::move(name), "variable", e.graph.variables.size() + 1);
    if (value == nullptr)
        throw Problem(libzepl::quoted(name) + " is given no value", "give the address of one of its type");
    Variable& variable = e.graph.variables.emplace_back();
    variable.name = std::move(name);
    variable.type = type;
    storeCell(variable.cell, type, value);
    return idOfLast<VariableId>(e, e.graph.variables);
}

VectorId Session::addVector(std::string name, ElementType type, std::vector<std::byte> elements) {
    Engine& e = unstarted();
    name = nameFor(std::move(name), "vector", e.graph.vectors.size() + 1);
    checkWhole(name, type, elements.size());
    const std::uint64_t cost = costOf(elements.size()) + sizeof(Vector) + name.size();
    AlignedBytes bytes = e.graph.memory.reserve(cost) ? allocateAligned(elements.size()) : nullptr;
    if (bytes == nullptr) throw Problem("no memory is left for the vector " + libzepl::quoted(name), "raise --memory");
    if (!elements.empty()) std::memcpy(bytes.get(), elements.data(), elements.size());
    e.graph.vectors.push_back({std::move(name), type, elements.size() / widthOf(type), std::move(bytes)});
    return idOfLast<VectorId>(e, e.graph.vectors);
}

void Session::addTask(TaskSettings settings) {
    Engine& e = unstarted();
    const Command* command = e.library.find(settings.command);
    if (command == nullptr)
        throw Problem("unknown command " + libzepl::quoted(settings.command), "the library's commands() are known");
    checkArguments(e, settings);
    if (!e.graph.memory.reserve(costOfTask(settings)))
        throw Problem("no memory is left for " + settings.command, "use fewer tasks, or raise --memory");
    Task& task = e.graph.tasks.emplace_back(e.graph.memory);
    task.number = static_cast<std::uint32_t>(e.graph.tasks.size());
    task.command = command;
    task.line = settings.line;
    task.element = settings.element;
    task.signatureAdvice = std::move(settings.signatureAdvice);
    makeParameters(e, task, settings.arguments);
}

TaskArgument Session::use(PipeId id) const {
    const Pipe& pipe = objectOf(*engine_, id);
    return objectArgument(pipeKind(pipe.type), id, pipe.name);
}

TaskArgument Session::use(TriggerId id) const {
    return objectArgument(zepl::triggerKind, id, objectOf(*engine_, id).name);
}

TaskArgument Session::use(VariableId id) const {
    const Variable& variable = objectOf(*engine_, id);
    return objectArgument(variableKind(variable.type), id, variable.name);
}

TaskArgument Session::use(VectorId id) const {
    const Vector& vector = objectOf(*engine_, id);
    return objectArgument(vectorKind(vector.type), id, vector.name);
}

PipeId Session::pipeNamed(std::string_view name) const { return idNamed<PipeId>(*engine_, engine_->graph.pipes, name); }

TriggerId Session::triggerNamed(std::string_view name) const {
    return idNamed<TriggerId>(*engine_, engine_->graph.triggers, name);
}

VariableId Session::variableNamed(std::string_view name) const {
    return idNamed<VariableId>(*engine_, engine_->graph.variables, name);
}

void Session::setInput(PipeId id, std::unique_ptr<Source> source) {
    Pipe& pipe = objectOf(unstarted(), id);
    if (source == nullptr)
        throw Problem("the input of " + libzepl::quoted(pipe.name) + " is given no source", "open one, or use feed()");
    addInput(*engine_, pipe, source->length(), source->channels()).source = std::move(source);
}

void Session::setInput(TriggerId id, std::vector<TriggerRow> rows) {
    Engine& e = unstarted();
    Trigger& trigger = objectOf(e, id);
    if (!e.graph.memory.reserve(costOf(rows.capacity() * sizeof(TriggerRow))))
        throw Problem("no memory is left for the events of " + libzepl::quoted(trigger.name), "raise --memory");
    claimInput(trigger);
    TriggerInput& input = engine_->graph.triggerInputs.emplace_back();
    input.trigger = &trigger;
    input.rows = std::move(rows);
}

void Session::feedMemory(PipeId id, const void* elements, std::uint64_t count, int channels) {
    Pipe& pipe = objectOf(unstarted(), id);
    if (elements == nullptr && count != 0)
        throw Problem(libzepl::quoted(pipe.name) + " is fed from no memory", "give the address of its elements");
    addInput(*engine_, pipe, count, channels).memory = static_cast<const std::byte*>(elements);
}

void Session::addNote(std::string note, bool warned) {
    if (warned) engine_->outcome.warned.push_back(note);
    engine_->outcome.notes.push_back(std::move(note));
}

void Session::expectElements(PipeId id, ElementType type) const {
    const Pipe& pipe = objectOf(*engine_, id);
    if (pipe.type == type) return;
    throw Problem(libzepl::quoted(pipe.name) + " is a pipe of " + std::string(nameOf(pipe.type)) + ", and not of " +
                      std::string(nameOf(type)),
                  "feed and collect elements of its own type");
}

// The cell of an integer is sign-extended, so that it reads right at every width.
const void* Session::cellOf(VariableId id, bool asInteger, std::size_t width) const {
    const Variable& variable = objectOf(*engine_, id);
    const bool fits = isInteger(variable.type) ? asInteger : !asInteger && width == widthOf(variable.type);
    if (fits) return variable.cell.bytes;
    throw Problem(libzepl::quoted(variable.name) + " is a variable of " + std::string(nameOf(variable.type)),
                  "ask for a value of its own type");
}

void Session::setTriggerMode(TriggerId id, std::uint32_t mode) { objectOf(*engine_, id).mode = mode; }

void Session::setTriggerProperty(TriggerId id, std::uint32_t selector, std::uint32_t value) {
    objectOf(*engine_, id).properties[selector] = value;
}

Engine& engineOf(Session& session) { return *session.engine_; }

void Session::begin() {
    Engine& e = unstarted();
    e.started = true;
    e.outside.begin();  // from here on the session's thread alone answers for what is set
    setClock(e);
}

std::optional<Report> Session::runToEnd(unsigned jobs) {
    Engine& e = *engine_;
    const LiveRun live(e);
    const CrashReporter crashes(e);
    std::optional<Report> report;
    if (runSession(e, jobs)) report = makeReport(e);
    for (Task& task : e.graph.tasks) releaseTask(e, task);
    return report;
}

Report Session::run() {
    begin();
    return *runToEnd(1);
}

std::optional<Report> Session::runInLanes(unsigned jobs) {
    begin();
    return runToEnd(jobs);
}

void Session::requestStop() { engine_->ownStop.request(); }

}  // namespace libzepl
