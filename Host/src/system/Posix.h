// What the standard library lacks: reading with the facts of the very file that is read, locks between
// processes, getting data to the disk, processors, and threads that leave signals alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <thread>
#include <vector>

namespace VexmoraHost::Posix {

/// Owns a file descriptor.
class Descriptor {
  public:
    explicit Descriptor(int inNumber) : mNumber(inNumber) {}
    ~Descriptor();
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int Number() const { return mNumber; }

  private:
    int mNumber;
};

/// A regular file, open for reading. Every function throws Error (Vexmora_Failure).
class InputFile {
  public:
    explicit InputFile(std::filesystem::path inPath);

    std::uint64_t Size() const { return mSize; }
    /// Since 1970 (UTC).
    std::int64_t ModifiedNanoseconds() const { return mModifiedNanoseconds; }
    /// Fills outBytes from inOffset on; a file that ends earlier is an error.
    void ReadAt(std::uint64_t inOffset, std::span<std::byte> outBytes) const;

  private:
    std::filesystem::path mPath;
    Descriptor mDescriptor;
    std::uint64_t mSize = 0;
    std::int64_t mModifiedNanoseconds = 0;
};

/// The bytes of a regular file of at most inLimit bytes. Throws Error.
std::vector<std::byte> ReadWholeFile(const std::filesystem::path& inPath, std::uint64_t inLimit);

/// Waits until what was written to a file (or, for a folder, the names in it) is on the disk. Throws Error.
void FlushToDisk(const std::filesystem::path& inPath);

/// Makes a folder in inParent that only this user may enter and that nobody else has. Throws Error.
std::filesystem::path MakeUniqueFolder(const std::filesystem::path& inParent);

/// Tells one file from another that has the same name later. No value when there is no such file.
struct FileKey {
    std::uint64_t device;
    std::uint64_t inode;
    friend bool operator==(const FileKey&, const FileKey&) = default;
};
std::optional<FileKey> KeyOf(const std::filesystem::path& inPath) noexcept;

/// Processors that the calling thread may run on, at least 1.
unsigned ProcessorCount();

/// Starts a thread that takes none of the process's signals, but for those that report a fault of its own.
/// inBody must not throw. Throws std::system_error or std::bad_alloc when no thread can be had.
std::thread StartQuietThread(std::function<void()> inBody);

/// Holds a lock between processes (and between threads, each with its own FileLock) for its lifetime.
class FileLock {
  public:
    enum class Kind { Shared, Exclusive };
    /// Makes the file at inPath if there is none, and waits for the lock. Throws Error.
    FileLock(const std::filesystem::path& inPath, Kind inKind);

  private:
    Descriptor mDescriptor;
};

}  // namespace VexmoraHost::Posix
