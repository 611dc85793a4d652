// Refusing what is no file of bytes, and reading the start of what is.
#include "files/InputFile.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>

#include "CommandError.h"

namespace VexmoraCommand {

namespace fs = std::filesystem;

namespace {

struct Close {
    void operator()(std::FILE* inStream) const { std::fclose(inStream); }
};

[[noreturn]] void ThrowLastError(const std::string& inFile) {
    throw CommandError::FromSystem(inFile, {errno, std::generic_category()});
}

void RefuseUnlessRegular(const std::string& inFile) {
    std::error_code error;
    const fs::file_status status = fs::status(inFile, error);
    const auto refuse = [&](const char* inWhat, const char* inAdvice) {
        throw CommandError(ExitStatus::Failed, inFile, inWhat, inAdvice);
    };
    switch (status.type()) {
        case fs::file_type::regular:
            return;
        case fs::file_type::not_found:
            throw CommandError::FromSystem(inFile,
                                           std::make_error_code(std::errc::no_such_file_or_directory));
        case fs::file_type::none:
            throw CommandError::FromSystem(inFile, error);
        case fs::file_type::directory:
            refuse("is a directory", "name a file in it");
            break;
        case fs::file_type::fifo:
            refuse("is a pipe", "write the stream to a file first");
            break;
        default:
            refuse("is not a regular file", "copy the stream to a file first");
    }
}

}  // namespace

InputFile::InputFile(const std::string& inFile) : mFile(inFile) {
    RefuseUnlessRegular(mFile);
}

std::vector<std::uint8_t> InputFile::ReadStart(std::size_t inBytes) const {
    const std::unique_ptr<std::FILE, Close> stream(std::fopen(mFile.c_str(), "rb"));
    if (!stream) ThrowLastError(mFile);
    std::vector<std::uint8_t> bytes(inBytes);
    bytes.resize(std::fread(bytes.data(), 1, inBytes, stream.get()));
    if (std::ferror(stream.get()) != 0) ThrowLastError(mFile);
    return bytes;
}

}  // namespace VexmoraCommand
