// Tables: what is in their files, what is said of them, and what they refuse.

#include "tool_support.h"

namespace libzepl {
namespace {

class ToolTables : public ToolTest {
 protected:
    ToolTables() {
        put("x.csv", "1.5\n-2.5\n0.1\n-4\n");
        put("n.csv", "100\n-32768\n7\n-1\n");
        std::string eight;
        for (int i = 0; i < 100; ++i) eight += "1,2\n";
        put("two.csv", eight);
    }
    // The messages of a run of these statements, which goes well unless another status is given.
    std::string said(const std::string& statements, const std::string& options = {}, int status = 0) const {
        put("p.zp", pipes + statements);
        const Called called = call("run p.zp " + options);
        EXPECT_EQ(called.status, status) << called.err;
        return called.err;
    }

    // The text is of one mistake: "COLUMN: error: MESSAGE|REMEDY", each from its start on.
    static void expectMistake(const std::string& text, int line, const std::string& expected) {
        const std::size_t remedy = expected.find('|');
        const std::string first = "p.zp:" + std::to_string(line) + ":" + expected.substr(0, remedy);
        EXPECT_EQ(text.substr(0, first.size()), first);
        const std::string told = remedy == std::string::npos ? "" : expected.substr(remedy + 1);
        EXPECT_NE(text.find("\n  " + told), std::string::npos) << text;
        EXPECT_EQ(text.find("error: ", first.size()), std::string::npos) << text;
    }

    const std::string pipes =
        "rate 10\npipe x : double from \"x.csv\" to \"x.bin\"\npipe n : int16 from \"n.csv\"\npipe f : float\npipe size : int16\n"
        "variable v : int16 = 1\nvector w : float = [1]\ntrigger beat\nconstant half = rate / 20\n"
        "ABS (n, size)\n";
};

TEST_F(ToolTables, HaveAColumnForEachPipeAndForWhatCounts) {
    EXPECT_EQ(said("table \"t.csv\" : index, seconds, x, n, size, hertz every rate / 4\n"),
              "wrote x.bin: 4 samples of `x`\nwrote t.csv: 4 rows\n");
    EXPECT_EQ(bytesOf("t.csv"),
              "index,seconds,x,n,size,hertz\n0,0,1.5,100,100,0\n1,0.1,-2.5,-32768,32767,2.5\n2,0.2,0.1,7,7,5\n"
              "3,0.3,-4,-1,1,7.5\n");
    // A step is a factor; a rate divides.
    EXPECT_EQ(said("table \"t.csv\" : seconds every half, index every 1e5, n, x limit 3 rate 3\n"),
              "wrote x.bin: 4 samples of `x`\nwrote t.csv: 3 rows\n");
    EXPECT_EQ(bytesOf("t.csv"), "seconds,index,n,x\n0,0,100,1.5\n0.5,100000,-32768,-2.5\n1,200000,7,0.1\n");
    said("table \"t.csv\" : n, seconds rate 3\n");
    EXPECT_EQ(bytesOf("t.csv"), "n,seconds\n100,0\n-32768,0.3333333333333333\n7,0.6666666666666666\n-1,1\n");
}

TEST_F(ToolTables, TakeNamesByTheirPosition) {
    // Declared pipes hide the words that count; clauses can be columns; a pipe or a command can be called table.
    EXPECT_EQ(said("pipe index : int16\nABS (n, index)\npipe limit : int16\nABS (n, limit)\npipe table : int16 to "
                   "\"table.csv\"\nABS (\n  table_in,\n  table)\npipe table_in : int16\nABS (n, table_in)\n"
                   "table \"t.csv\" : limit, index, table limit 1\n"),
              "wrote x.bin: 4 samples of `x`\nwrote table.csv: 4 samples of `table`\nwrote t.csv: 1 row\n");
    EXPECT_EQ(bytesOf("t.csv"), "limit,index,table\n100,100,100\n");
}

TEST_F(ToolTables, GoToOtherFormatsWhereAllColumnsAreOfOneType) {
    said("table \"t.npy\" : seconds, x\ntable \"t.wav\" : n, size rate 50\n");
    EXPECT_EQ(elementsOf<double>(allOf("t.npy", 2, ElementType::float64)),
              std::vector<double>({0, 1.5, 0.1, -2.5, 0.2, 0.1, 0.3, -4}));
    EXPECT_EQ(elementsOf<std::int16_t>(allOf("t.wav", 2)),
              std::vector<std::int16_t>({100, 100, -32768, 32767, 7, 7, -1, 1}));
    EXPECT_EQ(openSource(allOf("t.wav", 2))->rate(), 50);
    EXPECT_EQ(said("table \"t.npy\" : x, n\n", "", 2),
              "p.zp:11:7: error: t.npy: holds one type, and `x` is double, `n` int16\n  table \"t.npy\" : x, n\n"
              "        ^~~~~~~\n  write CSV, by .csv or `format csv`, where each column has its own type\n");
}

TEST_F(ToolTables, CanBeSentElsewhere) {
    EXPECT_EQ(said("table \"sub.csv\" : n format csv\n", "--out sub.csv=other.npy"),
              "wrote x.bin: 4 samples of `x`\nwrote other.npy: 4 rows\n");
    EXPECT_EQ(elementsOf<std::int16_t>("other.npy"), std::vector<std::int16_t>({100, -32768, 7, -1}));
    put("p.zp", pipes + "table - : n, x format csv\n");
    EXPECT_EQ(call("run p.zp").out, "n,x\n100,1.5\n-32768,-2.5\n7,0.1\n-1,-4\n");
    EXPECT_EQ(said("table \"t.csv\" : n\n", "--out s.csv=u.csv", 2),
              "p.zp: error: --out s.csv=u.csv: the procedure declares no pipe, trigger or table `s.csv`\n"
              "  did you mean `t.csv`?\n");
    EXPECT_EQ(said("table \"t.csv\" : n\n", "--report t.csv", 2),
              "zepl: error: --report t.csv: that file is written as a table\n  name a file of its own\n");
}

TEST_F(ToolTables, RowsReachAReaderBeforeMoreComesIn) {
    put("p.zp", "rate 10\npipe a : int16 from -\npipe b : int16\nABS (a, b)\ntable - : seconds, a, b format csv\n");
    LiveTool tool(folder_, {"run", "p.zp", "--quiet"});
    tool.write({"\xFF\xFF", 2});
    const std::string rows = "seconds,a,b\n0,-1,1\n", next = "0.1,5,5\n";
    EXPECT_EQ(tool.read(rows.size()), rows);
    tool.write({"\5\0", 2});
    EXPECT_EQ(tool.read(next.size()), next);
    tool.closeInput();
    EXPECT_EQ(tool.wait(), 0);
}

TEST_F(ToolTables, RatesThatAreAssumedOrContradictedAreNoted) {
    put("p.zp", "pipe n : int16 from \"n.csv\"\ntable \"t.csv\" : seconds, n\ntable \"u.csv\" : seconds every 2, n\n");
    EXPECT_EQ(call("run p.zp").err,
              "note: t.csv counts seconds by 1000 frames a second, which is assumed, since no input states a rate: "
              "`rate R` in the procedure or after its columns states the right one\n"
              "wrote t.csv: 4 rows\nwrote u.csv: 4 rows\n");
    const std::string quarter =
        "rate 10\npipe a : int16 from \"two.csv\" column 1\npipe b : int16\nSKIP (a, 0, 1, 3, b)\n";
    put("p.zp", quarter + "table \"t.csv\" : seconds, b\ntable \"u.csv\" : seconds, b rate 2.5\n");
    EXPECT_EQ(call("run p.zp").err,
              "note: t.csv counts seconds by the rate of `a`, 10, and has one row for 4 of its frames: `seconds every "
              "0.4` counts its own\nwrote t.csv: 25 rows\nwrote u.csv: 25 rows\n");
}

TEST_F(ToolTables, AFailedRunKeepsWhatThereIsOfThem) {
    put("t.csv", "old");
    const std::string text = said("pipe q : int16\nSCALE (n, 0, 1, 0, q)\ntable \"t.csv\" : n, size\n", "", 1);
    EXPECT_NE(text.find("note: what the failed run wrote of `t.csv` is in t.csv.failed; t.csv is as it was\n"),
              std::string::npos)
        << text;
    EXPECT_EQ(bytesOf("t.csv"), "old");
    EXPECT_EQ(bytesOf("t.csv.failed"), "n,size\n100,100\n-32768,32767\n7,7\n-1,1\n");
}

class ToolArrays : public ToolTables {
 protected:
    const std::string arrays = "pipe two[2] : int16 from \"two.csv\"\npipe r[2] : int16\nABS (two, r)\n";
    // The messages after those of what all procedures here have.
    std::string said(const std::string& statements, const std::string& options = {}, int status = 0) const {
        put("p.zp", "rate 10\n" + statements);
        const Called called = call("run p.zp " + options);
        EXPECT_EQ(called.status, status) << called.err;
        return called.err;
    }
};

TEST_F(ToolArrays, GoToOneFileWithAChannelForEachElement) {
    const std::string from = "pipe two[2] : int16 from \"two.csv\"\npipe r[2] : int16 to ", abs = "\nABS (two, r)\n";
    EXPECT_EQ(said(from + "\"r.wav\" rate 50" + abs), "wrote r.wav: 100 frames of `r`\n");
    EXPECT_EQ(openSource(allOf("r.wav", 2))->rate(), 50);
    std::vector<std::int16_t> frames;
    for (int i = 0; i < 100; ++i) frames.insert(frames.end(), {1, 2});
    EXPECT_EQ(elementsOf<std::int16_t>(allOf("r.wav", 2)), frames);
    said(from + "\"r.npy\" limit 3" + abs);
    EXPECT_EQ(elementsOf<std::int16_t>(allOf("r.npy", 2)), std::vector<std::int16_t>({1, 2, 1, 2, 1, 2}));
    said(from + "\"r.csv\" limit 1" + abs);
    EXPECT_EQ(bytesOf("r.csv"), "r[1],r[2]\n1,2\n");
    // Where the caller says so, too, and beside a file of one of them.
    EXPECT_EQ(said(arrays, "--out r=s.csv --out r[2]=t.csv"),
              "wrote t.csv: 100 samples of `r[2]`\nwrote s.csv: 100 frames of `r`\n");
    EXPECT_EQ(bytesOf("s.csv").substr(0, 14), "r[1],r[2]\n1,2\n");
    EXPECT_EQ(bytesOf("t.csv").substr(0, 7), "r[2]\n2\n");
}

TEST_F(ToolArrays, OfInterleavedPipesKeepTheFramesOfEach) {
    said(arrays + "pipe s[2] : int16 interleaved 2 to \"s.csv\" limit 4\nABS (r, s)\n");
    EXPECT_EQ(bytesOf("s.csv"), "s[1][1],s[1][2],s[2][1],s[2][2]\n1,1,2,2\n1,1,2,2\n");
}

TEST_F(ToolArrays, ThatUnlikeRatesFillEndWithTheShortest) {
    EXPECT_EQ(
        said("pipe two[2] : int16 from \"two.csv\"\npipe r[2] : int16 to \"r.wav\"\nABS (two[1], r[1])\n"
             "SKIP (two[2], 0, 1, 3, r[2])\n"),
        "note: r.wav states the rate of `two[2]`, 10, and has one frame for 4 of its frames: its own is 2.5, which "
        "no sound file states: write .npy or .csv, which state none\n"
        "note: `r` has 25 frames, all that `r[2]` has; not written: 75 samples of `r[1]`\n"
        "wrote r.wav: 25 frames of `r`\n");
}

TEST_F(ToolArrays, AreColumnsOfTables) {
    said(arrays +
         "constant last = 2\npipe both : int16 interleaved 2 from \"two.csv\"\n"
         "table \"t.csv\" : r, two[last], index, both limit 1\n");
    EXPECT_EQ(bytesOf("t.csv"), "r[1],r[2],two[2],index,both[1],both[2]\n1,2,2,0,1,2\n");
    const struct {
        const char* columns;
        const char* says;
    } cases[] = {
        {"r[3]", "17: error: there is no `r[3]`|the elements are `r[1]` to `r[2]`"},
        {"r[1.5]", "19: error: an index is an integer, not `1.5`"},
        {"r, r[2]", "20: error: `r[2]` is a column of this table already"},
        {"r, r", "20: error: `r` is a column of this table already"},
        {"r every 2", "17: error: `r` is an array of pipes, and `every` is the step of a count"},
        {"x[1]", "17: error: `x` is no array of pipes|write `x` alone"},
        {"index[1], r", "17: error: `index` counts, and has no elements|write `index` alone"},
        {"rr[1], r", "17: error: unknown column `rr`"},
    };
    for (const auto& [columns, says] : cases)
        expectMistake(said(arrays + "pipe x : int16\nABS (r[1], x)\ntable \"t.csv\" : " + columns + "\n", "", 2), 7,
                      says);
}

// What the last line of a procedure gives, from its place on.
TEST_F(ToolTables, MistakesHaveTheirTextsAndPlaces) {
    const struct {
        const char* line;
        const char* says;  // after the line's number
    } cases[] = {
        {"table \"t.csv\"", "14: error: expected `:` and the table's columns, but the line ends here"},
        {"table \"t.csv\" :",
         "16: error: expected a column: a pipe, `index`, `seconds` or `hertz`, but the line ends here"},
        {"table \"t.csv\" : n,", "19: error: expected a column: a pipe, `index`, `seconds` or `hertz`, but the line"},
        {"table \"t.csv\" : n x",
         "19: error: unknown clause `x`|a comma goes before another column; after them a table "
         "takes limit, rate, format"},
        {"table \"t.csv\" : n limit half",
         "25: error: `limit` takes an integer from 1, not `half = 0.5`|round(), floor()"},
        {"table \"t.csv\" : index every -half, n",
         "29: error: `every` takes a positive, finite number, not `-half = -0.5`"},
        {"table \"t.csv\" : sizes", "17: error: unknown column `sizes`|did you mean `size`?"},
        {"table \"t.csv\" : zzzzzz, n", "17: error: unknown column `zzzzzz`|a column is a pipe, or `index`, `seconds`"},
        {"table \"t.csv\" : n, seconds, n", "29: error: `n` is a column of this table already|name it once"},
        {"table \"t.csv\" : n, beat",
         "20: error: `beat` is a trigger, and its events are no samples|give it a file of "
         "its own: trigger beat to FILE with seconds"},
        {"table \"t.csv\" : n, v", "20: error: `v` is a variable, and no column"},
        {"table \"t.csv\" : n every 2",
         "17: error: `n` is a pipe, and `every` is the step of a count|leave `every` out"},
        {"table \"t.csv\" : n, hertz", "20: error: `hertz` is given no step|write `hertz every R / N` for"},
        {"table \"t.csv\" : index, seconds", "7: error: no column of the table is a pipe, so it would have no rows"},
        {"table \"t.xyz\" : n", "7: error: t.xyz: the ending `.xyz` is of no known format"},
        {"table \"n.csv\" : x", "7: error: `n.csv` is also an input"},
        {"table \"t.csv\" : x\ntable \"./t.csv\" : n",
         "7: error: `./t.csv` is written by another channel|give each "
         "output a file of its own"},
        {"tabel \"t.csv\" : x", "1: error: unknown declaration `tabel`|did you mean `table`?"},
    };
    for (const auto& [line, says] : cases)
        expectMistake(said(std::string(line) + "\n", "", 2),
                      std::string(line).find('\n') == std::string::npos ? 11 : 12, says);
}

}  // namespace
}  // namespace libzepl
