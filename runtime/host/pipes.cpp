// Pipes and pbufs for tasks.

#include "host/pipes.h"
#include "host/pbufs.h"
#include "runtime/host/handle_lookup.h"

namespace zepl {

using namespace libzepl;

void pipe_open(PipeHandle pipe, OpenMode mode) {
    Engine& e = running();
    openEnd(e, pipeEnd(e, pipe), endMode(mode));
}

std::int32_t pipe_num(PipeHandle pipe) {
    Engine& e = running();
    PipeEnd& end = readingEnd(e, pipe);
    if (end.available() == 0) noteShort(e, end);
    return countFor(end.available());
}

namespace {

std::int32_t countUpTo(Engine& e, PipeEnd& end, std::uint64_t most) {
    if (end.available() >= most) return countFor(most);
    noteShort(e, end);
    return countFor(end.available());
}

[[gnu::noinline]] std::int32_t raiseAndCount(Engine& e, PipeEnd& end, std::uint64_t most) {
    raiseCapacity(e, *end.channel, most);
    return countUpTo(e, end, most);
}

}  // namespace

std::int32_t pipe_num_complete(PipeHandle pipe, std::int32_t limit) {
    Engine& e = running();
    PipeEnd& end = readingEnd(e, pipe);
    const std::uint64_t most = countFrom(limit);
    if (most > end.channel->capacity) [[unlikely]]
        return raiseAndCount(e, end, most);
    return countUpTo(e, end, most);
}

void pipe_rem(PipeHandle pipe, std::int32_t n) {
    Engine& e = running();
    PipeEnd& end = readingEnd(e, pipe);
    for (std::uint64_t left = countFrom(n); left > 0;) {
        if (end.available() == 0) waitForElements(e, end, 1);
        const std::uint64_t piece = std::min(left, end.available());
        dropElements(e, end, piece);
        left -= piece;
    }
}

// The first value of a turn goes the long way, with all its checks and bookkeeping. While the turn lasts no other task
// runs, so the next ones have nothing to look at but whether there are elements, or room.

namespace {

[[gnu::noinline]] void getValueWithCare(Engine& e, PipeHandle pipe, void* destination) {
    PipeEnd& end = readingEnd(e, pipe);
    if (end.available() == 0) waitForElements(e, end, 1);
    end.channel->copyOneOut(end.taken, destination);
    countTake(e, end, 1);
    e.tookFedValue |= end.fed;
    end.fastTurn = end.channel->waitingWriter == nullptr ? e.turn : 0;
}

[[gnu::noinline]] void putValueWithCare(Engine& e, PipeHandle pipe, const void* source) {
    PipeEnd& end = writingEnd(e, pipe);
    Pipe& channel = *end.channel;
    if (channel.written >= channel.writableUntil && !waitForRoom(e, end)) return countDropped(e, end, 1);
    channel.copyOneIn(source);
    countPut(e, end, 1);
    // The put that completes a capacity in one turn yields, which is the long way's to do.
    end.fastUntil = std::min(channel.writableUntil, end.turnStart + channel.capacity - 1);
    end.fastTurn = channel.watched || end.turn != e.turn ? 0 : e.turn;
}

}  // namespace

void pipe_value_get(PipeHandle pipe, void* destination) {
    Engine& e = running();
    PipeEnd& end = pipeEnd(e, pipe);
    if (end.fastTurn != e.turn || end.taken == end.channel->written) return getValueWithCare(e, pipe, destination);
    end.channel->copyOneOut(end.taken, destination);
    ++end.taken;
    e.tookFedValue |= end.fed;
}

void pipe_value_put(PipeHandle pipe, const void* source) {
    Engine& e = running();
    PipeEnd& end = pipeEnd(e, pipe);
    Pipe& channel = *end.channel;
    if (end.fastTurn != e.turn || channel.written >= end.fastUntil) return putValueWithCare(e, pipe, source);
    channel.copyOneIn(source);
    ++channel.written;
}

std::int32_t pipe_get(PipeHandle pipe) {
    const PipeEnd& end = pipeEnd(running(), pipe);
    std::int64_t cell = 0;
    pipe_value_get(pipe, &cell);
    return end.channel->widthShift == 1 ? static_cast<std::int16_t>(cell) : static_cast<std::int32_t>(cell);
}

void pipe_put(PipeHandle pipe, std::int32_t value) {
    const std::int64_t cell = value;
    pipe_value_put(pipe, &cell);
}

// A record with its handle, and the room that the table of handles doubles in. It stays as long as the session.
constexpr std::uint64_t pbufCost = sizeof(Pbuf) + 4 * sizeof(Pbuf*);

PbufHandle pbuf_open(PipeHandle pipe, std::int32_t capacity) {
    Engine& e = running();
    PipeEnd& end = pipeEnd(e, pipe);
    if (end.mode == EndMode::closed) misuse(e, "opens a pbuf on `" + end.channel->name + "` before the pipe");
    if (!e.memory.take(pbufCost)) outOfMemory(e, "a block's record");
    Pbuf& pbuf = e.pbufs.emplace_back();
    pbuf.end = &end;
    if (capacity > 0) {
        const std::uint64_t bytes = countFrom(capacity) << end.channel->widthShift;
        pbuf.data = e.current->arena.allocateForLife(bytes);
        if (pbuf.data == nullptr) outOfMemory(e, "a buffer of " + std::to_string(bytes) + " bytes");
        pbuf.maximum = capacity;
    }
    return static_cast<PbufHandle>(e.pbufHandles.add(pbuf));
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
    PipeEnd& end = checkMode(e, *pbuf.end, EndMode::reading);
    // A least count above the greatest could never be delivered, so the greatest bounds it.
    const std::uint64_t most = countFrom(pbuf.maximum), least = std::min(countFrom(pbuf.minimum), most);
    if (end.available() < least) waitForElements(e, end, least);
    const std::uint64_t n = std::min(end.available(), most);
    if (n > 0) {
        if (pbuf.data == nullptr) misuse(e, "gets a block of `" + end.channel->name + "` with no data area");
        takeElements(e, end, pbuf.data, n);
    } else {
        noteShort(e, end);
    }
    pbuf.count = static_cast<std::int32_t>(n);
    return pbuf.count;
}

void pbuf_put(PbufHandle handle) {
    Engine& e = running();
    Pbuf& pbuf = pbufOf(e, handle);
    PipeEnd& end = checkMode(e, *pbuf.end, EndMode::writing);
    const std::uint64_t n = countFrom(pbuf.count);
    if (n > 0 && pbuf.data == nullptr) misuse(e, "puts a block to `" + end.channel->name + "` with no data area");
    pbuf.count = 0;
    putElements(e, end, pbuf.data, n);
}

void pbuf_put_set_cnt(PbufHandle handle, std::int32_t n) {
    pbufOf(running(), handle).count = n;
    pbuf_put(handle);
}

}  // namespace zepl
