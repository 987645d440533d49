#include "runtime/engine/task.h"

namespace libzepl {

void storeCell(Cell& cell, ElementType type, const void* value) {
    std::memset(cell.bytes, 0, sizeof cell.bytes);
    withElementType(type, [&]<class Element>() {
        Element element;
        std::memcpy(&element, value, sizeof element);
        if constexpr (std::is_integral_v<Element>) {
            const std::int64_t wide = element;
            std::memcpy(cell.bytes, &wide, sizeof wide);
        } else {
            std::memcpy(cell.bytes, &element, sizeof element);
        }
    });
}

void Task::end(TaskReport::State endState, std::string_view text, std::string_view remedy) noexcept {
    state = TaskState::ended;
    outcome.state = endState;
    outcome.text.assign(text.substr(0, outcome.text.capacity()));
    outcome.remedy.assign(remedy.substr(0, outcome.remedy.capacity()));
}

void Task::releaseMemory() {
    arena.clear();
    releaseStack();
}

void Task::releaseStack() {
    releaseContext(context);
    stack = Stack();
}

void Task::reserveTexts() {
    constexpr std::size_t maxText = 160;
    outcome.text.reserve(maxText);
    outcome.remedy.reserve(maxText);
}

}  // namespace libzepl
