// One spectral command on inputs in memory, told in a line, with what it delivered; and plain definitions to hold against it.
#pragma once

#include <complex>
#include <numbers>
#include <sstream>

#include "host/mathematics.h"
#include "tests/support/samples.h"
#include "tests/support/session_support.h"

namespace libzepl {

using Doubles = std::vector<double>;

// Elements of some type, for an input or a vector.
struct Given {
    template <class Element>
    Given(const std::vector<Element>& elements) : type(elementTypeOf<Element>()), bytes(bytesOf(elements)) {}
    ElementType type;
    std::vector<std::byte> bytes;
};

// Runs a command with the parameters that stand in a text, apart by blanks. `*` is an input and `v` a vector, made of the
// next that is given; `*` with a type behind is an empty input, `v` with a number so many zeros, `k` an int32 vector of one
// entry. `>` is an output with its type behind: 16, 32, f or d. A number is
// int16, or int32 where it must be or ends with `l`; with a point it is double, or float where it ends with `f`. The rest
// are words.
class OneTask : public TestSession {
 public:
    OneTask(const std::string& command, const std::string& parameters, std::vector<Given> given = {})
        : given_(std::move(given)) {
        TaskSettings task{.command = command, .line = 1};
        std::istringstream stream(parameters);
        for (std::string text; stream >> text;) task.arguments.push_back(argumentFor(text));
        addTask(std::move(task));
        const Report report = run();
        state = statesOf(report)[0];
        console = report.console;
        EXPECT_TRUE(given_.empty() || state == "waiting") << command << " " << parameters << ": " << state;
    }

    template <class Element>
    std::vector<Element> taken(std::size_t output = 0) const {
        return collected<Element>(outputs_[output]);
    }

    std::string state;  // with the code and the position of an error
    Lines console;

 private:
    TaskArgument argumentFor(const std::string& text) {
        const std::string name = text + std::to_string(++names_);
        const std::string suffix = text.substr(1);
        const ElementType type = suffix == "16"   ? ElementType::int16
                                 : suffix == "32" ? ElementType::int32
                                 : suffix == "f"  ? ElementType::float32
                                                  : ElementType::float64;
        if (text == "v") {
            const Given& given = given_[next_++];
            return use(addVector(name, given.type, given.bytes));
        }
        if (text[0] == 'v')
            return use(addVector(name, ElementType::float64, std::vector<std::byte>(8 * std::stoul(suffix))));
        if (text[0] == 'k')
            return use(addVector(name, ElementType::int32, bytesOf(std::vector<std::int32_t>{std::stoi(suffix)})));
        if (text[0] == '>') return use(outputs_.emplace_back(output(name, {}, type)));
        if (text[0] == '*' && !suffix.empty()) return use(pipe(name, {}, type));
        if (text == "*") {
            const Given& given = given_[next_++];
            const PipeId input = pipe(name, {}, given.type);
            feedMemory(input, given.bytes.data(), given.bytes.size() / widthOf(given.type));
            return use(input);
        }
        if (std::isupper(text[0])) return declaredWord(text);
        if (text.find('.') != std::string::npos)
            return text.back() == 'f' ? floatConstant(std::stof(text)) : doubleConstant(std::stod(text));
        const int number = std::stoi(text);
        const auto narrow = static_cast<std::int16_t>(number);
        return text.back() == 'l' || number != narrow ? int32Constant(number) : int16Constant(narrow);
    }

    std::vector<Given> given_;
    std::vector<PipeId> outputs_;
    std::size_t next_ = 0;
    int names_ = 0;
};

// Errors by their code and position, and the parameter lists, apart by semicolons, that each is for.
inline void expectErrors(const std::string& command,
                         std::initializer_list<std::pair<const char*, const char*>> faults) {
    for (const auto& [error, lists] : faults) {
        std::istringstream stream(lists);
        for (std::string list; std::getline(stream, list, ';');)
            EXPECT_EQ(OneTask(command, list).state, std::string("error code ") + error) << list;
    }
}

struct Parts {
    Doubles re, im;
};

inline Parts partsOf(const OneTask& task) { return {task.taken<double>(0), task.taken<double>(1)}; }

// The transform of each block of n elements as MIXRFFT makes it, without a window.
inline Parts transformOf(const Parts& parts, std::size_t n, const std::string& direction = "FORWARD") {
    return partsOf({"MIXRFFT", std::to_string(n) + " " + direction + " * * FULL PARTS >d >d", {parts.re, parts.im}});
}

// Element k of the forward transform of one block, from its definition.
inline std::complex<double> directTransform(const Doubles& block, std::size_t k) {
    const auto n = static_cast<double>(block.size());
    std::complex<double> sum;
    for (std::size_t t = 0; t < block.size(); ++t)
        sum += std::polar(block[t] / n, -2 * std::numbers::pi * static_cast<double>(k * t % block.size()) / n);
    return sum;
}

// The weight of a window's element i of n.
inline double weightOf(const std::string& name, bool reverse, std::size_t i, std::size_t n, double beta = 1) {
    const auto index = static_cast<double>(i), length = static_cast<double>(n),
               mirrored = static_cast<double>(std::min(i, n - i));
    const double t = index * 6.283185307179586 / length, c = zepl::cos(t), x = index * 2.0 / length;
    const auto bessel = [](double argument) {
        const double q = (argument / 3.75) * (argument / 3.75);
        double sum = 0;
        for (const double factor : {0.00458125, 0.03607677, 0.2659732, 1.2067492, 3.0899424, 3.5156229, 1.000000017})
            sum = sum * q + factor;
        return sum;
    };
    if (name == "BARTLETT") return reverse ? (x < 0.5 ? 1.0 - x : x - 1.0) : x < 1.0 ? x : 2.0 - x;
    if (name == "VONHANN") return reverse ? 0.5 * c + 0.5 : 0.5 - 0.5 * c;
    if (name == "HAMMING") return reverse ? 0.46 * c + 0.54 : 0.54 - 0.46 * c;
    if (name == "BLACKMAN") return (reverse ? 0.5 * c + 0.42 : 0.42 - 0.5 * c) + 0.08 * zepl::cos(2 * t);
    if (name == "RECTANGULAR") return 1;
    const double u = reverse ? mirrored / length * 2.0 : index / length * 2.0 - 1.0;
    return bessel(beta * std::sqrt(1.0 - u * u)) / bessel(beta);
}

// A NaN passes the clamp, and then leaves the low bits of the most negative int32 in an integer.
template <class Element>
Element clampedTo(double x) {
    const double top = std::numeric_limits<Element>::max(), bottom = std::numeric_limits<Element>::lowest();
    if (std::is_integral_v<Element> && std::isnan(x))
        return sizeof(Element) == 2 ? Element{} : static_cast<Element>(bottom);
    return static_cast<Element>(x > top ? top : bottom > x ? bottom : x);
}

// The bits of doubles as the elements of an output; only integers are clamped.
template <class Element>
std::vector<BitsOf<Element>> outputBits(const Doubles& values) {
    std::vector<Element> elements;
    for (const double x : values)
        elements.push_back(std::is_integral_v<Element> ? clampedTo<Element>(x) : static_cast<Element>(x));
    return bitsOf(elements);
}

template <class Element>
Doubles widened(const std::vector<Element>& elements) {
    return {elements.begin(), elements.end()};
}

}  // namespace libzepl
