// Builds the audio alignment plan: both sets of time stamps become ranges of continuous time, and one sweep
// over the two lists of ranges gives the runs.
#include "Indexer/Indexer_AudioAlignment.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "Indexer/Indexer_Cadence.h"

namespace Vexmora {
namespace {

// Ticks of 90 kHz; end inclusive.
struct TimeRange {
    std::int64_t start;
    std::int64_t end;
};
using TimeRanges = std::vector<TimeRange>;
using Plan = std::vector<AudioAlignmentRun>;

constexpr int kMostDiscontinuities = 12;
constexpr std::uint32_t kAudioStepRun = 10;
// A longer stretch of one without the other means that the time stamps are not to be believed.
constexpr std::uint64_t kMostFramesApart = 60;

// Gives every picture a time stamp, counting from its neighbours. False when no picture has one.
bool CompletePicturePts(IndexerState& ioState) {
    std::vector<std::int64_t>& pts = ioState.picturePts;
    const auto ticks = [&ioState](std::size_t inRecord) {
        return static_cast<std::int64_t>(PictureTicks90k(ioState, ioState.records[inRecord]));
    };
    const auto known =
        std::find_if(pts.begin(), pts.end(), [](std::int64_t inPts) { return inPts != kNoPts; });
    if (known == pts.end()) return false;
    for (auto i = static_cast<std::size_t>(known - pts.begin()); i >= 1; --i) pts[i - 1] = pts[i] - ticks(i);
    for (std::size_t i = 1; i < pts.size(); ++i) {
        if (pts[i] == kNoPts) pts[i] = pts[i - 1] + ticks(i - 1);
    }
    return true;
}

// The usual distance of two audio time stamps: the first that holds for a while.
std::int64_t AudioStep(const std::vector<std::int64_t>& inPts) {
    std::int64_t step = inPts[1] - inPts[0];
    std::uint32_t run = 0;
    for (std::size_t i = 1; i + 1 < inPts.size() && run < kAudioStepRun; ++i) {
        const std::int64_t next = inPts[i + 1] - inPts[i];
        if (next == step) {
            ++run;
        } else {
            step = next;
            run = 0;
        }
    }
    return static_cast<std::uint32_t>(step);
}

TimeRanges AudioRanges(const std::vector<std::int64_t>& inPts) {
    const std::int64_t step = AudioStep(inPts);
    TimeRanges ranges;
    std::int64_t start = inPts[0];
    int discontinuities = 0;
    for (std::size_t i = 0; i + 1 < inPts.size(); ++i) {
        const std::int64_t here = inPts[i];
        const std::int64_t next = inPts[i + 1];
        if (here < next && next <= here + 2 * step) continue;
        if (++discontinuities == kMostDiscontinuities) return {};
        ranges.push_back({start, here + step - 1});
        start = next;
    }
    ranges.push_back({start, inPts.back() + step - 1});
    return ranges;
}

TimeRanges VideoRanges(const IndexerState& inState, std::int64_t inFrameTicks) {
    const std::vector<std::int64_t>& pts = inState.picturePts;
    const std::vector<FrameRecord>& records = inState.records;
    TimeRanges ranges;
    std::int64_t start = pts[0];
    int discontinuities = 0;
    for (std::size_t i = 0; i + 1 < pts.size(); ++i) {
        if (PictureCodingType(records[i]) == 0 || PictureCodingType(records[i + 1]) == 0) continue;
        const std::int64_t here = pts[i];
        const std::int64_t next = pts[i + 1];
        if (here < next && here + inFrameTicks / 2 <= next && next <= here + 3 * inFrameTicks / 2) continue;
        if (++discontinuities == kMostDiscontinuities) return {};
        if (here == 0 || next == 0) continue;
        ranges.push_back({start, here + PictureTicks90k(inState, records[i]) - 1});
        start = next;
    }
    ranges.push_back({start, pts.back() + PictureTicks90k(inState, records.back()) - 1});
    return ranges;
}

// Lengthens the last run, or begins a new one.
void AppendRun(Plan& ioPlan, std::int64_t inDuration, std::uint32_t inKind) {
    const auto duration = static_cast<std::uint32_t>(inDuration);
    if (!ioPlan.empty() && ioPlan.back().kind == inKind) {
        ioPlan.back().duration += duration;
    } else {
        ioPlan.push_back({duration, inKind});
    }
}

// Walks both lists at once; ranges that have begun are cut in place.
class Sweep {
  public:
    Sweep(TimeRanges inAudio, TimeRanges inVideo) : mAudio(std::move(inAudio)), mVideo(std::move(inVideo)) {}

    Plan Run() {
        while (mAudioAt < mAudio.size() && mVideoAt < mVideo.size()) {
            const TimeRange& audio = mAudio[mAudioAt];
            const TimeRange& video = mVideo[mVideoAt];
            if (video.start > audio.end) {
                AppendRun(mPlan, audio.end - audio.start, kRunAudioOnly);
                ++mAudioAt;
            } else if (audio.start > video.end) {
                AppendRun(mPlan, video.end - video.start, kRunVideoOnly);
                ++mVideoAt;
            } else if (audio.start < video.start) {
                AudioLeads();
            } else if (audio.start == video.start) {
                StartTogether();
            } else {
                VideoLeads();
            }
        }
        return std::move(mPlan);
    }

  private:
    void AudioLeads() {
        const TimeRange audio = mAudio[mAudioAt];
        const TimeRange video = mVideo[mVideoAt];
        AppendRun(mPlan, video.start - audio.start, kRunAudioOnly);
        if (audio.end >= video.end) {
            AppendRun(mPlan, video.end - video.start, kRunBoth);
            ++mVideoAt;
            mAudio[mAudioAt].start = video.end + 1;
            if (mVideoAt < mVideo.size() && mVideo[mVideoAt].start < audio.end) return;
            AppendRun(mPlan, audio.end - video.end, kRunAudioOnly);
            ++mAudioAt;
        } else {
            AppendRun(mPlan, audio.end - video.start, kRunBoth);
            AudioEnds(audio, video);
        }
    }

    void StartTogether() {
        const TimeRange audio = mAudio[mAudioAt++];
        const TimeRange video = mVideo[mVideoAt++];
        if (audio.end >= video.end) {
            AppendRun(mPlan, video.end - video.start, kRunBoth);
            AppendRun(mPlan, audio.end - video.end, kRunAudioOnly);
        } else {
            AppendRun(mPlan, audio.end - audio.start, kRunBoth);
            AppendRun(mPlan, video.end - audio.end, kRunVideoOnly);
        }
    }

    void VideoLeads() {
        const TimeRange audio = mAudio[mAudioAt];
        const TimeRange video = mVideo[mVideoAt];
        AppendRun(mPlan, audio.start - video.start, kRunVideoOnly);
        if (audio.end <= video.end) {
            AppendRun(mPlan, audio.end - audio.start, kRunBoth);
            AudioEnds(audio, video);
        } else {
            AppendRun(mPlan, video.end - audio.start, kRunBoth);
            ++mVideoAt;
            if (mVideoAt < mVideo.size()) {
                mAudio[mAudioAt].start = video.end + 1;
                return;
            }
            AppendRun(mPlan, audio.end - video.end, kRunAudioOnly);
            ++mAudioAt;
        }
    }

    // The audio range ends within the video range: more audio may begin before that ends.
    void AudioEnds(const TimeRange& inAudio, const TimeRange& inVideo) {
        ++mAudioAt;
        if (mAudioAt < mAudio.size() && mAudio[mAudioAt].start < inVideo.end) {
            mVideo[mVideoAt].start = inAudio.end + 1;
            return;
        }
        AppendRun(mPlan, inVideo.end - inAudio.end, kRunVideoOnly);
        ++mVideoAt;
    }

    TimeRanges mAudio;
    TimeRanges mVideo;
    std::size_t mAudioAt = 0;
    std::size_t mVideoAt = 0;
    Plan mPlan;
};

// Duration of a frame at the effective rate, 90 kHz ticks; 0 when the rate is not known.
std::uint32_t EffectiveFrameTicks(const IndexerState& inState) {
    const std::uint32_t effectiveRate = EffectiveFrameRate(inState);
    if (effectiveRate == 0) return 0;
    return kFrameTicks90k[inState.frameRateCode] * kFrameRate1000[inState.frameRateCode] / effectiveRate;
}

}  // namespace

Plan BuildAlignmentPlan(IndexerState& ioState) {
    if (ioState.audioPts.size() < 2 || !CompletePicturePts(ioState)) return {};
    TimeRanges audio = AudioRanges(ioState.audioPts);
    if (audio.empty()) return {};
    const std::uint32_t frameTicks = EffectiveFrameTicks(ioState);
    TimeRanges video = VideoRanges(ioState, frameTicks);
    if (video.empty()) return {};

    Plan plan = Sweep(std::move(audio), std::move(video)).Run();
    const auto isTooLong = [frameTicks](const AudioAlignmentRun& inRun) {
        return inRun.kind != kRunBoth && inRun.duration > kMostFramesApart * frameTicks;
    };
    if (std::any_of(plan.begin(), plan.end(), isTooLong)) return {};
    return plan;
}

}  // namespace Vexmora
