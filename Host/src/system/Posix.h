// What the standard library lacks: reading with the facts of the very file that is read, files that nobody
// else has, locks between processes, memory by the page, processors, and threads that leave signals alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <thread>

#include "index/MediaIdentity.h"

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

    const std::filesystem::path& Path() const { return mPath; }
    /// As they were when the file was opened.
    const FileFacts& Facts() const { return mFacts; }
    std::uint64_t Size() const { return mFacts.bytes; }
    /// As they are now.
    FileFacts FactsNow() const;
    /// Fills outBytes from inOffset on; a file that ends earlier is an error.
    void ReadAt(std::uint64_t inOffset, std::span<std::byte> outBytes) const;
    /// Lets the system read well ahead: the file is about to be read from its start to its end.
    void ExpectSequentialReads() const noexcept;

  private:
    std::filesystem::path mPath;
    Descriptor mDescriptor;
    FileFacts mFacts;
};

/// A new file in a folder, under a name that no other has; removed again unless it was moved to its place.
class DraftFile {
  public:
    /// @param inExtension of its name. Throws Error when the folder does not take a new file.
    DraftFile(const std::filesystem::path& inFolder, const std::string& inExtension);
    ~DraftFile();
    DraftFile(const DraftFile&) = delete;
    DraftFile& operator=(const DraftFile&) = delete;

    /// Appends bytes. Throws Error.
    void Write(std::span<const std::byte> inBytes) const;
    /// Gives the file its place, whole, whatever file was there. Throws Error and leaves that one alone.
    void MoveTo(const std::filesystem::path& inPlace);

  private:
    std::filesystem::path mPath;  // empty when it was moved
    Descriptor mDescriptor;
};

/// Moves whatever inPath names (a folder, too) out of the way, to inPath with ".damaged" behind it, or into a
/// new folder of such a name where that is not free. Throws Error.
void MoveAside(const std::filesystem::path& inPath);

/// Tells one file from another that has the same name later. No value when there is no such file.
struct FileKey {
    std::uint64_t device;
    std::uint64_t inode;
    friend bool operator==(const FileKey&, const FileKey&) = default;
};
std::optional<FileKey> KeyOf(const std::filesystem::path& inPath) noexcept;

/// inBytes, rounded up to whole pages of memory.
std::size_t WholePages(std::size_t inBytes) noexcept;
/// inBytes (whole pages, not 0) bytes from the system, zeros, their address a multiple of inAlignment (a
/// power of two). Null when there is no memory.
std::uint8_t* MapPages(std::size_t inBytes, std::size_t inAlignment) noexcept;
/// Gives back what MapPages gave, of the same size.
void UnmapPages(std::uint8_t* inPages, std::size_t inBytes) noexcept;

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
