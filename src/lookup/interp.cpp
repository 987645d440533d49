// INTERP looks each sample up in a table of points, `abscissa` and `ordinate`, and interpolates between them on straight
// lines. Samples outside the table get its first or last ordinate.

#include <algorithm>
#include <cmath>

#include "frame/checks.h"
#include "frame/element_type.h"
#include "frame/exact.h"
#include "frame/vector_clones.h"
#include "host/memory.h"
#include "host/parameters.h"
#include "host/vectors.h"
#include "module/commands.h"

namespace zcmds {

const char* const interpSignature =
    "( in    pipe     (int16|int32|float|double) src ,   const storage  elementof(src) vector[uint16]  abscissa ,   "
    "const storage  contentof(abscissa)  ordinate ,   out   typeof(src)   dest )";

namespace {

constexpr std::int32_t interpCapacity = 256;    // elements of a block
constexpr std::int32_t pointsPerSample = 1024;  // of an int16 table, from which a copy costs more than it saves

struct InterpTable {
    std::int32_t length;         // points
    const void* abscissa;        // elements of the stream's type, expected to rise
    const void* ordinate;        // likewise, as many
    std::int32_t* wideAbscissa;  // room for a copy of an int16 abscissa in 32 bits
};

// Interpolation from (x0, y0) to (x1, y1), the multiplication before the division. The search leaves x0 < x < x1, in a table
// that does not rise as well, so no divisor is 0.
std::int16_t interpolated(std::int16_t x, std::int16_t x0, std::int16_t x1, std::int16_t y0, std::int16_t y1) {
    return wrap<std::int16_t>(y0 + wrappingProduct(y1 - y0, x - x0) / (x1 - x0));
}

// Two differences of 33 bits make a product of up to 66 bits, most often of less.
std::int32_t interpolated(std::int32_t x, std::int32_t x0, std::int32_t x1, std::int32_t y0, std::int32_t y1) {
    const std::int64_t rise = widened(y1) - y0, advance = widened(x) - x0, run = widened(x1) - x0;
    std::int64_t product;
    if (!__builtin_mul_overflow(rise, advance, &product)) return wrap<std::int32_t>(y0 + product / run);
    __extension__ using Wide = __int128;
    return wrap<std::int32_t>(y0 + static_cast<std::int64_t>(static_cast<Wide>(rise) * advance / run));
}

// The differences are of single precision; the rest is in double.
float interpolated(float x, float x0, float x1, float y0, float y1) {
    const double rise = y1 - y0, advance = x - x0, run = x1 - x0;
    return static_cast<float>(y0 + rise * advance / run);
}

double interpolated(double x, double x0, double x1, double y0, double y1) {
    return y0 + (y1 - y0) * (x - x0) / (x1 - x0);
}

// The points around a sample. Where both are the same, the ordinate there is the result.
struct Bracket {
    std::int32_t low, high;
};

// The definition of the search. In a table that does not rise it finds what a bisection finds.
template <class Element>
Bracket bracketOf(const Element* abscissa, std::int32_t length, Element x) {
    std::int32_t low = 0, high = length - 1;
    if (x >= abscissa[high]) return {high, high};
    if (x <= abscissa[0]) return {0, 0};
    for (std::int32_t mid = high / 2; mid != low; mid = (low + high) / 2) {
        if (abscissa[mid] == x) return {mid, mid};
        (abscissa[mid] < x ? low : high) = mid;
    }
    return {low, high};
}

// The same for a whole block, all samples a step at a time and without branches, so that vector registers serve. A sample
// that leaves the way of the definition is `met`: it meets its own value in the table, or it is not inside.
struct BlockBrackets {
    std::int32_t low[interpCapacity];
    std::int32_t gap[interpCapacity];  // from the low to the high point
    std::int32_t met[interpCapacity];
};

// `Key` is the element or, for int16, the wider integer: vector registers gather no less than 32 bits.
template <class Key>
ZCMDS_VECTOR_CLONES void bracketBlock(const Key* __restrict keys, std::int32_t last, const Key* __restrict x,
                                      std::int32_t n, BlockBrackets& __restrict found) {
    for (std::int32_t i = 0; i < n; ++i) {
        found.low[i] = 0;
        found.gap[i] = last;
        found.met[i] = !(x[i] > keys[0]) | !(x[i] < keys[last]);
    }
    for (std::int32_t gap = last; gap > 1; gap -= gap / 2)
        for (std::int32_t i = 0; i < n; ++i) {
            // A gap of 1 has no middle; the low point, which is below the sample, takes its place and changes nothing.
            const std::int32_t half = found.gap[i] >> 1;
            const Key key = keys[found.low[i] + half];
            const std::int32_t below = -static_cast<std::int32_t>(key < x[i]);  // all bits, or none
            found.met[i] |= key == x[i];
            found.low[i] += half & below;
            found.gap[i] = half + (found.gap[i] & 1 & below);  // the part above the middle is the larger one
        }
}

// Short blocks don't pay for a copy of a long int16 table: there the definition is quicker.
template <class Element>
void findBrackets(const InterpTable& table, const Element* x, std::int32_t n, BlockBrackets& found) {
    const auto* abscissa = static_cast<const Element*>(table.abscissa);
    if constexpr (sizeof(Element) > 2) {
        bracketBlock(abscissa, table.length - 1, x, n, found);
    } else if (table.length > n * pointsPerSample) {
        std::fill_n(found.met, n, 1);
    } else {
        std::int32_t wide[interpCapacity];
        std::copy(x, x + n, wide);
        std::copy(abscissa, abscissa + table.length, table.wideAbscissa);
        bracketBlock<std::int32_t>(table.wideAbscissa, table.length - 1, wide, n, found);
    }
}

template <class Element>
Element valueAt(const InterpTable& table, Bracket points, Element x) {
    const auto *abscissa = static_cast<const Element*>(table.abscissa),
               *ordinate = static_cast<const Element*>(table.ordinate);
    const auto [low, high] = points;
    return low == high ? ordinate[low] : interpolated(x, abscissa[low], abscissa[high], ordinate[low], ordinate[high]);
}

// Whether the table rises, and the samples move by less than a point at a time on the whole; every sixteenth move counts. A
// long table is not looked through for a few samples. With a NaN among them the sum of the moves is one too, and not slow.
template <class Element>
ZCMDS_VECTOR_CLONES bool movesSlowly(const InterpTable& table, const Element* x, std::int32_t n) {
    const auto* abscissa = static_cast<const Element*>(table.abscissa);
    const std::int32_t last = table.length - 1;
    if (last < 1 || last > 4 * n) return false;
    std::int32_t falls = 0;
    for (std::int32_t i = 0; i < last; ++i) falls += abscissa[i] < abscissa[i + 1] ? 0 : 1;
    double moves = 0;
    for (std::int32_t i = 16; i < n; i += 16)
        moves += std::fabs(static_cast<double>(x[i]) - static_cast<double>(x[i - 1]));
    const double span = static_cast<double>(abscissa[last]) - static_cast<double>(abscissa[0]);
    return falls == 0 && moves * last <= span * (n / 16);
}

// In a table that rises only one pair of points can be found for a sample, so it may be looked for from the last one on.
template <class Element>
void followBlock(const InterpTable& table, Element* x, std::int32_t n) {
    constexpr std::int32_t farthest = 8;
    const auto* abscissa = static_cast<const Element*>(table.abscissa);
    const Element first = abscissa[0], end = abscissa[table.length - 1];
    std::int32_t low = 0;
    for (std::int32_t i = 0; i < n; ++i) {
        if (x[i] > first && x[i] < end) {
            const std::int32_t from = low;
            while (abscissa[low + 1] <= x[i] && low < from + farthest) ++low;
            while (abscissa[low] > x[i] && low > from - farthest) --low;
        }
        const bool between = abscissa[low] < x[i] && x[i] < abscissa[low + 1];
        const Bracket points = between ? Bracket{low, low + 1} : bracketOf(abscissa, table.length, x[i]);
        x[i] = valueAt(table, points, x[i]);
        low = std::min(points.low, table.length - 2);
    }
}

template <class Element>
void interpolateBlock(const InterpTable& table, Element* x, std::int32_t n) {
    if (movesSlowly(table, x, n)) return followBlock(table, x, n);
    BlockBrackets found;
    findBrackets(table, x, n, found);
    for (std::int32_t i = 0; i < n; ++i) {
        const Bracket points = found.met[i] != 0
                                   ? bracketOf(static_cast<const Element*>(table.abscissa), table.length, x[i])
                                   : Bracket{found.low[i], found.low[i] + found.gap[i]};
        x[i] = valueAt(table, points, x[i]);
    }
}

}  // namespace

std::uint32_t interp(ParamList list) {
    StreamReader reader;
    StreamWriter writer;
    const ParamPair pair{.source = 1, .destination = 4};
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 4, 4, anyPipe, anyVector, anyVector, anyPipe);
    checkSameElementType(list, pair);
    const ParamMask type = zepl::param_type(list, 1);
    for (std::int32_t i = 2; i <= 3; ++i)
        if (!checkVectorForPipe(type, zepl::param_type(list, i), i)) return 4;
    const auto abscissa = handleIn<VectorHandle>(params[2]), ordinate = handleIn<VectorHandle>(params[3]);
    if (zepl::vector_length(ordinate) != zepl::vector_length(abscissa))
        zepl::param_error_msg(ParamError::unusableLength, 3);
    // A table without points has nothing to give.
    if (zepl::vector_length(abscissa) < 1) zepl::param_error_msg(ParamError::unusableLength, 2);
    openInPlacePair(params, pair, reader, writer, interpCapacity);
    const std::int32_t length = zepl::vector_length(abscissa);
    const std::size_t copied = type == pipeInt16 ? static_cast<std::size_t>(length) * sizeof(std::int32_t) : 0;
    const InterpTable table{length, zepl::vector_start(abscissa), zepl::vector_start(ordinate),
                            copied != 0 ? static_cast<std::int32_t*>(zepl::ralloc(copied)) : nullptr};
    return forElementType(type, [&]<class Element>() -> std::uint32_t {
        for (;;) {
            writer.pending = reader.refill();
            interpolateBlock(table, static_cast<Element*>(reader.ptr), writer.pending);
            writer.flush();
        }
    });
}

}  // namespace zcmds
