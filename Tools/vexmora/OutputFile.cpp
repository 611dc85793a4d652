// Files written under another name and then renamed.
#include "OutputFile.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "Problem.h"
#include "StandardOutput.h"

namespace Vexmora {

namespace {

/// Devices, pipes and what else is not a plain file are written where they are.
bool IsWrittenInPlace(const std::string& inPath) {
    std::error_code error;
    const auto type = std::filesystem::status(inPath, error).type();
    return type != std::filesystem::file_type::regular && type != std::filesystem::file_type::not_found;
}

}  // namespace

OutputFile::OutputFile(const std::string& inPath) : mPath(inPath) {
    if (IsStandardOutput()) return;
    mTemporary = IsWrittenInPlace(mPath) ? mPath : mPath + ".part";
    mStream = std::fopen(mTemporary.c_str(), "wb");
    if (mStream == nullptr) ThrowLastError();
}

OutputFile::~OutputFile() {
    if (mStream == nullptr) return;
    std::fclose(mStream);
    std::error_code ignored;  // it is no use to anybody, but does no harm either
    if (mTemporary != mPath) std::filesystem::remove(mTemporary, ignored);
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
    if (mTemporary != mPath) {
        std::error_code error;
        std::filesystem::rename(mTemporary, mPath, error);
        if (error) throw Problem::FromSystem(mPath, error);
    }
    std::fclose(mStream);  // was flushed
    mStream = nullptr;
}

void OutputFile::ThrowLastError() const {
    throw Problem::FromSystem(mPath, std::error_code(errno, std::generic_category()));
}

}  // namespace Vexmora
