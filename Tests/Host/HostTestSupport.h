// Folders, files and index files for the tests of the reference host.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include "Support/TestFiles.h"
#include "index/StoredIndex.h"

namespace VexmoraHost {

using Vexmora::Test::TemporaryFolder;

inline std::string ReadFile(const std::filesystem::path& inPath) {
    return Vexmora::Test::ReadAll<std::string>(inPath);
}
inline std::filesystem::path WriteFile(const std::filesystem::path& inPath, const std::string& inBytes) {
    return Vexmora::Test::WriteAll(inPath, inBytes);
}

/// Rewrites a file in place with its bytes changed; the modification time stays.
inline void Tamper(const std::filesystem::path& inPath, const std::function<void(std::string&)>& inChange) {
    const auto time = std::filesystem::last_write_time(inPath);
    std::string bytes = ReadFile(inPath);
    inChange(bytes);
    WriteFile(inPath, bytes);
    std::filesystem::last_write_time(inPath, time);
}

/// Descriptors that the process has open.
inline std::size_t OpenDescriptors() {
    std::size_t count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) ++count;
    return count;
}

/// Bytes that the process has had the system read so far.
inline std::uint64_t BytesReadByProcess() {
    std::ifstream facts("/proc/self/io");
    std::string name;
    std::uint64_t bytes = 0;
    facts >> name >> bytes;
    return bytes;
}

/// A sound index of inRecordCount I pictures.
inline StoredIndex MakeIndex(const Guid& inIdentity, std::uint32_t inRecordCount) {
    StoredIndex index{};
    index.header.identity = inIdentity;
    index.header.version = Vexmora::kIndexVersion;
    index.header.recordCount = inRecordCount;
    index.header.lastFrame = inRecordCount - 1;
    index.header.streamLength = 1000;
    index.header.streamKind = Vexmora::kStreamKindTransport;
    index.header.maxPictureSize = 100;
    for (std::uint32_t number = 0; number < inRecordCount; ++number) {
        index.records.push_back({.offset = 10 * number,
                                 .size = 100,
                                 .flags = Vexmora::kPictureTypeI << Vexmora::kPictureCodingTypeShift,
                                 .reserved = 0,
                                 .pastRefDelta = 0,
                                 .futureRefDelta = 0});
    }
    return index;
}

}  // namespace VexmoraHost
