// The cautions of the command pages: what their conditions say of a list, and of the filters they warn of.

#include "runtime/cautions.h"

#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>

#include "caution_rows.h"
#include "runtime/binder.h"
#include "runtime/signature.h"
#include "tests/fir/fir_support.h"
#include "tool_support.h"

namespace libzepl {
namespace {

// What precedes the text of a command's page, between lines of dashes.
std::string cautionsOf(const std::string& command) {
    const std::string page = readTextFile(TEST_SOURCE_DIR "/docs/commands/" + command + ".md");
    return page.starts_with("---\n") ? page.substr(4, page.find("\n---\n") - 3) : std::string();
}

std::set<std::string> cautionedCommands() {
    std::set<std::string> commands;
    for (const auto& file : std::filesystem::directory_iterator(TEST_SOURCE_DIR "/docs/commands"))
        if (!cautionsOf(file.path().stem()).empty()) commands.insert(file.path().stem());
    return commands;
}

// Each condition of the page as a caution of its own, whose text is its number from 1.
std::string conditionsAlone(const std::string& command, int& count) {
    std::string alone, waiting;
    std::istringstream page(cautionsOf(command));
    std::vector<std::string> conditions;
    for (std::string line; std::getline(page, line);) {
        if (line.starts_with("when: ")) {
            conditions.push_back(line);
        } else if (line.starts_with("caution: ") || line.starts_with("arrival: ")) {
            for (const std::string& each : conditions)
                alone += each + "\n" + line.substr(0, 9) + std::to_string(++count) + "\n";
            conditions.clear();
        } else if (line.starts_with(" ") && !conditions.empty()) {
            conditions.back() += line.substr(1);
        }
    }
    return alone;
}

// The numbers of the conditions that hold, for the first task of the text.
std::string conditionsThatHold(const CautionRow& row) {
    int count = 0;
    auto table = std::make_shared<CautionTable>();
    table->add(row.command, conditionsAlone(row.command, count));
    std::vector<Diagnostic> diagnostics;
    const Procedure procedure = parseProcedure({"p.zp", cautionDeclarations + row.text + "\n"}, diagnostics);
    BindOptions options;
    options.session.block = row.block;
    options.session.setUpOnly = true;
    options.session.cautions = table;
    const BoundProcedure bound = bindProcedure(procedure, testLibrary(), options, diagnostics);
    if (bound.session == nullptr) return render(diagnostics, procedure.source);
    for (std::size_t i = 0; i < 7; ++i) {
        const PipeDeclaration& pipe = procedure.pipes[i];
        withElementType(pipe.type, [&]<class Element>() {
            bound.session->feed<Element>(bound.session->pipeNamed(pipe.name), std::vector<Element>(5));
        });
    }
    bound.session->setInput(bound.session->triggerNamed(procedure.triggers[0].name), {{true, 3}});
    const Report report = bound.session->run();
    if (report.status != Report::Status::ok) return report.tasks[0].text + report.reason;
    std::string holding;
    for (const CautionReport& caution : report.cautions)
        if (caution.task == 0) holding += caution.text;
    return holding;
}

TEST(Cautions, EachConditionHoldsOfTheListsThatItMeans) {
    for (const CautionRow& row : allCautionRows()) EXPECT_EQ(conditionsThatHold(row), row.holding) << row.text;
}

TEST(Cautions, EachConditionOfAPageHasAListThatMeetsItAndOneThatDoesNot) {
    const std::vector<CautionRow> all = allCautionRows();
    for (const std::string& command : cautionedCommands()) {
        int count = 0;
        conditionsAlone(command, count);
        for (int number = 1; number <= count; ++number) {
            const auto meets = [&](bool wanted) {
                return std::any_of(all.begin(), all.end(), [&](const CautionRow& row) {
                    return row.command == command &&
                           (row.holding.find(std::to_string(number)) != std::string::npos) == wanted;
                });
            };
            EXPECT_TRUE(meets(true) && meets(false)) << command << ", condition " << number;
        }
    }
}

void collectNames(const SignatureNode& node, std::set<std::string>& names) {
    if (node.form == SignatureNode::Form::parameter) names.insert(node.parameter.name);
    for (const SignatureNode& child : node.children) collectNames(child, names);
}

TEST(Cautions, EachNameInAConditionIsAParameterOfTheCommand) {
    for (const std::string& command : cautionedCommands()) {
        CautionTable table;
        table.add(command, cautionsOf(command));
        std::set<std::string> names;
        collectNames(testLibrary().find(command)->parsed->root, names);
        const auto& words = testLibrary().words();
        names.insert({"", "inside", "outside"});
        for (const Caution& caution : table.of(command)) {
            EXPECT_FALSE(caution.text.empty() || caution.remedy.empty()) << command;
            for (const auto& terms : caution.when)
                for (const CautionTerm& term : terms) {
                    for (const std::string& name : {term.name, term.left.name, term.left.other, term.right.other})
                        EXPECT_TRUE(names.contains(name)) << command << ": " << name;
                    EXPECT_TRUE(names.contains(term.right.name) ||
                                std::find(words.begin(), words.end(), term.right.name) != words.end())
                        << command << ": " << term.right.name;
                    if (term.form == CautionTerm::Form::unlike) {
                        EXPECT_TRUE(names.contains(term.words[0])) << command;
                    }
                    if (term.form == CautionTerm::Form::bypasses) {
                        for (const std::string& word : term.words)
                            EXPECT_NE(testLibrary().find(word), nullptr) << command << ": " << word;
                    }
                }
        }
    }
}

// The filter's own definition, from the whole stream.
std::vector<float> directSums(const Filter<float>& filter, const std::vector<std::int16_t>& x) {
    std::vector<float> sums;
    const std::int32_t frames = static_cast<std::int32_t>(x.size()) / filter.nchans;
    for (std::int32_t first = -filter.zeros(); first + filter.length() <= frames; first += filter.step())
        for (std::int32_t channel = 0; channel < filter.nchans; ++channel) {
            float sum = 0;
            for (std::int32_t k = 0; k < filter.length(); ++k)
                if (first + k >= 0)
                    sum += filter.taps[static_cast<std::size_t>(k)] *
                           static_cast<float>(x[static_cast<std::size_t>((first + k) * filter.nchans + channel)]);
            sums.push_back(sum);
        }
    return sums;
}

TEST(Cautions, AFilterIsCautionedWhereItsOutputIsNotTheDirectSum) {
    const auto x = randomSamples<std::int16_t>(12000, 3);
    for (std::int32_t nchans = 1; nchans <= 4; ++nchans)
        for (std::size_t length = 1; length <= 4; ++length) {
            const Filter<float> filter{std::vector<float>(length, 0.25F), nchans, 0, 0};
            auto table = std::make_shared<CautionTable>();
            table->add("FIRFILTER", cautionsOf("FIRFILTER"));
            TestSession session({.feed = wholeFeed, .cautions = table});
            session.input("source", x);
            session.addVector("taps", ElementType::float32, bytesOf(filter.taps));
            const PipeId result = session.output("result", {}, ElementType::float32);
            addCall(session, "FIRFILTER (source, " + std::to_string(nchans) + ", taps, 0, 1:float, 0, 0, result)", 7);
            const Report report = session.run();
            const bool isExact = session.collected<float>(result) == directSums(filter, x);
            EXPECT_EQ(report.cautions.empty(), isExact) << nchans << " channels, " << length << " taps";
            EXPECT_EQ(report.cautions.empty() ? 7 : report.cautions[0].line, 7);
        }
}

TEST(Cautions, APositionThatIsNeverReachedCautionsOfNothing) {
    for (const auto& [position, count] : {std::pair(32767U, 0U), {32768U, 1U}}) {
        auto table = std::make_shared<CautionTable>();
        table->add("TSTAMP", cautionsOf("TSTAMP"));
        TestSession session({.cautions = table});
        const TriggerId trigger = session.addTrigger("trigger");
        session.setInput(trigger, {{true, position}});
        session.task("TSTAMP", trigger, session.output("times", {}, ElementType::int16));
        EXPECT_EQ(session.run().cautions.size(), count) << position;
    }
}

class ShownCautions : public ToolTest {};

TEST_F(ShownCautions, AreShownOnceEachByRunCheckAndReport) {
    put("p.zp",
        "pipe ecg : int16 from \"data/ecg208.wav\"\npipe y : int16 to \"y.wav\" rate 180\nFIRLOWPASS (ecg, 2, y)\n"
        "pipe z : int16\nFIRLOWPASS (y, 2, z)\n");
    const auto block = [](const std::string& line, const std::string& use) {
        return "p.zp:" + line +
               ":1: caution: FIRLOWPASS: with one channel, or an odd number, the filter is exact in its first pass "
               "alone, "
               "at most 480 and half the number of its taps frames; after that stale samples are mixed in, and which "
               "ones "
               "depends on how the input arrives\n  " +
               use + "\n  ^~~~~~~~~~\n";
    };
    const std::string remedy =
        "REPLICATE each sample by 2, give the filter twice the channels, and keep the first of each two results with "
        "SKIP "
        "(..., 0, 1, 1, ...), as examples/ecg_clean.zp does";
    const std::string said =
        block("3", "FIRLOWPASS (ecg, 2, y)") + "  " + remedy + "\n" + block("5", "FIRLOWPASS (y, 2, z)");
    EXPECT_EQ(call("check p.zp").err, said + "p.zp: ready to run\n");
    const Called ran = call("run p.zp --report r.json");
    EXPECT_EQ(ran.err, said + "wrote y.wav: 53987 samples of `y`\n");
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(call("run p.zp --quiet").err, "");
    const nlohmann::json cautions = nlohmann::json::parse(bytesOf("r.json"))["cautions"];
    ASSERT_EQ(cautions.size(), 2U);
    EXPECT_EQ(cautions[1]["line"], 5);
    EXPECT_EQ(cautions[1]["command"], "FIRLOWPASS");
    EXPECT_TRUE(std::string(cautions[1]["text"]).starts_with("with one channel"));
    EXPECT_EQ(cautions[1]["remedy"], remedy);
    // A module that is no more than another of the commands' has no pages.
    std::filesystem::copy_file(TEST_MODULE_FILE, at("other.zlm"));
    EXPECT_EQ(call("check p.zp --no-default-modules --module other.zlm").err, "p.zp: ready to run\n");
}

TEST_F(ShownCautions, WhatDependsOnArrivalIsShownByTheCheckAndTheReport) {
    put("p.zp",
        "pipe a : int16 from \"in.csv\"\npipe b : int16 from \"in.csv\"\npipe c : int16 to \"c.csv\"\nMERGEF (a, b, "
        "c)\n");
    EXPECT_EQ(
        call("check p.zp").err,
        "p.zp:4:1: caution: MERGEF: the order of samples of different sources depends on how the input arrives; that "
        "of one source does not\n  MERGEF (a, b, c)\n  ^~~~~~\n"
        "  runs with `--feed random:1`, `random:2` and so on show whether it matters here\np.zp: ready to run\n");
    EXPECT_EQ(call("run p.zp --report r.json").err, "wrote c.csv: 12 samples of `c`\n");
    EXPECT_EQ(nlohmann::json::parse(bytesOf("r.json"))["cautions"][0]["command"], "MERGEF");
}

TEST_F(ShownCautions, AnExampleThatFollowsThePagesHasOnlyThoseOfItsArrival) {
    std::filesystem::create_directory_symlink(TEST_SOURCE_DIR "/examples", at("examples"));
    const std::map<std::string, Lines> expected{
        {"one_link", {}}, {"oven", {"PID", "PIDSCRAM"}}, {"ecg_clean", {"FIRLOWPASS"}}};
    for (const auto& [name, commands] : expected) {
        ASSERT_EQ(call("check examples/" + name + ".zp --report r.json").status, 0);
        const nlohmann::json report = nlohmann::json::parse(bytesOf("r.json"));
        Lines shown;
        for (const auto& caution : report["cautions"]) shown.push_back(caution["command"]);
        std::sort(shown.begin(), shown.end());
        EXPECT_EQ(shown, commands) << name;
    }
}

TEST(Cautions, ATextThatCannotBeReadIsRefused) {
    const std::pair<const char*, const char*> texts[] = {
        {"when: a is large\ncaution: x\n", "a caution's condition cannot be read: `a is large`"},
        {"when: a >\ncaution: x\n", "a caution's comparison has no value that can be read"},
        {"when: a is given and\ncaution: x\n", "a caution's condition cannot be read: ``"},
        {"when: always\n", "a caution's condition has no text"},
        {"caution: x\n", "a caution's field `caution` cannot be here"},
        {"when: always\nremedy: x\n", "a caution's field `remedy` cannot be here"},
        {"when: always\ncaution: x\nadvice: y\n", "a caution's field `advice` cannot be here"},
        {"nothing\n", "a caution's line cannot be read: `nothing`"},
    };
    for (const auto& [text, said] : texts) {
        CautionTable table;
        try {
            table.add("ABS", text);
            ADD_FAILURE() << text;
        } catch (const Problem& problem) {
            EXPECT_STREQ(problem.what(), said);
        }
    }
}

}  // namespace
}  // namespace libzepl
