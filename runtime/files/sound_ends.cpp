#include "runtime/files/sound_ends.h"

#include <array>
#include <string_view>

namespace libzepl {

namespace {

using Bytes = std::array<unsigned char, 282>;  // of the longest header of a page

// The length of the Ogg page that starts with these bytes; 0 for none.
std::uint64_t pageLength(const Bytes& header, std::size_t got) {
    constexpr std::size_t fixed = 27;
    if (got < fixed || std::string_view(reinterpret_cast<const char*>(header.data()), 4) != "OggS") return 0;
    const std::size_t segments = header[26];
    std::uint64_t length = fixed + segments;
    for (std::size_t i = 0; i < segments && fixed + i < got; ++i) length += header[fixed + i];
    return length;
}

// Pages follow one another up to one that is marked as the last of its stream.
std::optional<std::string> missingPage(SoundBytes& bytes, std::uint64_t size) {
    Bytes header;
    bool wasLast = false;
    for (std::uint64_t at = 0; at < size;) {
        const std::uint64_t length = pageLength(header, bytes.peek(at, header.data(), header.size()));
        if (length == 0 && wasLast) return std::nullopt;
        if (length == 0) return "it is broken at byte " + std::to_string(at);
        if (length > size - at) return "it ends within a page";
        wasLast = (header[5] & 4) != 0;
        at += length;
    }
    return wasLast ? std::nullopt : std::optional<std::string>("it ends without a last page");
}

// The header of an MPEG frame.
struct Frame {
    std::uint64_t length = 0;        // bytes; 0 for no frame
    std::uint64_t sideOfLayer3 = 0;  // bytes between the header and what may be a table of contents
};

// Rates in kbit/s by the index in the header, for MPEG 1 in layers I, II and III, and for MPEG 2 in layer I and in the others.
constexpr std::array<std::array<int, 15>, 5> bitRates{{
    {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},
    {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320},
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},
    {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},
}};

Frame frameOf(const unsigned char* header) {
    const int version = header[1] >> 3 & 3, layer = 4 - (header[1] >> 1 & 3);  // 3 is MPEG 1, 2 MPEG 2, 0 MPEG 2.5
    const int bits = header[2] >> 4, rate = header[2] >> 2 & 3, padding = header[2] >> 1 & 1;
    const bool syncs = header[0] == 0xFF && (header[1] & 0xE0) == 0xE0;
    if (!syncs || version == 1 || layer == 4 || bits == 0 || bits == 15 || rate == 3) return {};
    constexpr std::array<int, 3> rates{44100, 48000, 32000};
    const int sampleRate = rates[static_cast<std::size_t>(rate)] >> (version == 3 ? 0 : version == 2 ? 1 : 2);
    const std::size_t row = static_cast<std::size_t>(version == 3 ? layer - 1 : layer == 1 ? 3 : 4);
    const int bitRate = bitRates[row][static_cast<std::size_t>(bits)] * 1000;
    const bool isMono = header[3] >> 6 == 3;
    Frame frame;
    if (layer == 1)
        frame.length = static_cast<std::uint64_t>((12 * bitRate / sampleRate + padding) * 4);
    else
        frame.length =
            static_cast<std::uint64_t>((layer == 3 && version != 3 ? 72 : 144) * bitRate / sampleRate + padding);
    frame.sideOfLayer3 = version == 3 ? (isMono ? 17 : 32) : (isMono ? 9 : 17);
    return frame;
}

// The bytes of the stream that the table of contents in its first frame states.
std::optional<std::uint64_t> statedBytes(SoundBytes& bytes, std::uint64_t start, const Frame& frame) {
    std::array<unsigned char, 16> table{};
    bytes.peek(start + 4 + frame.sideOfLayer3, table.data(), table.size());
    const std::string_view name(reinterpret_cast<const char*>(table.data()), 4);
    const bool hasFrames = (table[7] & 1) != 0, hasBytes = (table[7] & 2) != 0;
    if ((name != "Xing" && name != "Info") || !hasBytes) return std::nullopt;
    std::uint64_t stated = 0;
    for (std::size_t i = 0; i < 4; ++i) stated = stated << 8 | table[(hasFrames ? 12U : 8U) + i];
    return stated;
}

// Where the frames start, after a tag.
std::uint64_t firstFrame(SoundBytes& bytes) {
    std::array<unsigned char, 10> tag{};
    bytes.peek(0, tag.data(), tag.size());
    if (tag[0] != 'I' || tag[1] != 'D' || tag[2] != '3') return 0;
    std::uint64_t length = 0;
    for (std::size_t i = 6; i < 10; ++i) length = length << 7 | (tag[i] & 0x7FU);
    return tag.size() + length;
}

std::optional<std::string> missingFrame(SoundBytes& bytes, std::uint64_t size) {
    std::array<unsigned char, 4> header{};
    const std::uint64_t start = firstFrame(bytes);
    for (std::uint64_t at = start; bytes.peek(at, header.data(), header.size()) == header.size();) {
        const Frame frame = frameOf(header.data());
        if (frame.length == 0) return std::nullopt;  // a tag at the end, or none of these files at all
        const std::optional<std::uint64_t> stated = at == start ? statedBytes(bytes, at, frame) : std::nullopt;
        if (stated && *stated > size - start)
            return "its header announces " + counted(*stated, "byte") + ", but it holds " +
                   std::to_string(size - start);
        if (frame.length > size - at) return "it ends within a frame";
        at += frame.length;
    }
    return std::nullopt;
}

constexpr std::size_t flacMark = 4, flacBlockHeader = 4;  // bytes; the mark is "fLaC"

// Where the frames of a FLAC stream start, after its blocks of metadata; nothing where they do not end.
std::optional<std::size_t> flacFrames(const std::vector<std::byte>& stream) {
    const auto at = [&](std::size_t i) { return std::to_integer<std::size_t>(stream[i]); };
    for (std::size_t block = flacMark; block + flacBlockHeader <= stream.size();) {
        const std::size_t length = at(block + 1) << 16 | at(block + 2) << 8 | at(block + 3);
        const bool isLast = (at(block) & 0x80) != 0;
        block += flacBlockHeader + length;
        if (isLast && block <= stream.size()) return block;
    }
    return std::nullopt;
}

// A frame ends with the CRC of all before, by the polynomial x^16 + x^15 + x^2 + 1; over both it is 0.
bool isFlacFrame(const std::byte* from, const std::byte* end) {
    unsigned crc = 0;
    for (; from < end; ++from) {
        crc ^= std::to_integer<unsigned>(*from) << 8;
        for (int bit = 0; bit < 8; ++bit) crc = (crc << 1 ^ ((crc & 0x8000) != 0 ? 0x8005U : 0U)) & 0xFFFF;
    }
    return crc == 0;
}

}  // namespace

std::size_t longestFlacFrame(SoundBytes& bytes) {
    constexpr std::size_t atBlockSize = 10, atFormat = 20,
                          headers = 1024;  // the last: of the frame and of its channels
    std::array<unsigned char, 26> start{};
    bytes.peek(0, start.data(), start.size());
    const std::size_t samples = static_cast<std::size_t>(start[atBlockSize]) << 8 | start[atBlockSize + 1];
    const std::size_t channels = (start[atFormat] >> 1 & 7U) + 1;
    const std::size_t bits = ((start[atFormat] & 1U) << 4 | start[atFormat + 1] >> 4) + 2U;  // one more in a difference
    return samples * channels * bits / 8 + headers;
}

std::optional<std::string> missingFlacEnd(const SoundBytes& bytes) {
    const std::vector<std::byte>& kept = bytes.keptEnd();
    std::size_t first = 0;
    if (bytes.isEndAll()) {
        const std::optional<std::size_t> frames = flacFrames(kept);
        if (!frames) return "it ends within its header";
        if (*frames == kept.size()) return std::nullopt;
        first = *frames;
    }
    for (std::size_t i = kept.size(); i-- > first + 1;)
        if (kept[i - 1] == std::byte{0xFF} && (kept[i] & std::byte{0xFE}) == std::byte{0xF8} &&
            isFlacFrame(kept.data() + i - 1, kept.data() + kept.size()))
            return std::nullopt;
    return "it ends within a frame";
}

std::optional<std::string> missingEnd(SoundBytes& bytes) {
    std::array<char, 4> start{};
    bytes.peek(0, start.data(), start.size());
    const std::uint64_t size = bytes.size().value_or(0);
    if (std::string_view(start.data(), 4) == "OggS") return missingPage(bytes, size);
    return missingFrame(bytes, size);
}

}  // namespace libzepl
