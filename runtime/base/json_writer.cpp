#include "runtime/json_writer.h"

#include <charconv>
#include <cmath>

namespace libzepl {

namespace {

unsigned byteAt(std::string_view text, std::size_t at) {
    return at < text.size() ? static_cast<unsigned char>(text[at]) : 0;
}

bool isWithin(unsigned byte, unsigned least, unsigned most) { return byte >= least && byte <= most; }

// The bytes of the character that `text` starts with, or, negated, of the part of one that no further byte completes.
int characterLength(std::string_view text) {
    const unsigned lead = byteAt(text, 0);
    if (lead < 0x80) return 1;
    if (!isWithin(lead, 0xC2, 0xF4)) return -1;
    const int length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    // The second byte's range keeps out forms longer than needed, surrogates, and what lies above the last character.
    const unsigned least = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    const unsigned most = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    if (!isWithin(byteAt(text, 1), least, most)) return -1;
    for (int i = 2; i < length; ++i)
        if (!isWithin(byteAt(text, static_cast<std::size_t>(i)), 0x80, 0xBF)) return -i;
    return length;
}

// What stands for a character that a text must not hold as it is; empty for others.
std::string_view escaped(char c, char (&room)[6]) {
    constexpr std::string_view digits = "0123456789abcdef";
    switch (c) {
        case '"':
            return "\\\"";
        case '\\':
            return "\\\\";
        case '\b':
            return "\\b";
        case '\f':
            return "\\f";
        case '\n':
            return "\\n";
        case '\r':
            return "\\r";
        case '\t':
            return "\\t";
        default:
            break;
    }
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x20) return {};
    const char whole[6] = {'\\', 'u', '0', '0', digits[byte >> 4], digits[byte & 15]};
    for (std::size_t i = 0; i < sizeof whole; ++i) room[i] = whole[i];
    return {room, sizeof room};
}

constexpr std::string_view replacement = "\xEF\xBF\xBD";

}  // namespace

void JsonWriter::lineFeed() {
    sink_.write("\n");
    for (int i = 0; i < depth_; ++i) sink_.write("  ");
}

// What comes before a value or a key: nothing after a key, else the comma and the line.
void JsonWriter::beginValue() {
    if (afterKey_ || depth_ == 0) {
        afterKey_ = false;
        return;
    }
    const std::uint32_t level = std::uint32_t{1} << depth_;
    if ((nonEmpty_ & level) != 0) sink_.write(",");
    nonEmpty_ |= level;
    lineFeed();
}

void JsonWriter::begin(char bracket) {
    beginValue();
    sink_.write({&bracket, 1});
    ++depth_;
    const std::uint32_t level = std::uint32_t{1} << depth_;
    nonEmpty_ &= ~level;
    lists_ = bracket == '[' ? lists_ | level : lists_ & ~level;
}

void JsonWriter::end() {
    const std::uint32_t level = std::uint32_t{1} << depth_;
    --depth_;
    if ((nonEmpty_ & level) != 0) lineFeed();
    sink_.write((lists_ & level) != 0 ? "]" : "}");
}

void JsonWriter::key(std::string_view name) {
    value(name);
    sink_.write(": ");
    afterKey_ = true;
}

void JsonWriter::text(std::string_view text) {
    char room[6];
    std::size_t plain = 0;  // bytes at the beginning that can stay as they are
    const auto replace = [&](std::string_view by, std::size_t bytes) {
        sink_.write(text.substr(0, plain));
        sink_.write(by);
        text.remove_prefix(plain + bytes);
        plain = 0;
    };
    while (plain < text.size()) {
        const int length = characterLength(text.substr(plain));
        const std::string_view escape = length == 1 ? escaped(text[plain], room) : std::string_view();
        if (length < 0)
            replace(replacement, static_cast<std::size_t>(-length));
        else if (!escape.empty())
            replace(escape, 1);
        else
            plain += static_cast<std::size_t>(length);
    }
    sink_.write(text);
}

void JsonWriter::value(std::string_view of) {
    beginValue();
    sink_.write("\"");
    text(of);
    sink_.write("\"");
}

template <class Number>
void JsonWriter::digits(Number number, bool real) {
    beginValue();
    char room[32];
    const char* const end = std::to_chars(room, room + sizeof room, number).ptr;
    const std::string_view shown(room, static_cast<std::size_t>(end - room));
    sink_.write(shown);
    if (real && shown.find_first_of(".e") == std::string_view::npos) sink_.write(".0");
}

void JsonWriter::value(double number) {
    if (std::isnan(number)) return value(std::string_view("nan"));
    if (std::isinf(number)) return value(std::string_view(number < 0 ? "-inf" : "inf"));
    digits(number, true);
}

void JsonWriter::value(std::int64_t number) { digits(number, false); }
void JsonWriter::value(std::uint64_t number) { digits(number, false); }

void JsonWriter::boolean(bool truth) {
    beginValue();
    sink_.write(truth ? "true" : "false");
}

void JsonWriter::null() {
    beginValue();
    sink_.write("null");
}

}  // namespace libzepl
