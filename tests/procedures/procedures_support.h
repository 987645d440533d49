// Whole procedures, as users write them, run by the tool; what came out, and what the report says of it.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <nlohmann/json.hpp>
#include <random>

#include "tests/cli/tool_support.h"

namespace libzepl {

using Lines = std::vector<std::string>;

// The report's tasks as "SCALE waiting".
struct Ran {
    int status;
    nlohmann::json report;

    Lines states() const {
        Lines lines;
        for (const auto& task : report["tasks"])
            lines.push_back(task["command"].get<std::string>() + " " + task["state"].get<std::string>());
        return lines;
    }
    // But for where the outputs of a failed run are.
    Lines notes() const {
        Lines lines = report["notes"].get<Lines>();
        std::erase_if(lines,
                      [](const std::string& line) { return line.starts_with("what the failed run wrote of `"); });
        return lines;
    }
    std::uint64_t unread(const std::string& pipe) const { return ofPipe(pipe, "unread"); }
    std::uint64_t written(const std::string& pipe) const { return ofPipe(pipe, "written"); }

 private:
    std::uint64_t ofPipe(const std::string& name, const char* field) const {
        for (const auto& pipe : report["pipes"])
            if (pipe["name"] == name) return pipe[field].get<std::uint64_t>();
        ADD_FAILURE() << "no pipe " << name;
        return 0;
    }
};

inline const char* const someFeeds[] = {
    "", "--feed 1", "--feed 7", "--feed whole", "--feed random:1", "--feed random:2"};

class ProcedureTest : public ToolTest {
 protected:
    // The outputs of a failed run have their own names afterwards.
    Ran run(const std::string& procedure, const std::string& options = {}) const {
        put("p.zp", procedure);
        remove("r.json");
        const int status = call("run p.zp --report r.json --quiet " + options).status;
        const std::string_view failed = ".failed";
        for (const std::string& name : files())
            if (name.ends_with(failed))
                std::filesystem::rename(at(name), at(name.substr(0, name.size() - failed.size())));
        return {status, nlohmann::json::parse(bytesOf("r.json"))};
    }

    // However the input arrives, the run succeeds with these notes, and its files hold these samples.
    template <class T>
    void expectOfEveryFeed(const std::string& procedure, const Lines& notes,
                           const std::map<std::string, std::vector<T>>& files) const {
        for (const char* feed : someFeeds) {
            const Ran ran = run(procedure, feed);
            EXPECT_EQ(ran.status, 0) << feed;
            EXPECT_EQ(ran.notes(), notes) << feed;
            for (const auto& [name, samples] : files)
                EXPECT_TRUE(elementsOf<T>(name) == samples) << name << " " << feed;
        }
    }

    // Raw samples, for a file with the ending .bin.
    template <class T>
    void putSamples(const std::string& name, const std::vector<T>& samples) const {
        put(name, {reinterpret_cast<const char*>(samples.data()), samples.size() * sizeof(T)});
    }

    // The events of a trigger's file.
    std::vector<std::uint32_t> eventsOf(const std::string& name) const {
        std::vector<std::uint32_t> events;
        std::istringstream rows(bytesOf(name));
        for (std::string row; std::getline(rows, row);)
            if (row.starts_with("assert,")) events.push_back(static_cast<std::uint32_t>(std::stoul(row.substr(7))));
        return events;
    }

    std::vector<std::int16_t> recording() const { return elementsOf<std::int16_t>("data/ecg208.wav"); }
};

template <class T>
std::vector<T> randomSamples(std::size_t count, T low, T high) {
    std::mt19937 generator(static_cast<std::uint32_t>(count));
    std::vector<T> samples(count);
    for (T& sample : samples) {
        const double share = static_cast<double>(generator()) / 4294967296.0;
        sample = static_cast<T>(low + share * (static_cast<double>(high) - low));
    }
    return samples;
}

// The first `count` values of RANDOM with seed 1, whose generators' states are then these: products and remainders in 64 bits
// need none of the care of its own 32.
inline std::vector<std::int16_t> randomFromOne(std::size_t count) {
    std::int64_t first = 1601120196, second = 430994749;
    std::vector<std::int16_t> values(count);
    for (std::int16_t& value : values) {
        first = first * 40014 % 2147483563;
        second = second * 40692 % 2147483399;
        const std::int64_t z = first - second;
        value = static_cast<std::int16_t>((z < 1 ? z + 2147483562 : z) >> 16);
    }
    return values;
}

inline std::vector<std::int16_t> rectified(std::vector<std::int16_t> samples) {
    for (std::int16_t& sample : samples) sample = static_cast<std::int16_t>(std::min(std::abs(int{sample}), 32767));
    return samples;
}

}  // namespace libzepl
