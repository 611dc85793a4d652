// Paths: the conversion that loses no byte, the arithmetic, and names that nobody has.
#include "Orvet/PathUtils.h"

#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <random>
#include <set>
#include <string>

#include "Orvet/File.h"
#include "Platform/PlatformFolder.h"
#include "Support/Options.h"

using namespace Orvet::PathUtils;

namespace {

TEST(PathUtils, ConvertsKnownTexts) {
    EXPECT_EQ(u"a\u00e9\u20ac\U0001F600", FromNative("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"));
    const auto escaped = [](std::initializer_list<char16_t> inUnits) { return UTF16String(inUnits); };
    EXPECT_EQ(escaped({0xDCE2, 0xDC82, u'x'}), FromNative("\xE2\x82x")) << "cut short";
    EXPECT_EQ(escaped({0xDBFF, 0xDFFF, 0xDCFF}), FromNative("\xF4\x8F\xBF\xBF\xFF"));
}

TEST(PathUtils, EveryByteStringRoundTrips) {
    for (unsigned first = 0; first < 256; ++first) {
        for (unsigned second = 0; second < 256; ++second) {
            const std::string bytes = {static_cast<char>(first), static_cast<char>(second)};
            ASSERT_EQ(bytes, ToNative(FromNative(bytes))) << first << ' ' << second;
        }
    }
    std::mt19937 random(Vexmora::Test::Option("VEXMORA_SEED", 1));
    // Bytes at the borders of the encoding's ranges meet more often than uniform ones would.
    constexpr std::array<unsigned, 24> kBorders = {0x00, 0x2F, 0x41, 0x7F, 0x80, 0x8F, 0x90, 0x9F,
                                                   0xA0, 0xBF, 0xC0, 0xC1, 0xC2, 0xDF, 0xE0, 0xED,
                                                   0xEE, 0xEF, 0xF0, 0xF4, 0xF5, 0xF8, 0xFE, 0xFF};
    for (int round = 0; round < 100'000; ++round) {
        std::string bytes(random() % 12, '\0');
        for (char& byte : bytes) {
            byte = static_cast<char>(random() % 4 == 0 ? random() : kBorders[random() % kBorders.size()]);
        }
        ASSERT_EQ(bytes, ToNative(FromNative(bytes)));
    }
}

TEST(PathUtils, EveryCodePointRoundTrips) {
    for (char32_t codePoint = 0; codePoint <= 0x10FFFF; ++codePoint) {
        if (codePoint >= 0xD800 && codePoint <= 0xDFFF) continue;
        UTF16String text;
        if (codePoint < 0x10000) {
            text = {static_cast<char16_t>(codePoint)};
        } else {
            text = {static_cast<char16_t>(0xD7C0 + (codePoint >> 10)),
                    static_cast<char16_t>(0xDC00 + (codePoint & 0x3FF))};
        }
        ASSERT_EQ(text, FromNative(ToNative(text))) << static_cast<unsigned>(codePoint);
    }
}

TEST(PathUtils, LoneSurrogatesStayApart) {
    std::set<std::string> natives;
    std::size_t count = 0;
    for (char16_t unit = 0xD800; unit < 0xE000; ++unit) {
        for (const UTF16String& text :
             {UTF16String{unit}, UTF16String{unit, u'x'}, UTF16String{u'x', unit}}) {
            natives.insert(ToNative(text));
            ++count;
        }
    }
    EXPECT_EQ(count, natives.size());
    EXPECT_EQ("\x80\xFF", ToNative(UTF16String{0xDC80, 0xDCFF}));
}

TEST(PathUtils, TakesPathsApart) {
    EXPECT_EQ(u"/a/", AddTrailingSlash(u"/a"));
    EXPECT_EQ(u"/a/", AddTrailingSlash(u"/a/"));
    EXPECT_EQ(u"", AddTrailingSlash(u"")) << "not the root";
    EXPECT_EQ(u"c.d", GetFilePart(u"/a/b/c.d"));
    EXPECT_EQ(u"c\\d", GetFilePart(u"c\\d"));
    EXPECT_EQ(u"", GetFilePart(u"/a/"));
}

TEST(PathUtils, MakesNamesThatNobodyHas) {
    const PlatformFolder folder;
    EXPECT_EQ(folder.Path("m.m2v.idx"), MakeUniqueFilename(folder.Path("m.m2v.idx")));
    folder.Write("m.m2v.idx", "");
    EXPECT_EQ(folder.Path("m.m2v (2).idx"), MakeUniqueFilename(folder.Path("m.m2v.idx")));
    std::filesystem::create_symlink("nowhere", folder.Native("m.m2v (2).idx"));
    std::filesystem::create_directory(folder.Native("m.m2v (3).idx"));
    EXPECT_EQ(folder.Path("m.m2v (4).idx"), MakeUniqueFilename(folder.Path("m.m2v.idx")));

    std::filesystem::create_directory(folder.Native("dotted.folder"));
    folder.Write("dotted.folder/plain", "");
    EXPECT_EQ(folder.Path("dotted.folder/plain (2)"), MakeUniqueFilename(folder.Path("dotted.folder/plain")));
    folder.Write(".hidden", "");
    EXPECT_EQ(folder.Path(".hidden (2)"), MakeUniqueFilename(folder.Path(".hidden")));
}

TEST(PathUtils, NamesThatAreNoUTF8CanBeOpened) {
    const PlatformFolder folder;
    const UTF16String path = folder.Write("caf\xE9\xED\xA0\x80.m2v", "x");
    EXPECT_EQ(1, Orvet::File::SizeOnDisk(path));
    EXPECT_NE(path, MakeUniqueFilename(path));
}

}  // namespace
