// Runs a fuzz target without a fuzzer, over the files of the folders that are named.
#include <cstdint>
#include <cstdio>
#include <filesystem>

#include "Support/FolderHost.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* inData, std::size_t inSize);

int main(int inCount, char** inArguments) {
    int runs = 0;
    for (int argument = 1; argument < inCount; ++argument) {
        for (const auto& entry : std::filesystem::directory_iterator(inArguments[argument])) {
            std::puts(entry.path().c_str());
            std::fflush(stdout);
            const std::vector<std::uint8_t> bytes = Vexmora::Test::ReadAll(entry.path());
            LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
            ++runs;
        }
    }
    return runs != 0 ? 0 : 1;
}
