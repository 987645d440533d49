// The files of a capture: of the first byte's lowest bit, the description of the run or its events.

#include <cstdlib>
#include <string>

#include "runtime/capture/capture_folder.h"
#include "runtime/capture/sums.h"

namespace {

// Three inputs of one, two and eight bytes to an element or frame, two variables, and outputs with and without short points.
libzepl::CapturedRun someRun() {
    libzepl::CapturedRun run;
    run.inputs.resize(3);
    run.inputs[1].type = libzepl::ElementType::float64;
    run.variables.resize(2);
    run.outputs.resize(300);
    return run;
}

std::vector<std::byte> copied(const std::uint8_t* bytes, std::size_t count) {
    const auto* first = reinterpret_cast<const std::byte*>(bytes);
    return {first, first + count};
}

// As a description that is whole, so that damage beyond its sum is tried, too.
std::vector<std::byte> withSum(std::vector<std::byte> bytes) {
    constexpr std::size_t start = 14;
    if (bytes.size() < start) return bytes;
    const std::uint64_t sum = libzepl::sumOf(bytes.data() + start, bytes.size() - start);
    const auto* first = reinterpret_cast<const std::byte*>(&sum);
    bytes.insert(bytes.end(), first, first + sizeof sum);
    return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
    if (count == 0) return 0;
    try {
        if ((bytes[0] & 1) != 0) {
            libzepl::parseRun(withSum(copied(bytes + 1, count - 1)), "run");
        } else {
            static const libzepl::CapturedRun run = someRun();
            const libzepl::LogBytes events(copied(bytes + 1, count - 1));
            libzepl::EventReader reader(events, run.inputs.size(), run.variables.size(), run.outputs.size());
            libzepl::summarize(reader, run, bytes[0] < 128 ? ~std::uint64_t{0} : bytes[0]);
        }
    } catch (const libzepl::Problem& problem) {
        if (std::string(problem.what()).empty()) std::abort();
    }
    return 0;
}
