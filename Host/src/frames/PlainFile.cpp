// Handles of one file.
#include "frames/PlainFile.h"

#include <utility>

#include "Vexmora/PathText.h"
#include "VexmoraHost/Error.h"
#include "memory/HostServices.h"

namespace VexmoraHost {
namespace {

class FileReader : public PictureReader {
  public:
    explicit FileReader(OwnHandle inHandle) : mHandle(std::move(inHandle)) {}

    Vexmora_Status Decode(std::int32_t inRecord, const ReferencePlanes& inReferences,
                          const Vexmora::FramePlanes& outPicture, const DecodeModes& inModes) override {
        return Vexmora_GetFrame(mHandle.get(), inRecord, &inReferences.past, &inReferences.future,
                                &outPicture, inModes.mode, inModes.subMode);
    }

  private:
    const OwnHandle mHandle;
};

}  // namespace

std::unique_ptr<PictureReader> ReaderOf(OwnHandle inHandle) {
    return std::make_unique<FileReader>(std::move(inHandle));
}

PictureFormat FormatOf(Vexmora_Handle inHandle) {
    PictureFormat format;
    static_cast<void>(Vexmora_GetFileInfo(inHandle, &format.info));
    static_cast<void>(Vexmora_GetFrameSizes(inHandle, &format.least.luma, &format.least.chroma));
    return format;
}

PlainFile::PlainFile(std::filesystem::path inPath, const std::optional<FileFacts>& inFacts,
                     const Vexmora::IndexHeader& inHeader, const std::vector<Vexmora::FrameRecord>& inRecords,
                     std::uint32_t inCacheId, const PictureFormat& inFormat)
    : mPath(std::move(inPath)),
      mFacts(inFacts),
      mHeader(inHeader),
      mRecords(inRecords),
      mCacheId(inCacheId),
      mFormat(inFormat) {}

std::unique_ptr<PictureReader> PlainFile::OpenReader() const {
    Vexmora_Handle handle = nullptr;
    const Vexmora_Status status = Vexmora_OpenFileWithIndex(Vexmora::ToUtf16Path(mPath.native()),
                                                            Services(mCacheId), mHeader, mRecords, &handle);
    OwnHandle opened(handle);
    if (status != Vexmora_Ok || !IsSameFile()) return nullptr;
    return ReaderOf(std::move(opened));
}

// Another file may have taken the place of the one that was opened first.
bool PlainFile::IsSameFile() const {
    try {
        return (mFacts && FactsOf(mPath) == mFacts) || IdentifyMedia(mPath) == mHeader.identity;
    } catch (const Error&) {
        return false;
    }
}

}  // namespace VexmoraHost
