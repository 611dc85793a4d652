// Writing to standard output with every failure noticed.
#include "files/StandardOutput.h"

#include <fmt/core.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "CommandError.h"

namespace VexmoraCommand {

namespace {

[[noreturn]] void ThrowLastError() {
    const std::error_code error(errno, std::generic_category());
    if (error == std::errc::broken_pipe) throw OutputClosed{};
    throw CommandError::FromSystem("standard output", error);
}

}  // namespace

bool IsStandardOutput(const std::string& inPath) {
    struct stat file {};
    struct stat output {};
    return stat(inPath.c_str(), &file) == 0 && fstat(STDOUT_FILENO, &output) == 0 &&
           file.st_dev == output.st_dev && file.st_ino == output.st_ino;
}

void WriteOutput(std::string_view inText) {
    if (std::fwrite(inText.data(), 1, inText.size(), stdout) != inText.size()) ThrowLastError();
}

void WriteField(std::string_view inName, std::string_view inValue) {
    WriteOutput(fmt::format("{:<18}{}\n", inName, inValue));
}

void FlushOutput() {
    if (std::fflush(stdout) != 0) ThrowLastError();
}

}  // namespace VexmoraCommand
