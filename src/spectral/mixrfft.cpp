// MIXRFFT gives the spectrum of blocks of any length that factors into small primes. Direction, window, output form and
// what is made of the parts are spelled out by words, most of which may be left out; each output has a type of its own.

#include <cstring>

#include "frame/values.h"
#include "host/modules.h"
#include "host/parameters.h"
#include "module/commands.h"
#include "spectral/spectrum_block.h"

namespace zcmds {

const char* const mixrfftSignature =
    "( const (int16|int32) bsize, [ const keyword dmodes {FORWARD,REVERSE} direction, ]"
    "[ ( const anyscalar vector[uint32]  windvec |    "
    "const keyword wtypes {BARTLETT,VONHANN,HAMMING,BLACKMAN,KAISER,RECTANGULAR} windtype    [, "
    "const (float|double)  windparam ]   ), ]in pipe anyscalar r_in, [ in pipe contentof(r_in) i_in, ]"
    "const keyword omode {HALF,FULL} half, const keyword pmode {PARTS,POWER,MAGNITUDE,POLAR} post, "
    "[ const string  blocks, ]out pipe anyscalar r_out[ , out pipe anyscalar i_out] )";

namespace {

// A walk along the parameters, since what a position holds depends on what was left out before it.
struct ParameterWalk {
    ParamList list;
    const Slot* params;
    std::int32_t count;
    std::int32_t position;

    // The kind of the parameter that is next; one past the end of the list is missing.
    ParamMask kind() const {
        if (position > count) zepl::param_error_msg(ParamError::missing, position);
        return zepl::param_type(list, position);
    }
    bool isKeyword() const { return kind() == declaredKeyword; }
    const char* word() const { return valueIn<const char>(params[position]); }

    // Whether `expected` is next; then it is passed.
    bool takeWord(const char* expected) {
        if (!isKeyword() || std::strcmp(word(), expected) != 0) return false;
        ++position;
        return true;
    }
    template <class Handle>
    Handle takeHandle() {
        return handleIn<Handle>(params[position++]);
    }
};

std::int32_t blockLength(ParamList list, const Slot* params) {
    const std::int32_t length = integerIn(params[1], zepl::param_type(list, 1));
    if (length < 4 || length > 16777216) zepl::param_error_msg(ParamError::outOfRange, 1);
    return length;
}

std::int32_t takeDirection(ParameterWalk& walk) {
    if (walk.takeWord("REVERSE")) return 1;
    walk.takeWord("FORWARD");
    return 0;
}

double takeWindowParameter(ParameterWalk& walk) {
    const ParamMask kind = walk.kind();
    if ((kind & constantReal) == 0) zepl::param_error_msg(ParamError::missing, walk.position);
    const Slot slot = walk.params[walk.position];
    const double beta = kind == constantFloat ? *valueIn<float>(slot) : *valueIn<double>(slot);
    if (!(beta > 0.0) || beta > 12.0) zepl::param_error_msg(ParamError::outOfRange, walk.position);
    ++walk.position;
    return beta;
}

// A vector, a window's name with Kaiser's shape after it, or nothing: then whatever is next is left to the input.
void takeWindow(SpectrumBlock& block, std::int32_t direction, ParameterWalk& walk) {
    constexpr std::int32_t blamedForLength = 2;  // also where that is the direction
    if ((walk.kind() & anyVector) != 0)
        return takeWindowVector(block, walk.takeHandle<VectorHandle>(), blamedForLength);
    const char* name = walk.isKeyword() ? walk.word() : "NOMATCH";
    if (!selectWindowByName(block, direction, name)) return;
    ++walk.position;
    if (block.kaiserBeta != 0.0) return;
    block.kaiserBeta = takeWindowParameter(walk);
    block.kaiserNorm = kaiserBessel(block.kaiserBeta);
}

// Takes the input or the two, and gives their element type.
ParamMask takeInputs(SpectrumBlock& block, ParameterWalk& walk) {
    const ParamMask inputType = walk.kind();
    if ((inputType & anyPipe) == 0) zepl::param_error_msg(ParamError::missing, walk.position);
    block.rIn = walk.takeHandle<PipeHandle>();
    const ParamMask next = walk.kind();
    if ((next & anyPipe) == 0) return inputType;
    if (next != inputType) zepl::param_error_msg(ParamError::typeMismatch, walk.position);
    block.iIn = walk.takeHandle<PipeHandle>();
    return inputType;
}

// Half of the spectrum or all of it; where nothing is said, half for real input.
void takeOutputForm(SpectrumBlock& block, ParameterWalk& walk) {
    block.half = walk.takeWord("HALF") || (!walk.takeWord("FULL") && block.iIn == PipeHandle{});
    block.outCount = block.half ? (block.length + 1) / 2 : block.length;
}

PipeHandle outputAt(const ParameterWalk& walk, std::int32_t position) {
    if ((zepl::param_type(walk.list, position) & anyPipe) == 0) zepl::param_error_msg(ParamError::wrongKind, position);
    return handleIn<PipeHandle>(walk.params[position]);
}

// The word for what is made of the parts, and one output or two after it.
void takePostAndOutputs(SpectrumBlock& block, const ParameterWalk& walk) {
    const std::int32_t post = walk.position, first = post + 1, second = post + 2;
    if (!walk.isKeyword()) zepl::param_error_msg(ParamError::missing, post);
    if (walk.count > second) zepl::param_error_msg(ParamError::tooMany, second + 1);
    if (walk.count < first) zepl::param_error_msg(ParamError::missing, first);
    block.rOut = outputAt(walk, first);
    bool known;
    if (walk.count == second) {
        block.iOut = outputAt(walk, second);
        known =
            selectPostTwo(block, walk.word(), zepl::param_type(walk.list, first), zepl::param_type(walk.list, second));
    } else {
        known = selectPostOne(block, walk.word(), zepl::param_type(walk.list, first));
    }
    if (!known) zepl::param_error_msg(ParamError::unknownWord, post);
}

}  // namespace

std::uint32_t mixrfft(ParamList list) {
    constexpr ParamMask wordOrPipe = declaredKeyword | anyPipe;
    SpectrumBlock block;
    FftPlan plan;
    std::int32_t count;
    const Slot* params =
        zepl::param_process(list, &count, 4, 10, constantInteger,  //
                            wordOrPipe | anyVector, wordOrPipe | anyVector | constantReal, wordOrPipe | constantReal,
                            wordOrPipe, wordOrPipe, wordOrPipe, wordOrPipe, anyPipe, anyPipe);
    block.length = blockLength(list, params);
    ParameterWalk walk{.list = list, .params = params, .count = count, .position = 2};
    const std::int32_t direction = takeDirection(walk);
    if (!fftPlanBuild(direction, block.length, block.length, block.length, 1, plan)) {
        zepl::printf("*** Warning: MIXRFFT block factoring failed\r\n");
        zepl::param_error_msg(ParamError::notPositive, 1);
    }
    takeWindow(block, direction, walk);
    const ParamMask inputType = takeInputs(block, walk);
    selectReadOp(block);
    selectWidenOp(block, inputType);
    takeOutputForm(block, walk);
    takePostAndOutputs(block, walk);
    selectWriteOp(block);
    spectrumOpen(block);
    spectrumRun(block, plan);
}

}  // namespace zcmds
