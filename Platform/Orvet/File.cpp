// File over Linux descriptors.
#include "Orvet/File.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <string>
#include <utility>

#include "Orvet/PathUtils.h"

namespace Orvet {
namespace {

std::int32_t OpenFlags(FileAccess inAccess, FileDisposition inDisposition) {
    // O_NONBLOCK: a pipe must be refused, not waited for. It means nothing to a regular file.
    int flags = O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    switch (inAccess) {
        case FileAccess::Read:
            flags |= O_RDONLY;
            break;
        case FileAccess::Write:
            flags |= O_WRONLY;
            break;
        case FileAccess::ReadWrite:
            flags |= O_RDWR;
            break;
        default:
            return -EINVAL;
    }
    switch (inDisposition) {
        case FileDisposition::CreateNew:
            return flags | O_CREAT | O_EXCL;
        case FileDisposition::OpenExisting:
            return flags;
    }
    return -EINVAL;
}

// 0 for a regular file, else why it is refused.
std::int32_t CheckRegular(const struct stat& inStatus) {
    if (S_ISREG(inStatus.st_mode)) return 0;
    return S_ISDIR(inStatus.st_mode) ? -EISDIR : -EINVAL;
}

// The system would take a path only up to its first NUL, and so another file than the one named.
bool HasNul(const std::string& inPath) {
    return inPath.find('\0') != std::string::npos;
}

std::int32_t StatRegular(const UTF16String& inPath, struct stat& outStatus) {
    const std::string path = PathUtils::ToNative(inPath);
    if (HasNul(path)) return -EINVAL;
    if (stat(path.c_str(), &outStatus) != 0) return -errno;
    return CheckRegular(outStatus);
}

// Reads until there are inCount bytes, an end or a failure. inReadSome reads so many bytes to a place, with
// so many read before.
template <typename ReadSome>
std::int32_t ReadAll(const ReadSome& inReadSome, void* outBuffer, std::size_t inCount, std::size_t& outGot) {
    outGot = 0;
    while (outGot < inCount) {
        const ssize_t got = inReadSome(static_cast<std::byte*>(outBuffer) + outGot, inCount - outGot, outGot);
        if (got == 0) break;
        if (got > 0) {
            outGot += static_cast<std::size_t>(got);
        } else if (errno != EINTR) {
            return -errno;
        }
    }
    return 0;
}

}  // namespace

File::~File() {
    Close();
}

File::File(File&& inOther) noexcept : mDescriptor(std::exchange(inOther.mDescriptor, -1)) {}

File& File::operator=(File&& inOther) noexcept {
    if (this != &inOther) {
        Close();
        mDescriptor = std::exchange(inOther.mDescriptor, -1);
    }
    return *this;
}

std::int32_t File::Create(const UTF16String& inPath, FileAccess inAccess, FileShare /*inShare*/,
                          FileDisposition inDisposition, FileAttributes inAttributes) {
    Close();
    const std::int32_t flags = OpenFlags(inAccess, inDisposition);
    if (flags < 0) return flags;
    const std::string path = PathUtils::ToNative(inPath);
    if (HasNul(path)) return -EINVAL;

    File opened;
    int openFlags = flags;
    do {
        opened.mDescriptor = open(path.c_str(), openFlags, 0666);  // NOLINT: the system's variadic call
        // Another process holds a lease on this file, which is no pipe then: wait until it is given back.
        if (opened.mDescriptor < 0 && errno == EWOULDBLOCK && openFlags == flags) {
            openFlags = flags & ~O_NONBLOCK;
            errno = EINTR;
        }
    } while (opened.mDescriptor < 0 && errno == EINTR);
    if (opened.mDescriptor < 0) return -errno;

    struct stat status {};
    if (fstat(opened.mDescriptor, &status) != 0) {
        const std::int32_t refused = -errno;
        if (inDisposition == FileDisposition::CreateNew) static_cast<void>(unlink(path.c_str()));
        return refused;
    }
    if (const std::int32_t refused = CheckRegular(status); refused != 0) return refused;
    if (inAttributes == FileAttributes::SequentialScan) {
        // A hint: reading works the same if the file system does not take it.
        static_cast<void>(posix_fadvise(opened.mDescriptor, 0, 0, POSIX_FADV_SEQUENTIAL));
    }
    *this = std::move(opened);
    return 0;
}

std::int32_t File::Open(const UTF16String& inPath, FileAccess inMode) {
    return Create(inPath, inMode, FileShare::None, FileDisposition::OpenExisting, FileAttributes::Normal);
}

std::int32_t File::Read(void* outBuffer, std::size_t inCount, std::size_t& outGot) {
    const auto readSome = [this](std::byte* outBytes, std::size_t inBytes, std::size_t /*inDone*/) {
        return read(mDescriptor, outBytes, inBytes);
    };
    const std::int32_t status = ReadAll(readSome, outBuffer, inCount, outGot);
    return status == 0 && !IsOpen() ? -EBADF : status;  // a closed file fails also when nothing was asked for
}

std::int32_t File::ReadAt(std::uint64_t inOffset, void* outBuffer, std::size_t inCount,
                          std::size_t& outGot) const {
    // An offset beyond the signed range becomes negative and is refused by the system.
    const auto readSome = [&](std::byte* outBytes, std::size_t inBytes, std::size_t inDone) {
        return pread(mDescriptor, outBytes, inBytes, static_cast<off_t>(inOffset + inDone));
    };
    return ReadAll(readSome, outBuffer, inCount, outGot);
}

std::int32_t File::Write(const void* inBuffer, std::size_t inCount) {
    std::size_t done = 0;
    while (done < inCount) {
        const ssize_t put =
            write(mDescriptor, static_cast<const std::byte*>(inBuffer) + done, inCount - done);
        if (put == 0) return -EIO;  // no progress and no error number: never wait for either
        if (put > 0) {
            done += static_cast<std::size_t>(put);
        } else if (errno != EINTR) {
            return -errno;
        }
    }
    return IsOpen() ? 0 : -EBADF;
}

std::int32_t File::SetFilePointer(std::int64_t inOffset, SeekOrigin inOrigin) {
    int origin = SEEK_SET;
    switch (inOrigin) {
        case SeekOrigin::Begin:
            break;
        case SeekOrigin::Current:
            origin = SEEK_CUR;
            break;
        case SeekOrigin::End:
            origin = SEEK_END;
            break;
        default:
            return -EINVAL;
    }
    static_assert(sizeof(off_t) == sizeof(std::int64_t));
    return lseek(mDescriptor, inOffset, origin) < 0 ? -errno : 0;
}

std::int64_t File::SizeOnDisk() const {
    struct stat status {};
    return fstat(mDescriptor, &status) != 0 ? -errno : status.st_size;
}

std::int64_t File::SizeOnDisk(const UTF16String& inPath) {
    struct stat status {};
    const std::int32_t refused = StatRegular(inPath, status);
    return refused != 0 ? refused : status.st_size;
}

std::int32_t File::GetLastModificationTime(const UTF16String& inPath, std::int64_t& outNanoseconds) {
    struct stat status {};
    if (const std::int32_t refused = StatRegular(inPath, status); refused != 0) return refused;
    constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
    constexpr std::int64_t kMostSeconds =
        std::numeric_limits<std::int64_t>::max() / kNanosecondsPerSecond - 1;
    const std::int64_t seconds = std::clamp<std::int64_t>(status.st_mtim.tv_sec, -kMostSeconds, kMostSeconds);
    outNanoseconds = seconds * kNanosecondsPerSecond + status.st_mtim.tv_nsec;
    return 0;
}

std::int32_t File::Delete(const UTF16String& inPath) {
    return unlink(PathUtils::ToNative(inPath).c_str()) != 0 ? -errno : 0;
}

void File::Close() noexcept {
    // Linux gives the descriptor up even when close reports an interruption: never retry.
    if (IsOpen()) static_cast<void>(close(std::exchange(mDescriptor, -1)));
}

}  // namespace Orvet
