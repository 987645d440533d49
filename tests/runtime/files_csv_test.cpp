// CSV files of samples and of triggers: layouts, columns, numbers, what is refused, and what is written.

#include <cmath>
#include <limits>

#include "tests/runtime/files_support.h"

namespace libzepl {
namespace {

using namespace std::string_literals;
using CsvTest = FilesTest;

TEST_F(CsvTest, CellsAreReadInOrderWhateverTheLayout) {
    const struct {
        std::string_view text;
        std::vector<std::int32_t> expected;
        int columns = 1;
    } cases[] = {
        {"", {}},
        {"a,b\n", {}, 2},
        {"1\r\n2", {1, 2}},
        {"\357\273\2775\n", {5}},
        {"\n \n1, 2\n\n 3 ,\t4\n  \n", {1, 2, 3, 4}, 2},
        {"time, value\n1,2\n3,4\n", {1, 2, 3, 4}, 2},
        {"time, 50Hz\n1,2\n", {1, 2}, 2},
        {"\"50 Hz\"\n1\n", {1}},
        {"\"a, \"\"b\"\"\" , c\n1,2\n", {1, 2}, 2},
        {"\"1\" , 2\n", {1, 2}, 2},
        {"+7\n-8\n", {7, -8}},
        {"2147483647,-2147483648\n", {2147483647, std::numeric_limits<std::int32_t>::min()}, 2},
    };
    for (const auto& row : cases) {
        put("ecg.csv", row.text);
        ReadRequest request = reading("ecg.csv", ElementType::int32);
        if (row.columns > 1) request.interleaved = row.columns;
        EXPECT_EQ(elementsOf<std::int32_t>(request), row.expected) << row.text;
    }
}

TEST_F(CsvTest, AColumnIsChosenByNumberOrHeading) {
    put("ecg.csv", "10:00,1\n10:01,3\n");
    EXPECT_EQ(elementsOf<std::int16_t>(columnOf("ecg.csv", 2)), (std::vector<std::int16_t>{1, 3})) << "no heading";
    put("ecg.csv", "time,\"lead, one\",lead two\n10:00,1,2\n10:01,3,4\n");
    const std::vector<std::int16_t> one{1, 3}, two{2, 4};
    EXPECT_EQ(elementsOf<std::int16_t>(columnOf("ecg.csv", "lead, one")), one);
    EXPECT_EQ(elementsOf<std::int16_t>(columnOf("ecg.csv", 3)), two);
    EXPECT_EQ(openSource(columnOf("ecg.csv", 3))->channels(), 1);
    EXPECT_EQ(elementsOf<std::int16_t>(channelOf("ecg.csv", 2)), one);
    const auto whole = openSource(allOf("ecg.csv", 3));
    EXPECT_EQ(whole->channels(), 3);
    EXPECT_EQ(whole->length(), std::nullopt);
    EXPECT_EQ(whole->rate(), std::nullopt);
}

TEST_F(CsvTest, ARealCellBecomesTheNearestNumberOfItsType) {
    put("ecg.csv", "0.1\n16777217\n1.00000017881393432617187499\n.5\n5.\n-2.5e-1\n1e-50\ninf\n-inf\n");
    EXPECT_EQ(elementsOf<float>("ecg.csv"),
              (std::vector<float>{0.1F, 16777216, 1 + 0x1p-23F, 0.5F, 5, -0.25F, 0, INFINITY, -INFINITY}));
    put("ecg.csv", "nan\n-1e-400\n");
    const auto special = elementsOf<double>("ecg.csv");
    EXPECT_TRUE(std::isnan(special.at(0)));
    EXPECT_TRUE(special.at(1) == 0 && std::signbit(special.at(1)));
}

TEST_F(CsvTest, ABadCellIsRefusedWithItsLineAndReason) {
    const std::string noNumber = " is no number | correct the cell, or choose another column with `column K`";
    const std::string wider = " | declare a wider type, or ask for `convert rounded`";
    const std::string open = ": a quoted cell does not end | close the quotes before the comma or the line's end";
    const Refusals ofIntegers{
        {"a\n1\n\nabc\n", ":4: `abc` in column 1" + noNumber},
        {"1.2.3\n4\n", ":1: `1.2.3` in column 1" + noNumber},
        {"a\n\0"s, ":2: the line has a NUL character | check that the file is text, in UTF-8"},
        {"\xFF\xFE"
         "1\0\n\0"s,
         ": it is UTF-16 or UTF-32 text | save it as UTF-8"},
        {"\xFE\xFF\0"
         "1\0\n"s,
         ": it is UTF-16 or UTF-32 text | save it as UTF-8"},
        {"1\n+-1\n", ":2: `+-1` in column 1" + noNumber},
        {"1\n1.5\n", ":2: `1.5` in column 1 is no integer | declare `float` or `double`, or ask for `convert rounded`"},
        {"32768\n", ":1: `32768` in column 1 is outside the range of `int16`, -32768 to 32767" + wider},
        {"1\n,2\n", ":2: the line has 2 cells, and the first line has 1 | give every line the same number of cells"},
        {"1,2\n",
         ": it has 2 columns, and which of them is not said | "
         "take one with `column K`, all, frame by frame, with `interleaved 2`, or each as an element of an array, "
         "NAME[2]"},
        {"a\n\"1\n", ":2" + open},
        {"a\n\"1\"2\n", ":2" + open},
    };
    expectRefusals("ecg.csv", ElementType::int16, ofIntegers);
    put("ecg.csv", "1,\n");
    EXPECT_EQ(refusedRead(columnOf("ecg.csv", 2)),
              "ecg.csv:1: the cell in column 2 is empty | fill it, or take out the line");
    expectRefusals("ecg.csv", ElementType::float32,
                   {{"1e39\n", ":1: `1e39` in column 1 is outside the range of `float` | declare `double`"}});
    expectRefusals("ecg.csv", ElementType::float64,
                   {{"-1e400\n", ":1: `-1e400` in column 1 is outside the range of `double` | correct the cell"},
                    {"1\n0x10\n", ":2: `0x10` in column 1" + noNumber}});
}

TEST_F(CsvTest, AConversionIsAppliedToNumbersOnly) {
    put("ecg.csv", "1.5\n-2.5\n1e9\n");
    EXPECT_EQ(elementsOf<std::int16_t>("ecg.csv", "rounded"), (std::vector<std::int16_t>{2, -2, 32767}));
    EXPECT_EQ(elementsOf<std::int16_t>("ecg.csv", "truncated"), (std::vector<std::int16_t>{1, -2, 32767}));
    put("ecg.csv", "0.5\n-1\n");
    EXPECT_EQ(elementsOf<std::int16_t>("ecg.csv", "scaled"), (std::vector<std::int16_t>{16384, -32768}));
    put("ecg.csv", "1\nnan\n");
    EXPECT_EQ(refusedRead(reading("ecg.csv", ElementType::int16, "rounded")),
              "ecg.csv:2: `nan` in column 1 is no integer | declare `float` or `double`");
}

TEST_F(CsvTest, AMissingColumnIsRefused) {
    const struct {
        const char* text;
        std::variant<std::int64_t, std::string> column;
        std::string refusal;
    } cases[] = {
        {"1,2\n", 3, "there is no column 3 | the file has the columns 1 to 2"},
        {"1\n", 0, "there is no column 0 | the file has one column"},
        {"1,2\n", "a", "it has no heading line | choose a column by its number"},
        {"volts,time\n", "volt", "there is no column `volt` | did you mean `volts`?"},
        {"a,b\n", "heart", "there is no column `heart` | the columns are `a`, `b`"},
        {"a,a\n", "a", "more than one column is headed `a` | choose a column by its number"},
    };
    for (const auto& [text, column, refusal] : cases) {
        put("ecg.csv", text);
        EXPECT_EQ(refusedRead(columnOf("ecg.csv", column)), "ecg.csv: " + refusal);
    }
}

TEST_F(CsvTest, ALineHasAtMostAMebibyte) {
    std::string line(std::size_t{1} << 20, ' ');
    line[0] = '7';
    put("ecg.csv", "1\n" + line + "\n8\n");
    EXPECT_EQ(elementsOf<std::int16_t>("ecg.csv"), (std::vector<std::int16_t>{1, 7, 8}));
    expectRefusals("ecg.csv", ElementType::int16,
                   {{"1\n" + line + " \n", ":2: the line is longer than 1 MiB | check that the file is text"}});
}

TEST_F(CsvTest, NumbersAreWrittenWithTheFewestDigitsThatReadBack) {
    save<double>("out.csv", {0.1, -0.0, 1e300, 5e-324, -NAN, -INFINITY, 3});
    EXPECT_EQ(bytesOf("out.csv"), "signal\n0.1\n-0\n1e+300\n5e-324\nnan\n-inf\n3\n");
    save<float>("out.csv", {0.1F, 16777216.0F});
    EXPECT_EQ(bytesOf("out.csv"), "signal\n0.1\n16777216\n");
    WriteRequest request = writing<std::int16_t>("out.csv");
    request.name = "inf";
    createSink(request)->finish();
    EXPECT_EQ(bytesOf("out.csv"), "") << "a heading that is a number would be read back as one";
}

TEST_F(CsvTest, TriggerRowsAreReadAndWrittenAndBadOnesRefused) {
    put("beat.csv", "event, position\r\nassert,0\n\nstatus,4294967295\n");
    const auto rows = readTriggerRows(at("beat.csv"));
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_TRUE(rows[0].asserts && rows[0].position == 0);
    EXPECT_TRUE(!rows[1].asserts && rows[1].position == 4294967295U);
    const auto sink = createTriggerSink(at("out.csv"));
    for (const TriggerRow& row : rows) sink->write(row);
    sink->finish();
    EXPECT_EQ(bytesOf("out.csv"), "event,position\nassert,0\nstatus,4294967295\n");

    const auto timed = createTriggerSink(at("out.csv"), {}, {}, 250.0);
    for (const std::uint32_t position : {4294967295U, 0U, 1U, 4294967295U, 1073741824U, 3221225471U, 1U})
        timed->write({.asserts = true, .position = position});
    timed->finish();
    // The positions are counted on: a smaller one than 2^31 after a larger one is past the wrap.
    EXPECT_EQ(bytesOf("out.csv"),
              "event,position,seconds\nassert,4294967295,\nassert,0,0\nassert,1,0.004\nassert,4294967295,\n"
              "assert,1073741824,4294967.296\nassert,3221225471,12884901.884\nassert,1,17179869.188\n");
    EXPECT_EQ(readTriggerRows(at("out.csv")).back().position, 1U);

    const std::string form = ": the line is not of the form event,position | give lines such as assert,1024";
    const std::string range = " is no position | positions are integers from 0 to 4294967295";
    const Refusals refusals{
        {"", ":1: the heading `event,position` is missing | put it on the first line"},
        {"assert,1\n", ":1: the heading `event,position` is missing | put it on the first line"},
        {"event,position\nassert,1\nasert,2\n", ":3: `asert` is no event | did you mean `assert`?"},
        {"event,position\nstart,2\n", ":2: `start` is no event | the events are `assert` and `status`"},
        {"event,position\nassert,4294967296\n", ":2: `4294967296`" + range},
        {"event,position\nassert,-1\n", ":2: `-1`" + range},
        {"event,position\nassert\n", ":2" + form},
        {"event,position\nassert,1,2\n", ":2" + form},
        {"event,position,seconds\nassert,1\n",
         ":2: the line is not of the form event,position,seconds | give lines such as assert,1024,1.024"},
        {"event,position,frame\n",
         ":1: after the heading `event,position` only `seconds` can come | leave the other columns out"},
    };
    for (const auto& [text, expected] : refusals) {
        put("beat.csv", text);
        EXPECT_EQ(refusal([&] { readTriggerRows(at("beat.csv")); }), "beat.csv" + expected);
    }
    EXPECT_EQ(refusal([&] { createTriggerSink(at("beat.wav")); }),
              "beat.wav: the file of a trigger is CSV | give a name that ends in .csv, or say `format csv` after it");
}

}  // namespace
}  // namespace libzepl
