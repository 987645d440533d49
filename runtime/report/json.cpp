// The report as JSON, for scripts.

#include "runtime/json_writer.h"
#include "runtime/report.h"

namespace libzepl {

namespace {

void write(JsonWriter& json, const ReportModule& module) {
    json.beginObject();
    json.pair("name", module.name);
    json.pair("build", module.build);
    json.pair("interface", module.interfaceVersion);
    json.end();
}

void write(JsonWriter& json, const TaskReport& task) {
    json.beginObject();
    json.pair("line", task.line);
    json.pair("command", task.command);
    if (task.element > 0) json.pair("element", task.element);
    json.pair("state", nameOf(task.state));
    if (task.code) json.pair("code", *task.code);
    if (task.index) json.pair("index", *task.index);
    if (task.exit) json.pair("exit", *task.exit);
    if (!task.text.empty()) json.pair("text", task.text);
    json.end();
}

void write(JsonWriter& json, const PipeReport& pipe) {
    json.beginObject();
    json.pair("name", pipe.name);
    json.pair("type", nameOf(pipe.type));
    json.pair("written", pipe.written);
    json.pair("unread", pipe.unread);
    json.end();
}

void write(JsonWriter& json, const Gap& gap) {
    json.beginObject();
    json.pair("frame", gap.frame);
    json.pair("lost", gap.lost);
    json.end();
}

template <class Items>
void writeList(JsonWriter& json, std::string_view name, const Items& items);

void write(JsonWriter& json, const InputReport& input) {
    json.beginObject();
    json.pair("name", input.name);
    json.pair("delivered", input.delivered);
    json.pair("lost", input.losses.frames);
    if (input.losses.frames > 0) {
        json.key("filled");
        json.boolean(input.losses.isFilled);
        json.key("estimated");
        json.boolean(input.losses.isEstimated);
        writeList(json, "gaps", input.losses.gaps);
    }
    json.end();
}

void write(JsonWriter& json, const TriggerReport& trigger) {
    json.beginObject();
    json.pair("name", trigger.name);
    json.pair("asserted", trigger.asserted);
    json.pair("status", trigger.status);
    json.end();
}

void write(JsonWriter& json, const VariableReport& variable) {
    json.beginObject();
    json.pair("name", variable.name);
    json.pair("type", nameOf(variable.type));
    json.key("value");
    std::visit([&](const auto& value) { json.value(value); }, variable.value);
    json.end();
}

void write(JsonWriter& json, const DigitalReport& bit) {
    json.beginObject();
    json.pair("frame", bit.frame);
    json.pair("bit", bit.bit);
    json.pair("value", bit.value);
    json.end();
}

void write(JsonWriter& json, const CautionReport& caution) {
    json.beginObject();
    json.pair("line", caution.line);
    json.pair("command", caution.command);
    if (caution.element > 0) json.pair("element", caution.element);
    json.pair("text", caution.text);
    json.pair("remedy", caution.remedy);
    json.end();
}

void write(JsonWriter& json, const std::string& line) { json.value(line); }

template <class Items>
void writeList(JsonWriter& json, std::string_view name, const Items& items) {
    json.key(name);
    json.beginList();
    for (const auto& item : items) write(json, item);
    json.end();
}

class StringSink : public TextSink {
 public:
    void write(std::string_view text) override { text_ += text; }
    std::string take() { return std::move(text_); }

 private:
    std::string text_;
};

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

void writeJson(const Report& report, const std::vector<ReportModule>& modules, TextSink& sink) {
    JsonWriter json(sink);
    json.beginObject();
    json.pair("procedure", report.procedure);
    json.pair("status", nameOf(report.status));
    if (!modules.empty()) {
        json.key("module");
        write(json, modules.front());
    }
    writeList(json, "modules", modules);
    if (!report.reason.empty()) json.pair("reason", report.reason);
    writeList(json, "tasks", report.tasks);
    writeList(json, "pipes", report.pipes);
    writeList(json, "inputs", report.inputs);
    writeList(json, "triggers", report.triggers);
    writeList(json, "variables", report.variables);
    writeList(json, "digital", report.digital);
    writeList(json, "console", report.console);
    writeList(json, "notes", report.notes);
    writeList(json, "cautions", report.cautions);
    json.pair("seconds", report.seconds);
    json.end();
    sink.write("\n");
}

std::string toJson(const Report& report, const std::vector<ReportModule>& modules) {
    StringSink sink;
    writeJson(report, modules, sink);
    return sink.take();
}

}  // namespace libzepl
