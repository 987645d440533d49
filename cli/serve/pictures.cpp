#include "cli/serve/pictures.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

namespace cli {

namespace {

static_assert(std::endian::native == std::endian::little, "frames are little-endian");

enum Kind : std::uint8_t { columnsKind = 1, samplesKind = 2 };
constexpr double eventPlace = 0.2;  // of the trigger's event, in parts of the stretch

class Frame {
 public:
    template <class Value>
    void put(Value value) {
        char bytes[sizeof value];
        std::memcpy(bytes, &value, sizeof value);
        bytes_.append(bytes, sizeof value);
    }
    void put(const std::vector<double>& values) {
        bytes_.append(reinterpret_cast<const char*>(values.data()), values.size() * sizeof(double));
    }
    std::string taken() { return std::move(bytes_); }

 private:
    std::string bytes_;
};

struct Stretch {
    double start = 0;  // seconds
    double step = 0;   // seconds to a column
    double event = notANumber;
    double newest = 0;
};

struct Shown {
    std::size_t index;
    const Trace* trace;
    double rate;  // samples a second
};

std::vector<Shown> shownOf(const std::vector<std::size_t>& pipes, Watching& watching) {
    std::vector<Shown> shown;
    for (const std::size_t pipe : pipes)
        if (const Trace* trace = watching.look(pipe)) shown.push_back({pipe, trace, watching.rateOf(pipe)});
    return shown;
}

double endOf(const Shown& shown) { return static_cast<double>(shown.trace->seen()) / shown.rate; }

double newestOf(const std::vector<Shown>& shown) {
    double newest = 0;
    for (const Shown& each : shown) newest = std::max(newest, endOf(each));
    return newest;
}

// Until when all pipes have their samples, but for those that are far behind, such as one that has ended.
double completeOf(const std::vector<Shown>& shown, double newest) {
    constexpr double farBehind = 0.7;  // seconds
    double complete = newest;
    for (const Shown& each : shown)
        if (endOf(each) > newest - farBehind) complete = std::min(complete, endOf(each));
    return complete;
}

// When the last event of the trigger came after which the rest of the stretch has come too.
std::optional<double> eventOf(const Look& look, double complete, Watching& watching) {
    const Trace* trace = watching.look(look.trigger->pipe);
    if (trace == nullptr) return {};
    const double rate = watching.rateOf(look.trigger->pipe);
    const double until = (complete - look.span * (1 - eventPlace)) * rate;
    if (until < 1) return {};
    const auto place = trace->crossing(look.trigger->level, look.trigger->isRising, static_cast<std::uint64_t>(until));
    if (!place) return {};
    return *place / rate;
}

// Free-running stretches begin at whole columns, so that what is drawn moves and does not flicker.
Stretch stretchOf(const Look& look, const std::vector<Shown>& shown, Watching& watching) {
    Stretch stretch;
    const auto columns = static_cast<double>(look.columns);
    stretch.step = look.span / columns;
    stretch.newest = newestOf(shown);
    const double complete = completeOf(shown, stretch.newest);
    if (look.trigger && !look.end) {
        if (const std::optional<double> event = eventOf(look, complete, watching)) {
            stretch.event = *event;
            stretch.start = *event - eventPlace * look.span;
            return stretch;
        }
    }
    const double end = look.end.value_or(std::ceil(complete / stretch.step) * stretch.step);
    stretch.start = end - look.span;
    return stretch;
}

void putHead(Frame& frame, Kind kind, std::size_t pipes, const Look& look, std::size_t columns, const Stretch& stretch,
             const Watching& watching) {
    frame.put(static_cast<std::uint8_t>(kind));
    frame.put(static_cast<std::uint8_t>(std::isnan(stretch.event) ? 0 : 1));
    frame.put(static_cast<std::uint16_t>(pipes));
    frame.put(watching.run());
    frame.put(look.number);
    frame.put(static_cast<std::uint32_t>(columns));
    for (const double value : {stretch.start, stretch.step, stretch.event, stretch.newest}) frame.put(value);
}

void putPipe(Frame& frame, const Shown& shown, const Watching& watching) {
    frame.put(static_cast<std::uint32_t>(shown.index));
    frame.put(static_cast<std::uint32_t>(watching.typeOf(shown.index)));
    frame.put(static_cast<double>(shown.trace->seen()));
    frame.put(shown.rate);
    frame.put(shown.trace->last());
}

// The first sample at `seconds` or later.
std::uint64_t placeAt(double seconds, double rate) {
    // What differs from a whole number by rounding alone is that number.
    return static_cast<std::uint64_t>(std::ceil(std::clamp(seconds * rate - 1e-6, 0.0, 1e18)));
}

void putColumns(Frame& frame, const Shown& shown, const Stretch& stretch, std::size_t columns) {
    std::vector<double> least(columns), greatest(columns);
    std::uint64_t from = placeAt(stretch.start, shown.rate);
    for (std::size_t i = 0; i < columns; ++i) {
        const double end = stretch.start + static_cast<double>(i + 1) * stretch.step;
        const std::uint64_t to = end <= 0 ? from : placeAt(end, shown.rate);
        const Span span = shown.trace->over(from, to);
        least[i] = span.least;
        greatest[i] = span.greatest;
        from = to;
    }
    frame.put(least);
    frame.put(greatest);
}

}  // namespace

std::optional<std::string> pictureOf(const Look& look, Watching& watching) {
    const std::vector<Shown> shown = shownOf(look.pipes, watching);
    const Stretch stretch = stretchOf(look, shown, watching);
    if (look.trigger && look.trigger->waits && !look.end && std::isnan(stretch.event)) return {};
    Frame frame;
    putHead(frame, columnsKind, shown.size(), look, look.columns, stretch, watching);
    for (const Shown& each : shown) {
        putPipe(frame, each, watching);
        putColumns(frame, each, stretch, look.columns);
    }
    return frame.taken();
}

std::string samplesOf(const Look& look, Watching& watching) {
    const std::vector<Shown> shown = shownOf(look.sampled, watching);
    Frame frame;
    putHead(frame, samplesKind, shown.size(), look, look.samples, {.newest = newestOf(shown)}, watching);
    for (const Shown& each : shown) {
        putPipe(frame, each, watching);
        std::vector<double> samples(look.samples, notANumber);
        const std::uint64_t seen = each.trace->seen();
        for (std::size_t i = 0; i < std::min<std::uint64_t>(seen, look.samples); ++i)
            samples[look.samples - 1 - i] = each.trace->at(seen - 1 - i);
        frame.put(samples);
    }
    return frame.taken();
}

}  // namespace cli
