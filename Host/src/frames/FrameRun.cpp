// A run as its user sees it.
#include "VexmoraHost/FrameRun.h"

#include <utility>

#include "frames/FrameWorkers.h"

namespace VexmoraHost {

FrameRun::FrameRun(std::filesystem::path inPath, std::unique_ptr<Crew> inCrew)
    : mPath(std::move(inPath)), mCrew(std::move(inCrew)) {}
FrameRun::FrameRun(FrameRun&&) noexcept = default;
FrameRun& FrameRun::operator=(FrameRun&&) noexcept = default;
FrameRun::~FrameRun() = default;

SharedPicture FrameRun::Next() {
    if (mCrew->Left() == 0) return nullptr;
    const std::uint32_t frame = mCrew->NextFrame();
    SharedPicture picture = mCrew->Next();
    if (picture == nullptr) throw NoPictureFor(frame, mPath);
    return picture;
}

}  // namespace VexmoraHost
