// One spectral command on inputs in memory, with what it delivered, and a direct transform to hold against it.
#pragma once

#include <complex>
#include <numbers>

#include "tests/support/samples.h"
#include "tests/support/session_support.h"

namespace libzepl {

// A session with one task. Arguments are made by its members; outputs count from 0 in the order in which they are made.
class OneTask : public TestSession {
 public:
    explicit OneTask(FeedPolicy feed = {}) : TestSession({.feed = feed}) {}

    template <class Element>
    TaskArgument in(std::vector<Element> elements) {
        return use(input("in" + std::to_string(++inputs_), std::move(elements)));
    }
    TaskArgument silent(ElementType type = ElementType::int16) {
        return use(pipe("silent" + std::to_string(++inputs_), {}, type));
    }
    TaskArgument out(ElementType type = ElementType::float64) {
        outputs_.push_back(output("out" + std::to_string(outputs_.size()), {}, type));
        return use(outputs_.back());
    }
    template <class Element>
    TaskArgument vec(const std::vector<Element>& elements) {
        return use(addVector("v" + std::to_string(++vectors_), elementTypeOf<Element>(), bytesOf(elements)));
    }

    // Runs the task; its state, with the code and the position of an error.
    std::string state(const std::string& command, std::vector<TaskArgument> arguments) {
        addTask({.command = command, .arguments = std::move(arguments), .line = 1});
        const Report report = run();
        console = report.console;
        return statesOf(report)[0];
    }
    // Runs the task, which must get through its set-up.
    OneTask& after(const std::string& command, std::vector<TaskArgument> arguments) {
        EXPECT_EQ(state(command, std::move(arguments)), "waiting") << command;
        return *this;
    }
    template <class Element>
    std::vector<Element> taken(std::size_t output) const {
        return collected<Element>(outputs_[output]);
    }

    Lines console;

 private:
    std::vector<PipeId> outputs_;
    int inputs_ = 0, vectors_ = 0;
};

inline TaskArgument word(const char* text) { return declaredWord(text); }
inline TaskArgument int16(int value) { return int16Constant(static_cast<std::int16_t>(value)); }

using Doubles = std::vector<double>;

struct Parts {
    Doubles re, im;
};

// The transform of each block of n elements as MIXRFFT makes it, without a window.
inline Parts transformOf(const Parts& parts, std::int32_t n, const char* direction = "FORWARD") {
    OneTask task;
    task.after("MIXRFFT", {int32Constant(n), word(direction), task.in(parts.re), task.in(parts.im), word("FULL"),
                           word("PARTS"), task.out(), task.out()});
    return {task.taken<double>(0), task.taken<double>(1)};
}

// The same from its definition, of one block, forward, element by element.
inline std::vector<std::complex<double>> directTransform(const Doubles& block) {
    const std::size_t n = block.size();
    std::vector<std::complex<double>> spectrum(n);
    for (std::size_t k = 0; k < n; ++k)
        for (std::size_t t = 0; t < n; ++t)
            spectrum[k] += std::polar(block[t] / static_cast<double>(n),
                                      -2 * std::numbers::pi * static_cast<double>(k * t % n) / static_cast<double>(n));
    return spectrum;
}

template <class Element>
Doubles widened(const std::vector<Element>& elements) {
    return {elements.begin(), elements.end()};
}

// The conversions of a spectrum's doubles, as their rule tells them.
template <class Element>
Element clampedTo(double x) {
    const double top = std::numeric_limits<Element>::max(), bottom = std::numeric_limits<Element>::lowest();
    if (std::is_integral_v<Element> && std::isnan(x))
        return static_cast<Element>(std::numeric_limits<std::int32_t>::min() & (sizeof(Element) == 2 ? 0xFFFF : -1));
    return static_cast<Element>(x > top ? top : bottom > x ? bottom : x);
}

}  // namespace libzepl
