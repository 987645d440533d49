#include "tests/support/call.h"

#include <charconv>
#include <cmath>
#include <sstream>

#include "runtime/signature.h"

namespace libzepl {

namespace {

std::string trimmed(const std::string& text) {
    const std::size_t first = text.find_first_not_of(' ');
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(' ') + 1 - first);
}

// "int16", ":int32 = 7" or "gain:int32 = 7": with the name that it has, or gets.
std::string withName(const std::string& text, const std::string& otherwise) {
    const std::string declared = trimmed(text);
    if (elementTypeNamed(declared)) return otherwise + ":" + declared;
    return declared.empty() || declared[0] == ':' ? otherwise + declared : declared;
}

// An argument as the language has it, and the declaration that it needs first, if any.
std::string argumentOf(const std::string& argument, const std::string& otherwise, std::string& declarations) {
    const auto declare = [&](const std::string& noun, const std::string& declared) {
        declarations += noun + " " + declared + "\n";
        return trimmed(declared.substr(0, declared.find(':')));
    };
    if (argument == "trigger" || argument.starts_with("trigger "))
        return declare("trigger", withName(argument.substr(7), otherwise));
    if (argument.starts_with("variable ") || argument.starts_with("variable:"))
        return declare("variable", withName(argument.substr(8), otherwise) +
                                       (argument.find('=') == std::string::npos ? " = 0" : ""));
    if (argument.starts_with('[')) {
        const std::size_t end = argument.find(']') + 1;
        return declare("vector", otherwise + argument.substr(end) + " = " + argument.substr(0, end));
    }
    const std::string word = argument.substr(0, argument.find(':'));
    const bool isPipe =
        elementTypeNamed(word) || (word.size() < argument.size() && !parseNumber(word) && word[0] != '"');
    return isPipe ? declare("pipe", withName(argument, otherwise)) : argument;
}

TaskArgument taskArgument(const TestSession& session, const Argument& argument) {
    if (argument.kind == Argument::Kind::text) return textConstant(argument.text);
    if (argument.kind == Argument::Kind::word) {
        if (const auto found = session.defined().find(argument.text); found != session.defined().end())
            return found->second;
        if (const auto value = regionValue(argument.text)) return hostWord(*value);
        return declaredWord(argument.text);
    }
    ResolvedArgument number;
    number.typed = argument.type.has_value();
    number.type = argument.type.value_or(ElementType::int16);
    number.number = argument.number;
    const zepl::ParamMask kind = defaultKinds({number})[0].kind;
    if (kind == zepl::constantInt16) return int16Constant(static_cast<std::int16_t>(argument.number.integer));
    if (kind == zepl::constantInt32) return int32Constant(static_cast<std::int32_t>(argument.number.integer));
    if (kind == zepl::constantFloat) return floatConstant(static_cast<float>(argument.number.real));
    return doubleConstant(argument.number.real);
}

std::vector<std::byte> bytesOf(ElementType type, const std::vector<Number>& values) {
    std::vector<std::byte> bytes(values.size() * widthOf(type));
    for (std::size_t i = 0; i < values.size(); ++i) storeNumber(type, values[i], &bytes[i * widthOf(type)]);
    return bytes;
}

std::string writtenReal(double number, const char* type) {
    char digits[40];
    const auto written = std::to_chars(std::begin(digits), std::end(digits), number);
    return std::string(std::begin(digits), written.ptr) + type;
}

// How the set-up of the call ends: "ready", or as statesOf says.
std::string setUpOf(const std::string& call) {
    TestSession session({.setUpOnly = true});
    addCall(session, call);
    const Report report = session.run();
    return report.status == Report::Status::ok ? "ready" : statesOf(report)[0];
}

}  // namespace

std::vector<std::string> argumentsIn(const std::string& list) {
    std::vector<std::string> arguments(1);
    bool inText = false;
    for (int depth = 0; const char c : list) {
        if (c == '"') inText = !inText;
        if (!inText && (c == '[' || c == ']')) depth += c == '[' ? 1 : -1;
        if (c == ',' && depth == 0 && !inText)
            arguments.emplace_back();
        else
            arguments.back() += c;
    }
    for (std::string& argument : arguments) argument = trimmed(argument);
    if (arguments.back().empty()) arguments.pop_back();
    return arguments;
}

Procedure parseCall(const std::string& call) {
    const std::size_t open = call.find('('), close = call.rfind(')');
    std::string declarations, arguments;
    for (int n = 1; const std::string& text : argumentsIn(call.substr(open + 1, close - open - 1)))
        arguments += (n == 1 ? "" : ", ") + argumentOf(text, "argument" + std::to_string(n), declarations), ++n;
    std::vector<Diagnostic> diagnostics;
    const SourceText source{call, declarations + call.substr(0, open) + "(" + arguments + ")\n"};
    Procedure procedure = parseProcedure(source, diagnostics);
    if (!diagnostics.empty()) throw Problem(render(diagnostics, source));
    return procedure;
}

std::vector<std::string> addCall(TestSession& session, const std::string& call, int line) {
    const Procedure procedure = parseCall(call);
    std::vector<std::string> named;
    for (const PipeDeclaration& pipe : procedure.pipes) {
        session.pipe(pipe.name, {}, pipe.type);
        if (!pipe.name.starts_with("argument")) named.push_back(pipe.name);
    }
    for (const TriggerDeclaration& trigger : procedure.triggers) session.addTrigger(trigger.name);
    for (const VariableDeclaration& variable : procedure.variables)
        session.addVariable(variable.name, variable.type, bytesOf(variable.type, {variable.value}).data());
    for (const VectorDeclaration& vector : procedure.vectors)
        session.addVector(vector.name, vector.type, bytesOf(vector.type, vector.values));
    TaskSettings task{.command = procedure.commands.at(0).command, .line = line};
    for (const Argument& argument : procedure.commands[0].arguments)
        task.arguments.push_back(taskArgument(session, argument));
    session.addTask(std::move(task));
    return named;
}

std::string written(const std::string& argument) { return argument; }
std::string written(std::int16_t number) { return std::to_string(number) + ":int16"; }
std::string written(std::int32_t number) { return std::to_string(number) + ":int32"; }
std::string written(float number) { return writtenReal(double{number}, ":float"); }
std::string written(double number) { return writtenReal(number, ":double"); }

std::string more(std::size_t times, const std::string& argument) {
    std::string text;
    for (std::size_t i = 0; i < times; ++i) text += ", " + argument;
    return text;
}

Call::Call(const std::string& call, const std::vector<Input>& inputs, SessionOptions options,
           std::optional<std::uint64_t> limit)
    : TestSession(std::move(options)), inputs_(inputs) {
    for (const Input& input : inputs_) {
        if (input.name.starts_with('[')) {
            addVector(input.name.substr(1, input.name.size() - 2), input.type, input.bytes);
        } else {
            const PipeId id = pipe(input.name, {}, input.type);
            feedMemory(id, input.bytes.data(), input.bytes.size() / widthOf(input.type));
        }
    }
    for (const std::string& name : addCall(*this, call)) collect(pipeNamed(name), limit);
    report = run();
    state = statesOf(report)[0];
}

void expectReady(const std::vector<std::string>& calls) {
    for (const std::string& call : calls) EXPECT_EQ(setUpOf(call), "ready") << call;
}

void expectRefused(const std::vector<std::string>& calls, int code, int position) {
    const std::string expected =
        (code == 0 ? "refused" : "error code " + std::to_string(code)) + " at " + std::to_string(position);
    for (const std::string& call : calls) EXPECT_EQ(setUpOf(call), expected) << call;
}

}  // namespace libzepl
