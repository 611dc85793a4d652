// Paths survive the interface's spelling, and a file's identity changes with size, time and content.
#include "index/MediaIdentity.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <random>
#include <set>

#include "Host/HostTestSupport.h"
#include "VexmoraHost/Error.h"
#include "system/PathText.h"

namespace VexmoraHost {
namespace {

namespace fs = std::filesystem;

TEST(PathText, SpellsWellFormedTextAsUtf16AndStrayBytesAsLoneSurrogates) {
    const struct {
        std::string bytes;
        std::u16string text;
    } cases[] = {
        {"/a b.ts", u"/a b.ts"},
        {"\xC3\xA4\xE2\x82\xAC\xF0\x9F\x8E\xAC", u"\u00E4\u20AC\U0001F3AC"},
        {"\xF4\x8F\xBF\xBF\xEF\xBF\xBF", u"\U0010FFFF\uFFFF"},
        {"\xE4.ts", {0xDCE4, u'.', u't', u's'}},                 // Latin-1
        {"\xC0\xAF", {0xDCC0, 0xDCAF}},                          // overlong
        {"\xE0\x80\x80", {0xDCE0, 0xDC80, 0xDC80}},              // overlong
        {"\xED\xA0\x80", {0xDCED, 0xDCA0, 0xDC80}},              // a surrogate
        {"\xF4\x90\x80\x80", {0xDCF4, 0xDC90, 0xDC80, 0xDC80}},  // beyond Unicode
        {"\xE2\x82", {0xDCE2, 0xDC82}},                          // cut off
        {"\xF0\x9F\x8E\xAC\x80", {0xD83C, 0xDFAC, 0xDC80}},
    };
    for (const auto& [bytes, text] : cases) {
        const UTF16String spelled = ToInterfacePath(bytes);
        EXPECT_EQ(std::u16string(spelled.begin(), spelled.end()), text) << bytes;
        EXPECT_EQ(FromInterfacePath(spelled).native(), bytes);
    }
    EXPECT_EQ(FromInterfacePath(std::u16string{0xD800, u'x'}).native(), "\xED\xA0\x80x")
        << "any other surrogate";
}

TEST(PathText, EveryByteStringSurvives) {
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    // Bytes that begin, continue and break sequences, so that all ways of stopping are met.
    const std::string alphabet = "a/\x80\x9F\xA0\xBF\xC2\xDF\xE0\xED\xEF\xF0\xF4\xF5\xFF";
    for (int round = 0; round < 20'000; ++round) {
        std::string bytes(random() % 12, ' ');
        for (char& byte : bytes) byte = alphabet[random() % alphabet.size()];
        ASSERT_EQ(FromInterfacePath(ToInterfacePath(bytes)).native(), bytes);
    }
}

TEST(MediaIdentity, StaysForTheSameFileAndChangesWithSizeTimeAndContent) {
    const TemporaryFolder folder;
    const fs::path media = WriteFile(folder / "media.ts", std::string(3'000'000, 'x'));
    const auto time = fs::last_write_time(media);
    const Guid original = IdentifyMedia(media);
    std::set<std::string> identities{original.ToText()};

    fs::rename(media, folder / "moved.ts");
    fs::rename(folder / "moved.ts", media);
    EXPECT_EQ(IdentifyMedia(media), original);

    fs::last_write_time(media, time + std::chrono::nanoseconds(1));
    EXPECT_TRUE(identities.insert(IdentifyMedia(media).ToText()).second) << "one nanosecond later";
    fs::last_write_time(media, time);
    EXPECT_EQ(IdentifyMedia(media), original);

    // First and last byte, the inner ends of the end samples, and one of the samples between.
    const std::size_t between = 3'000'000 - 2 * 65536;
    for (const std::size_t at : {std::size_t{0}, std::size_t{65535}, std::size_t{3'000'000 - 65536},
                                 std::size_t{2'999'999}, 65536 + between / 15 * 7}) {
        Tamper(media, [at](std::string& ioBytes) { ioBytes[at] = 'y'; });
        EXPECT_TRUE(identities.insert(IdentifyMedia(media).ToText()).second) << "byte " << at;
        Tamper(media, [at](std::string& ioBytes) { ioBytes[at] = 'x'; });
    }
    Tamper(media, [](std::string& ioBytes) { ioBytes += 'x'; });
    EXPECT_TRUE(identities.insert(IdentifyMedia(media).ToText()).second) << "one byte longer";
}

TEST(MediaIdentity, SmallFilesCountWholeAndOnlyRegularFilesHaveOne) {
    const TemporaryFolder folder;
    const fs::path media = WriteFile(folder / "small.ts", std::string(1 << 20, 'x'));
    const Guid original = IdentifyMedia(media);
    Tamper(media, [](std::string& ioBytes) { ioBytes[300'000] = 'y'; });
    EXPECT_NE(IdentifyMedia(media), original);
    EXPECT_NO_THROW(IdentifyMedia(WriteFile(folder / "empty.ts", "")));

    EXPECT_THROW(IdentifyMedia(folder.Path()), Error);
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    EXPECT_THROW(IdentifyMedia(folder / "pipe"), Error) << "and without waiting for a writer";
    try {
        IdentifyMedia(folder / "missing.ts");
        ADD_FAILURE();
    } catch (const Error& error) {
        EXPECT_EQ(error.Status(), Vexmora_Failure);
        EXPECT_EQ(error.Path(), folder / "missing.ts");
        EXPECT_NE(std::string(error.what()).find("missing.ts: cannot be opened: No such file"),
                  std::string::npos);
    }
}

}  // namespace
}  // namespace VexmoraHost
