// A session: channels, values and tasks, built in code or from a procedure, and run to its end on the calling thread.
//
//     CommandLibrary library;
//     library.load("build/zcmds3.zlm");
//     Session session(library);
//     const PipeId source = session.addPipe({.name = "source", .type = ElementType::int16});
//     const PipeId result = session.addPipe({.name = "result", .type = ElementType::int16});
//     session.feed<std::int16_t>(source, {-1, 2, -3});
//     session.collect(result);
//     session.addTask({.command = "ABS", .arguments = {session.use(source), session.use(result)}});
//     const Report report = session.run();
//     std::vector<std::int16_t> samples = session.collected<std::int16_t>(result);
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "cautions.h"
#include "commands.h"
#include "diagnostics.h"
#include "element_type.h"
#include "files.h"
#include "number.h"
#include "report.h"
#include "stop_request.h"

namespace libzepl {

struct Engine;
class SessionThread;
// In live.h:
class LiveInput;
class Tap;
class TriggerTap;
struct Snapshot;
struct WatchSettings;
struct Expression;  // a tree of runtime/expressions
using ExpressionTree = std::shared_ptr<const Expression>;

// What a session gave for what was added to it. Another session refuses it.
enum class PipeId : std::uint64_t {};
enum class TriggerId : std::uint64_t {};
enum class VariableId : std::uint64_t {};
enum class VectorId : std::uint64_t {};
enum class FramesId : std::uint64_t {};  // of a joint output that is collected

inline constexpr std::uint32_t maxBlock = std::uint32_t{1} << 24;  // elements of a default block

// In which pieces inputs arrive.
struct FeedPolicy {
    // In lockstep each input gives one frame, all inputs together, when nothing else can move: no task is ready, or for 8
    // rounds nothing has moved. A loop that goes on by itself is given 65,536 rounds.
    enum class Kind { pieces, whole, random, lockstep };
    Kind kind = Kind::pieces;
    std::uint64_t piece = 0;  // elements; 0 is the default block
    std::uint64_t seed = 0;   // of Kind::random
};

struct Progress {
    std::uint64_t delivered = 0;            // elements that inputs have given
    std::optional<std::uint64_t> expected;  // in all, where every input says
    double seconds = 0;                     // since the run began
};

struct SessionOptions {
    FeedPolicy feed{};
    std::uint32_t block = 1024;                          // the default block, elements: 1 to maxBlock
    std::uint64_t memoryLimit = std::uint64_t{4} << 30;  // bytes
    std::optional<double> rate{};                        // frames a second; else the first recording's own, else 1000
    std::map<std::uint32_t, std::uint32_t> info{};       // answers of sys_get_info, by selector; 17 as `block`
    std::uint32_t startTime = 0;                         // the clock at the start, in its own units
    std::uint64_t patience = std::uint64_t{1} << 26;     // elements that a task may put without taking any
    double pace = 0;                                     // holds the clock to so many times the wall's; 0 does not
    bool setUpOnly = false;                              // ends when every task's set-up has run
    std::shared_ptr<StopRequest> stop{};             // what else than requestStop() ends the run; sessions can share it
    std::shared_ptr<const CautionTable> cautions{};  // which cautions to report; none where it is null
    std::function<void(const Progress&)> progress{};  // called now and then while inputs deliver
    std::function<void(std::string_view)> console{};  // what tasks print, as it comes
    // Called when a command has damaged the memory of the process, by a null pointer for instance, so that no run can continue:
    // in a signal's handler, where nothing may be allocated or locked. It says what `report.tasks[task]` says and ends the
    // process. Without it the signal goes where it went before the session.
    std::function<void(Report& report, std::size_t task)> crashed{};
};

struct PipeSettings {
    std::string name{};  // for messages and the report; else "pipe 1", by its number
    ElementType type = ElementType::int16;
    std::optional<std::uint64_t> capacity{};  // elements, as the memory limit has room for; else 4 default blocks
    std::vector<std::byte> starts{};          // elements that are there before anything runs
};

// The channel that a pipe takes of an input of several.
struct ChannelInput {
    PipeId pipe{};
    int channel = 1;  // from 1
};

// A pipe among those that go to one output.
struct JointMember {
    PipeId pipe{};
    std::uint64_t channels = 1;  // its elements to a frame
};

struct JointOutputSettings {
    std::string name{};                    // for messages: that of an array of pipes, or the file
    bool isTable = false;                  // messages count rows, else frames
    std::vector<JointMember> members{};    // at least one
    std::optional<std::uint64_t> limit{};  // frames
};

// One parameter of a task, with the kind that it is passed as.
struct TaskArgument {
    zepl::ParamMask kind = 0;
    std::uint64_t object = 0;          // of a channel, variable or vector: its id
    std::array<std::byte, 8> value{};  // of a constant or a host's keyword
    std::string text;                  // of a string or a declared keyword
    std::string name;                  // as the user wrote it, for messages
};

TaskArgument int16Constant(std::int16_t value);
TaskArgument int32Constant(std::int32_t value);
TaskArgument floatConstant(float value);
TaskArgument doubleConstant(double value);
TaskArgument textConstant(std::string text);
TaskArgument declaredWord(std::string word);
TaskArgument hostWord(std::int32_t value, std::string name = {});

struct TaskSettings {
    std::string command{};
    std::vector<TaskArgument> arguments{};
    int line = 0;                   // of the procedure; 0 is none
    std::int64_t element = 0;       // the index that it works for, of tasks that stand in one line; 0 is none
    std::string signatureAdvice{};  // what the signature admits, where the list does not fit it: said with a refusal
};

// A pipe that an expression defines, sample by sample.
struct DefinitionSettings {
    PipeId pipe{};
    ExpressionTree tree;                                 // of operators, functions of numbers, and names
    std::vector<TaskArgument> names{};                   // pipes and variables, by the names that they have in the tree
    std::map<std::string, std::vector<double>> pasts{};  // samples before the first, the latest last; else 0
    std::string ownName{};                               // of the pipe, in the tree; else as it is called
    std::string text{};                                  // as messages name the task, "power = v * i"
    int line = 0;                                        // of the procedure; 0 is none
};

// Every misuse is a Problem, and leaves the session as it was: an id of another session, what the type or the limits do not
// allow, a second input or output of a channel, anything added to a session that has run.
class Session {
 public:
    explicit Session(const CommandLibrary& library, SessionOptions options = {});
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    ~Session();

    PipeId addPipe(PipeSettings settings);
    TriggerId addTrigger(std::string name);
    VariableId addVariable(std::string name, ElementType type, const void* value);
    VectorId addVector(std::string name, ElementType type, std::vector<std::byte> elements);
    // The command must be in the library.
    void addTask(TaskSettings settings);
    // The pipe must have no other source.
    void addDefinition(DefinitionSettings settings);

    TaskArgument use(PipeId pipe) const;
    TaskArgument use(TriggerId trigger) const;
    TaskArgument use(VariableId variable) const;
    TaskArgument use(VectorId vector) const;

    // The first of that name, as for a session that was made from a procedure: nothing where there is none, or a Problem.
    std::optional<PipeId> findPipe(std::string_view name) const;
    std::optional<TriggerId> findTrigger(std::string_view name) const;
    std::optional<VariableId> findVariable(std::string_view name) const;
    PipeId pipeNamed(std::string_view name) const;
    TriggerId triggerNamed(std::string_view name) const;
    VariableId variableNamed(std::string_view name) const;

    // Attach the input or the output of a channel, at most one each.
    void setInput(PipeId pipe, std::unique_ptr<Source> source);
    void setInput(TriggerId trigger, std::vector<TriggerRow> rows);
    // Inputs from one source of several channels, which is read once. All pipes are of the source's type.
    void setInputs(const std::vector<ChannelInput>& inputs, std::unique_ptr<Source> source);
    void setOutput(PipeId pipe, std::unique_ptr<Sink> sink, std::optional<std::uint64_t> limit = {});
    void setOutput(TriggerId trigger, std::unique_ptr<TriggerSink> sink, std::optional<std::uint64_t> limit = {});
    // Attaches an output that takes several pipes side by side, a frame when each has its elements of it. A pipe can have
    // any number of them, and an output of its own as well. What is left at the end is not written, and a note says so.
    void setOutput(JointOutputSettings settings, std::unique_ptr<JointSink> sink);

    // Adds a note to the report; `warned` says that the caller has shown it already.
    void addNote(std::string note, bool warned = false);
    // Has the report say so where the rate of an output's file is assumed, or is not that of what is written.
    void noteRate(PipeId output, const UntoldRate& rate);
    void noteJointRate(const UntoldRate& rate);  // of the joint output that was set last

    // Input from the caller's memory, which must last as long as the session; elements of the pipe's type, `channels` to a
    // frame.
    void feedMemory(PipeId pipe, const void* elements, std::uint64_t count, int channels = 1);
    // Input that another thread pushes while the session runs, `channels` elements to a frame. `capacity` elements wait at
    // most for the session to take them.
    LiveInput& feedLive(PipeId pipe, std::size_t capacity = 65536, int channels = 1);
    // Output to the session's memory. `expected` elements are made room for at once.
    void collect(PipeId pipe, std::optional<std::uint64_t> limit = {}, std::uint64_t expected = 0);
    void collect(TriggerId trigger, std::optional<std::uint64_t> limit = {});

    // As setOutput, with the same limits, notes and end; the session keeps what the output takes as well. `also` can be null.
    // `channels` are the elements to a frame: only whole frames are kept.
    void setCollectedOutput(PipeId pipe, std::unique_ptr<Sink> also, std::optional<std::uint64_t> limit = {},
                            int channels = 1);
    void setCollectedOutput(TriggerId trigger, std::unique_ptr<TriggerSink> also,
                            std::optional<std::uint64_t> limit = {});
    FramesId setCollectedOutput(JointOutputSettings settings, std::unique_ptr<JointSink> also);
    // What was collected, where it is: good as long as the session. Of a table the elements of each pipe; of another joint
    // output one piece, frame by frame.
    std::span<const std::byte> collectedMemory(PipeId pipe) const;
    std::vector<std::span<const std::byte>> collectedFrames(FramesId output) const;

    // Elements of the pipe's own type.
    template <class Element>
    void feed(PipeId pipe, std::vector<Element> elements);
    template <class Element>
    std::vector<Element> collected(PipeId pipe) const;
    std::vector<std::uint32_t> collectedEvents(TriggerId trigger) const;
    // Of the variable's own type; an integer variable can be read as an integer of any width.
    template <class Element>
    Element valueOf(VariableId variable) const;

    // The answers of trigger_get_opmode and trigger_get_property.
    void setTriggerMode(TriggerId trigger, std::uint32_t mode);
    void setTriggerProperty(TriggerId trigger, std::uint32_t selector, std::uint32_t value);

    // Runs to the end; once. Outputs are finished, kept under other names after a failure, or dropped after a set-up error.
    // Not to be called from inside a task.
    // What the caller's progress or console throws ends the run: a Problem is the report's reason, anything else comes out
    // here, and outputs are dropped.
    Report run();

    // The same by up to `jobs` engines, each on a thread of its own, where tasks share no pipe, trigger or variable, neither
    // directly nor through others; the results are those of run(). Nothing where it turned out that they share the clock,
    // the console, digital outputs or a failure: then outputs are dropped, and the session is to be made again for run().
    // Sources and sinks are called on those threads, those of different groups at the same time. No other thread may set
    // values of the session or look at it meanwhile.
    std::optional<Report> runInLanes(unsigned jobs);

    // As run(), on a thread of the session's own, on which the caller's progress and console are then called. A session that is
    // destroyed while it runs is stopped, and waited for.
    void start();
    // Waits for the end of a run that was started, and gives what run() would have given or thrown; once.
    Report wait();

    // Ends a run that continues in another thread or is interrupted by a signal, at the end of its round, also while it waits
    // for a stream or a live input. Safe in a signal handler.
    void requestStop();

    // The functions below may be called from any thread, from when everything has been added to the session until it is
    // destroyed. What they ask for takes effect at the end of a round, and wakes a session that sleeps.

    // Gives the variable a value, in the order of the calls; before the start it is what the variable starts with. A Problem
    // where its type does not hold the value. Once the run has ended it has no effect.
    template <class Value>
    void setValue(VariableId variable, Value value);
    void setNumber(VariableId variable, const Number& value);
    // Holds the run, or lets it continue. While it is paused it sleeps and no round passes, so that its results are those of a
    // run that was not: values that are set meanwhile take effect at once, a pace continues from where it was. What live inputs
    // bring waits as far as there is room; a sound card or datagrams lose and count what has none. A stop ends it as ever.
    void setPaused(bool isPaused);
    // Looks at what is written, from now on; of several taps each sees everything.
    Tap watch(PipeId pipe, const WatchSettings& settings);
    TriggerTap watch(TriggerId trigger, std::size_t events);  // keeps the last so many events between two looks
    // How the run stands. A task can be at work for long: where no round ends within `patience`, it is the last snapshot
    // that was made.
    Snapshot snapshot(std::chrono::milliseconds patience = std::chrono::seconds(1)) const;

 private:
    friend Engine& engineOf(Session& session);

    Engine& unstarted() const;
    void begin();
    std::optional<Report> runToEnd(unsigned jobs);
    void expectElements(PipeId pipe, ElementType type) const;
    const void* cellOf(VariableId variable, bool asInteger, std::size_t width) const;

    std::unique_ptr<Engine> engine_;
    std::vector<std::shared_ptr<void>> ownedInputs_;
    std::vector<std::unique_ptr<LiveInput>> liveInputs_;
    std::unique_ptr<SessionThread> thread_;
};

template <class Element>
void Session::feed(PipeId pipe, std::vector<Element> elements) {
    expectElements(pipe, elementTypeOf<Element>());
    auto owned = std::make_shared<std::vector<Element>>(std::move(elements));
    feedMemory(pipe, owned->data(), owned->size());
    ownedInputs_.push_back(std::move(owned));
}

template <class Element>
std::vector<Element> Session::collected(PipeId pipe) const {
    expectElements(pipe, elementTypeOf<Element>());
    const std::span<const std::byte> bytes = collectedMemory(pipe);
    std::vector<Element> elements(bytes.size() / sizeof(Element));
    if (!bytes.empty()) std::memcpy(elements.data(), bytes.data(), bytes.size());
    return elements;
}

template <class Value>
void Session::setValue(VariableId variable, Value value) {
    static_assert(std::is_arithmetic_v<Value> && sizeof(Value) <= 8);
    Number number;
    number.real = static_cast<double>(value);
    if constexpr (std::is_integral_v<Value>) {
        number.integer = static_cast<std::int64_t>(value);
        number.isInteger = std::is_signed_v<Value> || number.integer >= 0;
    }
    setNumber(variable, number);
}

template <class Element>
Element Session::valueOf(VariableId variable) const {
    static_assert(std::is_arithmetic_v<Element> && sizeof(Element) <= 8);
    Element value;
    std::memcpy(&value, cellOf(variable, std::is_integral_v<Element>, sizeof value), sizeof value);
    return value;
}

}  // namespace libzepl
