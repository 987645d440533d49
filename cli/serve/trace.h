// What a page can see of a pipe: its last samples as they are, and least and greatest values of columns of more and more of
// them, so that a picture of any stretch costs about the same and the memory does not grow with the run.
#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

#include "runtime/live.h"

namespace cli {

inline constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

struct Span {
    double least = notANumber;  // nan where there is no sample, or none that is a number
    double greatest = notANumber;
};

class Trace {
 public:
    static constexpr std::size_t samples = std::size_t{1} << 17;  // that are kept
    static constexpr std::size_t columns = std::size_t{1} << 14;  // of each width
    static constexpr std::uint64_t perColumn = 64;                // samples to the narrowest column
    static constexpr std::uint64_t factor = 8;                    // to the next wider one
    static constexpr std::size_t levels = 8;

    // What a tap is asked for.
    static libzepl::WatchSettings settings() {
        return {.elements = samples, .columns = columns, .perColumn = perColumn};
    }

    // True where anything is new.
    bool add(const libzepl::Watched& watched);

    std::uint64_t seen() const { return seen_; }  // samples since the start of the run
    double last() const;                          // nan without any
    // Of the samples from `from` to before `to`, as finely as they are kept.
    Span over(std::uint64_t from, std::uint64_t to) const;
    // A sample that is kept, else nan.
    double at(std::uint64_t position) const;
    // Where, before `until`, the samples last came from below `level` to it or above it, or the other way; between two
    // samples, by the straight line through them.
    std::optional<double> crossing(double level, bool rising, std::uint64_t until) const;

 private:
    struct Level {
        std::vector<Span> ring;
        std::uint64_t first = 0;  // the numbers of the columns that are there
        std::uint64_t next = 0;
    };

    void addSamples(const libzepl::Watched& watched);
    void addColumn(std::uint64_t number, const Span& span);
    bool isKept(std::uint64_t position) const { return position >= first_ && position < seen_; }
    Span ofSamples(std::uint64_t from, std::uint64_t to) const;
    Span ofColumns(std::size_t level, std::uint64_t from, std::uint64_t to) const;

    std::vector<double> ring_;
    std::uint64_t first_ = 0;  // the position of the oldest of the samples in the ring, which are in one piece
    std::uint64_t seen_ = 0;
    bool ended_ = false;
    std::array<Level, levels> levels_;
};

}  // namespace cli
