// Writing to standard output with every failure noticed.
#include "files/StandardOutput.h"

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

void WriteOutput(std::string_view inText) {
    if (std::fwrite(inText.data(), 1, inText.size(), stdout) != inText.size()) ThrowLastError();
}

void FlushOutput() {
    if (std::fflush(stdout) != 0) ThrowLastError();
}

}  // namespace VexmoraCommand
