// A file on disk with 64-bit positions; only regular files can be opened.
#pragma once

#include <cstddef>
#include <cstdint>

#include "Vexmora/UTF16String.h"

namespace Orvet {

/// What the opener does with the file; values may be combined with |.
enum class FileAccess : std::uint32_t { Read = 1, Write = 2, ReadWrite = 3 };

/// What other openers may do meanwhile. Stated by every opener; Linux does not enforce it.
enum class FileShare : std::uint32_t { None = 0, Read = 1, ReadDelete = 5 };

/// CreateNew refuses a name that exists (also a dangling link); OpenExisting refuses one that does not.
enum class FileDisposition : std::uint32_t { CreateNew = 2, OpenExisting = 8 };

/// SequentialScan asks the system to read further ahead than usual.
enum class FileAttributes : std::uint32_t { None = 0, Normal = 1, SequentialScan = 4 };

/// Where an offset is counted from.
enum class SeekOrigin : std::uint32_t { Begin = 0, Current = 1, End = 2 };

/// An open file; the destructor closes it. Every status is 0 or the negative error number of the system
/// (-ENOENT, …); a closed File answers -EBADF. Directories, pipes, sockets and devices are refused, and
/// opening one never blocks. Not for use by two threads at once, but for ReadAt.
class File {
  public:
    File() = default;
    ~File();
    File(File&& inOther) noexcept;
    File& operator=(File&& inOther) noexcept;

    /// Closes this File, then opens or creates inPath. On failure this File is closed and nothing was
    /// created.
    [[nodiscard]] std::int32_t Create(const UTF16String& inPath, FileAccess inAccess, FileShare inShare,
                                      FileDisposition inDisposition, FileAttributes inAttributes);
    /// Opens an existing file: Create with FileDisposition::OpenExisting and nothing asked of others.
    [[nodiscard]] std::int32_t Open(const UTF16String& inPath, FileAccess inMode);

    /// Reads up to inCount bytes at the position and moves past them. outGot is less than inCount only at the
    /// end of the file (status 0) or when a read failed midway (negative; outGot bytes are valid).
    [[nodiscard]] std::int32_t Read(void* outBuffer, std::size_t inCount, std::size_t& outGot);
    /// The same from inOffset on, leaving the position alone; the one function that several threads may call
    /// at once.
    [[nodiscard]] std::int32_t ReadAt(std::uint64_t inOffset, void* outBuffer, std::size_t inCount,
                                      std::size_t& outGot) const;
    /// Writes all inCount bytes at the position and moves past them, or fails.
    [[nodiscard]] std::int32_t Write(const void* inBuffer, std::size_t inCount);
    /// Moves the position. Past the end is allowed (a read there gets 0 bytes); before the start is -EINVAL
    /// and leaves the position alone.
    [[nodiscard]] std::int32_t SetFilePointer(std::int64_t inOffset, SeekOrigin inOrigin);
    /// Size of the open file in bytes now, or negative.
    [[nodiscard]] std::int64_t SizeOnDisk() const;

    /// Size in bytes of the regular file at inPath, or negative.
    [[nodiscard]] static std::int64_t SizeOnDisk(const UTF16String& inPath);
    /// When the regular file at inPath was last modified, in nanoseconds since 1970 (UTC).
    [[nodiscard]] static std::int32_t GetLastModificationTime(const UTF16String& inPath,
                                                              std::int64_t& outNanoseconds);
    /// Removes the name inPath; who has the file open keeps it.
    [[nodiscard]] static std::int32_t Delete(const UTF16String& inPath);

    bool IsOpen() const { return mDescriptor >= 0; }
    /// Closing a closed File does nothing.
    void Close() noexcept;

  private:
    int mDescriptor = -1;
};

}  // namespace Orvet
