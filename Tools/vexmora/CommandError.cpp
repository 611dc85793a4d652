// The texts of what goes wrong.
#include "CommandError.h"

#include <fmt/core.h>

#include <algorithm>
#include <cstdio>

namespace VexmoraCommand {

namespace {

std::string_view AdviceFor(std::error_code inError) {
    if (inError == std::errc::no_such_file_or_directory) return "check the name";
    if (inError == std::errc::permission_denied) return "ask its owner for permission";
    if (inError == std::errc::no_space_on_device) return "make room, or write somewhere else";
    if (inError == std::errc::io_error) return "check the medium, or copy the file from it first";
    return "correct that and try again";
}

}  // namespace

CommandError::CommandError(ExitStatus inStatus, std::string_view inFile, std::string_view inWhat,
                           std::string_view inAdvice)
    : CommandError(inStatus, fmt::format("{}: {} ({})", inFile.empty() ? "''" : inFile, inWhat, inAdvice)) {}

CommandError::CommandError(ExitStatus inStatus, std::string_view inText)
    : mStatus(inStatus), mText(OnOneLine(inText)) {}

CommandError CommandError::FromSystem(std::string_view inFile, std::error_code inError) {
    return {ExitStatus::Failed, inFile, inError.message(), AdviceFor(inError)};
}

void TellError(std::string_view inText) {
    const std::string line = "vexmora: " + OnOneLine(inText) + "\n";
    // One write, so that lines of several commands do not mix. When standard error fails, nobody listens.
    std::fwrite(line.data(), 1, line.size(), stderr);
}

std::string OnOneLine(std::string_view inText) {
    std::string line(inText);
    std::replace_if(
        line.begin(), line.end(), [](unsigned char inByte) { return inByte < 0x20 || inByte == 0x7F; }, '?');
    return line;
}

}  // namespace VexmoraCommand
