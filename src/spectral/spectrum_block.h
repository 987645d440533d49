// What FFT, MIXRFFT, CROSSPOWER and CORRELATE share: a record of one transform path, filled at set-up with small operations
// chosen by element type and mode, and the loop that runs them. Samples are widened to double, windowed, transformed,
// brought into the wanted form and narrowed, all in the same two buffers.
#pragma once

#include <cstdint>

#include "frame/types.h"
#include "spectral/fft_engine.h"

namespace zcmds {

struct SpectrumBlock;
using BlockOperation = void (*)(SpectrumBlock& block);
// Fills in the weights of `n` elements, at most a piece, from `first` on.
using WindowWeights = void(const SpectrumBlock& block, std::int32_t first, double* weights, std::int32_t n);

inline void doNothing(SpectrumBlock&) {}

struct SpectrumBlock {
    std::int32_t length = 0;    // N, input samples of a block
    std::int32_t outCount = 0;  // elements that each output gets of a block
    bool half = false;          // the outputs get half of the spectrum
    PipeHandle rIn{}, iIn{};    // inputs; iIn is null for real input
    PipeHandle rOut{}, iOut{};  // outputs; iOut is null for one output
    PbufHandle rInBuf{}, iInBuf{}, rOutBuf{}, iOutBuf{};
    double* re = nullptr;  // work buffers of N doubles; inputs land in them and outputs leave from them
    double* im = nullptr;
    BlockOperation readOp = doNothing;     // takes one block from the inputs
    BlockOperation widenOp = doNothing;    // widens it in place, and windows it
    BlockOperation windowOp = doNothing;   // multiplies re and im by the window's weights
    const void* windowVector = nullptr;    // the user's window of N entries, where one is given
    double kaiserBeta = -1.0;              // Kaiser's shape; 0 when KAISER was chosen and it is still to come
    double kaiserNorm = -1.0;              // kaiserBessel(kaiserBeta)
    BlockOperation postOp = doNothing;     // turns parts into power, magnitude or polar form in place
    BlockOperation rNarrowOp = doNothing;  // narrow re and im to the type of the outputs, in place
    BlockOperation iNarrowOp = doNothing;
    BlockOperation writeOp = doNothing;      // sends the block to the outputs
    WindowWeights* windowWeights = nullptr;  // of the named window; null without one
    double* weights = nullptr;               // the N weights, kept from keepWindowWeights on
};

// Takes the work buffers and opens the pipes; each pipe has a pbuf on one of the buffers, of blocks of exactly N, or of
// outCount. Keeps the window's weights.
void spectrumOpen(SpectrumBlock& block);

// Opens the real inputs of two paths on their work buffers.
void spectrumOpenInputs(SpectrumBlock& first, SpectrumBlock& second);

// Forever: one block in, one spectrum out.
[[noreturn]] void spectrumRun(SpectrumBlock& block, FftPlan& plan);

// Takes one block of each of two signals and transforms it by the path's own plan.
void spectrumTransformPair(SpectrumBlock* blocks, FftPlan* plans);

// Choose by which of iIn and iOut are set, and by the element type of the input.
void selectReadOp(SpectrumBlock& block);
void selectWidenOp(SpectrumBlock& block, ParamMask elementType);
void selectWriteOp(SpectrumBlock& block);

// Chooses the window of that name; none, and false, for a name that is no window's. Variant 0 peaks in the middle of the
// block, for samples in time; variant 1 at its ends, for a spectrum. KAISER sets kaiserBeta and kaiserNorm to 0, and the
// caller then sets them both.
bool selectWindowByName(SpectrumBlock& block, std::int32_t variant, const char* name);

// Chooses the window that `vector`, whose start is in windowVector, holds: integers are fractions of their type's full
// scale. False, and nothing is chosen, for a vector of no known type. The entries are read again for every block.
bool selectWindowByVector(SpectrumBlock& block, VectorHandle vector);

// The same for a parameter at position `index`, which must have N entries.
void takeWindowVector(SpectrumBlock& block, VectorHandle vector, std::int32_t index);

// Computes the weights of a named window, which do not change from block to block: 8 bytes a sample of the task's memory,
// beside the 16 of its work buffers. To be called once, when everything that the window depends on is set.
void keepWindowWeights(SpectrumBlock& block);

// The modified Bessel function of the first kind and order 0, as one fixed polynomial.
double kaiserBessel(double x);

// Choose what is made of the spectrum for one output (PARTS, POWER, MAGNITUDE) or two (PARTS, POLAR) of these element
// types. False for another mode. With PARTS both outputs are narrowed to the first one's type.
bool selectPostOne(SpectrumBlock& block, const char* mode, ParamMask elementType);
bool selectPostTwo(SpectrumBlock& block, const char* mode, ParamMask firstType, ParamMask secondType);

}  // namespace zcmds
