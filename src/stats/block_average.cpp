#include "stats/block_average.h"

#include <algorithm>

#include "frame/exact.h"
#include "frame/vector_clones.h"
#include "host/pbufs.h"

namespace zcmds {

namespace {

// The position of the next element in its group.
struct GroupPosition {
    std::uint32_t block = 0;
    std::uint32_t element = 0;  // of the block
};

template <class Accumulator, class Element>
void copyElements(Accumulator* sums, const Element* from, std::uint32_t n) {
    for (std::uint32_t i = 0; i < n; ++i) sums[i] = from[i];
}

template <class Accumulator, class Element>
void addElements(Accumulator* sums, const Element* from, std::uint32_t n) {
    for (std::uint32_t i = 0; i < n; ++i) sums[i] += from[i];
}

// Takes elements up to the end of the group, of `n` at most, and returns their number. The first block of a group is
// copied, so that a negative zero stays one.
template <class Accumulator, class Element>
ZCMDS_VECTOR_CLONES std::uint32_t accumulate(const BlockAveragePlan& plan, GroupPosition& position, const Element* from,
                                             std::uint32_t n) {
    auto* accumulators = static_cast<Accumulator*>(plan.accumulators);
    GroupPosition at = position;
    std::uint32_t taken = 0;
    while (taken < n && at.block < plan.reps) {
        const std::uint32_t part = std::min(n - taken, plan.blocksize - at.element);
        if (at.block == 0)
            copyElements(accumulators + at.element, from + taken, part);
        else
            addElements(accumulators + at.element, from + taken, part);
        taken += part;
        at.element += part;
        if (at.element < plan.blocksize) continue;
        at.element = 0;
        ++at.block;
    }
    position = at;
    return taken;
}

// Sums of this many blocks are still divided exactly through double.
constexpr std::uint32_t maxRepsThroughDouble = 1 << 21;

// The quotient toward zero, one further away from it where the remainder says so. With an even divisor an exact half goes
// up.
template <bool throughDouble>
std::int64_t roundedDivide(std::int64_t value, std::int32_t divisor) {
    const std::int64_t quotient = throughDouble ? divideThroughDouble(value, divisor) : value / divisor;
    const std::int64_t remainder = value - quotient * divisor;
    const int up = remainder >= (std::int64_t{divisor} + 1) >> 1 ? 1 : 0, down = remainder < -(divisor >> 1) ? 1 : 0;
    return quotient + (remainder >= 0 ? up : -down);
}

template <bool throughDouble, class Element, class Accumulator>
Element meanOf(Accumulator sum, std::int32_t reps) {
    if constexpr (std::is_same_v<Accumulator, std::int64_t>)
        return wrap<Element>(roundedDivide<throughDouble>(sum, reps));
    else if constexpr (std::is_same_v<Accumulator, std::int32_t>)
        return static_cast<Element>(divideThroughDouble(sum, reps));
    else
        return sum / static_cast<Element>(reps);
}

// The means of the accumulators from `first` on.
template <class Accumulator, class Element>
ZCMDS_VECTOR_CLONES void storeMeans(const BlockAveragePlan& plan, std::uint32_t first, std::uint32_t n, Element* to) {
    const auto* sums = static_cast<const Accumulator*>(plan.accumulators) + first;
    const auto reps = static_cast<std::int32_t>(plan.reps);
    if (plan.reps <= maxRepsThroughDouble)
        for (std::uint32_t i = 0; i < n; ++i) to[i] = meanOf<true, Element>(sums[i], reps);
    else
        for (std::uint32_t i = 0; i < n; ++i) to[i] = meanOf<false, Element>(sums[i], reps);
}

// The strategies for one element type, summed in one type of accumulator. A transfer that brings nothing leaves the group
// where it is.
template <class Element, class Accumulator>
struct BlockAverager {
    const BlockAveragePlan& plan;
    const Element* input;
    Element* output;
    GroupPosition position{};

    [[noreturn]] void run() {
        for (;;) {
            switch (plan.strategy) {
                case AverageStrategy::smallBlocks:
                    passTransfer();
                    break;
                case AverageStrategy::mediumBlocks:
                    readWholeBlocks();
                    putBlock();
                    break;
                case AverageStrategy::largeBlocks:
                    readChunks(plan.blocksize);
                    readChunks(std::uint64_t{plan.reps - 1} * plan.blocksize);
                    putChunks();
                    break;
                default:
                    readBlockByBlock();
                    putBlock();
            }
        }
    }

    std::uint32_t get() {
        const auto n = static_cast<std::uint32_t>(zepl::pbuf_get(plan.srcPbuf));
        return accumulate<Accumulator>(plan, position, input, n);
    }

    // One transfer of small blocks: the outputs of all groups that end in it leave together.
    void passTransfer() {
        const auto n = static_cast<std::uint32_t>(zepl::pbuf_get(plan.srcPbuf));
        std::uint32_t pending = 0;
        for (std::uint32_t taken = 0; taken < n;) {
            taken += accumulate<Accumulator>(plan, position, input + taken, n - taken);
            if (position.block < plan.reps) continue;
            storeMeans<Accumulator>(plan, 0, plan.blocksize, output + pending);
            pending += plan.blocksize;
            position = {};
        }
        if (pending > 0) zepl::pbuf_put_set_cnt(plan.destPbuf, static_cast<std::int32_t>(pending));
    }

    // A group, by as many whole blocks as the output's data area holds.
    void readWholeBlocks() {
        const auto max = static_cast<std::uint32_t>(zepl::pbuf_get_max_cnt(plan.destPbuf));
        const std::uint32_t perTransfer = max / plan.blocksize;
        while (position.block < plan.reps) {
            const std::uint32_t blocks = std::min(plan.reps - position.block, perTransfer);
            const auto count = static_cast<std::int32_t>(blocks * plan.blocksize);
            zepl::pbuf_set_min_cnt(plan.srcPbuf, count);
            zepl::pbuf_set_max_cnt(plan.srcPbuf, count);
            get();
        }
    }

    void readBlockByBlock() {
        while (position.block < plan.reps) get();
    }

    // So many of a group's next elements, by chunks that end with them.
    void readChunks(std::uint64_t count) {
        zepl::pbuf_set_max_cnt(plan.srcPbuf, largeTransfer);
        while (count > 0) {
            if (count < largeTransfer) zepl::pbuf_set_max_cnt(plan.srcPbuf, static_cast<std::int32_t>(count));
            count -= get();
        }
    }

    // The input lands where the means go, but the group's last block has been taken by then.
    void putBlock() {
        storeMeans<Accumulator>(plan, 0, plan.blocksize, output);
        zepl::pbuf_put_set_cnt(plan.destPbuf, static_cast<std::int32_t>(plan.blocksize));
        position = {};
    }

    void putChunks() {
        for (std::uint32_t first = 0; first < plan.blocksize;) {
            const auto max = static_cast<std::uint32_t>(zepl::pbuf_get_max_cnt(plan.destPbuf));
            const std::uint32_t n = std::min(plan.blocksize - first, max);
            zepl::pbuf_set_cnt(plan.destPbuf, static_cast<std::int32_t>(n));
            storeMeans<Accumulator>(plan, first, n, output);
            zepl::pbuf_put(plan.destPbuf);
            first += n;
        }
        position = {};
    }
};

template <class Element, class Accumulator>
[[noreturn]] void averageGroups(const BlockAveragePlan& plan) {
    BlockAverager<Element, Accumulator>{.plan = plan,
                                        .input = static_cast<const Element*>(zepl::pbuf_get_data_ptr(plan.srcPbuf)),
                                        .output = static_cast<Element*>(zepl::pbuf_get_data_ptr(plan.destPbuf))}
        .run();
}

[[noreturn]] void passThrough(const BlockAveragePlan& plan) {
    zepl::pbuf_set_data_ptr(plan.srcPbuf, zepl::pbuf_get_data_ptr(plan.destPbuf));
    for (;;) zepl::pbuf_put_set_cnt(plan.destPbuf, zepl::pbuf_get(plan.srcPbuf));
}

}  // namespace

void averageByPlan(const BlockAveragePlan& plan) {
    if (plan.strategy == AverageStrategy::passThrough) passThrough(plan);
    switch (plan.elementKind) {
        case NumberKind::int16:
            if (plan.accumulatorKind == NumberKind::int32) averageGroups<std::int16_t, std::int32_t>(plan);
            averageGroups<std::int16_t, std::int64_t>(plan);
        case NumberKind::int32:
            averageGroups<std::int32_t, std::int64_t>(plan);
        case NumberKind::float32:
            averageGroups<float, float>(plan);
        default:
            averageGroups<double, double>(plan);
    }
}

}  // namespace zcmds
