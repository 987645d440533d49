// FFT gives the spectrum of blocks of a power of two of samples. One small number chooses direction, inputs, outputs and
// what is made of the parts; MIXRFFT spells these out and takes other lengths.

#include "frame/values.h"
#include "host/modules.h"
#include "host/parameters.h"
#include "host/vectors.h"
#include "module/commands.h"
#include "spectral/spectrum_block.h"

namespace zcmds {

const char* const fftSignature =
    "( const int16 mode, const int16 bsize, const (anyscalar vector[uint32] | int16) window, "
    "( const pipe anyscalar r_src,   out typeof(r_src) ampl_pow | const pipe int16 r_src,   out pipe int32 pow_i32 | "
    "const pipe anyscalar r_src,   out typeof(r_src) r_dest,   out typeof(r_src) i_dest | "
    "const pipe anyscalar r_src, const typeof(r_src) i_src, out typeof(r_src) r_dest, out typeof(r_src) i_dest))";

namespace {

struct FftMode {
    bool complexInput;
    bool twoOutputs;
    const char* post;
    bool half;
};

constexpr FftMode fftModes[] = {
    {.complexInput = false, .twoOutputs = true, .post = "PARTS", .half = false},
    {.complexInput = true, .twoOutputs = true, .post = "PARTS", .half = false},
    {.complexInput = true, .twoOutputs = false, .post = "PARTS", .half = false},  // reverse
    {.complexInput = true, .twoOutputs = true, .post = "PARTS", .half = false},   // reverse
    {.complexInput = false, .twoOutputs = false, .post = "POWER", .half = true},
    {.complexInput = false, .twoOutputs = false, .post = "MAGNITUDE", .half = true},
    {.complexInput = false, .twoOutputs = true, .post = "POLAR", .half = true},
};
constexpr std::int16_t powerMode = 4, unsupportedMode = 7;

constexpr std::int32_t firstPipe = 4;  // the position of r_src

std::int32_t blockLength(Slot bsize) {
    const std::int16_t exponent = *valueIn<std::int16_t>(bsize);
    if (exponent < 4 || exponent > 14) zepl::param_error_msg(ParamError::outOfRange, 2);
    return 1 << exponent;
}

const char* windowNameOf(std::uint16_t code) {
    constexpr const char* names[] = {"RECTANGULAR", "VONHANN", "HAMMING", "BARTLETT", "BLACKMAN"};
    if (code > 4) zepl::param_error_msg(ParamError::notPositive, 3);
    return names[code];
}

void selectWindow(SpectrumBlock& block, Slot window, ParamMask kind) {
    if ((kind & anyVector) != 0) return takeWindowVector(block, handleIn<VectorHandle>(window), 3);
    const std::uint16_t code = *valueIn<std::uint16_t>(window);
    if (selectWindowByName(block, 0, windowNameOf(code))) return;
    zepl::printf("*** Parameter error detected by Window processing of code=%d\r\n", code);
    zepl::param_error_msg(ParamError::notPositive, 3);
}

// The mode's row; what is no mode is refused, and the unsupported one becomes power.
std::int16_t checkedMode(std::int16_t mode) {
    if (mode < 0 || mode > unsupportedMode) zepl::param_error_msg(ParamError::notPositive, 1);
    if (mode != unsupportedMode) return mode;
    zepl::printf("*** WARNING *** Unsupported FFT mode, substituting mode 4\n");
    return powerMode;
}

void checkCount(std::int32_t count, std::int32_t needed) {
    if (count < needed) zepl::param_error_msg(ParamError::missing, count + 1);
    if (count > needed) zepl::param_error_msg(ParamError::tooMany, needed + 1);
}

// Every pipe has the type of the input, except that the power of int16 samples needs int32.
void checkTypes(ParamList list, std::int16_t mode, std::int32_t last) {
    const ParamMask inputType = zepl::param_type(list, firstPipe);
    if (mode == powerMode && inputType == pipeInt16) {
        if (zepl::param_type(list, last) != pipeInt32) zepl::param_error_msg(ParamError::wrongKind, last);
        return;
    }
    for (std::int32_t index = firstPipe + 1; index <= last; ++index)
        if (zepl::param_type(list, index) != inputType) zepl::param_error_msg(ParamError::typeMismatch, index);
}

// Checks the pipes that the mode needs and takes them and what it makes of the spectrum into the block.
void applyMode(SpectrumBlock& block, ParamList list, const Slot* params, std::int32_t count, std::int16_t number) {
    const std::int16_t modeNumber = checkedMode(number);
    const FftMode& mode = fftModes[modeNumber];
    const std::int32_t firstOutput = mode.complexInput ? firstPipe + 2 : firstPipe + 1;
    const std::int32_t last = mode.twoOutputs ? firstOutput + 1 : firstOutput;
    checkCount(count, last);
    checkTypes(list, modeNumber, last);
    block.rIn = handleIn<PipeHandle>(params[firstPipe]);
    if (mode.complexInput) block.iIn = handleIn<PipeHandle>(params[firstPipe + 1]);
    block.rOut = handleIn<PipeHandle>(params[firstOutput]);
    if (mode.twoOutputs) block.iOut = handleIn<PipeHandle>(params[last]);
    block.half = mode.half;
    block.outCount = mode.half ? (block.length + 1) / 2 : block.length;
    const ParamMask outputType = zepl::param_type(list, last);
    if (mode.twoOutputs)
        selectPostTwo(block, mode.post, outputType, outputType);
    else
        selectPostOne(block, mode.post, outputType);
}

}  // namespace

std::uint32_t fft(ParamList list) {
    SpectrumBlock block;
    FftPlan plan;
    std::int32_t count;
    const Slot* params = zepl::param_process(list, &count, 5, 7, constantInt16, constantInt16,
                                             anyVector | constantInt16, anyPipe, anyPipe, anyPipe, anyPipe);
    const ParamMask inputType = zepl::param_type(list, firstPipe);
    block.length = blockLength(params[2]);
    const std::int16_t mode = *valueIn<std::int16_t>(params[1]);
    const std::int32_t direction = mode == 2 || mode == 3 ? 1 : 0;
    selectWindow(block, params[3], zepl::param_type(list, 3));
    if (!fftPlanBuild(direction, block.length, block.length, block.length, 1, plan)) {
        zepl::printf("*** Internal Error. Please report immediately.\r\n");
        zepl::param_error_msg(ParamError::notPositive, 1);
    }
    applyMode(block, list, params, count, mode);
    selectReadOp(block);
    selectWidenOp(block, inputType);
    selectWriteOp(block);
    spectrumOpen(block);
    spectrumRun(block, plan);
}

}  // namespace zcmds
