#include "runtime/engine/graph.h"

#include <algorithm>

namespace libzepl {

Graph::Graph(Graph& whole)
    : ownMemory(0), memory(whole.memory), pipeHandles(whole.pipeHandles), triggerHandles(whole.triggerHandles) {
    for (Vector& vector : whole.vectors) vectors.refer(vector);
}

Task* Graph::findTask(std::uint32_t number) {
    const auto isBefore = [](const Task& task, std::uint32_t wanted) { return task.number < wanted; };
    const auto found = std::lower_bound(tasks.begin(), tasks.end(), number, isBefore);
    return found == tasks.end() || found->number != number ? nullptr : &*found;
}

std::optional<std::uint64_t> Graph::expectedElements() const {
    std::uint64_t expected = 0;
    for (const PipeInput& input : pipeInputs) {
        if (!input.length) return std::nullopt;
        expected += *input.length;
    }
    return expected;
}

bool Graph::pipeInputsEnded() const {
    return std::all_of(pipeInputs.begin(), pipeInputs.end(), [](const PipeInput& input) { return input.ended; });
}

bool Graph::inputsEnded() const {
    return pipeInputsEnded() && std::all_of(triggerInputs.begin(), triggerInputs.end(),
                                            [](const TriggerInput& input) { return input.ended(); });
}

}  // namespace libzepl
