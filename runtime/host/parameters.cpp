// Parameters of tasks: the check of a list against its masks, and set-up errors.

#include "host/parameters.h"

#include <cstdarg>

#include "runtime/host/handle_lookup.h"
#include "runtime/host/parameter_texts.h"

namespace zepl {

using namespace libzepl;

namespace {

Task& taskOf(Engine& e, ParamList list) {
    Task* const task = e.graph.findTask(static_cast<std::uint32_t>(list));
    if (task == nullptr) misuse(e, "its parameter list was never given");
    return *task;
}

// Gives the mask of one position after the other, reading each from the variable arguments when it is asked for.
class MaskReader {
 public:
    explicit MaskReader(std::va_list* arguments) : arguments_(arguments) {}
    MaskReader(const MaskReader&) = delete;
    MaskReader& operator=(const MaskReader&) = delete;

    ParamMask next() {
        if (groupSize_ > 0 && groupRead_) return group_[groupNext_++ % groupSize_];
        ParamMask mask = va_arg(*arguments_, ParamMask);
        if (mask != beginRepeat) return mask;
        for (mask = va_arg(*arguments_, ParamMask); mask != endRepeat && groupSize_ < maxGroup;
             mask = va_arg(*arguments_, ParamMask))
            group_[groupSize_++] = mask;
        groupRead_ = true;
        return groupSize_ > 0 ? group_[groupNext_++] : 0;
    }

 private:
    static constexpr std::size_t maxGroup = 64;
    std::va_list* arguments_;
    ParamMask group_[maxGroup]{};
    std::size_t groupSize_ = 0, groupNext_ = 0;
    bool groupRead_ = false;
};

[[noreturn]] void refuse(Engine& e, std::int32_t position, std::string text) {
    Task& task = *e.scheduler.current;
    task.outcome.index = position;
    endCurrent(e, TaskReport::State::refused, std::move(text), task.signatureAdvice);
}

// The texts are made here, not in the operations, whose frames are left for good and must own nothing.
std::string givenText(std::int32_t actual) {
    return std::to_string(actual) + (actual == 1 ? " is given" : " are given");
}

std::string countText(std::int32_t minimum, std::int32_t maximum, std::int32_t actual) {
    const std::string most = minimum == maximum ? "" : " to " + std::to_string(maximum);
    return "takes " + std::to_string(minimum) + most + (maximum == 1 ? " parameter" : " parameters") + ", and " +
           givenText(actual);
}

// A program's own, such as a constant, has no name.
std::string parameterText(const Task& task, std::int32_t position) {
    const std::string text = "parameter " + std::to_string(position);
    if (position < 1 || static_cast<std::size_t>(position) > task.parameters.size()) return text;
    const std::string& name = task.parameters[static_cast<std::size_t>(position - 1)].name;
    return name.empty() ? text : text + ", " + libzepl::quoted(name);
}

std::string kindText(const Task& task, std::int32_t position, const Parameter& parameter, ParamMask mask) {
    return parameterText(task, position) + (parameter.name.empty() ? " is " : ", is ") + describeKind(parameter.kind) +
           ", and " + describeMask(mask) + " is wanted there";
}

std::string setUpErrorText(const Task& task, ParamError code, std::int32_t index) {
    return parameterText(task, index) + ": " + errorText(code);
}

}  // namespace

Slot* param_process(ParamList list, std::int32_t* count, std::int32_t minimum, std::int32_t maximum, ...) {
    Engine& e = running();
    Task& task = taskOf(e, list);
    const auto actual = static_cast<std::int32_t>(task.parameters.size());
    *count = actual;
    if (actual < minimum || actual > maximum)
        refuse(e, actual < minimum ? actual + 1 : maximum + 1, countText(minimum, maximum, actual));
    std::va_list arguments;
    va_start(arguments, maximum);
    MaskReader masks(&arguments);
    for (std::int32_t position = 1; position <= actual; ++position) {
        const Parameter& parameter = task.parameters[static_cast<std::size_t>(position - 1)];
        const ParamMask mask = masks.next();
        if ((parameter.kind & mask) != 0) continue;
        refuse(e, position, kindText(task, position, parameter, mask));
    }
    va_end(arguments);
    task.listChecked = true;
    return task.slots.data();
}

ParamMask param_type(ParamList list, std::int32_t index) {
    Engine& e = running();
    const Task& task = taskOf(e, list);
    const auto actual = static_cast<std::int32_t>(task.parameters.size());
    // A command that chooses its masks by a parameter's kind asks before it can know that the list is too short.
    if (index > actual && !task.listChecked)
        refuse(e, actual + 1, "takes at least " + std::to_string(index) + " parameters, and " + givenText(actual));
    if (index < 1 || index > actual)
        misuse(e, "asks for the kind of parameter " + std::to_string(index) + " of " + std::to_string(actual));
    return task.parameters[static_cast<std::size_t>(index - 1)].kind;
}

void param_error_msg(ParamError code, std::int32_t index) {
    Engine& e = running();
    Task& task = *e.scheduler.current;
    task.outcome.code = static_cast<std::uint32_t>(code);
    task.outcome.index = index;
    endCurrent(e, TaskReport::State::error, setUpErrorText(task, code, index), task.signatureAdvice);
}

}  // namespace zepl
