// What a run came to, in words: who waits for what, what goes on by itself, what was left.

#include <cstring>
#include <sstream>

#include "runtime/flow.h"

namespace libzepl {

namespace {

template <class EndType>
bool leavesSomething(const EndType& end) {
    return end.mode == EndMode::reading && end.available() > 0;
}

bool leavesSomething(const Task& task) {
    for (const PipeEnd& end : task.pipeEnds)
        if (leavesSomething(end)) return true;
    for (const TriggerEnd& end : task.triggerEnds)
        if (leavesSomething(end)) return true;
    return false;
}

std::string counted(std::uint64_t n, const std::string& thing) {
    return std::to_string(n) + " " + thing + (n == 1 ? "" : "s");
}

std::string thereAre(std::uint64_t n) { return std::to_string(n) + (n == 1 ? " is there" : " are there"); }

std::string waitNote(const Task& task) {
    if (task.state == TaskState::waitingForElements) {
        const PipeEnd& end = *task.waitingPipe;
        return task.label() + " waits for " + counted(end.wanted, "sample") + " of `" + end.channel->name + "`, " +
               thereAre(end.available());
    }
    if (task.state == TaskState::waitingForEvent)
        return task.label() + " waits for an event of `" + task.waitingTrigger->channel->name + "`";
    const std::string& name =
        task.waitingPipe != nullptr ? task.waitingPipe->channel->name : task.waitingTrigger->channel->name;
    return task.label() + " waits for room in `" + name + "`";
}

bool waitsWhereNobodyReads(const Task& task) {
    return task.waitingPipe != nullptr ? task.waitingPipe->channel->dropping : task.waitingTrigger->channel->dropping;
}

// A task that waits is worth a word when it leaves something unread or unsent.
bool worthANote(const Task& task) {
    switch (task.state) {
        case TaskState::waitingForElements:
        case TaskState::waitingForEvent:
            return leavesSomething(task);
        case TaskState::waitingForRoom:
            return !waitsWhereNobodyReads(task);
        default:
            return false;
    }
}

TaskReport taskReport(const Task& task) {
    TaskReport report = task.outcome;
    report.line = task.line;
    report.command = task.command->name;
    if (task.state != TaskState::ended)
        report.state = task.state == TaskState::ready ? TaskReport::State::running : TaskReport::State::waiting;
    return report;
}

template <class ChannelType>
std::uint64_t unreadOf(const ChannelType& channel) {
    std::uint64_t unread = 0;
    for (const auto* reader : channel.readers) unread = std::max(unread, reader->available());
    return unread;
}

VariableReport variableReport(const Variable& variable) {
    VariableReport report{variable.name, variable.type, {}};
    withElementType(variable.type, [&]<class Element>() {
        Element value;
        std::memcpy(&value, variable.cell.bytes, sizeof value);
        if constexpr (std::is_integral_v<Element>)
            report.value = std::int64_t{value};
        else
            report.value = double{value};
    });
    return report;
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        lines.push_back(line);
    }
    return lines;
}

template <class Outputs>
void noteShortOutputs(const Outputs& outputs, const std::string& unit, std::vector<std::string>& notes) {
    for (const auto& output : outputs)
        if (output.limit && !output.complete())
            notes.push_back("the output of `" + output.end.channel->name + "` has " + counted(output.count, unit) +
                            " of the " + std::to_string(*output.limit) + " asked for");
}

void addNotes(const Engine& e, Report& report) {
    if (e.end == RunEnd::stopped) report.notes.push_back("the run was stopped on request");
    for (const Task& task : e.tasks)
        if (worthANote(task)) report.notes.push_back(waitNote(task));
    if (e.end == RunEnd::endless)
        for (const Task& task : e.tasks)
            if (task.state == TaskState::ready || task.state == TaskState::pausing)
                report.notes.push_back(task.label() + " went on by itself when the inputs had ended");
    noteShortOutputs(e.pipeOutputs, "sample", report.notes);
    noteShortOutputs(e.triggerOutputs, "event", report.notes);
}

// Pipes that are read although nobody writes them. Judged by what tasks opened, so it is known once all have run.
void addUnwritten(const Engine& e, Report& report) {
    for (const Pipe& pipe : e.pipes) {
        if (pipe.readers.empty() || pipe.writer != nullptr || pipe.inputWrites || pipe.hasStarts) continue;
        report.unwritten.push_back(pipe.name);
        report.notes.push_back("nobody writes `" + pipe.name + "`");
    }
}

Report::Status statusOf(const Engine& e) {
    if (e.end == RunEnd::refused) return Report::Status::refused;
    if (e.end == RunEnd::failed) return Report::Status::failed;
    for (const Task& task : e.tasks)
        if (task.state == TaskState::ended) return Report::Status::failed;
    return Report::Status::ok;
}

}  // namespace

Report Engine::makeReport() {
    Report report;
    report.status = statusOf(*this);
    report.reason = reason;
    report.remedy = remedy;
    report.channel = reasonChannel;
    report.outputsFinished = outputsFinished;
    for (const Task& task : tasks) report.tasks.push_back(taskReport(task));
    for (const Pipe& pipe : pipes) report.pipes.push_back({pipe.name, pipe.type, pipe.written, unreadOf(pipe)});
    for (const Trigger& trigger : triggers) report.triggers.push_back({trigger.name, trigger.written, trigger.status});
    for (const Variable& variable : variables) report.variables.push_back(variableReport(variable));
    report.digital = digital;
    report.console = linesOf(console);
    if (settled && end != RunEnd::refused) addUnwritten(*this, report);
    if (end != RunEnd::setUpsRan && end != RunEnd::refused) addNotes(*this, report);
    report.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
    return report;
}

}  // namespace libzepl
