// Turns of a task that works value by value, several at once.

#include "host/turns.h"

#include <array>

#include "runtime/engine/lone_turns.h"
#include "runtime/host/handle_lookup.h"

namespace zepl {

using namespace libzepl;

namespace {

// A command takes few values in a turn.
constexpr std::size_t mostPipes = 8;

struct ReadPorts {
    ReadPorts(Engine& e, const PipeHandle* from, std::int32_t n) : count(countFrom(n)) {
        if (count > mostPipes) misuse(e, "takes values of more than " + std::to_string(mostPipes) + " pipes in a turn");
        for (std::size_t i = 0; i < count; ++i) ports[i] = &readingPort(e, from[i]);
    }
    std::span<PipePort* const> all() const { return {ports.data(), count}; }

    std::array<PipePort*, mostPipes> ports{};
    std::size_t count;
};

std::byte* placeOf(const Pipe& pipe, std::uint64_t position) {
    return pipe.storage + ((position & pipe.mask) << pipe.widthShift);
}

}  // namespace

std::int32_t turns_alone(const PipeHandle* from, std::int32_t count, PipeHandle to, std::int32_t most,
                         const void** values, void** results) {
    Engine& e = running();
    const ReadPorts read(e, from, count);
    const PipePort& written = writingPort(e, to);
    const std::uint64_t n = turnsAlone(e, read.all(), written, countFrom(most));
    if (n == 0) return 0;
    for (std::size_t i = 0; i < read.count; ++i)
        values[i] = placeOf(*read.ports[i]->channel, read.ports[i]->readPosition);
    *results = placeOf(*written.channel, written.channel->writePosition);
    return static_cast<std::int32_t>(n);
}

void turns_done(const PipeHandle* from, std::int32_t count, PipeHandle to, std::int32_t n) {
    Engine& e = running();
    if (n > 0) passTurns(e, ReadPorts(e, from, count).all(), writingPort(e, to), countFrom(n));
}

}  // namespace zepl
