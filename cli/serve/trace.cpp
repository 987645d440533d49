#include "cli/serve/trace.h"

#include <algorithm>
#include <cmath>

namespace cli {

namespace {

// fmin and fmax give the other one for nan.
void widen(Span& span, const Span& by) {
    span.least = std::fmin(span.least, by.least);
    span.greatest = std::fmax(span.greatest, by.greatest);
}

// A comparison with nan is false.
Span extremesOf(const double* values, std::uint64_t n) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    double least = infinity, greatest = -infinity;
    for (std::uint64_t i = 0; i < n; ++i) {
        least = values[i] < least ? values[i] : least;
        greatest = values[i] > greatest ? values[i] : greatest;
    }
    return least > greatest ? Span() : Span{least, greatest};
}

std::uint64_t widthOfLevel(std::size_t level) {
    std::uint64_t width = Trace::perColumn;
    for (std::size_t i = 0; i < level; ++i) width *= Trace::factor;
    return width;
}

}  // namespace

bool Trace::add(const libzepl::Watched& watched) {
    const bool isNew = watched.seen > seen_ || watched.ended != ended_;
    if (ring_.empty()) ring_.assign(samples, notANumber);
    addSamples(watched);
    const std::uint64_t first = watched.firstColumn / perColumn;
    for (std::size_t i = 0; i < watched.least.size(); ++i)
        addColumn(first + i, {watched.least[i], watched.greatest[i]});
    ended_ = watched.ended;
    return isNew;
}

void Trace::addSamples(const libzepl::Watched& watched) {
    if (watched.count() == 0 && watched.seen > seen_) first_ = seen_ = watched.seen;
    if (watched.count() == 0) return;
    if (watched.first != seen_) first_ = watched.first;
    libzepl::withElementType(watched.type, [&]<class Element> {
        std::uint64_t position = watched.first;
        for (const Element element : watched.as<Element>()) ring_[position++ % samples] = static_cast<double>(element);
    });
    seen_ = watched.seen;
    if (seen_ > samples) first_ = std::max(first_, seen_ - samples);
}

void Trace::addColumn(std::uint64_t number, const Span& span) {
    for (Level& level : levels_) {
        if (level.ring.empty()) level.ring.resize(columns);
        if (number + 1 < level.next) return;  // a tap gives columns in order
        if (number >= level.next + columns || level.next == 0) level.first = level.next = number;
        for (; level.next <= number; ++level.next) level.ring[level.next % columns] = {};
        level.first = std::max(level.first, level.next > columns ? level.next - columns : 0);
        widen(level.ring[number % columns], span);
        number /= factor;
    }
}

double Trace::last() const { return seen_ == 0 ? notANumber : at(seen_ - 1); }

double Trace::at(std::uint64_t position) const { return isKept(position) ? ring_[position % samples] : notANumber; }

Span Trace::ofSamples(std::uint64_t from, std::uint64_t to) const {
    Span span;
    while (from < to) {
        const std::uint64_t place = from % samples, n = std::min(to - from, samples - place);
        widen(span, extremesOf(ring_.data() + place, n));
        from += n;
    }
    return span;
}

Span Trace::ofColumns(std::size_t index, std::uint64_t from, std::uint64_t to) const {
    const Level& level = levels_[index];
    const std::uint64_t width = widthOfLevel(index);
    Span span;
    const std::uint64_t first = std::max(from / width, level.first), next = std::min((to - 1) / width + 1, level.next);
    for (std::uint64_t number = first; number < next; ++number) widen(span, level.ring[number % columns]);
    return span;
}

Span Trace::over(std::uint64_t from, std::uint64_t to) const {
    to = std::min(to, seen_);
    if (from >= to) return {};
    if (isKept(from) && to - from < 4 * perColumn) return ofSamples(from, to);
    // The widest columns of which there are two, and wider ones where these have been overwritten.
    std::size_t level = 0;
    while (level + 1 < levels && 2 * widthOfLevel(level + 1) <= to - from) ++level;
    while (level + 1 < levels && levels_[level].first * widthOfLevel(level) > from) ++level;
    Span span = ofColumns(level, from, to);
    // The last samples are in no column yet.
    const std::uint64_t inColumns = levels_[0].next * perColumn;
    if (to > inColumns) widen(span, ofSamples(std::max({from, inColumns, first_}), to));
    return span;
}

std::optional<double> Trace::crossing(double level, bool rising, std::uint64_t until) const {
    for (std::uint64_t to = std::min(until, seen_); to > first_ + 1; --to) {
        const double before = at(to - 2), after = at(to - 1);
        if (rising ? !(before < level && after >= level) : !(before > level && after <= level)) continue;
        return static_cast<double>(to - 2) + (level - before) / (after - before);
    }
    return {};
}

}  // namespace cli
