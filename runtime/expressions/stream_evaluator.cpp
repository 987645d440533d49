#include "runtime/expressions/stream_evaluator.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace libzepl {

namespace {

using Kind = StreamOperand::Kind;

constexpr std::size_t blockDoubles = maxBlockSamples;

// Lines and blocks begin where a line of the cache does.
std::size_t roundedUp(std::size_t doubles) { return (doubles + 7) / 8 * 8; }

}  // namespace

StreamEvaluator::StreamEvaluator(StreamProgram program, std::vector<ElementType> types,
                                 const std::vector<std::vector<double>>& pasts)
    : program_(std::move(program)), types_(std::move(types)), pasts_(pasts), lines_(types_.size()) {
    const auto reserve = [&](std::size_t doubles) {
        return std::exchange(areaDoubles_, areaDoubles_ + roundedUp(doubles));
    };
    reserve(program_.scalars.size());
    reserve(program_.samples);
    reserve((program_.blocks + 1) * blockDoubles);
    for (std::size_t i = 0; i < lines_.size(); ++i) {
        Line& line = lines_[i];
        line.reach = program_.uses[i].mostPast;
        line.size = line.reach + std::max(line.reach, blockDoubles);
        line.start = reserve(line.reach > 0                                               ? line.size
                             : i + 1 < lines_.size() && types_[i] != ElementType::float64 ? blockDoubles
                                                                                          : 0);
    }
    current_.resize(lines_.size());
    steps_.reserve(std::max({program_.scalarSteps.size(), program_.blockSteps.size(), program_.sampleSteps.size()}));
    terms_.reserve(program_.sum.size());
}

void StreamEvaluator::useArea(void* area) {
    area_ = static_cast<double*>(area);
    scalars_ = area_;
    std::copy(program_.scalars.begin(), program_.scalars.end(), scalars_);
    samples_ = scalars_ + roundedUp(program_.scalars.size());
    blocks_ = samples_ + roundedUp(program_.samples);
    unstored_ = blocks_ + program_.blocks * blockDoubles;
    for (std::size_t i = 0; i < lines_.size(); ++i) {
        Line& line = lines_[i];
        line.samples = area_ + line.start;
        line.at = line.end = line.reach;
        const std::size_t given = std::min(pasts_[i].size(), line.reach);
        std::copy(pasts_[i].end() - static_cast<std::ptrdiff_t>(given), pasts_[i].end(),
                  line.samples + (line.reach - given));
    }
}

void StreamEvaluator::take(std::size_t stream, const void* elements, std::int32_t n) {
    Line& line = lines_[stream];
    if (line.reach == 0 && types_[stream] == ElementType::float64) {
        current_[stream] = static_cast<const double*>(elements);
        return;
    }
    double* to = line.samples + line.end;
    widenElements(types_[stream], elements, to, n);
    if (line.reach == 0)
        current_[stream] = to;
    else
        line.end += static_cast<std::size_t>(n);
}

// Moves the samples that are kept to the start when the next block may have no room after them.
void StreamEvaluator::advance(Line& line, std::size_t n) {
    line.at += n;
    if (line.at + blockDoubles <= line.size) return;
    const std::size_t first = line.at - line.reach;
    std::memmove(line.samples, line.samples + first, (std::max(line.end, line.at) - first) * sizeof(double));
    line.at -= first;
    line.end -= first;
}

const double* StreamEvaluator::addressOf(const StreamOperand& operand) const {
    switch (operand.kind) {
        case Kind::scalar:
            return scalars_ + operand.index;
        case Kind::block:
            return blocks_ + operand.index * blockDoubles;
        case Kind::sample:
            return samples_ + operand.index;
        case Kind::result:
            return result_;
        default:
            break;
    }
    const Line& line = lines_[operand.index];
    return line.reach == 0 ? current_[operand.index] : line.samples + line.at - operand.past;
}

BlockStep StreamEvaluator::bound(const StreamStep& step) const {
    BlockStep made;
    made.code = step.code;
    for (std::size_t i = 0; i < step.operands.size(); ++i) {
        const Kind kind = step.operands[i].kind;
        made.operands[i] = addressOf(step.operands[i]);
        made.strides[i] = kind == Kind::block || kind == Kind::stream ? 1 : 0;
    }
    made.result = const_cast<double*>(addressOf(step.result));
    made.resultStride = step.result.kind == Kind::result ? 1 : 0;
    return made;
}

void StreamEvaluator::runEach(const std::vector<StreamStep>& steps,
                              void (*run)(const BlockStep*, std::size_t, std::int32_t), std::int32_t n) {
    if (steps.empty()) return;
    steps_.clear();
    for (const StreamStep& step : steps) steps_.push_back(bound(step));
    run(steps_.data(), steps_.size(), n);
}

void StreamEvaluator::runSum(std::int32_t n) {
    terms_.clear();
    std::size_t previous = program_.sum.size();
    for (const StreamTerm& term : program_.sum) {
        const bool isPrevious =
            term.elements.kind == Kind::stream && term.elements.index + 1 == lines_.size() && term.elements.past == 1;
        if (isPrevious) previous = terms_.size();
        const double factor = term.factor ? scalars_[*term.factor] : 1;
        terms_.push_back({term.isNegated ? -factor : factor, addressOf(term.elements)});
    }
    runSums(terms_.data(), terms_.size(), previous, result_, n);
}

std::int32_t StreamEvaluator::compute(std::int32_t n, void* to) {
    Line& own = lines_.back();
    const bool isDouble = types_.back() == ElementType::float64;
    result_ = own.reach > 0 ? own.samples + own.at : isDouble ? static_cast<double*>(to) : unstored_;
    runEach(program_.scalarSteps, runBlockSteps, 1);
    runEach(program_.blockSteps, runBlockSteps, n);
    runEach(program_.sampleSteps, runSampleSteps, n);
    if (!program_.sum.empty()) runSum(n);
    const std::int32_t stored = result_ == to ? n : storeElements(types_.back(), result_, to, n);
    own.end = own.at + static_cast<std::size_t>(n);
    for (Line& line : lines_)
        if (line.reach > 0) advance(line, static_cast<std::size_t>(n));
    return stored;
}

}  // namespace libzepl
