// Commands as functions: one stream in, one out. What a list of arguments comes to is found once and kept in a `Call`; each
// use of it makes a session in which one task runs.

#include <utility>

#include "core.h"
#include "runtime/signature.h"

namespace python {

namespace {

// An argument as Python gives it: ("source",), ("destination",), ("number", value, type or ""), ("word", text), ("text", text)
// or ("vector", type, length, place among the vectors of a use); of a procedure also ("pipe", type), ("trigger", "") and
// ("variable", type).
struct Given {
    enum class Role { source, destination, vector, other };
    Role role = Role::other;
    ResolvedArgument resolved;
    std::size_t vector = 0;
};

Given givenOf(const py::tuple& given) {
    const auto kind = given[0].cast<std::string>();
    Given argument;
    using Kind = ResolvedArgument::Kind;
    if (kind == "source" || kind == "destination") {
        argument.role = kind == "source" ? Given::Role::source : Given::Role::destination;
        argument.resolved.kind = Kind::pipe;
    } else if (kind == "vector") {
        argument.role = Given::Role::vector;
        argument.resolved.kind = Kind::vector;
        argument.resolved.type = elementTypeFrom(given[1].cast<std::string>());
        argument.resolved.length = given[2].cast<std::size_t>();
        argument.vector = given[3].cast<std::size_t>();
    } else if (kind == "trigger") {
        argument.resolved.kind = Kind::trigger;
    } else if (kind == "pipe" || kind == "variable") {
        argument.resolved.kind = kind == "pipe" ? Kind::pipe : Kind::variable;
        argument.resolved.type = elementTypeFrom(given[1].cast<std::string>());
    } else if (kind == "number") {
        argument.resolved.number = numberOf(given[1]);
        const auto type = given[2].cast<std::string>();
        argument.resolved.typed = !type.empty();
        if (argument.resolved.typed) argument.resolved.type = elementTypeFrom(type);
    } else {
        argument.resolved.kind = kind == "word" ? Kind::word : Kind::text;
        argument.resolved.text = given[1].cast<std::string>();
    }
    return argument;
}

TaskArgument constantOf(const ResolvedArgument& argument, zepl::ParamMask kind) {
    if (argument.kind == ResolvedArgument::Kind::text) return textConstant(argument.text);
    if (argument.kind == ResolvedArgument::Kind::word)
        return kind == zepl::hostKeyword ? hostWord(regionValue(argument.text).value_or(0), argument.text)
                                         : declaredWord(argument.text);
    // An unsigned value that a signature admits is passed as the signed one of the same bits.
    if (kind == zepl::constantInt16) return int16Constant(static_cast<std::int16_t>(argument.number.integer));
    if (kind == zepl::constantInt32) return int32Constant(static_cast<std::int32_t>(argument.number.integer));
    if (kind == zepl::constantFloat) return floatConstant(static_cast<float>(argument.number.real));
    return doubleConstant(argument.number.real);
}

// A command with its arguments, but for samples.
class Call {
 public:
    // `destinations` are the types that the result may have, the preferred ones first. A Problem where none fits.
    Call(std::string command, const std::vector<py::tuple>& arguments, const std::string& source,
         const std::vector<std::string>& destinations, const std::vector<std::string>& names)
        : command_(std::move(command)), source_(elementTypeFrom(source)) {
        for (const py::tuple& given : arguments) given_.push_back(givenOf(given));
        const Command* command_found = library().commands.find(command_);
        if (command_found == nullptr || command_found->parsed == nullptr)
            throw Problem("unknown command " + libzepl::quoted(command_));
        std::string why;
        for (const std::string& type : destinations) {
            destination_ = elementTypeFrom(type);
            const std::vector<ResolvedArgument> resolved = resolvedArguments();
            if (const auto bound = matchSignature(*command_found->parsed, resolved)) {
                keep(*bound);
                return;
            }
            if (why.empty()) why = explainMismatch(*command_found->parsed, resolved, names);
        }
        throw Problem("the arguments do not fit " + command_ + ":\n" + why);
    }

    // (the result, what went wrong or "", what to do). The elements are lent while it runs.
    py::tuple operator()(const py::array& samples, const std::vector<py::array>& vectors, bool isMainThread) const {
        const std::shared_ptr<StopRequest> stop = isMainThread ? stopOfMainThread() : nullptr;
        auto session = std::make_shared<Session>(library().commands, SessionOptions{.stop = stop});
        const PipeId source = session->addPipe({.name = "source", .type = source_});
        const PipeId result = session->addPipe({.name = "result", .type = destination_});
        const auto count = static_cast<std::uint64_t>(samples.size());
        session->feedMemory(source, samples.data(), count);
        session->collect(result, {}, count);
        session->addTask({.command = command_, .arguments = argumentsFor(*session, source, result, vectors)});
        Report report;
        {
            const Interruption interruption(stop, isMainThread);
            const py::gil_scoped_release released;
            report = session->run();
        }
        if (stop != nullptr && stop->requested()) Interruption::check();
        return py::make_tuple(resultOf(std::move(session), result), inPython(reasonOf(report)),
                              inPython(remedyOf(report)));
    }

 private:
    // The same for all uses until a stop is requested.
    static std::shared_ptr<StopRequest> stopOfMainThread() {
        static std::shared_ptr<StopRequest> stop;
        if (stop == nullptr || stop->requested()) stop = std::make_shared<StopRequest>();
        return stop;
    }

    std::vector<ResolvedArgument> resolvedArguments() const {
        std::vector<ResolvedArgument> resolved;
        for (const Given& given : given_) {
            resolved.push_back(given.resolved);
            if (given.role == Given::Role::source) resolved.back().type = source_;
            if (given.role == Given::Role::destination) resolved.back().type = destination_;
        }
        return resolved;
    }

    void keep(const std::vector<BoundArgument>& bound) {
        for (std::size_t i = 0; i < given_.size(); ++i)
            constants_.push_back(given_[i].role == Given::Role::other ? constantOf(given_[i].resolved, bound[i].kind)
                                                                      : TaskArgument{});
    }

    std::vector<TaskArgument> argumentsFor(Session& session, PipeId source, PipeId result,
                                           const std::vector<py::array>& vectors) const {
        std::vector<TaskArgument> arguments = constants_;
        for (std::size_t i = 0; i < given_.size(); ++i) {
            if (given_[i].role == Given::Role::source) arguments[i] = session.use(source);
            if (given_[i].role == Given::Role::destination) arguments[i] = session.use(result);
            if (given_[i].role != Given::Role::vector) continue;
            const py::array& vector = vectors[given_[i].vector];
            const auto* bytes = static_cast<const std::byte*>(vector.data());
            arguments[i] = session.use(session.addVector({}, given_[i].resolved.type,
                                                         {bytes, bytes + static_cast<std::size_t>(vector.nbytes())}));
        }
        return arguments;
    }

    // Small results are copied, so that the session's memory is free again; larger ones stay where they are.
    py::array resultOf(std::shared_ptr<Session> session, PipeId result) const {
        constexpr std::size_t mostCopied = 65536;
        const std::span<const std::byte> bytes = session->collectedMemory(result);
        if (bytes.size() <= mostCopied) return arrayOn(bytes, destination_, 1, {});
        auto* kept = new std::shared_ptr<Session>(std::move(session));
        const py::capsule owner(kept, [](void* pointer) { delete static_cast<std::shared_ptr<Session>*>(pointer); });
        return arrayOn(bytes, destination_, 1, owner);
    }

    static std::string reasonOf(const Report& report) {
        for (const TaskReport& task : report.tasks)
            if (!task.text.empty() && report.status != Report::Status::ok) return task.text;
        if (report.status == Report::Status::interrupted) return "it was interrupted by a signal before its end";
        return report.status == Report::Status::ok ? "" : report.reason;
    }
    static std::string remedyOf(const Report& report) {
        for (const TaskReport& task : report.tasks)
            if (!task.text.empty()) return task.remedy;
        return report.remedy;
    }

    std::string command_;
    ElementType source_, destination_ = ElementType::int16;
    std::vector<Given> given_;
    std::vector<TaskArgument> constants_;  // but for channels and vectors
};

// What the command does with each argument: "in", "out" or "const"; "" where the list does not fit.
std::vector<std::string> rolesOf(const std::string& command, const std::vector<py::tuple>& arguments) {
    std::vector<std::string> roles(arguments.size());
    std::vector<ResolvedArgument> resolved;
    for (const py::tuple& given : arguments) resolved.push_back(givenOf(given).resolved);
    const Command* const found = library().commands.find(command);
    if (found == nullptr || found->parsed == nullptr) return roles;
    const auto bound = matchSignature(*found->parsed, resolved);
    for (std::size_t i = 0; bound && i < roles.size(); ++i) {
        const Direction direction = (*bound)[i].parameter->direction;
        roles[i] = direction == Direction::out ? "out" : direction == Direction::in ? "in" : "const";
    }
    return roles;
}

}  // namespace

void defineCalls(py::module_& module) {
    module.def("roles", rolesOf);
    py::class_<Call>(module, "Call")
        .def(py::init<std::string, const std::vector<py::tuple>&, const std::string&, const std::vector<std::string>&,
                      const std::vector<std::string>&>())
        .def("__call__", &Call::operator());
}

}  // namespace python
