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

    std::uint64_t known() const { return word(1); }
    std::uint64_t appended(LogStream stream) const { return word(2 + static_cast<std::size_t>(stream)); }
    LogBytes stream(const std::filesystem::path& folder, std::size_t i) const {
        const std::uint64_t appended = word(2 + i), written = word(2 + logStreams + i), size = ringBytes[i];
        if (written > appended || appended - written > size) damaged(name_ + ": it is damaged");
        std::uint64_t start = RingHeader::bytes;
        for (std::size_t before = 0; before < i; ++before) start += ringBytes[before];
        // A machine that lost its power can have lost the end of the file, after which the ring has no place.
        const std::filesystem::path file = folder / logNames[i];
        if (const std::uint64_t there = sizeOf(file); there < written) return {file, there, {}};
        std::vector<std::byte> tail(appended - written);
        for (std::uint64_t at = written; at < appended; ++at) tail[at - written] = bytes_[start + (at & (size - 1))];
        return {file, written, std::move(tail)};
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
    isCut = std::filesystem::exists(path / ringName, error);
    bool isKilled = isCut;
    if (isCut) {
        const LeftRing ring(path / ringName);
        known = ring.known();
        events = ring.stream(path, static_cast<std::size_t>(LogStream::events));
        elements = ring.stream(path, static_cast<std::size_t>(LogStream::elements));
        isKilled = events.size() == ring.appended(LogStream::events);
    } else {
        for (LogBytes* each : {&events, &elements}) {
            const std::filesystem::path file = path / logNames[each == &elements ? 1 : 0];
            *each = LogBytes(file, sizeOf(file), {});
        }
    }
    summary = summarize(reader(), run, known);
    if (summary.end)
        isCut = false;
    else if (isKilled)
        cause = "the run was killed, or its disk was full";
    else
        cutAt(std::min(known, summary.lastBegin), std::string("its file `") + logNames[0] + "` has no end");
    if (summary.elementBytes > elements.size())
        cutAt(lastRoundWithElements(), std::string("its file `") + logNames[1] + "` is shorter than the run's");
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
