// Files written under another name and then renamed.
#include "files/OutputFile.h"

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include "CommandError.h"
#include "files/StandardOutput.h"
#include "terminal/Terminal.h"

namespace VexmoraCommand {

namespace {

/// Devices, pipes and what else is not a plain file are written where they are.
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

}  // namespace

OutputFile::OutputFile(const std::string& inPath, const std::string& inSource) : mPath(inPath) {
    if (IsStandardOutput()) {
        if (StandardOutputIsTerminal()) {
            throw CommandError(ExitStatus::Usage, "standard output", "is a terminal, which cannot show this",
                               "name a file with -o, or let another program read it");
        }
        return;
    }
    const std::string place = IsWrittenInPlace(mPath) ? mPath : mPath + ".part";
    RefuseToReplace(inSource, mPath);
    RefuseToReplace(inSource, place);
    mTemporary = place;
    mStream = std::fopen(mTemporary.c_str(), "wb");
    if (mStream == nullptr) ThrowLastError();
}

OutputFile::~OutputFile() {
    if (mStream != nullptr) std::fclose(mStream);
    std::error_code ignored;  // it is no use to anybody, but does no harm either
    if (!mTemporary.empty() && mTemporary != mPath) std::filesystem::remove(mTemporary, ignored);
}

void OutputFile::Write(const void* inData, std::size_t inBytes) {
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
    if (mTemporary != mPath) {
        std::error_code error;
        std::filesystem::rename(mTemporary, mPath, error);
        if (error) throw CommandError::FromSystem(mPath, error);
    }
    mTemporary.clear();
}

void OutputFile::ThrowLastError() const {
    throw CommandError::FromSystem(mPath, std::error_code(errno, std::generic_category()));
}

}  // namespace VexmoraCommand
