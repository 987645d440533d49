// What a run came to, in figures.

#include <cstring>
#include <sstream>

#include "runtime/flow.h"

namespace libzepl {

namespace {

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

}  // namespace

Report::Status Engine::status() const {
    if (end == RunEnd::refused) return Report::Status::refused;
    if (end == RunEnd::failed) return Report::Status::failed;
    for (const Task& task : tasks)
        if (task.state == TaskState::ended) return Report::Status::failed;
    return end == RunEnd::stopped ? Report::Status::interrupted : Report::Status::ok;
}

Report Engine::makeReport() {
    Report report;
    report.status = status();
    report.reason = reason;
    report.remedy = remedy;
    report.channel = reasonChannel;
    report.outputs = outputReports;
    report.outputsFinished = outputsFinished;
    for (const Task& task : tasks) report.tasks.push_back(taskReport(task));
    for (const Pipe& pipe : pipes) report.pipes.push_back({pipe.name, pipe.type, pipe.written, unreadOf(pipe)});
    for (const Trigger& trigger : triggers) report.triggers.push_back({trigger.name, trigger.written, trigger.status});
    for (const Variable& variable : variables) report.variables.push_back(variableReport(variable));
    report.digital = digital;
    report.console = linesOf(console);
    addNotes(report);
    report.notes.insert(report.notes.end(), outputNotes.begin(), outputNotes.end());
    report.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
    return report;
}

}  // namespace libzepl
