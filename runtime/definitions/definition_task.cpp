#include "runtime/definitions/definition_task.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "runtime/engine/flow.h"

namespace libzepl {

namespace {

std::uint32_t runRoutine(zepl::ParamList) {
    Engine& e = *engine;
    Task& task = *e.scheduler.current;
    return task.routine->run(e, task);
}

PipePort& addPort(Task& task, Pipe& pipe) {
    PipePort& port = task.pipePorts.emplace_back();
    port.channel = &pipe;
    port.task = &task;
    return port;
}

// Elements in one piece from the running count on.
std::uint64_t pieceFrom(const Pipe& pipe, std::uint64_t count) { return pipe.mask - (count & pipe.mask) + 1; }

void* addressIn(const Pipe& pipe, std::uint64_t count) {
    return pipe.storage + ((count & pipe.mask) << pipe.widthShift);
}

}  // namespace

DefinitionTask::DefinitionTask(std::string name, StreamEvaluator evaluator, Task& task, Pipe& defined,
                               const std::vector<Pipe*>& streams, std::vector<const Variable*> its)
    : evaluator_(std::move(evaluator)) {
    command.name = std::move(name);
    command.entry = runRoutine;
    variables = std::move(its);
    output_ = &addPort(task, defined);
    for (Pipe* stream : streams) inputs_.push_back({&addPort(task, *stream)});
}

// Known when all set-ups have run; a loop can still come about when a task opens a pipe later.
std::uint64_t DefinitionTask::mayBeBehind(const Task& task, std::size_t input) const {
    const PipePort* writer = inputs_[input].port->channel->writer;
    const bool isLoop = writer != nullptr && writer->task->drive == task.drive;
    return isLoop ? evaluator_.program().uses[input].leastPast : 0;
}

// How many samples can be computed.
std::uint64_t DefinitionTask::ready(const Task& task) const {
    auto n = static_cast<std::uint64_t>(evaluator_.mostSamples());
    for (std::size_t i = 0; i < inputs_.size(); ++i) {
        const std::uint64_t reach = inputs_[i].port->available() + mayBeBehind(task, i);
        n = std::min(n, reach > inputs_[i].behind ? reach - inputs_[i].behind : 0);
    }
    return n;
}

// Waits for what the first of those lacks without which nothing can be computed.
void DefinitionTask::awaitInput(Engine& e, const Task& task) {
    for (std::size_t i = 0; i < inputs_.size(); ++i) {
        const std::uint64_t kept = mayBeBehind(task, i);
        if (inputs_[i].port->available() + kept <= inputs_[i].behind)
            return waitForElements(e, *inputs_[i].port, inputs_[i].behind + 1 - kept);
    }
}

std::int32_t DefinitionTask::toTake(const Task& task, std::size_t input, std::uint64_t n) const {
    const std::uint64_t due = inputs_[input].behind + n, kept = mayBeBehind(task, input);
    return static_cast<std::int32_t>(due > kept ? due - kept : 0);
}

// At most `n`, for which all that is taken lies in one piece.
std::uint64_t DefinitionTask::contiguous(const Task& task, std::uint64_t n) const {
    for (std::size_t i = 0; i < inputs_.size(); ++i) {
        const PipePort& port = *inputs_[i].port;
        if (port.available() == 0) continue;
        const std::uint64_t piece = pieceFrom(*port.channel, port.readPosition) + mayBeBehind(task, i);
        n = std::min(n, piece - inputs_[i].behind);
    }
    return n;
}

void DefinitionTask::readVariables() {
    for (std::size_t i = 0; i < variables.size(); ++i)
        withElementType(variables[i]->type, [&]<class Element>() {
            Element value;
            std::memcpy(&value, variables[i]->cell.bytes, sizeof value);
            evaluator_.setVariable(i, static_cast<double>(value));
        });
}

std::int32_t DefinitionTask::evaluate(const Task& task, std::uint64_t n, void* to) {
    readVariables();
    for (std::size_t i = 0; i < inputs_.size(); ++i) {
        const PipePort& port = *inputs_[i].port;
        const std::int32_t taken = toTake(task, i, n);
        if (taken > 0) evaluator_.take(i, addressIn(*port.channel, port.readPosition), taken);
    }
    return evaluator_.compute(static_cast<std::int32_t>(n), to);
}

void DefinitionTask::computeBlock(Engine& e, Task& task, std::uint64_t n, bool isRead) {
    Pipe& pipe = *output_->channel;
    if (isRead) n = std::min({n, pipe.writeLimit - pipe.writePosition, pieceFrom(pipe, pipe.writePosition)});
    n = contiguous(task, n);
    const auto written =
        static_cast<std::uint64_t>(evaluate(task, n, isRead ? addressIn(pipe, pipe.writePosition) : unread_));
    for (std::size_t i = 0; i < inputs_.size(); ++i) {
        const auto taken = static_cast<std::uint64_t>(toTake(task, i, n));
        inputs_[i].behind = inputs_[i].behind + n - taken;
        if (taken > 0) commitRead(e, *inputs_[i].port, taken);
    }
    if (isRead && written > 0)
        commitWrite(e, *output_, written);
    else if (written > 0)
        discardWrite(e, *output_, unread_, written);
    if (written < n) refuseNaN(e);
}

void DefinitionTask::refuseNaN(Engine& e) {
    endCurrent(e, TaskReport::State::fault,
               "sample " + std::to_string(output_->channel->writePosition) + " of `" + output_->channel->name +
                   "` is nan, which no integer type holds (samples count from 0)",
               "declare it float or double, or give another value where x is nan: if(x == x, x, 0)");
}

std::uint32_t DefinitionTask::run(Engine& e, Task& task) {
    const std::size_t unreadBytes = static_cast<std::size_t>(maxBlockSamples) << output_->channel->widthShift;
    void* area = task.arena.allocateForTask(evaluator_.areaBytes());
    unread_ = task.arena.allocateForTask(unreadBytes);
    if (area == nullptr || unread_ == nullptr)
        outOfMemory(e, "the past samples and blocks of " + std::to_string(evaluator_.areaBytes()) + " bytes");
    evaluator_.useArea(area);
    for (Input& input : inputs_) openPort(e, *input.port, PortMode::reading);
    while (!e.setUpDone) yieldCurrent(e);
    const Pipe& pipe = *output_->channel;
    for (;;) {
        if (ready(task) == 0) {
            awaitInput(e, task);
            continue;
        }
        // Others run while it waits for room, so that what is ready is looked at after that.
        const bool isRead = pipe.writePosition < pipe.writeLimit || waitForRoom(e, *output_);
        computeBlock(e, task, ready(task), isRead);
    }
}

}  // namespace libzepl
