// Runs the program of a stream expression, a block at a time.
#pragma once

#include <cstddef>
#include <vector>

#include "runtime/expressions/stream_program.h"

namespace libzepl {

class StreamEvaluator {
 public:
    // `types` are the elements' of each stream of the program, the defined pipe's last. `pasts` has for each the samples before
    // its first, the latest last; those before are 0.
    StreamEvaluator(StreamProgram program, std::vector<ElementType> types,
                    const std::vector<std::vector<double>>& pasts);

    // The memory that it works in, zeroed, which must last as long as it is used.
    std::size_t areaBytes() const { return areaDoubles_ * sizeof(double); }
    void useArea(void* area);

    const StreamProgram& program() const { return program_; }
    // Samples that can be computed at once.
    std::int32_t mostSamples() const { return program_.mostSamples; }

    void setVariable(std::size_t variable, double value) { scalars_[program_.variables[variable]] = value; }
    // The next `n` elements of a stream. Of one without past samples there must be as many as are computed next, and they
    // must stay until then; of the others up to the one that is needed last.
    void take(std::size_t stream, const void* elements, std::int32_t n);
    // Computes the next `n` samples and stores them at `to`. Returns how many were stored: less where the type does not hold
    // a NaN, and nothing further can be computed.
    std::int32_t compute(std::int32_t n, void* to);

 private:
    // The last samples of a stream, in double. `at` is where the next sample that is computed is in time.
    struct Line {
        std::size_t reach = 0;  // samples before `at` that are kept; 0 where there is no line
        std::size_t size = 0;
        std::size_t start = 0;  // in the area
        double* samples = nullptr;
        std::size_t at = 0;
        std::size_t end = 0;  // after the last that was taken
    };
    void advance(Line& line, std::size_t n);
    const double* addressOf(const StreamOperand& operand) const;
    BlockStep bound(const StreamStep& step) const;
    void runEach(const std::vector<StreamStep>& steps, void (*run)(const BlockStep*, std::size_t, std::int32_t),
                 std::int32_t n);
    void runSum(std::int32_t n);

    StreamProgram program_;
    std::vector<ElementType> types_;
    std::vector<std::vector<double>> pasts_;
    std::vector<Line> lines_;
    std::vector<std::size_t> widened_;    // of each stream without past: where its samples go, in the area
    std::vector<const double*> current_;  // and where they are
    std::size_t areaDoubles_ = 0;
    double* scalars_ = nullptr;
    double* blocks_ = nullptr;
    double* samples_ = nullptr;
    double* area_ = nullptr;
    double* unstored_ = nullptr;  // a block for results of other types
    double* result_ = nullptr;
    std::vector<BlockStep> steps_;
    std::vector<SumTerm> terms_;
};

}  // namespace libzepl
