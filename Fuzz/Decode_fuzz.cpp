// Arbitrary coded pictures, at every scale: nothing but the planes of the output is written, no memory of the
// host is kept, and pictures and statuses depend on the coded bytes alone, not on the processors, their
// variant or what lies behind the bytes in the buffer.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "Decoding/DecodeChain.h"
#include "FuzzTarget.h"
#include "GuardedPicture.h"

namespace Vexmora::Test {
namespace {

constexpr std::size_t kMostPictures = 8;

struct Setup {
    Scale scale;
    Edge edge;
    bool lacksReferences;
    std::uint32_t spareBytes;
};

struct Outcome {
    std::vector<Vexmora_Status> statuses;
    std::vector<std::size_t> pictures;
    friend bool operator==(const Outcome&, const Outcome&) = default;
};

// A picture with what precedes it, if it is the first.
struct Request {
    Bytes bytes;
    unsigned picture_coding_type;
    unsigned temporal_reference;
};

Request MakeRequest(const Bytes& inVideo, std::size_t inBegin, std::size_t inPicture, std::size_t inEnd) {
    const auto place = [&](std::size_t in) { return inVideo.begin() + static_cast<std::ptrdiff_t>(in); };
    Request request{{place(inBegin), place(inEnd)}, kPictureTypeI, 0};
    if (inPicture + 6 <= inEnd) {
        request.picture_coding_type = inVideo[inPicture + 5] >> 3 & 7;
        request.temporal_reference =
            unsigned{inVideo[inPicture + 4]} << 2 | unsigned{inVideo[inPicture + 5]} >> 6;
    }
    return request;
}

std::vector<Request> Cut(const Bytes& inVideo) {
    std::vector<std::size_t> starts = StartCodes(inVideo);
    if (starts.empty()) return {MakeRequest(inVideo, 0, inVideo.size(), inVideo.size())};
    starts.push_back(inVideo.size());
    std::vector<Request> requests = {MakeRequest(inVideo, 0, starts[0], starts[1])};
    for (std::size_t i = 0; i + 1 < starts.size() && i < kMostPictures; ++i)
        requests.push_back(MakeRequest(inVideo, starts[i], starts[i], starts[i + 1]));
    return requests;
}

// A host that shows pictures as they come.
class Player {
  public:
    Player(const Setup& inSetup, const std::vector<Request>& inRequests, std::uint8_t inFill)
        : mSetup(inSetup) {
        std::size_t largest = 0;
        for (const Request& request : inRequests) largest = std::max(largest, request.bytes.size());
        mBufferBytes = largest + mSetup.spareBytes;
        EXPECT_EQ(Vexmora_OpenBufferInstance(mHost.Services(), static_cast<std::uint32_t>(mBufferBytes),
                                             &mHandle, &mBuffer),
                  Vexmora_Ok);
        std::memset(mBuffer, inFill, mBufferBytes);
    }
    ~Player() {
        EXPECT_EQ(Vexmora_CloseFile(mHandle), Vexmora_Ok);
        EXPECT_EQ(mHost.LiveBlocks(), 0);
    }
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    Outcome Play(const std::vector<Request>& inRequests) {
        Outcome outcome;
        outcome.statuses.push_back(Decode(inRequests.front(), {}, {}, {}));
        std::uint32_t luma = 0;
        std::uint32_t chroma = 0;
        EXPECT_EQ(Vexmora_GetFrameSizes(mHandle, &luma, &chroma), Vexmora_Ok);
        if (luma == 0 || GuardedPicture::IsTooLarge(luma)) return outcome;
        std::array<GuardedPicture, 3> pictures{
            {{luma, chroma, mSetup.edge}, {luma, chroma, mSetup.edge}, {luma, chroma, mSetup.edge}}};
        GuardedPicture* past = &pictures[0];
        GuardedPicture* future = &pictures[1];
        GuardedPicture* output = &pictures[2];
        for (std::size_t i = 1; i < inRequests.size(); ++i) {
            const Request& request = inRequests[i];
            const bool isSameFrame =
                i > 1 && request.temporal_reference == inRequests[i - 1].temporal_reference;
            if (!isSameFrame && i > 1 && inRequests[i - 1].picture_coding_type != kPictureTypeB) {
                std::swap(past, future);
                std::swap(future, output);
            }
            outcome.statuses.push_back(DecodeGuarded(request, *past, *future, *output));
            outcome.pictures.push_back(output->Hash());
        }
        return outcome;
    }

  private:
    Vexmora_Status DecodeGuarded(const Request& inRequest, GuardedPicture& ioPast, GuardedPicture& ioFuture,
                                 GuardedPicture& ioOutput) {
        const bool isB = inRequest.picture_coding_type == kPictureTypeB;
        GuardedPicture& forward = isB ? ioPast : ioFuture;
        forward.SetWritable(false);
        ioFuture.SetWritable(false);
        const FramePlanes forwardPlanes = mSetup.lacksReferences ? FramePlanes{} : forward.Planes();
        const Vexmora_Status status = Decode(inRequest, forwardPlanes, ioFuture.Planes(), ioOutput.Planes());
        forward.SetWritable(true);
        ioFuture.SetWritable(true);
        return status;
    }

    Vexmora_Status Decode(const Request& inRequest, const FramePlanes& inForward,
                          const FramePlanes& inBackward, const FramePlanes& inOutput) {
        if (inRequest.bytes.empty()) return Vexmora_Failure;
        std::memcpy(mBuffer, inRequest.bytes.data(), inRequest.bytes.size());
        return Vexmora_GetFrameFromBuffer(mHandle, static_cast<std::uint32_t>(inRequest.bytes.size()),
                                          inRequest.picture_coding_type, &inForward, &inBackward, &inOutput,
                                          ModeOf(mSetup.scale), SubModeOf(mSetup.scale));
    }

    TestHost mHost;
    const Setup mSetup;
    std::size_t mBufferBytes = 0;
    Vexmora_Handle mHandle = nullptr;
    std::uint8_t* mBuffer = nullptr;
};

Outcome DecodeIn(const Way& inWay, const Setup& inSetup, const std::vector<Request>& inRequests,
                 std::uint8_t inFill) {
    const WorkingIn way(inWay);
    return Player(inSetup, inRequests, inFill).Play(inRequests);
}

}  // namespace

void FuzzOne(Choices& ioChoices) {
    const Way way = WayOf(ioChoices.Below(kWays));
    const Scale scale = kScales[ioChoices.Below(kScales.size())];
    const std::uint8_t flags = ioChoices.Byte();
    const Setup setup{scale, (flags & 1) != 0 ? Edge::Begin : Edge::End, (flags & 2) != 0,
                      (flags & 4) != 0 ? 4u : 8200u};
    const std::vector<Request> requests = Cut(ioChoices.Rest());
    EXPECT_EQ(DecodeIn(way, setup, requests, 0xFF), DecodeIn({}, setup, requests, 0));
}

}  // namespace Vexmora::Test
