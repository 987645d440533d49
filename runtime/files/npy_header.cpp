#include "runtime/files/npy_header.h"

#include <array>
#include <charconv>
#include <limits>

#include "runtime/diagnostics.h"

namespace libzepl {

namespace {

constexpr std::string_view magic = "\x93NUMPY";
constexpr std::size_t maxHeader = 65536;
constexpr std::size_t writtenHeaderSize = 128;

// The three entries of a header's dictionary, as they were written.
struct Entries {
    std::optional<std::string_view> type;
    std::optional<bool> fortranOrder;
    std::optional<std::vector<std::uint64_t>> shape;
};

// Reads {'descr': '<f8', 'fortran_order': False, 'shape': (3, 4), } and its like.
class EntryReader {
 public:
    EntryReader(std::string_view text, const std::string& name) : text_(text), name_(name) {}

    Entries read() {
        expect("{");
        Entries entries;
        while (!accept("}")) {
            readEntry(entries);
            if (accept(",")) continue;
            expect("}");
            break;
        }
        skipSpaces();
        if (!text_.empty()) throw bad("something after its dictionary: " + libzepl::quoted(text_));
        return entries;
    }

 private:
    void readEntry(Entries& entries) {
        const std::string_view key = readString();
        expect(":");
        if (key == "descr")
            entries.type = readString();
        else if (key == "fortran_order")
            entries.fortranOrder = readBool();
        else if (key == "shape")
            entries.shape = readShape();
        else
            throw bad("the unknown entry " + libzepl::quoted(key));
    }

    std::string_view readString() {
        skipSpaces();
        const char quote = text_.empty() ? '\0' : text_.front();
        if (quote == '[') throw bad("records of several fields, and only arrays of numbers can be read");
        const std::size_t end = quote == '\'' || quote == '"' ? text_.find(quote, 1) : std::string_view::npos;
        if (end == std::string_view::npos) throw bad("no text in quotes where one is due");
        const std::string_view content = text_.substr(1, end - 1);
        text_.remove_prefix(end + 1);
        return content;
    }

    bool readBool() {
        if (accept("True")) return true;
        expect("False");
        return false;
    }

    std::vector<std::uint64_t> readShape() {
        std::vector<std::uint64_t> shape;
        expect("(");
        while (!accept(")")) {
            shape.push_back(readNumber());
            if (accept(",")) continue;
            expect(")");
            break;
        }
        return shape;
    }

    std::uint64_t readNumber() {
        skipSpaces();
        std::uint64_t number = 0;
        const auto result = std::from_chars(text_.data(), text_.data() + text_.size(), number);
        if (result.ec != std::errc{}) throw bad("a shape that is no list of lengths within 64 bits");
        text_.remove_prefix(static_cast<std::size_t>(result.ptr - text_.data()));
        return number;
    }

    void skipSpaces() { text_.remove_prefix(std::min(text_.find_first_not_of(" \t\n"), text_.size())); }

    bool accept(std::string_view token) {
        skipSpaces();
        if (text_.substr(0, token.size()) != token) return false;
        text_.remove_prefix(token.size());
        return true;
    }

    void expect(std::string_view token) {
        if (!accept(token)) throw bad("no " + libzepl::quoted(token) + " where one is due");
    }

    Problem bad(const std::string& what) const {
        return fileProblem(name_, "its header has " + what, "save the array again");
    }

    std::string_view text_;
    const std::string& name_;
};

[[noreturn]] void refuseType(const std::string& name, std::string_view type) {
    throw fileProblem(name, "its type " + libzepl::quoted(type) + " cannot be read",
                      "save the array as one of i1, i2, i4, i8, u1, u2, u4, f4, f8");
}

// The format that a type such as "<f8" names.
SampleFormat formatOfType(std::string_view type, const std::string& name) {
    if (type.size() != 3 || std::string_view("<>=|").find(type[0]) == std::string_view::npos) refuseType(name, type);
    const int bits = (type[2] - '0') * 8;
    const bool wide = bits == 16 || bits == 32 || bits == 64;
    if (!wide && bits != 8) refuseType(name, type);
    if (wide && type[0] == '|') refuseType(name, type);
    if (type[1] == 'i') return {SampleFormat::Kind::signedInteger, bits};
    if (type[1] == 'u' && bits <= 32) return {SampleFormat::Kind::unsignedInteger, bits};
    if (type[1] == 'f' && bits >= 32) return {SampleFormat::Kind::real, bits};
    refuseType(name, type);
}

std::string shapeText(const std::vector<std::uint64_t>& shape) {
    std::string text;
    for (std::uint64_t length : shape) text += (text.empty() ? "" : ", ") + std::to_string(length);
    return "(" + text + (shape.size() == 1 ? ",)" : ")");
}

void applyShape(const std::vector<std::uint64_t>& shape, bool fortranOrder, const std::string& name,
                RecordingFacts& facts) {
    const std::string text = "its shape " + shapeText(shape);
    if (shape.empty() || shape.size() > 2)
        throw fileProblem(name, text + " is neither (n,) nor (frames, channels)", "reshape the array");
    if (shape.size() == 2 && fortranOrder)
        throw fileProblem(name, "it is stored channel by channel (Fortran order)",
                          "save it in C order, frame by frame");
    const std::uint64_t channels = shape.size() == 2 ? shape[1] : 1;
    constexpr std::uint64_t maxBytes = std::numeric_limits<std::int64_t>::max();
    if (channels < 1 || channels > std::numeric_limits<int>::max() || shape[0] > maxBytes / 8 / channels)
        throw fileProblem(name, text + " is impossible for a recording", "save the array again");
    facts.frames = shape[0];
    facts.channels = static_cast<int>(channels);
}

NpyHeader parseHeader(std::string_view text, const std::string& name) {
    const Entries entries = EntryReader(text, name).read();
    if (!entries.type || !entries.fortranOrder || !entries.shape)
        throw fileProblem(name, "its header lacks one of `descr`, `fortran_order` and `shape`", "save the array again");
    NpyHeader header;
    header.facts.format = formatOfType(*entries.type, name);
    header.bigEndian = entries.type->front() == '>';
    applyShape(*entries.shape, *entries.fortranOrder, name, header.facts);
    return header;
}

// Reads `count` bytes that the header says are there.
template <class Bytes>
void readAll(InputFile& file, Bytes& bytes) {
    if (file.read(bytes.data(), bytes.size()) < bytes.size())
        throw fileProblem(file.name(), "it ends within its header", "check that the file is whole");
}

// The length of the header's text, a little-endian number of 2 bytes in version 1 and 4 bytes after that.
std::size_t textLength(InputFile& file, std::size_t digits) {
    std::vector<unsigned char> bytes(digits);
    readAll(file, bytes);
    std::size_t length = 0;
    for (std::size_t i = digits; i-- > 0;) length = length << 8 | bytes[i];
    return length;
}

}  // namespace

NpyHeader readNpyHeader(InputFile& file) {
    std::array<char, 8> start{};
    const std::size_t got = file.read(start.data(), start.size());
    if (got < magic.size() || std::string_view(start.data(), magic.size()) != magic)
        throw fileProblem(file.name(), got == 0 ? "the file is empty" : "it does not start as an .npy file does",
                          "save the array again");
    const int version = start[6];
    if (got < start.size() || version < 1 || version > 3)
        throw fileProblem(file.name(), "its version is none of 1.0, 2.0 and 3.0", "save the array again");
    const std::size_t digits = version == 1 ? 2 : 4;
    const std::size_t length = textLength(file, digits);
    if (length > maxHeader)
        throw fileProblem(file.name(), "its header of " + std::to_string(length) + " bytes is too long to be right",
                          "save the array again");
    std::string text(length, '\0');
    readAll(file, text);
    NpyHeader header = parseHeader(text, file.name());
    header.size = start.size() + digits + length;
    return header;
}

std::string npyHeader(ElementType type, std::uint64_t frames, std::uint64_t channels) {
    static constexpr std::array<std::string_view, 4> types{"<i2", "<i4", "<f4", "<f8"};
    constexpr std::size_t textSize = writtenHeaderSize - magic.size() - 4;
    std::string text = "{'descr': '" + std::string(types[static_cast<std::size_t>(type)]) +
                       "', 'fortran_order': False, 'shape': (" + std::to_string(frames) + "," +
                       (channels == 1 ? "" : " " + std::to_string(channels)) + "), }";
    text.resize(textSize - 1, ' ');
    std::string header(magic);
    header += {'\x01', '\x00', static_cast<char>(textSize), '\x00'};
    return header + text + '\n';
}

}  // namespace libzepl
