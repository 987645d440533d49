// Raw and .npy files.

#include <bit>
#include <cmath>
#include <cstring>

#include "tests/runtime/files_support.h"

namespace libzepl {
namespace {

using namespace std::string_literals;

// An .npy file as other programs write it.
std::string npy(const std::string& entries, const std::string& samples, char version = 1) {
    std::string file = "\x93NUMPY"s + version + '\0' + static_cast<char>(entries.size() + 1) + '\0';
    if (version > 1) file += "\0\0"s;
    return file + entries + '\n' + samples;
}

std::string entries(const std::string& type, const std::string& shape, const std::string& fortran = "False") {
    return "{'descr': '" + type + "', 'fortran_order': " + fortran + ", 'shape': " + shape + ", }";
}

using BinaryTest = FilesTest;

TEST_F(BinaryTest, EveryTypeAndByteOrderIsRead) {
    const struct {
        std::string type, samples;
        std::vector<double> expected;
    } cases[] = {
        {"|i1", "\x80\x7F"s, {-128, 127}},
        {"|u1", "\x80\xFF"s, {128, 255}},
        {"<i2", "\x01\x80\xFF\x7F"s, {-32767, 32767}},
        {">i2", "\x80\x01\x7F\xFF"s, {-32767, 32767}},
        {"<u2", "\x01\x80\xFF\xFF"s, {32769, 65535}},
        {"<i4", "\x00\x00\x00\x80\x01\x00\x00\x00"s, {-2147483648.0, 1}},
        {">u4", "\xFF\xFF\xFF\xFF\x00\x00\x00\x01"s, {4294967295.0, 1}},
        {"<f4", "\x00\x00\xC0\x3F\x00\x00\x80\xFF"s, {1.5, -INFINITY}},
        {">f8", "\x3F\xF8\x00\x00\x00\x00\x00\x00\x80\x00\x00\x00\x00\x00\x00\x00"s, {1.5, -0.0}},
    };
    for (const auto& row : cases) {
        put("a.npy", npy(entries(row.type, "(2,)"), row.samples));
        EXPECT_EQ(elementsOf<double>("a.npy"), row.expected) << row.type;
    }
    put("a.npy", npy(entries("<i8", "(1,)"), "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x7F"s));
    EXPECT_EQ(elementsOf<std::int32_t>("a.npy", "rounded"), std::vector<std::int32_t>{2147483647});
}

TEST_F(BinaryTest, EveryVersionAndSpellingOfAHeaderIsRead) {
    const std::string samples = "\x01\x00\x02\x00"s, entry = entries("<i2", "(2,)");
    for (const std::string& file :
         {npy(entry, samples), npy(entry, samples, 2), npy(entry, samples, 3), npy(entry, samples + "behind the array"),
          npy("{ \"shape\":(2) ,'descr':\"=i2\",'fortran_order':True}", samples)}) {
        put("a.NPY", file);
        EXPECT_EQ(elementsOf<std::int16_t>("a.NPY"), (std::vector<std::int16_t>{1, 2})) << file;
    }
}

TEST_F(BinaryTest, ChannelsStayTogetherWhereFramesStraddleBlocks) {
    std::string samples;
    for (int i = 0; i < 30000; ++i) samples += {static_cast<char>(i), static_cast<char>(i >> 8)};
    put("a.npy", npy(entries("<i2", "(3, 10000)"), samples));
    const auto whole = openSource(allOf("a.npy", 10000)), one = openSource(channelOf("a.npy", 9999));
    EXPECT_EQ(whole->channels(), 10000);
    EXPECT_EQ(whole->length(), 30000U);
    EXPECT_EQ(elementsOf<std::int16_t>(allOf("a.npy", 10000)).at(29999), 29999);
    EXPECT_EQ(one->channels(), 1);
    EXPECT_EQ(one->length(), 3U);
    EXPECT_EQ(elementsOf<std::int16_t>(channelOf("a.npy", 9999)), (std::vector<std::int16_t>{9998, 19998, 29998}));
    EXPECT_EQ(refusedRead(channelOf("a.npy", 10001)),
              "a.npy: there is no channel 10001 | the recording has the channels 1 to 10000");
}

TEST_F(BinaryTest, ABadNpyFileIsRefusedWithItsReason) {
    const std::string cut = " | check that the file is whole; `partial` after its name reads what is there";
    const std::string anew = " | save the array again", whole = " | check that the file is whole";
    const std::string types = " cannot be read | save the array as one of i1, i2, i4, i8, u1, u2, u4, f4, f8";
    const auto shaped = [](const std::string& shape) { return npy(entries("<f8", shape), ""); };
    const std::string good = npy(entries("<f8", "(2,)"), std::string(16, '\0'));
    const Refusals refusals{
        {"", ": the file is empty" + anew},
        {"PK\x03\x04 zipped", ": it does not start as an .npy file does" + anew},
        {"\x93NUMPY\x04"s + good.substr(7), ": its version is none of 1.0, 2.0 and 3.0" + anew},
        {good.substr(0, 9), ": it ends within its header" + whole},
        {good.substr(0, 40), ": it ends within its header" + whole},
        {good.substr(0, good.size() - 1), ": its header announces 2 frames, but it holds 1" + cut},
        {"\x93NUMPY\x02\0\xFF\xFF\xFF\xFF"s, ": its header of 4294967295 bytes is too long to be right" + anew},
        {npy(entries("<f8", "(0,)") + "junk", ""),
         ": its header has something after its dictionary: `junk\\x0A`" + anew},
        {npy("{}", ""), ": its header lacks one of `descr`, `fortran_order` and `shape`" + anew},
        {npy("{'size': 5}", ""), ": its header has the unknown entry `size`" + anew},
        {npy("{'descr': [('x', '<i2')]}", ""),
         ": its header has records of several fields, and only arrays of numbers can be read" + anew},
        {npy("{'descr': '<f8", ""), ": its header has no text in quotes where one is due" + anew},
        {shaped("(2L,)"), ": its header has no `)` where one is due" + anew},
        {shaped("(99999999999999999999,)"),
         ": its header has a shape that is no list of lengths within 64 bits" + anew},
        {shaped("(2305843009213693952, 8)"),
         ": its shape (2305843009213693952, 8) is impossible for a recording" + anew},
        {shaped("(9, 0)"), ": its shape (9, 0) is impossible for a recording" + anew},
        {shaped("()"), ": its shape () is neither (n,) nor (frames, channels) | reshape the array"},
        {shaped("(1, 1, 1)"), ": its shape (1, 1, 1) is neither (n,) nor (frames, channels) | reshape the array"},
        {npy(entries("<f8", "(1, 2)", "True"), ""),
         ": it is stored channel by channel (Fortran order) | save it in C order, frame by frame"},
        {npy(entries("<c16", "(1,)"), ""), ": its type `<c16`" + types},
        {npy(entries("<u8", "(1,)"), ""), ": its type `<u8`" + types},
        {npy(entries("<i8", "(1,)"), std::string(8, '\0')),
         ": its 64-bit integer samples do not fit the type `double` without loss | "
         "ask for `convert rounded`, `convert truncated` or `convert scaled`"},
    };
    expectRefusals("a.npy", ElementType::float64, refusals);
}

TEST_F(BinaryTest, ANanIsRefusedWhereIntegersAreWanted) {
    std::string samples(24, '\0');
    samples.replace(20, 4, "\x00\x00\xC0\x7F"s);
    put("a.npy", npy(entries("<f4", "(3, 2)"), samples));
    ReadRequest request = allOf("a.npy", 2);
    request.conversion = "rounded";
    EXPECT_EQ(refusedRead(request),
              "a.npy: sample 2 of channel 2 is nan, which no integer type holds (samples count from 0) | "
              "declare the type `float` or `double`");
}

TEST_F(BinaryTest, WrittenBitsAreReadBack) {
    std::vector<float> elements;
    for (std::uint32_t bits : {0x7F800001U, 0xFFC00123U, 0x80000000U, 0x00000001U, 0x7F7FFFFFU})
        elements.push_back(std::bit_cast<float>(bits));
    for (int i = 0; i < 20000; ++i) elements.push_back(static_cast<float>(i));
    for (const std::string name : {"a.bin", "a.npy", "a.wav"}) {
        save<float>(name, elements);
        const auto back = elementsOf<float>(name);
        ASSERT_EQ(back.size(), elements.size()) << name;
        EXPECT_EQ(std::memcmp(back.data(), elements.data(), elements.size() * sizeof(float)), 0) << name;
        EXPECT_EQ(openSource(reading(name, ElementType::float32))->length(), elements.size()) << name;
    }
    save<std::int32_t>("b.npy", {1, -1});
    EXPECT_EQ(bytesOf("b.npy").substr(10, 118),
              "{'descr': '<i4', 'fortran_order': False, 'shape': (2,), }" + std::string(60, ' ') + "\n");
    EXPECT_EQ(bytesOf("b.npy").substr(128), "\x01\0\0\0\xFF\xFF\xFF\xFF"s);
}

TEST_F(BinaryTest, RawDataHasWholeElementsAndNoChannels) {
    put("a.bin", "");
    EXPECT_TRUE(elementsOf<double>("a.bin").empty());
    EXPECT_EQ(refusedRead(channelOf("a.bin", 1)),
              "a.bin: raw data does not say how many channels it has | "
              "convert it to .npy of shape (frames, channels), or to .wav");
    EXPECT_EQ(refusedRead(columnOf("a.bin", 1)),
              "a.bin: only CSV files have columns | choose a channel with `channel K`");
    expectRefusals("a.bin", ElementType::float64,
                   {{"12345678901",
                     ": it ends with 3 bytes of an incomplete double sample | "
                     "check that the file is whole; `partial` after its name reads what is there"}});
}

}  // namespace
}  // namespace libzepl
