// A module with three commands for the test bench:
//
//     CLIP      (source, low, high, dest)       bounds each sample; any type
//     CROSSING  (source, level, beat)           asserts an event where the stream rises through a level
//     CALIBRATE (counts, gain, offset, units)   int16 counts to float units
//
// docs/modules.md explains each operation that is called here.

#include <zepl/host/host.h>

#include <algorithm>

namespace {

using namespace zepl::kinds;
using namespace zepl::masks;

constexpr std::int32_t block = 1000;  // elements that are moved at a time

// A pipe that is read in blocks into memory of the task.
template <class Element>
struct Reader {
    explicit Reader(zepl::Slot slot) {
        const auto pipe = zepl::handleIn<zepl::PipeHandle>(slot);
        zepl::pipe_open(pipe, zepl::OpenMode::read);
        pbuf = zepl::pbuf_open(pipe, block);
        data = static_cast<const Element*>(zepl::pbuf_get_data_ptr(pbuf));
    }
    // Waits for at least one element; gives how many came.
    std::int32_t next() const { return zepl::pbuf_get(pbuf); }

    zepl::PbufHandle pbuf;
    const Element* data;
};

template <class Element>
struct Writer {
    explicit Writer(zepl::Slot slot) {
        const auto pipe = zepl::handleIn<zepl::PipeHandle>(slot);
        zepl::pipe_open(pipe, zepl::OpenMode::write);
        pbuf = zepl::pbuf_open(pipe, block);
        data = static_cast<Element*>(zepl::pbuf_get_data_ptr(pbuf));
    }
    void put(std::int32_t n) const { zepl::pbuf_put_set_cnt(pbuf, n); }

    zepl::PbufHandle pbuf;
    Element* data;
};

const char* const clipSignature =
    "( in pipe (int16|int32|float|double) src , in storage contentof(src) low , in storage contentof(src) high , "
    "out typeof(src) dest )";

template <class Element>
std::uint32_t clipStream(const zepl::Slot* params) {
    const auto *low = zepl::valueIn<Element>(params[2]), *high = zepl::valueIn<Element>(params[3]);
    if (*low > *high) zepl::param_error_msg(zepl::ParamError::inconsistentValues, 3);
    const Reader<Element> source(params[1]);
    const Writer<Element> dest(params[4]);
    for (;;) {
        const std::int32_t n = source.next();
        // A variable can be changed by other commands while this one waits, and only then.
        const Element min = *low, max = *high;
        for (std::int32_t i = 0; i < n; ++i) dest.data[i] = std::min(std::max(source.data[i], min), max);
        dest.put(n);
    }
}

std::uint32_t clip(zepl::ParamList list) {
    std::int32_t count;
    const zepl::Slot* params = zepl::param_process(list, &count, 4, 4, anyPipe, anyScalar, anyScalar, anyPipe);
    const zepl::ParamMask type = zepl::param_type(list, 1);
    if (zepl::param_type(list, 4) != type) zepl::param_error_msg(zepl::ParamError::typeMismatch, 4);
    switch (type) {
        case pipeInt16:
            return clipStream<std::int16_t>(params);
        case pipeInt32:
            return clipStream<std::int32_t>(params);
        case pipeFloat:
            return clipStream<float>(params);
        default:
            return clipStream<double>(params);
    }
}

const char* const crossingSignature = "( in pipe float src , in storage float level , out trigger dest )";

std::uint32_t crossing(zepl::ParamList list) {
    std::int32_t count;
    const zepl::Slot* params =
        zepl::param_process(list, &count, 3, 3, pipeFloat, constantFloat | variableFloat, triggerKind);
    const Reader<float> source(params[1]);
    const float* const level = zepl::valueIn<float>(params[2]);
    const auto dest = zepl::handleIn<zepl::TriggerHandle>(params[3]);
    zepl::trigger_open(dest, zepl::OpenMode::write);
    bool above = true;  // a stream that starts above the level does not rise through it
    for (;;) {
        const std::int32_t n = source.next();
        std::uint32_t quiet = 0;  // samples since the last event, or since the block began
        for (std::int32_t i = 0; i < n; ++i) {
            const bool rises = source.data[i] >= *level && !above;
            above = source.data[i] >= *level;
            ++quiet;
            if (!rises) continue;
            zepl::trigger_updt_put(dest, quiet);
            quiet = 0;
        }
        // Readers learn that there is nothing more up to here.
        if (quiet > 0) zepl::trigger_updt_status(dest, quiet);
    }
}

const char* const calibrateSignature =
    "( in pipe int16 counts , in storage float gain , in storage float offset , out pipe float units )";

std::uint32_t calibrate(zepl::ParamList list) {
    std::int32_t count;
    const zepl::ParamMask number = constantFloat | variableFloat;
    const zepl::Slot* params = zepl::param_process(list, &count, 4, 4, pipeInt16, number, number, pipeFloat);
    const Reader<std::int16_t> counts(params[1]);
    const Writer<float> units(params[4]);
    for (;;) {
        const std::int32_t n = counts.next();
        const float gain = *zepl::valueIn<float>(params[2]), offset = *zepl::valueIn<float>(params[3]);
        for (std::int32_t i = 0; i < n; ++i) units.data[i] = static_cast<float>(counts.data[i]) * gain + offset;
        units.put(n);
    }
}

bool install(zepl::InstallContext context, const char* name, zepl::CommandRoutine entry, const char* signature) {
    const zepl::CommandInfo info{.recordSize = 16, .taskSpace = 0, .attributes = 0x80000000, .signature = signature};
    return zepl::CommandInstall(context, name, entry, &info) != 0;
}

constexpr std::uint32_t builtFor = 104;  // the host's interface, in hundredths

}  // namespace

#define EXPORTED extern "C" [[gnu::visibility("default")]]

// Whether the module runs on a host of these versions.
EXPORTED std::uint32_t ModuleCompatibilityCheck(std::uint32_t /*build*/, std::uint32_t interface, std::uint32_t) {
    return interface <= builtFor ? 1 : 0;
}

EXPORTED std::uint32_t ModuleVersion(zepl::VersionRecord* record) {
    if (record->recordSize < 12) return 0;
    record->buildVersion = 100;  // the module's own, 1.00
    record->interfaceVersion = builtFor;
    return 1;
}

EXPORTED std::uint32_t ModuleInstall(zepl::InstallContext context) {
    const bool clipIn = install(context, "CLIP", clip, clipSignature);
    const bool crossingIn = install(context, "CROSSING", crossing, crossingSignature);
    const bool calibrateIn = install(context, "CALIBRATE", calibrate, calibrateSignature);
    return clipIn && crossingIn && calibrateIn ? 1 : 0;
}
