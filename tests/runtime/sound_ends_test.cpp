// The lengths of MPEG frames, by which a file that is cut is told from a whole one.

#include "runtime/files/sound_ends.h"

#include "files_support.h"

namespace libzepl {
namespace {

using SoundEnds = FilesTest;

TEST_F(SoundEnds, EachKindOfMpegFrameHasItsLength) {
    enum { mpeg25 = 0, mpeg2 = 2, mpeg1 = 3 };
    const struct {
        int version, layer, bitRate, sampleRate, padding;
        std::size_t length;
    } cases[] = {
        {mpeg1, 1, 12, 0, 0, 416},  {mpeg1, 1, 12, 0, 1, 420}, {mpeg1, 2, 10, 1, 0, 576},  {mpeg1, 2, 1, 1, 0, 96},
        {mpeg1, 3, 9, 0, 0, 417},   {mpeg1, 3, 9, 0, 1, 418},  {mpeg1, 3, 14, 2, 0, 1440}, {mpeg2, 1, 8, 0, 0, 276},
        {mpeg2, 2, 8, 1, 0, 384},   {mpeg2, 3, 8, 2, 0, 288},  {mpeg25, 3, 4, 0, 0, 208},  {mpeg25, 3, 4, 2, 1, 289},
        {mpeg2, 2, 14, 2, 0, 1440}, {mpeg1, 1, 14, 2, 0, 672},
    };
    for (const auto& each : cases) {
        std::string frame(each.length, '\0');
        frame[0] = '\xFF';
        frame[1] = static_cast<char>(0xE1 | each.version << 3 | (4 - each.layer) << 1);
        frame[2] = static_cast<char>(each.bitRate << 4 | each.sampleRate << 2 | each.padding << 1);
        for (const std::size_t lacking : {0U, 1U}) {
            put("a.mp3", (frame + frame).substr(0, 2 * each.length - lacking));
            SoundBytes file(std::make_unique<InputFile>(at("a.mp3")));
            EXPECT_EQ(missingEnd(file).value_or(""), lacking == 0 ? "" : "it ends within a frame") << each.length;
        }
    }
}

}  // namespace
}  // namespace libzepl
