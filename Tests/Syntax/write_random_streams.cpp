// Writes the random streams to files, for other decoders and as seeds for fuzzing: FOLDER [SEED].
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "Syntax/RandomStream.h"

int main(int inCount, char** inArguments) {
    using namespace Vexmora::Test;
    if (inCount < 2) return 2;
    const std::filesystem::path folder = inArguments[1];
    const std::uint32_t seed = inCount > 2 ? static_cast<std::uint32_t>(std::atoi(inArguments[2])) : 1;
    std::filesystem::create_directories(folder);
    for (const StreamPlan& plan : kStreamPlans) {
        Features features;
        const Bytes bytes = MakeRandomStream(plan, seed, features).All();
        std::ofstream file(folder / (std::string(plan.name) + ".m2v"), std::ios::binary);
        file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        if (!file.flush()) return 1;
    }
    return 0;
}
