// A file's identity changes with size, time and content.
#include "index/MediaIdentity.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <set>

#include "Host/HostTestSupport.h"
#include "VexmoraHost/Error.h"

namespace VexmoraHost {
namespace {

namespace fs = std::filesystem;

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
