// The frames of an open file, each decoded with what it is predicted from, and what became of them.
#pragma once

#include <map>
#include <optional>
#include <vector>

#include "Decoding/DecodeChain.h"
#include "GuardedPicture.h"

namespace Vexmora::Test {

class VisitedFrames {
  public:
    struct Outcome {
        std::int32_t frame;
        Vexmora_Status status;
        std::size_t picture;
        friend bool operator==(const Outcome&, const Outcome&) = default;
    };

    VisitedFrames(Vexmora_Handle inHandle, Scale inScale, Edge inEdge)
        : mHandle(inHandle), mScale(inScale), mEdge(inEdge) {
        EXPECT_EQ(Vexmora_GetFrameSizes(mHandle, &mLuma, &mChroma), Vexmora_Ok);
        if (mLuma == 0 || GuardedPicture::IsTooLarge(mLuma)) return;
        mBlank.emplace(mLuma, mChroma, inEdge);
        mBlank->SetWritable(false);
        mScratch.emplace(mLuma, mChroma, inEdge);
    }

    /// Decodes the frames from 0 to inCount - 1 in this order, references first; none of large pictures.
    std::vector<Outcome> Visit(std::int32_t inCount) {
        if (!mBlank) return {};
        for (std::int32_t frame = 0; frame < inCount; ++frame) Frame(frame);
        return mOutcomes;
    }

  private:
    static constexpr std::size_t kMostFrames = 40;

    // Null when there is none. A frame that is asked for while it is decoded is predicted from as it is.
    GuardedPicture* Frame(std::int32_t inFrame) {
        if (const auto found = mPictures.find(inFrame); found != mPictures.end()) return &found->second;
        if (mPictures.size() == kMostFrames) return nullptr;
        GuardedPicture& picture = mPictures.try_emplace(inFrame, mLuma, mChroma, mEdge).first->second;
        std::vector<GuardedPicture*> references;
        const auto planesOf = [&](std::int32_t inReference) {
            GuardedPicture* const reference = Frame(inReference);
            if (reference == nullptr || reference == &picture) return mBlank->Planes();
            reference->SetWritable(false);
            references.push_back(reference);
            return reference->Planes();
        };
        // Without planes to be predicted from the output serves, and what comes out depends on who writes
        // first.
        static_cast<void>(DecodeFrame(mHandle, inFrame, mScale, planesOf, *mScratch));
        const Vexmora_Status status =
            DecodeFrame(mHandle, inFrame, mScale, planesOf, picture, mBlank->Planes());
        for (GuardedPicture* reference : references) reference->SetWritable(true);
        mOutcomes.push_back({inFrame, status, picture.Hash()});
        return &picture;
    }

    const Vexmora_Handle mHandle;
    const Scale mScale;
    const Edge mEdge;
    std::uint32_t mLuma = 0;
    std::uint32_t mChroma = 0;
    std::optional<GuardedPicture> mBlank;
    std::optional<GuardedPicture> mScratch;
    std::map<std::int32_t, GuardedPicture> mPictures;
    std::vector<Outcome> mOutcomes;
};

}  // namespace Vexmora::Test
