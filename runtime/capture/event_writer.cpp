#include <bit>

#include "runtime/capture/events.h"
#include "runtime/capture/varint.h"

namespace libzepl {

namespace {

static_assert(std::endian::native == std::endian::little);  // words are kept as the machine has them

constexpr std::size_t runTail = 8;  // bytes of a run's step and times

// An event, written where the ring has its next bytes.
class EventRecord : public RecordWriter {
 public:
    explicit EventRecord(LogFiles& files) : RecordWriter(files.place(LogStream::events)), files_(files) {}
    EventRecord(LogFiles& files, EventTag tag, std::uint64_t rounds) : EventRecord(files) {
        byte(static_cast<std::uint8_t>(tag));
        varint(rounds);
    }
    void append() { files_.append(LogStream::events, end()); }

 private:
    LogFiles& files_;
};

}  // namespace

// The second delivery of a run says how far it is from one to the next.
void EventWriter::beginRun(std::uint64_t round, std::size_t input, std::uint64_t count) {
    Run& run = runs_[input];
    const std::uint64_t rounds = round - run.lastRound();
    std::byte* place = nullptr;
    if (run.times == 1 && run.count == count && rounds < most) place = files_.changeable(run.offset);
    if (place != nullptr) {
        run.step = static_cast<std::uint32_t>(rounds);
        run.nextRound = round + run.step;
        return store(place, run.step, ++run.times);
    }
    EventRecord record(files_, EventTag::run, roundsTo(round));
    record.varint(input);
    record.varint(count);
    record.word(std::uint64_t{1} << 32);  // once
    record.append();
    run = {files_.appended(LogStream::events) - runTail, round, count, 0, 1};
}

void EventWriter::inputEnd(std::uint64_t round, std::size_t input) {
    EventRecord record(files_, EventTag::inputEnd, roundsTo(round));
    record.varint(input);
    record.append();
}

void EventWriter::value(std::uint64_t round, std::size_t variable, std::uint64_t cell) {
    EventRecord record(files_, EventTag::value, roundsTo(round));
    record.varint(variable);
    record.word(cell);
    record.append();
}

void EventWriter::point(std::uint64_t round, std::size_t output, std::uint64_t count, std::uint64_t sum) {
    Point& last = points_[output];
    const std::uint64_t rounds = roundsTo(round);
    EventRecord record(files_);
    if (output < maxShortPoints && last.count == count && last.rounds == rounds) {
        record.byte(static_cast<std::uint8_t>(static_cast<std::uint64_t>(EventTag::shortPoint) + output));
    } else {
        record.byte(static_cast<std::uint8_t>(EventTag::point));
        record.varint(rounds);
        record.varint(output);
        record.varint(count);
        last = {count, rounds};
    }
    record.word(sum);
    record.append();
}

void EventWriter::failure(std::uint64_t round, const std::string& reason, const std::string& remedy) {
    ByteWriter bytes;
    bytes.byte(static_cast<std::uint8_t>(EventTag::failure));
    bytes.varint(roundsTo(round));
    bytes.text(reason);
    bytes.text(remedy);
    files_.append(LogStream::events, bytes.bytes().data(), bytes.bytes().size());
}

void EventWriter::inputNotes(std::uint64_t round, std::size_t input, const InputNotes& said) {
    const Losses& losses = said.losses;
    ByteWriter bytes;
    bytes.byte(static_cast<std::uint8_t>(EventTag::inputNotes));
    bytes.varint(roundsTo(round));
    bytes.varint(input);
    bytes.byte(static_cast<std::uint8_t>((losses.isFilled ? 1 : 0) | (losses.isEstimated ? 2 : 0)));
    bytes.varint(losses.frames);
    bytes.varint(losses.places);
    bytes.varint(losses.gaps.size());
    for (const Gap& gap : losses.gaps) {
        bytes.varint(gap.frame);
        bytes.varint(gap.lost);
    }
    bytes.varint(said.notes.size());
    for (const std::string& note : said.notes) bytes.text(note);
    files_.append(LogStream::events, bytes.bytes().data(), bytes.bytes().size());
}

void EventWriter::end(std::uint64_t round, std::uint64_t how) {
    EventRecord record(files_, EventTag::end, roundsTo(round));
    record.varint(how);
    record.append();
}

}  // namespace libzepl
