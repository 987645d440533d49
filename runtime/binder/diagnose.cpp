// The report of a run in the terms of its procedure: each mistake at its place.

#include <algorithm>
#include <map>
#include <string_view>

#include "runtime/binder.h"

namespace libzepl {

namespace {

void addError(std::vector<Diagnostic>& diagnostics, Place place, std::string message, std::string remedy = {}) {
    diagnostics.push_back({Severity::error, place, std::move(message), std::move(remedy)});
}

Place placeOf(const CommandUse& use, std::optional<std::int32_t> index) {
    if (index && *index >= 1 && static_cast<std::size_t>(*index) <= use.arguments.size())
        return use.arguments[static_cast<std::size_t>(*index - 1)].place;
    return use.place;
}

// What to do about a task that failed. A code of the command's says little; its page has what it admits.
std::string remedyOf(const TaskReport& task) {
    if (task.state != TaskReport::State::error || !task.remedy.empty()) return task.remedy;
    return "`zepl help " + task.command + "` says what it admits";
}

// Where pipes and triggers are declared, by name.
std::map<std::string_view, Place> placesOfChannels(const Procedure& procedure) {
    std::map<std::string_view, Place> places;
    for (const PipeDeclaration& pipe : procedure.pipes) places.emplace(pipe.name, pipe.place);
    for (const TriggerDeclaration& trigger : procedure.triggers) places.emplace(trigger.name, trigger.place);
    return places;
}

}  // namespace

std::vector<Diagnostic> diagnose(const Procedure& procedure, const Report& report,
                                 const std::vector<std::string>& advice) {
    std::vector<Diagnostic> diagnostics;
    const std::map<std::string_view, Place> channels = placesOfChannels(procedure);
    const auto placeOfChannel = [&](const std::string& name) {
        const auto found = channels.find(name);
        return found == channels.end() ? Place{} : found->second;
    };
    if (!report.reason.empty()) addError(diagnostics, placeOfChannel(report.channel), report.reason, report.remedy);
    for (std::size_t i = 0; i < report.tasks.size() && i < procedure.commands.size(); ++i) {
        const TaskReport& task = report.tasks[i];
        const CommandUse& use = procedure.commands[i];
        const bool runs = task.state == TaskReport::State::waiting || task.state == TaskReport::State::running;
        if (!runs)
            addError(diagnostics, placeOf(use, task.index), use.command + ": " + task.text, remedyOf(task));
        else if (i < advice.size() && !advice[i].empty() && task.began)
            diagnostics.push_back({Severity::warning, use.place,
                                   use.command + " took a list that its signature does not describe", advice[i]});
    }
    for (const std::string& name : report.unwritten)
        diagnostics.push_back({Severity::warning, placeOfChannel(name), "nobody writes " + libzepl::quoted(name),
                               "its readers would wait forever; give it a `from` file or a command that writes it"});
    for (const CautionReport& caution : report.cautions)
        if (caution.task < procedure.commands.size())
            diagnostics.push_back({caution.isArrival ? Severity::arrival : Severity::caution,
                                   procedure.commands[caution.task].place, caution.command + ": " + caution.text,
                                   caution.remedy});
    if (diagnostics.size() > maxDiagnostics) {
        const std::string more = std::to_string(diagnostics.size() - maxDiagnostics);
        diagnostics.resize(maxDiagnostics);
        if (hasErrors(diagnostics))
            addError(diagnostics, {}, "too many mistakes: " + more + " more are not shown");
        else
            diagnostics.push_back({Severity::warning, {}, "too many warnings: " + more + " more are not shown", {}});
    }
    return diagnostics;
}

Report refusalReport(const Procedure& procedure, const std::vector<Diagnostic>& diagnostics) {
    Report report;
    report.procedure = procedure.source.name;
    report.status = Report::Status::refused;
    std::multimap<int, std::size_t> tasksByLine;
    for (const CommandUse& use : procedure.commands) {
        tasksByLine.emplace(use.place.line, report.tasks.size());
        TaskReport& task = report.tasks.emplace_back();
        task.line = use.place.line;
        task.command = use.command;
    }
    for (const Diagnostic& diagnostic : diagnostics) {
        const std::string line =
            diagnostic.place.line > 0 ? "line " + std::to_string(diagnostic.place.line) + ": " : "";
        report.notes.push_back(line + diagnostic.message);
        if (diagnostic.severity != Severity::error) continue;
        const auto [first, last] = tasksByLine.equal_range(diagnostic.place.line);
        for (auto each = first; each != last; ++each) {
            report.tasks[each->second].state = TaskReport::State::refused;
            report.tasks[each->second].text = diagnostic.message;
        }
    }
    return report;
}

}  // namespace libzepl
