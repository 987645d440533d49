#include "runtime/engine/graph.h"

#include <algorithm>

namespace libzepl {

bool Graph::pipeInputsEnded() const {
    return std::all_of(pipeInputs.begin(), pipeInputs.end(), [](const PipeInput& input) { return input.ended; });
}

bool Graph::inputsEnded() const {
    return pipeInputsEnded() && std::all_of(triggerInputs.begin(), triggerInputs.end(),
                                            [](const TriggerInput& input) { return input.ended(); });
}

}  // namespace libzepl
