// The extension module: the library of commands, arrays, numbers, interruptions.

#include "core.h"

#include <atomic>
#include <regex>
#include <utility>

#include "cli/pages.h"
#include "runtime/number.h"
#include "runtime/signature.h"

namespace python {

namespace {

std::atomic<StopRequest*> interrupted{nullptr};
struct sigaction pythonAction {};

extern "C" void onInterrupt(int signal) {
    if (StopRequest* stop = interrupted.load()) stop->request();
    pythonAction.sa_handler(signal);
}

py::dict describeType(const SignatureType& type) {
    static constexpr const char* forms[] = {"scalars",   "vectors",   "string", "keyword", "typeof",
                                            "elementof", "contentof", "none",   "choice"};
    py::dict described;
    described["form"] = forms[static_cast<std::size_t>(type.form)];
    described["scalars"] = type.scalars;
    described["reference"] = type.reference;
    described["set"] = type.set;
    described["words"] = type.words;
    py::list choices;
    for (const SignatureType& choice : type.choices) choices.append(describeType(choice));
    described["choices"] = choices;
    return described;
}

// ("parameter", direction, kind, type, name), or (form, [nodes]).
py::tuple describeNode(const SignatureNode& node) {
    static constexpr const char* forms[] = {"parameter", "sequence",  "alternatives",
                                            "optional",  "oneOrMore", "zeroOrMore"};
    static constexpr const char* directions[] = {"in", "out", "const"};
    static constexpr const char* kinds[] = {"", "pipe", "storage", "trigger"};
    const char* const form = forms[static_cast<std::size_t>(node.form)];
    if (node.form == SignatureNode::Form::parameter) {
        const SignatureParameter& parameter = node.parameter;
        return py::make_tuple(form, directions[static_cast<std::size_t>(parameter.direction)],
                              kinds[static_cast<std::size_t>(parameter.kind)], describeType(parameter.type),
                              parameter.name);
    }
    py::list children;
    for (const SignatureNode& child : node.children) children.append(describeNode(child));
    return py::make_tuple(form, children);
}

// Those from number `from` on: (name, module, signature or None, page).
py::list commandsFrom(std::size_t from) {
    py::list list;
    const auto& all = library().commands.commands();
    for (std::size_t i = from; i < all.size(); ++i) {
        const Command& command = all[i];
        list.append(py::make_tuple(command.name, command.module,
                                   command.parsed ? py::object(describeNode(command.parsed->root)) : py::none(),
                                   cli::pageOf(command)));
    }
    return list;
}

void load(const std::string& path) {
    library().commands.load(path);
    library().cautions = cli::pageCautions(library().commands);
}

std::string capturedText() { return takeLoadConsole(); }

}  // namespace

Library& library() {
    static Library& loaded = *[] {
        auto made = std::make_unique<Library>();
        for (const auto& module : defaultModules()) made->commands.load(module);
        made->cautions = cli::pageCautions(made->commands);
        return made.release();
    }();
    return loaded;
}

Interruption::Interruption(std::shared_ptr<StopRequest> stop, bool isMainThread) : stop_(std::move(stop)) {
    if (!isMainThread) return;
    ::sigaction(SIGINT, nullptr, &before_);
    hasHandler_ = before_.sa_handler != SIG_IGN && before_.sa_handler != SIG_DFL;
    if (!hasHandler_) return;
    interrupted = stop_.get();
    struct sigaction action {};
    action.sa_handler = onInterrupt;
    action.sa_flags = SA_RESTART | SA_ONSTACK;  // a task's own stack may be nearly used up
    sigemptyset(&action.sa_mask);
    pythonAction = before_;
    ::sigaction(SIGINT, &action, nullptr);
}

Interruption::~Interruption() {
    if (!hasHandler_) return;
    ::sigaction(SIGINT, &before_, nullptr);
    interrupted = nullptr;
}

void Interruption::check() {
    if (PyErr_CheckSignals() != 0) throw py::error_already_set();
}

py::dtype dtypeOf(ElementType type) {
    return withElementType(type, [&]<class Element>() { return py::dtype::of<Element>(); });
}

ElementType elementTypeOf(const py::dtype& dtype) {
    if (dtype.kind() == 'i') return dtype.itemsize() == 2 ? ElementType::int16 : ElementType::int32;
    return dtype.itemsize() == 4 ? ElementType::float32 : ElementType::float64;
}

ElementType elementTypeFrom(const std::string& name) {
    if (const auto type = elementTypeNamed(name)) return *type;
    throw Problem(libzepl::quoted(name) + " is no element type", "int16, int32, float and double are");
}

py::array arrayOn(std::span<const std::byte> bytes, ElementType type, std::size_t channels, const py::object& owner) {
    const auto count = static_cast<py::ssize_t>(bytes.size() / widthOf(type) / channels);
    std::vector<py::ssize_t> shape{count};
    if (channels > 1) shape.push_back(static_cast<py::ssize_t>(channels));
    if (count == 0) return py::array(dtypeOf(type), shape);
    return py::array(dtypeOf(type), shape, bytes.data(), owner);
}

MemorySamples samplesOf(const py::array& array) {
    MemorySamples samples{.type = elementTypeOf(array.dtype()), .elements = array.data()};
    samples.frames = static_cast<std::uint64_t>(array.shape(0));
    samples.frameStep = array.strides(0) / array.itemsize();
    if (array.ndim() == 2) {
        samples.channels = static_cast<int>(array.shape(1));
        samples.channelStep = array.strides(1) / array.itemsize();
    }
    return samples;
}

Number numberOf(const py::handle& value) {
    Number number;
    number.real = PyFloat_AsDouble(value.ptr());
    if (PyErr_Occurred() != nullptr) throw py::error_already_set();
    if (!PyLong_Check(value.ptr())) return number;
    int overflow = 0;
    number.integer = PyLong_AsLongLongAndOverflow(value.ptr(), &overflow);
    number.isInteger = overflow == 0;
    return number;
}

std::string inPython(const std::string& text) {
    if (text.find("--") == std::string::npos) return text;
    static const std::pair<std::regex, const char*> changes[] = {
        {std::regex("--feed (whole|lockstep|random:[0-9]+)"), "feed=\"$1\""},
        {std::regex("--in ([A-Za-z_])"), "inputs $1"},
        {std::regex("--(set|out) ([A-Za-z_])"), "$1 $2"},
        {std::regex("--(memory|feed|block|patience|rate|pace)\\b"), "$1="},
    };
    std::string changed = text;
    for (const auto& [option, name] : changes) changed = std::regex_replace(changed, option, name);
    return changed;
}

py::list listOf(const std::vector<Diagnostic>& diagnostics) {
    static constexpr const char* severities[] = {"error", "warning", "caution", "arrival"};
    py::list list;
    for (const Diagnostic& each : diagnostics)
        list.append(py::make_tuple(severities[static_cast<std::size_t>(each.severity)], each.place.line,
                                   each.place.column, each.place.length, each.message, each.remedy));
    return list;
}

}  // namespace python

PYBIND11_MODULE(_zepl, module) {
    using namespace python;
    module.doc() = "What the package zepl is made on.";
    py::register_exception_translator([](std::exception_ptr thrown) {
        try {
            if (thrown) std::rethrow_exception(thrown);
        } catch (const Problem& problem) {
            const py::object error = py::module_::import("zepl._errors").attr("Error");
            PyErr_SetObject(error.ptr(), py::make_tuple(inPython(problem.what()), inPython(problem.remedy())).ptr());
        }
    });
    module.def("commands_from", commandsFrom);
    module.def("load", load);
    module.def("load_console", capturedText);
    module.def("words", [] { return library().commands.words(); });
    defineRuns(module);
    defineCalls(module);
    defineLive(module);
}
