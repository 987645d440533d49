// RANDOM generates evenly distributed pseudo-random numbers: the combination of two multiplicative congruential generators
// (P. L'Ecuyer, Efficient and portable combined random number generators, Communications of the ACM 31, 1988). A seed other
// than 0 gives the same sequence on every machine.

#include "frame/element_type.h"
#include "frame/exact.h"
#include "frame/values.h"
#include "frame/vector_clones.h"
#include "host/parameters.h"
#include "host/pbufs.h"
#include "host/pipes.h"
#include "host/system_info.h"
#include "host/tasks.h"
#include "module/commands.h"

namespace zcmds {

const char* const randomSignature =
    "( const storage  int16   disttype ,   const storage  (int16|int32)   seed ,   "
    "out   pipe     (int16|int32|float|double)  dest ) ";

namespace {

// state * multiplier modulo modulus, in signed 32 bits: quotient and remainder are those of modulus / multiplier.
struct Generator {
    std::int32_t multiplier, quotient, modulus;

    constexpr std::int32_t next(std::int32_t state) const {
        const std::int32_t k = state / quotient;
        const std::int32_t s = wrappingDifference(wrappingProduct(multiplier, state), wrappingProduct(k, modulus));
        return s < 0 ? s + modulus : s;
    }

    // A state past the modulus is made negative, which the first step mends.
    constexpr std::int32_t scrambled(std::int32_t state) const {
        return state < modulus ? state : wrap<std::int32_t>(static_cast<std::uint32_t>(state) ^ 0xAACC9933u);
    }
};

constexpr Generator first{.multiplier = 40014, .quotient = 53668, .modulus = 2147483563};
constexpr Generator second{.multiplier = 40692, .quotient = 52774, .modulus = 2147483399};
constexpr std::int32_t combinationModulus = 2147483562;

struct RandomState {
    std::int32_t state1, state2;
};

constexpr RandomState following(RandomState state) { return {first.next(state.state1), second.next(state.state2)}; }

// A seed of 0 makes one of the task and the time.
std::int32_t startOf(std::int32_t seed) {
    if (seed != 0) return seed;
    return wrap<std::int32_t>(zepl::sys_get_task_ID() * 371293u + zepl::sys_get_time());
}

RandomState seeded(std::int32_t start) {
    const std::int32_t state1 = first.next(first.scrambled(start & 0x7FFFFFFF));
    const std::int32_t state2 = second.next(second.scrambled(state1));
    return following({state1, state2});
}

// The value of a state: a number from 1 to combinationModulus, or its top 15 bits, or its part of the whole.
template <class Element>
constexpr Element valueOf(RandomState state) {
    const std::int32_t difference = state.state1 - state.state2;
    const std::int32_t z = difference < 1 ? difference + combinationModulus : difference;
    if constexpr (std::is_same_v<Element, std::int16_t>) return static_cast<std::int16_t>(z >> 16);
    if constexpr (std::is_same_v<Element, std::int32_t>) return z;
    return static_cast<Element>(z / static_cast<double>(combinationModulus));
}

// Blocks are filled many values at a time: each of the lanes holds every so-many-th state of a generator.
constexpr std::int32_t laneCount = 16;

// The step of a lane: `laneCount` steps of the generator at once, which multiply by a power of its multiplier.
struct LaneStep {
    std::uint32_t modulus, multiplier;
    std::uint32_t reciprocal;  // 2^32 * multiplier / modulus, below

    explicit constexpr LaneStep(const Generator& generator)
        : modulus(static_cast<std::uint32_t>(generator.modulus)), multiplier(1), reciprocal(0) {
        for (std::int32_t i = 0; i < laneCount; ++i)
            multiplier = static_cast<std::uint32_t>(std::uint64_t{multiplier} *
                                                    static_cast<std::uint32_t>(generator.multiplier) % modulus);
        reciprocal = static_cast<std::uint32_t>((std::uint64_t{multiplier} << 32) / modulus);
    }

    // The quotient that the reciprocal gives is the true one or one less, so the remainder is below twice the modulus.
    constexpr std::uint32_t next(std::uint32_t state) const {
        const auto quotient = static_cast<std::uint32_t>(std::uint64_t{state} * reciprocal >> 32);
        const std::uint32_t remainder = multiplier * state - quotient * modulus;
        return remainder < modulus ? remainder : remainder - modulus;
    }
};

constexpr LaneStep firstLanes(first), secondLanes(second);

// Fills `n` elements, a multiple of the lanes.
template <class Element>
ZCMDS_VECTOR_CLONES void fillByLanes(Element* elements, std::int32_t n, RandomState& state) {
    std::uint32_t states1[laneCount], states2[laneCount];
    for (std::int32_t i = 0; i < laneCount; ++i) {
        states1[i] = static_cast<std::uint32_t>(state.state1);
        states2[i] = static_cast<std::uint32_t>(state.state2);
        state = following(state);
    }
    for (std::int32_t at = 0; at < n; at += laneCount) {
        for (std::int32_t i = 0; i < laneCount; ++i) {
            const auto state1 = static_cast<std::int32_t>(states1[i]), state2 = static_cast<std::int32_t>(states2[i]);
            elements[at + i] = valueOf<Element>({state1, state2});
            states1[i] = firstLanes.next(states1[i]);
            states2[i] = secondLanes.next(states2[i]);
        }
    }
    state = {static_cast<std::int32_t>(states1[0]), static_cast<std::int32_t>(states2[0])};
}

// `state` is that of the next value.
template <class Element>
void fill(Element* elements, std::int32_t n, RandomState& state) {
    const std::int32_t byLanes = n / laneCount * laneCount;
    fillByLanes(elements, byLanes, state);
    for (std::int32_t i = byLanes; i < n; ++i) {
        elements[i] = valueOf<Element>(state);
        state = following(state);
    }
}

template <class Element>
[[noreturn]] void generate(PbufHandle pbuf, Element* elements, RandomState state) {
    for (;;) {
        const std::int32_t n = zepl::pbuf_get_max_cnt(pbuf);
        fill(elements, n, state);
        zepl::pbuf_put_set_cnt(pbuf, n);
        zepl::task_switch();
    }
}

}  // namespace

std::uint32_t random(ParamList list) {
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 3, 3, constantInt16, constantInteger, anyPipe);
    // 0, evenly distributed, is the only distribution.
    if (*valueIn<std::uint16_t>(params[1]) != 0) zepl::param_error_msg(ParamError::unknownWord, 1);
    const std::int32_t seed = integerIn(params[2], zepl::param_type(list, 2));
    const auto dest = handleIn<PipeHandle>(params[3]);
    zepl::pipe_open(dest, zepl::OpenMode::write);
    const PbufHandle pbuf = zepl::pbuf_open(dest, static_cast<std::int32_t>(zepl::sys_get_info(SysInfo::defaultBlock)));
    void* data = zepl::pbuf_get_data_ptr(pbuf);
    const RandomState state = following(seeded(startOf(seed)));
    return forElementType(zepl::param_type(list, 3), [&]<class Element>() -> std::uint32_t {
        generate(pbuf, static_cast<Element*>(data), state);
    });
}

}  // namespace zcmds
