// A folder of a test, with names as the platform layer takes them.
#pragma once

#include <stdexcept>
#include <string_view>

#include "Orvet/PathUtils.h"
#include "Support/TestFiles.h"

class PlatformFolder : public Vexmora::Test::TemporaryFolder {
  public:
    std::string Native(std::string_view inName) const { return *this / inName; }
    UTF16String Path(std::string_view inName) const { return Orvet::PathUtils::FromNative(Native(inName)); }
    UTF16String Write(std::string_view inName, std::string_view inContents) const {
        std::ofstream file(Native(inName), std::ios::binary);
        file << inContents;
        if (!file.flush()) throw std::runtime_error("cannot write " + Native(inName));
        return Path(inName);
    }
};
