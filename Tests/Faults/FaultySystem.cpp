// The functions of the system and of the heap that the library calls, in place of those of the C and C++
// libraries for the whole program: each asks the plan whether it is to fail.
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdlib>
#include <new>
#include <string_view>

#include "Faults/FaultPlan.h"

namespace {

using Vexmora::Test::Call;
using Vexmora::Test::IsToFail;

// By descriptor: whether the file is an index file.
std::array<std::atomic<bool>, 1024> gIsIndexFile{};

bool IsIndexPath(const char* inPath) {
    return std::string_view(inPath).ends_with(".mpgindex");
}
bool IsIndexDescriptor(int inDescriptor) {
    const auto place = static_cast<std::size_t>(inDescriptor);
    return place < gIsIndexFile.size() && gIsIndexFile[place];
}

template <typename Result = int>
Result FailWith(int inError) {
    errno = inError;
    return -1;
}

// ---- The heap ---------------------------------------------------------------------------------------------

std::atomic<std::int64_t> gLiveHeapBlocks{0};

void* TakeOrNull(std::size_t inBytes, std::size_t inAlignment) noexcept {
    if (IsToFail(Call::Heap)) return nullptr;
    const std::size_t bytes = inBytes == 0 ? 1 : inBytes;
    void* block = nullptr;
    if (inAlignment <= alignof(std::max_align_t)) {
        block = std::malloc(bytes);
    } else if (posix_memalign(&block, inAlignment, bytes) != 0) {
        block = nullptr;
    }
    if (block != nullptr) ++gLiveHeapBlocks;
    return block;
}

void* Take(std::size_t inBytes, std::size_t inAlignment = 1) {
    void* const block = TakeOrNull(inBytes, inAlignment);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

void Give(void* inBlock) noexcept {
    if (inBlock != nullptr) --gLiveHeapBlocks;
    std::free(inBlock);
}

constexpr std::size_t ToSize(std::align_val_t inAlignment) {
    return static_cast<std::size_t>(inAlignment);
}

}  // namespace

std::int64_t Vexmora::Test::LiveHeapBlocks() noexcept {
    return gLiveHeapBlocks;
}

// clang-format off
void* operator new(std::size_t in) { return Take(in); }
void* operator new[](std::size_t in) { return Take(in); }
void* operator new(std::size_t in, std::align_val_t inTo) { return Take(in, ToSize(inTo)); }
void* operator new[](std::size_t in, std::align_val_t inTo) { return Take(in, ToSize(inTo)); }
void* operator new(std::size_t in, const std::nothrow_t&) noexcept { return TakeOrNull(in, 1); }
void* operator new[](std::size_t in, const std::nothrow_t&) noexcept { return TakeOrNull(in, 1); }
void* operator new(std::size_t in, std::align_val_t inTo, const std::nothrow_t&) noexcept { return TakeOrNull(in, ToSize(inTo)); }
void* operator new[](std::size_t in, std::align_val_t inTo, const std::nothrow_t&) noexcept { return TakeOrNull(in, ToSize(inTo)); }
void operator delete(void* in) noexcept { Give(in); }
void operator delete[](void* in) noexcept { Give(in); }
void operator delete(void* in, std::size_t) noexcept { Give(in); }
void operator delete[](void* in, std::size_t) noexcept { Give(in); }
void operator delete(void* in, std::align_val_t) noexcept { Give(in); }
void operator delete[](void* in, std::align_val_t) noexcept { Give(in); }
void operator delete(void* in, std::size_t, std::align_val_t) noexcept { Give(in); }
void operator delete[](void* in, std::size_t, std::align_val_t) noexcept { Give(in); }
void operator delete(void* in, const std::nothrow_t&) noexcept { Give(in); }
void operator delete[](void* in, const std::nothrow_t&) noexcept { Give(in); }
void operator delete(void* in, std::align_val_t, const std::nothrow_t&) noexcept { Give(in); }
void operator delete[](void* in, std::align_val_t, const std::nothrow_t&) noexcept { Give(in); }
// clang-format on

// ---- Files and threads ------------------------------------------------------------------------------------

namespace {

// The kernel fills both kinds of records alike.
static_assert(sizeof(struct stat) == sizeof(struct stat64));

int FactsOf(const char* inPath, void* outStatus, int inFlags) {
    if (IsToFail(Call::FileFacts, IsIndexPath(inPath))) return FailWith(EIO);
    return static_cast<int>(syscall(SYS_newfstatat, AT_FDCWD, inPath, outStatus, inFlags));
}

int FactsOf(int inDescriptor, void* outStatus) {
    if (IsToFail(Call::FileFacts, IsIndexDescriptor(inDescriptor))) return FailWith(EIO);
    return static_cast<int>(syscall(SYS_newfstatat, inDescriptor, "", outStatus, AT_EMPTY_PATH));
}

ssize_t ReadAt(int inDescriptor, void* outBytes, size_t inCount, off64_t inOffset) {
    if (IsToFail(Call::FileRead, IsIndexDescriptor(inDescriptor))) return FailWith<ssize_t>(EIO);
    return syscall(SYS_pread64, inDescriptor, outBytes, inCount, inOffset);
}

// Nothing here is to outlive the machine: the disk is not waited for.
int Flush(int inDescriptor) {
    return IsToFail(Call::FileFlush, IsIndexDescriptor(inDescriptor)) ? FailWith(EIO) : 0;
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

int open(const char* inPath, int inFlags, ...) {
    va_list arguments;
    va_start(arguments, inFlags);
    const mode_t mode = (inFlags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    const bool isIndexFile = IsIndexPath(inPath);
    if (IsToFail(Call::FileOpen, isIndexFile)) return FailWith(EMFILE);
    const auto opened = static_cast<int>(syscall(SYS_openat, AT_FDCWD, inPath, inFlags, mode));
    const auto place = static_cast<std::size_t>(opened);
    if (place < gIsIndexFile.size()) gIsIndexFile[place] = isIndexFile;
    return opened;
}
int open64(const char* inPath, int inFlags, ...) __attribute__((alias("open")));

// clang-format off
int stat(const char* inPath, struct stat* out) noexcept { return FactsOf(inPath, out, 0); }
int stat64(const char* inPath, struct stat64* out) noexcept { return FactsOf(inPath, out, 0); }
int lstat(const char* inPath, struct stat* out) noexcept { return FactsOf(inPath, out, AT_SYMLINK_NOFOLLOW); }
int fstat(int inDescriptor, struct stat* out) noexcept { return FactsOf(inDescriptor, out); }
int fstat64(int inDescriptor, struct stat64* out) noexcept { return FactsOf(inDescriptor, out); }
ssize_t pread(int in, void* out, size_t inCount, off_t inAt) { return ReadAt(in, out, inCount, inAt); }
ssize_t pread64(int in, void* out, size_t inCount, off64_t inAt) { return ReadAt(in, out, inCount, inAt); }
int fsync(int inDescriptor) { return Flush(inDescriptor); }
int fdatasync(int inDescriptor) { return Flush(inDescriptor); }
// clang-format on

off_t lseek(int inDescriptor, off_t inOffset, int inOrigin) noexcept {
    if (IsToFail(Call::FileSeek)) return FailWith<off_t>(EIO);
    return syscall(SYS_lseek, inDescriptor, inOffset, inOrigin);
}

ssize_t read(int inDescriptor, void* outBytes, size_t inCount) {
    if (IsToFail(Call::FileRead, IsIndexDescriptor(inDescriptor))) return FailWith<ssize_t>(EIO);
    return syscall(SYS_read, inDescriptor, outBytes, inCount);
}

ssize_t write(int inDescriptor, const void* inBytes, size_t inCount) {
    if (IsToFail(Call::FileWrite, IsIndexDescriptor(inDescriptor))) return FailWith<ssize_t>(ENOSPC);
    return syscall(SYS_write, inDescriptor, inBytes, inCount);
}

ssize_t pwrite64(int inDescriptor, const void* inBytes, size_t inCount, off64_t inOffset) {
    if (IsToFail(Call::FileWrite)) return FailWith<ssize_t>(ENOSPC);
    return syscall(SYS_pwrite64, inDescriptor, inBytes, inCount, inOffset);
}

int pthread_create(pthread_t* outThread, const pthread_attr_t* inAttributes, void* (*inBody)(void*),
                   void* inArgument) noexcept {
    if (IsToFail(Call::ThreadStart)) return EAGAIN;
    static const auto create =
        reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
    return create(outThread, inAttributes, inBody, inArgument);
}

}  // extern "C"
#pragma GCC visibility pop
