#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <system_error>
#include <utility>

#include "runtime/capture/events.h"

namespace libzepl {

LogBytes::LogBytes(const std::filesystem::path& file, std::uint64_t fileBytes, std::vector<std::byte> tail)
    : mappedBytes_(fileBytes), tail_(std::move(tail)) {
    if (fileBytes == 0) return;
    const int descriptor = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status {};
    const bool isThere = descriptor >= 0 && ::fstat(descriptor, &status) == 0;
    const bool isWhole = isThere && static_cast<std::uint64_t>(status.st_size) >= fileBytes;
    void* mapped = isWhole ? ::mmap(nullptr, fileBytes, PROT_READ, MAP_PRIVATE, descriptor, 0) : MAP_FAILED;
    const int error = errno;
    if (descriptor >= 0) ::close(descriptor);
    mappedBytes_ = mapped == MAP_FAILED ? 0 : fileBytes;
    if (isThere && !isWhole)
        throw Problem(file.string() + ": it is shorter than the capture says", "copy the capture's folder again");
    if (mapped == MAP_FAILED)
        throw Problem(file.string() + ": it cannot be read: " + std::generic_category().message(error),
                      "give the folder of a capture");
    mapped_ = static_cast<const std::byte*>(mapped);
}

LogBytes::LogBytes(LogBytes&& other) noexcept { *this = std::move(other); }

LogBytes& LogBytes::operator=(LogBytes&& other) noexcept {
    std::swap(mapped_, other.mapped_);
    std::swap(mappedBytes_, other.mappedBytes_);
    std::swap(tail_, other.tail_);
    return *this;
}

LogBytes::~LogBytes() {
    if (mapped_ != nullptr) ::munmap(const_cast<std::byte*>(mapped_), mappedBytes_);
}

void LogBytes::read(std::uint64_t offset, void* to, std::uint64_t bytes) const {
    auto* next = static_cast<std::byte*>(to);
    const std::uint64_t mapped = offset < mappedBytes_ ? std::min(bytes, mappedBytes_ - offset) : 0;
    if (mapped > 0) std::memcpy(next, mapped_ + offset, mapped);
    if (bytes > mapped) std::memcpy(next + mapped, tail_.data() + (offset + mapped - mappedBytes_), bytes - mapped);
}

void EventReader::damaged() const {
    throw Problem("the events of the capture are damaged at byte " + std::to_string(offset_),
                  "copy the capture's folder again, or capture the run again");
}

std::uint8_t EventReader::byte() {
    ranOut_ = offset_ >= bytes_->size();
    if (ranOut_) damaged();
    return static_cast<std::uint8_t>(bytes_->at(offset_++));
}

std::uint64_t EventReader::varint() {
    std::uint64_t value = 0;
    for (unsigned shift = 0; shift < 64; shift += 7) {
        const std::uint64_t next = byte();
        if (shift == 63 && next > 1) damaged();
        value |= (next & 0x7F) << shift;
        if (next < 0x80) return value;
    }
    damaged();
}

std::uint64_t EventReader::fixed(std::size_t bytes) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < bytes; ++i) value |= std::uint64_t{byte()} << (8 * i);
    return value;
}

std::string EventReader::text() {
    const std::uint64_t size = varint();
    ranOut_ = size > bytes_->size() - offset_;
    if (ranOut_) damaged();
    std::string text(size, '\0');
    bytes_->read(offset_, text.data(), size);
    offset_ += size;
    return text;
}

std::uint64_t EventReader::placeBelow(std::size_t end) {
    const std::uint64_t place = varint();
    if (place >= end) damaged();
    return place;
}

std::uint64_t EventReader::nextRound(std::uint64_t rounds) {
    constexpr std::uint64_t most = std::uint64_t{1} << 62;
    if (rounds > most - round_) damaged();
    return round_ += rounds;
}

void EventReader::readPoint(Event& event, std::uint8_t tag) {
    const auto first = static_cast<std::uint8_t>(EventTag::shortPoint);
    event.tag = EventTag::point;
    if (tag >= first) {
        event.place = tag - first;
        if (event.place >= points_.size()) damaged();
        event.round = nextRound(points_[event.place].rounds);
    } else {
        const std::uint64_t rounds = varint();
        event.round = nextRound(rounds);
        event.place = placeBelow(points_.size());
        points_[event.place] = {varint(), rounds};
    }
    event.count = points_[event.place].count;
    if (event.count < 1 || event.count > pointFrames) damaged();
    event.word = fixed(sizeof event.word);
}

// Of a list whose items take a byte at least each.
std::uint64_t EventReader::listCount() {
    const std::uint64_t count = varint();
    ranOut_ = count > bytes_->size() - offset_;
    if (ranOut_) damaged();
    return count;
}

void EventReader::readNotes(InputNotes& notes) {
    const std::uint8_t flags = byte();
    notes.losses.isFilled = (flags & 1) != 0;
    notes.losses.isEstimated = (flags & 2) != 0;
    notes.losses.frames = varint();
    notes.losses.places = varint();
    for (std::uint64_t n = listCount(); n > 0; --n) {
        Gap& gap = notes.losses.gaps.emplace_back();
        gap.frame = varint();
        gap.lost = varint();
    }
    for (std::uint64_t n = listCount(); n > 0; --n) notes.notes.push_back(text());
}

std::optional<Event> EventReader::next() {
    if (ranOut_ || offset_ >= bytes_->size()) return std::nullopt;
    try {
        return nextWhole();
    } catch (const Problem&) {
        if (!ranOut_) throw;
        return std::nullopt;
    }
}

Event EventReader::nextWhole() {
    Event event;
    const std::uint8_t tag = byte();
    event.tag = static_cast<EventTag>(tag);
    if (tag >= static_cast<std::uint8_t>(EventTag::shortPoint) || event.tag == EventTag::point) {
        readPoint(event, tag);
        return event;
    }
    event.round = nextRound(varint());
    switch (event.tag) {
        case EventTag::run: {
            event.place = placeBelow(inputs_);
            event.count = varint();
            const std::uint64_t tail = fixed(sizeof tail);
            event.step = static_cast<std::uint32_t>(tail);
            event.times = static_cast<std::uint32_t>(tail >> 32);
            if (event.times < 1 || event.count < 1 || event.lastRound() >> 62 != 0) damaged();
            if (event.step == 0 && event.times > 1 && event.round != 0) damaged();
            return event;
        }
        case EventTag::inputEnd:
            event.place = placeBelow(inputs_);
            return event;
        case EventTag::value:
            event.place = placeBelow(variables_);
            event.word = fixed(sizeof event.word);
            return event;
        case EventTag::failure:
            event.text = text();
            event.remedy = text();
            return event;
        case EventTag::inputNotes:
            event.place = placeBelow(inputs_);
            readNotes(event.notes);
            return event;
        case EventTag::end:
            event.word = varint();
            return event;
        default:
            damaged();
    }
}

}  // namespace libzepl
