// Random frame and field pictures through a buffer instance, held against an independent decoder.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <map>

#include "Decoding/DecodeChain.h"
#include "Decoding/Ffmpeg.h"
#include "Decoding/RandomVideo.h"

namespace Vexmora::Test {
namespace {

/// I0 P2 B1 P4 B3 ..., each a frame or two fields.
std::vector<CodedPicture> MakePictures(std::mt19937& ioRandom, bool inAsFields) {
    std::vector<CodedPicture> pictures;
    const auto add = [&](unsigned inReference, unsigned inType) {
        CodedPicture picture;
        picture.temporal_reference = inReference;
        picture.picture_coding_type = inType;
        picture.concealment_motion_vectors = ioRandom() % 2 != 0;
        for (const unsigned structure : inAsFields ? std::vector{1u, 2u} : std::vector{3u}) {
            picture.picture_structure = structure;
            AddRandomSlices(ioRandom, picture);
            pictures.push_back(picture);
        }
    };
    add(0, 1);
    for (unsigned reference = 2; reference < 12; reference += 2) {
        add(reference, 2);
        add(reference - 1, 3);
    }
    return pictures;
}

class RandomVideo : public testing::TestWithParam<bool> {};

TEST_P(RandomVideo, IsDecodedAsByAnIndependentDecoder) {
    std::mt19937 random(GetParam() ? 2 : 1);
    const std::vector<CodedPicture> pictures = MakePictures(random, GetParam());
    Bytes stream = RandomVideoHeaders();
    for (const CodedPicture& picture : pictures)
        stream.insert(stream.end(), picture.bytes.begin(), picture.bytes.end());
    const Bytes end = SequenceEnd();
    stream.insert(stream.end(), end.begin(), end.end());
    const auto path =
        std::filesystem::temp_directory_path() / ("vexmora_random_" + std::to_string(getpid()) + ".m2v");
    WriteAll(path, stream);
    const std::vector<std::uint8_t> expected = RunFfmpeg(path, "faani");
    std::filesystem::remove(path);

    const ExactHost host;
    Vexmora_Startup();
    Vexmora_Handle handle = nullptr;
    std::uint8_t* buffer = nullptr;
    ASSERT_EQ(Vexmora_OpenBufferInstance(host.Services(), 1 << 20, &handle, &buffer), Vexmora_Ok);
    FileInfo info{};
    info.width = kRandomSequence.width;
    info.height = kRandomSequence.height;
    info.pitch = 128;
    std::map<unsigned, Picture420> decoded;
    unsigned past = 0;
    unsigned future = 0;
    for (std::size_t i = 0; i < pictures.size(); ++i) {
        const CodedPicture& picture = pictures[i];
        const unsigned number = picture.temporal_reference;
        if (!decoded.contains(number)) {
            decoded.emplace(number,
                            Picture420(128 * kRandomSequence.height, 128 * kRandomSequence.height / 2));
            if (picture.picture_coding_type != 3) {
                past = future;
                future = number;
            }
        }
        const Bytes data = i == 0 ? Join({RandomVideoHeaders(), picture.bytes}) : picture.bytes;
        std::memcpy(buffer, data.data(), data.size());
        const FramePlanes forward = decoded.at(past).Planes();
        const FramePlanes backward = decoded.at(future).Planes();
        const FramePlanes output = decoded.at(number).Planes();
        ASSERT_EQ(Vexmora_GetFrameFromBuffer(handle, static_cast<std::uint32_t>(data.size()),
                                             picture.picture_coding_type, &forward, &backward, &output, 0, 0),
                  Vexmora_Ok)
            << i;
    }
    Vexmora_CloseFile(handle);
    Vexmora_Shutdown();

    const std::size_t frameBytes = kRandomSequence.width * kRandomSequence.height * 3 / 2;
    ASSERT_EQ(expected.size(), frameBytes * decoded.size());
    for (const auto& [number, picture] : decoded) {
        const Difference difference =
            Compare(Visible(picture, info).data(), expected.data() + number * frameBytes, frameBytes);
        EXPECT_LE(difference.largest, 3) << "frame " << number << ", mean square " << difference.meanSquare;
        EXPECT_LE(difference.meanSquare, 0.01) << "frame " << number;
    }
}

INSTANTIATE_TEST_SUITE_P(Structures, RandomVideo, testing::Values(false, true),
                         [](const auto& inInfo) { return inInfo.param ? "Fields" : "Frames"; });

}  // namespace
}  // namespace Vexmora::Test
