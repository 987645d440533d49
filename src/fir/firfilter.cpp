// FIRFILTER filters each channel of a stream with coefficients of the user's and keeps every decimation-th frame. Source,
// coefficients and destination each have a type of their own.

#include "fir/fir_engine.h"
#include "frame/values.h"
#include "host/parameters.h"
#include "host/vectors.h"
#include "module/commands.h"

namespace zcmds {

const char* const firfilterSignature =
    "( const pipe (int16|int32|float|double)  src,  [ const int16  nchans, ] "
    "const (int16|int32|float|double) vector[uint16] coeff, const (int16|uint16)  length, "
    "const (int16|int32|float|double) scaling, const (uint16|int16|uint32|int32) decimation, "
    "const (int16|uint16) align, out pipe (int16|int32|float|double)  dest )";

namespace {

// The parameters in their order.
struct Parameters {
    ParamList list;
    std::int32_t count;
    const Slot* slots;
    std::int32_t index = 1;  // the one at hand

    // The masks fit both forms of the list, with and without nchans, so each admits kinds that its parameter does not have.
    void expect(ParamMask kinds) const {
        if (index > count) zepl::param_error_msg(ParamError::missing, index);
        if ((kind() & kinds) == 0) zepl::param_error_msg(ParamError::wrongKind, index);
    }
    ParamMask kind() const { return zepl::param_type(list, index); }
    Slot slot() const { return slots[index]; }

    // 16 bits, whatever the kind: of a wider constant the low half.
    std::int32_t int16() const { return *valueIn<std::int16_t>(slot()); }
};

std::int32_t channelsIn(Parameters& given) {
    if (given.kind() != constantInt16) return 1;
    const std::int32_t nchans = given.int16();
    if (nchans < 1 || nchans > 32) zepl::param_error_msg(ParamError::outOfRange, 2);
    ++given.index;
    return nchans;
}

// The vector, and a length that must be its own or 0. The vector alone sets the filter's length.
void readTable(Parameters& given, FirCoefficients& coefficients) {
    given.expect(anyVector);
    const auto vector = handleIn<VectorHandle>(given.slot());
    coefficients.type = given.kind();
    coefficients.length = zepl::vector_length(vector);
    coefficients.table = zepl::vector_start(vector);
    ++given.index;
    given.expect(constantScalar);
    const std::int32_t length = given.int16();
    if (length != 0 && length != coefficients.length)
        zepl::param_error_msg(ParamError::vectorLengthMismatch, given.index);
    ++given.index;
}

double scalingIn(const Parameters& given) {
    const ParamMask kind = given.kind();
    const double scaling = (kind & constantInteger) != 0 ? integerIn(given.slot(), kind)
                           : kind == constantFloat       ? static_cast<double>(*valueIn<float>(given.slot()))
                                                         : *valueIn<double>(given.slot());
    return scaling == 0.0 ? 1.0 : scaling;
}

std::int32_t decimationIn(const Parameters& given, std::int32_t length) {
    const std::int32_t decimation = given.int16();
    if (decimation == 0) return 1;
    if (decimation < 0 || decimation >= length) zepl::param_error_msg(ParamError::outOfRange, given.index);
    return decimation;
}

// -1 is the middle. An empty vector has no place to align to.
std::int32_t alignIn(const Parameters& given, std::int32_t length) {
    const std::int32_t align = given.int16() == -1 ? length >> 1 : given.int16();
    if (align < 0 || align >= length) zepl::param_error_msg(ParamError::outOfRange, given.index);
    return align;
}

}  // namespace

std::uint32_t firfilter(ParamList list) {
    constexpr ParamMask vectorOrInt16 = anyVector | constantInt16;
    Parameters given{.list = list, .count = 0, .slots = nullptr};
    given.slots = zepl::param_process(list, &given.count, 7, 8, anyPipe, vectorOrInt16, vectorOrInt16, constantScalar,
                                      constantScalar, constantInt16, anyPipe | constantInt16, anyPipe);
    FirState state{};
    FirCoefficients coefficients{};
    state.src = handleIn<PipeHandle>(given.slot());
    state.srcType = given.kind();
    ++given.index;
    state.nchans = channelsIn(given);
    readTable(given, coefficients);
    coefficients.scaling = scalingIn(given);
    ++given.index;
    coefficients.decimation = state.decimation = decimationIn(given, coefficients.length);
    ++given.index;
    given.expect(constantInt16);
    coefficients.align = alignIn(given, coefficients.length);
    ++given.index;
    given.expect(anyPipe);
    state.dest = handleIn<PipeHandle>(given.slot());
    state.destType = given.kind();
    if (given.index < given.count) zepl::param_error_msg(ParamError::tooMany, given.count);

    firOpen(state, coefficients.length);
    firConvertCoefficients(coefficients, state.srcType);
    firSelectInner(state);
    firPrime(state, coefficients);
    return firRun(state, coefficients);
}

}  // namespace zcmds
