// A file that the library opens by itself.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

#include "frames/CodedMedia.h"
#include "index/MediaIdentity.h"

namespace VexmoraHost {

/// Owns a handle.
struct CloseHandle {
    void operator()(Vexmora_InstanceTag* inHandle) const noexcept {
        static_cast<void>(Vexmora_CloseFile(inHandle));  // always succeeds
    }
};
using OwnHandle = std::unique_ptr<Vexmora_InstanceTag, CloseHandle>;

/// A way to pictures by a handle of a file that is open with its index.
std::unique_ptr<PictureReader> ReaderOf(OwnHandle inHandle);

/// The format of all pictures of such a file.
PictureFormat FormatOf(Vexmora_Handle inHandle);

/// One file with its index. What a further reader opens is the same file, or it is not opened.
class PlainFile : public CodedMedia {
  public:
    /// @param inFacts   of the file that was opened first, where they are settled.
    /// @param inRecords outlive this.
    PlainFile(std::filesystem::path inPath, const std::optional<FileFacts>& inFacts,
              const Vexmora::IndexHeader& inHeader, const std::vector<Vexmora::FrameRecord>& inRecords,
              std::uint32_t inCacheId, const PictureFormat& inFormat);

    std::unique_ptr<PictureReader> OpenReader() const override;
    std::span<const PictureFormat> Formats() const override { return {&mFormat, 1}; }
    std::size_t FormatOf(std::int32_t) const override { return 0; }
    bool IsOfFields(std::int32_t) const override { return false; }
    std::int32_t PastOfIntra(std::int32_t) const override { return kNoRecord; }

  private:
    bool IsSameFile() const;

    const std::filesystem::path mPath;
    const std::optional<FileFacts> mFacts;
    const Vexmora::IndexHeader mHeader;
    const std::vector<Vexmora::FrameRecord>& mRecords;
    const std::uint32_t mCacheId;
    const PictureFormat mFormat;
};

}  // namespace VexmoraHost
