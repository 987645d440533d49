#include "runtime/files/sound_layout.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <limits>

namespace libzepl {

namespace {

constexpr int maxChunks = 10000;

// How the chunks of a format are one after the other.
struct ChunkStyle {
    std::uint64_t first = 12;  // offset of the first one
    std::size_t idBytes = 4, sizeBytes = 4;
    bool bigEndian = false;
    bool countsHeader = false;  // the size counts id and size, too
    std::uint64_t alignment = 2;
};

constexpr ChunkStyle riffStyle{}, rifxStyle{.bigEndian = true}, formStyle{.bigEndian = true};
constexpr ChunkStyle wave64Style{.first = 40, .idBytes = 16, .sizeBytes = 8, .countsHeader = true, .alignment = 8};
constexpr ChunkStyle coreStyle{.first = 8, .sizeBytes = 8, .bigEndian = true, .alignment = 1};

struct Chunk {
    std::string id;
    std::uint64_t sizeOffset = 0, body = 0, size = 0;
};

std::string textAt(SoundBytes& bytes, std::uint64_t offset, std::size_t count) {
    std::string text(count, '\0');
    text.resize(bytes.peek(offset, text.data(), count));
    return text;
}

// A number that the header has at the offset; 0 where it ends before.
std::uint64_t numberAt(SoundBytes& bytes, std::uint64_t offset, std::size_t width, bool bigEndian) {
    std::string text = textAt(bytes, offset, width);
    if (text.size() < width) return 0;
    if (!bigEndian) std::reverse(text.begin(), text.end());
    std::uint64_t number = 0;
    for (char c : text) number = number << 8 | static_cast<unsigned char>(c);
    return number;
}

// The chunk at the offset; nothing where the file ends before its body.
std::optional<Chunk> chunkAt(SoundBytes& bytes, std::uint64_t offset, const ChunkStyle& style) {
    const std::size_t header = style.idBytes + style.sizeBytes;
    if (textAt(bytes, offset, header).size() < header) return std::nullopt;
    Chunk chunk;
    chunk.id = textAt(bytes, offset, 4);
    chunk.sizeOffset = offset + style.idBytes;
    chunk.body = offset + header;
    chunk.size = numberAt(bytes, chunk.sizeOffset, style.sizeBytes, style.bigEndian);
    if (style.countsHeader) chunk.size -= std::min<std::uint64_t>(chunk.size, header);
    return chunk;
}

std::optional<std::uint64_t> endOf(const Chunk& chunk, const ChunkStyle& style) {
    if (chunk.size > std::numeric_limits<std::int64_t>::max() - chunk.body) return std::nullopt;
    return (chunk.body + chunk.size + style.alignment - 1) / style.alignment * style.alignment;
}

// Goes from chunk to chunk up to the one that holds the samples, and calls `look` with each before that.
template <class Look>
std::optional<Chunk> findChunk(SoundBytes& bytes, const ChunkStyle& style, std::string_view wanted, Look look) {
    std::uint64_t offset = style.first;
    for (int i = 0; i < maxChunks; ++i) {
        const std::optional<Chunk> chunk = chunkAt(bytes, offset, style);
        if (!chunk || chunk->id == wanted) return chunk;
        look(*chunk);
        const auto end = endOf(*chunk, style);
        if (!end) return std::nullopt;
        offset = *end;
    }
    return std::nullopt;
}

SoundLayout layoutOf(const Chunk& data, const ChunkStyle& style, std::uint64_t before) {
    SoundLayout layout;
    layout.isChunked = true;
    layout.dataStart = data.body + before;
    layout.dataBytes = data.size - std::min(data.size, before);
    const std::uint64_t header = style.countsHeader ? style.idBytes + style.sizeBytes : 0;
    layout.sizes.push_back({data.sizeOffset, style.sizeBytes, style.bigEndian, header + before, 1});
    return layout;
}

// Bytes of a frame of a WAV's fmt chunk; 0 where samples are packed in blocks.
std::uint64_t waveFrame(SoundBytes& bytes, const Chunk& format, bool bigEndian) {
    std::uint64_t tag = numberAt(bytes, format.body, 2, bigEndian);
    if (tag == 0xFFFE) tag = numberAt(bytes, format.body + 24, 2, bigEndian);
    constexpr std::array<std::uint64_t, 4> plainTags{1, 3, 6, 7};  // integers, reals, A-law, mu-law
    const bool isPlain = std::find(plainTags.begin(), plainTags.end(), tag) != plainTags.end();
    return isPlain ? numberAt(bytes, format.body + 12, 2, bigEndian) : 0;
}

// What programs write that cannot come back to set the size right.
bool isOpenSize(std::uint64_t size) { return size == 0xFFFFFFFF || (size >= 0x7FFF0000 && size <= 0x80000000); }

std::optional<SoundLayout> waveLayout(SoundBytes& bytes, const ChunkStyle& style) {
    std::uint64_t frame = 0;
    std::optional<Chunk> sizes;  // of RF64
    const auto data = findChunk(bytes, style, "data", [&](const Chunk& chunk) {
        if (chunk.id == "fmt ") frame = waveFrame(bytes, chunk, style.bigEndian);
        if (chunk.id == "ds64") sizes = chunk;
    });
    if (!data) return std::nullopt;
    SoundLayout layout = layoutOf(*data, style, 0);
    layout.frameBytes = frame;
    if (sizes && data->size == 0xFFFFFFFF) {
        layout.dataBytes = numberAt(bytes, sizes->body + 8, 8, false);
        layout.sizes = {{sizes->body + 8, 8, false, 0, 1}};
        if (frame > 0) layout.sizes.push_back({sizes->body + 16, 8, false, 0, frame});
    }
    const bool hasShortSize = style.sizeBytes == 4 && !sizes;
    layout.isOpen = hasShortSize ? isOpenSize(data->size) : layout.dataBytes >> 62 != 0;
    return layout;
}

// Bytes of a frame of an AIFF's COMM chunk.
std::uint64_t commonFrame(SoundBytes& bytes, const Chunk& common) {
    constexpr std::array<std::string_view, 10> plain{"NONE", "sowt", "twos", "raw ", "fl32",
                                                     "FL32", "fl64", "FL64", "in24", "in32"};
    const std::string encoding = common.size > 18 ? textAt(bytes, common.body + 18, 4) : "NONE";
    if (std::find(plain.begin(), plain.end(), encoding) == plain.end()) return 0;
    return numberAt(bytes, common.body, 2, true) * ((numberAt(bytes, common.body + 6, 2, true) + 7) / 8);
}

std::optional<SoundLayout> formLayout(SoundBytes& bytes) {
    const std::string type = textAt(bytes, 8, 4);
    if (type == "8SVX" || type == "16SV") {
        const auto body = findChunk(bytes, formStyle, "BODY", [](const Chunk&) {});
        return body ? std::optional(layoutOf(*body, formStyle, 0)) : std::nullopt;
    }
    std::optional<Chunk> common;
    const auto data = findChunk(bytes, formStyle, "SSND", [&](const Chunk& chunk) {
        if (chunk.id == "COMM") common = chunk;
    });
    if (!data) return std::nullopt;
    SoundLayout layout = layoutOf(*data, formStyle, 8 + numberAt(bytes, data->body, 4, true));
    if (!common) return layout;
    layout.frameBytes = commonFrame(bytes, *common);
    if (layout.frameBytes > 0) layout.sizes.push_back({common->body + 2, 4, true, 0, layout.frameBytes});
    return layout;
}

std::optional<SoundLayout> coreLayout(SoundBytes& bytes) {
    std::uint64_t frame = 0;
    const auto data = findChunk(bytes, coreStyle, "data", [&](const Chunk& chunk) {
        if (chunk.id == "desc" && textAt(bytes, chunk.body + 8, 4) == "lpcm")
            frame = numberAt(bytes, chunk.body + 16, 4, true);
    });
    if (!data) return std::nullopt;
    SoundLayout layout = layoutOf(*data, coreStyle, 4);
    layout.frameBytes = frame;
    layout.isOpen = data->size == ~std::uint64_t{0};
    return layout;
}

std::optional<SoundLayout> auLayout(SoundBytes& bytes, bool bigEndian) {
    constexpr std::array<std::uint64_t, 8> widths{0, 1, 1, 2, 3, 4, 4, 8};  // of a sample, by its encoding
    const std::uint64_t encoding = numberAt(bytes, 12, 4, bigEndian), size = numberAt(bytes, 8, 4, bigEndian);
    SoundLayout layout;
    layout.dataStart = numberAt(bytes, 4, 4, bigEndian);
    layout.dataBytes = size;
    layout.isOpen = size == 0xFFFFFFFF;
    if (encoding < widths.size()) layout.frameBytes = widths[encoding] * numberAt(bytes, 20, 4, bigEndian);
    layout.sizes = {{8, 4, bigEndian, 0, 1}};
    return layout;
}

SoundLayout plainLayout(std::uint64_t dataStart, std::uint64_t dataBytes) {
    SoundLayout layout;
    layout.dataStart = dataStart;
    layout.dataBytes = dataBytes;
    return layout;
}

// A header of lines such as "sample_count -i 40000".
SoundLayout nistLayout(SoundBytes& bytes) {
    const std::string header = textAt(bytes, 0, 1024);
    const auto entry = [&](const std::string& name) -> std::uint64_t {
        const std::string start = "\n" + name + " -i ";
        const std::size_t at = header.find(start);
        std::uint64_t number = 0;
        if (at != std::string::npos)
            std::from_chars(header.data() + at + start.size(), header.data() + header.size(), number);
        return std::min<std::uint64_t>(number, 1ULL << 40);
    };
    const std::uint64_t width = std::min<std::uint64_t>(entry("sample_n_bytes"), 8);
    return plainLayout(header.size(),
                       entry("sample_count") * width * std::min<std::uint64_t>(entry("channel_count"), 1024));
}

SoundLayout avrLayout(SoundBytes& bytes) {
    const std::uint64_t channels = numberAt(bytes, 12, 2, true) == 0 ? 1 : 2, width = numberAt(bytes, 14, 2, true) / 8;
    return plainLayout(128, numberAt(bytes, 26, 4, true) * channels * width);
}

// A block of a VOC file: its kind, its size in three bytes, and before the samples what the kind has of its own.
std::optional<SoundLayout> vocLayout(SoundBytes& bytes) {
    const std::uint64_t block = numberAt(bytes, 20, 2, false), kind = numberAt(bytes, block, 1, false);
    if (kind != 1 && kind != 9) return std::nullopt;
    const std::uint64_t own = kind == 1 ? 2 : 12, size = numberAt(bytes, block + 1, 3, false);
    return plainLayout(block + 4 + own, size - std::min(size, own));
}

struct Start {
    std::string_view bytes;
    std::string_view format;
    bool flows;
};

constexpr std::array<Start, 15> starts{{
    {"RIFF", "WAV", true},
    {"RIFX", "WAV", true},
    {"RF64", "RF64", true},
    {"riff", "W64", true},
    {"FORM", "AIFF", true},
    {".snd", "AU", true},
    {"dns.", "AU", true},
    {"caff", "CAF", true},
    {"fLaC", "FLAC", true},
    {"OggS", "OGG", false},
    {"ID3\x02", "MP3", false},
    {"ID3\x03", "MP3", false},
    {"ID3\x04", "MP3", false},
    {"\x93NUMPY", "NPY", false},
    {"NIST_1A", "NIST", false},
}};

}  // namespace

std::optional<SoundLayout> readSoundLayout(SoundBytes& bytes) {
    const std::string start = textAt(bytes, 0, 4);
    if (start == "RIFF" || start == "RF64") return waveLayout(bytes, riffStyle);
    if (start == "RIFX") return waveLayout(bytes, rifxStyle);
    if (start == "riff") return waveLayout(bytes, wave64Style);
    if (start == "FORM") return formLayout(bytes);
    if (start == "caff") return coreLayout(bytes);
    if (start == ".snd" || start == "dns.") return auLayout(bytes, start == ".snd");
    if (start == "NIST") return nistLayout(bytes);
    if (start == "2BIT") return avrLayout(bytes);
    if (start == "Crea") return vocLayout(bytes);
    if (start == "ALaw") return plainLayout(32, numberAt(bytes, 18, 4, true));
    return std::nullopt;
}

bool endsInChunks(SoundBytes& bytes, std::uint64_t offset, std::uint64_t size) {
    const std::string start = textAt(bytes, 0, 4);
    const ChunkStyle style = start == "riff"                      ? wave64Style
                             : start == "caff"                    ? coreStyle
                             : start == "FORM" || start == "RIFX" ? formStyle
                                                                  : riffStyle;
    while (offset < size) {
        const auto chunk = chunkAt(bytes, offset, style);
        if (!chunk) return false;
        const auto isPrintable = [](unsigned char c) { return std::isprint(c) != 0; };
        if (!std::all_of(chunk->id.begin(), chunk->id.end(), isPrintable)) return false;
        const auto end = endOf(*chunk, style);
        if (!end || chunk->body + chunk->size > size) return false;
        offset = *end;
    }
    return true;
}

void patchSizes(SoundBytes& bytes, const SoundLayout& layout, std::uint64_t dataBytes) {
    for (const SizeField& field : layout.sizes) {
        const std::uint64_t number = dataBytes / field.divisor + field.more;
        if (field.width < 8 && number >> (8 * field.width) != 0) continue;  // the library takes what the file holds
        std::string text;
        for (std::size_t i = 0; i < field.width; ++i) text += static_cast<char>(number >> (8 * i));
        if (field.bigEndian) std::reverse(text.begin(), text.end());
        bytes.patch(field.offset, text);
    }
}

std::string_view formatStartingWith(std::string_view bytes) {
    for (const Start& start : starts)
        if (bytes.starts_with(start.bytes)) return start.format;
    return {};
}

bool mayBecomeStart(std::string_view bytes) {
    return std::any_of(std::begin(starts), std::end(starts), [&](const Start& start) {
        return bytes.size() < start.bytes.size() && start.bytes.starts_with(bytes);
    });
}

bool flows(std::string_view bytes) {
    if (bytes.starts_with("FORM"))
        return bytes.substr(0, 11).ends_with("AIF");  // AIFF and AIFC; 8SVX looks for more at its end
    return std::any_of(starts.begin(), starts.end(),
                       [&](const Start& start) { return start.flows && bytes.starts_with(start.bytes); });
}

}  // namespace libzepl
