// File against real files, things that are no files, a full limit, and the disk's transfer size.
#include "Orvet/File.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>

#include <array>
#include <bit>
#include <cerrno>
#include <string>
#include <utility>

#include "Orvet/DiskUtils.h"
#include "Platform/PlatformFolder.h"

using Orvet::File;
using Orvet::FileAccess;
using Orvet::FileAttributes;
using Orvet::FileDisposition;
using Orvet::FileShare;
using Orvet::SeekOrigin;

namespace {

std::string ReadSome(File& ioFile, std::size_t inCount) {
    std::string text(inCount, '?');
    std::size_t got = 0;
    EXPECT_EQ(0, ioFile.Read(text.data(), inCount, got));
    text.resize(got);
    return text;
}

std::int32_t CreateNew(File& outFile, const UTF16String& inPath) {
    return outFile.Create(inPath, FileAccess::Write, FileShare::None, FileDisposition::CreateNew,
                          FileAttributes::Normal);
}

TEST(File, ReadsAndPositions) {
    const PlatformFolder folder;
    const UTF16String path = folder.Write("a", "0123456789");
    File file;
    ASSERT_EQ(0, file.Create(path, FileAccess::Read, FileShare::Read, FileDisposition::OpenExisting,
                             FileAttributes::SequentialScan));
    EXPECT_EQ(10, file.SizeOnDisk());
    EXPECT_EQ("0123", ReadSome(file, 4));
    EXPECT_EQ(0, file.SetFilePointer(1, SeekOrigin::Current));
    EXPECT_EQ("56789", ReadSome(file, 100)) << "short only at the end";
    EXPECT_EQ(0, file.SetFilePointer(-2, SeekOrigin::End));
    EXPECT_EQ(-EINVAL, file.SetFilePointer(-1, SeekOrigin::Begin));
    EXPECT_EQ("89", ReadSome(file, 2)) << "a refused move leaves the position alone";
    EXPECT_EQ(-EBADF, file.Write("x", 1)) << "opened for reading";

    File moved = std::move(file);
    file = std::move(moved);
    EXPECT_FALSE(moved.IsOpen());  // NOLINT: what a move leaves behind is promised
    file.Close();
    std::size_t got = 7;
    EXPECT_EQ(-EBADF, file.Read(nullptr, 0, got));
    EXPECT_EQ(-EBADF, file.SizeOnDisk());
    EXPECT_EQ(-EBADF, file.SetFilePointer(0, SeekOrigin::Begin));
}

TEST(File, WritesPastFourGiBAndNeverOverwrites) {
    const PlatformFolder folder;
    const UTF16String path = folder.Path("big");
    constexpr std::int64_t kFar = std::int64_t{5} << 30;
    File file;
    ASSERT_EQ(0, CreateNew(file, path));
    ASSERT_EQ(0, file.SetFilePointer(kFar, SeekOrigin::Begin));
    ASSERT_EQ(0, file.Write("far", 3));
    EXPECT_EQ(kFar + 3, File::SizeOnDisk(path));
    EXPECT_EQ(-EEXIST, CreateNew(file, path));
    EXPECT_FALSE(file.IsOpen());
    ASSERT_EQ(0, file.Open(path, FileAccess::Read));
    ASSERT_EQ(0, file.SetFilePointer(kFar, SeekOrigin::Begin));
    EXPECT_EQ("far", ReadSome(file, 3));
}

TEST(File, ShortWriteIsAFailure) {
    const PlatformFolder folder;
    File file;
    ASSERT_EQ(0, CreateNew(file, folder.Path("limited")));
    rlimit before{};
    ASSERT_EQ(0, getrlimit(RLIMIT_FSIZE, &before));
    const auto handlerBefore = signal(SIGXFSZ, SIG_IGN);
    const rlimit small{10, before.rlim_max};
    ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &small));
    const std::int32_t status = file.Write("01234567890123456789", 20);
    ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &before));
    signal(SIGXFSZ, handlerBefore);
    EXPECT_EQ(-EFBIG, status);
    EXPECT_EQ(10, file.SizeOnDisk()) << "the system took the first half";
}

TEST(File, RefusesWhatIsNoRegularFileWithoutBlocking) {
    const PlatformFolder folder;
    ASSERT_EQ(0, mkfifo(folder.Native("pipe").c_str(), 0600));
    const UTF16String cut = folder.Write("a", "x") + char16_t{0} + UTF16String(u"b");
    File file;
    for (const FileAccess access : {FileAccess::Read, FileAccess::Write, FileAccess::ReadWrite}) {
        EXPECT_LT(file.Open(folder.Path("pipe"), access), 0);
        EXPECT_EQ(-EISDIR, file.Open(folder.Path(""), access));
        EXPECT_EQ(-EINVAL, file.Open(UTF16String(u"/dev/null"), access));
        EXPECT_EQ(-ENOENT, file.Open(folder.Path("absent"), access));
        EXPECT_EQ(-ENOENT, file.Open(UTF16String(), access));
        EXPECT_EQ(-EINVAL, file.Open(cut, access)) << "must not open the file named before the NUL";
        EXPECT_FALSE(file.IsOpen());
    }
    EXPECT_EQ(-EINVAL, File::SizeOnDisk(folder.Path("pipe")));
    EXPECT_EQ(-EISDIR, File::SizeOnDisk(folder.Path("")));
    EXPECT_EQ(-EINVAL, File::SizeOnDisk(cut));
    EXPECT_EQ(-ENOENT, File::SizeOnDisk(folder.Path("absent")));
}

TEST(File, TellsTheModificationTime) {
    const PlatformFolder folder;
    const UTF16String path = folder.Write("a", "");
    const std::array<timespec, 2> times = {timespec{1, 1}, timespec{1'500'000'000, 123'000'000}};
    ASSERT_EQ(0, utimensat(AT_FDCWD, folder.Native("a").c_str(), times.data(), 0));
    std::int64_t nanoseconds = -1;
    EXPECT_EQ(0, File::GetLastModificationTime(path, nanoseconds));
    EXPECT_EQ(1'500'000'000'123'000'000, nanoseconds);
    EXPECT_EQ(-ENOENT, File::GetLastModificationTime(folder.Path("absent"), nanoseconds));
}

TEST(DiskUtils, GivesAPowerOfTwoInRange) {
    const PlatformFolder folder;
    for (const UTF16String& path : {folder.Write("a", "x"), UTF16String(u"/proc/self/status")}) {
        std::uint32_t size = 0;
        ASSERT_EQ(0, Orvet::DiskUtils::GetEfficientDiskBufferSizeFromPath(path, size));
        EXPECT_TRUE(std::has_single_bit(size) && size >= 4096 && size <= 1048576) << size;
    }
    std::uint32_t untouched = 17;
    EXPECT_EQ(-ENOENT,
              Orvet::DiskUtils::GetEfficientDiskBufferSizeFromPath(folder.Path("absent"), untouched));
    EXPECT_EQ(17U, untouched);
}

}  // namespace
