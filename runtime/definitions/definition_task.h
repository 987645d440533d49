// The task of a pipe that an expression defines.
#pragma once

#include <string>
#include <vector>

#include "runtime/engine/engine.h"
#include "runtime/expressions/stream_evaluator.h"

namespace libzepl {

// Takes a sample of each of its pipes for each that it writes, in blocks as long as there is input and room. Of a pipe that
// belongs to a loop through the defined one it takes past samples as soon as these are there: else the loop had no first one.
class DefinitionTask : public TaskRoutine {
 public:
    // `streams` are the pipes that it reads, in the order of the evaluator's; `variables` likewise.
    DefinitionTask(std::string name, StreamEvaluator evaluator, Task& task, Pipe& defined,
                   const std::vector<Pipe*>& streams, std::vector<const Variable*> variables);

    std::uint32_t run(Engine& e, Task& task) override;

 private:
    struct Input {
        PipePort* port = nullptr;
        std::uint64_t behind = 0;  // samples that were computed and of which it has not taken its own
    };
    std::uint64_t mayBeBehind(const Task& task, std::size_t input) const;
    std::uint64_t ready(const Task& task) const;
    void awaitInput(Engine& e, const Task& task);
    std::uint64_t contiguous(const Task& task, std::uint64_t n) const;
    void readVariables();
    void computeBlock(Engine& e, Task& task, std::uint64_t n, bool isRead);
    std::int32_t evaluate(const Task& task, std::uint64_t n, void* to);
    std::int32_t toTake(const Task& task, std::size_t input, std::uint64_t n) const;
    [[noreturn]] void refuseNaN(Engine& e);

    StreamEvaluator evaluator_;
    PipePort* output_ = nullptr;
    std::vector<Input> inputs_;
    void* unread_ = nullptr;  // where results go that nobody reads
};

}  // namespace libzepl
