// WAV and AU to streams. Their headers say that the length is open, which other formats cannot.

#include <sndfile.h>

#include <algorithm>

#include "runtime/files/input_file.h"
#include "runtime/files/output_file.h"
#include "runtime/files/sound_formats.h"

namespace libzepl {

namespace {

constexpr std::uint32_t openSize = 0xFFFFFFFF;

// Text and numbers of a header, one after the other.
class Header {
 public:
    explicit Header(bool bigEndian) : bigEndian_(bigEndian) {}
    Header& text(std::string_view text) {
        bytes_ += text;
        return *this;
    }
    Header& number(std::uint32_t number, std::size_t width) {
        std::string digits;
        for (std::size_t i = 0; i < width; ++i) digits += static_cast<char>(number >> (8 * i));
        if (bigEndian_) std::reverse(digits.begin(), digits.end());
        bytes_ += digits;
        return *this;
    }
    const std::string& bytes() const { return bytes_; }

 private:
    bool bigEndian_;
    std::string bytes_;
};

std::string waveHeader(const WriteRequest& request) {
    const auto width = static_cast<std::uint32_t>(widthOf(request.type));
    const auto channels = static_cast<std::uint32_t>(request.channels), rate = static_cast<std::uint32_t>(request.rate);
    const bool isReal = request.type == ElementType::float32 || request.type == ElementType::float64;
    Header header(false);
    header.text("RIFF").number(openSize, 4).text("WAVEfmt ").number(16, 4).number(isReal ? 3 : 1, 2);
    header.number(channels, 2).number(rate, 4).number(rate * channels * width, 4).number(channels * width, 2);
    header.number(8 * width, 2).text("data").number(openSize, 4);
    return header.bytes();
}

std::string auHeader(const WriteRequest& request) {
    constexpr std::array<std::uint32_t, 4> encodings{3, 5, 6, 7};  // by ElementType
    Header header(true);
    header.text(".snd").number(24, 4).number(openSize, 4).number(encodings[static_cast<std::size_t>(request.type)], 4);
    header.number(static_cast<std::uint32_t>(request.rate), 4).number(static_cast<std::uint32_t>(request.channels), 4);
    return header.bytes();
}

class StreamSink final : public FileSink<Sink> {
 public:
    StreamSink(const WriteRequest& request, const std::string& header, bool bigEndian)
        : FileSink(request.path, request.output), width_(widthOf(request.type)), bigEndian_(bigEndian) {
        file_.write(header);
    }
    void write(const void* from, std::size_t count) override {
        if (!bigEndian_) return file_.write(from, count * width_);
        const auto* bytes = static_cast<const std::byte*>(from);
        turned_.assign(bytes, bytes + count * width_);
        for (auto at = turned_.begin(); at != turned_.end(); at += static_cast<std::ptrdiff_t>(width_))
            std::reverse(at, at + static_cast<std::ptrdiff_t>(width_));
        file_.write(turned_.data(), turned_.size());
    }

 private:
    std::size_t width_;
    bool bigEndian_;
    std::vector<std::byte> turned_;
};

}  // namespace

std::unique_ptr<Sink> createSoundStream(const WriteRequest& request, const SoundFormat& format) {
    if (format.container == SF_FORMAT_WAV) return std::make_unique<StreamSink>(request, waveHeader(request), false);
    if (format.container == SF_FORMAT_AU) return std::make_unique<StreamSink>(request, auHeader(request), true);
    throw fileProblem(
        request.path == "-" ? "standard output" : request.path.string(),
        std::string(format.name) + " states its length before its samples, and a stream's is not known by then",
        "write WAV, AU, FLAC, CSV or raw samples");
}

}  // namespace libzepl
