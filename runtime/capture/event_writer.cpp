#include <bit>
#include <cstring>

#include "runtime/capture/events.h"
#include "runtime/capture/varint.h"

namespace libzepl {

namespace {

constexpr std::size_t runTail = 8;  // bytes of a run's step and times

SmallRecord started(EventTag tag, std::uint64_t rounds) {
    SmallRecord record;
    record.byte(static_cast<std::uint8_t>(tag));
    record.varint(rounds);
    return record;
}

// The parts of a run that change. Both fit into one word, so that whoever reads them later finds both or neither changed.
std::uint64_t tailOf(std::uint32_t step, std::uint32_t times) { return std::uint64_t{times} << 32 | step; }

static_assert(std::endian::native == std::endian::little);  // so that one store changes both
void store(std::byte* place, std::uint64_t word) { std::memcpy(place, &word, sizeof word); }

}  // namespace

std::uint64_t EventWriter::roundsTo(std::uint64_t round) {
    const std::uint64_t rounds = round - round_;
    round_ = round;
    return rounds;
}

void EventWriter::delivery(std::uint64_t round, std::size_t input, std::uint64_t count) {
    constexpr std::uint32_t most = ~std::uint32_t{0};
    Run& run = runs_[input];
    const std::uint64_t rounds = round - run.lastRound;
    const bool continues =
        run.count == count && run.times < most && rounds < most && (run.times == 1 || rounds == run.step);
    if (std::byte* place = continues && run.times > 0 ? files_.place(run.offset) : nullptr; place != nullptr) {
        run.step = static_cast<std::uint32_t>(rounds);
        run.lastRound = round;
        return store(place, tailOf(run.step, ++run.times));
    }
    SmallRecord record = started(EventTag::run, roundsTo(round));
    record.varint(input);
    record.varint(count);
    record.fixed(tailOf(0, 1), runTail);
    files_.append(LogStream::events, record.data(), record.size());
    run = {files_.appended(LogStream::events) - runTail, round, count, 0, 1};
}

void EventWriter::inputEnd(std::uint64_t round, std::size_t input) {
    SmallRecord record = started(EventTag::inputEnd, roundsTo(round));
    record.varint(input);
    files_.append(LogStream::events, record.data(), record.size());
}

void EventWriter::value(std::uint64_t round, std::size_t variable, std::uint64_t cell) {
    SmallRecord record = started(EventTag::value, roundsTo(round));
    record.varint(variable);
    record.fixed(cell, sizeof cell);
    files_.append(LogStream::events, record.data(), record.size());
}

void EventWriter::point(std::uint64_t round, std::size_t output, std::uint64_t count, std::uint64_t sum) {
    Point& last = points_[output];
    const std::uint64_t rounds = roundsTo(round);
    SmallRecord record;
    if (output < maxShortPoints && last.count == count && last.rounds == rounds) {
        record.byte(static_cast<std::uint8_t>(static_cast<std::uint64_t>(EventTag::shortPoint) + output));
    } else {
        record = started(EventTag::point, rounds);
        record.varint(output);
        record.varint(count);
        last = {count, rounds};
    }
    record.fixed(sum, sizeof sum);
    files_.append(LogStream::events, record.data(), record.size());
}

void EventWriter::failure(std::uint64_t round, const std::string& reason, const std::string& remedy) {
    ByteWriter bytes;
    bytes.byte(static_cast<std::uint8_t>(EventTag::failure));
    bytes.varint(roundsTo(round));
    bytes.text(reason);
    bytes.text(remedy);
    files_.append(LogStream::events, bytes.bytes().data(), bytes.bytes().size());
}

void EventWriter::end(std::uint64_t round, std::uint64_t how) {
    SmallRecord record = started(EventTag::end, roundsTo(round));
    record.varint(how);
    files_.append(LogStream::events, record.data(), record.size());
}

}  // namespace libzepl
