// The first line of the bytes is parsed as a signature, and each further line becomes a list of arguments, an argument
// a byte: nothing may crash or run without end, every mistake has its place, and a list fits or its mismatch is explained.
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/signature.h"

namespace {

using libzepl::ResolvedArgument;
using libzepl::Signature;

void require(bool condition) {
    if (!condition) std::abort();
}

ResolvedArgument argumentOf(char byte, const std::vector<std::string>& words) {
    constexpr std::array<std::string_view, 8> numbers{"0", "-1", "32768", "65536", "2147483648", "1e9", "1.5", "nan"};
    const auto bits = static_cast<unsigned char>(byte);
    ResolvedArgument argument;
    argument.kind = static_cast<ResolvedArgument::Kind>(bits % 7);
    argument.type = libzepl::allElementTypes[bits / 7U % 4];
    argument.typed = bits % 2 == 0;
    argument.number = libzepl::parseNumber(numbers[bits / 28U % 8]).value();
    argument.text = words.empty() ? "inside" : words[bits / 7U % words.size()];
    return argument;
}

void requireAnswer(const Signature& signature, const std::vector<ResolvedArgument>& arguments) {
    const auto kinds = libzepl::matchSignature(signature, arguments);
    const std::vector<std::string> names(arguments.size(), "name");
    const std::string explanation = libzepl::explainMismatch(signature, arguments, names);
    require(libzepl::defaultKinds(arguments).size() == arguments.size());
    require(kinds.has_value() == explanation.empty());
    if (!kinds) return;
    require(kinds->size() == arguments.size());
    for (const libzepl::BoundArgument& bound : *kinds) require(std::has_single_bit(bound.kind));
}

void requireAnswers(const Signature& signature, const std::vector<std::string>& words, std::string_view lists) {
    std::vector<ResolvedArgument> arguments;
    int left = 4;  // lists, so that one input stays quick
    for (char byte : lists) {
        if (byte != '\n') {
            arguments.push_back(argumentOf(byte, words));
            continue;
        }
        if (--left == 0) return;
        requireAnswer(signature, arguments);
        arguments.clear();
    }
    requireAnswer(signature, arguments);
}

std::string refusal(const std::string& text) {
    try {
        libzepl::checkSignature(text);
        return {};
    } catch (const libzepl::SignatureError& error) {
        return error.what();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const std::size_t end = bytes.find('\n');
    const std::string text = bytes.substr(0, end);
    try {
        const Signature signature = libzepl::parseSignature(text);
        const std::string layout = libzepl::layOut(signature);
        require(layout.empty() || layout.back() == '\n');
        requireAnswers(signature, libzepl::checkSignature(text),
                       end == std::string::npos ? std::string_view() : std::string_view(bytes).substr(end + 1));
    } catch (const libzepl::SignatureError& error) {
        require(refusal(text) == error.what());
        require(error.offset() >= 0 && static_cast<std::size_t>(error.offset()) <= text.size());
    }
    return 0;
}
