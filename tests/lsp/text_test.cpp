// Texts as editors change them, and the frames of messages.

#include <gtest/gtest.h>

#include "cli/lsp/document.h"
#include "cli/lsp/framing.h"

namespace cli::lsp {
namespace {

TEST(EditorText, APositionAndItsOffsetAreTheSamePlace) {
    for (const std::string text : {"", "a", "\n", "a\nb", "é😀x\r\n\n\rß\r\n😀", "\xEF\xBB\xBFpipe é\nx"}) {
        const Text document(text);
        for (std::size_t at = 0; at <= text.size(); ++at) {
            const bool isInCharacter = at < text.size() && (text[at] & 0xC0) == 0x80;
            const bool isInLineEnd = at > 0 && at < text.size() && text[at - 1] == '\r' && text[at] == '\n';
            if (isInCharacter || isInLineEnd) continue;
            EXPECT_EQ(document.offsetOf(document.positionOf(at)), at) << text;
        }
    }
}

TEST(EditorText, ColumnsAreUtf16Units) {
    const Text text("aé😀b\r\nc\rd\n");
    const std::pair<Position, std::size_t> cases[] = {
        {{0, 1}, 1},  {{0, 2}, 3},  {{0, 3}, 3},  {{0, 4}, 7},
        {{0, 5}, 8},  {{0, 99}, 8}, {{1, 0}, 10}, {{1, 9}, 11},
        {{2, 0}, 12}, {{3, 0}, 14}, {{9, 0}, 14}, {{static_cast<std::size_t>(-1), static_cast<std::size_t>(-1)}, 14},
    };
    for (const auto& [position, offset] : cases)
        EXPECT_EQ(text.offsetOf(position), offset) << position.line << ":" << position.character;
    EXPECT_EQ(text.positionOf(7), (Position{0, 4}));
}

// A procedure's lines end with line feeds alone, and a mark at its start is in no column.
TEST(EditorText, PlacesOfMessagesAreFoundBesideOtherLineEnds) {
    const Text text(
        "\xEF\xBB\xBF"
        "ab\rc\nde");
    EXPECT_EQ(text.rangeOf(libzepl::Place{1, 1, 2}), (Range{{0, 1}, {0, 3}}));
    EXPECT_EQ(text.rangeOf(libzepl::Place{1, 4, 1}), (Range{{1, 0}, {1, 1}}));
    EXPECT_EQ(text.rangeOf(libzepl::Place{2, 2, 9}), (Range{{2, 1}, {2, 2}}));
    EXPECT_EQ(text.rangeOf(libzepl::Place{}), Range());
    EXPECT_EQ(text.rangeOf(libzepl::Place{9, 1, 1}), (Range{{2, 2}, {2, 2}}));
}

TEST(EditorFrames, ComeOutAsTheyWentInWhereverTheyAreCut) {
    const std::string contents[] = {"{}", "", "\r\n\r\n", "é"};
    std::string bytes, mistake = "X: 1\r\n\r\n";
    for (const std::string& content : contents) bytes += framed(content) + mistake;
    for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
        FrameReader reader;
        std::vector<std::string> found;
        for (const std::string& part : {bytes.substr(0, cut), bytes.substr(cut)}) {
            reader.add(part);
            while (const auto frame = reader.next())
                found.push_back(frame->mistake.empty() ? frame->content : "mistake");
        }
        EXPECT_EQ(found,
                  (std::vector<std::string>{"{}", "mistake", "", "mistake", "\r\n\r\n", "mistake", "é", "mistake"}))
            << cut;
    }
}

}  // namespace
}  // namespace cli::lsp
