// Folders, files and index files for the tests of the reference host.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include "Vexmora/Records.h"
#include "VexmoraHost/MediaIdentity.h"

namespace VexmoraHost {

/// An empty folder that is removed with everything in it.
class TemporaryFolder {
  public:
    TemporaryFolder() {
        std::string path = (std::filesystem::temp_directory_path() / "vexmora-host-XXXXXX").native();
        if (::mkdtemp(path.data()) == nullptr) throw std::filesystem::filesystem_error("mkdtemp", {});
        mPath = path;
    }
    ~TemporaryFolder() { std::filesystem::remove_all(mPath); }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::filesystem::path operator/(const std::string& inName) const { return mPath / inName; }
    const std::filesystem::path& Path() const { return mPath; }

  private:
    std::filesystem::path mPath;
};

inline std::string ReadFile(const std::filesystem::path& inPath) {
    std::string bytes(std::filesystem::file_size(inPath), '\0');
    std::ifstream(inPath, std::ios::binary).read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return bytes;
}

inline std::filesystem::path WriteFile(const std::filesystem::path& inPath, const std::string& inBytes) {
    std::ofstream file(inPath, std::ios::binary);
    file << inBytes;
    file.close();
    if (!file) throw std::filesystem::filesystem_error("cannot write", inPath, {});
    return inPath;
}

/// Rewrites a file in place with its bytes changed; the modification time stays.
inline void Tamper(const std::filesystem::path& inPath, const std::function<void(std::string&)>& inChange) {
    const auto time = std::filesystem::last_write_time(inPath);
    std::string bytes = ReadFile(inPath);
    inChange(bytes);
    WriteFile(inPath, bytes);
    std::filesystem::last_write_time(inPath, time);
}

/// The bytes of a sound index file of inRecordCount I pictures.
inline std::string MakeIndexFile(const Guid& inIdentity, std::uint32_t inRecordCount) {
    Vexmora::IndexHeader header{};
    header.identity = inIdentity;
    header.version = Vexmora::kIndexVersion;
    header.recordCount = inRecordCount;
    header.lastFrame = inRecordCount - 1;
    header.streamLength = 1000;
    header.streamKind = Vexmora::kStreamKindTransport;
    header.maxPictureSize = 100;
    std::string bytes(sizeof header + inRecordCount * sizeof(Vexmora::FrameRecord), '\0');
    std::memcpy(bytes.data(), &header, sizeof header);
    for (std::uint32_t index = 0; index < inRecordCount; ++index) {
        Vexmora::FrameRecord record{};
        record.offset = 10 * index;
        record.size = 100;
        record.flags = Vexmora::kPictureTypeI << Vexmora::kPictureCodingTypeShift;
        std::memcpy(bytes.data() + sizeof header + index * sizeof record, &record, sizeof record);
    }
    return bytes;
}

}  // namespace VexmoraHost
