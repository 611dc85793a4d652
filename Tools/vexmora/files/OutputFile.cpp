// Files written under another name and then renamed.
#include "files/OutputFile.h"

#include <fmt/core.h>

#include <cerrno>
#include <filesystem>
#include <random>
#include <system_error>
#include <utility>

#include "CommandError.h"
#include "files/StandardOutput.h"
#include "terminal/Terminal.h"

namespace VexmoraCommand {

namespace {

// Devices, pipes and what else is not a plain file are written where they are.
bool IsWrittenInPlace(const std::string& inPath) {
    std::error_code error;
    const auto type = std::filesystem::status(inPath, error).type();
    return type != std::filesystem::file_type::regular && type != std::filesystem::file_type::not_found;
}

void RefuseToReplace(const std::string& inSource, const std::string& inPath) {
    std::error_code ignored;  // a file that is not there is another one
    if (std::filesystem::equivalent(inSource, inPath, ignored)) {
        throw CommandError(ExitStatus::Usage, inPath, "would be written over the file that is read",
                           "choose another name for the output");
    }
}

// Makes a file beside inPath; null and errno when it cannot. Only a name that nothing has is taken: neither
// a file nor what a link points to is ever written over.
std::FILE* CreateBeside(const std::string& inPath, std::string& outName) {
    constexpr unsigned kMostTries = 100;
    const std::filesystem::path folder = std::filesystem::path(inPath).parent_path();
    std::random_device random;
    std::FILE* stream = nullptr;
    for (unsigned tries = 0; stream == nullptr && tries < kMostTries; ++tries) {
        outName = (folder / fmt::format(".vexmora-{:08x}.part", random())).native();
        stream = std::fopen(outName.c_str(), "wbx");
        if (stream == nullptr && errno != EEXIST) break;
    }
    return stream;
}

}  // namespace

OutputFile::OutputFile(const std::string& inPath, const RecordingFiles& inSource)
    : mPath(inPath), mSource(inSource.name) {
    if (IsStandardOutput()) {
        if (StandardOutputIsTerminal()) {
            throw CommandError(ExitStatus::Usage, "standard output", "is a terminal, which cannot show this",
                               "name a file with -o, or let another program read it");
        }
        return;
    }
    for (const std::string& file : inSource.files) RefuseToReplace(file, mPath);
    if (IsWrittenInPlace(mPath)) {
        mStream = std::fopen(mPath.c_str(), "wb");
    } else {
        std::string name;
        mStream = CreateBeside(mPath, name);
        if (mStream != nullptr) mTemporary = std::move(name);
    }
    if (mStream == nullptr) ThrowLastError();
}

OutputFile::~OutputFile() {
    if (mStream != nullptr) std::fclose(mStream);
    std::error_code ignored;  // it is no use to anybody, but does no harm either
    if (!mTemporary.empty()) std::filesystem::remove(mTemporary, ignored);
}

void OutputFile::Write(const void* inData, std::size_t inBytes) {
    InterruptGuard::Check(mSource);
    if (IsStandardOutput()) {
        WriteOutput({static_cast<const char*>(inData), inBytes});
    } else if (std::fwrite(inData, 1, inBytes, mStream) != inBytes) {
        ThrowLastError();
    }
}

void OutputFile::Commit() {
    if (IsStandardOutput()) return FlushOutput();
    if (std::fflush(mStream) != 0) ThrowLastError();
    if (std::fclose(std::exchange(mStream, nullptr)) != 0) ThrowLastError();
    InterruptGuard::Check(mSource);
    if (mTemporary.empty()) return;
    std::error_code error;
    std::filesystem::rename(mTemporary, mPath, error);
    if (error) throw CommandError::FromSystem(mPath, error);
    mTemporary.clear();
}

void OutputFile::ThrowLastError() const {
    throw CommandError::FromSystem(mPath, std::error_code(errno, std::generic_category()));
}

}  // namespace VexmoraCommand
