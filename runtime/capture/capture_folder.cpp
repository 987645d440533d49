#include "runtime/capture/capture_folder.h"

#include <algorithm>
#include <cstring>
#include <system_error>

namespace libzepl {

namespace {

[[noreturn]] void damaged(const std::string& what) {
    throw Problem(what, "copy the capture's folder again, or capture the run again");
}

std::uint64_t sizeOf(const std::filesystem::path& file) {
    std::error_code error;
    const std::uint64_t size = std::filesystem::file_size(file, error);
    if (error) damaged(file.string() + ": it is not there: " + error.message());
    return size;
}

// The ring, of which the process that wrote it has died.
class LeftRing {
 public:
    explicit LeftRing(const std::filesystem::path& file) : name_(file.string()), bytes_(bytesOfFile(file)) {
        std::uint64_t total = RingHeader::bytes;
        for (const std::uint64_t size : ringBytes) total += size;
        if (bytes_.size() != total || word(0) != RingHeader::magicNumber) damaged(name_ + ": it is damaged");
    }

    // The first of both is stored first.
    std::uint64_t known() const { return std::min(word(1), word(2)); }
    std::uint64_t appended(std::size_t i) const { return word(3 + i); }
    std::uint64_t written(std::size_t i) const {
        const std::uint64_t written = word(3 + logStreams + i);
        if (written > appended(i) || appended(i) - written > ringBytes[i]) damaged(name_ + ": it is damaged");
        return written;
    }
    // What the stream's file lacks.
    std::vector<std::byte> tail(std::size_t i) const {
        std::uint64_t start = RingHeader::bytes;
        for (std::size_t before = 0; before < i; ++before) start += ringBytes[before];
        std::vector<std::byte> tail(appended(i) - written(i));
        for (std::uint64_t at = 0; at < tail.size(); ++at)
            tail[at] = bytes_[start + ((written(i) + at) & (ringBytes[i] - 1))];
        return tail;
    }

 private:
    std::uint64_t word(std::size_t i) const {
        std::uint64_t value;
        std::memcpy(&value, bytes_.data() + i * sizeof value, sizeof value);
        return value;
    }

    std::string name_;
    std::vector<std::byte> bytes_;
};

StreamSums sumsOf(const std::filesystem::path& folder, std::size_t i) {
    sizeOf(folder / sumNames[i]);
    return {folder / sumNames[i], sumSpans[i]};
}

// Reads a stream as far as it goes, and gives why no further, nothing where all that the run had is there. Of a file that is
// shorter than it was the last span has no sum, and is left out.
std::string readStream(const std::filesystem::path& folder, std::size_t i, const StreamSums& sums, const LeftRing* ring,
                       LogBytes& bytes) {
    const std::filesystem::path file = folder / logNames[i];
    const std::uint64_t there = sizeOf(file);
    const std::uint64_t size = ring != nullptr ? ring->written(i) : sums.size().value_or(there);
    if (ring == nullptr && there > size) damaged(file.string() + ": it is damaged: it is longer than the run's");
    std::string cut;
    if (there < size) {
        cut = std::string("its file `") + logNames[i] + "` is shorter than the run's";
        bytes = LogBytes(file, std::min(sums.summed(), sums.wholeSpans(there)), {});
    } else if (sums.size() == std::nullopt && (ring == nullptr || sums.summed() < sums.wholeSpans(size))) {
        cut = std::string("its file `") + sumNames[i] + "` is shorter than the run's";
        bytes = LogBytes(file, std::min(sums.summed(), sums.wholeSpans(there)), {});
    } else {
        bytes = LogBytes(file, size, ring != nullptr ? ring->tail(i) : std::vector<std::byte>());
    }
    if (const std::optional<std::uint64_t> at = sums.firstDamage(bytes))
        damaged(file.string() + ": it is damaged after byte " + std::to_string(*at) + ", or its sums in `" +
                sumNames[i] + "` are");
    return cut;
}

void add(std::uint64_t& total, std::uint64_t n) {
    if (__builtin_add_overflow(total, n, &total)) damaged("the events of the capture are damaged");
}

// What the deliveries of the run until the end of round `known` come to; none of those in it.
std::uint64_t elementsOf(const Event& run, std::uint64_t known) {
    std::uint64_t times = run.times, elements = 0;
    if (run.lastRound() >= known)
        times = run.round >= known ? 0 : run.step == 0 ? run.times : (known - 1 - run.round) / run.step + 1;
    if (__builtin_mul_overflow(times, run.count, &elements)) damaged("the events of the capture are damaged");
    return elements;
}

}  // namespace

EventSummary summarize(EventReader reader, const CapturedRun& run, std::uint64_t known) {
    EventSummary summary;
    summary.delivered.resize(run.inputs.size());
    summary.counts.resize(run.outputs.size());
    summary.notes.resize(run.inputs.size());
    while (const std::optional<Event> event = reader.next()) {
        if (summary.end) damaged("the events of the capture continue after its end");
        summary.lastBegin = event->round;
        summary.lastRound = std::max(summary.lastRound, event->lastRound());
        switch (event->tag) {
            case EventTag::run: {
                const std::uint64_t n = elementsOf(*event, known);
                std::uint64_t bytes = 0;
                if (__builtin_mul_overflow(n, widthOf(run.inputs[event->place].type), &bytes))
                    damaged("the events of the capture are damaged");
                add(summary.delivered[event->place], n);
                add(summary.elementBytes, bytes);
                break;
            }
            case EventTag::value:
                if (event->round < known) summary.values.push_back({event->round, event->place, event->word});
                break;
            case EventTag::point:
                add(summary.counts[event->place], event->count);
                break;
            case EventTag::failure:
                summary.failure = event;
                break;
            case EventTag::inputNotes:
                summary.notes[event->place] = event->notes;
                break;
            case EventTag::end:
                summary.end = event;
                break;
            default:
                break;
        }
    }
    return summary;
}

CaptureFolder::CaptureFolder(std::filesystem::path folder) : path(std::move(folder)) {
    std::error_code error;
    if (!std::filesystem::exists(path / runName, error))
        throw Problem(path.string() + ": this is no capture: it has no file `" + runName + "`",
                      "give the folder of a zepl run --capture");
    run = parseRun(bytesOfFile(path / runName), (path / runName).string());
    std::optional<LeftRing> ring;
    if (std::filesystem::exists(path / ringName, error)) known = ring.emplace(path / ringName).known();
    const StreamSums sumsOfEvents = sumsOf(path, 0), sumsOfElements = sumsOf(path, 1);
    const std::string cutEvents = readStream(path, 0, sumsOfEvents, ring ? &*ring : nullptr, events);
    const std::string cutElements = readStream(path, 1, sumsOfElements, ring ? &*ring : nullptr, elements);
    if (!StreamSums::fitTogether(sumsOfEvents, sumsOfElements))
        damaged(path.string() + ": its files are of several captures, or the sums are damaged");
    summary = summarize(reader(), run, known);
    if (ring && summary.lastRound > known) damaged((path / ringName).string() + ": it is damaged");
    if (summary.end == std::nullopt && !cutEvents.empty()) {
        cutAt(std::min(known, summary.lastBegin), cutEvents);
    } else if (summary.end == std::nullopt) {
        if (!ring) damaged((path / logNames[0]).string() + ": it is damaged: it has no end");
        isCut = true;
        cause = "the run was killed, or its disk was full";
    }
    if (summary.elementBytes > elements.size()) {
        if (cutElements.empty()) damaged((path / logNames[1]).string() + ": it is damaged: it is too short");
        cutAt(lastRoundWithElements(), cutElements);
    }
    for (std::size_t i = 0; i < run.inputs.size(); ++i)
        if (run.inputs[i].isMemory && summary.delivered[i] > run.inputs[i].length.value_or(0))
            damaged((path / runName).string() + ": it is damaged");
}

void CaptureFolder::cutAt(std::uint64_t round, const std::string& why) {
    isCut = true;
    cause = why;
    known = round;
    summary = summarize(reader(), run, known);
    summary.end.reset();
}

std::uint64_t CaptureFolder::lastRoundWithElements() const {
    std::uint64_t there = 0, missing = summary.lastRound + 1;
    while (missing - there > 1) {
        const std::uint64_t middle = there + (missing - there) / 2;
        (summarize(reader(), run, middle).elementBytes <= elements.size() ? there : missing) = middle;
    }
    return there;
}

}  // namespace libzepl
