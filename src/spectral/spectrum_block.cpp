// The way of a block through a transform: in, widened, transformed, and out.

#include "spectral/spectrum_block.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "frame/cursors.h"
#include "frame/element_type.h"
#include "frame/vector_clones.h"
#include "host/memory.h"
#include "host/pbufs.h"
#include "host/pipes.h"

namespace zcmds {

namespace {

double* workBuffer(std::int32_t length) {
    return static_cast<double*>(zepl::ralloc(static_cast<std::size_t>(length) * sizeof(double)));
}

// Opens a pipe for blocks of exactly `count` elements from or to `data`.
PbufHandle openOnBuffer(PipeHandle pipe, zepl::OpenMode mode, std::int32_t count, double* data) {
    zepl::pipe_open(pipe, mode);
    return openPbufOn(pipe, data, count, count);
}

void readReal(SpectrumBlock& block) { zepl::pbuf_get(block.rInBuf); }

void readComplex(SpectrumBlock& block) {
    zepl::pbuf_get(block.rInBuf);
    zepl::pbuf_get(block.iInBuf);
}

void writeOne(SpectrumBlock& block) { zepl::pbuf_put_set_cnt(block.rOutBuf, block.outCount); }

void writeTwo(SpectrumBlock& block) {
    zepl::pbuf_put_set_cnt(block.rOutBuf, block.outCount);
    zepl::pbuf_put_set_cnt(block.iOutBuf, block.outCount);
}

// Widens `n` elements at the front of the buffer, from the last to the first, so that no store falls on an element that is
// still to be read; piece by piece through a copy, so that the compiler need not know that.
template <class Element>
ZCMDS_VECTOR_CLONES void widenInPlace(double* buffer, std::int32_t n) {
    constexpr std::int32_t pieceSize = 64;
    Element piece[pieceSize];
    const Element* elements = reinterpret_cast<const Element*>(buffer);
    for (std::int32_t end = n; end > 0;) {
        const std::int32_t start = std::max(end - pieceSize, 0);
        std::memcpy(piece, elements + start, static_cast<std::size_t>(end - start) * sizeof(Element));
        for (std::int32_t i = start; i < end; ++i) buffer[i] = piece[i - start];
        end = start;
    }
}

template <>
void widenInPlace<double>(double*, std::int32_t) {}

template <class Element>
void widenReal(SpectrumBlock& block) {
    std::fill_n(block.im, block.length, 0.0);
    widenInPlace<Element>(block.re, block.length);
    block.windowOp(block);
}

template <class Element>
void widenComplex(SpectrumBlock& block) {
    widenInPlace<Element>(block.im, block.length);
    widenInPlace<Element>(block.re, block.length);
    block.windowOp(block);
}

}  // namespace

void spectrumOpen(SpectrumBlock& block) {
    constexpr auto read = zepl::OpenMode::read, write = zepl::OpenMode::write;
    block.re = workBuffer(block.length);
    block.im = workBuffer(block.length);
    block.rInBuf = openOnBuffer(block.rIn, read, block.length, block.re);
    if (block.iIn != PipeHandle{}) block.iInBuf = openOnBuffer(block.iIn, read, block.length, block.im);
    block.rOutBuf = openOnBuffer(block.rOut, write, block.outCount, block.re);
    if (block.iOut != PipeHandle{}) block.iOutBuf = openOnBuffer(block.iOut, write, block.outCount, block.im);
    keepWindowWeights(block);
}

void spectrumOpenInputs(SpectrumBlock& first, SpectrumBlock& second) {
    SpectrumBlock* const blocks[] = {&first, &second};
    for (SpectrumBlock* block : blocks) zepl::pipe_open(block->rIn, zepl::OpenMode::read);
    for (SpectrumBlock* block : blocks) block->rInBuf = zepl::pbuf_open(block->rIn, 0);
    for (SpectrumBlock* block : blocks) zepl::pbuf_set_data_ptr(block->rInBuf, block->re);
    for (SpectrumBlock* block : blocks) {
        zepl::pbuf_set_min_cnt(block->rInBuf, block->length);
        zepl::pbuf_set_max_cnt(block->rInBuf, block->length);
    }
}

void spectrumRun(SpectrumBlock& block, FftPlan& plan) {
    for (;;) {
        block.readOp(block);
        block.widenOp(block);
        fftExecute(block.re, block.im, plan);
        block.postOp(block);
        block.rNarrowOp(block);
        block.iNarrowOp(block);
        block.writeOp(block);
    }
}

void spectrumTransformPair(SpectrumBlock* blocks, FftPlan* plans) {
    for (int i = 0; i < 2; ++i) blocks[i].readOp(blocks[i]);
    for (int i = 0; i < 2; ++i) blocks[i].widenOp(blocks[i]);
    for (int i = 0; i < 2; ++i) fftExecute(blocks[i].re, blocks[i].im, plans[i]);
}

void selectReadOp(SpectrumBlock& block) { block.readOp = block.iIn == PipeHandle{} ? readReal : readComplex; }

void selectWidenOp(SpectrumBlock& block, ParamMask elementType) {
    forElementType(elementType, [&]<class Element>() -> std::uint32_t {
        block.widenOp = block.iIn == PipeHandle{} ? widenReal<Element> : widenComplex<Element>;
        return 0;
    });
}

void selectWriteOp(SpectrumBlock& block) { block.writeOp = block.iOut == PipeHandle{} ? writeOne : writeTwo; }

}  // namespace zcmds
