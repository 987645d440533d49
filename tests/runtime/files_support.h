// A folder of its own for each test of files, and short ways to read, write and refuse.
#pragma once

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>

#include "tests/support/session_support.h"

namespace libzepl {

class FilesTest : public testing::Test {
 protected:
    FilesTest() {
        std::string name = (std::filesystem::temp_directory_path() / "filesXXXXXX").string();
        folder_ = ::mkdtemp(name.data());
    }
    ~FilesTest() override { std::filesystem::remove_all(folder_); }

    std::filesystem::path at(const std::string& name) const { return folder_ / name; }

    std::filesystem::path put(const std::string& name, std::string_view bytes) const {
        std::ofstream(at(name), std::ios::binary) << bytes;
        return at(name);
    }
    std::string bytesOf(const std::string& name) const { return readTextFile(at(name)); }

    std::size_t filesInAll() const {
        return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder_), {}));
    }

    ReadRequest reading(const std::string& name, ElementType type = ElementType::int16,
                        const std::string& conversion = {}) const {
        return {.path = at(name), .type = type, .channel = {}, .column = {}, .conversion = conversion};
    }
    ReadRequest allOf(const std::string& name, std::int64_t channels, ElementType type = ElementType::int16) const {
        ReadRequest request = reading(name, type);
        request.interleaved = channels;
        return request;
    }
    ReadRequest partOf(const std::string& name, ElementType type = ElementType::int16) const {
        ReadRequest request = reading(name, type);
        request.partial = true;
        return request;
    }

    ReadRequest channelOf(const std::string& name, std::int64_t channel) const {
        return {.path = at(name), .type = ElementType::int16, .channel = channel, .column = {}, .conversion = {}};
    }
    ReadRequest columnOf(const std::string& name, std::variant<std::int64_t, std::string> column) const {
        return {.path = at(name), .type = ElementType::int16, .channel = {}, .column = column, .conversion = {}};
    }

    // Read in pieces of seven, so that no piece falls on a block's end.
    template <class T>
    static std::vector<T> elementsOf(const ReadRequest& request) {
        return elementsOf<T>(*openSource(request));
    }
    template <class T>
    static std::vector<T> elementsOf(Source& source) {
        std::vector<T> elements;
        for (std::size_t got = 7; got != 0;) {
            elements.resize(elements.size() + 7);
            got = source.read(elements.data() + elements.size() - 7, 7);
            elements.resize(elements.size() - 7 + got);
        }
        return elements;
    }
    template <class T>
    std::vector<T> elementsOf(const std::string& name, const std::string& conversion = {}) const {
        return elementsOf<T>(reading(name, elementTypeOf<T>(), conversion));
    }

    template <class T>
    WriteRequest writing(const std::string& name) const {
        return {.path = at(name), .type = elementTypeOf<T>(), .rate = 1000, .name = "signal", .limit = {}};
    }
    template <class T>
    void save(const std::string& name, const std::vector<T>& elements) const {
        const auto sink = createSink(writing<T>(name));
        sink->write(elements.data(), elements.size());
        sink->finish();
    }

    // Elements that no format makes smaller.
    static std::vector<std::int16_t> noise(std::size_t count) {
        std::vector<std::int16_t> elements;
        for (std::uint32_t x = 1; elements.size() < count; x = x * 1103515245 + 12345)
            elements.push_back(static_cast<std::int16_t>(x >> 16));
        return elements;
    }

    // "message | remedy" of the Problem that the action throws, without the test's folder.
    template <class Action>
    std::string refusal(Action action) const {
        try {
            action();
        } catch (const Problem& problem) {
            const std::string message = problem.what(), folder = folder_.string() + "/";
            const bool inFolder = message.starts_with(folder);
            return message.substr(inFolder ? folder.size() : 0) + " | " + problem.remedy();
        }
        return "nothing refused";
    }
    std::string refusedRead(const ReadRequest& request) const {
        std::vector<std::string> notes;
        return refusal([&] { readVector(request, notes); });
    }
    std::string refusedRead(const std::string& name) const { return refusedRead(reading(name)); }

    // Contents of a file, and what its reading is refused with after the file's name.
    using Refusals = std::vector<std::pair<std::string, std::string>>;
    void expectRefusals(const std::string& name, ElementType type, const Refusals& refusals) const {
        for (const auto& [content, expected] : refusals) {
            put(name, content);
            EXPECT_EQ(refusedRead(reading(name, type)), name + expected);
        }
    }

    std::filesystem::path folder_;
};

}  // namespace libzepl
