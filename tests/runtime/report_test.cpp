// What a run's report says.

#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

#include "tests/support/session_support.h"

namespace libzepl {
namespace {

TEST(Report, SaysWhoWaitsForWhat) {
    const struct {
        std::size_t given;
        const char* steps;
        Lines notes;
    } cases[] = {
        {1136,
         "open_read:2 pbuf_open:2,1024 pbuf_set_min_cnt:2,1024 *( pbuf_get:2 )",
         {"SCRIPT (line 1) waits for 1024 samples of `accel`, 112 are there"}},
        {1025,
         "open_read:2 pbuf_open:2,1024 pbuf_set_min_cnt:2,1024 *( pbuf_get:2 )",
         {"SCRIPT (line 1) waits for 1024 samples of `accel`, 1 is there"}},
        {1024, "open_read:2 pbuf_open:2,1024 pbuf_set_min_cnt:2,1024 *( pbuf_get:2 )", {}},
        {5,
         "open_read:2 open_read:3 pipe_get:3",
         {"nobody writes `other`", "SCRIPT (line 1) waits for 1 sample of `other`, 0 are there",
          "SCRIPT (line 1) left 5 samples of `accel` unread"}},
        {5,
         "open_read:2 open_read:4 trigger_get:4",
         {"SCRIPT (line 1) waits for an event of `beat`", "SCRIPT (line 1) left 5 samples of `accel` unread"}},
        {0, "open_read:2 open_read:4 trigger_get:4", {}},
        {0, "open_write:3 open_read:3", {"nobody reads `accel`"}},
    };
    for (const auto& [given, steps, notes] : cases) {
        TestSession session;
        const PipeId accel = session.input("accel", countUp(given));
        session.script(steps, accel, session.pipe("other"), session.addTrigger("beat"));
        EXPECT_EQ(session.run().notes, notes) << steps;
    }
}

TEST(Report, IsTheSameForTheSameSession) {
    std::string reports[2];
    for (std::string& text : reports) {
        TestSession session({.feed = {.kind = FeedPolicy::Kind::random, .seed = 3}});
        const PipeId source = session.input("source", countUp(5000));
        session.task("ABS", source, session.output("copy"));
        session.script(
            "open_read:2 open_write:3 *( task_pause:7 ?pipe_num:2 pipe_rem:2,$ digital_set_bit:4,1 "
            "trigger_updt_put:3,9 )",
            source, session.addTrigger("beat"));
        session.script("open_read:2 300( pipe_get:2 ) ?sys_get_time ?pipe_num:2 exit:8", source);
        Report report = session.run();
        report.seconds = 0;
        text = toJson(report, {});
    }
    EXPECT_EQ(reports[0], reports[1]);
}

TEST(Report, HasAllFieldsAsJson) {
    TestSession session({.rate = 1000.0});
    const PipeId source = session.input("source", countUp(3)), copy = session.output("copy");
    const double notNumber = std::nan("");
    const float least = -std::numeric_limits<float>::infinity(), infinite = -least;
    const std::int16_t whole = -7;
    session.addVariable("notNumber", ElementType::float64, &notNumber);
    session.addVariable("least", ElementType::float32, &least);
    session.addVariable("infinite", ElementType::float32, &infinite);
    session.addVariable("whole", ElementType::int16, &whole);
    session.task("ABS", source, copy);
    session.script(
        "open_write:2 trigger_put:2,41 task_pause:2 digital_set_bit:19,1 text:3 text:4 RaiseException:0xC0000094",
        session.addTrigger("beat"), textConstant("one\r\ntwo"), textConstant("\xFF"));
    session.script("exit:8");
    const auto json = nlohmann::json::parse(toJson(session.run(), {{"zcmds3", 152, 104}, {"own", 100, 104}}));
    const auto expected = nlohmann::json::parse(R"({
        "procedure": "", "status": "failed", "module": {"name": "zcmds3", "build": 152, "interface": 104},
        "modules": [{"name": "zcmds3", "build": 152, "interface": 104}, {"name": "own", "build": 100, "interface": 104}],
        "tasks": [{"line": 1, "command": "ABS", "state": "waiting"},
                  {"line": 2, "command": "SCRIPT", "state": "fault", "code": 3221225620,
                   "text": "integer division by zero"},
                  {"line": 3, "command": "SCRIPT", "state": "exited", "exit": 8, "text": "ended itself with code 8"}],
        "pipes": [{"name": "source", "type": "int32", "written": 3, "unread": 0},
                  {"name": "copy", "type": "int32", "written": 3, "unread": 0}],
        "inputs": [{"name": "source", "delivered": 3, "lost": 0}],
        "triggers": [{"name": "beat", "asserted": 1, "status": 41}],
        "variables": [{"name": "notNumber", "type": "double", "value": "nan"},
                      {"name": "least", "type": "float", "value": "-inf"},
                      {"name": "infinite", "type": "float", "value": "inf"},
                      {"name": "whole", "type": "int16", "value": -7}],
        "digital": [{"frame": 2, "bit": 19, "value": 1}],
        "console": ["one", "two", "\uFFFD"], "notes": [], "cautions": []})");
    for (const auto& [key, value] : expected.items()) EXPECT_EQ(json[key], value) << key;
    EXPECT_EQ(json.size(), expected.size() + 1);
    EXPECT_GE(json["seconds"], 0.0);
}

TEST(Report, HoldsTextsOfAllBytesAndNumbersOfAllSizes) {
    // Bytes at the edges of the forms of UTF-8, in all sequences of four.
    constexpr unsigned char edges[] = {'"',  0x1F, 0x7F, 0x80, 0x9F, 0xA0, 0xBF, 0xC1,
                                       0xC2, 0xE0, 0xED, 0xEF, 0xF0, 0xF4, 0xF5};
    constexpr std::size_t count = sizeof edges;
    Report report;
    nlohmann::json lines = nlohmann::json::array();
    for (std::size_t n = 0; n < count * count * count * count; ++n) {
        std::string text;
        for (std::size_t left = n, i = 0; i < 4; ++i, left /= count) text += static_cast<char>(edges[left % count]);
        report.console.push_back(text);
        lines.push_back(text);
    }
    for (const double number : {0.0, -0.0, 5e-324, 1e300, 0.1, -123456789.0, 1.7976931348623157e308})
        report.variables.push_back({"x", ElementType::float64, number});
    for (const std::int64_t number : {INT64_MIN, std::int64_t{0}, INT64_MAX})
        report.variables.push_back({"n", ElementType::int32, number});
    const auto json = nlohmann::json::parse(toJson(report, {}));
    const std::string replaced = lines.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    EXPECT_TRUE(json["console"] == nlohmann::json::parse(replaced));
    for (std::size_t i = 0; i < report.variables.size(); ++i) {
        if (const auto* real = std::get_if<double>(&report.variables[i].value))
            EXPECT_EQ(json["variables"][i]["value"].get<double>(), *real);
        else
            EXPECT_EQ(json["variables"][i]["value"], std::get<std::int64_t>(report.variables[i].value));
    }
}

}  // namespace
}  // namespace libzepl
