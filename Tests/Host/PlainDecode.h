// The samples of the host's pictures, and a file whose index a test may change.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

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

    const Records& AllRecords() const { return mRecords; }
    Vexmora_Handle Handle() const { return mHandle.get(); }

  private:
    Library mLibrary;
    OwnHandle mHandle;
    Vexmora::IndexHeader mHeader{};
    Records mRecords;
    std::optional<MissingAnchors> mMissingAnchors;  // of them
    std::optional<PlainFile> mMedia;
    std::unique_ptr<PictureReader> mReader;
};

}  // namespace VexmoraHost
