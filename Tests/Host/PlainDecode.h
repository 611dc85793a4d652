// Pictures by way of the exports alone, and a file whose index a test may change, to hold the host against.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <vector>

#include "Decoding/DecodeChain.h"
#include "Support/StreamBuilder.h"
#include "Vexmora/PathText.h"
#include "frames/FrameDecoder.h"
#include "frames/PlainFile.h"
#include "memory/HostServices.h"

namespace VexmoraHost {

using Samples = std::vector<std::uint8_t>;

/// The visible samples of a picture without padding: Y, Cb, Cr.
inline Samples SamplesOf(const Picture& inPicture) {
    Samples samples;
    for (const Plane& plane : {inPicture.luma, inPicture.cb, inPicture.cr}) {
        for (std::size_t line = 0; line < plane.height; ++line) {
            const std::uint8_t* const first = plane.samples + line * plane.stride;
            samples.insert(samples.end(), first, first + plane.width);
        }
    }
    return samples;
}

inline constexpr Scale kScales[] = {Scale::Full, Scale::HalfWidth, Scale::Quarter};

/// A file, opened with the index that an indexer makes of it and that inChange alters.
class IndexedFile {
  public:
    using Records = std::vector<Vexmora::FrameRecord>;

    explicit IndexedFile(
        const std::filesystem::path& inPath, const std::function<void(Records&)>& inChange = [](Records&) {})
        : IndexedFile(inPath, inPath, inChange) {}
    /// With the index of another file.
    IndexedFile(const std::filesystem::path& inPath, const std::filesystem::path& inIndexed,
                const std::function<void(Records&)>& inChange) {
        auto index = Vexmora::Test::Index(Vexmora::Test::ReadAll(inIndexed));
        inChange(index.records);
        mRecords = index.records;
        mMissingAnchors.emplace(mRecords);
        index.header.recordCount = static_cast<std::uint32_t>(mRecords.size());
        mHeader = index.header;
        Vexmora_Handle handle = nullptr;
        EXPECT_EQ(Vexmora_OpenFileWithIndex(Vexmora::ToUtf16Path(inPath.native()), Services(), mHeader,
                                            mRecords, &handle),
                  Vexmora_Ok);
        mHandle.reset(handle);
        EXPECT_EQ(Vexmora_GetFileInfo(handle, &mInfo), Vexmora_Ok);
        mMedia.emplace(inPath, FactsOf(inPath), mHeader, mRecords, 0, FormatOf(handle));
        mReader = mMedia->OpenReader();
    }
    IndexedFile(const IndexedFile&) = delete;
    IndexedFile& operator=(const IndexedFile&) = delete;

    /// Every record is a usable frame unless inFirstFrame says otherwise.
    FrameSource Source(FrameCache& ioCache, Memory& ioMemory, std::uint32_t inFirstFrame = 0) const {
        const auto count = static_cast<std::uint32_t>(mRecords.size()) - inFirstFrame;
        return {*mReader, *mMedia, mRecords, *mMissingAnchors, inFirstFrame, count, 1, ioCache, ioMemory};
    }

    /// The samples of a record of a sound stream by way of the exports alone, each picture decoded once.
    Samples Plain(std::int32_t inRecord, Scale inScale) {
        return Visible(PlainPicture(inRecord, inScale),
                       PlaneLayoutOf(mInfo, static_cast<Vexmora::DecodeScale>(inScale)));
    }
    const Records& AllRecords() const { return mRecords; }
    Vexmora_Handle Handle() const { return mHandle.get(); }

  private:
    Vexmora::Test::Picture420& PlainPicture(std::int32_t inRecord, Scale inScale) {
        const auto key = std::pair(inRecord, inScale);
        if (const auto found = mPlain.find(key); found != mPlain.end()) return found->second;
        // Planes of the host's layout, each without a byte to spare.
        const PictureLayout layout = LayoutOf(mInfo, {}, inScale);
        Vexmora::Test::Picture420 picture(layout.cbOffset, layout.crOffset - layout.cbOffset);
        const auto planesOf = [&](std::int32_t in) { return PlainPicture(in, inScale).Planes(); };
        EXPECT_EQ(DecodeFrame(mHandle.get(), inRecord, static_cast<Vexmora::DecodeScale>(inScale), planesOf,
                              picture),
                  Vexmora_Ok);
        return mPlain.emplace(key, std::move(picture)).first->second;
    }

    Library mLibrary;
    OwnHandle mHandle;
    Vexmora::IndexHeader mHeader{};
    Records mRecords;
    std::optional<MissingAnchors> mMissingAnchors;  // of them
    Vexmora::FileInfo mInfo{};
    std::optional<PlainFile> mMedia;
    std::unique_ptr<PictureReader> mReader;
    std::map<std::pair<std::int32_t, Scale>, Vexmora::Test::Picture420> mPlain;
};

}  // namespace VexmoraHost
