// Files and folders of the tests.
#pragma once

#include <stdlib.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace Vexmora::Test {

/// An empty folder that is removed with everything in it.
class TemporaryFolder {
  public:
    TemporaryFolder() {
        std::string path = (std::filesystem::temp_directory_path() / "vexmora-test-XXXXXX").native();
        if (mkdtemp(path.data()) == nullptr) throw std::filesystem::filesystem_error("mkdtemp", {});
        mPath = path;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(mPath, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::filesystem::path operator/(const std::filesystem::path& inName) const { return mPath / inName; }
    const std::filesystem::path& Path() const { return mPath; }

  private:
    std::filesystem::path mPath;
};

template <typename Bytes = std::vector<std::uint8_t>>
Bytes ReadAll(const std::filesystem::path& inPath) {
    std::ifstream file(inPath, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

template <typename Bytes>
std::filesystem::path WriteAll(const std::filesystem::path& inPath, const Bytes& inBytes) {
    std::ofstream file(inPath, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(inBytes.data()), static_cast<std::streamsize>(inBytes.size()));
    if (!file.flush()) throw std::filesystem::filesystem_error("cannot write", inPath, {});
    return inPath;
}

/// The streams in a folder, by name; but for those made to be refused.
inline std::vector<std::filesystem::path> StreamFiles(const std::filesystem::path& inFolder) {
    std::vector<std::filesystem::path> paths;
    for (const auto& entry : std::filesystem::directory_iterator(inFolder)) {
        const std::string extension = entry.path().extension();
        const bool isStream =
            extension == ".m2v" || extension == ".mpg" || extension == ".ts" || extension == ".vob";
        if (isStream && !entry.path().filename().string().starts_with("refused"))
            paths.push_back(entry.path());
    }
    std::ranges::sort(paths);
    return paths;
}

}  // namespace Vexmora::Test
