// Frames and runs of frames from C.
#include <cstdint>
#include <memory>
#include <mutex>
#include <utility>

#include "c/OpenMovie.h"
#include "c/PictureFlags.h"
#include "c/SizedStruct.h"

namespace VexmoraHost {
namespace {

struct AcquiredFrame {
    SharedPicture picture;
    std::uint32_t recordIndex;
    Vexmora::FrameRecord record;
};

struct OpenRun {
    std::shared_ptr<OpenMovie> opened;  // first: outlives the run
    FrameRun run;
};

// Never destroyed, as OpenMovies.
Handles<AcquiredFrame, vexmora_frame>& AcquiredFrames() {
    static auto& frames = *new Handles<AcquiredFrame, vexmora_frame>(
        {VEXMORA_BAD_HANDLE, "the handle names no frame", "use what acquiring gave, until it is released"});
    return frames;
}

Handles<OpenRun, vexmora_run>& OpenRuns() {
    static auto& runs = *new Handles<OpenRun, vexmora_run>(
        {VEXMORA_BAD_HANDLE, "the handle names no open run", "use what opening gave, until it is closed"});
    return runs;
}

Scale ScaleOf(vexmora_scale inScale) {
    if (inScale > VEXMORA_SCALE_QUARTER) {
        throw Misuse{VEXMORA_BAD_ARGUMENT, "there is no such scale", "use a VEXMORA_SCALE_ constant"};
    }
    return static_cast<Scale>(inScale);
}

static_assert(VEXMORA_SCALE_FULL == static_cast<int>(Scale::Full) &&
              VEXMORA_SCALE_HALF_WIDTH == static_cast<int>(Scale::HalfWidth) &&
              VEXMORA_SCALE_QUARTER == static_cast<int>(Scale::Quarter));

vexmora_frame* Acquire(SharedPicture inPicture, const Movie& inMovie) {
    const std::uint32_t index = inMovie.Info().firstFrame + inPicture->frame;
    const Vexmora::FrameRecord record = inMovie.Records().at(index);
    return AcquiredFrames().Add(
        std::make_shared<AcquiredFrame>(AcquiredFrame{std::move(inPicture), index, record}));
}

vexmora_plane PlaneOf(const Plane& inPlane) {
    return {.samples = inPlane.samples,
            .stride = inPlane.stride,
            .width = inPlane.width,
            .height = inPlane.height};
}

vexmora_picture PictureOf(const AcquiredFrame& inFrame) {
    static_assert(sizeof(vexmora_picture) == 120);
    const Picture& picture = *inFrame.picture;
    const PictureDamage& damage = picture.damage;
    std::uint32_t flags = FlagsOf(inFrame.record);
    if (!damage.None()) flags |= VEXMORA_DAMAGED;
    if (damage.standsIn) flags |= VEXMORA_STANDS_IN;
    return {.struct_size = sizeof(vexmora_picture),
            .planes = {PlaneOf(picture.luma), PlaneOf(picture.cb), PlaneOf(picture.cr)},
            .inherited_damage = damage.inherited,
            .damaged_macroblocks = damage.macroblocks,
            .macroblocks = picture.macroblocks,
            .damage = damage.status,
            .flags = flags,
            .frame = picture.frame,
            .record = inFrame.recordIndex,
            .picture_coding_type = Vexmora::PictureCodingType(inFrame.record),
            .scale = static_cast<vexmora_scale>(picture.scale)};
}

}  // namespace
}  // namespace VexmoraHost

using namespace VexmoraHost;  // NOLINT: nothing but the interface follows

vexmora_status vexmora_frame_acquire(vexmora_movie* movie, uint32_t number, vexmora_scale scale,
                                     vexmora_frame** out_frame) {
    return Answer([=] {
        CheckNotNull(out_frame);
        *out_frame = nullptr;
        const auto opened = OpenMovies().Find(movie);
        const std::scoped_lock lock(opened->decoding);
        *out_frame = Acquire(opened->movie.Frame(number, ScaleOf(scale)), opened->movie);
        return VEXMORA_OK;
    });
}

vexmora_status vexmora_frame_release(vexmora_frame* frame) {
    return Answer([=] {
        AcquiredFrames().Remove(frame);
        return VEXMORA_OK;
    });
}

vexmora_status vexmora_frame_describe(const vexmora_frame* frame, vexmora_picture* out_picture) {
    return Answer([=] {
        WriteStruct(PictureOf(*AcquiredFrames().Find(frame)), out_picture);
        return VEXMORA_OK;
    });
}

vexmora_status vexmora_run_open(vexmora_movie* movie, uint32_t first, uint32_t count, vexmora_scale scale,
                                uint32_t threads, vexmora_run** out_run) {
    return Answer([=] {
        CheckNotNull(out_run);
        *out_run = nullptr;
        if (threads > 256) {
            throw Misuse{VEXMORA_BAD_ARGUMENT, "too many threads are asked for", "give 0 to 256"};
        }
        auto opened = OpenMovies().Find(movie);
        const std::scoped_lock lock(opened->decoding);
        FrameRun run = opened->movie.Run(first, count, ScaleOf(scale), threads);
        *out_run = OpenRuns().Add(std::make_shared<OpenRun>(OpenRun{opened, std::move(run)}));
        return VEXMORA_OK;
    });
}

vexmora_status vexmora_run_next(vexmora_run* run, vexmora_frame** out_frame) {
    return Answer([=] {
        CheckNotNull(out_frame);
        *out_frame = nullptr;
        const auto open = OpenRuns().Find(run);
        const std::scoped_lock lock(open->opened->decoding);
        SharedPicture picture = open->run.Next();
        if (picture == nullptr) return VEXMORA_END;
        *out_frame = Acquire(std::move(picture), open->opened->movie);
        return VEXMORA_OK;
    });
}

vexmora_status vexmora_run_close(vexmora_run* run) {
    return Answer([=] {
        OpenRuns().Remove(run);
        return VEXMORA_OK;
    });
}
