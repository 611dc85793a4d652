// A small decode chain over the exports: every frame of a file with its references, in planes of exact size.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <vector>

#include "Support/TestHost.h"
#include "Vexmora/PlaneLayout.h"

namespace Vexmora::Test {

/// Planes without a byte to spare, so that a sanitizer sees each access beyond them.
struct Picture420 {
    Picture420(std::size_t inLumaBytes, std::size_t inChromaBytes, std::uint8_t inFill = 0x55)
        : luma(inLumaBytes, inFill), cb(inChromaBytes, inFill), cr(inChromaBytes, inFill) {}
    explicit Picture420(const PlaneLayout& inLayout, std::uint8_t inFill = 0x55)
        : Picture420(inLayout.lumaBytes, inLayout.chromaBytes, inFill) {}

    FramePlanes Planes() { return {{luma.data(), cb.data(), cr.data()}}; }
    friend bool operator==(const Picture420&, const Picture420&) = default;

    std::vector<std::uint8_t> luma;
    std::vector<std::uint8_t> cb;
    std::vector<std::uint8_t> cr;
};

using Scale = DecodeScale;
inline constexpr std::array kScales{Scale::Full, Scale::HalfWidth, Scale::Quarter};
/// What a host asks for a scale with.
constexpr std::uint32_t ModeOf(Scale in) {
    return in == Scale::Full ? 0 : 1;
}
constexpr std::uint32_t SubModeOf(Scale in) {
    return in == Scale::Quarter ? 1 : 0;
}
inline const char* NameOf(Scale in) {
    return in == Scale::Full ? "Full" : in == Scale::HalfWidth ? "HalfWidth" : "Quarter";
}

/// Calls inVisit(line, first sample, count) for the visible part of every row: Y, Cb, Cr.
template <typename Picture, typename Visit>
void ForEachRow(Picture& ioPicture, const PlaneLayout& inLayout, Visit inVisit) {
    const auto visit = [&](auto& ioPlane, std::uint32_t inPitch, std::uint32_t inWidth,
                           std::uint32_t inHeight) {
        EXPECT_LE(std::size_t{inPitch} * inHeight, ioPlane.size());
        for (std::size_t line = 0; line < inHeight; ++line)
            inVisit(line, ioPlane.data() + line * inPitch, inWidth);
    };
    visit(ioPicture.luma, inLayout.pitches.luma, inLayout.width, inLayout.height);
    visit(ioPicture.cb, inLayout.pitches.chroma, inLayout.chromaWidth, inLayout.chromaHeight);
    visit(ioPicture.cr, inLayout.pitches.chroma, inLayout.chromaWidth, inLayout.chromaHeight);
}

/// The visible samples of a picture without padding: Y, Cb, Cr.
inline std::vector<std::uint8_t> Visible(const Picture420& inPicture, const PlaneLayout& inLayout) {
    std::vector<std::uint8_t> samples;
    ForEachRow(inPicture, inLayout, [&](std::size_t, const std::uint8_t* inRow, std::size_t inCount) {
        samples.insert(samples.end(), inRow, inRow + inCount);
    });
    return samples;
}

/// The opposite: samples as Visible gives them become a picture.
inline Picture420 PictureOf(const std::uint8_t* inSamples, const PlaneLayout& inLayout) {
    Picture420 picture(inLayout);
    ForEachRow(picture, inLayout, [&](std::size_t, std::uint8_t* outRow, std::size_t inCount) {
        std::copy_n(inSamples, inCount, outRow);
        inSamples += inCount;
    });
    return picture;
}

/// Of the size that the handle asks for.
inline Picture420 NewPicture(Vexmora_Handle inHandle, std::uint8_t inFill = 0x55) {
    std::uint32_t luma = 0;
    std::uint32_t chroma = 0;
    EXPECT_EQ(Vexmora_GetFrameSizes(inHandle, &luma, &chroma), Vexmora_Ok);
    return {luma, chroma, inFill};
}

inline constexpr std::int32_t kNoReference = 0x7FFFFFFF;

/// Decodes a frame, predicted from the planes that inPlanesOf(frame) gives for its references, and inNone for
/// those that it has not.
template <typename PlanesOf, typename Picture>
Vexmora_Status DecodeFrame(Vexmora_Handle inHandle, std::int32_t inFrame, Scale inScale,
                           const PlanesOf& inPlanesOf, Picture& outPicture, const FramePlanes& inNone = {}) {
    std::int32_t past = 0;
    std::int32_t future = 0;
    const Vexmora_Status status = Vexmora_GetFrameDependancies(inHandle, inFrame, &past, &future);
    if (status != Vexmora_Ok) return status;
    const FramePlanes forward = past != kNoReference ? inPlanesOf(past) : inNone;
    const FramePlanes backward = future != kNoReference ? inPlanesOf(future) : inNone;
    const FramePlanes output = outPicture.Planes();
    return Vexmora_GetFrame(inHandle, inFrame, &forward, &backward, &output, ModeOf(inScale),
                            SubModeOf(inScale));
}

/// A file that was indexed and opened; decoded pictures are kept.
class DecodeChain {
  public:
    /// @param inMemory whose memory it takes where another host is in the process, for all handles share one.
    explicit DecodeChain(const std::filesystem::path& inMedia, Scale inScale = Scale::Full,
                         const HostServices& inMemory = {})
        : mMedia(inMedia), mHost(mFolder.Path()), mServices(mHost.Services()), mScale(inScale) {
        if (inMemory.memoryAllocator != nullptr) {
            mServices.memoryAllocator = inMemory.memoryAllocator;
            mServices.memoryHandles = inMemory.memoryHandles;
        }
        Vexmora_Startup();
        Vexmora_Status status = Open();
        if (status == Vexmora_NotFinished) {
            float progress = 0;
            while ((status = Vexmora_IndexFile(mHandle, &progress, false)) == Vexmora_NotFinished) {
            }
            EXPECT_EQ(status, Vexmora_Ok);
            status = Open();
        }
        EXPECT_EQ(status, Vexmora_Ok) << inMedia;
    }
    ~DecodeChain() {
        Vexmora_CloseFile(mHandle);
        Vexmora_Shutdown();
    }
    DecodeChain(const DecodeChain&) = delete;
    DecodeChain& operator=(const DecodeChain&) = delete;

    /// Opens the file, which may have changed, again, with the size that it has now; its index is that of the
    /// first time.
    Vexmora_Status Open() {
        Vexmora_CloseFile(mHandle);
        mHandle = nullptr;
        const Vexmora_Status status = Vexmora_OpenFile(ToUtf16(mMedia), mServices, &mHandle, &mHeader, false);
        if (status != Vexmora_Ok) return status;
        EXPECT_EQ(Vexmora_GetFileInfo(mHandle, &mInfo), Vexmora_Ok);
        return status;
    }
    Vexmora_Handle Handle() const { return mHandle; }
    const FileInfo& Info() const { return mInfo; }
    PlaneLayout Layout() const { return PlaneLayoutOf(mInfo, mScale); }
    const IndexHeader& Header() const { return mHeader; }
    Picture420 NewPicture() const { return Test::NewPicture(mHandle); }
    void Forget() { mPictures.clear(); }

    /// The status of the picture's own request is kept with it.
    struct Decoded {
        Picture420 picture;
        Vexmora_Status status;
    };
    Decoded& Frame(std::int32_t inFrame) {
        if (const auto found = mPictures.find(inFrame); found != mPictures.end()) return found->second;
        Decoded decoded{NewPicture(), Vexmora_Failure};
        decoded.status = DecodeFrame(
            mHandle, inFrame, mScale, [this](std::int32_t in) { return Frame(in).picture.Planes(); },
            decoded.picture);
        return mPictures.emplace(inFrame, std::move(decoded)).first->second;
    }
    /// Its visible samples.
    std::vector<std::uint8_t> Shown(std::int32_t inFrame) {
        return Visible(Frame(inFrame).picture, Layout());
    }

  private:
    const TemporaryFolder mFolder;
    const std::filesystem::path mMedia;
    TestHost mHost;
    HostServices mServices;
    const Scale mScale;
    Vexmora_Handle mHandle = nullptr;
    IndexHeader mHeader{};
    FileInfo mInfo{};
    std::map<std::int32_t, Decoded> mPictures;
};

}  // namespace Vexmora::Test
