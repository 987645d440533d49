// How far a run is, on a terminal.
#pragma once

#include <string>

#include "runtime/session.h"

namespace cli {

// Shows a line on standard error that is written over and over, once the run has taken a second. Nothing where standard
// error is no terminal.
class ProgressLine {
 public:
    explicit ProgressLine(bool wanted);
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;
    ~ProgressLine() { clear(); }

    void show(const libzepl::Progress& progress);
    void show(const std::string& text);
    // Takes the line away, so that other text can be written.
    void clear();

 private:
    bool wanted_;
    bool shown_ = false;
};

// "42 %, 12.3 million samples a second, 8 s left", as far as it is known.
std::string describe(const libzepl::Progress& progress);

// "8 s", "2 min 10 s".
std::string durationText(double seconds);

}  // namespace cli
