// The report as JSON, for scripts.

#include <cmath>
#include <nlohmann/json.hpp>

#include "runtime/report.h"

namespace libzepl {

namespace {

using Json = nlohmann::ordered_json;

// Numbers that JSON lacks are written as texts.
Json numberJson(double value) {
    if (std::isnan(value)) return "nan";
    if (std::isinf(value)) return value < 0 ? "-inf" : "inf";
    return value;
}

Json taskJson(const TaskReport& task) {
    Json json{{"line", task.line}, {"command", task.command}, {"state", nameOf(task.state)}};
    if (task.code) json["code"] = *task.code;
    if (task.index) json["index"] = *task.index;
    if (task.exit) json["exit"] = *task.exit;
    if (!task.text.empty()) json["text"] = task.text;
    return json;
}

Json variableJson(const VariableReport& variable) {
    Json json{{"name", variable.name}, {"type", nameOf(variable.type)}};
    if (const auto* integer = std::get_if<std::int64_t>(&variable.value))
        json["value"] = *integer;
    else
        json["value"] = numberJson(std::get<double>(variable.value));
    return json;
}

template <class Items, class ToJson>
Json listJson(const Items& items, ToJson toJson) {
    Json list = Json::array();
    for (const auto& item : items) list.push_back(toJson(item));
    return list;
}

}  // namespace

std::string_view nameOf(TaskReport::State state) {
    switch (state) {
        case TaskReport::State::waiting:
            return "waiting";
        case TaskReport::State::running:
            return "running";
        case TaskReport::State::error:
            return "error";
        case TaskReport::State::refused:
            return "refused";
        case TaskReport::State::fault:
            return "fault";
        default:
            return "exited";
    }
}

std::string_view nameOf(Report::Status status) {
    if (status == Report::Status::interrupted) return "interrupted";
    return status == Report::Status::ok ? "ok" : "failed";
}

std::string toJson(const Report& report, const ReportModule& module) {
    Json json;
    json["procedure"] = report.procedure;
    json["status"] = nameOf(report.status);
    json["module"] = {{"name", module.name}, {"build", module.build}, {"interface", module.interfaceVersion}};
    if (!report.reason.empty()) json["reason"] = report.reason;
    json["tasks"] = listJson(report.tasks, taskJson);
    json["pipes"] = listJson(report.pipes, [](const PipeReport& pipe) {
        return Json{
            {"name", pipe.name}, {"type", nameOf(pipe.type)}, {"written", pipe.written}, {"unread", pipe.unread}};
    });
    json["triggers"] = listJson(report.triggers, [](const TriggerReport& trigger) {
        return Json{{"name", trigger.name}, {"asserted", trigger.asserted}, {"status", trigger.status}};
    });
    json["variables"] = listJson(report.variables, variableJson);
    json["digital"] = listJson(report.digital, [](const DigitalReport& bit) {
        return Json{{"frame", bit.frame}, {"bit", bit.bit}, {"value", bit.value}};
    });
    json["console"] = report.console;
    json["notes"] = report.notes;
    json["seconds"] = report.seconds;
    // Texts come from files and modules: bytes that are no UTF-8 are replaced, so that the report is always JSON.
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace libzepl
