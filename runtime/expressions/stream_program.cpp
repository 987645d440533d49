#include "runtime/expressions/stream_program.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace libzepl {

namespace {

using Form = Expression::Form;
using Operation = Expression::Operation;
using Kind = StreamOperand::Kind;

// An own past that reaches further is taken in blocks that are as long at most.
constexpr std::uint32_t longestPastOfSamples = 31;

BlockCode codeOf(Operation operation) {
    constexpr std::array<BlockCode, 12> codes{BlockCode::add,          BlockCode::subtract,  BlockCode::multiply,
                                              BlockCode::divide,       BlockCode::remainder, BlockCode::power,
                                              BlockCode::less,         BlockCode::lessEqual, BlockCode::greater,
                                              BlockCode::greaterEqual, BlockCode::equal,     BlockCode::unequal};
    return codes[static_cast<std::size_t>(operation)];
}

BlockCode codeOf(const Function& function) {
    if (function.kind == Function::Kind::choice) return BlockCode::choose;
    constexpr std::array<std::pair<std::string_view, BlockCode>, 15> codes{{{"abs", BlockCode::absolute},
                                                                            {"sqrt", BlockCode::root},
                                                                            {"exp", BlockCode::exp},
                                                                            {"log", BlockCode::log},
                                                                            {"log10", BlockCode::log10},
                                                                            {"sin", BlockCode::sin},
                                                                            {"cos", BlockCode::cos},
                                                                            {"tan", BlockCode::tan},
                                                                            {"atan2", BlockCode::atan2},
                                                                            {"min", BlockCode::minimum},
                                                                            {"max", BlockCode::maximum},
                                                                            {"floor", BlockCode::floor},
                                                                            {"ceil", BlockCode::ceil},
                                                                            {"round", BlockCode::round},
                                                                            {"trunc", BlockCode::trunc}}};
    return std::find_if(codes.begin(), codes.end(), [&](const auto& row) { return row.first == function.name; })
        ->second;
}

bool isSum(const Expression& tree) {
    return tree.form == Form::arithmetic && (tree.operation == Operation::add || tree.operation == Operation::subtract);
}

class StreamCompiler {
 public:
    explicit StreamCompiler(const StreamNames& names) : names_(names) {
        program_.uses.resize(names.streams.size());
        for (std::size_t i = 0; i < names.variables.size(); ++i) {
            program_.variables.push_back(static_cast<std::uint32_t>(i));
            program_.scalars.push_back(0);
        }
    }

    StreamProgram compile(const Expression& tree) {
        noteUses(tree);
        const StreamUse& own = program_.uses.back();
        const bool hasPast = own.mostPast > 0;
        goesBySamples_ = hasPast && own.leastPast <= longestPastOfSamples;
        if (hasPast && !goesBySamples_)
            program_.mostSamples =
                static_cast<std::int32_t>(std::min(own.leastPast, static_cast<std::uint32_t>(maxBlockSamples)));
        if (!goesBySamples_ || !takeSum(tree)) takeResult(tree);
        return std::move(program_);
    }

 private:
    // When an operand has its value.
    enum class Rank { scalar, block, sample };
    struct Value {
        StreamOperand operand;
        Rank rank = Rank::scalar;
    };

    void noteUses(const Expression& tree) {
        if (const auto stream = streamOf(tree)) {
            StreamUse& use = program_.uses[stream->index];
            use.leastPast = std::min(use.leastPast, stream->past);
            use.mostPast = std::max(use.mostPast, stream->past);
            return;
        }
        for (const Expression& operand : tree.operands) noteUses(operand);
    }

    std::optional<StreamOperand> streamOf(const Expression& tree) const {
        if (tree.form != Form::name && tree.form != Form::index) return std::nullopt;
        const auto found = std::find(names_.streams.begin(), names_.streams.end(), tree.name);
        if (found == names_.streams.end()) return std::nullopt;
        const std::int64_t past = tree.form == Form::index ? -tree.operands[0].number.integer : 0;
        return StreamOperand{Kind::stream, static_cast<std::uint32_t>(found - names_.streams.begin()),
                             static_cast<std::uint32_t>(past)};
    }

    bool isOwn(const StreamOperand& operand) const {
        return operand.kind == Kind::stream && operand.index + 1 == names_.streams.size();
    }

    bool takesOwn(const Expression& tree) const {
        if (const auto stream = streamOf(tree)) return isOwn(*stream);
        return std::any_of(tree.operands.begin(), tree.operands.end(),
                           [&](const Expression& operand) { return takesOwn(operand); });
    }

    Value valueOf(const Expression& tree) {
        if (const auto stream = streamOf(tree))
            return {*stream, isOwn(*stream) && goesBySamples_ ? Rank::sample : Rank::block};
        switch (tree.form) {
            case Form::number:
                return scalar(tree.number.real);
            case Form::name: {
                const auto found = std::find(names_.variables.begin(), names_.variables.end(), tree.name);
                return {{Kind::scalar, static_cast<std::uint32_t>(found - names_.variables.begin())}, Rank::scalar};
            }
            case Form::sign:
                if (tree.operation == Operation::add) return valueOf(tree.operands[0]);
                return step(BlockCode::negate, {valueOf(tree.operands[0])});
            case Form::arithmetic:
                return arithmetic(tree);
            default:
                return call(tree);
        }
    }

    Value arithmetic(const Expression& tree) {
        const Expression& exponent = tree.operands[1];
        const Value first = valueOf(tree.operands[0]);
        if (tree.operation == Operation::power && exponent.form == Form::number) {
            if (exponent.number.real == 2) return step(BlockCode::square, {first});
            if (exponent.number.real == 3) return step(BlockCode::cube, {first});
        }
        return step(codeOf(tree.operation), {first, valueOf(exponent)});
    }

    // `min` and `max` of many are those of two, from the left.
    Value call(const Expression& tree) {
        const BlockCode code = codeOf(*tree.function);
        const bool folds = code == BlockCode::minimum || code == BlockCode::maximum;
        Value value = valueOf(tree.operands[0]);
        if (tree.operands.size() == 1) return step(code, {value});
        if (!folds) {
            std::vector<Value> operands{value};
            for (std::size_t i = 1; i < tree.operands.size(); ++i) operands.push_back(valueOf(tree.operands[i]));
            return step(code, operands);
        }
        for (std::size_t i = 1; i < tree.operands.size(); ++i) value = step(code, {value, valueOf(tree.operands[i])});
        return value;
    }

    Value scalar(double value) {
        program_.scalars.push_back(value);
        return {{Kind::scalar, static_cast<std::uint32_t>(program_.scalars.size() - 1)}, Rank::scalar};
    }

    // The last step, where that is one of blocks by which `value` was made: each is used once.
    StreamStep* lastMaking(const Value& value) {
        const bool isLast = value.operand.kind == Kind::block && !program_.blockSteps.empty() &&
                            program_.blockSteps.back().result.index == value.operand.index;
        return isLast ? &program_.blockSteps.back() : nullptr;
    }

    // Makes the last step, where that is a product, add to it as well, in one pass. Its register is none of its operands'.
    std::optional<Value> joinedToProduct(bool isSum, const std::vector<Value>& operands) {
        for (const std::size_t product : {std::size_t{0}, std::size_t{1}}) {
            StreamStep* last = lastMaking(operands[product]);
            const Value& other = operands[1 - product];
            if (last == nullptr || last->code != BlockCode::multiply || other.rank == Rank::sample) continue;
            last->code = product == 0 ? (isSum ? BlockCode::multiplyAdd : BlockCode::multiplySubtract)
                                      : (isSum ? BlockCode::addProduct : BlockCode::subtractProduct);
            last->operands.push_back(other.operand);
            if (other.operand.kind == Kind::block) free_.push_back(other.operand.index);
            return operands[product];
        }
        return std::nullopt;
    }

    // Makes the last step, where that is a comparison with a single value, choose one of two by it.
    std::optional<Value> joinedToComparison(const std::vector<Value>& operands) {
        StreamStep* last = lastMaking(operands[0]);
        const bool compares = last != nullptr && last->code >= BlockCode::less && last->code <= BlockCode::unequal &&
                              last->operands[0].kind != Kind::scalar && last->operands[1].kind == Kind::scalar;
        if (!compares || operands[1].rank != Rank::scalar || operands[2].rank != Rank::scalar) return std::nullopt;
        last->code = static_cast<BlockCode>(static_cast<int>(BlockCode::chooseByLess) + static_cast<int>(last->code) -
                                            static_cast<int>(BlockCode::less));
        last->operands.push_back(operands[1].operand);
        last->operands.push_back(operands[2].operand);
        return operands[0];
    }

    std::optional<Value> joined(BlockCode code, const std::vector<Value>& operands) {
        if (code == BlockCode::add || code == BlockCode::subtract)
            return joinedToProduct(code == BlockCode::add, operands);
        return code == BlockCode::choose ? joinedToComparison(operands) : std::nullopt;
    }

    // The result's register is taken before those of the operands are free, so that they don't overlap.
    Value step(BlockCode code, const std::vector<Value>& operands) {
        if (const auto value = joined(code, operands)) return *value;
        Value result;
        for (const Value& operand : operands) result.rank = std::max(result.rank, operand.rank);
        StreamStep made{code, {}, {}};
        for (const Value& operand : operands) made.operands.push_back(operand.operand);
        if (result.rank == Rank::scalar)
            result = scalar(0);
        else if (result.rank == Rank::block)
            result.operand = takeBlock();
        else
            result.operand = {Kind::sample, program_.samples++};
        if (result.rank == Rank::block)
            for (const Value& operand : operands)
                if (operand.operand.kind == Kind::block) free_.push_back(operand.operand.index);
        made.result = result.operand;
        stepsOf(result.rank).push_back(std::move(made));
        return result;
    }

    std::vector<StreamStep>& stepsOf(Rank rank) {
        return rank == Rank::scalar  ? program_.scalarSteps
               : rank == Rank::block ? program_.blockSteps
                                     : program_.sampleSteps;
    }

    StreamOperand takeBlock() {
        if (free_.empty()) return {Kind::block, program_.blocks++};
        const std::uint32_t index = free_.back();
        free_.pop_back();
        return {Kind::block, index};
    }

    void takeResult(const Expression& tree) {
        const Value value = valueOf(tree);
        std::vector<StreamStep>& steps = stepsOf(std::max(value.rank, Rank::block));
        if (value.operand.kind != Kind::block && value.operand.kind != Kind::sample)
            steps.push_back({BlockCode::copy, {value.operand}, {}});
        steps.back().result = {Kind::result};
    }

    // The program as a sum, where the tree is one whose terms are own past samples, products of these and scalars, and what
    // is known for whole blocks.
    bool takeSum(const Expression& tree) {
        std::vector<const Expression*> terms;
        const Expression* rest = &tree;
        for (; isSum(*rest) && takesOwn(*rest); rest = &rest->operands[0]) terms.push_back(rest);
        if (terms.empty() || terms.size() >= maxSumTerms) return false;
        if (!isTerm(*rest)) return false;
        for (const Expression* each : terms)
            if (!isTerm(each->operands[1])) return false;
        addTerm(*rest, false);
        for (auto each = terms.rbegin(); each != terms.rend(); ++each)
            addTerm((*each)->operands[1], (*each)->operation == Operation::subtract);
        return true;
    }

    bool isTerm(const Expression& tree) const {
        if (!takesOwn(tree) || streamOf(tree)) return true;
        return tree.form == Form::arithmetic && tree.operation == Operation::multiply &&
               ((isScalar(tree.operands[0]) && streamOf(tree.operands[1])) ||
                (isScalar(tree.operands[1]) && streamOf(tree.operands[0])));
    }

    bool isScalar(const Expression& tree) const {
        return !streamOf(tree) && std::all_of(tree.operands.begin(), tree.operands.end(),
                                              [&](const Expression& operand) { return isScalar(operand); });
    }

    void addTerm(const Expression& tree, bool isNegated) {
        StreamTerm term;
        term.isNegated = isNegated;
        if (!takesOwn(tree) || streamOf(tree)) {
            Value value = valueOf(tree);
            if (value.rank == Rank::scalar) {
                program_.blockSteps.push_back({BlockCode::copy, {value.operand}, takeBlock()});
                value.operand = program_.blockSteps.back().result;
            }
            term.elements = value.operand;
        } else {
            const bool isFirstScalar = isScalar(tree.operands[0]);
            term.factor = valueOf(tree.operands[isFirstScalar ? 0 : 1]).operand.index;
            term.elements = *streamOf(tree.operands[isFirstScalar ? 1 : 0]);
        }
        program_.sum.push_back(term);
    }

    const StreamNames& names_;
    StreamProgram program_;
    std::vector<std::uint32_t> free_;  // block registers
    bool goesBySamples_ = false;
};

}  // namespace

StreamProgram compileStream(const Expression& tree, const StreamNames& names) {
    return StreamCompiler(names).compile(tree);
}

}  // namespace libzepl
