// A scanned video as those see it that decode its pictures.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <unordered_map>
#include <vector>

#include "frames/CodedMedia.h"
#include "sources/CodedVideo.h"
#include "sources/SourceIndex.h"
#include "sources/SourceReader.h"

namespace VexmoraHost {

class SourceMedia : public CodedMedia {
  public:
    /// Opens a reader for reading anywhere; may throw Error. Called from any thread.
    using OpenVideo = std::function<std::unique_ptr<VideoReader>()>;

    /// @param inVideo, inIndex that was made of it; both outlive this.
    /// Throws std::bad_alloc.
    SourceMedia(OpenVideo inOpen, const CodedVideo& inVideo, const SourceIndex& inIndex);

    std::unique_ptr<PictureReader> OpenReader() const override { return Open(); }
    /// One for each size of pictures; what else they say is that of the first of this size. Pictures that
    /// cannot be decoded have one of no size.
    std::span<const PictureFormat> Formats() const override { return mFormats; }
    std::size_t FormatOf(std::int32_t inRecord) const override;
    bool IsOfFields(std::int32_t inRecord) const override;
    std::int32_t PastOfIntra(std::int32_t inRecord) const override;

    /// Null for a hole.
    const CodedFrame* FrameOf(std::int32_t inRecord) const;
    /// Facts of the sequence of a picture, aspect and rate too; without frameCount and effectiveFrameRate.
    /// Those of the first for a hole.
    const Vexmora::FileInfo& InfoOf(std::int32_t inRecord) const;

  private:
    struct Sequence {
        Vexmora::FileInfo info;
        std::size_t format;
    };

    std::unique_ptr<SourceReader> Open() const;
    Sequence MakeSequence(const SequenceParameterSet& inParameters);
    bool NeedsPast(std::uint32_t inFrame) const;

    const OpenVideo mOpen;
    const CodedVideo& mVideo;
    const SourceIndex& mIndex;
    std::vector<PictureFormat> mFormats;
    std::vector<Sequence> mSequences;  // of CodedVideo::parameters
    // By coded frame; empty where no second field of an I frame is a P picture.
    std::vector<std::int32_t> mRecords;

    mutable std::mutex mMutex;  // guards what follows
    mutable std::unique_ptr<SourceReader> mReader;
    mutable std::unordered_map<std::uint32_t, bool> mNeedPast;
};

}  // namespace VexmoraHost
