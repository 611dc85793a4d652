// Making and removing a folder with a name of its own.
#include "files/TemporaryFolder.h"

#include <fmt/format.h>

#include <filesystem>
#include <new>
#include <random>

#include "CommandError.h"

namespace VexmoraCommand {

namespace fs = std::filesystem;

TemporaryFolder::TemporaryFolder(std::string_view inName) {
    std::error_code error;
    const fs::path parent = fs::temp_directory_path(error);
    if (error) throw CommandError::FromSystem("$TMPDIR", error);
    std::random_device random;
    do {
        mPath = (parent / fmt::format("{}-{:08x}", inName, random())).native();
    } while (!fs::create_directory(mPath, error) && !error);
    if (error) throw CommandError::FromSystem(mPath, error);
}

TemporaryFolder::~TemporaryFolder() {
    try {
        std::error_code ignored;
        fs::remove_all(mPath, ignored);
    } catch (const std::bad_alloc&) {  // the system empties its folder some day
    }
}

}  // namespace VexmoraCommand
