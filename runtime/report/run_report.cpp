// What a run came to, in figures.

#include <algorithm>
#include <cstring>

#include "runtime/engine/flow.h"
#include "runtime/report/caution_check.h"

namespace libzepl {

namespace {

TaskReport::State stateOf(const Task& task) {
    if (task.state == TaskState::ended) return task.outcome.state;
    return task.state == TaskState::ready ? TaskReport::State::running : TaskReport::State::waiting;
}

template <class ChannelType>
std::uint64_t unreadOf(const ChannelType& channel) {
    std::uint64_t unread = 0;
    for (const auto* reader : channel.readers) unread = std::max(unread, reader->available());
    return unread;
}

void fill(VariableReport& report, const Variable& variable) {
    withElementType(variable.type, [&]<class Element>() {
        Element value;
        std::memcpy(&value, variable.cell.bytes, sizeof value);
        if constexpr (std::is_integral_v<Element>)
            report.value = std::int64_t{value};
        else
            report.value = double{value};
    });
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    for (std::string_view left = text; !left.empty();) {
        std::string_view line = left.substr(0, left.find('\n'));
        left.remove_prefix(std::min(line.size() + 1, left.size()));
        if (line.ends_with('\r')) line.remove_suffix(1);
        lines.emplace_back(line);
    }
    return lines;
}

}  // namespace

Report::Status Engine::status() const noexcept {
    if (end == RunEnd::refused) return Report::Status::refused;
    if (end == RunEnd::failed || !reason.empty()) return Report::Status::failed;
    for (const Task& task : tasks)
        if (task.state == TaskState::ended) return Report::Status::failed;
    return end == RunEnd::stopped ? Report::Status::interrupted : Report::Status::ok;
}

// The names of all that is reported.
Report Engine::outlineReport() const {
    Report report;
    for (const Task& task : tasks) {
        TaskReport& each = report.tasks.emplace_back();
        each.line = task.line;
        each.command = task.command->name;
    }
    for (const Pipe& pipe : pipes) report.pipes.push_back({pipe.name, pipe.type, 0, 0});
    for (const Trigger& trigger : triggers) report.triggers.push_back({trigger.name, 0, 0});
    for (const Variable& variable : variables) report.variables.push_back({variable.name, variable.type, {}});
    return report;
}

// The figures of what an outline names. Allocates nothing, and takes no lock.
void Engine::fillReport(Report& report) const noexcept {
    report.status = status();
    report.outputsFinished = outputsFinished;
    for (std::size_t i = 0; i < tasks.size(); ++i) {
        TaskReport& each = report.tasks[i];
        each.state = stateOf(tasks[i]);
        each.began = tasks[i].outcome.began;
        each.code = tasks[i].outcome.code;
        each.index = tasks[i].outcome.index;
        each.exit = tasks[i].outcome.exit;
    }
    for (std::size_t i = 0; i < pipes.size(); ++i) {
        report.pipes[i].written = pipes[i].written;
        report.pipes[i].unread = unreadOf(pipes[i]);
    }
    for (std::size_t i = 0; i < triggers.size(); ++i) {
        report.triggers[i].asserted = triggers[i].written;
        report.triggers[i].status = triggers[i].status;
    }
    for (std::size_t i = 0; i < variables.size(); ++i) fill(report.variables[i], variables[i]);
    report.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
}

Report Engine::makeReport() {
    Report report = outlineReport();
    fillReport(report);
    report.reason = reason;
    report.remedy = remedy;
    report.channel = reasonChannel;
    for (std::size_t i = 0; i < tasks.size(); ++i) {
        report.tasks[i].text = tasks[i].outcome.text;
        report.tasks[i].remedy = tasks[i].outcome.remedy;
    }
    report.digital = digital;
    report.console = linesOf(console);
    report.outputs = outputReports;
    addNotes(report);
    report.notes.insert(report.notes.end(), outputNotes.begin(), outputNotes.end());
    addCautions(*this, report);
    return report;
}

// Makes now what cannot be made when a command has left the memory of the process in doubt.
void Engine::prepareForCrash() {
    if (!options.crashed) return;
    crashReport = outlineReport();
    crashReport.notes.emplace_back(
        "the program had to end at once: the outputs are dropped, and what was printed is not here");
    crashText.reserve(128);
}

// From a signal's handler, with the process as the command left it.
void Engine::tellCrash(const char* what) noexcept {
    if (!options.crashed) return;
    fillReport(crashReport);
    crashReport.status = Report::Status::failed;
    TaskReport& task = crashReport.tasks[current->number - 1];
    task.state = TaskReport::State::fault;
    crashText.assign(std::string_view(what).substr(0, crashText.capacity()));
    task.text.swap(crashText);
    options.crashed(crashReport, current->number - 1);
}

}  // namespace libzepl
