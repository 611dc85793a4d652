// A run as its user sees it.
#include "VexmoraHost/FrameRun.h"

#include <utility>

#include "frames/FrameWorkers.h"

namespace VexmoraHost {

FrameRun::FrameRun(std::filesystem::path inPath, std::unique_ptr<Workers> inWorkers)
    : mPath(std::move(inPath)), mWorkers(std::move(inWorkers)) {}
FrameRun::FrameRun(FrameRun&&) noexcept = default;
FrameRun& FrameRun::operator=(FrameRun&&) noexcept = default;
FrameRun::~FrameRun() = default;

SharedPicture FrameRun::Next() {
    if (mWorkers->Left() == 0) return nullptr;
    const std::uint32_t frame = mWorkers->NextFrame();
    SharedPicture picture = mWorkers->Next();
    if (picture == nullptr) throw NoPictureFor(frame, mPath);
    return picture;
}

}  // namespace VexmoraHost
