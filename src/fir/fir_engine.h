// The engine of FIRFILTER and FIRLOWPASS: filters a multiplexed stream and keeps every `decimation`-th output. A frame is
// one sample of each channel. Output frame j of a channel is the sum over k from 0 to length - 1 of
// table[k] * x[j * decimation + k - align], where x of a negative index is 0.
//
// The steps in their order: firOpen, firConvertCoefficients, firSelectInner, firPrime, firRun.
#pragma once

#include "frame/types.h"

namespace zcmds {

// The filter itself.
struct FirCoefficients {
    ParamMask type;           // kind of vector that the table's elements make
    std::int32_t length;      // taps
    std::int32_t decimation;  // input frames for each output frame, from 1
    std::int32_t align;       // leading zero frames, from 0 to length - 1
    double scaling;           // divisor of the coefficients
    const void* table;        // the coefficients, the oldest sample's first
};

struct FirState;

// Makes every output frame for which the frames at hand suffice, at least one, and moves `start` and `outCount` on.
using FirInner = void (*)(FirState& state, const FirCoefficients& coefficients);

// The running filter. The caller fills in channels, decimation, types and pipes, the steps the rest.
struct FirState {
    std::int32_t nchans;        // channels multiplexed in the stream, 1 to 32
    std::int32_t decimation;    // input frames for each output frame
    ParamMask srcType;          // element type of `src`
    ParamMask destType;         // element type of `dest`
    PipeHandle src;             // input
    PipeHandle dest;            // output
    PbufHandle srcBuf;          // its pbuf; its data pointer is where the next input lands
    PbufHandle destBuf;         // its pbuf
    void* srcData;              // the whole buffer of srcBuf: frames not used up, then new ones
    void* destData;             // the buffer of destBuf
    std::int32_t minBlock;      // elements that suffice for one more output frame: nchans * decimation
    std::int32_t srcCapacity;   // elements: frames * nchans
    std::int32_t destCapacity;  // elements: srcCapacity / decimation
    std::int32_t frames;        // frames that srcData holds: the filter's length and the room for input to run ahead
    std::int32_t available;     // frames now in srcData
    std::int32_t start;         // frame at which the next output begins
    std::int32_t outCount;      // output frames made in this pass
    FirInner inner;             // the loop for this pair of types
    void* work;                 // memory of the inner loop, from firSelectInner
};

// Frames that input can run ahead of the filter's length.
inline constexpr std::int32_t firHeadroom = 480;

// Opens both pipes with their pbufs for a filter of `length` taps.
void firOpen(FirState& state, std::int32_t length);

// Gives the coefficients the type that goes with the source, float for int16 and float, double for int32 and double, and
// divides them by the scaling. An integer vector counts as fractions of full scale. Coefficients that need neither stay
// where they are; others get a table of their own.
void firConvertCoefficients(FirCoefficients& coefficients, ParamMask srcType);

// Picks the inner loop and gives it its memory.
void firSelectInner(FirState& state);

// Sets `align` zero frames before the first input and waits for what the first output needs besides.
void firPrime(FirState& state, const FirCoefficients& coefficients);

// Filters forever. Returns 0 at once where the source has no type of pipe.
std::uint32_t firRun(FirState& state, const FirCoefficients& coefficients);

}  // namespace zcmds
