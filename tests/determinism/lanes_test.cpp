// Procedures of parts that share nothing, run by one engine and by several: the results must be the same, the report with all
// its figures and notes among them.

#include <gtest/gtest.h>

#include <regex>
#include <set>

#include "tests/determinism/areas.h"

namespace libzepl {
namespace {

struct Text {
    std::string command, text;
};

std::vector<Text> everyCase() {
    std::vector<Text> all;
    for (const Area& area : areas)
        for (const Case& one : area.cases) {
            const bool typed = one.text.find("TYPE") != std::string::npos;
            for (const std::string& type : typed ? one.types : std::vector<std::string>{""})
                all.push_back({one.command, withType(one.text, type)});
        }
    return all;
}

// The procedure with other names of all that it declares, and of its tables.
std::string renamed(const std::string& text) {
    static const std::regex declaration(R"((?:^|\n)(?:pipe|trigger|variable|vector|constant) +(\w+))");
    static const std::regex word(R"(table "|"[^"\n]*"|\w+)");
    std::set<std::string> names;
    for (std::sregex_iterator at(text.begin(), text.end(), declaration), end; at != end; ++at) names.insert(at->str(1));
    std::string result;
    auto rest = text.begin();
    for (std::sregex_iterator at(text.begin(), text.end(), word), end; at != end; ++at) {
        result.append(rest, (*at)[0].second);
        rest = (*at)[0].second;
        if (names.contains(at->str()) || at->str() == "table \"") result += "again";
    }
    return result.append(rest, text.end());
}

std::string reportOf(Run run) {
    run.report.seconds = 0;
    return toJson(run.report, {});
}

enum class Way { whole, tried, apart };

Way expectSameInLanes(const std::string& text, const Arrival& arrival, unsigned jobs) {
    SCOPED_TRACE(text);
    const RepeatedProcedure repeated(text);
    const Run inLanes = repeated.run(arrival, jobs);
    if (inLanes.isVoid) return Way::tried;
    const Run alone = repeated.run(arrival);
    EXPECT_EQ(reportOf(inLanes), reportOf(alone));
    EXPECT_TRUE(inLanes.outputs == alone.outputs) << "bytes differ";
    return inLanes.isApart ? Way::apart : Way::whole;
}

TEST(Lanes, TwoCopiesGiveWhatOneEngineGives) {
    std::set<std::string> commands, apart;
    for (const auto& [command, text] : everyCase()) {
        const std::string twice = text + renamed(text);
        for (const std::uint64_t seed : {0UL, 1UL, 2UL, 3UL}) {
            SCOPED_TRACE("arrival " + std::to_string(seed));
            const Way way = expectSameInLanes(twice, seed == 0 ? Arrival() : Arrival(seed), 2);
            commands.insert(command);
            if (way == Way::apart) apart.insert(command);
        }
        if (testing::Test::HasFailure()) return;
    }
    for (const std::string& command : apart) commands.erase(command);
    const std::set<std::string> paused{"ALARM"},
        ofEvents{"FREQUENCY", "NTH", "PIDSCRAM", "TAND", "TCOLLATE", "TGEN", "TOGGWT", "TOR", "TRIGSCALE", "TSTAMP"},
        allLimited{"BIRAMP", "CHIRP", "RANDOM"};
    std::set<std::string> together = paused;
    together.insert(ofEvents.begin(), ofEvents.end());
    together.insert(allLimited.begin(), allLimited.end());
    EXPECT_EQ(commands, together);
}

TEST(Lanes, UnequalPartsGiveWhatOneEngineGives) {
    const std::vector<Text> all = everyCase();
    std::size_t apart = 0;
    for (std::size_t i = 0; i < all.size(); ++i) {
        const std::string second = renamed(all[(i * 37 + 11) % all.size()].text);
        const std::string third = renamed(renamed(all[(i * 53 + 5) % all.size()].text));
        const Arrival arrival = i % 2 == 0 ? Arrival() : Arrival(i);
        const auto jobs = static_cast<unsigned>(2 + i % 2);
        if (expectSameInLanes(all[i].text + second + third, arrival, jobs) == Way::apart) ++apart;
        if (testing::Test::HasFailure()) return;
    }
    EXPECT_GT(apart, all.size() / 4);
}

}  // namespace
}  // namespace libzepl
