// What the benchmarks that read streams have in common: a file read alone in one kind of buffer, and the
// clock.
#pragma once

#include <sys/mman.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>

/// A read buffer on huge pages, if the system has them: the kind that the library itself reads into.
class ReadBuffer {
  public:
    explicit ReadBuffer(std::size_t inSize)
        : mSize(inSize),
          mBytes(static_cast<std::uint8_t*>(std::aligned_alloc(kHugePage, WholePages(inSize)))) {
        if (mBytes == nullptr) throw std::bad_alloc();
        static_cast<void>(madvise(mBytes, WholePages(inSize), MADV_HUGEPAGE));
    }
    ~ReadBuffer() { std::free(mBytes); }
    ReadBuffer(const ReadBuffer&) = delete;
    ReadBuffer& operator=(const ReadBuffer&) = delete;

    std::uint8_t* Data() { return mBytes; }
    std::size_t Size() const { return mSize; }

  private:
    static constexpr std::size_t kHugePage = 2 * 1024 * 1024;
    static std::size_t WholePages(std::size_t inSize) {
        return (inSize + kHugePage - 1) / kHugePage * kHugePage;
    }

    std::size_t mSize;
    std::uint8_t* mBytes;
};

struct FileCloser {
    void operator()(std::FILE* inFile) const { std::fclose(inFile); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

/// The file without a buffer of its own; null when there is none.
inline File OpenFile(const std::string& inPath) {
    File file(std::fopen(inPath.c_str(), "rb"));
    if (file) std::setvbuf(file.get(), nullptr, _IONBF, 0);
    return file;
}

/// Hands the file to inUse(bytes, count, position), buffer by buffer. Returns its size.
template <typename Use>
std::uint64_t ReadThrough(const std::string& inPath, ReadBuffer& ioBuffer, Use&& inUse) {
    const File file = OpenFile(inPath);
    std::uint64_t position = 0;
    while (const std::size_t got = std::fread(ioBuffer.Data(), 1, ioBuffer.Size(), file.get())) {
        inUse(ioBuffer.Data(), got, position);
        position += got;
    }
    return position;
}

/// Reads the file and does nothing with it. Returns its size.
inline std::uint64_t ReadOnly(const std::string& inPath, ReadBuffer& ioBuffer) {
    return ReadThrough(inPath, ioBuffer, [](const std::uint8_t* inBytes, std::size_t, std::uint64_t) {
        __asm__ volatile("" : : "r"(inBytes) : "memory");
    });
}

/// How long inWork takes.
template <typename Work>
double Seconds(Work&& inWork) {
    const auto begin = std::chrono::steady_clock::now();
    inWork();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}
