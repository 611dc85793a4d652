// System calls of the reference host; the only file that includes POSIX headers.
#include "system/Posix.h"

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <exception>
#include <limits>
#include <string>
#include <system_error>
#include <utility>

#include "VexmoraHost/Error.h"

namespace VexmoraHost::Posix {
namespace {

// As far as the process's file creation mask lets it be.
constexpr mode_t kSharedFile = S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;

[[noreturn]] void Throw(const std::filesystem::path& inPath, const std::string& inProblem,
                        int inErrorNumber) {
    throw Error(Vexmora_Failure, inPath, inProblem + ": " + std::generic_category().message(inErrorNumber),
                "check the path, the permissions and the free space");
}

// O_NONBLOCK: opening a named pipe must not wait for a writer. A file on which another process holds a lease
// (a file server for a client) is opened without it: the system then waits until the lease is given back.
int OpenOrThrow(const std::filesystem::path& inPath, int inFlags) {
    int number = ::open(inPath.c_str(), inFlags | O_CLOEXEC | O_NONBLOCK, kSharedFile);
    if (number < 0 && errno == EWOULDBLOCK) {
        number = ::open(inPath.c_str(), inFlags | O_CLOEXEC, kSharedFile);
    }
    if (number < 0) Throw(inPath, "cannot be opened", errno);
    return number;
}

// Nobody else has a file of that name: tried until that is so.
int CreateOrThrow(const std::filesystem::path& inFolder, const std::string& inExtension,
                  std::filesystem::path& outPath) {
    static std::atomic<unsigned> drafts{0};
    for (;;) {
        outPath = inFolder / (std::to_string(::getpid()) + '-' + std::to_string(drafts++) + inExtension);
        const int number = ::open(outPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kSharedFile);
        if (number >= 0) return number;
        if (errno != EEXIST) Throw(inFolder, "cannot be written to", errno);
    }
}

// Times outside the years 1678 to 2262 come round again, which does no harm to telling files apart.
std::uint64_t Nanoseconds(const timespec& inTime) {
    constexpr std::uint64_t kNanosecondsPerSecond = 1'000'000'000;
    return static_cast<std::uint64_t>(inTime.tv_sec) * kNanosecondsPerSecond +
           static_cast<std::uint64_t>(inTime.tv_nsec);
}

FileFacts ToFacts(const struct stat& inFacts) {
    return {.device = inFacts.st_dev,
            .inode = inFacts.st_ino,
            .bytes = static_cast<std::uint64_t>(inFacts.st_size),
            .modified = Nanoseconds(inFacts.st_mtim),
            .changed = Nanoseconds(inFacts.st_ctim)};
}

}  // namespace

Descriptor::~Descriptor() {
    ::close(mNumber);
}

InputFile::InputFile(std::filesystem::path inPath)
    : mPath(std::move(inPath)), mDescriptor(OpenOrThrow(mPath, O_RDONLY)), mFacts(FactsNow()) {}

FileFacts InputFile::FactsNow() const {
    struct stat facts {};
    if (::fstat(mDescriptor.Number(), &facts) != 0) Throw(mPath, "cannot be examined", errno);
    if (!S_ISREG(facts.st_mode)) {
        throw Error(Vexmora_Failure, mPath, "is not a regular file", "name a file on disk");
    }
    return ToFacts(facts);
}

void InputFile::ReadAt(std::uint64_t inOffset, std::span<std::byte> outBytes) const {
    while (!outBytes.empty()) {
        const ssize_t got =
            ::pread(mDescriptor.Number(), outBytes.data(), outBytes.size(), static_cast<off_t>(inOffset));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) Throw(mPath, "cannot be read", errno);
        if (got == 0) {
            throw Error(Vexmora_Failure, mPath, "changed while it was read: it became shorter",
                        "open it again when nothing writes to it any more");
        }
        outBytes = outBytes.subspan(static_cast<std::size_t>(got));
        inOffset += static_cast<std::uint64_t>(got);
    }
}

void InputFile::ExpectSequentialReads() const noexcept {
    static_cast<void>(::posix_fadvise(mDescriptor.Number(), 0, 0, POSIX_FADV_SEQUENTIAL));  // only a hint
}

DraftFile::DraftFile(const std::filesystem::path& inFolder, const std::string& inExtension)
    : mDescriptor(CreateOrThrow(inFolder, inExtension, mPath)) {}

DraftFile::~DraftFile() {
    if (!mPath.empty()) ::unlink(mPath.c_str());
}

void DraftFile::Write(std::span<const std::byte> inBytes) const {
    while (!inBytes.empty()) {
        const ssize_t put = ::write(mDescriptor.Number(), inBytes.data(), inBytes.size());
        if (put < 0 && errno == EINTR) continue;
        if (put <= 0) Throw(mPath, "cannot be written", put < 0 ? errno : EIO);
        inBytes = inBytes.subspan(static_cast<std::size_t>(put));
    }
}

void DraftFile::MoveTo(const std::filesystem::path& inPlace) {
    const auto isMoved = [&] { return ::rename(mPath.c_str(), inPlace.c_str()) == 0; };
    if (!isMoved()) {
        if (errno != EISDIR) Throw(inPlace, "cannot be put in place", errno);
        MoveAside(inPlace);
        if (!isMoved()) Throw(inPlace, "cannot be put in place", errno);
    }
    mPath.clear();
}

void MoveAside(const std::filesystem::path& inPath) {
    const std::string damaged = inPath.native() + ".damaged";
    if (::rename(inPath.c_str(), damaged.c_str()) == 0) return;
    std::string folder = damaged + "-XXXXXX";
    if (::mkdtemp(folder.data()) == nullptr ||
        ::rename(inPath.c_str(), (std::filesystem::path(folder) / inPath.filename()).c_str()) != 0) {
        Throw(inPath, "is damaged and cannot be moved out of the way", errno);
    }
}

std::optional<FileKey> KeyOf(const std::filesystem::path& inPath) noexcept {
    struct stat facts {};
    if (::stat(inPath.c_str(), &facts) != 0) return std::nullopt;
    return FileKey{facts.st_dev, facts.st_ino};
}

// A mask that is too short for the machine cannot be had; then the standard library's count must do.
std::size_t WholePages(std::size_t inBytes) noexcept {
    static const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    return inBytes / page * page + (inBytes % page != 0 ? page : 0);
}

std::uint8_t* MapPages(std::size_t inBytes, std::size_t inAlignment) noexcept {
    // More than is asked for, of which the ends are given back.
    const std::size_t extra = std::max(inAlignment, WholePages(1)) - WholePages(1);
    if (inBytes > std::numeric_limits<std::size_t>::max() - extra) return nullptr;
    void* const mapped =
        mmap(nullptr, inBytes + extra, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED) return nullptr;
    auto* const first = static_cast<std::uint8_t*>(mapped);
    const std::size_t before = -reinterpret_cast<std::uintptr_t>(first) % inAlignment;
    if (before > 0) UnmapPages(first, before);
    if (before < extra) UnmapPages(first + before + inBytes, extra - before);
    return first + before;
}

void UnmapPages(std::uint8_t* inPages, std::size_t inBytes) noexcept {
    static_cast<void>(munmap(inPages, inBytes));
}

unsigned ProcessorCount() {
    cpu_set_t mask;
    const int count = ::sched_getaffinity(0, sizeof mask, &mask) == 0
                          ? CPU_COUNT(&mask)
                          : static_cast<int>(std::thread::hardware_concurrency());
    return static_cast<unsigned>(std::max(count, 1));
}

// A new thread inherits the signal mask of the one that starts it.
std::thread StartQuietThread(std::function<void()> inBody) {
    sigset_t blocked;
    sigset_t before;
    ::sigfillset(&blocked);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS}) {
        ::sigdelset(&blocked, fault);
    }
    ::pthread_sigmask(SIG_BLOCK, &blocked, &before);
    std::exception_ptr failure;
    std::thread thread;
    try {
        thread = std::thread(std::move(inBody));
    } catch (...) {
        failure = std::current_exception();
    }
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (failure) std::rethrow_exception(failure);
    return thread;
}

FileLock::FileLock(const std::filesystem::path& inPath, Kind inKind)
    // Network file systems want the right to write for an exclusive lock; a shared one works in a folder that
    // this user may only read.
    : mDescriptor(OpenOrThrow(inPath, (inKind == Kind::Shared ? O_RDONLY : O_RDWR) | O_CREAT)) {
    const int operation = inKind == Kind::Shared ? LOCK_SH : LOCK_EX;
    while (::flock(mDescriptor.Number(), operation) != 0) {
        if (errno != EINTR) Throw(inPath, "cannot be locked", errno);
    }
}

}  // namespace VexmoraHost::Posix

namespace VexmoraHost {

std::optional<FileFacts> FactsOf(const std::filesystem::path& inPath) noexcept {
    struct stat facts {};
    if (::stat(inPath.c_str(), &facts) != 0 || !S_ISREG(facts.st_mode)) return std::nullopt;
    return Posix::ToFacts(facts);
}

}  // namespace VexmoraHost
