// What a page asks for, as JSON. docs/page.md has the protocol.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "runtime/number.h"

namespace cli {

// What a page looks at, until it says otherwise.
struct Look {
    static constexpr std::size_t mostPipes = 32;
    static constexpr std::size_t mostColumns = 16384;

    struct Trigger {
        std::size_t pipe = 0;
        double level = 0;
        bool isRising = true;
        bool waits = false;  // no picture without an event
    };

    std::uint32_t number = 0;          // comes back with each picture
    std::vector<std::size_t> pipes;    // their places in the state's list
    double span = 1;                   // seconds
    std::size_t columns = 1000;        // of a picture
    std::optional<double> end;         // of the stretch, in seconds since the start of the run; else the newest samples
    std::optional<Trigger> trigger;    // the stretch has such an event at a fifth of its length
    std::vector<std::size_t> sampled;  // pipes whose last samples are wanted, for spectra
    std::size_t samples = 4096;        // of each of these
    double pictures = 30;              // a second at most
};

struct SetValue {
    std::string variable;
    libzepl::Number value;
};
struct Start {};
struct Stop {};
struct SetPaused {
    bool isPaused;
};
struct NotUnderstood {
    std::string why;
};
using Request = std::variant<NotUnderstood, Look, SetValue, Start, Stop, SetPaused>;

Request parseRequest(std::string_view text);

}  // namespace cli
