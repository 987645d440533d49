// The report of a run in the terms of its procedure: each mistake at its place.

#include <algorithm>
#include <map>
#include <string_view>
#include <tuple>
#include <utility>

#include "runtime/binder.h"
#include "runtime/wording.h"

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

// Where pipes and triggers are declared, by name, and tables, by their file's.
std::map<std::string_view, Place> placesOfChannels(const Procedure& procedure) {
    std::map<std::string_view, Place> places;
    for (const PipeDeclaration& pipe : procedure.pipes) places.emplace(pipe.name, pipe.place);
    for (const TriggerDeclaration& trigger : procedure.triggers) places.emplace(trigger.name, trigger.place);
    for (const JointOutput& joint : procedure.jointOutputs) places.emplace(joint.name, joint.place);
    for (const TableDeclaration& table : procedure.tables) places.emplace(table.to.path, table.place);
    return places;
}

// Of the pipe that an expression defines there.
Place placeOfDefinition(const Procedure& procedure, int line) {
    for (const PipeDeclaration& pipe : procedure.pipes)
        if (pipe.definition && pipe.place.line == line) return pipe.place;
    return {};
}

// What is to be said of one task.
struct TaskRemark {
    std::size_t task = 0;
    Diagnostic said;  // without the task's name
};

std::vector<TaskRemark> remarksOfTasks(const Procedure& procedure, const Report& report,
                                       const std::vector<std::string>& advice) {
    std::vector<TaskRemark> remarks;
    for (std::size_t i = 0; i < report.tasks.size() && i < procedure.commands.size(); ++i) {
        const TaskReport& task = report.tasks[i];
        const CommandUse& use = procedure.commands[i];
        const bool runs = task.state == TaskReport::State::waiting || task.state == TaskReport::State::running;
        if (!runs)
            remarks.push_back({i, {Severity::error, placeOf(use, task.index), ": " + task.text, remedyOf(task)}});
        else if (i < advice.size() && !advice[i].empty() && task.began)
            remarks.push_back(
                {i, {Severity::warning, use.place, " took a list that its signature does not describe", advice[i]}});
    }
    return remarks;
}

std::vector<TaskRemark> remarksOfCautions(const Procedure& procedure, const Report& report) {
    std::vector<TaskRemark> remarks;
    for (const CautionReport& caution : report.cautions)
        if (caution.task < procedure.commands.size())
            remarks.push_back({caution.task,
                               {caution.isArrival ? Severity::arrival : Severity::caution,
                                procedure.commands[caution.task].place, ": " + caution.text, caution.remedy}});
    return remarks;
}

// "ABS", "ABS[2]", "ABS[1..4]" or "ABS[1] and ABS[3]", of tasks that one command makes.
std::string nameOf(const Procedure& procedure, const std::vector<std::size_t>& tasks) {
    const CommandUse& first = procedure.commands[tasks.front()];
    if (tasks.size() > 1 && static_cast<std::int64_t>(tasks.size()) == first.array.count)
        return first.command + "[1.." + std::to_string(first.array.count) + "]";
    std::vector<std::string> names;
    for (const std::size_t task : tasks) names.push_back(libzepl::nameOf(procedure.commands[task]));
    return joined(names, " and ");
}

// The text with names of whole arrays for those of the elements of that index.
std::string textOfArray(std::string text, const ArrayPlace& array) {
    const std::string index = elementName("", array.index);
    for (std::size_t at = text.find(index); array.isElement() && at != std::string::npos; at = text.find(index, at))
        text.erase(at, index.size());
    return text;
}

// One diagnostic for what is the same of several tasks of one command, but for the elements that it names.
std::vector<Diagnostic> gathered(const Procedure& procedure, const std::vector<TaskRemark>& remarks) {
    struct Group {
        Diagnostic said, ofArray;
        std::vector<std::size_t> tasks;
    };
    std::vector<Group> groups;
    std::map<std::tuple<int, int, Severity, std::string>, std::size_t> groupOf;
    for (const auto& [task, said] : remarks) {
        const ArrayPlace& array = procedure.commands[task].array;
        Group group{said, said, {task}};
        group.ofArray.message = textOfArray(said.message, array);
        group.ofArray.remedy = textOfArray(said.remedy, array);
        const auto [found, isNew] = groupOf.try_emplace(
            {said.place.line, said.place.column, said.severity, group.ofArray.message}, groups.size());
        const Group* other = isNew ? nullptr : &groups[found->second];
        if (other != nullptr && array.index > procedure.commands[other->tasks.back()].array.index)
            groups[found->second].tasks.push_back(task);
        else
            groups.push_back(std::move(group));
    }
    std::vector<Diagnostic> diagnostics;
    for (Group& group : groups) {
        Diagnostic& said = group.tasks.size() > 1 ? group.ofArray : group.said;
        said.message = nameOf(procedure, group.tasks) + said.message;
        diagnostics.push_back(std::move(said));
    }
    return diagnostics;
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
    for (std::size_t i = procedure.commands.size(); i < report.tasks.size(); ++i) {
        const TaskReport& task = report.tasks[i];
        const bool runs = task.state == TaskReport::State::waiting || task.state == TaskReport::State::running;
        if (!runs)
            addError(diagnostics, placeOfDefinition(procedure, task.line), task.command + ": " + task.text,
                     task.remedy);
    }
    for (Diagnostic& each : gathered(procedure, remarksOfTasks(procedure, report, advice)))
        diagnostics.push_back(std::move(each));
    for (const std::string& name : report.unwritten)
        diagnostics.push_back({Severity::warning, placeOfChannel(name), "nobody writes " + libzepl::quoted(name),
                               "its readers would wait forever; give it a `from` file or a command that writes it"});
    for (Diagnostic& each : gathered(procedure, remarksOfCautions(procedure, report)))
        diagnostics.push_back(std::move(each));
    for (const CautionReport& caution : report.cautions)
        if (caution.task >= procedure.commands.size())
            diagnostics.push_back({Severity::arrival, placeOfDefinition(procedure, caution.line),
                                   caution.command + ": " + caution.text, caution.remedy});
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
        task.element = use.array.index;
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
