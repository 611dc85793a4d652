// System calls of the reference host; the only file that includes POSIX headers.
#include "system/Posix.h"

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <string>
#include <system_error>
#include <utility>

#include "VexmoraHost/Error.h"

namespace VexmoraHost::Posix {
namespace {

constexpr mode_t kPrivateFile = S_IRUSR | S_IWUSR;

[[noreturn]] void Throw(const std::filesystem::path& inPath, const std::string& inProblem,
                        int inErrorNumber) {
    throw Error(Vexmora_Failure, inPath, inProblem + ": " + std::generic_category().message(inErrorNumber),
                "check the path, the permissions and the free space");
}

// O_NONBLOCK: opening a named pipe must not wait for a writer.
int OpenOrThrow(const std::filesystem::path& inPath, int inFlags) {
    const int number = ::open(inPath.c_str(), inFlags | O_CLOEXEC | O_NONBLOCK, kPrivateFile);
    if (number < 0) Throw(inPath, "cannot be opened", errno);
    return number;
}

}  // namespace

Descriptor::~Descriptor() {
    ::close(mNumber);
}

InputFile::InputFile(std::filesystem::path inPath)
    : mPath(std::move(inPath)), mDescriptor(OpenOrThrow(mPath, O_RDONLY)) {
    struct stat facts {};
    if (::fstat(mDescriptor.Number(), &facts) != 0) Throw(mPath, "cannot be examined", errno);
    if (!S_ISREG(facts.st_mode)) {
        throw Error(Vexmora_Failure, mPath, "is not a regular file", "name a file on disk");
    }
    constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
    mSize = static_cast<std::uint64_t>(facts.st_size);
    mModifiedNanoseconds = facts.st_mtim.tv_sec * kNanosecondsPerSecond + facts.st_mtim.tv_nsec;
}

void InputFile::ReadAt(std::uint64_t inOffset, std::span<std::byte> outBytes) const {
    while (!outBytes.empty()) {
        const ssize_t got =
            ::pread(mDescriptor.Number(), outBytes.data(), outBytes.size(), static_cast<off_t>(inOffset));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) Throw(mPath, "cannot be read", errno);
        if (got == 0) {
            throw Error(Vexmora_Failure, mPath, "became shorter while it was read",
                        "try again when nothing writes to it any more");
        }
        outBytes = outBytes.subspan(static_cast<std::size_t>(got));
        inOffset += static_cast<std::uint64_t>(got);
    }
}

std::vector<std::byte> ReadWholeFile(const std::filesystem::path& inPath, std::uint64_t inLimit) {
    const InputFile file(inPath);
    if (file.Size() > inLimit) Throw(inPath, "cannot be read", EFBIG);
    std::vector<std::byte> bytes(file.Size());
    file.ReadAt(0, bytes);
    return bytes;
}

void FlushToDisk(const std::filesystem::path& inPath) {
    const Descriptor descriptor(OpenOrThrow(inPath, O_RDONLY));
    // EINVAL: this kind of file has nothing to flush, as folders of some file systems.
    if (::fsync(descriptor.Number()) != 0 && errno != EINVAL) {
        Throw(inPath, "cannot be written to the disk", errno);
    }
}

std::filesystem::path MakeUniqueFolder(const std::filesystem::path& inParent) {
    std::string path = (inParent / "XXXXXX").native();
    if (::mkdtemp(path.data()) == nullptr) Throw(inParent, "cannot be written to", errno);
    return path;
}

std::optional<FileKey> KeyOf(const std::filesystem::path& inPath) noexcept {
    struct stat facts {};
    if (::stat(inPath.c_str(), &facts) != 0) return std::nullopt;
    return FileKey{facts.st_dev, facts.st_ino};
}

// A mask that is too short for the machine cannot be had; then the standard library's count must do.
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
