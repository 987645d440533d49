// INTERP looks each sample up in a table of points, `abscissa` and `ordinate`, and interpolates between them on straight
// lines. Samples outside the table get its first or last ordinate.

#include <algorithm>

#include "frame/checks.h"
#include "frame/commands.h"
#include "frame/element_type.h"
#include "frame/exact.h"
#include "frame/vector_clones.h"
#include "host/parameters.h"
#include "host/vectors.h"

namespace zcmds {

const char* const interpSignature =
    "( in    pipe     (int16|int32|float|double) src ,   const storage  elementof(src) vector[uint16]  abscissa ,   "
    "const storage  contentof(abscissa)  ordinate ,   out   typeof(src)   dest )";

namespace {

constexpr std::int32_t interpCapacity = 256;

struct InterpTable {
    std::int32_t length;   // points
    const void* abscissa;  // elements of the stream's type, expected to rise
    const void* ordinate;  // likewise, as many
};

// The points around each sample of a block. Where both are the same, the ordinate there is the result.
struct Brackets {
    std::int32_t low[interpCapacity], high[interpCapacity];
};

// Interpolation from (x0, y0) to (x1, y1), the multiplication before the division. The search leaves x0 < x < x1, in a table
// that does not rise as well, so no divisor is 0.
std::int16_t interpolated(std::int16_t x, std::int16_t x0, std::int16_t x1, std::int16_t y0, std::int16_t y1) {
    return wrap<std::int16_t>(y0 + wrappingProduct(y1 - y0, x - x0) / (x1 - x0));
}

// Two differences of 33 bits make a product of up to 66 bits.
std::int32_t interpolated(std::int32_t x, std::int32_t x0, std::int32_t x1, std::int32_t y0, std::int32_t y1) {
    __extension__ using Product = __int128;
    const Product product = static_cast<Product>(widened(y1) - y0) * (widened(x) - x0);
    return wrap<std::int32_t>(static_cast<std::uint64_t>(y0) +
                              static_cast<std::uint64_t>(product / (widened(x1) - x0)));
}

// The differences are of single precision; the rest is in double.
float interpolated(float x, float x0, float x1, float y0, float y1) {
    const double rise = y1 - y0, advance = x - x0, run = x1 - x0;
    return static_cast<float>(y0 + rise * advance / run);
}

double interpolated(double x, double x0, double x1, double y0, double y1) {
    return y0 + (y1 - y0) * (x - x0) / (x1 - x0);
}

// Bisection of the table for `n` samples at once, whose steps don't wait for each other. In a table that does not rise
// it finds what a bisection finds.
template <class Element>
ZCMDS_VECTOR_CLONES void bracket(const Element* abscissa, std::int32_t length, const Element* x, std::int32_t n,
                                 Brackets& found) {
    const std::int32_t last = length - 1;
    for (std::int32_t i = 0; i < n; ++i) {
        const bool above = x[i] >= abscissa[last], below = x[i] <= abscissa[0];
        found.low[i] = above ? last : 0;
        found.high[i] = below && !above ? 0 : last;
    }
    for (std::int32_t widest = last; widest > 1; widest -= widest / 2)
        for (std::int32_t i = 0; i < n; ++i) {
            const std::int32_t low = found.low[i], high = found.high[i], mid = (low + high) / 2;
            const Element key = abscissa[mid];
            // A hit leaves the middle in both; one that stands there already stays.
            const bool atEnd = mid == low;
            found.low[i] = key < x[i] || key == x[i] ? mid : low;
            found.high[i] = atEnd || key < x[i] ? high : mid;
        }
}

template <class Element>
void interpolateBlock(const InterpTable& table, Element* x, std::int32_t n) {
    const auto *abscissa = static_cast<const Element*>(table.abscissa),
               *ordinate = static_cast<const Element*>(table.ordinate);
    Brackets found;
    bracket(abscissa, table.length, x, n, found);
    for (std::int32_t i = 0; i < n; ++i) {
        const std::int32_t low = found.low[i], high = found.high[i];
        x[i] = low == high ? ordinate[low]
                           : interpolated(x[i], abscissa[low], abscissa[high], ordinate[low], ordinate[high]);
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
    for (const std::int32_t i : {2, 3})
        if (!checkVectorForPipe(type, zepl::param_type(list, i), i)) return 4;
    const auto abscissa = handleIn<VectorHandle>(params[2]), ordinate = handleIn<VectorHandle>(params[3]);
    if (zepl::vector_length(ordinate) != zepl::vector_length(abscissa))
        zepl::param_error_msg(ParamError::unusableLength, 3);
    // A table without points has nothing to give.
    if (zepl::vector_length(abscissa) < 1) zepl::param_error_msg(ParamError::unusableLength, 2);
    openInPlacePair(params, pair, reader, writer, interpCapacity);
    const InterpTable table{zepl::vector_length(abscissa), zepl::vector_start(abscissa), zepl::vector_start(ordinate)};
    return forElementType(type, [&]<class Element>() -> std::uint32_t {
        for (;;) {
            writer.pending = reader.refill();
            interpolateBlock(table, static_cast<Element*>(reader.ptr), writer.pending);
            writer.flush();
        }
    });
}

}  // namespace zcmds
