// DEXPAND turns each sample into the words that strobe it out through a digital port, byte by byte: each word carries a port,
// a byte of the sample and control bits. The ports take turns.

#include <cstring>

#include "frame/values.h"
#include "host/memory.h"
#include "host/parameters.h"
#include "host/pbufs.h"
#include "host/pipes.h"
#include "host/system_info.h"
#include "host/vectors.h"
#include "module/commands.h"

namespace zcmds {

const char* const dexpandSignature =
    "( const  pipe    int16   src ,   const  storage int16 vector[uint16]  ports ,   "
    "out    pipe    int16   encoded   [ , const  storage (int16|string)  modeflag ] ) ";

namespace {

enum class Encoding : std::uint32_t { aSeries = 1, unipolar = 2, si = 3 };

constexpr std::uint16_t serialStart = 0xFFFF;  // the first word of all in the two-word encoding

Encoding encodingOf(Slot slot, ParamMask kind) {
    if (kind == stringKind) {
        const char* word = valueIn<char>(slot);
        if (std::strcmp(word, "SI") == 0) return Encoding::si;
        if (std::strcmp(word, "ASERIES") != 0) zepl::param_error_msg(ParamError::notPositive, 4);
        return Encoding::aSeries;
    }
    const std::int16_t flag = *valueIn<std::int16_t>(slot);
    if (flag != 0 && flag != 1) zepl::param_error_msg(ParamError::notPositive, 4);
    const bool changed = flag == 1 && zepl::sys_get_info(SysInfo::boardOption) == 0;
    return changed ? Encoding::unipolar : Encoding::aSeries;
}

// The ports in rotation, one for each sample, over block boundaries.
struct PortRotation {
    const std::uint16_t* ports;
    std::uint16_t count;
    std::uint16_t at = 0;

    std::uint16_t next() {
        const std::uint16_t port = ports[at];
        at = static_cast<std::uint16_t>(at + 1 == count ? 0 : at + 1);
        return port;
    }
};

constexpr std::uint16_t portBits(std::uint16_t port) { return static_cast<std::uint16_t>((port & 63) << 8); }

PortRotation portsOf(VectorHandle vector) {
    const PortRotation ports{static_cast<const std::uint16_t*>(zepl::vector_start(vector)),
                             static_cast<std::uint16_t>(zepl::vector_length(vector))};
    if (ports.count == 0) zepl::param_error_msg(ParamError::outOfRange, 2);
    for (std::uint32_t i = 0; i < ports.count; ++i)
        if (ports.ports[i] >= 64) zepl::param_error_msg(ParamError::outOfRange, 2);
    return ports;
}

// A copy of the ports' numbers in their place in a word.
PortRotation placed(PortRotation ports) {
    auto* bits = static_cast<std::uint16_t*>(zepl::ralloc(ports.count * sizeof(std::uint16_t)));
    for (std::uint32_t i = 0; i < ports.count; ++i) bits[i] = portBits(ports.ports[i]);
    return {bits, ports.count};
}

// The two bytes of a sample as four-word encodings carry them.
struct Bytes {
    std::uint32_t high, low;
};
Bytes plainBytes(std::uint32_t x) { return {x >> 8, x & 0xFF}; }

// 15 bits without a sign, offset binary in the high byte alone. A negative sample counts as 0.
Bytes unipolarBytes(std::uint32_t x) {
    const std::uint32_t y = x < 32768 ? 2 * x : 0;
    return {(y ^ 0x8000) >> 8, y & 0xFF};
}

template <Bytes bytesOf(std::uint32_t)>
void encodeInFour(PortRotation& ports, std::uint16_t x, std::uint16_t* words) {
    const Bytes bytes = bytesOf(x);
    const std::uint32_t p = portBits(ports.next());
    words[0] = static_cast<std::uint16_t>(p | bytes.high | 0xC000);
    words[1] = static_cast<std::uint16_t>(p | bytes.high);
    words[2] = static_cast<std::uint16_t>(p | bytes.low);
    words[3] = static_cast<std::uint16_t>(p | bytes.low | 0x8000);
}

// The ports are placed already.
void encodeInTwo(PortRotation& ports, std::uint16_t x, std::uint16_t* words) {
    words[0] = static_cast<std::uint16_t>(x >> 8 | 0x4000);
    words[1] = static_cast<std::uint16_t>((x & 0xFF) | ports.next() | 0xC000);
}

template <std::int32_t wordsPerSample, class Encode>
[[noreturn]] void expandBlocks(PbufHandle input, PbufHandle output, PortRotation ports, Encode encode) {
    for (;;) {
        const std::int32_t n = zepl::pbuf_get(input);
        const auto* samples = static_cast<const std::uint16_t*>(zepl::pbuf_get_data_ptr(input));
        auto* words = static_cast<std::uint16_t*>(zepl::pbuf_get_data_ptr(output));
        PortRotation rotation = ports;
        for (std::int32_t i = 0; i < n; ++i) encode(rotation, samples[i], words + i * wordsPerSample);
        ports = rotation;
        zepl::pbuf_put_set_cnt(output, n * wordsPerSample);
    }
}

}  // namespace

std::uint32_t dexpand(ParamList list) {
    std::int32_t count;
    const Slot* params =
        zepl::param_process(list, &count, 3, 4, pipeInt16, vectorInt16, pipeInt16, stringKind | constantInt16);
    const Encoding encoding = count == 4 ? encodingOf(params[4], zepl::param_type(list, 4)) : Encoding::aSeries;
    const PortRotation ports = portsOf(handleIn<VectorHandle>(params[2]));
    const PortRotation bits = encoding == Encoding::si ? placed(ports) : ports;
    const auto src = handleIn<PipeHandle>(params[1]), encoded = handleIn<PipeHandle>(params[3]);
    zepl::pipe_open(src, zepl::OpenMode::read);
    zepl::pipe_open(encoded, zepl::OpenMode::write);
    const PbufHandle input = zepl::pbuf_open(src, 256), output = zepl::pbuf_open(encoded, 1024);
    if (encoding == Encoding::unipolar) expandBlocks<4>(input, output, ports, encodeInFour<unipolarBytes>);
    if (encoding == Encoding::aSeries) expandBlocks<4>(input, output, ports, encodeInFour<plainBytes>);
    zepl::pipe_put(encoded, serialStart);
    expandBlocks<2>(input, output, bits, encodeInTwo);
}

}  // namespace zcmds
