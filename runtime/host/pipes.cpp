// Pipes and pbufs for tasks.

#include "host/pipes.h"
#include "host/pbufs.h"
#include "runtime/host/handle_lookup.h"

namespace zepl {

using namespace libzepl;

void pipe_open(PipeHandle pipe, OpenMode mode) {
    Engine& e = running();
    openPort(e, pipePort(e, pipe), portMode(mode));
}

std::int32_t pipe_num(PipeHandle pipe) {
    Engine& e = running();
    PipePort& port = readingPort(e, pipe);
    if (port.available() == 0) noteUnderrun(e, port);
    return countFor(port.available());
}

namespace {

std::int32_t countUpTo(Engine& e, PipePort& port, std::uint64_t most) {
    if (port.available() >= most) return countFor(most);
    noteUnderrun(e, port);
    return countFor(port.available());
}

[[gnu::noinline]] std::int32_t raiseAndCount(Engine& e, PipePort& port, std::uint64_t most) {
    raiseCapacity(e, *port.channel, most);
    return countUpTo(e, port, most);
}

}  // namespace

std::int32_t pipe_num_complete(PipeHandle pipe, std::int32_t limit) {
    Engine& e = running();
    PipePort& port = readingPort(e, pipe);
    const std::uint64_t most = countFrom(limit);
    if (most > port.channel->capacity) [[unlikely]]
        return raiseAndCount(e, port, most);
    return countUpTo(e, port, most);
}

void pipe_rem(PipeHandle pipe, std::int32_t n) {
    Engine& e = running();
    PipePort& port = readingPort(e, pipe);
    for (std::uint64_t left = countFrom(n); left > 0;) {
        if (port.available() == 0) waitForElements(e, port, 1);
        const std::uint64_t piece = std::min(left, port.available());
        skipElements(e, port, piece);
        left -= piece;
    }
}

// The first value of a turn goes the long way, with all its checks and bookkeeping. While the turn lasts no other task
// runs, so the next ones have nothing to look at but whether there are elements, or room.

namespace {

[[gnu::noinline]] void getValueSlow(Engine& e, PipeHandle pipe, void* destination) {
    PipePort& port = readingPort(e, pipe);
    if (port.available() == 0) waitForElements(e, port, 1);
    port.channel->copyOneOut(port.readPosition, destination);
    commitRead(e, port, 1);
    e.scheduler.readDrivenValue |= port.inputDriven;
    port.fastPathTurn = port.channel->waitingWriter == nullptr ? e.scheduler.turn : 0;
}

[[gnu::noinline]] void putValueSlow(Engine& e, PipeHandle pipe, const void* source) {
    PipePort& port = writingPort(e, pipe);
    Pipe& channel = *port.channel;
    if (channel.writePosition >= channel.writeLimit && !waitForRoom(e, port)) return discardWrite(e, port, source, 1);
    channel.copyOneIn(source);
    commitWrite(e, port, 1);
    // The put that completes a capacity in one turn yields, which is the long way's to do.
    port.fastPathLimit = std::min(channel.writeLimit, port.turnStart + channel.capacity - 1);
    port.fastPathTurn = channel.notifyOnWrite || port.turn != e.scheduler.turn ? 0 : e.scheduler.turn;
}

}  // namespace

void pipe_value_get(PipeHandle pipe, void* destination) {
    Engine& e = running();
    PipePort& port = pipePort(e, pipe);
    if (port.fastPathTurn != e.scheduler.turn || port.readPosition == port.channel->writePosition)
        return getValueSlow(e, pipe, destination);
    port.channel->copyOneOut(port.readPosition, destination);
    ++port.readPosition;
    e.scheduler.readDrivenValue |= port.inputDriven;
}

void pipe_value_put(PipeHandle pipe, const void* source) {
    Engine& e = running();
    PipePort& port = pipePort(e, pipe);
    Pipe& channel = *port.channel;
    if (port.fastPathTurn != e.scheduler.turn || channel.writePosition >= port.fastPathLimit)
        return putValueSlow(e, pipe, source);
    channel.copyOneIn(source);
    ++channel.writePosition;
}

std::int32_t pipe_get(PipeHandle pipe) {
    const PipePort& port = pipePort(running(), pipe);
    std::int64_t cell = 0;
    pipe_value_get(pipe, &cell);
    return port.channel->widthShift == 1 ? static_cast<std::int16_t>(cell) : static_cast<std::int32_t>(cell);
}

void pipe_put(PipeHandle pipe, std::int32_t value) {
    const std::int64_t cell = value;
    pipe_value_put(pipe, &cell);
}

// A record with its handle, and the room that the table of handles doubles in. It stays as long as the session.
constexpr std::uint64_t pbufCost = sizeof(Pbuf) + 4 * sizeof(Pbuf*);

PbufHandle pbuf_open(PipeHandle pipe, std::int32_t capacity) {
    Engine& e = running();
    PipePort& port = pipePort(e, pipe);
    if (port.mode == PortMode::closed) misuse(e, "opens a pbuf on `" + port.channel->name + "` before the pipe");
    if (!e.graph.memory.reserve(pbufCost)) outOfMemory(e, "a block's record");
    Pbuf& pbuf = e.graph.pbufs.emplace_back();
    pbuf.port = &port;
    if (capacity > 0) {
        const std::uint64_t bytes = countFrom(capacity) << port.channel->widthShift;
        pbuf.data = e.scheduler.current->arena.allocateForTask(bytes);
        if (pbuf.data == nullptr) outOfMemory(e, "a buffer of " + std::to_string(bytes) + " bytes");
        pbuf.maximum = capacity;
    }
    return static_cast<PbufHandle>(e.graph.pbufHandles.add(pbuf));
}

void* pbuf_get_data_ptr(PbufHandle pbuf) { return pbufOf(running(), pbuf).data; }
void pbuf_set_data_ptr(PbufHandle pbuf, void* data) { pbufOf(running(), pbuf).data = data; }
void pbuf_set_min_cnt(PbufHandle pbuf, std::int32_t n) { pbufOf(running(), pbuf).minimum = n; }
std::int32_t pbuf_get_min_cnt(PbufHandle pbuf) { return pbufOf(running(), pbuf).minimum; }
void pbuf_set_max_cnt(PbufHandle pbuf, std::int32_t n) { pbufOf(running(), pbuf).maximum = n; }
std::int32_t pbuf_get_max_cnt(PbufHandle pbuf) { return pbufOf(running(), pbuf).maximum; }
std::int32_t pbuf_get_cnt(PbufHandle pbuf) { return pbufOf(running(), pbuf).count; }
void pbuf_set_cnt(PbufHandle pbuf, std::int32_t n) { pbufOf(running(), pbuf).count = n; }

std::int32_t pbuf_get(PbufHandle handle) {
    Engine& e = running();
    Pbuf& pbuf = pbufOf(e, handle);
    PipePort& port = checkMode(e, *pbuf.port, PortMode::reading);
    // A least count above the greatest could never be delivered, so the greatest bounds it.
    const std::uint64_t most = countFrom(pbuf.maximum), least = std::min(countFrom(pbuf.minimum), most);
    if (port.available() < least) waitForElements(e, port, least);
    const std::uint64_t n = std::min(port.available(), most);
    if (n > 0) {
        if (pbuf.data == nullptr) misuse(e, "gets a block of `" + port.channel->name + "` with no data area");
        readElements(e, port, pbuf.data, n);
    } else {
        noteUnderrun(e, port);
    }
    pbuf.count = static_cast<std::int32_t>(n);
    return pbuf.count;
}

void pbuf_put(PbufHandle handle) {
    Engine& e = running();
    Pbuf& pbuf = pbufOf(e, handle);
    PipePort& port = checkMode(e, *pbuf.port, PortMode::writing);
    const std::uint64_t n = countFrom(pbuf.count);
    if (n > 0 && pbuf.data == nullptr) misuse(e, "puts a block to `" + port.channel->name + "` with no data area");
    pbuf.count = 0;
    writeElements(e, port, pbuf.data, n);
}

void pbuf_put_set_cnt(PbufHandle handle, std::int32_t n) {
    pbufOf(running(), handle).count = n;
    pbuf_put(handle);
}

}  // namespace zepl
