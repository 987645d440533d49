#include "runtime/report/run_report.h"

#include <algorithm>
#include <cstring>

#include "runtime/report/caution_check.h"
#include "runtime/report/figures.h"
#include "runtime/report/run_notes.h"

namespace libzepl {

namespace {

TaskReport::State stateOf(const Task& task) {
    if (task.state == TaskState::ended) return task.outcome.state;
    return task.state == TaskState::ready ? TaskReport::State::running : TaskReport::State::waiting;
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

// The names of all that is reported.
Report outlineReport(const Engine& e) {
    Report report;
    for (const Task& task : e.graph.tasks) {
        TaskReport& each = report.tasks.emplace_back();
        each.line = task.line;
        each.command = task.command->name;
        each.element = task.element;
    }
    for (const Pipe& pipe : e.graph.pipes) report.pipes.push_back({pipe.name, pipe.type, 0, 0});
    for (const PipeInput& input : e.graph.pipeInputs) report.inputs.push_back({input.pipe->name, 0, {}});
    for (const Trigger& trigger : e.graph.triggers) report.triggers.push_back({trigger.name, 0, 0});
    for (const Variable& variable : e.graph.variables) report.variables.push_back({variable.name, variable.type, {}});
    return report;
}

// The figures of what an outline names. Allocates nothing, and takes no lock.
void fillReport(const Engine& e, Report& report) noexcept {
    report.status = e.status();
    report.outputsFinished = e.outcome.outputsFinished;
    for (std::size_t i = 0; i < e.graph.tasks.size(); ++i) {
        TaskReport& each = report.tasks[i];
        each.state = stateOf(e.graph.tasks[i]);
        each.began = e.graph.tasks[i].outcome.began;
        each.code = e.graph.tasks[i].outcome.code;
        each.index = e.graph.tasks[i].outcome.index;
        each.exit = e.graph.tasks[i].outcome.exit;
    }
    for (std::size_t i = 0; i < e.graph.pipes.size(); ++i) {
        report.pipes[i].written = e.graph.pipes[i].writePosition;
        report.pipes[i].unread = unreadOf(e.graph.pipes[i]);
    }
    for (std::size_t i = 0; i < e.graph.pipeInputs.size(); ++i)
        report.inputs[i].delivered = e.graph.pipeInputs[i].delivered;
    for (std::size_t i = 0; i < e.graph.triggers.size(); ++i) {
        report.triggers[i].asserted = e.graph.triggers[i].writePosition;
        report.triggers[i].status = e.graph.triggers[i].status;
    }
    for (std::size_t i = 0; i < e.graph.variables.size(); ++i)
        report.variables[i].value = valueOf(e.graph.variables[i]);
    report.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - e.outcome.began).count();
}

Report makeReport(const Engine& e) {
    Report report = outlineReport(e);
    fillReport(e, report);
    report.reason = e.outcome.reason;
    report.remedy = e.outcome.remedy;
    report.channel = e.outcome.reasonChannel;
    for (std::size_t i = 0; i < e.graph.tasks.size(); ++i) {
        report.tasks[i].text = e.graph.tasks[i].outcome.text;
        report.tasks[i].remedy = e.graph.tasks[i].outcome.remedy;
    }
    for (std::size_t i = 0; i < e.graph.pipeInputs.size(); ++i)
        if (const Source* source = e.graph.pipeInputs[i].source.get()) report.inputs[i].losses = source->losses();
    report.digital = e.outcome.digital;
    report.console = linesOf(e.outcome.console);
    report.outputs = e.outcome.outputReports;
    addNotes(e, report);
    report.notes.insert(report.notes.end(), e.outcome.outputNotes.begin(), e.outcome.outputNotes.end());
    addCautions(e, report);
    return report;
}

CrashReporter::CrashReporter(Engine& e) : e_(e) {
    if (!e.options.crashed) return;
    report_ = outlineReport(e);
    report_.notes.emplace_back(
        "the program had to end at once: the outputs are dropped, and what was printed is not here");
    text_.reserve(128);
    e.crashed = [this](const char* what) { say(what); };
}

CrashReporter::~CrashReporter() { e_.crashed = nullptr; }

void CrashReporter::say(const char* what) noexcept {
    fillReport(e_, report_);
    report_.status = Report::Status::failed;
    const std::size_t place = engine->scheduler.current->number - 1;  // of the engine that runs on this thread
    TaskReport& task = report_.tasks[place];
    task.state = TaskReport::State::fault;
    text_.assign(std::string_view(what).substr(0, text_.capacity()));
    task.text.swap(text_);
    e_.options.crashed(report_, place);
}

}  // namespace libzepl
