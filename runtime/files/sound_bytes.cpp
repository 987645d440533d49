#include "runtime/files/sound_bytes.h"

#include <algorithm>
#include <cstring>

namespace libzepl {

namespace {

constexpr std::uint64_t maxHeader = std::uint64_t{16} << 20;  // bytes
constexpr std::uint64_t endless = std::uint64_t{1} << 62;

SoundBytes& bytesOf(void* data) { return *static_cast<SoundBytes*>(data); }

}  // namespace

std::uint64_t SoundBytes::end() const { return end_.value_or(file_->size().value_or(endless)); }

// Reads a stream on until the bytes up to offset + count are kept, or it ends.
std::size_t SoundBytes::readKept(std::uint64_t offset, std::byte* to, std::size_t count) {
    constexpr std::size_t piece = 4096;
    while (kept_.size() < offset + count && !ended_ && offset + count <= maxHeader) {
        const std::size_t before = kept_.size();
        kept_.resize(before + piece);
        const std::size_t got = file_->readSome(kept_.data() + before, piece);
        kept_.resize(before + got);
        ended_ = got == 0;
    }
    if (offset >= kept_.size()) return 0;
    const std::size_t there = std::min<std::size_t>(count, kept_.size() - static_cast<std::size_t>(offset));
    std::memcpy(to, kept_.data() + offset, there);
    return there;
}

std::size_t SoundBytes::peek(std::uint64_t offset, void* to, std::size_t count) {
    auto* const bytes = static_cast<std::byte*>(to);
    const std::size_t got = file_->size() ? file_->readAt(offset, bytes, count) : readKept(offset, bytes, count);
    for (const Patch& patch : patches_)
        for (std::size_t i = 0; i < patch.bytes.size(); ++i) {
            const std::uint64_t at = patch.offset + i;
            if (at >= offset && at - offset < got) bytes[at - offset] = static_cast<std::byte>(patch.bytes[i]);
        }
    return got;
}

void SoundBytes::spool() {
    file_->spool(kept_);
    kept_.clear();
}

void SoundBytes::patch(std::uint64_t offset, const std::string& bytes) { patches_.push_back({offset, bytes}); }

void SoundBytes::flow(std::uint64_t start, std::size_t frameBytes) {
    if (file_->size()) return;
    flows_ = true;
    flowed_ = frameStart_ = start;
    frameBytes_ = frameBytes;
    addToEnd(kept_.data(), static_cast<std::size_t>(std::min<std::uint64_t>(start, kept_.size())));
}

void SoundBytes::addToEnd(const std::byte* from, std::size_t count) {
    if (mostOfEnd_ == 0) return;
    keptEnd_.insert(keptEnd_.end(), from, from + count);
    if (keptEnd_.size() > 2 * mostOfEnd_)
        keptEnd_.erase(keptEnd_.begin(), keptEnd_.end() - static_cast<std::ptrdiff_t>(mostOfEnd_));
}

// Whole frames, as many as are there: what came of the next one is kept.
std::size_t SoundBytes::readFlowing(std::byte* to, std::size_t count) {
    std::size_t done = 0;
    if (flowed_ < keptFrom_ + kept_.size()) {
        const auto from = static_cast<std::size_t>(flowed_ - keptFrom_);
        done = std::min(count, kept_.size() - from);
        std::memcpy(to, kept_.data() + from, done);
    }
    // Of what is there, bytes that are not to be given yet.
    const auto incomplete = [&] {
        if (frameBytes_ == 0 || done == count) return done == count ? 0 : done;
        return std::min(done, static_cast<std::size_t>((flowed_ + done - frameStart_) % frameBytes_));
    };
    while (!ended_ && done < count && incomplete() == done) {
        const std::size_t got = file_->readSome(to + done, count - done);
        ended_ = got == 0;
        done += got;
    }
    const std::size_t rest = ended_ ? 0 : incomplete();
    done -= rest;
    flowed_ += done;
    addToEnd(to, done);
    if (flowed_ >= keptFrom_ + kept_.size() || rest > 0) {
        kept_.assign(to + done, to + done + rest);
        keptFrom_ = flowed_;
    }
    if (ended_ && frameBytes_ > 0) rest_ = static_cast<std::size_t>((flowed_ - frameStart_) % frameBytes_);
    return done;
}

std::size_t SoundBytes::readForLibrary(void* to, std::size_t count) {
    if (error_) return 0;
    try {
        const auto most = static_cast<std::size_t>(std::min<std::uint64_t>(count, end() - std::min(end(), position())));
        if (flows_) return readFlowing(static_cast<std::byte*>(to), most);
        const std::size_t got = peek(position_, to, most);
        position_ += got;
        return got;
    } catch (...) {
        error_ = std::current_exception();
        return 0;
    }
}

SF_VIRTUAL_IO SoundBytes::access() {
    SF_VIRTUAL_IO io{};
    io.get_filelen = [](void* data) { return static_cast<sf_count_t>(bytesOf(data).end()); };
    io.seek = [](sf_count_t offset, int whence, void* data) -> sf_count_t {
        SoundBytes& bytes = bytesOf(data);
        const std::uint64_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? bytes.position_ : bytes.end();
        const auto target = static_cast<sf_count_t>(base) + offset;
        if (target < 0) return -1;
        bytes.position_ = static_cast<std::uint64_t>(target);
        return target;
    };
    io.read = [](void* to, sf_count_t count, void* data) {
        return static_cast<sf_count_t>(
            bytesOf(data).readForLibrary(to, static_cast<std::size_t>(std::max<sf_count_t>(count, 0))));
    };
    io.write = [](const void*, sf_count_t, void*) -> sf_count_t { return 0; };
    io.tell = [](void* data) { return static_cast<sf_count_t>(bytesOf(data).position()); };
    return io;
}

}  // namespace libzepl
