// The module @NAME@, with one command to begin with:
//
//     @COMMAND@ (source, gain, dest)     each sample times a gain, which can be a variable

#include <zepl/host/host.h>

namespace {

using namespace zepl::kinds;

constexpr std::int32_t block = 1000;  // elements that are moved at a time

const char* const signature = "( in pipe float src , in storage float gain , out pipe float dest )";

std::uint32_t run(zepl::ParamList list) {
    std::int32_t count;
    const zepl::Slot* params =
        zepl::param_process(list, &count, 3, 3, pipeFloat, constantFloat | variableFloat, pipeFloat);
    const auto source = zepl::handleIn<zepl::PipeHandle>(params[1]), dest = zepl::handleIn<zepl::PipeHandle>(params[3]);
    const auto* gain = zepl::valueIn<float>(params[2]);
    zepl::pipe_open(source, zepl::OpenMode::read);
    zepl::pipe_open(dest, zepl::OpenMode::write);
    const zepl::PbufHandle in = zepl::pbuf_open(source, block), out = zepl::pbuf_open(dest, block);
    const auto* x = static_cast<const float*>(zepl::pbuf_get_data_ptr(in));
    auto* y = static_cast<float*>(zepl::pbuf_get_data_ptr(out));
    for (;;) {
        const std::int32_t n = zepl::pbuf_get(in);  // waits for samples
        const float factor = *gain;
        for (std::int32_t i = 0; i < n; ++i) y[i] = x[i] * factor;
        zepl::pbuf_put_set_cnt(out, n);
    }
}

constexpr std::uint32_t builtFor = 104;  // the host's interface, in hundredths

}  // namespace

#define EXPORTED extern "C" [[gnu::visibility("default")]]

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
    const zepl::CommandInfo info{.recordSize = 16, .taskSpace = 0, .attributes = 0x80000000, .signature = signature};
    return zepl::CommandInstall(context, "@COMMAND@", run, &info);
}
