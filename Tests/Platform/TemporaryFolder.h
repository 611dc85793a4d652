// A folder that a test may fill and that is gone afterwards.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>

#include "Orvet/PathUtils.h"

class TemporaryFolder {
  public:
    TemporaryFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "vexmora_test_XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
        mFolder = name;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(mFolder, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::string Native(std::string_view inName) const { return mFolder + "/" + std::string(inName); }
    UTF16String Path(std::string_view inName) const { return Orvet::PathUtils::FromNative(Native(inName)); }
    UTF16String Write(std::string_view inName, std::string_view inContents) const {
        std::ofstream file(Native(inName), std::ios::binary);
        file << inContents;
        if (!file.flush()) throw std::runtime_error("cannot write " + Native(inName));
        return Path(inName);
    }

  private:
    std::string mFolder;
};
